// The unit of the protocol: a header and a payload, described in docs/protocol.md. Knows no socket: bytes
// in, frames out.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace ipc {

inline constexpr std::uint8_t protocolVersion = 1;
inline constexpr std::size_t headerBytes = 24;
inline constexpr std::uint32_t maxFrameBytes = 1U << 20;

enum class FrameKind : std::uint8_t {
  Hello = 1,    // client, first of all
  Welcome = 2,  // server's answer: code 0, or why it refuses; value: the largest frame that it takes
  Request = 3,  // client: code is the request's number
  Verdict = 4,  // server: code 0, or the client's error; flag Last where no reply follows
  Reply = 5     // server: flag Last on the last one of a request
};

inline constexpr std::uint8_t flagLast = 1;

struct Frame {
  FrameKind kind = FrameKind::Hello;
  std::uint8_t flags = 0;
  std::uint32_t id = 0;  // the client's count of its requests, repeated by the answers
  std::int32_t code = 0;
  std::int32_t service = 0;
  std::int32_t value = 0;
  std::span<const std::uint8_t> payload;

  bool isLast() const { return (flags & flagLast) != 0; }
};

using HeaderBytes = std::array<std::uint8_t, headerBytes>;

// The header of the frame. The payload must not be larger than maxFrameBytes allows.
HeaderBytes encodeHeader(const Frame& frame);

// Cuts a stream of bytes into frames. Room for a large frame is made as its bytes come, not on its
// header's word, and is given back behind it: many idle connections cost little whatever they once sent. One
// object belongs to one thread at a time.
class FrameReader {
public:
  enum class State : std::uint8_t {
    Frame,     // one was delivered
    Idle,      // not a byte is left over
    Partial,   // part of a frame is there
    Version,   // a header of another version; no more frames come
    Malformed  // no frame, or one beyond the limit; no more frames come
  };

  // The limit is in bytes, header included; the capacity is that of the start.
  FrameReader(std::uint32_t limit, std::size_t capacity);

  // Where to put the next bytes received; never empty. Invalidates payloads delivered before.
  std::span<std::uint8_t> room();
  // That many bytes were put there.
  void received(std::size_t count) { m_end += count; }

  // The next frame. Its payload lies in the reader, valid until the next room().
  State next(Frame& frame);

  void setLimit(std::uint32_t limit) { m_limit = limit; }
  // Forgets all that was received.
  void clear() { m_begin = m_end = 0; }

private:
  State check(const std::uint8_t* header) const;

  std::uint32_t m_limit;
  const std::size_t m_startCapacity;
  std::size_t m_capacity;
  std::unique_ptr<std::uint8_t[]> m_buffer;
  std::size_t m_begin = 0;  // of what is not yet delivered
  std::size_t m_end = 0;
};

}  // namespace ipc
