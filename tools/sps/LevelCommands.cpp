// The tree as it is stored: the names of each level, the properties of a parameter, and all of it at once.
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "platform/registry/RegistryView.h"
#include "tools/sps/Commands.h"
#include "tools/sps/Failure.h"
#include "tools/sps/Levels.h"
#include "tools/sps/Text.h"

namespace tool {

namespace {

Json placeJson(const Place& place) {
  Json json = Json::object();
  for (const char* level : {"space", "topic", "parameter"}) {
    if (json.size() == place.names.size()) break;
    const std::u16string& name = place.names[json.size()];
    json[level] = toUtf8(name);
  }
  return json;
}

void listNames(Context& context, const Place& place, const char* field) {
  answerNames(context, Levels(context, "list").Names(place), placeJson(place), field);
}

Row propertyRow(const StoredValue& property) {
  return {oneLine(property.name), registryTypeName(property.type), storedLine(property)};
}

Json propertiesJson(const std::vector<StoredValue>& properties) {
  Json json = Json::array();
  for (const StoredValue& property : properties) {
    json.push_back({{"name", toUtf8(property.name)},
                    {"type", registryTypeName(property.type)},
                    {"size", property.data.size()},
                    {"content", storedJson(property)}});
  }
  return json;
}

void runProperties(Context& context, const ParameterName& name) {
  const Place place{{spaceName(context), name.topic, name.par}};
  const LevelParameter parameter = Levels(context, "list").Parameter(place);
  std::vector<Row> rows;
  for (const StoredValue& property : parameter.properties) rows.push_back(propertyRow(property));
  context.Answer([&] { return columns(rows); },
                 [&] {
                   Json answer = placeJson(place);
                   answer["properties"] = propertiesJson(parameter.properties);
                   return answer;
                 });
}

// Each property is a line of its own with the whole path, so that lines can be searched and compared; what
// holds nothing is a line with its path alone.
void addRows(std::vector<Row>& rows, const Place& place, const LevelParameter& parameter) {
  const std::string path = oneLine(place.Path());
  if (parameter.properties.empty()) rows.push_back({path});
  for (const StoredValue& property : parameter.properties) {
    Row row = propertyRow(property);
    row.insert(row.begin(), path);
    rows.push_back(std::move(row));
  }
}

void addRows(std::vector<Row>& rows, const Place& place, const LevelTopic& topic) {
  if (topic.parameters.empty()) rows.push_back({oneLine(place.Path())});
  for (const LevelParameter& parameter : topic.parameters) {
    addRows(rows, place.Below(parameter.name), parameter);
  }
}

void addRows(std::vector<Row>& rows, const LevelSpace& space) {
  const Place place{{space.name}};
  if (space.topics.empty()) rows.push_back({oneLine(space.name)});
  for (const LevelTopic& topic : space.topics) addRows(rows, place.Below(topic.name), topic);
}

std::string walkText(const std::vector<LevelSpace>& spaces) {
  std::vector<Row> rows;
  for (const LevelSpace& space : spaces) addRows(rows, space);
  return columns(rows);
}

Json topicJson(const LevelTopic& topic) {
  Json json{{"topic", toUtf8(topic.name)}, {"parameters", Json::array()}};
  for (const LevelParameter& parameter : topic.parameters) {
    json["parameters"].push_back(
        {{"name", toUtf8(parameter.name)}, {"properties", propertiesJson(parameter.properties)}});
  }
  return json;
}

Json walkJson(const std::vector<LevelSpace>& spaces) {
  Json answer{{"spaces", Json::array()}};
  for (const LevelSpace& space : spaces) {
    Json topics = Json::array();
    for (const LevelTopic& topic : space.topics) topics.push_back(topicJson(topic));
    answer["spaces"].push_back({{"space", toUtf8(space.name)}, {"topics", std::move(topics)}});
  }
  return answer;
}

// Without a topic it is the space that was asked for, else all of them.
std::vector<LevelSpace> walk(Context& context, const std::string& topic) {
  std::optional<RegistryView> view;
  if (!context.IsRemote()) view.emplace();
  Levels levels(context, "walk");
  if (!topic.empty()) {
    const std::u16string name = keyName(topic, "topic");
    const Place place{{spaceName(context), name}};
    return {{place.names[0], {levels.Topic(place)}}};
  }
  if (!context.options.space.empty()) return {levels.Space({{spaceName(context)}})};
  std::vector<LevelSpace> spaces;
  for (const std::u16string& name : levels.Names({})) spaces.push_back(levels.Space({{name}}));
  return spaces;
}

void runWalk(Context& context, const std::string& topic) {
  const std::vector<LevelSpace> spaces = walk(context, topic);
  context.Answer([&] { return walkText(spaces); }, [&] { return walkJson(spaces); });
}

CLI::App* addCommand(CLI::App& app, const char* name, const char* description) {
  CLI::App* command = app.add_subcommand(name, description);
  command->group(treeGroup);
  return command;
}

}  // namespace

void addLevelCommands(CLI::App& app, Context& context) {
  addCommand(app, "spaces", "List the process spaces")->callback([&context] {
    listNames(context, {}, "spaces");
  });
  addCommand(app, "topics", "List the topics of the space")->callback([&context] {
    listNames(context, {{spaceName(context)}}, "topics");
  });

  auto topic = std::make_shared<std::string>();
  CLI::App* command = addCommand(app, "params", "List the names of a topic's parameters");
  command->add_option("TOPIC", *topic, "Topic")->required();
  command->callback([&context, topic] {
    const std::u16string name = keyName(*topic, "topic");
    listNames(context, {{spaceName(context), name}}, "parameters");
  });

  auto arguments = std::make_shared<ParameterArguments>();
  command = addCommand(app, "props", "List a parameter's properties as they are stored");
  addParameterArguments(*command, *arguments);
  command->callback([&context, arguments] { runProperties(context, parameterName(*arguments)); });

  auto walked = std::make_shared<std::string>();
  command =
      addCommand(app, "walk", "List every property of a topic, of the space of --space, or of all spaces");
  command->add_option("TOPIC", *walked, "Topic")->check(notEmpty);
  command->callback([&context, walked] { runWalk(context, *walked); });
}

}  // namespace tool
