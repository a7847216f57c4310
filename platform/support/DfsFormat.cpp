#include "platform/support/DfsFormat.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

namespace support::dfs {
namespace {

constexpr std::uint8_t mark = 0xDF;
constexpr std::uint8_t version = 1;
constexpr std::uint8_t wideKeyBit = 0x80;
constexpr std::size_t maxCountBytes = 5;

constexpr std::size_t tagSize = 2;  // type and key length

// Whether the machine holds a character as a container does.
constexpr bool laidOutAlike = std::endian::native == std::endian::little;

char16_t unitAt(Bytes bytes, std::size_t index) {
  return static_cast<char16_t>(bytes[2 * index] | bytes[2 * index + 1] << 8);
}

bool hasZeroUnit(Bytes bytes) {
  for (std::size_t index = 0; index < bytes.size() / 2; ++index) {
    if (unitAt(bytes, index) == 0) return true;
  }
  return false;
}

bool isWide(std::u16string_view key) {
  return std::any_of(key.begin(), key.end(), [](char16_t unit) { return unit > 0xFF; });
}

bool hasZero(Bytes bytes) {
  return std::find(bytes.begin(), bytes.end(), 0) != bytes.end();
}

// A wide key must need its width, so that a field has one form only.
bool isWide(Bytes key) {
  for (std::size_t index = 1; index < key.size(); index += 2) {
    if (key[index] != 0) return true;
  }
  return false;
}

// Seven bits a byte, lowest first, in the fewest bytes. Returns the bytes that it takes, 0 where it is none.
std::size_t readCount(Bytes bytes, std::size_t& count) {
  count = 0;
  if (!bytes.empty() && bytes[0] < 0x80) {  // nearly every count
    count = bytes[0];
    return 1;
  }
  const std::size_t most = std::min(bytes.size(), maxCountBytes);
  for (std::size_t index = 0; index < most; ++index) {
    const std::uint8_t bits = bytes[index];
    count |= static_cast<std::size_t>(bits & 0x7F) << (7 * index);
    if (bits & 0x80) continue;
    const bool shortest = bits != 0 || index == 0;
    return shortest && count <= std::numeric_limits<std::uint32_t>::max() ? index + 1 : 0;
  }
  return 0;
}

std::size_t putCount(std::uint8_t* out, std::size_t count) {
  std::size_t used = 0;
  for (; count >= 0x80; count >>= 7) out[used++] = static_cast<std::uint8_t>(count | 0x80);
  out[used++] = static_cast<std::uint8_t>(count);
  return used;
}

bool hasCount(Type type) {
  return type == Type::Str || type == Type::Bin;
}

// Bytes of a number, of a text's character, of a byte.
std::size_t unitSize(Type type) {
  switch (type) {
    case Type::I4:
      return 4;
    case Type::Bin:
      return 1;
    default:
      return 2;
  }
}

bool isType(Type type) {
  return type >= Type::Str && type <= Type::Bin;
}

// Cuts the first field off, wherever its lengths lead within the bytes. Returns its byte count; 0 where the
// bytes end before it does.
inline std::size_t cut(Bytes bytes, Field& field) {
  if (bytes.size() < tagSize) return 0;
  field.wideKey = bytes[0] & wideKeyBit;
  field.type = static_cast<Type>(bytes[0] & ~wideKeyBit);
  const std::size_t keySize = std::size_t{bytes[1]} << (field.wideKey ? 1U : 0U);
  std::size_t at = tagSize + keySize;
  if (at > bytes.size()) return 0;
  field.key = bytes.subspan(tagSize, keySize);
  std::size_t count = 1;
  if (hasCount(field.type)) {
    const std::size_t countSize = readCount(bytes.subspan(at), count);
    if (countSize == 0) return 0;
    at += countSize;
  }
  const std::size_t valueSize = count * unitSize(field.type);
  if (valueSize > bytes.size() - at) return 0;
  field.value = bytes.subspan(at, valueSize);
  return at + valueSize;
}

// A field has one form only, and its texts no zero character.
bool isSound(const Field& field) {
  if (!isType(field.type) || (field.wideKey && !isWide(field.key))) return false;
  if (field.wideKey ? hasZeroUnit(field.key) : hasZero(field.key)) return false;
  return field.type != Type::Str || !hasZeroUnit(field.value);
}

void putUnits(std::uint8_t* out, std::u16string_view text, bool wide) {
  if (wide && laidOutAlike) {
    std::copy_n(reinterpret_cast<const std::uint8_t*>(text.data()), text.size() * 2, out);
    return;
  }
  for (const char16_t unit : text) {
    *out++ = static_cast<std::uint8_t>(unit);
    if (wide) *out++ = static_cast<std::uint8_t>(unit >> 8);
  }
}

// Everything before the value's bytes. Returns its byte count; 0 where it and the value do not fit.
std::size_t putPreamble(std::span<std::uint8_t> out, Type type, std::u16string_view key, std::size_t count,
                        std::size_t valueSize) {
  if (key.size() > maxKeyLength || valueSize > out.size()) return 0;
  const bool wide = isWide(key);
  const std::size_t keySize = key.size() * (wide ? 2 : 1);
  std::uint8_t counted[maxCountBytes];
  const std::size_t countSize = hasCount(type) ? putCount(counted, count) : 0;
  const std::size_t size = tagSize + keySize + countSize;
  if (size > out.size() - valueSize) return 0;

  out[0] = static_cast<std::uint8_t>(static_cast<std::uint8_t>(type) | (wide ? wideKeyBit : 0));
  out[1] = static_cast<std::uint8_t>(key.size());
  putUnits(out.data() + tagSize, key, wide);
  std::memcpy(out.data() + tagSize + keySize, counted, countSize);
  return size;
}

}  // namespace

bool Field::HasKey(std::u16string_view other) const {
  if (key.size() != other.size() * (wideKey ? 2 : 1)) return false;
  for (std::size_t index = 0; index < other.size(); ++index) {
    if ((wideKey ? unitAt(key, index) : key[index]) != other[index]) return false;
  }
  return true;
}

void writeHeader(std::span<std::uint8_t> out, std::uint32_t totalSize) {
  out[0] = mark;
  out[1] = version;
  writeNumber(out.subspan(2, 4), totalSize);
}

bool isContainer(Bytes bytes) {
  if (bytes.size() < headerSize || bytes[0] != mark || bytes[1] != version) return false;
  if (readNumber(bytes.subspan(2, 4)) != bytes.size()) return false;
  Bytes fields = bytes.subspan(headerSize);
  while (takeField(fields)) {
  }
  return fields.empty();
}

std::optional<Field> takeField(Bytes& fields) {
  Field field;
  const std::size_t size = cut(fields, field);
  if (size == 0 || !isSound(field)) return {};
  fields = fields.subspan(size);
  return field;
}

std::optional<Bytes> findField(Bytes fields, Type type, std::u16string_view key) {
  Field field;
  while (const std::size_t size = cut(fields, field)) {
    if (field.HasKey(key)) return field.type == type ? std::optional(field.value) : std::nullopt;
    fields = fields.subspan(size);
  }
  return {};
}

std::size_t putField(std::span<std::uint8_t> out, Type type, std::u16string_view key, Bytes value) {
  const std::size_t preamble = putPreamble(out, type, key, value.size(), value.size());
  if (preamble == 0) return 0;
  if (!value.empty()) std::memcpy(out.data() + preamble, value.data(), value.size());
  return preamble + value.size();
}

std::size_t putField(std::span<std::uint8_t> out, std::u16string_view key, std::u16string_view value) {
  const std::size_t preamble = putPreamble(out, Type::Str, key, value.size(), value.size() * 2);
  if (preamble == 0) return 0;
  putUnits(out.data() + preamble, value, true);
  return preamble + value.size() * 2;
}

std::uint32_t readNumber(Bytes bytes) {
  std::uint32_t number = 0;
  for (std::size_t index = bytes.size(); index > 0; --index) number = number << 8 | bytes[index - 1];
  return number;
}

void writeNumber(std::span<std::uint8_t> out, std::uint32_t number) {
  for (std::uint8_t& byte : out) {
    byte = static_cast<std::uint8_t>(number);
    number >>= 8;
  }
}

void readText(Bytes bytes, std::span<char16_t> out) {
  if (laidOutAlike && !out.empty()) {
    std::memcpy(out.data(), bytes.data(), out.size_bytes());
    return;
  }
  for (std::size_t index = 0; index < out.size(); ++index) out[index] = unitAt(bytes, index);
}

}  // namespace support::dfs
