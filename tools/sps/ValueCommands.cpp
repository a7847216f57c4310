#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>
#include <optional>

#include "platform/registry/RegistryTransaction.h"
#include "platform/registry/RegistryView.h"
#include "tools/sps/Commands.h"
#include "tools/sps/Failure.h"
#include "tools/sps/Remote.h"
#include "tools/sps/Text.h"

namespace tool {

namespace {

constexpr std::int32_t readOnly = 15;

struct SetCommand : SetArguments {
  ParameterArguments name;
};

Value getValue(Context& context, const ParameterName& name) {
  const RegistryView view;
  Value value = declaredValue(context, "read", name);
  std::uint32_t err = 0;
  context.Log().Clear();
  if (!context.Parameters().Read(name.topic, name.par, value, err)) {
    context.RefuseParameter("read", name, err);
  }
  return value;
}

void runGet(Context& context, const ParameterArguments& arguments) {
  const ParameterName name = parameterName(arguments);
  const Value value = context.IsRemote() ? remote::getValue(context, name) : getValue(context, name);
  context.Answer([&] { return valueText(value) + '\n'; },
                 [&] {
                   Json answer = parameterJson(context, name);
                   answer["type"] = letterText(letterOf(value));
                   answer["value"] = valueJson(value);
                   return answer;
                 });
}

// WrongUsage where --expand is for no text, or for one whose references nobody could find.
bool mustExpand(const SetArguments& arguments, char16_t letter, bool scramble, bool isExpandable) {
  if (arguments.expand && letter != u'S') {
    throw WrongUsage("--expand is for text, the parameter is of type " + letterText(letter));
  }
  if (arguments.expand && scramble) throw WrongUsage("--expand is for text that is not scrambled");
  return letter == u'S' && !scramble && !arguments.plain && (arguments.expand || isExpandable);
}

// What stands against the write, and how the value is to be stored.
void prepareSet(Context& context, const ParameterName& name, const SetArguments& arguments,
                Written& written) {
  Client& client = context.Parameters();
  TextNode node;
  std::uint32_t err = 0;
  if (!client.Open(node, name.topic, name.par, err)) context.RefuseParameter("set", name, err);
  if (!arguments.force && client.IsReadOnly(node)) {
    client.Report(readOnly, client.ParPath(name.topic, name.par));
    context.RefuseParameter("set", name, readOnly);
  }
  const char16_t letter = letterOf(written.value);
  written.where = arguments.super ? Spc::m_pSUPERVAL : client.WrittenName(node);
  const bool isScrambled = client.IsScrambled(node);
  written.scrambled = mustScramble(letter, arguments.encrypt, isScrambled);
  if (written.scrambled && !isScrambled) {
    refuseOtherTexts(context, name, readParameterKey(client, node), written.where);
  }
  const bool isExpandable = node.IsExpandable(written.where.c_str());
  written.expandable = mustExpand(arguments, letter, written.scrambled, isExpandable);
}

void writeSuperValue(Context& context, const ParameterName& name, Written& written) {
  Client& client = context.Parameters();
  if (written.scrambled) {
    std::uint32_t err = 0;
    if (!client.SetParAttrDecrypt(name.topic.c_str(), name.par.c_str(), true, &err)) {
      context.RefuseParameter("set", name, err);
    }
  }
  RgNode node;
  std::uint32_t err = 0;
  if (!client.Open(node, name.topic, name.par, err)) context.RefuseParameter("set", name, err);
  const Value stored = written.scrambled ? client.Scrambled(written.value) : written.value;
  if (!writeStored(node, Spc::m_pSUPERVAL, stored)) {
    client.Report(node.GetRetCode(), client.ParPath(name.topic, name.par));
    context.RefuseParameter("set", name, node.GetRetCode());
  }
}

void writeValue(Context& context, const ParameterName& name, Written& written) {
  Client& client = context.Parameters();
  std::uint32_t err = 0;
  if (!client.Write(name.topic, name.par, written.value, written.scrambled, err)) {
    context.RefuseParameter("set", name, err);
  }
  written.where = client.GetUpdPropName().View();
  written.notices = context.Log().Notices();
}

// The library writes plain texts only.
void makeExpandable(Context& context, const ParameterName& name, const Written& written) {
  Client& client = context.Parameters();
  TextNode node;
  std::uint32_t err = 0;
  if (!client.Open(node, name.topic, name.par, err)) context.RefuseParameter("set", name, err);
  if (node.WriteExpandable(written.where.c_str(), std::get<std::u16string>(written.value))) return;
  context.RefuseParameter("set", name, node.GetRetCode());
}

Written setValue(Context& context, const ParameterName& name, const SetArguments& arguments) {
  const Value declared = declaredValue(context, "set", name);
  Written written = parsedValue(declared, arguments);
  context.Log().Clear();
  prepareSet(context, name, arguments, written);
  // Nobody reads the text as a plain one meanwhile, and none that stays is taken for a scrambled one.
  std::optional<RegistryTransaction> together;
  if (written.expandable || written.scrambled) together.emplace();
  if (arguments.super) {
    writeSuperValue(context, name, written);
  } else {
    writeValue(context, name, written);
  }
  if (!together) return written;
  if (written.expandable) makeExpandable(context, name, written);
  if (const LSTATUS status = together->Commit(); status != 0) context.RefuseParameter("set", name, status);
  return written;
}

Json writtenJson(Context& context, const ParameterName& name, const Written& written) {
  Json answer = parameterJson(context, name);
  answer["type"] = letterText(letterOf(written.value));
  answer["written"] = toUtf8(written.where);
  answer["scrambled"] = written.scrambled;
  answer["expandable"] = written.expandable;
  if (!written.scrambled) answer["value"] = valueJson(written.value);
  answer["notices"] = written.notices;
  return answer;
}

void runSet(Context& context, const SetCommand& arguments) {
  if (arguments.hasValue == arguments.fromStdin) {
    throw WrongUsage("set takes the value either as an argument or, with --stdin, from standard input");
  }
  if (arguments.expand && arguments.plain) throw WrongUsage("--expand and --plain exclude each other");
  const ParameterName name = parameterName(arguments.name);
  const Written written =
      context.IsRemote() ? remote::setValue(context, name, arguments) : setValue(context, name, arguments);
  if (context.options.json) return context.PrintJson(writtenJson(context, name, written));
  for (const std::string& notice : written.notices) context.Remark(notice);
}

void addGet(CLI::App& app, Context& context) {
  auto arguments = std::make_shared<ParameterArguments>();
  CLI::App* command = app.add_subcommand("get", "Print the value that a read of the parameter gives");
  command->group(parameterGroup);
  addParameterArguments(*command, *arguments);
  command->callback([&context, arguments] { runGet(context, *arguments); });
}

void addSet(CLI::App& app, Context& context) {
  auto arguments = std::make_shared<SetCommand>();
  CLI::App* command = app.add_subcommand("set", "Write a parameter's value, or its override value");
  command->group(parameterGroup);
  addParameterArguments(*command, arguments->name);
  const CLI::Option* value =
      command->add_option("VALUE", arguments->value, "New value, of the parameter's type");
  command->add_flag("--stdin", arguments->fromStdin, "Read the value from standard input");
  command->add_flag("--encrypt", arguments->encrypt, "Store the text scrambled, from now on");
  command->add_flag("--super", arguments->super,
                    "Write the super value, which a read takes where no other is");
  command->add_flag("--expand", arguments->expand,
                    "Store a text whose environment references reads expand; one that is there stays so");
  command->add_flag("--plain", arguments->plain,
                    "Store a text that is read as it stands, whatever it was before");
  command->add_flag("--force", arguments->force, "Write to a read-only parameter too");
  command->callback([&context, arguments, value] {
    arguments->hasValue = value->count() != 0;
    runSet(context, *arguments);
  });
}

}  // namespace

void addValueCommands(CLI::App& app, Context& context) {
  addGet(app, context);
  addSet(app, context);
}

}  // namespace tool
