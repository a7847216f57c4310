// One field of a record set's rows.
#pragma once

#include <cstdint>

#include "platform/recordset/DslBase.h"
#include "platform/support/UnicodeString.h"
#include "platform/support/api.h"

using DslString = UnicodeString;

// Name and type of a field, and its value in the row that the owner has selected. It has the owner's threads.
class SPS_API DslField : public DslBase {
public:
  enum Type : std::int32_t {
    Code = 2,   // text
    Text = 4,   // text
    Short = 6,  // a number of 16 bits, signed
    Int = 7,    // a number of 32 bits, signed
  };

  DslField(const DslField&) = delete;
  DslField& operator=(const DslField&) = delete;
  ~DslField() override;

  const DslString& GetName() const { return m_name; }
  Type GetType() const { return m_type; }
  // The most characters that a text may have; 0 for any number of them.
  std::int32_t GetLength() const { return m_length; }

  // The field of the selected row as a number; from a text column the number in its text, as a number column
  // would have taken it. Throws DslExc: NoRow, NoNumber, OutOfRange.
  std::int32_t GetInt() const;
  std::int16_t GetShort() const;

protected:
  // A type that is none throws DslExc::WrongType. The owner outlives the field.
  DslField(DslFieldOwner& owner, const UnicodeString& name, Type type, std::int32_t length);

  virtual std::int32_t NumberAt(std::int32_t row) const = 0;

  // The selected row, or DslExc::NoRow.
  std::int32_t SelectedRow() const;
  DslFieldOwner& Owner() const { return m_owner; }
  bool IsNumber() const { return m_type == Int || m_type == Short; }

  // The number that a field of that type takes from a text: the text's decimal digits with a minus sign just
  // before them; other than digits may stand in front ("D12" is 12), nothing behind. 0 for an empty text.
  // Throws DslExc::NoNumber, OutOfRange.
  std::int32_t NumberOf(const UnicodeString& text, Type type) const;

private:
  [[noreturn]] void RefuseNumber(const UnicodeString& text) const;

  DslFieldOwner& m_owner;
  DslString m_name;
  Type m_type;
  std::int32_t m_length;
};
