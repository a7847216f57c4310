// The version that the library tells is the one of the build.
#include <gtest/gtest.h>

#include "src/spc.h"

TEST(Version, LibraryFollowsTheProject) {
  EXPECT_EQ(SpcGetVersion(), (std::uint32_t{SPS_MAJOR} << 24) | (std::uint32_t{SPS_MINOR} << 16) | SPS_BUILD);
  EXPECT_EQ(SpcGetVersion(), 0x0403076CU);
}
