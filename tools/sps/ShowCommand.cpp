#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "platform/registry/RegistryView.h"
#include "tools/sps/Attributes.h"
#include "tools/sps/Commands.h"
#include "tools/sps/ParameterKey.h"
#include "tools/sps/Text.h"

namespace tool {

namespace {

struct ShowArguments {
  ParameterArguments name;
  bool reveal = false;
};

std::string letterLine(bool present, char16_t letter, const char* meaning) {
  if (!present) return "none";
  return letterText(letter) + " (" + (meaning != nullptr ? meaning : "unknown letter") + ')';
}

std::string typeLine(const ParameterKey& key) {
  if (!key.hasType) return "none: no read takes this parameter";
  return letterLine(true, key.letter, typeName(key.letter));
}

std::string joined(const std::vector<std::string>& words) {
  std::string line;
  for (const std::string& word : words) line += (line.empty() ? "" : ", ") + word;
  return line;
}

void addOverrides(std::vector<Row>& rows, const ParameterKey& key, bool reveal) {
  rows.push_back({"override", letterLine(key.hasOverride, key.override, overrideKind(key.override))});
  for (const Content& content : key.overrides) {
    rows.push_back({"  " + oneLine(content.name), contentLine(content, reveal)});
  }
}

std::string showText(const ParameterKey& key, bool reveal) {
  std::vector<Row> rows = {{"key", oneLine(key.path)}, {"type", typeLine(key)}};
  rows.push_back({"value", key.value ? contentLine(*key.value, reveal) : "none"});
  if (key.super) rows.push_back({"superValue", contentLine(*key.super, reveal)});
  addOverrides(rows, key, reveal);
  rows.push_back({"flags", key.flags.empty() ? "none" : joined(key.flags)});
  for (const auto& [name, stored] : key.notes) rows.push_back({name, storedLine(stored)});
  for (const StoredValue& other : key.others) {
    rows.push_back({oneLine(other.name), registryTypeName(other.type) + ' ' + storedLine(other)});
  }
  if (key.changed) rows.push_back({"changed", *key.changed});
  return columns(rows);
}

Json letterJson(bool present, char16_t letter) {
  return present ? Json(letterText(letter)) : Json(nullptr);
}

Json fullContentJson(const Content& content, bool reveal) {
  return {{"value", contentJson(content, reveal)},
          {"masked", content.scrambled && !reveal},
          {"malformed", !content.value},
          {"stored", registryTypeName(content.stored.type)},
          {"bytes", content.stored.data.size()}};
}

Json namedContentJson(const Content& content, bool reveal) {
  Json json{{"name", toUtf8(content.name)}};
  json.update(fullContentJson(content, reveal));
  return json;
}

Json showJson(Json answer, const ParameterKey& key, bool reveal) {
  answer["key"] = toUtf8(key.path);
  answer["type"] = letterJson(key.hasType, key.letter);
  answer["value"] = key.value ? fullContentJson(*key.value, reveal) : Json(nullptr);
  answer["superValue"] = key.super ? fullContentJson(*key.super, reveal) : Json(nullptr);
  answer["override"] = letterJson(key.hasOverride, key.override);
  answer["overrideValues"] = Json::array();
  for (const Content& one : key.overrides) answer["overrideValues"].push_back(namedContentJson(one, reveal));
  answer["flags"] = key.flags;
  for (const auto& [name, stored] : key.notes) answer[name] = storedJson(stored);
  answer["others"] = Json::array();
  for (const StoredValue& other : key.others) {
    answer["others"].push_back({{"name", toUtf8(other.name)},
                                {"stored", registryTypeName(other.type)},
                                {"content", storedJson(other)}});
  }
  answer["changed"] = key.changed ? Json(*key.changed) : Json(nullptr);
  return answer;
}

ParameterKey shownKey(Context& context, const ParameterName& name) {
  Client& client = context.Parameters();
  if (context.IsRemote()) {
    return decodeParameterKey(client, client.ParPath(name.topic, name.par),
                              parameterValues(context, "show", name));
  }
  const RegistryView view;
  RgNode node;
  std::uint32_t err = 0;
  if (!client.Open(node, name.topic, name.par, err)) context.RefuseParameter("show", name, err);
  return readParameterKey(client, node);
}

void runShow(Context& context, const ShowArguments& arguments) {
  const ParameterName name = parameterName(arguments.name);
  const ParameterKey key = shownKey(context, name);
  context.Answer([&] { return showText(key, arguments.reveal); },
                 [&] { return showJson(parameterJson(context, name), key, arguments.reveal); });
}

}  // namespace

void addShowCommand(CLI::App& app, Context& context) {
  auto arguments = std::make_shared<ShowArguments>();
  CLI::App* command = app.add_subcommand("show", "Show all that the parameter's key holds");
  command->group(parameterGroup);
  addParameterArguments(*command, arguments->name);
  command->add_flag("--reveal", arguments->reveal, "Show scrambled values in plain text");
  command->callback([&context, arguments] { runShow(context, *arguments); });
}

}  // namespace tool
