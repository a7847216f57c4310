#include "platform/recordset/DslExc.h"

#include <array>

namespace {

constexpr std::array errors{u"unknown column", u"wrong type",          u"no row",
                            u"no number",      u"number out of range", u"text too long"};

}  // namespace

DslExc::DslExc(Failure failure, const UnicodeString& message)
    : ExcBase(ExcBase::Error, errType, u"DSL", failure, message) {}

DslExc::~DslExc() = default;

UnicodeString DslExc::GetError() const {
  const std::int64_t place = std::int64_t{GetErrorId()} - UnknownColumn;
  return place >= 0 && place < std::int64_t{errors.size()} ? errors[static_cast<std::size_t>(place)] : u"";
}
