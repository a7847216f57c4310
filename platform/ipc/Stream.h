// The bytes of a connection, plain or encrypted.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "platform/ipc/Deadline.h"
#include "platform/ipc/Socket.h"

namespace ipc {

class Stream {
public:
  Stream() = default;
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;
  virtual ~Stream() = default;

  // Sends a header and a payload as one. After a failure with timedOut, isWhole says whether nothing has
  // gone out, so that the stream can still be used.
  virtual std::int32_t send(std::span<const std::uint8_t> header, std::span<const std::uint8_t> payload,
                            Deadline& deadline) = 0;
  virtual bool isWhole() const = 0;
  virtual std::int32_t receive(std::span<std::uint8_t> room, std::size_t& got, Deadline& deadline) = 0;
  virtual const Socket& socket() const = 0;
};

std::unique_ptr<Stream> makePlainStream(Socket socket);

// The function of the library libsps_tls, which is one of its own because most programs never need what it
// brings in: extern "C", named sps_ipc_open_tls. The encrypted stream over a socket just connected, which it
// takes, once both sides have proven who they are; null with the error, and with more about it in detail.
using OpenTls = Stream*(Socket& socket, const std::string& host, Deadline& deadline, std::int32_t& error,
                        std::string& detail);

// Calls that function: the program's own where it is linked with one, else the library's, which is loaded.
std::unique_ptr<Stream> makeTlsStream(Socket socket, const std::string& host, Deadline& deadline,
                                      std::int32_t& error, std::string& detail);

}  // namespace ipc
