// What a command works with: the options common to all, the client, the master, the way to answer.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/sps/Client.h"
#include "tools/sps/Master.h"
#include "tools/sps/Terminal.h"
#include "tools/sps/TraceLog.h"

namespace tool {

struct GlobalOptions {
  std::optional<std::string> server;
  std::string space;
  std::string workstation;
  std::string user;
  std::string instance;
  std::string store;
  bool json = false;
  bool trace = false;
};

// An option of a command that is suggested; one without a value is a flag.
struct NextOption {
  std::string name;
  std::optional<std::string> value = {};
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
  // WrongUsage where options exclude each other.
  void Begin();

  // Whether the command goes to a master, which is the case with --server, or to the store here.
  bool IsRemote() const { return options.server.has_value(); }
  // WrongUsage where the command is to go to a master; what it is about ("the store of this machine") goes
  // into the complaint.
  void NeedsStore(const std::string& command, const std::string& subject) const;
  // This command makes the store where there is none.
  void MakesStore() { m_makesStore = true; }
  // Refused where the command goes to a store that is not there: who reads has then mistyped its place.
  void RequireStore() const;
  // The connection, made at the first call. Refused where that fails.
  Master& AtMaster();
  // Whether the master's service reads parameters by topic and name from the space of this command.
  bool IsMasterSpace();

  // Made at the first call. WrongUsage for a space or identity that cannot be one, Refused where the store
  // is not there. For a master this knows names, paths and scrambling; its space is then the service's,
  // where none is given.
  Client& Parameters();
  TraceLog& Log() { return m_log; }
  const Style& Out() const { return m_out; }

  // The answer on standard output, as text or as JSON by the option --json. Only the one that is wanted is
  // made.
  template <class MakeText, class MakeJson>
  void Answer(MakeText&& makeText, MakeJson&& makeJson) {
    ConfirmMaster();
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

  // Refused where a connection that listings came over is gone: they may have broken off.
  void ConfirmMaster();

  // Ends the command with what the library said since the log was last cleared.
  [[noreturn]] void Refuse(const std::string& asked, std::int64_t code, const std::string& next);
  // The same about a parameter, with the next step that suits the code where none is given. What a master
  // answered is put in the library's words first.
  [[noreturn]] void RefuseParameter(const std::string& verb, const ParameterName& name, std::int64_t code,
                                    const std::string& next = {});

  // A command of this tool to try next, with the options that chose store and space, as a shell takes it:
  // the command's words and its options.
  std::string Next(const std::vector<std::string>& words, const std::vector<NextOption>& more = {}) const;
  // That which gives the parameter a type.
  std::string NextForType(const ParameterName& name) const;
  // "in space "Default""
  std::string InSpace();

private:
  std::string NextForParameter(const ParameterName& name, std::int64_t code);
  std::string NextForMissing(const ParameterName& name);
  std::u16string SpaceName();
  const std::u16string& MasterSpace();
  bool KeyExists(const std::u16string& path);

  TraceLog m_log;
  std::optional<Master> m_master;
  std::optional<std::u16string> m_masterSpace;
  std::optional<Client> m_client;
  Style m_out{1};
  bool m_makesStore = false;
};

// The name of a workstation, user or process instance. WrongUsage for one that no override can have.
std::u16string identityName(const std::string& argument, std::string_view what);

}  // namespace tool
