#include "platform/ipc/Frame.h"

#include <algorithm>
#include <cstring>

namespace ipc {

namespace {

// Byte positions in the header.
constexpr std::size_t lengthAt = 0;
constexpr std::size_t versionAt = 4;
constexpr std::size_t kindAt = 5;
constexpr std::size_t flagsAt = 6;
constexpr std::size_t zeroAt = 7;
constexpr std::size_t idAt = 8;
constexpr std::size_t codeAt = 12;
constexpr std::size_t serviceAt = 16;
constexpr std::size_t valueAt = 20;

constexpr std::size_t keptReadCapacity = 64U << 10;  // of a reader between frames

void put(std::uint8_t* at, std::uint32_t number) {
  for (int i = 0; i < 4; ++i) at[i] = static_cast<std::uint8_t>(number >> (8 * i));
}

std::uint32_t get(const std::uint8_t* at) {
  return static_cast<std::uint32_t>(at[0]) | static_cast<std::uint32_t>(at[1]) << 8 |
         static_cast<std::uint32_t>(at[2]) << 16 | static_cast<std::uint32_t>(at[3]) << 24;
}

std::int32_t getSigned(const std::uint8_t* at) {
  return static_cast<std::int32_t>(get(at));
}

}  // namespace

HeaderBytes encodeHeader(const Frame& frame) {
  HeaderBytes bytes{};
  put(&bytes[lengthAt], static_cast<std::uint32_t>(headerBytes + frame.payload.size()));
  bytes[versionAt] = protocolVersion;
  bytes[kindAt] = static_cast<std::uint8_t>(frame.kind);
  bytes[flagsAt] = frame.flags;
  put(&bytes[idAt], frame.id);
  put(&bytes[codeAt], static_cast<std::uint32_t>(frame.code));
  put(&bytes[serviceAt], static_cast<std::uint32_t>(frame.service));
  put(&bytes[valueAt], static_cast<std::uint32_t>(frame.value));
  return bytes;
}

FrameReader::FrameReader(std::uint32_t limit, std::size_t capacity)
    : m_limit(limit),
      m_startCapacity(std::max(capacity, headerBytes)),
      m_capacity(m_startCapacity),
      m_buffer(std::make_unique<std::uint8_t[]>(m_capacity)) {}

std::span<std::uint8_t> FrameReader::room() {
  if (m_begin == m_end && m_capacity > std::max(m_startCapacity, keptReadCapacity)) {
    m_capacity = m_startCapacity;
    m_buffer = std::make_unique<std::uint8_t[]>(m_capacity);
    clear();
  }
  if (m_begin > 0) {
    std::memmove(m_buffer.get(), m_buffer.get() + m_begin, m_end - m_begin);
    m_end -= m_begin;
    m_begin = 0;
  }
  if (m_end == m_capacity) {
    auto larger = std::make_unique<std::uint8_t[]>(2 * m_capacity);
    std::memcpy(larger.get(), m_buffer.get(), m_end);
    m_buffer = std::move(larger);
    m_capacity *= 2;
  }
  return {m_buffer.get() + m_end, m_capacity - m_end};
}

FrameReader::State FrameReader::next(Frame& frame) {
  const std::size_t count = m_end - m_begin;
  if (count == 0) return State::Idle;
  const std::uint8_t* header = m_buffer.get() + m_begin;
  if (count < headerBytes) return State::Partial;
  if (const State bad = check(header); bad != State::Frame) return bad;
  const std::uint32_t length = get(header + lengthAt);
  if (count < length) return State::Partial;
  frame.kind = static_cast<FrameKind>(header[kindAt]);
  frame.flags = header[flagsAt];
  frame.id = get(header + idAt);
  frame.code = getSigned(header + codeAt);
  frame.service = getSigned(header + serviceAt);
  frame.value = getSigned(header + valueAt);
  frame.payload = {header + headerBytes, length - headerBytes};
  m_begin += length;
  return State::Frame;
}

// The version comes first: what follows it may mean anything in another one.
FrameReader::State FrameReader::check(const std::uint8_t* header) const {
  if (header[versionAt] != protocolVersion) return State::Version;
  const std::uint32_t length = get(header + lengthAt);
  const std::uint8_t kind = header[kindAt];
  const bool known = kind >= static_cast<std::uint8_t>(FrameKind::Hello) &&
                     kind <= static_cast<std::uint8_t>(FrameKind::Reply);
  const bool clean = (header[flagsAt] & ~flagLast) == 0 && header[zeroAt] == 0;
  return known && clean && length >= headerBytes && length <= m_limit ? State::Frame : State::Malformed;
}

}  // namespace ipc
