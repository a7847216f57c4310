// The failures of a record set.
#pragma once

#include <cstdint>

#include "platform/support/ExcBase.h"
#include "platform/support/UnicodeString.h"
#include "platform/support/api.h"

// What operations of a record set throw; an ExcBase of type Error whose GetErrorId is one of Failure.
class SPS_API DslExc : public ExcBase {
public:
  // Every DslExc's GetErrType.
  static constexpr std::int32_t errType = 101;

  enum Failure : std::int32_t {
    UnknownColumn = 1,  // no column has that name or number
    WrongType,          // not a column type, or not one that the operation works on
    NoRow,              // no row is selected
    NoNumber,           // a text that holds no number
    OutOfRange,         // a number that the column or the caller's type cannot hold
    TooLong,            // a text that is longer than its column
  };

  // The message says which column, text or number it was.
  DslExc(Failure failure, const UnicodeString& message);
  DslExc(const DslExc&) = default;
  DslExc(DslExc&&) = default;
  DslExc& operator=(const DslExc&) = default;
  DslExc& operator=(DslExc&&) = default;
  ~DslExc() override;

  // The kind of failure in words; empty for a number that is none of them.
  UnicodeString GetError() const;
  UnicodeString GetMsg() const { return GetInfo(); }
};
