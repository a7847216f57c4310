#include "platform/support/ExcBase.h"

#include <execinfo.h>

#include <cstdlib>
#include <memory>
#include <utility>

#include "platform/support/Trace.h"
#include "platform/support/Utf.h"

namespace {

constexpr int maxCalls = 64;

struct Stack {
  void* calls[maxCalls];
  int count;
};

constinit thread_local Stack t_lastStack = {};

}  // namespace

ExcBase::ExcBase(std::int32_t excType, std::int32_t errType, const UnicodeString& errTypeString,
                 std::int32_t errorId, const UnicodeString& info)
    : m_excType(excType),
      m_errType(errType),
      m_errTypeString(errTypeString),
      m_errorId(errorId),
      m_info(info),
      m_what(support::toUtf8(support::format(u"%s: %i %s", errTypeString, errorId, info))) {
  if (excType != Information) t_lastStack.count = backtrace(t_lastStack.calls, maxCalls);
}

ExcBase::~ExcBase() = default;

void DbgLastStoredStackDump() {
  const int count = std::exchange(t_lastStack.count, 0);
  const std::unique_ptr<char*, void (*)(void*)> names(backtrace_symbols(t_lastStack.calls, count), std::free);
  if (!names) return;
  for (int call = 0; call < count; ++call) {
    _DbgSetLine(u"stack", call, u'I');
    _DbgOut(u"%s", UnicodeString(names.get()[call]));
  }
}
