#include "service/AnswerRoom.h"

namespace service {

Code AnswerRoom::Share::Take(std::size_t bytes) {
  if (const Code code = Check(); code != accepted) return code;
  const CCS lock(m_room.m_lock);
  if (bytes > m_room.m_free) return noRoom;
  const auto entry = m_room.m_held.find(m_peer);
  const std::size_t held = entry != m_room.m_held.end() ? entry->second : 0;
  if (held + bytes > m_room.m_free - bytes) return noRoom;
  m_room.m_held[m_peer] = held + bytes;
  m_room.m_free -= bytes;
  m_bytes += bytes;
  return accepted;
}

void AnswerRoom::Share::Give(std::size_t bytes) {
  if (bytes == 0) return;
  const CCS lock(m_room.m_lock);
  const auto entry = m_room.m_held.find(m_peer);
  entry->second -= bytes;
  if (entry->second == 0) m_room.m_held.erase(entry);
  m_room.m_free += bytes;
  m_bytes -= bytes;
}

}  // namespace service
