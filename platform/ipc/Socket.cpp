#include "platform/ipc/Socket.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/ipc/Errors.h"
#include "platform/ipc/SystemErrors.h"

namespace ipc {

namespace {

// A peer that vanished without a word is noticed after about a minute.
constexpr int keepIdleSeconds = 30;
constexpr int keepIntervalSeconds = 10;
constexpr int keepCount = 3;

void setOption(int descriptor, int level, int option, int value) {
  ::setsockopt(descriptor, level, option, &value, sizeof value);
}

bool wouldBlock(int error) {
  return error == EAGAIN || error == EWOULDBLOCK;
}

// As long as it is blocked in connect; 0 for any time.
void limitBlocking(int descriptor, int milliseconds) {
  const timeval time{milliseconds / 1000, milliseconds % 1000 * 1000L};
  ::setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &time, sizeof time);
}

// Takes the bytes that have gone off the front of the vectors.
std::span<iovec> advance(std::span<iovec> bytes, std::size_t count) {
  while (!bytes.empty() && count >= bytes.front().iov_len) {
    count -= bytes.front().iov_len;
    bytes = bytes.subspan(1);
  }
  if (!bytes.empty()) {
    bytes.front().iov_base = static_cast<std::uint8_t*>(bytes.front().iov_base) + count;
    bytes.front().iov_len -= count;
  }
  return bytes;
}

// The address without its port; nothing comparable for other families.
std::span<const std::uint8_t> hostPart(const sockaddr_storage& address) {
  if (address.ss_family == AF_INET) {
    const auto& v4 = reinterpret_cast<const sockaddr_in&>(address).sin_addr;
    return {reinterpret_cast<const std::uint8_t*>(&v4), sizeof v4};
  }
  if (address.ss_family != AF_INET6) return {};
  const auto& v6 = reinterpret_cast<const sockaddr_in6&>(address).sin6_addr;
  return {reinterpret_cast<const std::uint8_t*>(&v6), sizeof v6};
}

}  // namespace

void tuneTcp(int descriptor) {
  setOption(descriptor, IPPROTO_TCP, TCP_NODELAY, 1);
  setOption(descriptor, SOL_SOCKET, SO_KEEPALIVE, 1);
  setOption(descriptor, IPPROTO_TCP, TCP_KEEPIDLE, keepIdleSeconds);
  setOption(descriptor, IPPROTO_TCP, TCP_KEEPINTVL, keepIntervalSeconds);
  setOption(descriptor, IPPROTO_TCP, TCP_KEEPCNT, keepCount);
  setOption(descriptor, IPPROTO_TCP, TCP_USER_TIMEOUT,
            (keepIdleSeconds + keepCount * keepIntervalSeconds) * 1000);
}

Socket::Socket(Socket&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}

Socket& Socket::operator=(Socket&& other) noexcept {
  std::swap(m_descriptor, other.m_descriptor);
  return *this;
}

void Socket::close() {
  if (m_descriptor >= 0) ::close(m_descriptor);
  m_descriptor = -1;
}

std::int32_t Socket::connect(const sockaddr* address, socklen_t size, Deadline& deadline) {
  close();
  m_descriptor = ::socket(address->sa_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (m_descriptor < 0) return fromErrno(errno);
  if (address->sa_family != AF_UNIX) tuneTcp(m_descriptor);
  for (;;) {
    const int left = deadline.left();
    if (left == 0) return timedOut;
    limitBlocking(m_descriptor, std::max(left, 0));
    if (::connect(m_descriptor, address, size) == 0 || errno == EISCONN) return noError;
    if (errno != EINTR) return fromErrno(errno);
  }
}

std::int32_t Socket::connectAny(const addrinfo* list, Deadline& deadline) {
  std::int32_t error = unknownHost;
  for (const addrinfo* at = list; at != nullptr; at = at->ai_next) {
    Deadline part = at->ai_next != nullptr ? deadline.half() : deadline;
    error = connect(at->ai_addr, at->ai_addrlen, part);
    if (error == noError || deadline.left() == 0) break;
  }
  return error;
}

std::int32_t Socket::wait(short events, Deadline& deadline) const {
  for (;;) {
    pollfd entry{m_descriptor, events, 0};
    const int ready = ::poll(&entry, 1, deadline.left());
    if (ready > 0) return noError;
    if (ready == 0) return timedOut;
    if (errno != EINTR) return fromErrno(errno);
  }
}

// What lies in one piece costs the system less without a list of pieces.
ssize_t Socket::sendOnce(std::span<iovec> bytes) const {
  constexpr int flags = MSG_NOSIGNAL | MSG_DONTWAIT;
  if (bytes.size() == 1) return ::send(m_descriptor, bytes[0].iov_base, bytes[0].iov_len, flags);
  msghdr message{};
  message.msg_iov = bytes.data();
  message.msg_iovlen = bytes.size();
  return ::sendmsg(m_descriptor, &message, flags);
}

std::int32_t Socket::send(std::span<iovec> bytes, std::size_t& sent, Deadline& deadline) {
  sent = 0;
  while (!bytes.empty()) {
    const ssize_t count = sendOnce(bytes);
    if (count >= 0) {
      sent += static_cast<std::size_t>(count);
      bytes = advance(bytes, static_cast<std::size_t>(count));
    } else if (wouldBlock(errno)) {
      if (const std::int32_t error = wait(POLLOUT, deadline); error != noError) return error;
    } else if (errno != EINTR) {
      return connectionLost;
    }
  }
  return noError;
}

// Waits in poll: who is blocked in recv on a Unix socket is woken in vain when the peer takes what was sent.
std::int32_t Socket::receive(std::span<std::uint8_t> room, std::size_t& got, Deadline& deadline) {
  got = 0;
  for (;;) {
    if (const std::int32_t error = wait(POLLIN, deadline); error != noError) return error;
    const ssize_t count = ::recv(m_descriptor, room.data(), room.size(), MSG_DONTWAIT);
    if (count > 0) {
      got = static_cast<std::size_t>(count);
      return noError;
    }
    if (count == 0 || (!wouldBlock(errno) && errno != EINTR)) return connectionLost;
  }
}

bool Socket::isConnected() const {
  if (m_descriptor < 0) return false;
  pollfd entry{m_descriptor, POLLRDHUP, 0};
  return ::poll(&entry, 1, 0) <= 0;
}

bool Socket::isToThisMachine() const {
  sockaddr_storage own{};
  sockaddr_storage peer{};
  socklen_t ownSize = sizeof own;
  socklen_t peerSize = sizeof peer;
  if (::getsockname(m_descriptor, reinterpret_cast<sockaddr*>(&own), &ownSize) != 0) return false;
  if (::getpeername(m_descriptor, reinterpret_cast<sockaddr*>(&peer), &peerSize) != 0) return false;
  const auto left = hostPart(own);
  const auto right = hostPart(peer);
  return !left.empty() && left.size() == right.size() &&
         std::memcmp(left.data(), right.data(), left.size()) == 0;
}

}  // namespace ipc
