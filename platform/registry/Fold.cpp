#include "platform/registry/Fold.h"

#include <utf8proc.h>

#include <cstring>

#include "platform/registry/Hash.h"

namespace registry {
namespace {

constexpr std::size_t hashSize = 2 * sizeof(std::uint64_t);
constexpr std::size_t longestPlain = EntryKey::capacity - ownerSize - hashSize - 1;
constexpr char hashMark = '\xFF';  // in no UTF-8 text, so a hashed key is never equal to a plain one

constexpr std::uint64_t idMark = std::uint64_t{1} << 63;

void putBigEndian(char* at, std::uint64_t number) {
  const std::uint64_t swapped = __builtin_bswap64(number);
  std::memcpy(at, &swapped, sizeof swapped);
}

std::uint64_t getBigEndian(const char* at) {
  std::uint64_t number = 0;
  std::memcpy(&number, at, sizeof number);
  return __builtin_bswap64(number);
}

bool isHigh(char32_t c) {
  return c >= 0xD800 && c < 0xDC00;
}
bool isLow(char32_t c) {
  return c >= 0xDC00 && c < 0xE000;
}

char32_t nextCodePoint(std::u16string_view text, std::size_t& at) {
  const char32_t first = text[at++];
  if (!isHigh(first) || at == text.size() || !isLow(text[at])) return first;
  return 0x10000 + ((first - 0xD800) << 10) + (text[at++] - 0xDC00U);
}

// Full folding where it is one character, else the lower case: together these are the simple folding. The
// capital I with dot alone has a lower case and no simple folding.
char32_t foldCodePoint(char32_t c) {
  if (isHigh(c) || isLow(c) || c == 0x130) return c;
  utf8proc_int32_t folded[8];
  int boundClass = 0;
  const auto count =
      utf8proc_decompose_char(static_cast<utf8proc_int32_t>(c), folded, 8, UTF8PROC_CASEFOLD, &boundClass);
  if (count == 1) return static_cast<char32_t>(folded[0]);
  return static_cast<char32_t>(utf8proc_tolower(static_cast<utf8proc_int32_t>(c)));
}

void appendUtf8(std::string& out, char32_t c) {
  const auto tail = [&](int shift) { out += static_cast<char>(0x80U | ((c >> shift) & 0x3FU)); };
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0U | (c >> 6));
    tail(0);
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0U | (c >> 12));
    tail(6);
    tail(0);
  } else {
    out += static_cast<char>(0xF0U | (c >> 18));
    tail(12);
    tail(6);
    tail(0);
  }
}

}  // namespace

void FoldedName::foldAny(std::u16string_view name) {
  m_long = std::make_unique<std::string>();
  m_long->reserve(name.size() + 8);
  for (std::size_t at = 0; at < name.size();) appendUtf8(*m_long, foldCodePoint(nextCodePoint(name, at)));
}

// NOLINTNEXTLINE(*-member-init): the size says how much of the bytes counts
EntryKey::EntryKey(std::uint64_t owner, std::string_view folded) {
  putId(m_bytes.data(), owner);
  const std::size_t plain = folded.size() <= longestPlain ? folded.size() : longestPlain;
  folded.copy(m_bytes.data() + ownerSize, plain);
  m_size = ownerSize + plain;
  if (plain == folded.size()) return;
  const Hash128 hash = hash128(folded);
  m_bytes[m_size] = hashMark;
  putBigEndian(m_bytes.data() + m_size + 1, hash.high);
  putBigEndian(m_bytes.data() + m_size + 1 + sizeof hash.high, hash.low);
  m_size += 1 + hashSize;
}

EntryKey EntryKey::fromBytes(std::string_view bytes) {
  EntryKey key;
  key.m_size = bytes.size() < capacity ? bytes.size() : capacity;
  std::memcpy(key.m_bytes.data(), bytes.data(), key.m_size);
  return key;
}

std::uint64_t EntryKey::owner() const {
  return m_size < ownerSize ? 0 : getId(m_bytes.data());
}

void putId(char* at, std::uint64_t id) {
  putBigEndian(at, id | idMark);
}

std::uint64_t getId(const char* at) {
  return getBigEndian(at) & ~idMark;
}

}  // namespace registry
