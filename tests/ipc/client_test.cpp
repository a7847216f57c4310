// What a client meets before and beside the exchange: names, servers that fail at every stage, forks,
// signals.
#include <netdb.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <future>

#include "platform/ipc/Socket.h"
#include "platform/registry/RegistryStore.h"
#include "platform/registry/registry.h"
#include "platform/support/Trace.h"
#include "tests/ipc/IpcTest.h"

namespace {

using namespace ipctest;

class Trace {
public:
  Trace()
      : m_sink(
            trace::addSink([this](const trace::Line& line) { m_text += support::toUtf8(line.text) + "\n"; },
                           trace::Levels{u'W', 0})) {}
  ~Trace() { trace::removeSink(m_sink); }
  Trace(const Trace&) = delete;
  Trace& operator=(const Trace&) = delete;
  const std::string& text() const { return m_text; }

private:
  std::string m_text;
  trace::SinkId m_sink;
};

class Names : public ServerTest {
protected:
  Names() { registry::useStore(directory / "store"); }
  ~Names() override { registry::useStore(""); }

  static void registerEndpoint(const std::u16string& text) {
    HKEY key = 0;
    RegCreateKeyExW(HKEY_LOCAL_MACHINE, u"Software\\Velor\\IPC\\Services\\SYSPARSERVICE", 0, nullptr, 0,
                    MAXIMUM_ALLOWED, nullptr, &key, nullptr);
    RegSetValueExW(key, u"Endpoint", 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                   static_cast<DWORD>(2 * text.size() + 2));
    RegCloseKey(key);
  }
  std::string open(const char16_t* name, ConModeE mode = conModeRequest) {
    return client.Open(name, mode) ? "" : errorName(client.GetLastError());
  }
  TestClient client{2000};
};

TEST_F(Names, LogicalNameIsEnvironmentsElseRegistrysElseDefault) {
  const auto unchanged = [this] { return open(u"SYSPARSERVICE"); };
  EXPECT_EQ(unchanged(), "nobody listens there");  // the machine's default
  registerEndpoint(support::toUtf16(endpoint));
  EXPECT_EQ(unchanged(), "");
  EXPECT_EQ(client.GetServerName(), u"127.0.0.1");
  const Variable variable("SYSPARSERVICE", "unix:/nonexistent/socket");
  EXPECT_EQ(unchanged(), "nobody listens there");
  registerEndpoint(u"ftp://elsewhere");
  const Variable empty("SYSPARSERVICE", "");
  EXPECT_EQ(unchanged(), "the name is neither a host nor an endpoint");
}

TEST_F(Names, SaysWhatIsWrong) {
  std::ofstream(directory / "file") << "no socket";
  struct Case {
    std::u16string name;
    std::string error;
  };
  const char* noName = "the name is neither a host nor an endpoint";
  const Case cases[] = {
      {u"", noName},
      {u"unix:relative", noName},
      {u"unix:/" + std::u16string(108, u'x'), noName},
      {u"tcp://192.0.2.1:5", noName},
      {u"tcp://localhost:5", noName},
      {u"tls://", noName},
      {u"tls://host:port", noName},
      {u"tls://host:65536", noName},
      {u"tls://[::1", noName},
      {u"http://host", noName},
      {u"-host", noName},
      {u"two words", noName},
      {u"host/path", noName},
      {support::toUtf16("unix:" + directory / "none"), "nobody listens there"},
      {support::toUtf16("unix:" + directory / "file"), "nobody listens there"},
      {u"tcp://127.0.0.1:1", "nobody listens there"},
      {u"tls://127.0.0.1:1", "nobody listens there"},
  };
  for (const Case& c : cases) EXPECT_EQ(open(c.name.c_str()), c.error) << support::toUtf8(c.name);
  EXPECT_EQ(open(nullptr), noName);
  EXPECT_EQ(open(support::toUtf16(endpoint).c_str(), static_cast<ConModeE>(2)), "unknown connection mode");
  EXPECT_EQ(client.opened, 0);
}

TEST_F(Names, TracesWhyWithTheCallersOwnText) {
  const IpcErrDescrT texts[] = {{ipc::notListening, u"nobody is home"}, {0, nullptr}};
  IpcClient own(1000, 1000, texts, nullptr);
  const Trace trace;
  EXPECT_FALSE(own.Open(u"unix:/nonexistent/socket", conModeRequest));
  EXPECT_EQ(trace.text(),
            "Connecting to 'unix:/nonexistent/socket' failed: nobody is home: unix:/nonexistent/socket\n");
}

// A failed Open leaves none of the connection before it.
TEST_F(Names, FailedOpenEndsTheConnectionBefore) {
  ASSERT_TRUE(client.connect(endpoint));
  EXPECT_EQ(open(u""), "the name is neither a host nor an endpoint");
  EXPECT_FALSE(client.IsOpen());
  EXPECT_TRUE(awaitConnections(0));
}

// A server of bytes: it takes so many frames, sends what is given and ends the connection.
struct Stage {
  const char* name;
  int framesTaken;
  std::string bytes;
  std::string outcome;  // of Open, or of an exchange and its replies
};

const std::string welcome = RawFrame{.kind = 2}.bytes();
const std::string verdict = RawFrame{.kind = 4, .id = 1}.bytes();
const std::string lastReply = RawFrame{.kind = 5, .id = 1, .payload = "r", .flags = 1}.bytes();

class Stages : public ::testing::TestWithParam<Stage> {};

std::string cut(const std::string& bytes) {
  return bytes.substr(0, bytes.size() - 1);
}

INSTANTIATE_TEST_SUITE_P(
    Of, Stages,
    ::testing::Values(
        Stage{"AtOnce", 0, "", "open: the connection was lost"},
        Stage{"AfterHello", 1, "", "open: the connection was lost"},
        Stage{"InWelcome", 1, cut(welcome), "open: the connection was lost"},
        Stage{"OtherVersion", 1, RawFrame{.kind = 2, .version = 2}.bytes(),
              "open: the server speaks another version of the protocol"},
        Stage{"VerdictForWelcome", 1, verdict, "open: what came is against the protocol"},
        Stage{"NoFrame", 1, "HTTP/1.1 400 Bad Request\r\n\r\n",
              "open: the server speaks another version of the protocol"},
        Stage{"TooLongFrame", 1, RawFrame{.kind = 2, .length = (1 << 20) + 1}.bytes(),
              "open: what came is against the protocol"},
        Stage{"TooShortFrame", 1, RawFrame{.kind = 2, .length = 23}.bytes(),
              "open: what came is against the protocol"},
        Stage{"RefusingBeforeHello", 0, RawFrame{.kind = 2, .code = ipc::tooManyConnections}.bytes(),
              "open: the server takes no more connections"},
        Stage{"AfterWelcome", 1, welcome, "the connection was lost"},
        Stage{"AfterRequest", 2, welcome, "the connection was lost"},
        Stage{"InVerdict", 2, welcome + cut(verdict), "the connection was lost"},
        Stage{"OtherRequestsVerdict", 2, welcome + RawFrame{.kind = 4, .id = 9}.bytes(),
              "what came is against the protocol"},
        Stage{"LastWordOfNoServer", 2, welcome + RawFrame{.kind = 4, .id = 0, .code = 0x30000005}.bytes(),
              "what came is against the protocol"},
        Stage{"ReplyForVerdict", 2, welcome + lastReply, "what came is against the protocol"},
        Stage{"AfterVerdict", 2, welcome + verdict, "|the connection was lost"},
        Stage{"InReply", 2, welcome + verdict + cut(lastReply), "|the connection was lost"},
        Stage{"VerdictForReply", 2, welcome + verdict + verdict, "|what came is against the protocol"},
        Stage{"AfterReply", 2, welcome + verdict + lastReply, "r"}),
    [](const auto& of) { return std::string(of.param.name); });

TEST_P(Stages, LossIsToldAndLeavesNoConnection) {
  const TempDirectory directory;
  const Stage& stage = GetParam();
  const FakeServer server(directory / "s", [&](RawPeer& peer) {
    if (stage.framesTaken > 0) peer.readFrame();
    // The greeting's part goes out before the request can come in.
    const std::string first = stage.framesTaken == 2 ? welcome : stage.bytes;
    peer.send(first);
    if (stage.framesTaken < 2) return;
    peer.readFrame();
    peer.send(stage.bytes.substr(first.size()));
  });
  TestClient client;
  std::string outcome;
  if (client.connect("unix:" + directory / "s")) {
    outcome = client.ask(echo);
  } else {
    outcome = "open: " + errorName(client.GetLastError());
  }
  EXPECT_EQ(outcome, stage.outcome);
  while (client.IsOpen()) std::this_thread::yield();  // the last stage's end is still on its way
  EXPECT_EQ(client.request(echo), false);
  EXPECT_EQ(client.closed, client.opened);
}

TEST(Client, OpenEndsInTime) {
  const TempDirectory directory;
  std::promise<void> over;
  const auto ended = over.get_future().share();
  const FakeServer server(directory / "s", [&](RawPeer&) { ended.wait(); });
  TestClient client(50);
  EXPECT_FALSE(client.connect("unix:" + directory / "s"));
  EXPECT_EQ(errorName(client.GetLastError()), "no answer in time");
  over.set_value();
}

// A request that went out in part has left the connection without a known state.
TEST(Client, TimeOutInTheMiddleOfSendingCloses) {
  const TempDirectory directory;
  std::promise<void> over;
  const auto ended = over.get_future().share();
  const FakeServer server(directory / "s", [&](RawPeer& peer) {
    peer.send(welcome);
    ended.wait();
  });
  TestClient client;
  ASSERT_TRUE(client.connect("unix:" + directory / "s"));
  client.SetRequestTO(50);
  EXPECT_EQ(client.ask(echo, std::string(1'000'000, 'x')), "no answer in time");
  EXPECT_FALSE(client.IsOpen());
  EXPECT_EQ(client.closed, 1);
  over.set_value();
}

// An address that lets connections wait for ever must not use up the time of the others.
TEST(Client, TriesTheNextAddressInTime) {
  const TempDirectory directory;
  const FakeServer server(directory / "good", [](RawPeer&) {});
  sockaddr_un addresses[2] = {};
  const char* const names[] = {"full", "good"};
  addrinfo list[2] = {};
  for (int i = 0; i < 2; ++i) {
    addresses[i].sun_family = AF_UNIX;
    (directory / names[i]).copy(addresses[i].sun_path, sizeof addresses[i].sun_path - 1);
    list[i].ai_addr = reinterpret_cast<sockaddr*>(&addresses[i]);
    list[i].ai_addrlen = sizeof addresses[i];
  }
  list[0].ai_next = &list[1];
  const int full = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  ASSERT_EQ(::bind(full, list[0].ai_addr, list[0].ai_addrlen), 0);
  ASSERT_EQ(::listen(full, 0), 0);
  const RawPeer waiting = RawPeer::connect("unix:" + directory / "full");

  ipc::Socket socket;
  ipc::Deadline deadline(400);
  EXPECT_EQ(socket.connectAny(list, deadline), ipc::noError);
  ipc::Deadline alone(50);
  list[0].ai_next = nullptr;
  EXPECT_EQ(socket.connectAny(list, alone), ipc::timedOut);
  ::close(full);
}

// Part of a list must not pass for the whole of it: whoever asks on finds out.
TEST(Client, TimeOutBetweenRepliesCloses) {
  const TempDirectory directory;
  std::promise<void> over;
  const auto ended = over.get_future().share();
  const FakeServer server(directory / "s", [&](RawPeer& peer) {
    peer.readFrame();
    peer.send(welcome);
    peer.readFrame();
    peer.send(verdict + RawFrame{.kind = 5, .id = 1, .payload = "one"}.bytes());
    ended.wait();
  });
  TestClient client;
  ASSERT_TRUE(client.connect("unix:" + directory / "s"));
  client.SetRequestTO(50);
  ASSERT_TRUE(client.request(numbers));
  EXPECT_EQ(client.reply(), "one");
  EXPECT_EQ(client.reply(), "no answer in time");
  EXPECT_FALSE(client.IsOpen());
  EXPECT_EQ(client.ask(echo), "there is no connection");
  EXPECT_EQ(client.closed, 1);
  over.set_value();
}

class Process : public ServerTest {};

TEST_F(Process, ChildHasNoPartInTheConnection) {
  TestClient client;
  ASSERT_TRUE(client.connect(endpoint));
  const pid_t child = ::fork();
  if (child == 0) {
    const bool refused = !client.IsOpen() && !client.request(echo) &&
                         client.GetLastError() == ipc::otherProcess && !client.request(echo) &&
                         client.GetLastError() == ipc::notOpen;
    const bool opens = client.connect(endpoint) && client.ask(echo, "c") == "c";
    ::_exit(refused && opens ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(client.ask(echo, "p"), "p");
}

TEST_F(Process, SignalDoesNotEndTheWait) {
  struct sigaction interrupting {};
  interrupting.sa_handler = [](int) {};
  struct sigaction before {};
  ::sigaction(SIGUSR1, &interrupting, &before);
  TestClient client;
  ASSERT_TRUE(client.connect(endpoint));
  const pthread_t waiting = ::pthread_self();
  std::thread other([&] {
    const auto exchange = service.held();
    for (int i = 0; i < 20; ++i) {
      ::pthread_kill(waiting, SIGUSR1);
      std::this_thread::yield();
    }
    exchange->accept(bytesOf("done"));
  });
  EXPECT_EQ(client.ask(hold), "done");
  other.join();
  ::sigaction(SIGUSR1, &before, nullptr);
}

}  // namespace
