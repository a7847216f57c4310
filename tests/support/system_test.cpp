#include <gtest/gtest.h>

#include <cstdlib>

#include "platform/support/AppName.h"
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

TEST(SecurityAttributesTest, AreAlwaysThere) {
  const SECURITY_ATTRIBUTES* const attributes = GetPSecurityAttributesAllAccess();
  ASSERT_NE(attributes, nullptr);
  EXPECT_EQ(attributes->nLength, sizeof *attributes);
}

}  // namespace
