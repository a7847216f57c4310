#include "service/Options.h"

#include <getopt.h>

#include <array>
#include <charconv>
#include <optional>

#include "platform/ipc/Endpoint.h"
#include "platform/support/Utf.h"

namespace service {
namespace {

using Value = const std::string&;

// Sets what an option stands for; the result says what is wrong with the value, empty where nothing is.
using Set = std::string (*)(Options& options, Value value);

struct Option {
  const char* name;
  const char* argument;  // null where there is none
  const char* help;
  Set set;
};

template <class Number>
std::string setNumber(Value value, Number least, Number most, Number& result, int base = 10) {
  Number number{};
  const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number, base);
  if (error != std::errc() || end != value.data() + value.size() || number < least || number > most) {
    return "expected a number from " + std::to_string(least) + " to " + std::to_string(most);
  }
  result = number;
  return {};
}

// "90", "90s", "15m", "6h" or "1d".
std::string setTime(Value value, std::chrono::milliseconds& result) {
  constexpr std::string_view units = "smhd";
  constexpr std::array seconds{1, 60, 60 * 60, 24 * 60 * 60};
  const std::size_t unit = value.empty() ? units.npos : units.find(value.back());
  std::int64_t number = 0;
  const std::string digits = unit == units.npos ? value : value.substr(0, value.size() - 1);
  constexpr std::int64_t most = 10 * std::int64_t{365} * 24 * 60 * 60;
  const std::int64_t each = unit == units.npos ? 1 : seconds[unit];
  if (!setNumber<std::int64_t>(digits, 1, most / each, number).empty()) {
    return "expected a time such as 90s, 15m, 6h or 1d, ten years at most";
  }
  result = std::chrono::seconds(number * each);
  return {};
}

// An empty one is a variable that a script did not set, and would quietly stand for something else.
std::string setPath(Value value, std::string& result) {
  if (value.empty()) return "expected a path";
  result = value;
  return {};
}

template <std::string Options::*field>
std::string setText(Options& options, Value value) {
  return setPath(value, options.*field);
}

template <std::string ipc::TlsFiles::*field>
std::string setTls(Options& options, Value value) {
  return setPath(value, options.tls.*field);
}

std::string addEndpoint(Options& options, Value value) {
  if (!ipc::parseEndpoint(value)) return "expected unix:/path, tls://host:port or tcp://127.0.0.1:port";
  options.listen.push_back(value);
  return {};
}

std::string addLog(Options& options, Value value) {
  const bool isFile = value.starts_with(fileSink) && value.size() > fileSink.size();
  if (value != "stderr" && value != "syslog" && !isFile) return "expected stderr, syslog or file:PATH";
  options.log.push_back(value);
  return {};
}

template <Right right>
std::string addRule(Options& options, Value value) {
  return options.settings.access.Add(right, value);
}

template <std::uint32_t ipc::Limits::*field>
std::string setLimit(Options& options, Value value) {
  return setNumber<std::uint32_t>(value, 1, 1'000'000, options.limits.*field);
}

template <std::chrono::milliseconds ipc::Limits::*field>
std::string setLimit(Options& options, Value value) {
  return setTime(value, options.limits.*field);
}

std::string setSpace(Options& options, Value value) {
  const UnicodeString space(value.c_str());
  if (space.IsEmpty() || space.GetLength() > 255 || space.Find(u'\\') >= 0) {
    return "expected a name of 1 to 255 characters without a backslash";
  }
  options.settings.space = space;
  return {};
}

std::string setMode(Options& options, Value value) {
  return setNumber<std::uint32_t>(value, 0, 0777, options.socketMode, 8).empty()
             ? std::string()
             : "expected permissions in octal, such as 660";
}

std::string setImportRoom(Options& options, Value value) {
  return setNumber<std::size_t>(value, 1, 1U << 30U, options.settings.importRoom);
}

std::string setAnswerRoom(Options& options, Value value) {
  return setNumber<std::size_t>(value, 1, std::size_t{1} << 40U, options.settings.answerRoom);
}

std::string setThreads(Options& options, Value value) {
  return setNumber<unsigned>(value, 1, 256, options.threads);
}

std::string setSnapshotEvery(Options& options, Value value) {
  std::chrono::milliseconds time{};
  std::string problem = setTime(value, time);
  options.snapshotEvery = std::chrono::duration_cast<std::chrono::seconds>(time);
  return problem;
}

std::string setSnapshotsKept(Options& options, Value value) {
  return setNumber<std::uint32_t>(value, 1, 10'000, options.snapshotsKept);
}

std::string setHelp(Options& options, Value /*value*/) {
  options.answer = Options::Answer::Help;
  return {};
}

std::string setVersion(Options& options, Value /*value*/) {
  options.answer = Options::Answer::Version;
  return {};
}

constexpr std::array table = {
    Option{"listen", "ENDPOINT", "unix:/path, tls://host:port or tcp://127.0.0.1:port; may be repeated",
           addEndpoint},
    Option{"socket-mode", "MODE", "permissions of Unix sockets, octal (666)", setMode},
    Option{"store", "DIR", "directory of the store (SPS_REGISTRY)", setText<&Options::store>},
    Option{"space", "NAME", "process space (PROCESS_SPACE, else Default)", setSpace},
    Option{"tls-cert", "FILE", "our certificate, with its chain, PEM", setTls<&ipc::TlsFiles::certificate>},
    Option{"tls-key", "FILE", "its key, PEM", setTls<&ipc::TlsFiles::key>},
    Option{"tls-ca", "FILE", "authorities whose certificates we accept, PEM",
           setTls<&ipc::TlsFiles::authorities>},
    Option{"allow-read", "WHO", "user:NAME, group:NAME, cert:NAME or *; may be repeated (local users)",
           addRule<Right::Read>},
    Option{"allow-write", "WHO", "likewise (root and the daemon's own user)", addRule<Right::Write>},
    Option{"admin", "WHO", "likewise (root and the daemon's own user)", addRule<Right::Administer>},
    Option{"audit", "FILE", "trail of changes, or none (audit.jsonl in the store's directory)",
           setText<&Options::audit>},
    Option{"threads", "N", "threads that serve connections (2)", setThreads},
    Option{"max-connections", "N", "connections in all (2048)", setLimit<&ipc::Limits::connections>},
    Option{"max-per-user", "N", "connections of one user or certificate (256)",
           setLimit<&ipc::Limits::perUser>},
    Option{"max-unauthenticated", "N", "network connections before their greeting (64)",
           setLimit<&ipc::Limits::unauthenticated>},
    Option{"max-import", "CHARS", "characters of all imports under way (67108864)", setImportRoom},
    Option{"max-listings", "BYTES", "bytes of all listings and exports, until they are taken (536870912)",
           setAnswerRoom},
    Option{"frame-timeout", "TIME", "for a frame to arrive or be taken (10s)", setLimit<&ipc::Limits::frame>},
    Option{"handshake-timeout", "TIME", "for a greeting (5s)", setLimit<&ipc::Limits::handshake>},
    Option{"drain-timeout", "TIME", "for open requests at the end (30s)", setLimit<&ipc::Limits::drain>},
    Option{"snapshot-dir", "DIR", "where copies of the store are kept (none)",
           setText<&Options::snapshotDirectory>},
    Option{"snapshot-every", "TIME", "how often one is made (1d)", setSnapshotEvery},
    Option{"snapshot-keep", "N", "how many are kept (7)", setSnapshotsKept},
    Option{"log", "SINK", "stderr, syslog or file:PATH; may be repeated (SPS_TRACE, else stderr)", addLog},
    Option{"help", nullptr, "this text", setHelp},
    Option{"version", nullptr, "the version", setVersion},
};

std::vector<option> longOptions() {
  std::vector<option> list;
  list.reserve(table.size() + 1);
  for (const Option& entry : table) {
    list.push_back({entry.name, entry.argument ? required_argument : no_argument, nullptr, 0});
  }
  list.push_back({});
  return list;
}

void fail(Options& options, std::string problem) {
  options.answer = Options::Answer::Wrong;
  options.problem = std::move(problem);
}

void checkTogether(Options& options) {
  const bool all =
      !options.tls.certificate.empty() && !options.tls.key.empty() && !options.tls.authorities.empty();
  const bool any =
      !options.tls.certificate.empty() || !options.tls.key.empty() || !options.tls.authorities.empty();
  if (any && !all) fail(options, "--tls-cert, --tls-key and --tls-ca belong together");
  for (const std::string& endpoint : options.listen) {
    if (!all && endpoint.starts_with("tls:"))
      fail(options, endpoint + " needs --tls-cert, --tls-key and --tls-ca");
  }
}

}  // namespace

Options parseOptions(int count, char* const* arguments) {
  Options options;
  options.limits.drain = std::chrono::seconds(30);
  Spc environment;
  environment.Init();
  options.settings.space = environment.GetPrcSpaceName();

  const std::vector<option> list = longOptions();
  ::optind = 1;
  ::opterr = 0;
  int index = 0;
  for (int found = 0; (found = ::getopt_long(count, arguments, "", list.data(), &index)) != -1;) {
    if (found != 0) {
      fail(options, std::string(arguments[::optind - 1]) + " is no option, or lacks its value");
      return options;
    }
    const Option& entry = table[static_cast<std::size_t>(index)];
    const std::string value = ::optarg ? ::optarg : "";
    if (const std::string problem = entry.set(options, value); !problem.empty()) {
      fail(options,
           std::string("--").append(entry.name).append(" ").append(value).append(": ").append(problem));
      return options;
    }
  }
  if (::optind < count) fail(options, std::string(arguments[::optind]) + ": expected an option");
  if (options.answer == Options::Answer::Run) checkTogether(options);
  return options;
}

std::string helpText() {
  constexpr std::size_t column = 30;
  std::string text = "spsd, the parameter service\n\nusage: spsd [OPTION]...\n\n";
  for (const Option& entry : table) {
    std::string line = std::string("  --") + entry.name;
    if (entry.argument) line += std::string(" ") + entry.argument;
    line.resize(std::max(line.size() + 1, column), ' ');
    text += line + entry.help + '\n';
  }
  text +=
      "\nIn parentheses: what holds without the option. SIGTERM and SIGINT end the daemon when what it has\n"
      "taken is committed and answered; SIGHUP opens the audit file and the TLS files anew.\n";
  return text;
}

}  // namespace service
