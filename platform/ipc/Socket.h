// A connected stream socket of the client, with operations that end in time and raise no signal; and what TCP
// sockets of both ends have in common.
#pragma once

#include <netdb.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/ipc/Deadline.h"

namespace ipc {

// Small frames at once, and a peer that vanished without a word is noticed within a minute or so.
void tuneTcp(int descriptor);

// Operations give ipc::noError or what went wrong. One object belongs to one thread at a time.
class Socket {
public:
  Socket() = default;
  ~Socket() { close(); }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  Socket(Socket&& other) noexcept;
  Socket& operator=(Socket&& other) noexcept;

  // Closes what was open before. The socket does not pass to programs that this process starts.
  std::int32_t connect(const sockaddr* address, socklen_t size, Deadline& deadline);

  // The same to the first address of the list that can be reached. One that does not answer leaves half of
  // the time to the others. The error is that of the last one tried.
  std::int32_t connectAny(const addrinfo* list, Deadline& deadline);

  // Sends all of the bytes; the vectors are used up. Sent is what has gone out also on failure.
  std::int32_t send(std::span<iovec> bytes, std::size_t& sent, Deadline& deadline);
  // Waits for at least one byte. Got is their count, 0 on failure.
  std::int32_t receive(std::span<std::uint8_t> room, std::size_t& got, Deadline& deadline);

  // Whether the peer can still be heard; asks the system, and reads nothing.
  bool isConnected() const;
  // Whether both ends have the same address.
  bool isToThisMachine() const;
  void close();

private:
  ssize_t sendOnce(std::span<iovec> bytes) const;
  std::int32_t wait(short events, Deadline& deadline) const;

  int m_descriptor = -1;
};

}  // namespace ipc
