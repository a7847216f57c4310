#include "tools/sps/Context.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <nlohmann/json.hpp>

#include "platform/registry/RegistryStore.h"
#include "tools/sps/Failure.h"
#include "tools/sps/Text.h"

namespace tool {

namespace {

bool isDashed(const std::string& word) {
  return word.starts_with('-');
}

std::string shellOption(const NextOption& option) {
  if (!option.value) return ' ' + option.name;
  if (isDashed(*option.value)) return ' ' + shellWord(option.name + '=' + *option.value);
  return ' ' + option.name + ' ' + shellWord(*option.value);
}

std::string shellOptions(const std::vector<NextOption>& options) {
  std::string text;
  for (const NextOption& option : options) text += shellOption(option);
  return text;
}

// One that cannot be looked at is told by the library when it is opened.
bool isMissing(const std::string& directory) {
  std::error_code error;
  return !std::filesystem::exists(std::filesystem::path(directory) / "data.mdb", error) && !error;
}

}  // namespace

std::string ParameterName::Label() const {
  return inQuotes(topic + u'/' + par);
}

void Context::Begin() {
  if (IsRemote() && !options.store.empty()) throw WrongUsage("--server and --store exclude each other");
  if (options.trace) m_log.Show();
  if (!options.store.empty()) registry::useStore(options.store);
}

void Context::NeedsStore(const std::string& command, const std::string& subject) const {
  if (!IsRemote()) return;
  throw WrongUsage(command + " is about " + subject + " and cannot go to a master: leave --server out");
}

void Context::RequireStore() const {
  if (IsRemote() || m_makesStore) return;
  const std::string directory = registry::storeDirectory();
  if (!isMissing(directory)) return;
  throw Refused{"use the store " + shellWord(directory), "there is none at this place", 0,
                "name the directory of a store with --store or SPS_REGISTRY; an import makes a new one: " +
                    Next({"import", "FILE"})};
}

Master& Context::AtMaster() {
  if (!m_master) {
    m_master.emplace(*options.server, m_log);
    m_log.Clear();
  }
  return *m_master;
}

const std::u16string& Context::MasterSpace() {
  if (m_masterSpace) return *m_masterSpace;
  std::u16string space;
  const Master::Code code = AtMaster().Space(space);
  m_log.Clear();
  if (code != 0) Refuse("ask the master for its process space", code, {});
  return m_masterSpace.emplace(std::move(space));
}

bool Context::IsMasterSpace() {
  return sameName(SpaceName(), MasterSpace());
}

// Empty for that of the environment.
std::u16string Context::SpaceName() {
  if (!options.space.empty()) return keyName(options.space, "space");
  if (IsRemote()) return MasterSpace();
  const char* const named = std::getenv("PROCESS_SPACE");
  if (named != nullptr && *named != '\0') keyName(named, "PROCESS_SPACE");  // for its complaints
  return {};
}

// Values with "@" are the parameter's own: an identity of that name would overwrite its type or its marks.
std::u16string identityName(const std::string& argument, std::string_view what) {
  std::u16string name = toUtf16(argument, what);
  if (name.starts_with(u'@')) throw WrongUsage("the " + std::string(what) + " name begins with \"@\"");
  return name;
}

void Context::ConfirmMaster() {
  if (!m_master || !m_master->NeedsConfirming()) return;
  const Master::Code code = m_master->Confirm();
  m_log.Clear();
  if (code != 0) Refuse("read the master's answer to its end", code, {});
}

Client& Context::Parameters() {
  if (!m_client) {
    const Identity identity{identityName(options.workstation, "workstation"),
                            identityName(options.user, "user"), identityName(options.instance, "instance")};
    const std::u16string space = SpaceName();
    RequireStore();
    m_client.emplace(identity, space);
    m_log.Clear();
  }
  return *m_client;
}

void Context::Print(const std::string& text) {
  std::cout << text;
}

void Context::PrintJson(const Json& json) {
  std::cout << json.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

void Context::Remark(const std::string& text) {
  std::cout << std::flush;
  std::cerr << "sps: " << text << '\n';
}

void Context::Refuse(const std::string& asked, std::int64_t code, const std::string& next) {
  std::string reason = IsRemote() ? masterText(code) : std::string();
  if (reason.empty()) reason = m_log.Reason();
  if (reason.empty()) reason = registryText(code);
  std::string advice = IsRemote() ? masterAdvice(code) : std::string();
  // The library's words for 5 are about a parameter; here it is the store that lets nobody write, or read.
  if (!IsRemote() && code == ERROR_ACCESS_DENIED && next.empty()) advice = Next({"store", "info"});
  throw Refused{asked, reason, code, advice.empty() ? next : advice};
}

void Context::RefuseParameter(const std::string& verb, const ParameterName& name, std::int64_t code,
                              const std::string& next) {
  if (IsRemote() && masterText(code).empty()) {
    m_log.Clear();
    Parameters().Report(static_cast<std::int32_t>(code), Parameters().ParPath(name.topic, name.par));
  }
  Refuse(verb + " parameter " + name.Label() + ' ' + InSpace(), code,
         next.empty() ? NextForParameter(name, code) : next);
}

std::string Context::Next(const std::vector<std::string>& words, const std::vector<NextOption>& more) const {
  std::vector<NextOption> scope;
  if (IsRemote()) scope.push_back({"--server", *options.server});
  if (!options.store.empty()) scope.push_back({"--store", options.store});
  if (!options.space.empty()) scope.push_back({"--space", options.space});
  std::string command = "sps" + shellOptions(scope) + ' ' + words.front();
  std::string rest;
  for (std::size_t at = 1; at < words.size(); ++at) rest += ' ' + shellWord(words[at]);
  if (std::ranges::none_of(words, isDashed)) return command + rest + shellOptions(more);
  return command + shellOptions(more) + " --" + rest;
}

std::string Context::NextForType(const ParameterName& name) const {
  return Next({"attr", toUtf8(name.topic), toUtf8(name.par), "type", "S|I|D|T|B"});
}

std::string Context::InSpace() {
  return "in space " + inQuotes(Parameters().GetPrcSpaceName().View());
}

std::string Context::NextForParameter(const ParameterName& name, std::int64_t code) {
  const std::string topic = toUtf8(name.topic);
  const std::string par = toUtf8(name.par);
  switch (code) {
    case 2:
      return NextForType(name);
    case 11:
      return NextForMissing(name);
    case 12:
      return Next({IsRemote() ? "show" : "explain", topic, par});
    case 15:
      return Next({"attr", topic, par, "readonly", "off"});
    case 16:
    case 234:
      return Next({"show", topic, par});
    default:
      return code >= ERROR_REGISTRY_CORRUPT && !IsRemote() ? Next({"store", "check"}) : std::string();
  }
}

bool Context::KeyExists(const std::u16string& path) {
  std::vector<StoredValue> values;
  if (IsRemote()) return AtMaster().Values(path, values) == 0;
  RgNode node;
  return node.Init(path.c_str(), false, false);
}

// The deepest level that exists, listed.
std::string Context::NextForMissing(const ParameterName& name) {
  Client& client = Parameters();
  if (KeyExists(client.TopicPath(name.topic))) return Next({"ls", toUtf8(name.topic)});
  if (KeyExists(client.SpacePath())) return Next({"ls"});
  return Next({"ls"}, {{"--spaces"}});
}

}  // namespace tool
