#include "tests/tool/MasterProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <stdexcept>

namespace {

// The socket that a service manager would listen at for what the daemon says of itself.
int listenForNotices(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    throw std::runtime_error("no socket for the notices of the master");
  }
  return socket;
}

[[noreturn]] void become(const std::string& notify, const std::string& errors,
                         const std::vector<std::string>& arguments) {
  std::vector<char*> argv;
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  ::dup2(::open(errors.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600), 2);
  ::setenv("NOTIFY_SOCKET", notify.c_str(), 1);
  ::execv(argv[0], argv.data());
  ::_exit(127);
}

}  // namespace

MasterProcess::MasterProcess(const std::filesystem::path& directory,
                             const std::vector<std::string>& arguments)
    : m_endpoint("unix:" + (directory / "master.sock").string()), m_store(directory / "master-store") {
  std::vector<std::string> all{SPSD_PATH,  "--listen",          m_endpoint,
                               "--listen", "tcp://127.0.0.1:0", "--store",
                               Store(),    "--audit",           directory / "audit.jsonl"};
  all.insert(all.end(), arguments.begin(), arguments.end());
  const std::string notify = directory / "notify";
  const int notices = listenForNotices(notify);
  m_process = ::fork();
  if (m_process == 0) become(notify, directory / "spsd.err", all);
  AwaitReady(notices);
  ::close(notices);
}

MasterProcess::~MasterProcess() {
  if (m_process > 0) Stop();
}

void MasterProcess::AwaitReady(int notices) {
  constexpr int patience = 60'000;  // milliseconds
  pollfd event{notices, POLLIN, 0};
  std::array<char, 4096> notice{};
  if (::poll(&event, 1, patience) <= 0) throw std::runtime_error("the master does not get ready");
  const ssize_t size = ::recv(notices, notice.data(), notice.size(), 0);
  const std::string status(notice.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
  const std::size_t begin = status.find("tcp://");
  if (begin == std::string::npos) throw std::runtime_error("the master tells no port: " + status);
  m_loopback = status.substr(begin, status.find_first_of(" \n", begin) - begin);
}

int MasterProcess::Stop() {
  ::kill(m_process, SIGTERM);
  int status = 0;
  while (::waitpid(m_process, &status, 0) < 0 && errno == EINTR) {
  }
  m_process = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
