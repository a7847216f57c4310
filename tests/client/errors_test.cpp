#include "tests/client/ClientTest.h"

namespace {

using Strings = std::vector<std::string>;

TEST_F(ClientTest, EveryCodeHasItsLine) {
  const struct {
    std::int32_t code;
    std::string line;
  } cases[] = {
      {1, plain('E', "The root node is not specified!")},
      {2, plain('W', "Node or parameter value name cannot be found!")},
      {3, plain('E', "The process space node is not specified!")},
      {4, plain('E', "The topic node is not specified!")},
      {5, plain('E', "The parameter node is not specified!")},
      {6, plain('E', "Parameter \"N\": Invalid registry key handle!")},
      {7, plain('W', "Parameter \"N\": Invalid override type detected!")},
      {8, back(1, "Override Parameter \"N\": The override <workstation> is not specified!")},
      {9, back(1, "Override Parameter \"N\": The override <user> is not specified!")},
      {10, back(1, "Override Parameter \"N\": The override <process instance> is not specified!")},
      {11, plain('W', "Parameter \"N\": The parameter node cannot be found!")},
      {12, plain('W', "Parameter \"N\": The parameter value cannot be found!")},
      {13, plain('E', "Parameter \"N\": The parameter data type is not specified!")},
      {14, back(1, "Parameter \"N\": The override doesn't exist, so it is created!")},
      {15, plain('E', "Parameter \"N\": The parameter is readonly and not allowed to be changed!")},
      {16, plain('E', "Parameter \"N\": Invalid data type!")},
      {19, plain('E', "Parameter \"N\": Local access disabled without being connected to any master!")},
      {20, plain('W', "Not connected to any master!")},
      {21, plain('W', "Topic \"N\": The topic node cannot be found!")},
      {161, plain('E', "Invalid path specification!")},
      {234, plain('E', "Parameter \"N\": The parameter value buffer size is too small!")},
      {250, plain('W', "Parameter \"N\": The parameter attribute cannot be found!")},
  };
  OpenSpc spc;
  std::int32_t unassigned = 1;
  for (const auto& c : cases) {
    for (; unassigned < c.code; ++unassigned) {
      spc.SendDbgError(unassigned, u"N", 0);
      EXPECT_EQ(Lines(), Strings{plain('E', "Invalid error code: " + std::to_string(unassigned))});
    }
    ++unassigned;
    spc.SendDbgError(c.code, u"N", 0);
    EXPECT_EQ(Lines(), Strings{c.line});
    spc.SendDbgError(c.code, u"N", c.code);
    spc.SendDbgError(c.code, u"N", 240);
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
               {12, 1, {plain('W', "Parameter \"%d\": The parameter value cannot be found!")}},
               {17, 17, {}},
               {99, 240, {}},
               {240, 0, {plain('E', "Invalid error code: 240")}},
               {251, 0, {plain('E', "Invalid error code: 251")}},
               {-1, 0, {plain('E', "Invalid error code: -1")}},
               {-1, -1, {}}};
  OpenSpc spc;
  for (const auto& c : cases) {
    spc.SendDbgError(c.code, u"%d", c.noErrMsg);
    EXPECT_EQ(Lines(), c.lines) << c.code << " with " << c.noErrMsg;
  }
}

}  // namespace
