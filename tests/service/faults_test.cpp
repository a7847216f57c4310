// A daemon that is killed, stopped and crowded, and what its clients may rely on all the same.
//
//   SPS_KILLS   how often the daemon is killed under load, 6 unless told
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <future>
#include <latch>
#include <map>
#include <mutex>
#include <new>
#include <random>
#include <thread>

#include "platform/ipc/Errors.h"
#include "platform/ipc/Frame.h"
#include "platform/ipc/IpcClient.h"
#include "platform/registry/RegistryStore.h"
#include "platform/support/Utf.h"
#include "service/Writer.h"
#include "src/telegrams.h"
#include "tests/service/ServiceTest.h"

namespace {

constexpr std::size_t writers = 8;

UnicodeString parameterOf(std::size_t writer) {
  return UnicodeString(u"W") + UnicodeString(static_cast<std::int32_t>(writer));
}

bool writeNumber(SpSrvClntEx& client, const UnicodeString& par, std::int32_t number) {
  return client.SetSpSrvPar(u"T", par, &number, u'I', sizeof number, u"", u"", u"", nullptr);
}

// Several clients, each of which counts up a parameter of its own until its connection ends.
class Writers {
public:
  // Begins behind the numbers that the last run left.
  void Start(const Daemon& daemon) {
    m_acknowledged = 0;
    for (std::size_t writer = 0; writer < writers; ++writer) {
      m_threads.emplace_back([this, writer, client = std::shared_ptr(daemon.Connect())] {
        while (writeNumber(*client, parameterOf(writer), m_last[writer] + 1)) {
          ++m_last[writer];
          const std::lock_guard lock(m_mutex);
          ++m_acknowledged;
          m_moved.notify_one();
        }
      });
    }
  }
  void Await(int acknowledged) {
    std::unique_lock lock(m_mutex);
    m_moved.wait(lock, [&] { return m_acknowledged >= acknowledged; });
  }
  void Join() {
    for (std::thread& thread : m_threads) thread.join();
    m_threads.clear();
  }

