#include "bench/Server.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <stdexcept>
#include <thread>

namespace bench {

void stayOn(int processor) {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(static_cast<std::size_t>(processor), &set);
  if (::sched_setaffinity(0, sizeof set, &set) != 0) throw std::runtime_error("cannot choose a processor");
}

int processorCount() {
  return static_cast<int>(std::thread::hardware_concurrency());
}

int connectTo(const std::string& socket) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (socket.size() >= sizeof address.sun_path) return -1;
  socket.copy(address.sun_path, socket.size());
  const int connection = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (::connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
    return connection;
  }
  ::close(connection);
  return -1;
}

Server::Server(std::vector<std::string> command, const std::string& socket, int processor) {
  std::vector<char*> arguments;
  for (std::string& word : command) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  m_process = ::fork();
  if (m_process == 0) {
    stayOn(processor);
    const int silence = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    ::dup2(silence, 1);
    ::execvp(arguments[0], arguments.data());
    ::_exit(127);
  }
  using namespace std::chrono_literals;
  const auto end = std::chrono::steady_clock::now() + 20s;
  for (;;) {
    if (const int connection = connectTo(socket); connection >= 0) {
      ::close(connection);
      return;
    }
    const bool hasEnded = ::waitpid(m_process, nullptr, WNOHANG) != 0;
    if (hasEnded || std::chrono::steady_clock::now() > end) {
      if (!hasEnded) ::kill(m_process, SIGKILL);
      throw std::runtime_error(command[0] + " does not serve " + socket);
    }
    std::this_thread::sleep_for(5ms);
  }
}

Server::~Server() {
  ::kill(m_process, SIGTERM);
  ::waitpid(m_process, nullptr, 0);
}

}  // namespace bench
