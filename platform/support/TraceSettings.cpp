#include "platform/support/TraceSettings.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

namespace trace {
namespace {

constexpr std::string_view filePrefix = "file:";

void report(std::string_view variable, std::string_view setting, const char* problem) {
  std::fprintf(stderr, "%.*s: \"%.*s\": %s\n", static_cast<int>(variable.size()), variable.data(),
               static_cast<int>(setting.size()), setting.data(), problem);
}

// A program with raised rights takes no orders from its caller's environment.
std::string_view setting(const char* variable) {
  const char* const value = secure_getenv(variable);
  return value ? value : "";
}

Sink sinkOf(std::string_view name) {
  if (name == "stderr") return stderrSink();
  if (name == "syslog") return syslogSink();
  if (!name.starts_with(filePrefix)) {
    report("SPS_TRACE", name, "not a sink; use stderr, syslog or file:PATH");
    return {};
  }
  Sink sink = fileSink(std::string(name.substr(filePrefix.size())));
  if (!sink) report("SPS_TRACE", name, std::strerror(errno));
  return sink;
}

}  // namespace

std::vector<Sink> sinksFromEnvironment() {
  std::vector<Sink> sinks;
  std::string_view rest = setting("SPS_TRACE");
  while (!rest.empty()) {
    const std::string_view name = rest.substr(0, rest.find(','));
    rest.remove_prefix(std::min(name.size() + 1, rest.size()));
    if (name.empty()) continue;
    if (Sink sink = sinkOf(name)) sinks.push_back(std::move(sink));
  }
  return sinks;
}

Levels levelsFromEnvironment() {
  Levels levels;
  const std::string_view text = setting("SPS_TRACE_LEVEL");
  Levels asked = levels;
  for (const char character : text) {
    if (std::string_view("EWIS").find(character) != std::string_view::npos) {
      asked.plain = static_cast<char16_t>(character);
    } else if (character >= '0' && character <= '2') {
      asked.backTrace = character - '0';
    } else {
      report("SPS_TRACE_LEVEL", text, "not a level; use a letter of E, W, I, S and a digit of 0, 1, 2");
      return levels;
    }
  }
  return asked;
}

}  // namespace trace