  // The last number that the service acknowledged.
  std::array<std::int32_t, writers> m_last{};

private:
  std::vector<std::thread> m_threads;
  std::mutex m_mutex;
  std::condition_variable m_moved;
  int m_acknowledged = 0;
};

// A request whose verdict the test waits for.
class Asked : public ipc::Exchange {
public:
  explicit Asked(std::promise<std::int32_t>& verdict) : m_verdict(verdict) {}
  const ipc::Peer& peer() const override { return m_peer; }
  ipc::SessionId session() const override { return 0; }
  std::int32_t number() const override { return 0; }
  std::int32_t value() const override { return 0; }
  std::span<const std::uint8_t> data() const override { return {}; }
  void accept() override { m_verdict.set_value(0); }
  void accept(std::span<const std::uint8_t> /*reply*/) override { accept(); }
  void accept(std::vector<ipc::Bytes> /*replies*/) override { accept(); }
  void acceptEach(NextReply /*next*/) override { accept(); }
  void reject(std::int32_t code) override { m_verdict.set_value(code); }

private:
  std::promise<std::int32_t>& m_verdict;
  ipc::Peer m_peer;
};

// Counts its node up, and may fail behind that.
class CountUp : public service::Change {
public:
  CountUp(const UnicodeString& path, std::int32_t outcome) : m_outcome(outcome) { deed.path = path; }
  service::Code Check(service::Tree& /*tree*/, service::Node& /*node*/) override { return 0; }
  service::Code Make(service::Tree& /*tree*/, service::Node& node) override {
    std::int32_t count = 0;
    node.Init(deed.path, true, false);
    node.GetValue(u"count", count);
    node.SetValue(u"count", count + 1);
    if (m_outcome == outOfMemory) throw std::bad_alloc();
    return m_outcome;
  }
  static constexpr std::int32_t outOfMemory = 8;

private:
  std::int32_t m_outcome;
};

// Keeps the writer until the others have come.
class Hold : public service::Change {
public:
  explicit Hold(std::latch& end) : m_end(end) {}
  service::Code Check(service::Tree& /*tree*/, service::Node& /*node*/) override {
    m_end.wait();
    return service::accessDenied;
  }
  service::Code Make(service::Tree& /*tree*/, service::Node& /*node*/) override { return 0; }

private:
  std::latch& m_end;
};

TEST(GroupFaultsTest, AChangeThatFailsHalfWayTakesNoOtherWithItAndLeavesNothing) {
  const TempDirectory directory;
  registry::useStore(directory / "store");
  const std::int32_t outcomes[] = {0, 87, 0, CountUp::outOfMemory, 0};
  std::array<std::promise<std::int32_t>, std::size(outcomes) + 1> verdicts;
  const auto pathAt = [](std::size_t index) {
    return root + u"\\N" + UnicodeString(static_cast<std::int32_t>(index));
  };
  service::AuditLog audit("");
  std::latch arrived(1);  // outlives the writer, which may still be leaving it
  {
    service::Writer writer(u"Default", audit);
    service::Pending hold{std::make_unique<Hold>(arrived), std::make_shared<Asked>(verdicts.back())};
    EXPECT_TRUE(writer.Submit(hold));
    for (std::size_t index = 0; index < std::size(outcomes); ++index) {
      service::Pending next{std::make_unique<CountUp>(pathAt(index), outcomes[index]),
                            std::make_shared<Asked>(verdicts[index])};
      EXPECT_TRUE(writer.Submit(next));
    }
    arrived.count_down();
  }
  for (std::size_t index = 0; index < std::size(outcomes); ++index) {
    EXPECT_EQ(verdicts[index].get_future().get(), outcomes[index]);
    service::Node node;
    std::int32_t count = 0;
    const bool isThere = node.Init(pathAt(index), false, false) && node.GetValue(u"count", count);
    EXPECT_EQ(isThere, outcomes[index] == 0) << index;
    EXPECT_EQ(count, isThere ? 1 : 0) << index;
  }
  registry::useStore("");
}

class FaultsTest : public ServiceTest {
protected:
  explicit FaultsTest(const Arguments& arguments = {}) : ServiceTest(arguments) {}

