#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "platform/registry/RegistryTransaction.h"
#include "tools/sps/Commands.h"
#include "tools/sps/Failure.h"
#include "tools/sps/Remote.h"
#include "tools/sps/Terminal.h"
#include "tools/sps/Text.h"

namespace tool {

namespace {

struct RemoveArguments {
  std::string topic;
  std::string par;
  std::string value;
  bool yes = false;
  bool hasPar = false;
  bool hasValue = false;
};

Target topicTarget(Context& context, const std::u16string& topic) {
  if (context.IsRemote()) return remote::topicTarget(context, topic);
  Client& client = context.Parameters();
  const std::string label = "topic " + inQuotes(topic) + ' ' + context.InSpace();
  RgNode node;
  if (!node.Init(client.TopicPath(topic).c_str(), false, false)) {
    context.Refuse("remove " + label, node.GetRetCode(), context.Next({"ls"}));
  }
  return {client.SpacePath(), topic, label, " with " + counted(node.GetSubNodeCnt(), "parameter")};
}

Target parameterTarget(Context& context, const ParameterName& name) {
  const std::vector<StoredValue> values = parameterValues(context, "remove", name);
  const bool readOnly = findStored(values, Spc::m_pREADONLY) != nullptr;
  return {context.Parameters().TopicPath(name.topic), name.par,
          "parameter " + name.Label() + ' ' + context.InSpace(), readOnly ? ", which is read-only" : ""};
}

// WrongUsage where nobody can be asked, Refused where the answer is no.
void confirm(const RemoveArguments& arguments, const std::string& what) {
  if (arguments.yes) return;
  if (!canAsk()) throw WrongUsage("rm asks before it removes, and there is no terminal to ask at: add --yes");
  if (!ask("Remove " + what + '?')) throw Refused{"remove " + what, "not confirmed", 0, {}};
}

bool isGone(RgNode& parent, const Target& target) {
  RgNode node;
  const std::u16string path = target.parent + u'\\' + target.name;
  return parent.GetRetCode() == ERROR_SUCCESS && !node.Init(path.c_str(), false, false) &&
         node.GetRetCode() == ERROR_FILE_NOT_FOUND;
}

void removeKey(Context& context, const Target& target) {
  if (context.IsRemote()) return remote::removeKey(context, target);
  context.Log().Clear();
  RegistryTransaction transaction;
  RgNode parent;
  if (!parent.Init(target.parent.c_str(), false, false)) {
    context.Refuse("remove " + target.label, parent.GetRetCode(), {});
  }
  parent.DelSubTree(UnicodeString(target.name));
  if (!isGone(parent, target)) context.Refuse("remove " + target.label, parent.GetRetCode(), {});
  if (const LSTATUS status = transaction.Commit(); status != 0) {
    context.Refuse("remove " + target.label, status, {});
  }
}

void removeValue(Context& context, const ParameterName& name, const RemoveArguments& arguments) {
  const std::u16string value = toUtf16(arguments.value, "value name");
  if (value.empty()) throw WrongUsage("the value name is empty");
  const std::vector<StoredValue> values = parameterValues(context, "remove a value of", name);
  const std::string what =
      "value " + inQuotes(value) + " of parameter " + name.Label() + ' ' + context.InSpace();
  if (findStored(values, value) == nullptr) {
    context.Log().Clear();
    context.Refuse("remove " + what, ERROR_FILE_NOT_FOUND,
                   context.Next({"show", arguments.topic, arguments.par}));
  }
  confirm(arguments, what);
  if (context.IsRemote()) return remote::removeValue(context, name, value);
  RgNode node;
  std::uint32_t err = 0;
  if (!context.Parameters().Open(node, name.topic, name.par, err)) {
    context.RefuseParameter("remove a value of", name, err);
  }
  if (!node.DelValue(value.c_str())) context.Refuse("remove " + what, node.GetRetCode(), {});
}

void runRemove(Context& context, const RemoveArguments& arguments) {
  if (arguments.hasValue) {
    if (!arguments.hasPar) throw WrongUsage("--value needs a PARAMETER");
    removeValue(context, parameterName({arguments.topic, arguments.par}), arguments);
  } else {
    const Target target = arguments.hasPar
                              ? parameterTarget(context, parameterName({arguments.topic, arguments.par}))
                              : topicTarget(context, keyName(arguments.topic, "topic"));
    confirm(arguments, target.label + target.detail);
    removeKey(context, target);
  }
  if (!context.options.json) return;
  Json answer{{"space", toUtf8(context.Parameters().GetPrcSpaceName().View())}, {"topic", arguments.topic}};
  if (arguments.hasPar) answer["parameter"] = arguments.par;
  if (arguments.hasValue) answer["value"] = arguments.value;
  answer["removed"] = true;
  context.PrintJson(answer);
}

}  // namespace

void addRemoveCommand(CLI::App& app, Context& context) {
  auto arguments = std::make_shared<RemoveArguments>();
  CLI::App* command = app.add_subcommand("rm", "Remove a parameter, one of its values, or a whole topic");
  command->group(parameterGroup);
  command->add_option("TOPIC", arguments->topic, "Topic")->required();
  const CLI::Option* par = command->add_option("PARAMETER", arguments->par,
                                               "Parameter; without one the topic goes, with all it holds");
  const CLI::Option* value =
      command->add_option("--value", arguments->value, "Remove this value alone, such as an override value")
          ->type_name("NAME");
  command->add_flag("-y,--yes", arguments->yes, "Do not ask");
  command->callback([&context, arguments, par, value] {
    arguments->hasPar = par->count() != 0;
    arguments->hasValue = value->count() != 0;
    runRemove(context, *arguments);
  });
}

}  // namespace tool
