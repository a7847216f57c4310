// What all connections of a server share.
#pragma once

#include <asio/ssl/context.hpp>
#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "platform/ipc/Census.h"
#include "platform/ipc/IpcServer.h"

namespace ipc {

// Lives as long as the last exchange that a service holds, also beyond the server. The services are
// set before the first connection and stay; the TLS context belongs to the thread on which connections begin.
struct ServerState {
  explicit ServerState(const Limits& bounds) : limits(bounds), census(bounds) {}

  const Limits limits;
  Census census;
  std::map<std::int32_t, Service*> services;
  std::unique_ptr<asio::ssl::context> tls;
  std::atomic<bool> stopping{false};
  std::atomic<std::uint64_t> accepted{0};
  std::atomic<std::uint64_t> refused{0};
  std::atomic<std::uint64_t> requests{0};
};

// A connection that is not served, or not any more: counts it and traces why.
void reportRefusal(ServerState& state, const std::string& address, const std::string& reason);

}  // namespace ipc
