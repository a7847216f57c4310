// Which connections there are, and whether there may be one more.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/ipc/IpcServer.h"

namespace ipc {

class Session;

// Any thread may call anything.
class Census {
public:
  explicit Census(const Limits& limits) : m_limits(limits) {}

  // False where there are as many as may be. One whose peer has still to prove itself, which on a Unix socket
  // it has not, takes the place of the oldest such one if there are too many of them; that one is given back,
  // to be closed.
  bool add(SessionId id, const std::shared_ptr<Session>& session, bool mustProve,
           std::shared_ptr<Session>& displaced);
  // The peer is proven: the user's name for the count. False where that user has as many as may be.
  bool prove(SessionId id, const std::string& user);
  void remove(SessionId id);

  std::vector<std::shared_ptr<Session>> all() const;
  std::size_t count() const;
  std::size_t unproven() const;
  // Waits until none is left; false where that takes longer.
  bool awaitNone(std::chrono::milliseconds limit);

private:
  struct Entry {
    std::shared_ptr<Session> session;
    std::string user;  // empty until proven
  };

  const Limits m_limits;
  mutable std::mutex m_mutex;
  std::condition_variable m_none;
  // Under the mutex. Ids grow, so the first is the oldest.
  std::map<SessionId, Entry> m_entries;
  std::map<SessionId, Session*> m_unproven;
  std::map<std::string, std::uint32_t> m_users;
};

}  // namespace ipc
