// The bytes of a field container, one field at a time; the grammar is in docs/telegram.md. It knows no
// container and no buffer of its own: bytes in, fields out, and the reverse.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace support::dfs {

using Bytes = std::span<const std::uint8_t>;

enum class Type : std::uint8_t { Str = 1, I4 = 2, I2 = 3, Bin = 4 };

// The start of every container: mark, version, total byte count.
inline constexpr std::size_t headerSize = 6;
// Longest key, in characters.
inline constexpr std::size_t maxKeyLength = 255;

// One field; the spans lie in the bytes it was read from.
struct Field {
  Type type = Type::Str;
  bool wideKey = false;  // two bytes a character instead of one
  Bytes key;
  Bytes value;  // the value's bytes without the count in front of them

  bool HasKey(std::u16string_view other) const;
};

// A header for a container of that many bytes in all, at the start of out, which has room for it.
void writeHeader(std::span<std::uint8_t> out, std::uint32_t totalSize);

// True where the bytes are one whole container: the header's count is theirs, every field is well
// formed, and nothing is left over.
bool isContainer(Bytes bytes);

// Takes the first field off the bytes behind a header. Nothing at their end, and where the field is
// malformed; the bytes are then as they were.
std::optional<Field> takeField(Bytes& fields);

// The value of the first field with that key, where it has that type. The fields are those of a container
// that has been checked, and not looked through again; of others it may deliver nonsense, but nothing from
// beyond their end.
std::optional<Bytes> findField(Bytes fields, Type type, std::u16string_view key);

// Puts a field at the start of out. Returns its byte count; 0 where it does not fit or the key is too
// long, and out then holds nothing of use.
std::size_t putField(std::span<std::uint8_t> out, Type type, std::u16string_view key, Bytes value);
// The same for a text, whose characters may not be laid out as in the container.
std::size_t putField(std::span<std::uint8_t> out, std::u16string_view key, std::u16string_view value);

// Numbers and characters lie low byte first.
std::uint32_t readNumber(Bytes bytes);
void writeNumber(std::span<std::uint8_t> out, std::uint32_t number);
void readText(Bytes bytes, std::span<char16_t> out);

}  // namespace support::dfs
