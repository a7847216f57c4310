#include "platform/recordset/DslRecSet.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "platform/recordset/DslExc.h"

namespace {

// What makes row i of row order[i], one swap after the other: a swap brings one row to its place and keeps
// the one that was there in the same circle.
std::vector<RowSwap> swapsTo(std::vector<std::int32_t> order) {
  std::vector<RowSwap> swaps;
  for (std::size_t start = 0; start < order.size(); ++start) {
    std::size_t at = start;
    while (order[at] != static_cast<std::int32_t>(start)) {
      const auto next = static_cast<std::size_t>(order[at]);
      swaps.push_back({static_cast<std::int32_t>(at), order[at]});
      order[at] = static_cast<std::int32_t>(at);
      at = next;
    }
    order[at] = static_cast<std::int32_t>(at);
  }
  return swaps;
}

}  // namespace

DslRecSet::DslRecSet() = default;

// What sorting and searching keep between calls names columns of the source: a copy starts without.
DslRecSet::DslRecSet(const DslRecSet& source)
    : DslFieldArray(source),
      DssQuickSort(source),
      DssBinarySearch(source),
      m_numRows(source.m_numRows),
      m_selectedRow(source.m_selectedRow) {}

DslRecSet& DslRecSet::operator=(const DslRecSet& source) {
  if (this == &source) return *this;
  DslFieldArray::operator=(source);
  m_numRows = source.m_numRows;
  m_selectedRow = source.m_selectedRow;
  m_comparedColumns = {};
  m_index = {};
  return *this;
}

DslRecSet::~DslRecSet() = default;

bool DslRecSet::AddRow() {
  if (m_numRows == std::numeric_limits<std::int32_t>::max()) return false;
  for (const auto& column : AllColumns()) column->SetNumRows(m_numRows + 1);
  m_selectedRow = m_numRows++;
  Touch();
  return true;
}

bool DslRecSet::DeleteAllRows() {
  for (const auto& column : AllColumns()) column->SetNumRows(0);
  m_numRows = 0;
  m_selectedRow = -1;
  Touch();
  return true;
}

bool DslRecSet::SelectRow(std::int32_t row, bool relative) {
  const std::int64_t wanted = std::int64_t{row} + (relative ? m_selectedRow : 0);
  if (wanted < 0 || wanted >= m_numRows) return false;
  m_selectedRow = static_cast<std::int32_t>(wanted);
  return true;
}

bool DslRecSet::SortBy(std::int32_t column1, std::int32_t column2, std::int32_t column3, std::int32_t column4,
                       std::int32_t column5) {
  std::array<const DslCol*, maxSortColumns> columns{};
  std::size_t count = 0;
  for (const std::int32_t number : {column1, column2, column3, column4, column5}) {
    if (number < 0) break;
    columns[count++] = &GetColumn(number);
  }
  m_comparedColumns = columns;
  const std::vector<std::int32_t> order = Sort(m_numRows);
  const std::vector<RowSwap> swaps = swapsTo(order);  // the last thing that can throw
  for (const auto& column : AllColumns()) column->SwapRows(swaps);
  if (m_selectedRow >= 0) {
    m_selectedRow = static_cast<std::int32_t>(std::ranges::find(order, m_selectedRow) - order.begin());
  }
  Touch();
  return true;
}

bool DslRecSet::FindI4(const UnicodeString& column, std::int32_t value) {
  const DslCol& searched = GetColumn(column);
  if (!searched.IsNumber()) {
    UnicodeString message;
    message.Format(u"Column \"%s\" has no numbers to find", column);
    throw DslExc(DslExc::WrongType, message);
  }
  if (m_index.column != &searched || m_index.revision != GetRevision()) RenewIndex(searched);
  m_soughtNumber = value;
  const std::int32_t place = Search(
      m_numRows, [this](std::int32_t left, std::int32_t right) { return DslRecSet::Compare(left, right); });
  return place >= 0 && SelectRow(m_index.rows[static_cast<std::size_t>(place)], false);
}

void DslRecSet::RenewIndex(const DslCol& column) {
  m_comparedColumns = {&column};
  Index fresh{&column, GetRevision(), {}, Sort(m_numRows)};
  fresh.numbers.reserve(fresh.rows.size());
  for (const std::int32_t row : fresh.rows) fresh.numbers.push_back(column.NumberAt(row));
  m_index = std::move(fresh);
}

std::int32_t DslRecSet::Compare(std::int32_t left, std::int32_t right) const {
  if (right == sought) {
    const std::int32_t number = m_index.numbers[static_cast<std::size_t>(left)];
    return (number > m_soughtNumber) - (number < m_soughtNumber);
  }
  for (const DslCol* const column : m_comparedColumns) {
    if (!column) break;
    const std::int32_t result = column->CompareRows(left, right);
    if (result != 0) return result;
  }
  return 0;
}
