// The real daemon as a process of the test.
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

#include "src/SpSrvClntEx.h"
#include "tests/TempDirectory.h"

using Arguments = std::vector<std::string>;

// A daemon with a store, a socket and an audit file in a directory, which every local user may then enter. It
// is killed with the object.
class Daemon {
public:
  // Starts nothing.
  explicit Daemon(const TempDirectory& directory, std::string name = "spsd");
  ~Daemon();
  Daemon(const Daemon&) = delete;
  Daemon& operator=(const Daemon&) = delete;

  // Starts the daemon on its socket, with further arguments, and waits until it says that it is ready.
  // False where it ends first.
  bool Start(const Arguments& arguments = {});
  // The same with nothing but these arguments, and with listening sockets to inherit.
  bool StartBare(const Arguments& arguments, const std::vector<int>& sockets = {});

  pid_t Process() const { return m_process; }
  void Signal(int signal) const;
  // SIGSTOP, and returns when none of its threads runs any more. SIGCONT lets it go on.
  void Freeze() const;
  // Waits for its end: the exit code, or 128 and the number of the signal that ended it.
  int Wait();
  // SIGTERM and its end.
  int Stop();

  const std::string& Store() const { return m_store; }
  const std::string& AuditFile() const { return m_audit; }
  const std::string& SocketPath() const { return m_socket; }
  std::string Endpoint() const { return "unix:" + m_socket; }
  // What it said when it was ready.
  const std::string& Status() const { return m_status; }
  // What it wrote to standard error so far.
  std::string Errors() const;

  // A client with a connection. Fails the test where there is none.
  std::unique_ptr<SpSrvClntEx> Connect() const;

private:
  bool AwaitReady(int socket);

  std::string m_store;
  std::string m_audit;
  std::string m_socket;
  std::string m_notify;
  std::string m_errors;
  std::string m_status;
  pid_t m_process = -1;
  int m_ended = -1;  // readable once the process is gone
};

// The lines of a file.
std::vector<std::string> linesOf(const std::string& file);
