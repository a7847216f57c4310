// Names: folding for comparison, and the bytes under which the store keeps them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

namespace registry {

inline constexpr std::size_t maxKeyName = 255;      // characters
inline constexpr std::size_t maxValueName = 16383;  // characters

// The owner's id at the beginning of a child's key, in bytes.
inline constexpr std::size_t ownerSize = sizeof(std::uint64_t);

inline constexpr std::array<char, 128> lowerAscii = [] {
  std::array<char, 128> table{};
  for (int c = 0; c < 128; ++c)
    table[static_cast<std::size_t>(c)] = static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
  return table;
}();

// A name under Unicode simple case folding, as UTF-8 bytes (a lone surrogate as three bytes of its own).
// Two names are the same key or value exactly if these bytes are equal.
class FoldedName {
public:
  // NOLINTNEXTLINE(*-member-init): the size says how much of the bytes counts
  explicit FoldedName(std::u16string_view name) {
    if (!foldAscii(name)) foldAny(name);
  }
  // The same for a zero-terminated one; null is empty.
  // NOLINTNEXTLINE(*-member-init): the same
  explicit FoldedName(const char16_t* name) {
    if (!foldAscii(name)) foldAny(name);
  }
  std::string_view view() const {
    return m_long ? std::string_view(*m_long) : std::string_view(m_short.data(), m_size);
  }

private:
  bool foldAscii(std::u16string_view name);
  bool foldAscii(const char16_t* name);
  void foldAny(std::u16string_view name);

  std::array<char, 64> m_short;  // left raw: m_size says how much of it counts
  std::size_t m_size = 0;
  std::unique_ptr<std::string> m_long;  // where the short one won't do
};

// The store's key of a child: the owner's id, then the folded name. A name beyond what the store can
// index keeps its beginning and a 128-bit hash of the whole; the full name is compared on the hit.
class EntryKey {  // NOLINT(*-member-init): the same
public:
  static constexpr std::size_t capacity = 511;

  // NOLINTNEXTLINE(*-member-init): the size says how much of the bytes counts
  EntryKey() = default;
  EntryKey(std::uint64_t owner, std::string_view folded);
  // The bytes of a key that the store gave.
  static EntryKey fromBytes(std::string_view bytes);

  std::string_view bytes() const { return {m_bytes.data(), m_size}; }
  // What follows the owner: as stored, so with a hash where the name is long.
  std::string_view name() const { return bytes().substr(sizeof(std::uint64_t)); }
  std::uint64_t owner() const;
  bool isHashed() const { return m_size == capacity; }

  // Only the bytes that count are copied.
  // NOLINTNEXTLINE(*-member-init): the size says how much of the bytes counts
  EntryKey(const EntryKey& other) : m_size(other.m_size) {
    std::memcpy(m_bytes.data(), other.m_bytes.data(), m_size);
  }
  EntryKey& operator=(const EntryKey& other) {
    m_size = other.m_size;
    std::memmove(m_bytes.data(), other.m_bytes.data(), m_size);
    return *this;
  }
  ~EntryKey() = default;

private:
  std::size_t m_size = 0;              // in front, beside the bytes that count
  std::array<char, capacity> m_bytes;  // left raw: m_size says how much of it counts
};

// A key's id as the store sorts by it: most significant byte first, and the highest bit set, which no id has.
// So ids come behind all text, and the newest one last.
void putId(char* at, std::uint64_t id);
std::uint64_t getId(const char* at);

// Four characters at a time: a read folds half a dozen short names, so this is felt.
inline bool FoldedName::foldAscii(std::u16string_view name) {
  constexpr std::uint64_t each = 0x0001000100010001;
  if (name.size() > m_short.size()) return false;
  std::size_t at = 0;
  for (; at + 4 <= name.size(); at += 4) {
    std::uint64_t four = 0;
    std::memcpy(&four, name.data() + at, sizeof four);
    if ((four & (0xFF80 * each)) != 0) return false;
    const std::uint64_t upper =
        ((four + (0x80 - u'A') * each) ^ (four + (0x7F - u'Z') * each)) & (0x80 * each);
    four |= upper >> 2;  // 0x20, what a lower letter has more
    four = (four | four >> 8) & 0x0000FFFF0000FFFF;
    const auto packed = static_cast<std::uint32_t>(four | four >> 16);
    std::memcpy(m_short.data() + at, &packed, sizeof packed);
  }
  for (; at < name.size(); ++at) {
    const char16_t c = name[at];
    if (c >= 0x80) return false;
    m_short[at] = lowerAscii[c];
  }
  m_size = name.size();
  return true;
}

inline bool FoldedName::foldAscii(const char16_t* name) {
  if (name == nullptr) return true;
  std::size_t at = 0;
  for (; at < m_short.size(); ++at) {
    const std::uint32_t c = name[at];
    if (c - 1 >= 0x7F) break;  // the end, or no ASCII
    m_short[at] = lowerAscii[c];
  }
  m_size = at;
  return name[at] == u'\0';
}

}  // namespace registry
