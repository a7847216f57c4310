// A table in memory.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "platform/recordset/DslFieldArray.h"
#include "platform/recordset/DssBinarySearch.h"
#include "platform/recordset/DssQuickSort.h"
#include "platform/support/UnicodeString.h"
#include "platform/support/api.h"

// Rows of typed fields. One row may be selected, and it is the one that columns show and fill:
//
//   DslRecSet table;
//   table.AddColumn(u"host", DslField::Text, 0);
//   table.AddRow();
//   table.GetColumn(u"host") = u"pump1";
//   table.GetColumn(u"host").Get();
//
// Rows and columns are numbered from 0. Failures are thrown as DslExc. One table belongs to one thread at a
// time.
class SPS_API DslRecSet : public DslFieldArray, private DssQuickSort, private DssBinarySearch {
public:
  DslRecSet();
  // Columns and rows of the source, and its selection.
  DslRecSet(const DslRecSet& source);
  DslRecSet& operator=(const DslRecSet& source);
  ~DslRecSet() override;

  std::int32_t GetNumRows() const { return m_numRows; }
  // A new last row, empty or 0 in each column, is selected. False, without it, in a table that is full (2^31
  // - 1 rows).
  virtual bool AddRow();
  // Columns stay, no row is selected. Always true.
  bool DeleteAllRows();

  // Selects that row or, with relative, the one that many rows behind the selected one, counted from before
  // the first where none is selected. False, with the selection as it was, where there is no such row.
  virtual bool SelectRow(std::int32_t row, bool relative);
  // -1 where none is selected.
  std::int32_t GetSelectedRow() const override { return m_selectedRow; }

  // Orders the rows by these columns, the first above all; a number below 0 and those behind it name none.
  // Rows that are equal keep their order, and the selected row stays selected, whatever its number becomes.
  // Always true. Throws UnknownColumn; the order is as it was where it throws.
  virtual bool SortBy(std::int32_t column1, std::int32_t column2, std::int32_t column3, std::int32_t column4,
                      std::int32_t column5);

  // Selects the first row that has the number in that column. False, with the selection as it was, where none
  // has. A search after a change of the table sorts the column's fields once; those that follow halve their
  // way. Throws UnknownColumn, WrongType where it is no column of numbers.
  bool FindI4(const UnicodeString& column, std::int32_t value);

protected:
  std::int32_t NumFields() const override { return m_numRows; }
  // Compares rows by the columns of the present sorting, or a number of the index with the one that is
  // sought.
  std::int32_t Compare(std::int32_t left, std::int32_t right) const override;

private:
  static constexpr std::size_t maxSortColumns = 5;

  // One column's numbers in ascending order, and the row of each, for FindI4.
  struct Index {
    const DslCol* column = nullptr;
    std::uint64_t revision = 0;
    std::vector<std::int32_t> numbers;
    std::vector<std::int32_t> rows;
  };

  void RenewIndex(const DslCol& column);

  std::int32_t m_numRows = 0;
  std::int32_t m_selectedRow = -1;
  std::array<const DslCol*, maxSortColumns> m_comparedColumns{};  // those up to the first null
  std::int32_t m_soughtNumber = 0;
  Index m_index;
};
