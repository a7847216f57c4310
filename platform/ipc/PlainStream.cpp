#include <algorithm>
#include <array>
#include <utility>

#include "platform/ipc/Errors.h"
#include "platform/ipc/Stream.h"

namespace ipc {

namespace {

class PlainStream : public Stream {
public:
  explicit PlainStream(Socket socket) : m_socket(std::move(socket)) {}

  std::int32_t send(std::span<const std::uint8_t> header, std::span<const std::uint8_t> payload,
                    Deadline& deadline) override {
    // A short telegram in one piece costs the system less than one in two.
    std::array<std::uint8_t, 512> whole;  // NOLINT(*-member-init): filled as far as it is sent
    if (header.size() + payload.size() <= whole.size()) {
      std::ranges::copy(payload, std::ranges::copy(header, whole.begin()).out);
      header = std::span(whole).first(header.size() + payload.size());
      payload = {};
    }
    // The system takes what it only reads through a pointer to what it could write.
    iovec bytes[] = {{const_cast<std::uint8_t*>(header.data()), header.size()},     // NOLINT
                     {const_cast<std::uint8_t*>(payload.data()), payload.size()}};  // NOLINT
    std::size_t sent = 0;
    const std::int32_t error = m_socket.send(std::span(bytes).first(payload.empty() ? 1 : 2), sent, deadline);
    m_whole = error == noError || sent == 0;
    return error;
  }
  bool isWhole() const override { return m_whole; }
  std::int32_t receive(std::span<std::uint8_t> room, std::size_t& got, Deadline& deadline) override {
    return m_socket.receive(room, got, deadline);
  }
  const Socket& socket() const override { return m_socket; }

private:
  Socket m_socket;
  bool m_whole = true;
};

}  // namespace

std::unique_ptr<Stream> makePlainStream(Socket socket) {
  return std::make_unique<PlainStream>(std::move(socket));
}

}  // namespace ipc
