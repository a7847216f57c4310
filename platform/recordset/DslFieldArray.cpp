#include "platform/recordset/DslFieldArray.h"

#include <algorithm>

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
  Columns fresh = CopyColumns(source);  // what can throw, before the first change
  for (auto& column : fresh) KeepLike(column);
  m_columns.swap(fresh);
  Touch();
  return *this;
}

DslFieldArray::~DslFieldArray() = default;

DslFieldArray::Columns DslFieldArray::CopyColumns(const DslFieldArray& source) {
  Columns copies;
  copies.reserve(source.m_columns.size());
  for (const auto& column : source.m_columns) {
    copies.push_back(
        std::make_unique<DslCol>(*this, column->GetName(), column->GetType(), column->GetLength()));
    copies.back()->CopyFields(*column);
  }
  return copies;
}

// A column of ours that is like the fresh one goes on in its place, with its fields.
void DslFieldArray::KeepLike(std::unique_ptr<DslCol>& fresh) {
  const auto like =
      std::ranges::find_if(m_columns, [&](const auto& column) { return column->IsLike(*fresh); });
  if (like == m_columns.end()) return;
  (*like)->SwapFields(*fresh);
  like->swap(fresh);
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
