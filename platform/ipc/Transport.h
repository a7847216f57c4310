// The server's end of a byte stream, plain or encrypted.
#pragma once

#include <asio/buffer.hpp>
#include <asio/ssl/context.hpp>
#include <asio/ssl/stream.hpp>
#include <asio/write.hpp>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>

#include "platform/ipc/Worker.h"

namespace ipc {

// Used by its worker's thread alone. Handlers get an error code and, but for the handshake's, a byte count.
class Transport {
public:
  explicit Transport(IoSocket socket) : m_plain(std::move(socket)) {}
  Transport(IoSocket socket, asio::ssl::context& context) { m_tls.emplace(std::move(socket), context); }

  bool isTls() const { return m_tls.has_value(); }
  IoSocket& socket() { return m_tls ? m_tls->next_layer() : *m_plain; }
  SSL* ssl() { return m_tls->native_handle(); }

  template <class Handler>
  void handshake(Handler&& handler) {
    m_tls->async_handshake(asio::ssl::stream_base::server, std::forward<Handler>(handler));
  }
  template <class Handler>
  void read(std::span<std::uint8_t> room, Handler&& handler) {
    const auto buffer = asio::buffer(room.data(), room.size());
    if (m_tls) {
      m_tls->async_read_some(buffer, std::forward<Handler>(handler));
    } else {
      m_plain->async_read_some(buffer, std::forward<Handler>(handler));
    }
  }
  // Writes all.
  template <class Handler>
  void write(std::span<const std::uint8_t> bytes, Handler&& handler) {
    const auto buffer = asio::buffer(bytes.data(), bytes.size());
    if (m_tls) {
      asio::async_write(*m_tls, buffer, std::forward<Handler>(handler));
    } else {
      asio::async_write(*m_plain, buffer, std::forward<Handler>(handler));
    }
  }
  // What the system takes at once; 0 for an encrypted stream, and on an error, which the next write meets.
  std::size_t tryWrite(std::span<const std::uint8_t> bytes) {
    if (m_tls) return 0;
    std::error_code ignored;
    return m_plain->write_some(asio::buffer(bytes.data(), bytes.size()), ignored);
  }
  // Reads bytes below the encryption, to throw them away.
  template <class Handler>
  void readRaw(std::span<std::uint8_t> room, Handler&& handler) {
    socket().async_read_some(asio::buffer(room.data(), room.size()), std::forward<Handler>(handler));
  }

private:
  std::optional<IoSocket> m_plain;
  std::optional<asio::ssl::stream<IoSocket>> m_tls;
};

}  // namespace ipc
