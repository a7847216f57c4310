// What a command works with: the options common to all, the client, the way to answer.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/sps/Client.h"
#include "tools/sps/Terminal.h"
#include "tools/sps/TraceLog.h"

namespace tool {

struct GlobalOptions {
  std::string space;
  std::string workstation;
  std::string user;
  std::string instance;
  std::string store;
  bool json = false;
  bool trace = false;
};

// Topic and parameter as 16-bit names.
struct ParameterName {
  std::u16string topic;
  std::u16string par;

  std::string Label() const;  // "Topic/Parameter", quoted
};

class Context {
public:
  GlobalOptions options;

  // Chooses the store and the tracing. Once, after the command line was read and before any access.
  void Begin();

  // Made at the first call. WrongUsage for a space or identity that cannot be one.
  Client& Parameters();
  TraceLog& Log() { return m_log; }
  const Style& Out() const { return m_out; }

  // The answer on standard output, as text or as JSON by the option --json. Only the one that is wanted is
  // made.
  template <class MakeText, class MakeJson>
  void Answer(MakeText&& makeText, MakeJson&& makeJson) {
    if (options.json) {
      PrintJson(makeJson());
    } else {
      Print(makeText());
    }
  }
  void Print(const std::string& text);
  void PrintJson(const Json& json);
  // A remark beside the answer, on standard error.
  void Remark(const std::string& text);

  // Ends the command with what the library said since the log was last cleared.
  [[noreturn]] void Refuse(const std::string& asked, std::int64_t code, const std::string& next);
  // The same about a parameter, with the next step that suits the code.
  [[noreturn]] void RefuseParameter(const std::string& verb, const ParameterName& name, std::int64_t code);

  // A command of this tool to try next, with the options that chose store and space.
  std::string Next(const std::vector<std::string>& words) const;
  // "in space "Default""
  std::string InSpace();

private:
  std::string NextForParameter(const ParameterName& name, std::int64_t code);
  std::string NextForMissing(const ParameterName& name);

  TraceLog m_log;
  std::optional<Client> m_client;
  Style m_out{1};
};

}  // namespace tool
