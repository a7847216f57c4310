#include "service/SystemNotice.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>

namespace service {

void notifyManager(std::string_view state) {
  const char* const named = std::getenv("NOTIFY_SOCKET");
  const std::string_view path = named ? named : "";
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty() || (path[0] != '/' && path[0] != '@') || path.size() >= sizeof address.sun_path) return;
  path.copy(address.sun_path, path.size());
  if (path[0] == '@') address.sun_path[0] = '\0';

  const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (socket < 0) return;
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
  (void)::sendto(socket, state.data(), state.size(), MSG_NOSIGNAL,
                 reinterpret_cast<const sockaddr*>(&address), length);
  ::close(socket);
}

}  // namespace service
