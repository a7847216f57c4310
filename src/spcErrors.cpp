// The codes of the parameter client and what each looks like in the trace.
#include <algorithm>
#include <array>

#include "platform/support/Trace.h"
#include "src/spc.h"
#include "src/spcTrace.h"

namespace {

using enum trace::Channel;

constexpr std::int32_t silent = 240;

struct Row {
  std::uint32_t code;
  trace::Channel channel;
  char16_t level;
  const char16_t* message;
  bool takesName;
};

constexpr std::array rows = std::to_array<Row>({
    {0, BackTrace, 2, u"The method returned successfully", false},
    {1, Plain, u'E', u"The root node is not specified!", false},
    {2, Plain, u'W', u"Node or parameter value name cannot be found!", false},
    {3, Plain, u'E', u"The process space node is not specified!", false},
    {4, Plain, u'E', u"The topic node is not specified!", false},
    {5, Plain, u'E', u"The parameter node is not specified!", false},
    {6, Plain, u'E', u"Parameter \"%s\": Invalid registry key handle!", true},
    {7, Plain, u'W', u"Parameter \"%s\": Invalid override type detected!", true},
    {8, BackTrace, 1, u"Override Parameter \"%s\": The override <workstation> is not specified!", true},
    {9, BackTrace, 1, u"Override Parameter \"%s\": The override <user> is not specified!", true},
    {10, BackTrace, 1, u"Override Parameter \"%s\": The override <process instance> is not specified!", true},
    {11, Plain, u'W', u"Parameter \"%s\": The parameter node cannot be found!", true},
    {12, Plain, u'W', u"Parameter \"%s\": The parameter value cannot be found!", true},
    {13, Plain, u'E', u"Parameter \"%s\": The parameter data type is not specified!", true},
    {14, BackTrace, 1, u"Parameter \"%s\": The override doesn't exist, so it is created!", true},
    {15, Plain, u'E', u"Parameter \"%s\": The parameter is readonly and not allowed to be changed!", true},
    {16, Plain, u'E', u"Parameter \"%s\": Invalid data type!", true},
    {19, Plain, u'E', u"Parameter \"%s\": Local access disabled without being connected to any master!",
     true},
    {20, Plain, u'W', u"Not connected to any master!", false},
    {21, Plain, u'W', u"Topic \"%s\": The topic node cannot be found!", true},
    {161, Plain, u'E', u"Invalid path specification!", false},
    {234, Plain, u'E', u"Parameter \"%s\": The parameter value buffer size is too small!", true},
    {250, Plain, u'W', u"Parameter \"%s\": The parameter attribute cannot be found!", true},
});
static_assert(std::ranges::is_sorted(rows, {}, &Row::code));

template <class... Args>
void report(const Row& row, const Args&... args) {
  if (row.channel == Plain) {
    _DbgSetLine(client::traceSource, __LINE__, row.level);
    _DbgOut(row.message, args...);
  } else {
    _DbgBackTraceSet(client::traceTag, client::traceSource, __LINE__, row.level);
    _DbgBackTrace(row.message, args...);
  }
}

}  // namespace

void Spc::SendDbgError(std::int32_t code, const char16_t* name, std::int32_t noErrMsg) {
  if (noErrMsg == silent || code == noErrMsg) return;
  const auto wanted = static_cast<std::uint32_t>(code);
  const auto* row = std::ranges::lower_bound(rows, wanted, {}, &Row::code);
  if (row == rows.end() || row->code != wanted) {
    report({wanted, Plain, u'E', u"Invalid error code: %ld", false}, code);
  } else if (row->takesName) {
    report(*row, name);
  } else {
    report(*row);
  }
}

bool Spc::Fail(std::uint32_t& code, std::int32_t failure, const char16_t* name, std::int32_t noErrMsg) {
  code = static_cast<std::uint32_t>(failure);
  SendDbgError(failure, name, noErrMsg);
  return false;
}
