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

// What a command prints, without the end of its line.
UnicodeString outputOf(const char* command) {
  char said[300] = {};
  FILE* const pipe = popen(command, "r");
  if (pipe == nullptr || fgets(said, sizeof said, pipe) == nullptr) return u"";
  pclose(pipe);
  return UnicodeString(std::string(said, std::string_view(said).find('\n')).c_str());
}

TEST(CallerNamesTest, AreWhatTheSystemSaysAndFitTheirCapacityExactly) {
  const struct {
    bool (*get)(char16_t*, std::uint32_t*);
    std::uint32_t counted;  // of the terminator, in the length of a name that was delivered
    const char* asked;
  } cases[] = {{GetComputerNameW, 0, "uname -n"}, {GetUserNameW, 1, "id -un 2>/dev/null || id -u"}};
  for (const auto& [get, counted, asked] : cases) {
    SCOPED_TRACE(asked);
    char16_t room[300];
    std::uint32_t size = 300;
    ASSERT_TRUE(get(room, &size));
    const UnicodeString name(room);
    ASSERT_FALSE(name.IsEmpty());
    EXPECT_EQ(name, outputOf(asked));
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
}

TEST(SecurityAttributesTest, AreAlwaysThere) {
  const SECURITY_ATTRIBUTES* const attributes = GetPSecurityAttributesAllAccess();
  ASSERT_NE(attributes, nullptr);
  EXPECT_EQ(attributes->nLength, sizeof *attributes);
}

}  // namespace
