#include "platform/support/Dfs.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <optional>

#include "platform/support/DfsFormat.h"

namespace {

namespace dfs = support::dfs;

// Sizes are handed out as signed numbers.
constexpr std::size_t maxSize = std::numeric_limits<std::int32_t>::max();

// What a container without bytes of its own shows.
const std::uint8_t* emptyContainer() {
  static const auto bytes = [] {
    std::array<std::uint8_t, dfs::headerSize> header{};
    dfs::writeHeader(header, dfs::headerSize);
    return header;
  }();
  return bytes.data();
}

std::u16string_view view(const char16_t* text) {
  return text ? text : std::u16string_view();
}

std::optional<dfs::Bytes> find(dfs::Bytes container, const char16_t* key, dfs::Type type) {
  if (container.size() <= dfs::headerSize) return {};
  return dfs::findField(container.subspan(dfs::headerSize), type, view(key));
}

}  // namespace

Dfs::~Dfs() = default;

const std::uint8_t* Dfs::GetData() const {
  if (m_overflow) return nullptr;
  return m_data ? m_data : emptyContainer();
}

std::int32_t Dfs::GetDataSize() const {
  if (m_overflow) return 0;
  return static_cast<std::int32_t>(m_data ? m_size : dfs::headerSize);
}

bool Dfs::AssignEmptyBuffer(std::uint8_t* buffer, std::int64_t size, bool /*flag*/) {
  const bool usable = buffer && size >= static_cast<std::int64_t>(dfs::headerSize);
  m_buffer = usable ? buffer : nullptr;
  m_capacity = usable ? std::min(static_cast<std::size_t>(size), maxSize) : 0;
  SetEmpty();
  m_overflow = !usable;
  return usable;
}

bool Dfs::AssignEmptyBuffer(char* buffer, std::int64_t size, bool flag) {
  return AssignEmptyBuffer(reinterpret_cast<std::uint8_t*>(buffer), size, flag);
}

void Dfs::SetEmpty() {
  m_overflow = false;
  m_received = false;
  m_data = m_buffer;
  m_size = 0;
  if (m_buffer) append(dfs::headerSize);
}

bool Dfs::Assign(const void* data, std::size_t size) {
  const auto* const bytes = static_cast<const std::uint8_t*>(data);
  if (!data || size > maxSize || !dfs::isContainer({bytes, size})) {
    SetEmpty();
    return false;
  }
  m_data = bytes;
  m_size = size;
  m_received = true;
  m_overflow = false;
  return true;
}

bool Dfs::AddValueStr(const char16_t* value, const char16_t* key) {
  return append(dfs::putField(room(), view(key), view(value)));
}

bool Dfs::AddValueI4(std::int32_t value, const char16_t* key) {
  std::uint8_t bytes[4];
  dfs::writeNumber(bytes, static_cast<std::uint32_t>(value));
  return append(dfs::putField(room(), dfs::Type::I4, view(key), bytes));
}

bool Dfs::AddValueI2(std::int16_t value, const char16_t* key) {
  std::uint8_t bytes[2];
  dfs::writeNumber(bytes, static_cast<std::uint16_t>(value));
  return append(dfs::putField(room(), dfs::Type::I2, view(key), bytes));
}

bool Dfs::AddValueBin(const void* data, std::int64_t bytes, const char16_t* key) {
  if (bytes < 0 || (!data && bytes > 0)) return append(0);
  const dfs::Bytes value(static_cast<const std::uint8_t*>(data), static_cast<std::size_t>(bytes));
  return append(dfs::putField(room(), dfs::Type::Bin, view(key), value));
}

bool Dfs::GetCurStr(const char16_t* key, UnicodeString& out) const {
  const auto value = find({m_data, m_size}, key, dfs::Type::Str);
  if (!value) return false;
  const auto length = static_cast<std::int32_t>(value->size() / 2);
  dfs::readText(*value, {out.GetBufferSetLength(length), value->size() / 2});
  out.ReleaseBuffer(length);
  return true;
}

bool Dfs::GetCurI4(const char16_t* key, std::int32_t& out) const {
  const auto value = find({m_data, m_size}, key, dfs::Type::I4);
  if (value) out = static_cast<std::int32_t>(dfs::readNumber(*value));
  return value.has_value();
}

bool Dfs::GetCurI2(const char16_t* key, std::int16_t& out) const {
  const auto value = find({m_data, m_size}, key, dfs::Type::I2);
  if (value) out = static_cast<std::int16_t>(dfs::readNumber(*value));
  return value.has_value();
}

bool Dfs::GetCurBin(const char16_t* key, void* out, std::int64_t maximum, std::int32_t& bytesRead) const {
  const auto value = find({m_data, m_size}, key, dfs::Type::Bin);
  if (!value || static_cast<std::int64_t>(value->size()) > maximum) return false;
  if (!value->empty()) {
    if (!out) return false;
    std::memcpy(out, value->data(), value->size());
  }
  bytesRead = static_cast<std::int32_t>(value->size());
  return true;
}

// Where the next field goes; nowhere after an overflow and while bytes received are bound.
std::span<std::uint8_t> Dfs::room() const {
  if (m_overflow || m_received || !m_buffer) return {};
  return {m_buffer + m_size, m_capacity - m_size};
}

// Takes in what has been put behind the present bytes; nothing means that it did not fit.
bool Dfs::append(std::size_t fieldSize) {
  if (fieldSize == 0) {
    m_overflow = true;
    return false;
  }
  m_size += fieldSize;
  dfs::writeHeader({m_buffer, m_capacity}, static_cast<std::uint32_t>(m_size));
  return true;
}
