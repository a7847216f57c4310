#include "tests/client/ClientTest.h"

namespace {

using Strings = std::vector<std::string>;

TEST_F(ClientTest, EveryCodeHasItsLine) {
  OpenSpc spc;
  for (std::int32_t code = 1; code < 260; ++code) {
    spc.SendDbgError(code, u"N", 0);
    EXPECT_EQ(Lines(), Strings{reported(code, "N")});
    spc.SendDbgError(code, u"N", code);
    spc.SendDbgError(code, u"N", 240);
    EXPECT_EQ(Lines(), Strings{});
  }
}

TEST_F(ClientTest, NoErrMsgSilencesOneCode) {
  const struct {
    std::int32_t code;
    std::int32_t noErrMsg;
    Strings lines;
  } cases[] = {{0, 0, {}},
               {0, 1, {back(2, "The method returned successfully")}},
               {0, 240, {}},
               {12, 1, {reported(12, "%d")}},
               {17, 17, {}},
               {99, 240, {}},
               {-1, 0, {plain('E', "Invalid error code: -1")}},
               {-1, -1, {}}};
  OpenSpc spc;
  for (const auto& c : cases) {
    spc.SendDbgError(c.code, u"%d", c.noErrMsg);
    EXPECT_EQ(Lines(), c.lines) << c.code << " with " << c.noErrMsg;
  }
}

}  // namespace
