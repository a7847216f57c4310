#include "tools/sps/Hierarchy.h"

#include <unordered_map>

#include "platform/registry/RegistryStore.h"
#include "tools/sps/Failure.h"
#include "tools/sps/Text.h"

namespace tool {

namespace {

std::int32_t levelOf(const HostRow& row) {
  if (row.domain == 0) return 0;
  return row.domain == row.subdomain ? 1 : 2;
}

// The subdomain that the row above carries.
std::int32_t parentOf(const HostRow& row) {
  return row.level == 1 ? 0 : row.domain;
}

void findParents(std::vector<HostRow>& rows) {
  std::unordered_map<std::int32_t, std::size_t> places;
  for (std::size_t at = 0; at < rows.size(); ++at) places.try_emplace(rows[at].subdomain, at);
  for (HostRow& row : rows) {
    const auto found = row.level == 0 ? places.end() : places.find(parentOf(row));
    // The library would name as parent also the row itself or one that is no higher, where a hierarchy is
    // damaged; a drawing of that had no end.
    if (found != places.end() && rows[found->second].level < row.level) row.parent = found->second;
  }
}

}  // namespace

Hierarchy::Hierarchy(Context& context) {
  const Client& client = context.Parameters();
  Init();
  SetPrcSpace(client.GetPrcSpaceName());
  SetWorkstation(identityName(context.options.workstation, "workstation").c_str());
  SetUser(identityName(context.options.user, "user").c_str());
  SetPrcInstance(identityName(context.options.instance, "instance").c_str());
  if (!context.IsRemote()) {
    m_source = "the store of this machine, " + registry::storeDirectory();
    return;
  }
  const std::string& server = *context.options.server;
  context.AtMaster();  // which says best why it can't be reached
  if (!context.IsMasterSpace()) {
    throw WrongUsage("the master tells the hierarchy of its own process space only: leave --space out");
  }
  if (!ConnectSpService(toUtf16(server, "server").c_str(), false)) {
    context.Refuse("connect to the master " + inQuotes(toUtf16(server, "server")), 0, {});
  }
  m_source = "the master " + server;
}

HostRow Hierarchy::SelectedRow() {
  HostRow row;
  row.domain = m_colDomain.GetInt();
  row.subdomain = m_colSubDomain.GetInt();
  row.device = m_colDevId.Get();
  row.description = m_colDsc.Get();
  row.name = m_colHost.Get();
  row.noMacs = m_colNoMacs.GetShort();
  row.level = levelOf(row);
  row.isHere = m_localSubDomain != -1 && row.subdomain == m_localSubDomain;
  return row;
}

std::vector<HostRow> Hierarchy::Rows() {
  std::vector<HostRow> rows;
  const std::int32_t count = GetNumRows();
  rows.reserve(static_cast<std::size_t>(count));
  for (std::int32_t number = 0; number < count; ++number) {
    SelectRow(number, false);
    rows.push_back(SelectedRow());
  }
  findParents(rows);
  return rows;
}

}  // namespace tool
