// One column of a record set.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "platform/recordset/DslField.h"
#include "platform/support/UnicodeString.h"
#include "platform/support/api.h"

// Two rows that change places.
struct RowSwap {
  std::int32_t first;
  std::int32_t second;
};

// Stands for the column of the whole table: it shows and takes the field of the row that is selected. Columns
// are made by the table and are valid as long as it is.
class SPS_API DslCol final : public DslField {
public:
  DslCol(DslFieldOwner& owner, const UnicodeString& name, Type type, std::int32_t length);
  DslCol(const DslCol&) = delete;
  ~DslCol() override;

  // The field takes the text, converted to the column's type; it is unchanged where that throws a DslExc:
  // NoRow, NoNumber, OutOfRange, TooLong.
  DslCol& operator=(const UnicodeString& text);
  // A column takes no column's place.
  DslCol& operator=(const DslCol&) = delete;

  // The field as text, a number in decimal digits. Valid until the table changes or, of a number, until the
  // next Get of this column. Throws DslExc::NoRow.
  const char16_t* Get() const;

protected:
  std::int32_t NumberAt(std::int32_t row) const override;

private:
  friend class DslFieldArray;
  friend class DslRecSet;

  // Whether it could stand in for the other.
  bool IsLike(const DslCol& other) const;
  void CopyFields(const DslCol& source);
  void SwapFields(DslCol& other) noexcept;

  // New fields are empty or 0.
  void SetNumRows(std::int32_t count);
  void SwapRows(std::span<const RowSwap> swaps) noexcept;

  // Below 0, 0 or above 0 as the field of the left row sorts before, equals or sorts after the right one's;
  // texts by character code.
  std::int32_t CompareRows(std::int32_t left, std::int32_t right) const;

  // A field a row, in the one that is the column's kind.
  std::vector<std::int32_t> m_numbers;
  std::vector<UnicodeString> m_texts;
  mutable UnicodeString m_shown;
};
