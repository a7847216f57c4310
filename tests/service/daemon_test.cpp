// The daemon as its administrator and its service manager meet it.
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <thread>

#include "platform/ipc/Errors.h"
#include "platform/ipc/IpcClient.h"
#include "platform/registry/RegistryStore.h"
#include "platform/support/Utf.h"
#include "tests/service/ServiceTest.h"
#include "tests/support/Sanitized.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

class DaemonTest : public testing::Test {
protected:
  TempDirectory m_directory;
  Daemon m_daemon{m_directory};
};

TEST_F(DaemonTest, SaysWhatIsWrongWithItsArguments) {
  const struct {
    Arguments arguments;
    const char* said;
  } rows[] = {
      {{"--listen"}, "--listen is no option, or lacks its value"},
      {{"--colour", "red"}, "--colour"},
      {{"extra"}, "extra: expected an option"},
      {{"--threads", "0"}, "--threads 0: expected a number from 1 to 256"},
      {{"--threads", "2x"}, "--threads 2x"},
      {{"--allow-write", "miller"}, "--allow-write miller: expected user:NAME"},
      {{"--admin", "group:no such group"}, "there is no group"},
      {{"--frame-timeout", "soon"}, "expected a time such as 90s"},
      {{"--socket-mode", "9"}, "octal"},
      {{"--space", "a\\b"}, "without a backslash"},
      {{"--tls-cert", "a.pem"}, "belong together"},
      {{"--listen", "tls://localhost"}, "needs --tls-cert"},
      {{"--listen", "bogus"}, "--listen bogus: expected unix:/path"},
      {{"--listen", "unix:relative"}, "--listen unix:relative"},
      {{"--listen", "tcp://192.0.2.1:1"}, "--listen tcp://192.0.2.1:1"},
      {{"--log", "bogus"}, "--log bogus: expected stderr"},
      {{"--log", "file:"}, "--log file:"},
      {{"--store", ""}, "expected a path"},
  };
  for (const auto& row : rows) {
    Daemon daemon(m_directory, "wrong" + std::to_string(&row - rows));
    EXPECT_FALSE(daemon.StartBare(row.arguments));
    EXPECT_EQ(daemon.Wait(), 2);
    EXPECT_THAT(daemon.Errors(), HasSubstr(row.said));
  }
}

TEST_F(DaemonTest, EndsWhereItCannotDoItsWork) {
  const struct {
    Arguments arguments;
    const char* said;
  } rows[] = {
      {{"--store", "/proc/nothing"}, "the store in /proc/nothing can't be used"},
      {{"--audit", "/proc/nothing"}, "the audit file /proc/nothing"},
      {{"--listen", "unix:/proc/nothing/s"}, "/proc/nothing/s"},
      {{"--log", "file:/proc/nothing"}, "--log file:/proc/nothing"},
  };
  for (const auto& row : rows) {
    Daemon daemon(m_directory, "unable" + std::to_string(&row - rows));
    EXPECT_FALSE(daemon.Start(row.arguments));
    EXPECT_EQ(daemon.Wait(), 1);
    EXPECT_THAT(daemon.Errors(), HasSubstr(row.said));
  }
}

TEST_F(DaemonTest, TellsTheManagerWhereItListensAndEndsInOrder) {
  ASSERT_TRUE(m_daemon.Start({"--listen", "tcp://127.0.0.1:0", "--space", "Plant"})) << m_daemon.Errors();
  EXPECT_THAT(m_daemon.Status(),
              HasSubstr("STATUS=Listening on " + m_daemon.Endpoint() + " tcp://127.0.0.1:"));
  UnicodeString space;
  ASSERT_TRUE(m_daemon.Connect()->GetPrcSpace(space, nullptr));
  EXPECT_EQ(space, u"Plant");
  EXPECT_EQ(m_daemon.Stop(), 0);
  ASSERT_TRUE(m_daemon.Start());
  m_daemon.Signal(SIGINT);
  EXPECT_EQ(m_daemon.Wait(), 0);
  EXPECT_TRUE(m_daemon.Errors().ends_with("Ended\n")) << m_daemon.Errors();
}

// A daemon whose TLS files are the test's to change.
class CertificateTest : public DaemonTest {
protected:
  void Use(const std::string& certificate) {
    for (const char* const ending : {".pem", ".key"}) {
      fs::copy_file(m_files + certificate + ending, m_directory / (std::string("own") + ending),
                    fs::copy_options::overwrite_existing);
    }
  }
  // How an attempt to connect ends.
  std::int32_t Open() {
    const std::string status = m_daemon.Status();
    const std::string endpoint = status.substr(status.rfind(' ') + 1);
    IpcClient client(10000, 10000, nullptr, nullptr);
    return client.Open(support::toUtf16(endpoint).c_str(), conModeRequest) ? 0 : client.GetLastError();
  }
  void AwaitOpen(std::int32_t outcome) {
    while (Open() != outcome) std::this_thread::yield();
  }

  const std::string m_files = std::string(SPS_TEST_CERTIFICATES) + "/";
};

