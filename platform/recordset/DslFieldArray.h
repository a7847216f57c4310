// The columns of a table.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/recordset/DslBase.h"
#include "platform/recordset/DslCol.h"
#include "platform/support/UnicodeString.h"
#include "platform/support/api.h"

// Owns columns, found by name or by their number from 0. Names respect case.
class SPS_API DslFieldArray : public DslFieldOwner, public DslBaseReference, public DslBase {
public:
  DslFieldArray() = default;
  // A copy has columns of its own. An assignment fills the target's columns that are like the source's in
  // name, type and length, so that references to them stay valid; those that the source lacks are gone. The
  // target is as it was where an assignment throws.
  DslFieldArray(const DslFieldArray& source);
  DslFieldArray& operator=(const DslFieldArray& source);
  ~DslFieldArray() override;

  std::int32_t GetNumColumns() const { return static_cast<std::int32_t>(m_columns.size()); }
  // References are valid as long as the table, or until an assignment drops the column. Throw
  // DslExc::UnknownColumn.
  DslCol& GetColumn(const UnicodeString& name) const;
  virtual DslCol& GetColumn(std::int32_t number) const;

  // The column joins the table behind the others, with an empty field, or 0, in each row that is there.
  // False, with nothing added, where a column has that name. A text column may limit the length of its texts,
  // in characters. Throws DslExc::WrongType.
  bool AddColumn(UnicodeString name, DslField::Type type, std::int32_t length);

  void FieldChanged() override { Touch(); }

protected:
  using Columns = std::vector<std::unique_ptr<DslCol>>;

  // How many fields a new column needs.
  virtual std::int32_t NumFields() const = 0;
  // Null where there is none of that name.
  DslCol* FindColumn(const UnicodeString& name) const;
  const Columns& AllColumns() const { return m_columns; }

private:
  Columns CopyColumns(const DslFieldArray& source);
  void KeepLike(std::unique_ptr<DslCol>& fresh);

  Columns m_columns;
};
