#include "platform/support/ExcBase.h"

#include <gtest/gtest.h>

#include "tests/support/Capture.h"
#include "tests/support/print.h"

namespace {

class OwnExc : public ExcBase {
public:
  explicit OwnExc(std::int32_t excType) : ExcBase(excType, 101, u"Own", 7, u"größer") {}
};

std::vector<std::string> dump() {
  const Capture capture;
  DbgLastStoredStackDump();
  return capture.lines;
}

TEST(ExcBaseTest, CarriesWhatItWasGiven) {
  try {
    throw OwnExc(ExcBase::Error);
  } catch (const ExcBase& error) {
    EXPECT_EQ(error.GetExcType(), 2);
    EXPECT_EQ(error.GetErrType(), 101);
    EXPECT_EQ(error.GetErrTypeString(), u"Own");
    EXPECT_EQ(error.GetErrorId(), 7);
    EXPECT_EQ(error.GetInfo(), u"größer");
    EXPECT_STREQ(error.what(), "Own: 7 größer");
  }
}

TEST(ExcBaseTest, TheStackIsDumpedOnceAndOnlyForFailures) {
  DbgLastStoredStackDump();
  EXPECT_TRUE(dump().empty());
  const OwnExc information(ExcBase::Information);
  EXPECT_TRUE(dump().empty());
  const OwnExc warning(ExcBase::Warning);
  const std::vector<std::string> lines = dump();
  ASSERT_GE(lines.size(), 2U);
  EXPECT_TRUE(lines[0].starts_with("I stack:0: ")) << lines[0];
  EXPECT_TRUE(dump().empty());
}

}  // namespace
