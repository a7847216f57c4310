// The least that a request to another process can cost: gives every 100 bytes back. Started by remote_bench.
// usage: echo_server SOCKET
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>

namespace {

constexpr std::size_t messageSize = 100;

int listenAt(const char* path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (std::strlen(path) >= sizeof address.sun_path) return -1;
  std::strcpy(address.sun_path, path);
  const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
  if (::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return -1;
  return ::listen(listener, 16) == 0 ? listener : -1;
}

void serve(int peer) {
  std::array<char, messageSize> message{};
  while (::recv(peer, message.data(), message.size(), MSG_WAITALL) == ssize_t{messageSize}) {
    if (::send(peer, message.data(), message.size(), MSG_NOSIGNAL) != ssize_t{messageSize}) break;
  }
  ::close(peer);
}

}  // namespace

int main(int argc, char** argv) {
  const int listener = argc == 2 ? listenAt(argv[1]) : -1;
  if (listener < 0) {
    std::fputs("echo_server: cannot listen\n", stderr);
    return 1;
  }
  for (;;) {
    const int peer = ::accept(listener, nullptr, nullptr);
    if (peer >= 0) serve(peer);
  }
}
