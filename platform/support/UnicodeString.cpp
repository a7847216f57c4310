#include "platform/support/UnicodeString.h"

#include <algorithm>

#include "platform/support/Utf.h"

namespace {

std::size_t atLeastZero(std::int32_t count) {
  return static_cast<std::size_t>(std::max(count, 0));
}

}  // namespace

UnicodeString::UnicodeString(const char* text) : m_text(support::toUtf16(text ? text : "")) {}

UnicodeString::UnicodeString(std::int32_t number) {
  const std::string digits = std::to_string(number);
  m_text.assign(digits.begin(), digits.end());
}

std::int32_t UnicodeString::Find(char16_t character, std::int32_t start) const {
  const std::size_t position = m_text.find(character, atLeastZero(start));
  return position == std::u16string::npos ? -1 : static_cast<std::int32_t>(position);
}

UnicodeString UnicodeString::Left(std::int32_t count) const {
  return UnicodeString(View().substr(0, atLeastZero(count)));
}

UnicodeString UnicodeString::Right(std::int32_t count) const {
  return UnicodeString(View().substr(m_text.size() - std::min(atLeastZero(count), m_text.size())));
}

UnicodeString UnicodeString::Mid(std::int32_t start) const {
  return Mid(start, GetLength());
}

UnicodeString UnicodeString::Mid(std::int32_t start, std::int32_t count) const {
  return UnicodeString(View().substr(std::min(atLeastZero(start), m_text.size()), atLeastZero(count)));
}

void UnicodeString::Trim(const char16_t* characters) {
  const std::u16string_view set = view(characters);
  const std::size_t first = m_text.find_first_not_of(set);
  if (first == std::u16string::npos) {
    m_text.clear();
    return;
  }
  m_text.erase(m_text.find_last_not_of(set) + 1);
  m_text.erase(0, first);
}

char16_t* UnicodeString::GetBuffer(std::int32_t minLength) {
  return GetBufferSetLength(std::max(minLength, GetLength()));
}

char16_t* UnicodeString::GetBufferSetLength(std::int32_t length) {
  m_text.resize(atLeastZero(length));
  return m_text.data();
}

void UnicodeString::ReleaseBuffer(std::int32_t length) {
  const std::size_t end = length < 0 ? m_text.find(u'\0') : static_cast<std::size_t>(length);
  m_text.resize(std::min(end, m_text.size()));
}
