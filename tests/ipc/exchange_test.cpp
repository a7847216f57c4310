// Requests, verdicts and replies: one contract, the same over every transport.
#include <limits>
#include <optional>

#include "tests/ipc/IpcTest.h"

namespace {

using namespace ipctest;

class Exchange : public ServerTest, public ::testing::WithParamInterface<const char*> {
protected:
  Exchange() {
    start({}, GetParam());
    EXPECT_TRUE(client.connect(endpoint));
  }
  ClientCertificate certificate{"client"};
  TestClient client;
};

INSTANTIATE_TEST_SUITE_P(Over, Exchange, ::testing::Values("unix", "tcp", "tls"),
                         [](const auto& over) { return std::string(over.param); });

constexpr std::int32_t largestPayload = (1 << 20) - 24;

TEST_P(Exchange, EndsAsTheServiceSays) {
  struct Case {
    std::int32_t number;
    std::string data;
    std::int32_t value;
    std::string outcome;
  };
  const Case cases[] = {
      {echo, "hello", 0, "hello"},
      {done, "x", 0, ""},
      {refuse, "x", 21, "rejected 21"},
      {refuse, "x", 0, "rejected 0"},
      {split, "abc", 0, "a|b|c"},
      {numbers, "x", 0, ""},
      {forget, "x", 0, "rejected 1"},
      {fault, "x", 0, "rejected 1"},
      {large, "x", largestPayload + 1, "rejected 1"},
      {large, "x", largestPayload, std::string(largestPayload, 'l')},
      {large, "x", 0, ""},
      {echo, std::string(largestPayload, 'e'), 0, std::string(largestPayload, 'e')},
      {echo, std::string(largestPayload + 1, 'e'), 0, "the telegram is larger than a frame"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(client.ask(c.number, c.data, c.value), c.outcome) << c.number << " " << c.value;
    EXPECT_TRUE(client.IsOpen());
  }
  EXPECT_EQ(client.closed, 0);
}

TEST_P(Exchange, SaysWhichReplyIsTheLast) {
  ASSERT_TRUE(client.request(split, "ab"));
  EXPECT_EQ(client.reply(), "a");
  EXPECT_FALSE(client.IsSingleReply());
  EXPECT_EQ(client.reply(), "b");
  EXPECT_TRUE(client.IsSingleReply());
  EXPECT_EQ(client.reply(), "there is no further reply");
  ASSERT_TRUE(client.request(done));
  EXPECT_FALSE(client.IsSingleReply());
}

TEST_P(Exchange, DeliversWholeReplyWhateverSizeGoesIn) {
  ASSERT_TRUE(client.request(echo, "longer than one"));
  const std::uint8_t* data = nullptr;
  std::int32_t size = 1;
  ASSERT_TRUE(client.GetReply(data, size));
  EXPECT_EQ(size, 15);
  EXPECT_FALSE(client.GetReply(data, size));
  EXPECT_EQ(data, nullptr);
  EXPECT_EQ(size, 0);
}

TEST_P(Exchange, CarriesContainers) {
  std::uint8_t buffer[256];
  DfsBin telegram;
  telegram.AssignEmptyBuffer(buffer, sizeof buffer, false);
  telegram.AddValueStr(u"value", u"key");
  ASSERT_TRUE(client.Request(echo, 0, telegram.GetData(), telegram.GetDataSize()));
  DfsBin reply;
  ASSERT_TRUE(client.GetReply(reply));
  UnicodeString text;
  EXPECT_TRUE(reply.GetCurStr(u"key", text));
  EXPECT_EQ(text, u"value");
  ASSERT_TRUE(client.request(split, "ab"));
  EXPECT_FALSE(client.GetReply(reply));
  EXPECT_EQ(client.GetLastError(), ipc::badReply);
  // What follows would pass for the rest of a whole list.
  EXPECT_FALSE(client.IsOpen());
  EXPECT_EQ(client.closed, 1);
}

TEST_P(Exchange, RefusesEmptyTelegram) {
  std::uint8_t buffer[16];
  DfsBin overflowed;
  overflowed.AssignEmptyBuffer(buffer, sizeof buffer, false);
  overflowed.AddValueStr(u"more than fits", u"key");
  EXPECT_FALSE(client.Request(echo, 0, overflowed.GetData(), overflowed.GetDataSize()));
  EXPECT_EQ(client.GetLastError(), ipc::emptyTelegram);
  for (const std::int32_t size : {0, -1, std::numeric_limits<std::int32_t>::min()}) {
    EXPECT_FALSE(client.Request(echo, 0, "x", size));
    EXPECT_EQ(client.GetLastError(), ipc::emptyTelegram);
  }
  EXPECT_EQ(server->load().requests, 0U);
  EXPECT_TRUE(client.IsOpen());
}

TEST_P(Exchange, GivesNoRepliesBehindARequestThatFailed) {
  const struct {
    std::int32_t number;
    std::string data;
    const char* outcome;
  } cases[] = {
      {echo, "", "the telegram is empty or did not fit its buffer"},
      {echo, std::string(largestPayload + 1, 'e'), "the telegram is larger than a frame"},
      {refuse, "x", "rejected 0"},
  };
  for (const auto& c : cases) {
    ASSERT_TRUE(client.request(split, "abc"));
    EXPECT_EQ(client.reply(), "a");
    EXPECT_EQ(client.ask(c.number, c.data), c.outcome);
    EXPECT_EQ(client.reply(), "there is no further reply");
    EXPECT_EQ(client.ask(echo, "next"), "next");
  }
}

TEST_P(Exchange, DropsRepliesThatWereNotRead) {
  ASSERT_TRUE(client.request(numbers, "x", 5000));
  EXPECT_EQ(client.reply().size(), 1000U);
  EXPECT_FALSE(client.IsSingleReply());
  EXPECT_EQ(client.ask(echo, std::string(500'000, 'e')), std::string(500'000, 'e'));
}

TEST_P(Exchange, MakesRepliesAsThePeerTakesThem) {
  constexpr std::int32_t count = 20'000;
  ASSERT_TRUE(client.request(numbers, "x", count));
  EXPECT_EQ(client.reply().size(), 1000U);
  EXPECT_LT(service.startedReplies(), static_cast<std::size_t>(count));
  std::int32_t read = 1;
  for (; !client.IsSingleReply(); ++read) ASSERT_EQ(client.reply().size(), 1000U);
  EXPECT_EQ(read, count);
}

TEST_P(Exchange, TakesAnswersFromOtherThreads) {
  std::thread other([this] {
    const auto exchange = service.held();
    if (!exchange) return;
    exchange->accept({bytesOf("one"), bytesOf("two")});
    exchange->reject(5);
    exchange->accept(bytesOf("three"));
  });
  EXPECT_EQ(client.ask(hold), "one|two");
  other.join();
  EXPECT_EQ(client.ask(echo, "on"), "on");
}

TEST_P(Exchange, FailsForUnknownServiceAndStaysOpen) {
  client.SetService(12);
  EXPECT_EQ(client.ask(echo), "the server has no such service");
  client.SetService(serviceNumber);
  EXPECT_EQ(client.ask(echo, "again"), "again");
}

TEST_P(Exchange, NamesThePeer) {
  using ::testing::MatchesRegex;
  const std::string kind = GetParam();
  const char* expected = kind == "unix"  ? "0 [^ ]* unix"
                         : kind == "tls" ? "1 client.test 127.0.0.1:[0-9]+"
                                         : "2  127.0.0.1:[0-9]+";
  EXPECT_THAT(client.ask(whoami), MatchesRegex(expected));
  EXPECT_EQ(client.GetServerName(), u"127.0.0.1");
}

TEST_P(Exchange, TimesOutAndGoesOn) {
  client.SetRequestTO(50);
  EXPECT_EQ(client.GetRequestTO(), 50);
  EXPECT_EQ(client.ask(hold), "no answer in time");
  EXPECT_TRUE(client.IsOpen());
  EXPECT_EQ(client.ask(echo, "behind it"), "no answer in time");
  service.held()->accept(bytesOf("late"));
  client.SetRequestTO(20'000);
  EXPECT_EQ(client.ask(echo, "next"), "next");
  EXPECT_EQ(client.closed, 0);
}

TEST_P(Exchange, NoticesTheServersEnd) {
  EXPECT_EQ(client.ask(echo, "a"), "a");
  server.reset();
  EXPECT_FALSE(client.IsOpen());
  EXPECT_EQ(client.ask(echo), "the connection was lost");
  EXPECT_EQ(client.closed, 1);
  EXPECT_EQ(client.ask(echo), "there is no connection");
  EXPECT_FALSE(client.Close());
  EXPECT_EQ(client.GetServerName(), u"127.0.0.1");
}

TEST_P(Exchange, OpensAgain) {
  ASSERT_TRUE(client.connect(endpoint));
  EXPECT_EQ(client.opened, 2);
  EXPECT_EQ(client.closed, 1);
  EXPECT_EQ(client.ask(echo, "a"), "a");
  EXPECT_TRUE(client.Close());
  EXPECT_FALSE(client.IsOpen());
  EXPECT_EQ(client.ask(echo), "there is no connection");
  EXPECT_TRUE(awaitConnections(0));
}

}  // namespace