  void SetUp() override {
    ServiceTest::SetUp();
    for (std::size_t writer = 0; writer < writers; ++writer) {
      Make(u"T", parameterOf(writer), u'I');
      Put(pathOf(u"T", parameterOf(writer)), u"@value", 0);
    }
  }
  static std::int32_t Stored(std::size_t writer) {
    return NumberAt(pathOf(u"T", parameterOf(writer)), u"@value");
  }
};

TEST_F(FaultsTest, KillsLoseNoAcknowledgedWriteAndRepeatNone) {
  const char* const wanted = std::getenv("SPS_KILLS");
  const int kills = wanted ? std::atoi(wanted) : 6;
  std::mt19937 random(7);
  Writers load;
  m_client.reset();
  std::map<std::string, int> acknowledged;  // "parameter number"
  for (int kill = 0; kill < kills; ++kill) {
    const auto before = load.m_last;
    load.Start(m_daemon);
    load.Await(static_cast<int>(random() % 200));
    m_daemon.Signal(SIGKILL);
    load.Join();
    m_daemon.Wait();
    ASSERT_TRUE(m_daemon.Start()) << m_daemon.Errors();
    for (std::size_t writer = 0; writer < writers; ++writer) {
      const std::int32_t last = load.m_last[writer];
      for (std::int32_t number = before[writer] + 1; number <= last; ++number) {
        acknowledged[support::toUtf8(parameterOf(writer).View()) + ' ' + std::to_string(number)] = 0;
      }
      // The write that had no answer may have been kept.
      ASSERT_GE(Stored(writer), last);
      ASSERT_LE(Stored(writer), last + 1);
      load.m_last[writer] = Stored(writer);
    }
  }
  // The trail has each that was acknowledged, and nothing twice.
  std::map<std::string, int> applied;
  std::size_t cutOff = 0;
  for (const Json& entry : AuditBesides(cutOff)) {
    const std::string path = entry["path"].Text();
    ++applied[path.substr(path.rfind('\\') + 1) + ' ' + entry["value"].Text()];
  }
  EXPECT_LE(cutOff, static_cast<std::size_t>(kills));
  RecordProperty("kills", kills);
  RecordProperty("acknowledged", static_cast<int>(acknowledged.size()));
  for (const auto& [write, count] : applied) EXPECT_EQ(count, 1) << write;
  for (const auto& [write, count] : acknowledged) EXPECT_EQ(applied.count(write), 1U) << write;
}

TEST_F(FaultsTest, AnOrderlyEndAnswersEveryWriteThatItKeeps) {
  Writers load;
  for (int round = 0; round < 3; ++round) {
    load.Start(m_daemon);
    load.Await(50);
    EXPECT_EQ(m_daemon.Stop(), 0);
    load.Join();
    for (std::size_t writer = 0; writer < writers; ++writer) EXPECT_EQ(Stored(writer), load.m_last[writer]);
    ASSERT_TRUE(m_daemon.Start());
  }
}

TEST_F(FaultsTest, AKilledImportLeavesAllOrNothing) {
  std::u16string text = u"Windows Registry Editor Version 5.00\r\n\r\n";
  constexpr int keys = 3000;
  for (int i = 0; i < keys; ++i) {
    text += u"[" + std::u16string(pathOf(u"Many").View()) + u"\\P" +
            UnicodeString(i).operator const char16_t*() + u"]\r\n\"@value\"=dword:00000001\r\n";
  }
  const UnicodeString whole{std::u16string_view(text)};
  for (int round = 0; round < 3; ++round) {
    const auto client = m_daemon.Connect();
    std::thread importer([&client, &whole] { client->SetSpRegImport(whole, nullptr); });
    // At some moment of it: the later, the more other requests are answered before.
    for (int i = 0; i < round * 40; ++i) m_client->GetChildNodes(root, nullptr);
    m_daemon.Signal(SIGKILL);
    importer.join();
    m_daemon.Wait();
    ASSERT_TRUE(m_daemon.Start());
    m_client = m_daemon.Connect();
    const auto* const nodes = m_client->GetChildNodes(pathOf(u"Many"), nullptr);
    if (!nodes) continue;
    EXPECT_EQ(nodes->size(), static_cast<std::size_t>(keys));
    EXPECT_TRUE(m_client->DeleteNode(root + u"\\Default", u"Many", nullptr));
  }
}

TEST_F(FaultsTest, AStoppedDaemonTimesOutAndGoesOn) {
  IpcClient raw(10000, 200, nullptr, nullptr);
  ASSERT_TRUE(raw.Open(support::toUtf16(m_daemon.Endpoint()).c_str(), conModeRequest));
  raw.SetService(telegram::serviceNumber);
  std::uint8_t room[1024];
  DfsBin fields;
  fields.AssignEmptyBuffer(room, sizeof room, false);
  telegram::add(fields, telegram::key::nodePath, pathOf(u"Made"));
  telegram::add(fields, telegram::key::user, u"");
  telegram::add(fields, telegram::key::ws, u"");
  m_daemon.Freeze();
  EXPECT_FALSE(raw.Request(4, 0, fields.GetData(), fields.GetDataSize()));
  EXPECT_EQ(raw.GetLastError(), ipc::timedOut);
  m_daemon.Signal(SIGCONT);
  // What was sent before it stopped is carried out all the same, once, ahead of what comes later.
  raw.SetRequestTO(10000);
  ASSERT_TRUE(raw.Request(4, 0, fields.GetData(), fields.GetDataSize()));
  DfsBin reply;
  std::int16_t existed = -1;
  ASSERT_TRUE(raw.GetReply(reply));
  EXPECT_TRUE(telegram::get(reply, telegram::key::chkExist, existed));
  EXPECT_EQ(existed, 1);
  EXPECT_EQ(Audit().size(), 2U);
}

TEST_F(FaultsTest, ARestartEndsWhatWasConnectedAndNothingElse) {
  EXPECT_EQ(WriteNumber(u"T", u"W0", 5), 0U);
  m_daemon.Signal(SIGKILL);
  m_daemon.Wait();
  ASSERT_TRUE(m_daemon.Start()) << m_daemon.Errors();
  EXPECT_EQ(WriteNumber(u"T", u"W0", 6), static_cast<std::uint32_t>(ipc::connectionLost));
  EXPECT_EQ(WriteNumber(u"T", u"W0", 6), static_cast<std::uint32_t>(ipc::notOpen));
  EXPECT_EQ(Stored(0), 5);
  ASSERT_TRUE(m_client->Init(support::toUtf16(m_daemon.Endpoint()).c_str()));
  EXPECT_EQ(WriteNumber(u"T", u"W0", 6), 0U);
}

// A connection of bytes.
class Wire {
public:
  explicit Wire(const std::string& path) : m_socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    EXPECT_EQ(::connect(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  }
  Wire(Wire&& other) noexcept : m_socket(std::exchange(other.m_socket, -1)) {}
  Wire(const Wire&) = delete;
  Wire& operator=(const Wire&) = delete;
  ~Wire() {
    if (m_socket >= 0) ::close(m_socket);
  }

  void Send(std::uint8_t byte) const { (void)::send(m_socket, &byte, 1, MSG_NOSIGNAL); }
  // Takes what has come; true once the other side has closed.
  bool IsClosed() const {
    std::array<char, 256> room{};
    for (;;) {
      const ssize_t size = ::recv(m_socket, room.data(), room.size(), MSG_DONTWAIT);
      if (size <= 0) return size == 0 || (errno != EAGAIN && errno != EINTR);
    }
  }

private:
  int m_socket;
};

class CrowdTest : public FaultsTest {
protected:
  CrowdTest()
      : FaultsTest({"--max-per-user", "1000", "--handshake-timeout", "2s", "--frame-timeout", "2s"}) {}

