#include "platform/recordset/DslField.h"

#include <algorithm>
#include <limits>
#include <string_view>

#include "platform/recordset/DslExc.h"

namespace {

bool isDigit(char16_t character) {
  return character >= u'0' && character <= u'9';
}

template <class Number>
bool fits(std::int64_t number) {
  return number >= std::numeric_limits<Number>::min() && number <= std::numeric_limits<Number>::max();
}

// Above all numbers that a field takes.
constexpr std::int64_t ceiling = std::numeric_limits<std::uint32_t>::max();

std::int64_t valueOf(std::u16string_view digits) {
  std::int64_t value = 0;
  for (const char16_t digit : digits) value = std::min(value * 10 + (digit - u'0'), ceiling);
  return value;
}

bool isType(DslField::Type type) {
  return type == DslField::Code || type == DslField::Text || type == DslField::Short || type == DslField::Int;
}

[[noreturn]] void refuseRange(const DslString& column, const UnicodeString& number) {
  UnicodeString message;
  message.Format(u"The number %s of column \"%s\" is out of range", number, column);
  throw DslExc(DslExc::OutOfRange, message);
}

}  // namespace

DslBase::~DslBase() = default;

DslField::DslField(DslFieldOwner& owner, const UnicodeString& name, Type type, std::int32_t length)
    : m_owner(owner), m_name(name), m_type(type), m_length(std::max(length, 0)) {
  if (isType(type)) return;
  UnicodeString message;
  message.Format(u"Column \"%s\" cannot have the type %i", name, static_cast<std::int32_t>(type));
  throw DslExc(DslExc::WrongType, message);
}

DslField::~DslField() = default;

std::int32_t DslField::SelectedRow() const {
  const std::int32_t row = m_owner.GetSelectedRow();
  if (row >= 0) return row;
  UnicodeString message;
  message.Format(u"Column \"%s\" is used without a selected row", m_name);
  throw DslExc(DslExc::NoRow, message);
}

std::int32_t DslField::GetInt() const {
  return NumberAt(SelectedRow());
}

std::int16_t DslField::GetShort() const {
  const std::int32_t number = GetInt();
  if (!fits<std::int16_t>(number)) refuseRange(m_name, number);
  return static_cast<std::int16_t>(number);
}

std::int32_t DslField::NumberOf(const UnicodeString& text, Type type) const {
  const std::u16string_view view = text.View();
  if (view.empty()) return 0;
  const auto start = std::ranges::find_if(view, isDigit);
  if (start == view.end() || !std::all_of(start, view.end(), isDigit)) RefuseNumber(text);
  const auto at = static_cast<std::size_t>(start - view.begin());
  const std::int64_t value = valueOf(view.substr(at));
  const std::int64_t number = at > 0 && view[at - 1] == u'-' ? -value : value;
  if (type == Short ? !fits<std::int16_t>(number) : !fits<std::int32_t>(number)) refuseRange(m_name, text);
  return static_cast<std::int32_t>(number);
}

void DslField::RefuseNumber(const UnicodeString& text) const {
  UnicodeString message;
  message.Format(u"Column \"%s\" takes no number from \"%s\"", m_name, text);
  throw DslExc(DslExc::NoNumber, message);
}
