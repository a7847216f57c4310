#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <string>

#include "platform/support/AppName.h"
#include "platform/support/CallerNames.h"
#include "platform/support/EnvVar.h"
#include "platform/support/SecurityAttributes.h"
#include "tests/support/print.h"

namespace {

TEST(EnvVarTest, DeliversThePresentValue) {
  const EnvVar variable(u"SPS_TEST_VARIABLE_\u00E4");
  UnicodeString value = u"before";
  EXPECT_FALSE(variable >> value);
  EXPECT_EQ(value, u"");
  setenv("SPS_TEST_VARIABLE_\xC3\xA4", "Wert \xE2\x82\xAC", 1);
  EXPECT_TRUE(variable >> value);
  EXPECT_EQ(value, u"Wert \u20AC");
  setenv("SPS_TEST_VARIABLE_\xC3\xA4", "", 1);
  EXPECT_TRUE(variable >> value);
  EXPECT_EQ(value, u"");
  unsetenv("SPS_TEST_VARIABLE_\xC3\xA4");
  EXPECT_FALSE(EnvVar(nullptr) >> value);
}

TEST(AppNameTest, IsTheProgramsFileName) {
  EXPECT_EQ(AppGetSystemName(), u"support_tests");
}

// The length without the terminator, as each of the two counts it.
struct CallerName {
  bool (*get)(char16_t*, std::uint32_t*);
  std::uint32_t counted;
  const char* asked;  // a command that prints the same
};

class CallerNamesTest : public testing::TestWithParam<CallerName> {};

TEST_P(CallerNamesTest, FitTheirCapacityExactly) {
  const auto& [get, counted, asked] = GetParam();
  char16_t room[300];
  std::uint32_t size = 300;
  ASSERT_TRUE(get(room, &size));
  const UnicodeString name(room);
  ASSERT_GT(name.GetLength(), 0);
  const auto needed = static_cast<std::uint32_t>(name.GetLength()) + 1;
  EXPECT_EQ(size, needed - 1 + counted);

  size = needed;
  EXPECT_TRUE(get(room, &size));
  size = needed - 1;
  room[0] = u'!';
  EXPECT_FALSE(get(room, &size));
  EXPECT_EQ(size, needed);
  EXPECT_EQ(room[0], u'!');
  EXPECT_FALSE(get(nullptr, &size));
  EXPECT_EQ(size, needed);
  EXPECT_FALSE(get(room, nullptr));
}

TEST_P(CallerNamesTest, AreWhatTheSystemSays) {
  FILE* const pipe = popen(GetParam().asked, "r");
  ASSERT_NE(pipe, nullptr);
  char said[300] = {};
  EXPECT_NE(fgets(said, sizeof said, pipe), nullptr);
  pclose(pipe);
  std::string expected(said);
  expected.pop_back();

  char16_t room[300];
  std::uint32_t size = 300;
  ASSERT_TRUE(GetParam().get(room, &size));
  EXPECT_EQ(UnicodeString(room), UnicodeString(expected.c_str()));
}

INSTANTIATE_TEST_SUITE_P(All, CallerNamesTest,
                         testing::Values(CallerName{GetComputerNameW, 0, "uname -n"},
                                         CallerName{GetUserNameW, 1, "id -un 2>/dev/null || id -u"}));

TEST(SecurityAttributesTest, AreAlwaysThere) {
  const SECURITY_ATTRIBUTES* const attributes = GetPSecurityAttributesAllAccess();
  ASSERT_NE(attributes, nullptr);
  EXPECT_EQ(attributes->nLength, sizeof *attributes);
}

}  // namespace
