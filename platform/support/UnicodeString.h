// The 16-bit string of all our interfaces.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/support/Format.h"
#include "platform/support/api.h"

// A text of 16-bit characters (UTF-16, though any content is kept). All lengths, counts and positions
// are in characters. Null pointers are read as the empty text. One object belongs to one thread at a
// time, as with std::string.
class SPS_API UnicodeString {
public:
  UnicodeString() = default;
  UnicodeString(const char16_t* text);
  // The text is taken as UTF-8.
  UnicodeString(const char* text);
  // The number's decimal digits, with a minus sign where it is negative.
  UnicodeString(std::int32_t number);
  explicit UnicodeString(std::u16string_view text) : m_text(text) {}

  // The text up to its end, zero-terminated; valid until the next change of this object.
  operator const char16_t*() const { return m_text.c_str(); }
  std::u16string_view View() const { return m_text; }

  UnicodeString& operator=(const char16_t* text);
  UnicodeString& operator+=(const UnicodeString& text);
  UnicodeString& operator+=(const char16_t* text);
  UnicodeString& operator+=(char16_t character);

  std::int32_t GetLength() const { return static_cast<std::int32_t>(m_text.size()); }
  bool IsEmpty() const { return m_text.empty(); }
  void Empty() { m_text.clear(); }

  // Below 0, 0 or above 0 as this text sorts before, equals or sorts after the other, by character
  // code; case counts.
  std::int32_t Compare(const char16_t* other) const;
  // Position of the first such character at or after start; -1 where there is none.
  std::int32_t Find(char16_t character, std::int32_t start = 0) const;

  // Parts of the text; a count below 0 is 0, one past the end stops there.
  UnicodeString Left(std::int32_t count) const;
  UnicodeString Right(std::int32_t count) const;
  UnicodeString Mid(std::int32_t start) const;
  UnicodeString Mid(std::int32_t start, std::int32_t count) const;

  // Takes every character of the set off both ends.
  void Trim(const char16_t* characters);

  // Replaces the text; the directives are those of support::formatText.
  template <class... Args>
  void Format(const char16_t* format, const Args&... args) {
    m_text = support::format(format ? format : u"", args...);
  }

  // A writable buffer that holds the present text and has room for at least that many characters and a
  // terminator. Valid until ReleaseBuffer, which must come before any other operation.
  char16_t* GetBuffer(std::int32_t minLength = 0);
  // The same with a text of exactly that many characters; new ones are zero.
  char16_t* GetBufferSetLength(std::int32_t length);
  // Ends the writing: the text is that long, or with -1 reaches up to the first zero.
  void ReleaseBuffer(std::int32_t length = -1);

  friend SPS_API UnicodeString operator+(const UnicodeString& left, const UnicodeString& right);
  friend SPS_API UnicodeString operator+(const UnicodeString& left, const char16_t* right);
  friend SPS_API UnicodeString operator+(const char16_t* left, const UnicodeString& right);
  friend bool operator==(const UnicodeString& left, const UnicodeString& right) {
    return left.m_text == right.m_text;
  }

private:
  std::u16string m_text;
};
