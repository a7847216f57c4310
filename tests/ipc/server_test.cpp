// What a server bears: frames that are none, slow peers, too many of them, its own end.
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <future>

#include "tests/ipc/IpcTest.h"

namespace {

using namespace ipctest;
using std::chrono::milliseconds;

class Server : public ServerTest {
protected:
  RawPeer greeted() const {
    RawPeer peer = RawPeer::connect(endpoint);
    peer.send(hello);
    EXPECT_EQ(peer.readFrame(), "welcome 0 0");
    return peer;
  }
  // Another connection works.
  void expectAlive() const {
    TestClient client;
    ASSERT_TRUE(client.connect(endpoint));
    EXPECT_EQ(client.ask(echo, "alive"), "alive");
  }
};

TEST_F(Server, EndsWhatIsNoProtocol) {
  const std::string refused = std::to_string(ipc::protocolError);
  const std::string otherVersion = std::to_string(ipc::unknownVersion);
  struct Case {
    std::string greeting;  // a whole connection's bytes, or those behind a good greeting
    std::string bytes;
    std::string answer;
  };
  const auto bad = [](RawFrame frame) { return frame.bytes(); };
  const Case cases[] = {
      {std::string(24, 'x'), "", "welcome 0 " + otherVersion},
      {bad({.version = 2}), "", "welcome 0 " + otherVersion},
      {bad({.version = 0}), "", "welcome 0 " + otherVersion},
      {bad({.kind = 3}), "", "welcome 0 " + refused},
      {bad({.payload = std::string(300, 'x')}), "", "welcome 0 " + refused},
      {hello, hello, "verdict 0 " + refused},
      {hello, bad({.kind = 0}), "verdict 0 " + refused},
      {hello, bad({.kind = 6}), "verdict 0 " + refused},
      {hello, bad({.kind = 5}), "verdict 0 " + refused},
      {hello, bad({.kind = 3, .flags = 2}), "verdict 0 " + refused},
      {hello, bad({.kind = 3, .length = 23}), "verdict 0 " + refused},
      {hello, bad({.kind = 3, .length = 0}), "verdict 0 " + refused},
      {hello, bad({.kind = 3, .length = (1 << 20) + 1}), "verdict 0 " + refused},
      {hello, bad({.kind = 3, .length = 0xFFFFFFFF}), "verdict 0 " + refused},
      {hello, bad({.kind = 3, .version = 2}), "verdict 0 " + otherVersion},
  };
  for (const Case& c : cases) {
    const RawPeer peer = RawPeer::connect(endpoint);
    peer.send(c.greeting);
    if (c.greeting == hello) {
      EXPECT_EQ(peer.readFrame(), "welcome 0 0");
    }
    peer.send(c.bytes);
    EXPECT_EQ(peer.readFrame(), c.answer) << &c - cases;
    EXPECT_EQ(peer.readFrame(), "end");
  }
  EXPECT_TRUE(awaitConnections(0));
  EXPECT_EQ(server->load().refused, std::size(cases));
  expectAlive();
}

TEST_F(Server, ForgetsWhoLeavesInTheMiddle) {
  const std::string whole = hello + request(echo, "abc").bytes();
  for (std::size_t count = 0; count <= whole.size(); ++count)
    RawPeer::connect(endpoint).send(whole.substr(0, count));
  EXPECT_TRUE(awaitConnections(0));
  expectAlive();
}

TEST_F(Server, TakesFramesInAnyPieces) {
  const RawPeer peer = greeted();
  for (const char byte : request(echo, "abc", 7).bytes()) peer.send({byte});
  EXPECT_EQ(peer.readFrame(), "verdict 7 0");
  EXPECT_EQ(peer.readFrame(), "reply 7 0 abc");
}

TEST_F(Server, AnswersRequestsSentAheadInTheirOrder) {
  const RawPeer peer = RawPeer::connect(endpoint);
  std::string all = hello;
  for (std::uint32_t id = 1; id <= 2000; ++id) all += request(echo, std::to_string(id), id).bytes();
  std::thread sender([&] { peer.send(all); });
  EXPECT_EQ(peer.readFrame(), "welcome 0 0");
  for (std::uint32_t id = 1; id <= 2000; ++id) {
    const std::string text = std::to_string(id);
    EXPECT_EQ(peer.readFrame(), "verdict " + text + " 0");
    EXPECT_EQ(peer.readFrame(), "reply " + text + " 0 " + text);
  }
  sender.join();
}

TEST_F(Server, EndsSlowFrames) {
  ipc::Limits limits;
  limits.frame = milliseconds(100);
  start(limits);
  const RawPeer still = greeted();
  still.send(request(echo, "abc").bytes().substr(0, 3));
  const RawPeer dripping = greeted();
  std::promise<void> over;
  std::thread drips([&] {
    const std::string bytes = request(echo, std::string(1 << 16, 'x')).bytes();
    auto stop = over.get_future();
    for (std::size_t at = 0; stop.wait_for(milliseconds(10)) != std::future_status::ready; ++at) {
      if (!dripping.send({bytes[at]})) break;
    }
  });
  EXPECT_EQ(still.readAll(), "");
  EXPECT_EQ(dripping.readAll(), "");
  over.set_value();
  drips.join();
  expectAlive();
}

TEST_F(Server, IdleConnectionsMayStay) {
  ipc::Limits limits;
  limits.frame = limits.handshake = milliseconds(30);
  start(limits);
  const RawPeer idle = greeted();
  const RawPeer silent = RawPeer::connect(endpoint);
  EXPECT_EQ(silent.readAll(), "");  // the times have passed
  idle.send(request(echo, "abc").bytes());
  EXPECT_EQ(idle.readFrame(), "verdict 1 0");
}

// A peer whose machine lost its power says nothing any more, and must not hold its place for hours.
TEST_F(Server, AsksSilentPeersOfTheNetworkWhetherTheyAreThere) {
  start({}, "tcp");
  const RawPeer peer = greeted();
  const auto port = static_cast<std::uint16_t>(std::stoi(endpoint.substr(endpoint.rfind(':') + 1)));
  int found = 0;
  for (int descriptor = 3; descriptor < 256; ++descriptor) {
    sockaddr_in own{};
    sockaddr_in other{};
    socklen_t size = sizeof own;
    socklen_t otherSize = sizeof other;
    if (::getsockname(descriptor, reinterpret_cast<sockaddr*>(&own), &size) != 0) continue;
    if (::getpeername(descriptor, reinterpret_cast<sockaddr*>(&other), &otherSize) != 0) continue;
    if (own.sin_family != AF_INET || ntohs(own.sin_port) != port) continue;
    ++found;
    int idle = 0;
    socklen_t idleSize = sizeof idle;
    ASSERT_EQ(::getsockopt(descriptor, IPPROTO_TCP, TCP_KEEPIDLE, &idle, &idleSize), 0);
    EXPECT_LE(idle, 60);
  }
  EXPECT_EQ(found, 1);
}

TEST_F(Server, EndsWhoDoesNotTakeTheAnswer) {
  ipc::Limits limits;
  limits.frame = milliseconds(100);
  start(limits);
  const RawPeer peer = greeted();
  RawFrame frame = request(numbers, "x");
  frame.value = 100'000;
  peer.send(frame.bytes());
  EXPECT_TRUE(service.awaitEnded(1));
  EXPECT_LT(service.startedReplies(), 100'000U);
  expectAlive();
}

TEST_F(Server, HoldsToItsBounds) {
  struct Case {
    const char* kind;
    ipc::Limits limits;
  };
  ipc::Limits inAll;
  inAll.connections = 2;
  ipc::Limits each;
  each.perUser = 2;
  const ClientCertificate certificate("client");
  for (const Case& c :
       {Case{"unix", inAll}, Case{"unix", each}, Case{"tcp", inAll}, Case{"tcp", each}, Case{"tls", each}}) {
    start(c.limits, c.kind);
    TestClient first;
    TestClient second;
    TestClient third;
    EXPECT_TRUE(first.connect(endpoint) && second.connect(endpoint));
    EXPECT_FALSE(third.connect(endpoint));
    EXPECT_EQ(errorName(third.GetLastError()), "the server takes no more connections") << c.kind;
    EXPECT_EQ(first.ask(echo, "a") + second.ask(echo, "b"), "ab");
    first.Close();
    EXPECT_TRUE(awaitConnections(1));
    EXPECT_TRUE(third.connect(endpoint)) << c.kind;
  }
}

TEST_F(Server, SilentPeersDoNotKeepOthersOut) {
  ipc::Limits limits;
  limits.unauthenticated = 2;
  start(limits, "tcp");
  std::vector<RawPeer> silent;
  for (int i = 0; i < 5; ++i) silent.push_back(RawPeer::connect(endpoint));
  for (int i = 0; i < 3; ++i) EXPECT_EQ(silent[static_cast<std::size_t>(i)].readAll(), "");
  EXPECT_TRUE(awaitConnections(2));
  expectAlive();
  EXPECT_LE(server->load().unauthenticated, 2U);
}

// Half of them idle, ten with a byte now and then: reads of others stay quick.
TEST_F(Server, ConcurrentCrowdDoesNotSlowOthers) {
  ipc::Limits limits;
  limits.perUser = 600;
  limits.unauthenticated = 1;  // whom the system knows is no stranger, however many come at once
  start(limits);
  std::vector<RawPeer> crowd;
  for (int i = 0; i < 500; ++i) crowd.push_back(RawPeer::connect(endpoint));
  for (std::size_t i = 250; i < 500; ++i) crowd[i].send(hello + request(echo, "abc").bytes());
  for (std::size_t i = 240; i < 250; ++i) crowd[i].send(hello.substr(0, 1));
  TestClient client(1000);
  ASSERT_TRUE(client.connect(endpoint));
  for (int i = 0; i < 200; ++i) EXPECT_EQ(client.ask(echo, "quick"), "quick");
  for (std::size_t i = 250; i < 500; ++i) EXPECT_EQ(crowd[i].readFrame(), "welcome 0 0");
}

TEST_F(Server, ConcurrentClientsGetTheirOwnAnswers) {
  std::vector<std::future<int>> clients;
  for (int number = 0; number < 8; ++number) {
    clients.push_back(std::async(std::launch::async, [this, number] {
      int wrong = 0;
      for (int round = 0; round < 40; ++round) {
        TestClient client;
        const std::string text = std::to_string(1000 * number + round);
        if (!client.connect(endpoint) || client.ask(echo, text) != text) ++wrong;
        if (client.ask(refuse, "x", round) != "rejected " + std::to_string(round)) ++wrong;
        if (!client.request(numbers, "x", round) || (round > 0 && client.reply().size() != 1000)) ++wrong;
      }
      return wrong;
    }));
  }
  for (auto& client : clients) EXPECT_EQ(client.get(), 0);
  EXPECT_TRUE(awaitConnections(0));
}

TEST_F(Server, SaysOnceThatSessionEnded) {
  TestClient client;
  ASSERT_TRUE(client.connect(endpoint));
  EXPECT_EQ(client.ask(echo, "a") + client.ask(echo, "b"), "ab");
  greeted();  // never asked the service for anything
  EXPECT_TRUE(awaitConnections(1));
  client.Close();
  EXPECT_TRUE(service.awaitEnded(1));
  server.reset();
  EXPECT_FALSE(service.hasEnded(2));
}

TEST_F(Server, ConcurrentStopAnswersOpenExchanges) {
  TestClient client;
  ASSERT_TRUE(client.connect(endpoint));
  auto outcome = std::async([&] { return client.ask(hold); });
  const auto exchange = service.held();
  auto stopped = std::async([this] { server->stop(); });
  // The listener has gone first, while the exchange is open.
  for (TestClient late; late.connect(endpoint);) std::this_thread::yield();
  exchange->accept(bytesOf("in time"));
  EXPECT_EQ(outcome.get(), "in time");
  stopped.get();
  EXPECT_FALSE(std::filesystem::exists(socketPath));
  EXPECT_FALSE(client.IsOpen());
}

TEST_F(Server, EndsWithoutTheAnswerAfterItsTime) {
  ipc::Limits limits;
  limits.drain = milliseconds(30);
  start(limits);
  TestClient client;
  ASSERT_TRUE(client.connect(endpoint));
  auto outcome = std::async([&] { return client.ask(hold); });
  const auto exchange = service.held();
  server.reset();
  EXPECT_EQ(outcome.get(), "the connection was lost");
  EXPECT_EQ(exchange->data().size(), 1U);
  exchange->accept(bytesOf("too late"));
}

TEST_F(Server, TakesTheSocketFileOfOneThatWasKilled) {
  const std::string path = directory / "stale";
  const int stale = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(::bind(stale, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  ::close(stale);
  ipc::IpcServer next({}, 1);
  EXPECT_NO_THROW(next.listen("unix:" + path, 0600));
  struct stat status {};
  ASSERT_EQ(::stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
}

TEST_F(Server, RefusesPlacesThatAreTaken) {
  std::ofstream(directory / "file") << "no socket";
  ipc::IpcServer other({}, 1);
  for (const std::string& place : {endpoint, "unix:" + directory / "file", "unix:" + directory / "none/s",
                                   std::string("tcp://192.0.2.1:0"), std::string("nonsense")}) {
    EXPECT_THROW(other.listen(place), ipc::ServerError) << place;
  }
  expectAlive();
  EXPECT_TRUE(std::filesystem::exists(directory / "file"));
}

TEST_F(Server, AdoptsListeningSockets) {
  const std::string path = directory / "inherited";
  const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  EXPECT_THROW(ipc::IpcServer({}, 1).adopt(::dup(listener)), ipc::ServerError);  // does not listen
  ASSERT_EQ(::listen(listener, 8), 0);
  server = std::make_unique<ipc::IpcServer>(ipc::Limits{}, 1);
  server->addService(serviceNumber, service);
  server->adopt(listener);
  server->start();
  endpoint = "unix:" + path;
  EXPECT_EQ(server->endpoints(), std::vector<std::string>{endpoint});
  expectAlive();
  server.reset();
  EXPECT_TRUE(std::filesystem::exists(path));  // the service manager's
}

TEST_F(Server, KnowsWhichSocketsAreHandedToIt) {
  const Variable count("LISTEN_FDS", "2");
  {
    const Variable process("LISTEN_PID", std::to_string(::getpid()));
    EXPECT_EQ(ipc::IpcServer::inheritedSockets(), (std::vector<int>{3, 4}));
    EXPECT_EQ(::getenv("LISTEN_FDS"), nullptr);
  }
  const Variable again("LISTEN_FDS", "2");
  const Variable other("LISTEN_PID", "1");
  EXPECT_TRUE(ipc::IpcServer::inheritedSockets().empty());
}

}  // namespace
