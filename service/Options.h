// The command line of the daemon.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ipc/IpcServer.h"
#include "service/ParameterService.h"

namespace service {

// What a sink of the log begins with that is a file; its path follows.
inline constexpr std::string_view fileSink = "file:";

struct Options {
  std::vector<std::string> listen;  // endpoints, none for the machine's own
  std::uint32_t socketMode = 0666;
  std::string store;  // empty for the library's choice
  ipc::TlsFiles tls;
  Settings settings;
  std::string audit;  // empty for the file in the store's directory, "none" for no trail
  ipc::Limits limits;
  unsigned threads = 2;
  std::string snapshotDirectory;
  std::chrono::seconds snapshotEvery{24 * 60 * 60};
  std::uint32_t snapshotsKept = 7;
  std::vector<std::string> log;  // where trace lines go: stderr, syslog or file:PATH

  enum class Answer : std::uint8_t { Run, Help, Version, Wrong };
  Answer answer = Answer::Run;
  std::string problem;  // where the answer is Wrong
};

// Reads the arguments; without "--space" the environment's process space counts.
Options parseOptions(int count, char* const* arguments);

std::string helpText();

}  // namespace service
