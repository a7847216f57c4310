#include "platform/ipc/Census.h"

namespace ipc {

bool Census::add(SessionId id, const std::shared_ptr<Session>& session, bool mustProve,
                 std::shared_ptr<Session>& displaced) {
  const std::lock_guard lock(m_mutex);
  if (m_entries.size() >= m_limits.connections) return false;
  m_entries[id] = {session, {}};
  if (!mustProve) return true;
  m_unproven[id] = session.get();
  if (m_unproven.size() > m_limits.unauthenticated) {
    const SessionId oldest = m_unproven.begin()->first;
    displaced = m_entries[oldest].session;
    m_unproven.erase(oldest);
  }
  return true;
}

bool Census::prove(SessionId id, const std::string& user) {
  const std::lock_guard lock(m_mutex);
  const auto entry = m_entries.find(id);
  if (entry == m_entries.end()) return false;
  std::uint32_t& count = m_users[user];
  if (count >= m_limits.perUser) return false;
  ++count;
  entry->second.user = user;
  m_unproven.erase(id);
  return true;
}

void Census::remove(SessionId id) {
  const std::lock_guard lock(m_mutex);
  const auto entry = m_entries.find(id);
  if (entry == m_entries.end()) return;
  const auto user = m_users.find(entry->second.user);
  if (user != m_users.end() && --user->second == 0) m_users.erase(user);
  m_unproven.erase(id);
  m_entries.erase(entry);
  if (m_entries.empty()) m_none.notify_all();
}

std::vector<std::shared_ptr<Session>> Census::all() const {
  const std::lock_guard lock(m_mutex);
  std::vector<std::shared_ptr<Session>> sessions;
  for (const auto& [id, entry] : m_entries) sessions.push_back(entry.session);
  return sessions;
}

std::size_t Census::count() const {
  const std::lock_guard lock(m_mutex);
  return m_entries.size();
}

std::size_t Census::unproven() const {
  const std::lock_guard lock(m_mutex);
  return m_unproven.size();
}

bool Census::awaitNone(std::chrono::milliseconds limit) {
  std::unique_lock lock(m_mutex);
  return m_none.wait_for(lock, limit, [this] { return m_entries.empty(); });
}

}  // namespace ipc
