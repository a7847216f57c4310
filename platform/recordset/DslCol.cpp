#include "platform/recordset/DslCol.h"

#include <utility>

#include "platform/recordset/DslExc.h"

namespace {

std::size_t index(std::int32_t row) {
  return static_cast<std::size_t>(row);
}

std::int32_t compare(std::int32_t left, std::int32_t right) {
  return (left > right) - (left < right);
}

template <class Field>
void swapAll(std::vector<Field>& fields, std::span<const RowSwap> swaps) noexcept {
  for (const RowSwap& rows : swaps) std::swap(fields[index(rows.first)], fields[index(rows.second)]);
}

}  // namespace

DslCol::DslCol(DslFieldOwner& owner, const UnicodeString& name, Type type, std::int32_t length)
    : DslField(owner, name, type, length) {}

DslCol::~DslCol() = default;

DslCol& DslCol::operator=(const UnicodeString& text) {
  const std::size_t row = index(SelectedRow());
  if (IsNumber()) {
    m_numbers[row] = NumberOf(text, GetType());
  } else if (GetLength() == 0 || text.GetLength() <= GetLength()) {
    m_texts[row] = text;
  } else {
    UnicodeString message;
    message.Format(u"Column \"%s\" has room for %i characters, not for %i", GetName(), GetLength(),
                   text.GetLength());
    throw DslExc(DslExc::TooLong, message);
  }
  Owner().FieldChanged();
  return *this;
}

const char16_t* DslCol::Get() const {
  const std::size_t row = index(SelectedRow());
  if (!IsNumber()) return m_texts[row];
  m_shown = m_numbers[row];
  return m_shown;
}

std::int32_t DslCol::NumberAt(std::int32_t row) const {
  return IsNumber() ? m_numbers[index(row)] : NumberOf(m_texts[index(row)], Int);
}

bool DslCol::IsLike(const DslCol& other) const {
  return GetName() == other.GetName() && GetType() == other.GetType() && GetLength() == other.GetLength();
}

void DslCol::CopyFields(const DslCol& source) {
  m_numbers = source.m_numbers;
  m_texts = source.m_texts;
}

void DslCol::SwapFields(DslCol& other) noexcept {
  m_numbers.swap(other.m_numbers);
  m_texts.swap(other.m_texts);
}

void DslCol::SetNumRows(std::int32_t count) {
  if (IsNumber()) {
    m_numbers.resize(index(count));
  } else {
    m_texts.resize(index(count));
  }
}

void DslCol::SwapRows(std::span<const RowSwap> swaps) noexcept {
  if (IsNumber()) {
    swapAll(m_numbers, swaps);
  } else {
    swapAll(m_texts, swaps);
  }
}

std::int32_t DslCol::CompareRows(std::int32_t left, std::int32_t right) const {
  if (IsNumber()) return compare(m_numbers[index(left)], m_numbers[index(right)]);
  return m_texts[index(left)].Compare(m_texts[index(right)]);
}
