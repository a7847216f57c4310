#include "platform/support/DfsFormat.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace support::dfs {
namespace {

constexpr std::uint8_t mark = 0xDF;
constexpr std::uint8_t version = 1;
constexpr std::uint8_t wideKeyBit = 0x80;
constexpr int maxCountBytes = 5;

constexpr std::size_t tagSize = 2;  // type and key length

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

// A wide key must need its width, so that a field has one form only.
bool isWide(Bytes key) {
  for (std::size_t index = 1; index < key.size(); index += 2) {
    if (key[index] != 0) return true;
  }
  return false;
}

std::optional<Bytes> take(Bytes& bytes, std::size_t count) {
  if (count > bytes.size()) return {};
  const Bytes taken = bytes.first(count);
  bytes = bytes.subspan(count);
  return taken;
}

// Seven bits a byte, lowest first, in the fewest bytes.
std::optional<std::uint32_t> takeCount(Bytes& bytes) {
  std::uint64_t count = 0;
  for (int index = 0; index < maxCountBytes; ++index) {
    const auto byte = take(bytes, 1);
    if (!byte) return {};
    const std::uint8_t bits = byte->front();
    count |= static_cast<std::uint64_t>(bits & 0x7F) << (7 * index);
    if (bits & 0x80) continue;
    const bool shortest = bits != 0 || index == 0;
    if (!shortest || count > std::numeric_limits<std::uint32_t>::max()) return {};
    return static_cast<std::uint32_t>(count);
  }
  return {};
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

std::optional<Bytes> takeValue(Bytes& bytes, Type type) {
  if (type == Type::I4) return take(bytes, 4);
  if (type == Type::I2) return take(bytes, 2);
  const auto count = takeCount(bytes);
  if (!count) return {};
  if (type == Type::Bin) return take(bytes, *count);
  const auto text = take(bytes, std::size_t{*count} * 2);
  if (!text || hasZeroUnit(*text)) return {};
  return text;
}

std::optional<Type> typeOf(std::uint8_t tag) {
  const auto type = static_cast<Type>(tag & ~wideKeyBit);
  if (type < Type::Str || type > Type::Bin) return {};
  return type;
}

std::optional<Field> readField(Bytes& rest) {
  const auto tag = take(rest, tagSize);
  if (!tag) return {};
  const auto type = typeOf((*tag)[0]);
  if (!type) return {};
  const bool wide = (*tag)[0] & wideKeyBit;
  const auto key = take(rest, std::size_t{(*tag)[1]} * (wide ? 2 : 1));
  if (!key || (wide && !isWide(*key))) return {};
  if (wide ? hasZeroUnit(*key) : std::count(key->begin(), key->end(), 0) != 0) return {};
  const auto value = takeValue(rest, *type);
  if (!value) return {};
  return Field{*type, wide, *key, *value};
}

void putUnits(std::uint8_t* out, std::u16string_view text, bool wide) {
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
  Bytes rest = fields;
  const auto field = readField(rest);
  if (field) fields = rest;
  return field;
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
  for (std::size_t index = 0; index < out.size(); ++index) out[index] = unitAt(bytes, index);
}

}  // namespace support::dfs
