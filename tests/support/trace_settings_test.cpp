// The environment is read once a process, so each case runs in a process of its own.
#include <gtest/gtest.h>

#include <cstdlib>

#include "platform/support/Trace.h"

namespace {

class TraceSettingsTest : public testing::Test {
protected:
  TraceSettingsTest() { testing::FLAGS_gtest_death_test_style = "threadsafe"; }
};

[[noreturn]] void traceUnder(const char* sinks, const char* levels) {
  setenv("SPS_TRACE", sinks, 1);
  setenv("SPS_TRACE_LEVEL", levels, 1);
  for (const char16_t level : {u'S', u'E', u'W', u'I'}) {
    _DbgSetLine(u"a", 1, level);
    _DbgOut(u"plain");
  }
  for (const std::int32_t level : {1, 2}) {
    _DbgBackTraceSet(u"tag", u"a", 2, level);
    _DbgBackTrace(u"back");
  }
  std::exit(0);
}

// What reaches standard error, put into "[...]" by the ends of the pattern.
struct Case {
  const char* sinks;
  const char* levels;
  const char* pattern;
};

TEST_F(TraceSettingsTest, SinksAndLevels) {
  const Case cases[] = {
      {"", "I2", "^$"},
      {"stderr", "",
       "^[^\n]* S a:1: plain\n[^\n]* E a:1: plain\n[^\n]* W a:1: plain\n[^\n]* 1 tag a:2: back\n$"},
      {"stderr", "S0", "^[^\n]* S a:1: plain\n$"},
      {"stderr", "2E", "^[^\n]* S [^\n]*\n[^\n]* E [^\n]*\n[^\n]* 1 [^\n]*\n[^\n]* 2 tag a:2: back\n$"},
      {"stderr,stderr", "S0", "^[^\n]* S [^\n]*\n[^\n]* S [^\n]*\n$"},
      {"stdout,,stderr", "S0", "^SPS_TRACE: \"stdout\": not a sink[^\n]*\n[^\n]* S a:1: plain\n$"},
      {"file:/nonexistent/x", "S0", "^SPS_TRACE: \"file:/nonexistent/x\": No such file or directory\n$"},
      {"stderr", "Q", "^SPS_TRACE_LEVEL: \"Q\": not a level[^\n]*\n[^\n]* S [^\n]*\n[^\n]* E "},
  };
  for (const auto& [sinks, levels, pattern] : cases) {
    EXPECT_EXIT(traceUnder(sinks, levels), testing::ExitedWithCode(0), pattern);
  }
}

}  // namespace