TEST_F(CertificateTest, RenewedFilesAreTakenUpWithoutARestart) {
  ::setenv("SPS_TLS_CERT", (m_files + "client.pem").c_str(), 1);
  ::setenv("SPS_TLS_KEY", (m_files + "client.key").c_str(), 1);
  ::setenv("SPS_TLS_CA", (m_files + "trusted.pem").c_str(), 1);
  Use("server-expired");
  ASSERT_TRUE(m_daemon.Start({"--listen", "tls://localhost:0", "--tls-cert", m_directory / "own.pem",
                              "--tls-key", m_directory / "own.key", "--tls-ca", m_files + "trusted.pem"}))
      << m_daemon.Errors();
  const auto before = m_daemon.Connect();
  EXPECT_EQ(Open(), ipc::expiredCertificate);
  Use("server");
  EXPECT_EQ(Open(), ipc::expiredCertificate);
  m_daemon.Signal(SIGHUP);
  AwaitOpen(0);
  // Files that are no good leave the daemon as it is.
  fs::remove(m_directory / "own.key");
  m_daemon.Signal(SIGHUP);
  while (m_daemon.Errors().find("The TLS files can't be taken up anew: ") == std::string::npos) {
    std::this_thread::yield();
  }
  EXPECT_EQ(Open(), 0);
  EXPECT_TRUE(before->GetChildNodes(root, nullptr));
}

TEST_F(DaemonTest, LeavesASocketInUseAlone) {
  ASSERT_TRUE(m_daemon.Start());
  Daemon second(m_directory, "second");
  EXPECT_FALSE(second.Start({"--listen", m_daemon.Endpoint()}));
  EXPECT_EQ(second.Wait(), 1);
  EXPECT_THAT(second.Errors(), HasSubstr(m_daemon.SocketPath()));
  EXPECT_TRUE(m_daemon.Connect()->GetChildNodes(root, nullptr));
}

TEST_F(DaemonTest, TakesOverTheManagersSockets) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  m_daemon.SocketPath().copy(address.sun_path, sizeof address.sun_path - 1);
  const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_EQ(::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(::listen(socket, 10), 0);
  ASSERT_TRUE(m_daemon.StartBare({"--store", m_daemon.Store()}, {socket})) << m_daemon.Errors();
  ::close(socket);
  EXPECT_TRUE(m_daemon.Connect()->GetChildNodes(root, nullptr));
  EXPECT_EQ(m_daemon.Stop(), 0);
  EXPECT_TRUE(fs::exists(m_daemon.Store() + "/audit.jsonl"));
}

TEST_F(DaemonTest, TakesMoreConnectionsThanTheSessionsLimitOfFiles) {
  rlimit limit{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  ASSERT_GT(limit.rlim_max, 200U);
  const rlimit few{64, limit.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
  const bool ready = m_daemon.Start();
  EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
  ASSERT_TRUE(ready) << m_daemon.Errors();
  std::vector<std::unique_ptr<SpSrvClntEx>> clients;
  for (int i = 0; i < 100; ++i) clients.push_back(m_daemon.Connect());
  EXPECT_TRUE(clients.back()->GetChildNodes(root, nullptr));
}

// Nobody is served while there is no place for a connection, and the log says so, once; then it goes on.
TEST_F(DaemonTest, SaysThatItCannotAccept) {
  if (isSanitized) GTEST_SKIP() << "a sanitizer's own checks need descriptors";
  ASSERT_TRUE(m_daemon.Start());
  rlimit limit{};
  ASSERT_EQ(::prlimit(m_daemon.Process(), RLIMIT_NOFILE, nullptr, &limit), 0);
  const rlimit few{3, limit.rlim_max};
  ASSERT_EQ(::prlimit(m_daemon.Process(), RLIMIT_NOFILE, &few, nullptr), 0);
  auto connecting = std::async([this] { return m_daemon.Connect(); });
  const std::string said = "No connection can be accepted at " + m_daemon.Endpoint();
  while (m_daemon.Errors().find(said) == std::string::npos) std::this_thread::yield();
  ASSERT_EQ(::prlimit(m_daemon.Process(), RLIMIT_NOFILE, &limit, nullptr), 0);
  EXPECT_TRUE(connecting.get()->GetChildNodes(root, nullptr));
  const std::string errors = m_daemon.Errors();
  EXPECT_EQ(errors.find(said), errors.rfind(said));
}

TEST_F(DaemonTest, KeepsTheLatestSnapshots) {
  const fs::path kept = m_directory / "snapshots";
  fs::create_directories(kept / "snapshot-20200101T000000Z");
  fs::create_directories(kept / "snapshot-20200102T000000Z");
  fs::create_directories(kept / "snapshot-20190101T000000Z.mine");
  fs::create_directories(kept / "snapshot-before-the-move");
  fs::create_directories(kept / "snapshot-20200103T000000Z.unfinished");
  ASSERT_TRUE(m_daemon.Start({"--snapshot-dir", kept.string(), "--snapshot-keep", "2"})) << m_daemon.Errors();
  const auto client = m_daemon.Connect();
  // The removal of the oldest is the last step.
  while (fs::exists(kept / "snapshot-20200101T000000Z")) ASSERT_TRUE(client->GetChildNodes(root, nullptr));
  EXPECT_EQ(m_daemon.Stop(), 0);
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(kept)) names.push_back(entry.path().filename().string());
  std::ranges::sort(names);
  // What has another name is not the daemon's; what was not finished goes.
  ASSERT_EQ(names.size(), 4U);
  EXPECT_EQ(names[0], "snapshot-20190101T000000Z.mine");
  EXPECT_EQ(names[1], "snapshot-20200102T000000Z");
  EXPECT_EQ(names[3], "snapshot-before-the-move");
  EXPECT_EQ(registry::restoreStore((kept / names[2]).string(), m_directory / "restored"), 0);
}

}  // namespace
