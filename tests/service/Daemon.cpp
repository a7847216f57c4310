#include "tests/service/Daemon.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "platform/support/Utf.h"

namespace fs = std::filesystem;

namespace {

// A datagram socket of that path.
int listenForNotice(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  ::unlink(path.c_str());
  const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    throw std::runtime_error("no socket for notices");
  }
  return socket;
}

std::vector<char*> pointers(const std::vector<std::string>& texts) {
  std::vector<char*> list;
  for (const std::string& text : texts) list.push_back(const_cast<char*>(text.c_str()));
  list.push_back(nullptr);
  return list;
}

std::vector<std::string> childEnvironment(const std::string& notify, std::size_t sockets) {
  std::vector<std::string> list{"NOTIFY_SOCKET=" + notify};
  for (const char* passed : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS", "LD_LIBRARY_PATH", "PATH"}) {
    if (const char* value = std::getenv(passed)) list.push_back(std::string(passed) + '=' + value);
  }
  if (sockets > 0) list.push_back("LISTEN_FDS=" + std::to_string(sockets));
  list.emplace_back("LISTEN_PID=0000000000");
  return list;
}

// Only what may stand between fork and exec where the parent has threads.
[[noreturn]] void become(const std::vector<int>& sockets, int errors, char** argv, char** envp) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  int place = 3;
  for (const int socket : sockets) ::dup2(socket, place++);
  ::dup2(errors, 2);
  char* digits = nullptr;
  for (char** entry = envp; *entry != nullptr; ++entry) digits = *entry;  // LISTEN_PID comes last
  if (digits == nullptr) ::_exit(127);
  char* end = digits + sizeof "LISTEN_PID=0000000000" - 1;
  for (auto pid = static_cast<unsigned>(::getpid()); pid > 0; pid /= 10)
    *--end = static_cast<char>('0' + pid % 10);
  sigset_t none;
  ::sigemptyset(&none);
  ::pthread_sigmask(SIG_SETMASK, &none, nullptr);
  ::execve(argv[0], argv, envp);
  ::_exit(127);
}

}  // namespace

Daemon::Daemon(const TempDirectory& directory, std::string name)
    : m_store(directory / (name + "-store")),
      m_audit(directory / (name + ".jsonl")),
      m_socket(directory / (name + ".sock")),
      m_notify(directory / (name + ".notify")),
      m_errors(directory / (name + ".err")) {
  fs::permissions(directory.path(), fs::perms(0755));
}

Daemon::~Daemon() {
  if (m_process <= 0) return;
  Signal(SIGKILL);
  Wait();
}

bool Daemon::Start(const Arguments& arguments) {
  Arguments all{"--listen", Endpoint(), "--store", m_store, "--audit", m_audit};
  all.insert(all.end(), arguments.begin(), arguments.end());
  return StartBare(all);
}

bool Daemon::StartBare(const Arguments& arguments, const std::vector<int>& sockets) {
  Arguments all = arguments;
  all.insert(all.begin(), SPSD_PATH);
  std::vector<std::string> environment = childEnvironment(m_notify, sockets.size());
  const std::vector<char*> argv = pointers(all);
  const std::vector<char*> envp = pointers(environment);
  const int notices = listenForNotice(m_notify);
  const int errors = ::open(m_errors.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  m_process = ::fork();
  if (m_process == 0)
    become(sockets, errors, const_cast<char**>(argv.data()), const_cast<char**>(envp.data()));
  ::close(errors);
  m_ended = static_cast<int>(::syscall(SYS_pidfd_open, m_process, 0));
  const bool ready = AwaitReady(notices);
  ::close(notices);
  return ready;
}

bool Daemon::AwaitReady(int socket) {
  for (;;) {
    std::array<pollfd, 2> events{{{socket, POLLIN, 0}, {m_ended, POLLIN, 0}}};
    if (::poll(events.data(), events.size(), -1) < 0 && errno == EINTR) continue;
    if (events[0].revents == 0) return false;
    std::array<char, 4096> notice{};
    const ssize_t size = ::recv(socket, notice.data(), notice.size(), 0);
    m_status.assign(notice.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
    if (m_status.find("READY=1") != std::string::npos) return true;
  }
}

void Daemon::Signal(int signal) const {
  ::kill(m_process, signal);
}

void Daemon::Freeze() const {
  Signal(SIGSTOP);
  int status = 0;
  while (::waitpid(m_process, &status, WUNTRACED) < 0 && errno == EINTR) {
  }
}

int Daemon::Wait() {
  int status = 0;
  while (::waitpid(m_process, &status, 0) < 0 && errno == EINTR) {
  }
  m_process = -1;
  ::close(m_ended);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

int Daemon::Stop() {
  Signal(SIGTERM);
  return Wait();
}

std::string Daemon::Errors() const {
  std::ifstream file(m_errors, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::unique_ptr<SpSrvClntEx> Daemon::Connect() const {
  auto client = std::make_unique<SpSrvClntEx>();
  EXPECT_TRUE(client->Init(support::toUtf16(Endpoint()).c_str())) << Errors();
  return client;
}

std::vector<std::string> linesOf(const std::string& file) {
  std::ifstream stream(file);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}
