#include "tools/sps/Context.h"

#include <iostream>
#include <nlohmann/json.hpp>

#include "platform/registry/RegistryStore.h"
#include "tools/sps/Failure.h"
#include "tools/sps/Text.h"

namespace tool {

std::string ParameterName::Label() const {
  return inQuotes(topic + u'/' + par);
}

void Context::Begin() {
  if (options.trace) m_log.Show();
  if (!options.store.empty()) registry::useStore(options.store);
}

Client& Context::Parameters() {
  if (!m_client) {
    const Identity identity{toUtf16(options.workstation, "workstation"), toUtf16(options.user, "user"),
                            toUtf16(options.instance, "instance")};
    m_client.emplace(identity, options.space.empty() ? u"" : keyName(options.space, "space"));
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
  std::string reason = m_log.Reason();
  if (reason.empty()) reason = registryText(code);
  throw Refused{asked, reason, code, next};
}

void Context::RefuseParameter(const std::string& verb, const ParameterName& name, std::int64_t code) {
  Refuse(verb + " parameter " + name.Label() + ' ' + InSpace(), code, NextForParameter(name, code));
}

std::string Context::Next(const std::vector<std::string>& words) const {
  std::string command = "sps";
  if (!options.store.empty()) command += " --store " + shellWord(options.store);
  if (!options.space.empty()) command += " --space " + shellWord(options.space);
  for (const std::string& word : words) command += ' ' + shellWord(word);
  return command;
}

std::string Context::InSpace() {
  return "in space " + inQuotes(Parameters().GetPrcSpaceName().View());
}

std::string Context::NextForParameter(const ParameterName& name, std::int64_t code) {
  const std::string topic = toUtf8(name.topic);
  const std::string par = toUtf8(name.par);
  switch (code) {
    case 2:
      return Next({"attr", topic, par, "type", "S|I|D|T|B"});
    case 11:
      return NextForMissing(name);
    case 12:
      return Next({"explain", topic, par});
    case 15:
      return Next({"attr", topic, par, "readonly", "off"});
    case 16:
    case 234:
      return Next({"show", topic, par});
    default:
      return code >= ERROR_REGISTRY_CORRUPT ? Next({"store", "check"}) : std::string();
  }
}

// The deepest level that exists, listed.
std::string Context::NextForMissing(const ParameterName& name) {
  RgNode node;
  Client& client = Parameters();
  if (node.Init(client.TopicPath(name.topic).c_str(), false, false)) return Next({"ls", toUtf8(name.topic)});
  if (node.Init(client.SpacePath().c_str(), false, false)) return Next({"ls"});
  return Next({"ls", "--spaces"});
}

}  // namespace tool
