#include "src/SpSrvClntEx.h"

#include "platform/support/Trace.h"

namespace {

constexpr const char16_t* traceTag = u"SPC-SrvClnt";
constexpr const char16_t* traceSource = u"src\\SpSrvClnt";

}  // namespace

bool SpSrvClntEx::Init(const char16_t* server) {
  _DbgBackTraceSet(traceTag, traceSource, __LINE__, 1);
  _DbgBackTrace(u"SpSrvClnt::Init, server is '%s'", server);
  _DbgSetLine(traceSource, __LINE__, u'E');
  _DbgOut(u"Failed connecting to SP service!");
  return false;
}

bool SpSrvClntEx::GetSpSrvPar(const char16_t*, const char16_t*, void*, std::uint16_t, std::uint32_t,
                              const char16_t*, const char16_t*, const char16_t*, std::uint32_t*,
                              std::int32_t) {
  return false;
}

bool SpSrvClntEx::SetSpSrvPar(const char16_t*, const char16_t*, const void*, std::uint16_t, std::uint32_t,
                              const char16_t*, const char16_t*, const char16_t*, std::uint32_t*) {
  return false;
}

bool SpSrvClntEx::SetProperty(const UnicodeString&, const PropertyFeatures&, bool, std::uint32_t*) {
  return false;
}
