#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>

#include "tools/sps/Commands.h"
#include "tools/sps/Failure.h"
#include "tools/sps/Text.h"

namespace tool {

namespace {

constexpr std::u16string_view macPrefix = u"ACSP-";
constexpr const char16_t* logModePar = u"LogMode";
constexpr std::int32_t maxMode = 2;

// One of those that have a log mode.
struct Subsystem {
  enum class Kind : std::uint8_t { Dms, DlgMgr, Mac } kind = Kind::Dms;
  std::int32_t mac = 0;

  std::string Name() const {
    if (kind == Kind::Mac) return "mac " + std::to_string(mac);
    return kind == Kind::Dms ? "dms" : "dlgmgr";
  }
  std::u16string Topic() const {
    if (kind == Kind::Mac) return std::u16string(macPrefix) + std::u16string(UnicodeString(mac).View());
    return kind == Kind::Dms ? u"Master" : u"DlgMgr";
  }
};

std::int32_t wholeNumber(const std::string& text, const std::string& what) {
  std::int32_t number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end) {
    throw WrongUsage(inQuotes(toUtf16(text, what)) + " is no " + what + ": expected a whole number");
  }
  return number;
}

std::int32_t parseMode(const std::string& text) {
  const std::int32_t mode = wholeNumber(text, "log mode");
  if (mode < 0 || mode > maxMode) throw WrongUsage("the log mode is 0, 1 or 2");
  return mode;
}

// Takes the words that name the subsystem off the front.
Subsystem takeSubsystem(std::vector<std::string>& words) {
  const std::string kind = words.front();
  words.erase(words.begin());
  if (kind == "dms") return {Subsystem::Kind::Dms, 0};
  if (kind == "dlgmgr") return {Subsystem::Kind::DlgMgr, 0};
  if (kind != "mac") {
    throw WrongUsage(inQuotes(toUtf16(kind, "subsystem")) +
                     " has no log mode: expected dms, dlgmgr or mac N");
  }
  if (words.empty()) throw WrongUsage("mac needs the number of the MAC");
  const std::int32_t mac = wholeNumber(words.front(), "MAC number");
  words.erase(words.begin());
  return {Subsystem::Kind::Mac, mac};
}

std::int32_t readMode(Client& client, const Subsystem& subsystem) {
  switch (subsystem.kind) {
    case Subsystem::Kind::Dms:
      return client.GetDMSLogMode();
    case Subsystem::Kind::DlgMgr:
      return client.GetDlgMgrLogMode();
    case Subsystem::Kind::Mac:
      break;
  }
  return client.GetMACLogMode(subsystem.mac);
}

struct Mode {
  Subsystem subsystem;
  std::int32_t mode = 0;
  bool isDefault = false;  // nothing could be read
  std::string reason;      // why not
};

Mode askMode(Context& context, const Subsystem& subsystem) {
  context.Log().Clear();
  const std::int32_t mode = readMode(context.Parameters(), subsystem);
  const std::string reason = context.Log().Reason();
  return {subsystem, mode, reason.find("using default value") != std::string::npos, reason};
}

Json modeJson(const Mode& mode) {
  return {{"subsystem", mode.subsystem.Name()},
          {"topic", toUtf8(mode.subsystem.Topic())},
          {"mode", mode.mode},
          {"default", mode.isDefault}};
}

// "ACSP-7" names MAC 7; "ACSP-07" does not: its number would be written without the zero.
std::vector<Subsystem> knownSubsystems(Context& context) {
  std::vector<Subsystem> all = {{Subsystem::Kind::Dms, 0}, {Subsystem::Kind::DlgMgr, 0}};
  RgNode space;
  if (!space.Init(context.Parameters().SpacePath().c_str(), false, false)) return all;
  for (const std::u16string& topic : subKeyNames(space)) {
    if (!topic.starts_with(macPrefix)) continue;
    const std::string digits = toUtf8(topic.substr(macPrefix.size()));
    Subsystem mac{Subsystem::Kind::Mac, 0};
    std::from_chars(digits.data(), digits.data() + digits.size(), mac.mac);
    if (mac.Topic() == topic) all.push_back(mac);
  }
  std::stable_sort(all.begin(), all.end(),
                   [](const Subsystem& a, const Subsystem& b) { return a.mac < b.mac; });
  return all;
}

void listModes(Context& context) {
  std::vector<Row> rows;
  Json answer{{"space", toUtf8(context.Parameters().GetPrcSpaceName().View())}, {"logModes", Json::array()}};
  for (const Subsystem& subsystem : knownSubsystems(context)) {
    const Mode mode = askMode(context, subsystem);
    rows.push_back({subsystem.Name(), std::to_string(mode.mode), mode.isDefault ? "(default)" : ""});
    if (!mode.isDefault) rows.back().pop_back();
    answer["logModes"].push_back(modeJson(mode));
  }
  context.Answer([&] { return columns(rows); }, [&] { return answer; });
}

void showMode(Context& context, const Subsystem& subsystem) {
  const Mode mode = askMode(context, subsystem);
  context.Answer([&] { return std::to_string(mode.mode) + '\n'; }, [&] { return modeJson(mode); });
  if (mode.isDefault && !context.options.json) context.Remark(mode.reason);
}

void setMode(Context& context, const Subsystem& subsystem, std::int32_t mode) {
  if (subsystem.kind == Subsystem::Kind::Dms) throw WrongUsage("the log mode of dms can only be read");
  Client& client = context.Parameters();
  context.Log().Clear();
  const bool written = subsystem.kind == Subsystem::Kind::Mac ? client.SetLogModeMAC(subsystem.mac, mode)
                                                              : client.SetDlgMgrLogMode(mode);
  if (!written) {
    RgNode node;
    const std::u16string topic = subsystem.Topic();
    const std::string reason = context.Log().Reason();
    const bool missing = !node.Init(client.ParPath(topic, logModePar).c_str(), false, false);
    std::vector<NextOption> more;
    if (missing) more.push_back({"--type", "S"});
    throw Refused{"set the log mode of " + subsystem.Name() + ' ' + context.InSpace(), reason, 0,
                  context.Next({missing ? "create" : "show", toUtf8(topic), toUtf8(logModePar)}, more)};
  }
  if (context.options.json) context.PrintJson(modeJson(askMode(context, subsystem)));
}

void runLogMode(Context& context, std::vector<std::string> words) {
  if (words.empty()) return listModes(context);
  const Subsystem subsystem = takeSubsystem(words);
  if (words.empty()) return showMode(context, subsystem);
  const std::int32_t mode = parseMode(words.front());
  if (words.size() > 1) throw WrongUsage("too many arguments after " + subsystem.Name());
  setMode(context, subsystem, mode);
}

}  // namespace

void addLogModeCommand(CLI::App& app, Context& context) {
  auto words = std::make_shared<std::vector<std::string>>();
  CLI::App* command = app.add_subcommand("logmode", "Print or set the log modes of the subsystems");
  command->group(installationGroup);
  command->add_option("SUBSYSTEM", *words, "dms, dlgmgr or mac N; then the new mode: 0, 1 or 2")
      ->type_name("[dms|dlgmgr|mac N [MODE]]");
  command->callback([&context, words] {
    context.NeedsStore("logmode", "the subsystems of this machine");
    runLogMode(context, *words);
  });
}

}  // namespace tool
