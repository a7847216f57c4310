#include "service/Refusals.h"

#include <utility>

#include "service/Audit.h"

namespace service {

bool Refusals::Admit(const ipc::Peer& peer, Code code) {
  const CCS lock(m_lock);
  Entry& entry = m_entries[ipc::userKey(peer)];
  if (entry.lines < most) {
    ++entry.lines;
    return true;
  }
  if (entry.omitted++ == 0) entry.peer = peer;
  entry.latest = code;
  return false;
}

std::string Refusals::TakeOmitted() {
  std::map<std::string, Entry> entries;
  {
    const CCS lock(m_lock);
    entries.swap(m_entries);
  }
  std::string lines;
  for (const auto& [who, entry] : entries) {
    if (entry.omitted == 0) continue;
    Deed deed;
    deed.operation = "Refusals";
    deed.omitted = entry.omitted;
    lines += auditLine(deed, entry.peer, entry.latest);
  }
  return lines;
}

}  // namespace service
