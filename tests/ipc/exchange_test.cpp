// Requests, verdicts and replies, as a service client uses them.
#include "tests/ipc/IpcTest.h"

namespace {

using namespace ipctest;

class Exchange : public ServerTest {
protected:
  Exchange() { EXPECT_TRUE(client.connect(endpoint)); }
  TestClient client;
};

TEST_F(Exchange, DeliversSingleReply) {
  EXPECT_EQ(client.ask(echo, "hello"), "hello");
  EXPECT_TRUE(client.IsSingleReply());
}

}  // namespace
