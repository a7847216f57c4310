#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/ipc/IpcServer.h"
#include "platform/ipc/Listener.h"

namespace ipc {

namespace {

[[noreturn]] void fail(const std::string& what, int error) {
  throw ServerError(what + ": " + std::generic_category().message(error));
}

Descriptor makeSocket(int family, const std::string& what) {
  Descriptor socket(::socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (socket.get() < 0) fail(what, errno);
  return socket;
}

sockaddr_un unixAddress(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::copy(path.begin(), path.end(), address.sun_path);
  return address;
}

// Two servers that start at once must not both find the file stale.
Descriptor lockBeside(const std::string& path) {
  const std::string name = path + ".lock";
  Descriptor lock(::open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (lock.get() < 0) fail(name, errno);
  if (::flock(lock.get(), LOCK_EX | LOCK_NB) != 0) throw ServerError(path + ": another server listens there");
  return lock;
}

// A socket file that nobody listens at is what a server left that was killed.
void removeStale(const std::string& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) return;
  if (!S_ISSOCK(status.st_mode)) throw ServerError(path + ": is there and is no socket");
  const Descriptor probe = makeSocket(AF_UNIX, path);
  const sockaddr_un address = unixAddress(path);
  const bool refused =
      ::connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 &&
      errno == ECONNREFUSED;
  if (!refused) throw ServerError(path + ": another server listens there");
  if (::unlink(path.c_str()) != 0) fail(path, errno);
}

void startListening(const Descriptor& socket, const std::string& what) {
  if (::listen(socket.get(), SOMAXCONN) != 0) fail(what, errno);
}

BoundSocket bindUnix(const Endpoint& endpoint, std::uint32_t mode) {
  BoundSocket bound{Descriptor(-1), lockBeside(endpoint.path), endpoint, true};
  removeStale(endpoint.path);
  Descriptor socket = makeSocket(AF_UNIX, endpoint.path);
  const sockaddr_un address = unixAddress(endpoint.path);
  if (::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    fail(endpoint.path, errno);
  }
  if (::chmod(endpoint.path.c_str(), static_cast<mode_t>(mode)) != 0) fail(endpoint.path, errno);
  startListening(socket, endpoint.path);
  return {std::move(socket), std::move(bound.lock), endpoint, true};
}

std::uint16_t portOf(const Descriptor& socket) {
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  ::getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &size);
  if (address.ss_family == AF_INET) return ntohs(reinterpret_cast<const sockaddr_in&>(address).sin_port);
  return ntohs(reinterpret_cast<const sockaddr_in6&>(address).sin6_port);
}

BoundSocket bindTcp(Endpoint endpoint) {
  const std::string what = endpoint.text();
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
  addrinfo* found = nullptr;
  const int status =
      ::getaddrinfo(endpoint.host.c_str(), std::to_string(endpoint.port).c_str(), &hints, &found);
  const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> list(found, &::freeaddrinfo);
  if (status != 0) throw ServerError(what + ": " + ::gai_strerror(status));
  Descriptor socket = makeSocket(list->ai_family, what);
  const int on = 1;
  ::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  if (::bind(socket.get(), list->ai_addr, list->ai_addrlen) != 0) fail(what, errno);
  startListening(socket, what);
  endpoint.port = portOf(socket);
  return {std::move(socket), Descriptor(-1), std::move(endpoint), false};
}

Endpoint endpointOf(const Descriptor& socket) {
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  if (::getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &size) != 0)
    fail("inherited socket", errno);
  if (address.ss_family == AF_UNIX) {
    return {Endpoint::Kind::Unix, reinterpret_cast<const sockaddr_un&>(address).sun_path, {}, 0};
  }
  char host[256] = {};
  const auto* generic = reinterpret_cast<const sockaddr*>(&address);
  if (::getnameinfo(generic, size, host, sizeof host, nullptr, 0, NI_NUMERICHOST) != 0) {
    throw ServerError("inherited socket: neither Unix nor TCP");
  }
  return {Endpoint::Kind::Tls, {}, host, portOf(socket)};
}

bool isListeningStream(const Descriptor& socket) {
  int listening = 0;
  int type = 0;
  socklen_t size = sizeof listening;
  if (::getsockopt(socket.get(), SOL_SOCKET, SO_ACCEPTCONN, &listening, &size) != 0) return false;
  size = sizeof type;
  return ::getsockopt(socket.get(), SOL_SOCKET, SO_TYPE, &type, &size) == 0 && listening != 0 &&
         type == SOCK_STREAM;
}

}  // namespace

Descriptor::~Descriptor() {
  if (m_number >= 0) ::close(m_number);
}

int Descriptor::release() {
  return std::exchange(m_number, -1);
}

BoundSocket bindSocket(const std::string& text, std::uint32_t mode) {
  const auto endpoint = parseEndpoint(text);
  if (!endpoint) throw ServerError(text + ": is no endpoint");
  return endpoint->kind == Endpoint::Kind::Unix ? bindUnix(*endpoint, mode) : bindTcp(*endpoint);
}

BoundSocket adoptSocket(int descriptor) {
  Descriptor socket(descriptor);
  if (!isListeningStream(socket))
    throw ServerError("inherited descriptor " + std::to_string(descriptor) + ": is no listening socket");
  ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
  Endpoint endpoint = endpointOf(socket);
  return {std::move(socket), Descriptor(-1), std::move(endpoint), false};
}

}  // namespace ipc
