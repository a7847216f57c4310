#include "platform/recordset/DslFieldArray.h"

#include <algorithm>
#include <utility>

#include "platform/recordset/DslExc.h"
#include "platform/support/Scan.h"

namespace {

[[noreturn]] void refuseColumn(const UnicodeString& wanted) {
  UnicodeString message;
  message.Format(u"There is no column \"%s\"", wanted);
  throw DslExc(DslExc::UnknownColumn, message);
}

}  // namespace

DslFieldArray::DslFieldArray(const DslFieldArray& source)
    : DslFieldOwner(source), DslBaseReference(source), DslBase(source) {
  *this = source;
}

DslFieldArray& DslFieldArray::operator=(const DslFieldArray& source) {
  if (this == &source) return *this;
  Columns before = std::exchange(m_columns, {});
  for (const auto& column : source.m_columns) {
    m_columns.push_back(TakeLike(before, *column));
    m_columns.back()->TakeFields(*column);
  }
  Touch();
  return *this;
}

DslFieldArray::~DslFieldArray() = default;

// One of the columns, if it is like the source's, or a new one.
std::unique_ptr<DslCol> DslFieldArray::TakeLike(Columns& columns, const DslCol& source) {
  const auto like =
      std::ranges::find_if(columns, [&](const auto& column) { return column && column->IsLike(source); });
  if (like != columns.end()) return std::move(*like);
  return std::make_unique<DslCol>(*this, source.GetName(), source.GetType(), source.GetLength());
}

DslCol* DslFieldArray::FindColumn(const UnicodeString& name) const {
  const auto found = std::ranges::find_if(
      m_columns, [&](const auto& column) { return support::isSame(column->GetName().View(), name.View()); });
  return found == m_columns.end() ? nullptr : found->get();
}

DslCol& DslFieldArray::GetColumn(const UnicodeString& name) const {
  DslCol* const column = FindColumn(name);
  if (!column) refuseColumn(name);
  return *column;
}

DslCol& DslFieldArray::GetColumn(std::int32_t number) const {
  if (number < 0 || number >= GetNumColumns()) refuseColumn(number);
  return *m_columns[static_cast<std::size_t>(number)];
}

bool DslFieldArray::AddColumn(UnicodeString name, DslField::Type type, std::int32_t length) {
  if (FindColumn(name)) return false;
  auto column = std::make_unique<DslCol>(*this, name, type, length);
  column->SetNumRows(NumFields());
  m_columns.push_back(std::move(column));
  Touch();
  return true;
}
