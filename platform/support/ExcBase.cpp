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

// Beside the thread and not in it: a library that is loaded late has little room in a thread.
thread_local std::unique_ptr<Stack> t_lastStack;

}  // namespace

ExcBase::ExcBase(std::int32_t excType, std::int32_t errType, const UnicodeString& errTypeString,
                 std::int32_t errorId, const UnicodeString& info)
    : m_excType(excType),
      m_errType(errType),
      m_errTypeString(errTypeString),
      m_errorId(errorId),
      m_info(info),
      m_what(support::toUtf8(support::format(u"%s: %i %s", errTypeString, errorId, info))) {
  if (excType == Information) return;
  if (!t_lastStack) t_lastStack = std::make_unique<Stack>();
  t_lastStack->count = backtrace(t_lastStack->calls, maxCalls);
}

ExcBase::~ExcBase() = default;

void DbgLastStoredStackDump() {
  const std::unique_ptr<Stack> stack = std::move(t_lastStack);
  if (!stack) return;
  const int count = stack->count;
  const std::unique_ptr<char*, void (*)(void*)> names(backtrace_symbols(stack->calls, count), std::free);
  if (!names) return;
  for (int call = 0; call < count; ++call) {
    _DbgSetLine(u"stack", call, u'I');
    _DbgOut(u"%s", UnicodeString(names.get()[call]));
  }
}
