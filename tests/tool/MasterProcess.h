// A parameter service of the test's own, to which the tool goes.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

// The real daemon in a directory: with a store, on a Unix socket, and on a loopback port, where nobody can
// prove who he is. It is ended with the object.
class MasterProcess {
public:
  // Starts it with further arguments and waits until it says that it is ready.
  explicit MasterProcess(const std::filesystem::path& directory,
                         const std::vector<std::string>& arguments = {});
  ~MasterProcess();
  MasterProcess(const MasterProcess&) = delete;
  MasterProcess& operator=(const MasterProcess&) = delete;

  const std::string& Endpoint() const { return m_endpoint; }
  const std::string& LoopbackEndpoint() const { return m_loopback; }
  std::string Store() const { return m_store.string(); }
  // Asks it to end. The result is its exit code.
  int Stop();

private:
  void AwaitReady(int notices);

  std::string m_endpoint;
  std::string m_loopback;
  std::filesystem::path m_store;
  pid_t m_process = -1;
};
