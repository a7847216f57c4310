// A socket that connections come in on.
#pragma once

#include <asio/basic_socket_acceptor.hpp>
#include <asio/basic_waitable_timer.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/ipc/Endpoint.h"
#include "platform/ipc/Worker.h"

namespace ipc {

// A descriptor that is closed at the end.
class Descriptor {
public:
  explicit Descriptor(int number) : m_number(number) {}
  ~Descriptor();
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  Descriptor(Descriptor&& other) noexcept : m_number(other.release()) {}

  int get() const { return m_number; }
  int release();

private:
  int m_number;
};

// A listening socket of ours with its endpoint as bound. The socket file, and the lock beside it that says
// whose it is, are there for as long as this is.
struct BoundSocket {
  Descriptor socket{-1};
  Descriptor lock{-1};
  Endpoint endpoint;
  bool ownsFile = false;
};

// Both throw ServerError. The descriptor given is owned at once.
BoundSocket bindSocket(const std::string& text, std::uint32_t mode);
BoundSocket adoptSocket(int descriptor);

class Listener : public std::enable_shared_from_this<Listener> {
public:
  // Where the next connection goes, and what happens to it there; both on the thread of the listener's
  // worker.
  struct Target {
    std::function<std::shared_ptr<Worker>()> choose;
    std::function<void(std::shared_ptr<Worker>, IoSocket, Endpoint::Kind)> begin;
  };

  Listener(std::shared_ptr<Worker> worker, BoundSocket bound, Target target);
  ~Listener();
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  const Endpoint& endpoint() const { return m_bound.endpoint; }
  // On the worker's thread.
  void accept();
  void close();

private:
  using Acceptor = asio::basic_socket_acceptor<asio::generic::stream_protocol, IoExecutor>;
  using Timer = asio::basic_waitable_timer<std::chrono::steady_clock,
                                           asio::wait_traits<std::chrono::steady_clock>, IoExecutor>;

  void begin(std::shared_ptr<Worker> worker, IoSocket socket);
  void pause(const std::error_code& reason);

  const std::shared_ptr<Worker> m_worker;
  BoundSocket m_bound;
  const Target m_target;
  Acceptor m_acceptor;
  Timer m_timer;
  bool m_isPaused = false;
};

}  // namespace ipc
