#include "src/shcGuard.h"

#include <array>

#include "platform/recordset/DslExc.h"
#include "platform/support/Trace.h"

namespace client {

namespace {

// By the type of the exception.
constexpr std::array levels{u'I', u'W', u'E'};

void traceOther(const ExcBase& failure, const char16_t* source) {
  const auto type = static_cast<std::size_t>(failure.GetExcType());
  if (type >= levels.size()) return;
  _DbgSetLine(source, __LINE__, levels[type]);
  _DbgOut(u"%s: %i %s", failure.GetErrTypeString(), failure.GetErrorId(), failure.GetInfo());
}

}  // namespace

void traceException(const ExcBase& failure, const char16_t* source) {
  const auto* const ofTable = dynamic_cast<const DslExc*>(&failure);
  if (ofTable && failure.GetErrType() == DslExc::errType) {
    _DbgSetLine(source, __LINE__, u'E');
    _DbgOut(u"DSL Error: %s Message: %s", ofTable->GetError(), ofTable->GetMsg());
  } else {
    traceOther(failure, source);
  }
  if (failure.GetExcType() != ExcBase::Information) DbgLastStoredStackDump();
}

}  // namespace client