  // None of them waits for the crowd, although it may wait for other work of the machine.
  void Read(int times) const {
    const auto begin = std::chrono::steady_clock::now();
    Ask(times);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
  }

private:
  void Ask(int times) const {
    for (int i = 0; i < times; ++i) {
      std::int32_t number = 0;
      ASSERT_TRUE(m_client->GetSpSrvPar(u"T", u"W0", &number, u'I', 4, u"", u"", u"", nullptr, 0));
    }
  }
};

TEST_F(CrowdTest, ReadsGoOnAmongIdleAndSlowConnections) {
  std::vector<std::unique_ptr<SpSrvClntEx>> idle;
  for (int i = 0; i < 250; ++i) idle.push_back(m_daemon.Connect());
  std::vector<Wire> silent;
  for (int i = 0; i < 240; ++i) silent.emplace_back(m_daemon.SocketPath());
  std::vector<Wire> slow;
  for (int i = 0; i < 10; ++i) slow.emplace_back(m_daemon.SocketPath());
  // A hello as slow as a byte among many reads.
  std::array<std::uint8_t, ipc::headerBytes> hello{};
  hello[0] = ipc::headerBytes;
  for (int byte = 0; byte < 8; ++byte) {
    for (const Wire& wire : slow) wire.Send(hello[static_cast<std::size_t>(byte)]);
    Read(50);
  }
  // Those who don't get through their greeting are let go, while reads go on; those who did stay.
  const auto allClosed = [](const std::vector<Wire>& wires) {
    return std::ranges::all_of(wires, [](const Wire& wire) { return wire.IsClosed(); });
  };
  while (!allClosed(slow) || !allClosed(silent)) Read(50);
  for (const auto& client : idle)
    EXPECT_TRUE(client->GetPrcSpace(*std::make_unique<UnicodeString>(), nullptr));
}

}  // namespace
