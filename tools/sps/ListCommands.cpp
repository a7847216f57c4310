#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "platform/registry/RegistryView.h"
#include "tools/sps/Attributes.h"
#include "tools/sps/Commands.h"
#include "tools/sps/Failure.h"
#include "tools/sps/Remote.h"
#include "tools/sps/Text.h"

namespace tool {

namespace {

struct ListArguments {
  std::string topic;
  bool hasTopic = false;
  bool spaces = false;
  bool reveal = false;
};

void openKey(Context& context, RgNode& node, const std::u16string& path, const std::string& what,
             const std::string& next) {
  context.Log().Clear();
  if (!node.Init(path.c_str(), false, false)) context.Refuse("list " + what, node.GetRetCode(), next);
}

void openSpace(Context& context, RgNode& node) {
  Client& client = context.Parameters();
  openKey(context, node, client.SpacePath(), "space " + inQuotes(client.GetPrcSpaceName().View()),
          context.Next({"ls"}, {{"--spaces"}}));
}

void openTopic(Context& context, RgNode& node, const std::u16string& topic) {
  openKey(context, node, context.Parameters().TopicPath(topic),
          "topic " + inQuotes(topic) + ' ' + context.InSpace(), context.Next({"ls"}));
}

// What a read gives is worth showing; why it gives nothing is a matter for explain.
ListedParameter listParameter(Client& client, const std::u16string& topic, const std::u16string& par,
                              bool reveal) {
  constexpr std::int32_t silent = 240;
  ListedParameter listed{par, 0, std::nullopt, false};
  RgNode node;
  if (!node.Init(client.ParPath(topic, par).c_str(), false, false)) return listed;
  if (readLetter(node, Spc::m_pTYPE, listed.letter) != 0 || !isTypeLetter(listed.letter)) return listed;
  Value value = emptyValue(listed.letter);
  std::uint32_t err = 0;
  if (!client.Read(topic, par, value, err, silent)) return listed;
  listed.masked = listed.letter == u'S' && !reveal && client.IsScrambled(node);
  listed.value = std::move(value);
  return listed;
}

std::vector<std::u16string> spaceNames(Context& context) {
  if (context.IsRemote()) return remote::spaceNames(context);
  RgNode node;
  openKey(context, node, context.Parameters().RootPath(), "the process spaces",
          context.Next({"import", "FILE"}));
  return subKeyNames(node);
}

std::vector<std::u16string> topicNames(Context& context) {
  if (context.IsRemote()) return remote::topicNames(context);
  RgNode node;
  openSpace(context, node);
  return subKeyNames(node);
}

ListedTopic listTopic(Context& context, const std::u16string& topic, bool reveal) {
  if (context.IsRemote()) return remote::listTopic(context, topic, reveal);
  const RegistryView view;
  RgNode node;
  openTopic(context, node, topic);
  ListedTopic listed{topic, {}};
  for (const std::u16string& par : subKeyNames(node)) {
    listed.parameters.push_back(listParameter(context.Parameters(), topic, par, reveal));
  }
  return listed;
}

std::string valueColumn(const ListedParameter& parameter) {
  if (!parameter.value) return "<no value>";
  return parameter.masked ? "<scrambled>" : valueLine(*parameter.value);
}

Row parameterRow(const ListedParameter& parameter) {
  return {oneLine(parameter.name), parameter.letter == 0 ? "-" : letterText(parameter.letter),
          valueColumn(parameter)};
}

Json parameterJson(const ListedParameter& parameter) {
  const bool shown = parameter.value && !parameter.masked;
  return {{"name", toUtf8(parameter.name)},
          {"type", parameter.letter == 0 ? Json(nullptr) : Json(letterText(parameter.letter))},
          {"value", shown ? valueJson(*parameter.value) : Json(nullptr)},
          {"masked", parameter.masked}};
}

Json topicJson(const ListedTopic& topic) {
  Json json{{"topic", toUtf8(topic.name)}, {"parameters", Json::array()}};
  for (const ListedParameter& parameter : topic.parameters) {
    json["parameters"].push_back(parameterJson(parameter));
  }
  return json;
}

Json spaceJson(Context& context) {
  return {{"space", toUtf8(context.Parameters().GetPrcSpaceName().View())}};
}

void runList(Context& context, const ListArguments& arguments) {
  if (arguments.spaces && arguments.hasTopic) throw WrongUsage("a TOPIC and --spaces exclude each other");
  if (arguments.spaces) return answerNames(context, spaceNames(context), Json::object(), "spaces");
  if (!arguments.hasTopic) return answerNames(context, topicNames(context), spaceJson(context), "topics");
  const ListedTopic topic = listTopic(context, keyName(arguments.topic, "topic"), arguments.reveal);
  std::vector<Row> rows;
  for (const ListedParameter& parameter : topic.parameters) rows.push_back(parameterRow(parameter));
  context.Answer([&] { return columns(rows); },
                 [&] {
                   Json answer = spaceJson(context);
                   answer.update(topicJson(topic));
                   return answer;
                 });
}

// Columns for the parameters of one topic, behind the branches of the tree.
std::string branches(const std::vector<Row>& rows, const std::string& indent) {
  std::string text;
  std::string lines = columns(rows);
  for (std::size_t begin = 0, end = 0; begin < lines.size(); begin = end + 1) {
    end = lines.find('\n', begin);
    const bool last = end + 1 == lines.size();
    text += indent + (last ? "└── " : "├── ") + lines.substr(begin, end - begin) + '\n';
  }
  return text;
}

std::string topicBranch(Context& context, const ListedTopic& topic, bool last) {
  std::vector<Row> rows;
  for (const ListedParameter& parameter : topic.parameters) rows.push_back(parameterRow(parameter));
  return (last ? "└── " : "├── ") + context.Out().Bold(oneLine(topic.name)) + '\n' +
         branches(rows, last ? "    " : "│   ");
}

std::string treeText(Context& context, const std::vector<ListedTopic>& topics) {
  std::string text = context.Out().Bold(oneLine(context.Parameters().GetPrcSpaceName().View())) + '\n';
  for (const ListedTopic& topic : topics) text += topicBranch(context, topic, &topic == &topics.back());
  return text;
}

Json treeJson(Context& context, const std::vector<ListedTopic>& topics) {
  Json answer = spaceJson(context);
  answer["topics"] = Json::array();
  for (const ListedTopic& topic : topics) answer["topics"].push_back(topicJson(topic));
  return answer;
}

std::vector<ListedTopic> listTopics(Context& context, const ListArguments& arguments) {
  // A local tree is shown as of one moment; a master is asked key by key.
  std::optional<RegistryView> view;
  if (!context.IsRemote()) view.emplace();
  std::vector<std::u16string> names;
  if (arguments.hasTopic) {
    names.push_back(keyName(arguments.topic, "topic"));
  } else {
    names = topicNames(context);
  }
  std::vector<ListedTopic> topics;
  topics.reserve(names.size());
  for (const std::u16string& name : names) topics.push_back(listTopic(context, name, arguments.reveal));
  return topics;
}

void runTree(Context& context, const ListArguments& arguments) {
  const std::vector<ListedTopic> topics = listTopics(context, arguments);
  context.Answer([&] { return treeText(context, topics); }, [&] { return treeJson(context, topics); });
}

void addListing(CLI::App& command, Context& context, void (*run)(Context&, const ListArguments&),
                bool withSpaces) {
  auto arguments = std::make_shared<ListArguments>();
  command.group(parameterGroup);
  const CLI::Option* topic = command.add_option("TOPIC", arguments->topic, "Topic");
  command.add_flag("--reveal", arguments->reveal, "Show scrambled values in plain text");
  if (withSpaces) command.add_flag("--spaces", arguments->spaces, "List the process spaces");
  command.callback([&context, arguments, topic, run] {
    arguments->hasTopic = topic->count() != 0;
    run(context, *arguments);
  });
}

}  // namespace

void answerNames(Context& context, const std::vector<std::u16string>& names, Json answer, const char* field) {
  std::string text;
  answer[field] = Json::array();
  for (const std::u16string& name : names) {
    text += oneLine(name) + '\n';
    answer[field].push_back(toUtf8(name));
  }
  context.Answer([&] { return text; }, [&] { return answer; });
}

void addListCommands(CLI::App& app, Context& context) {
  addListing(
      *app.add_subcommand("ls", "List the topics of the space, or a topic's parameters with type and value"),
      context, runList, true);
  addListing(*app.add_subcommand("tree", "Show the space, or one topic, as a tree"), context, runTree, false);
}

}  // namespace tool
