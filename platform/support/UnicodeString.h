// The 16-bit string of all our interfaces.
#pragma once

#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "platform/support/Format.h"
#include "platform/support/api.h"

namespace support {

// What the language takes for a number where only a number is offered.
template <class Type>
concept Character = std::same_as<Type, char> || std::same_as<Type, wchar_t> || std::same_as<Type, char8_t> ||
    std::same_as<Type, char16_t> || std::same_as<Type, char32_t>;

}  // namespace support

// A text of 16-bit characters (UTF-16, though any content is kept). All lengths, counts and positions
// are in characters. Null pointers are read as the empty text. One object belongs to one thread at a
// time, as with std::string.
class SPS_API UnicodeString {
public:
  UnicodeString() = default;
  // Texts of every form are passed where this class is asked for.
  // NOLINTBEGIN(google-explicit-constructor)
  UnicodeString(std::nullptr_t) {}
  UnicodeString(const char16_t* text) : m_text(view(text)) {}
  // The text is taken as UTF-8.
  UnicodeString(const char* text);
  // The number's decimal digits, with a minus sign where it is negative.
  UnicodeString(std::int32_t number);
  // NOLINTEND(google-explicit-constructor)
  explicit UnicodeString(std::u16string_view text) : m_text(text) {}
  explicit UnicodeString(std::u16string&& text) noexcept : m_text(std::move(text)) {}
  // A character is no number: without this, its code would come out in digits.
  template <support::Character Type>
  UnicodeString(Type) = delete;

  // The text up to its end, zero-terminated; valid until the next change of this object.
  operator const char16_t*() const { return m_text.c_str(); }  // NOLINT(google-explicit-constructor)
  std::u16string_view View() const { return m_text; }

  // The text given may be part of this one.
  UnicodeString& operator=(const char16_t* text) {
    m_text.assign(view(text));
    return *this;
  }
  UnicodeString& operator=(std::u16string_view text) {
    m_text.assign(text);
    return *this;
  }
  // Not the null pointer that a literal 0 would otherwise be.
  UnicodeString& operator=(std::int32_t number) { return *this = UnicodeString(number); }
  template <support::Character Type>
  UnicodeString& operator=(Type) = delete;
  UnicodeString& operator+=(const UnicodeString& text) {
    m_text.append(text.m_text);
    return *this;
  }
  UnicodeString& operator+=(const char16_t* text) {
    m_text.append(view(text));
    return *this;
  }
  UnicodeString& operator+=(char16_t character) {
    m_text.push_back(character);
    return *this;
  }
  // Nor is a number a character, or a text.
  template <std::integral Number>
  requires(!std::same_as<Number, char16_t>) UnicodeString& operator+=(Number) = delete;

  std::int32_t GetLength() const { return static_cast<std::int32_t>(m_text.size()); }
  bool IsEmpty() const { return m_text.empty(); }
  void Empty() { m_text.clear(); }

  // Below 0, 0 or above 0 as this text sorts before, equals or sorts after the other, by character
  // code; case counts.
  std::int32_t Compare(const char16_t* other) const { return m_text.compare(view(other)); }
  std::int32_t Compare(const UnicodeString& other) const { return m_text.compare(other.m_text); }
  // Position of the first such character at or after start; -1 where there is none. A start below 0
  // is 0.
  std::int32_t Find(char16_t character, std::int32_t start = 0) const;

  // Parts of the text; a start or count below 0 is 0, one past the end stops there.
  UnicodeString Left(std::int32_t count) const;
  UnicodeString Right(std::int32_t count) const;
  UnicodeString Mid(std::int32_t start) const;
  UnicodeString Mid(std::int32_t start, std::int32_t count) const;

  // Takes every character of the set off both ends.
  void Trim(const char16_t* characters);

  // Replaces the text; the directives are those of support::formatText. The text itself may be among
  // the arguments.
  template <class... Args>
  void Format(const char16_t* format, const Args&... args) {
    m_text = support::format(view(format), args...);
  }

  // A writable buffer that holds the present text and has room for at least that many characters and a
  // terminator. Valid until ReleaseBuffer, which must come before any other operation.
  char16_t* GetBuffer(std::int32_t minLength = 0);
  // The same with a text of exactly that many characters; new ones are zero.
  char16_t* GetBufferSetLength(std::int32_t length);
  // Ends the writing: the text is that long (no longer than the buffer), or with -1 reaches up to the
  // first zero.
  void ReleaseBuffer(std::int32_t length = -1);

  friend UnicodeString operator+(const UnicodeString& left, const UnicodeString& right) {
    return join(left.m_text, right.m_text);
  }
  friend UnicodeString operator+(const UnicodeString& left, const char16_t* right) {
    return join(left.m_text, view(right));
  }
  friend UnicodeString operator+(const char16_t* left, const UnicodeString& right) {
    return join(view(left), right.m_text);
  }
  // What a sum builds on is a sum itself as a rule: its buffer goes on being used.
  friend UnicodeString operator+(UnicodeString&& left, const UnicodeString& right) {
    return std::move(left += right);
  }
  friend UnicodeString operator+(UnicodeString&& left, const char16_t* right) {
    return std::move(left += right);
  }

  // By character code, as Compare. The forms with a pointer keep a comparison with a literal from being
  // one of addresses.
  friend bool operator==(const UnicodeString& left, const UnicodeString& right) {
    return left.m_text == right.m_text;
  }
  friend bool operator==(const UnicodeString& left, const char16_t* right) {
    return left.m_text == view(right);
  }
  friend std::strong_ordering operator<=>(const UnicodeString& left, const UnicodeString& right) {
    return left.m_text <=> right.m_text;
  }
  friend std::strong_ordering operator<=>(const UnicodeString& left, const char16_t* right) {
    return left.View() <=> view(right);
  }

private:
  static std::u16string_view view(const char16_t* text) {
    return text ? std::u16string_view(text) : std::u16string_view();
  }
  static UnicodeString join(std::u16string_view left, std::u16string_view right) {
    UnicodeString sum;
    sum.m_text.reserve(left.size() + right.size());
    sum.m_text.append(left).append(right);
    return sum;
  }

  std::u16string m_text;
};
