#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>
#include <optional>

#include "platform/registry/RegistryTransaction.h"
#include "tools/sps/Attributes.h"
#include "tools/sps/Commands.h"
#include "tools/sps/Failure.h"
#include "tools/sps/Remote.h"
#include "tools/sps/Text.h"

namespace tool {

namespace {

struct CreateArguments {
  ParameterArguments name;
  std::string type;
  std::string value;
  std::string super;
  std::string override;
  std::string unit;
  std::string description;
  bool fromStdin = false;
  bool readOnly = false;
  bool replicate = false;
  bool disableLog = false;
  bool encrypt = false;
  const CLI::Option* valueGiven = nullptr;
  const CLI::Option* superGiven = nullptr;
};

std::optional<Value> givenValue(Context& context, char16_t letter, bool given, const std::string& text,
                                bool scramble) {
  if (!given) return std::nullopt;
  const Value value = parseValue(letter, text);
  return scramble ? context.Parameters().Scrambled(value) : value;
}

std::vector<const char16_t*> chosenFlags(const CreateArguments& arguments) {
  std::vector<const char16_t*> flags;
  if (arguments.readOnly) flags.push_back(Spc::m_pREADONLY);
  if (arguments.replicate) flags.push_back(Spc::m_pREPLICATE);
  if (arguments.disableLog) flags.push_back(Spc::m_pDISABLELOG);
  if (arguments.encrypt) flags.insert(flags.end(), {Spc::m_pENCRYPT, Spc::m_pDECRYPT});
  return flags;
}

NewParameter checkedParameter(Context& context, const CreateArguments& arguments) {
  NewParameter parameter;
  parameter.letter = typeLetter(arguments.type);
  if (arguments.encrypt && parameter.letter != u'S') throw WrongUsage("--encrypt is for text, --type S");
  const bool hasValue = arguments.valueGiven->count() != 0;
  if (hasValue && arguments.fromStdin) throw WrongUsage("--value and --stdin exclude each other");
  const std::string value = arguments.fromStdin ? standardInputValue() : arguments.value;
  parameter.value =
      givenValue(context, parameter.letter, hasValue || arguments.fromStdin, value, arguments.encrypt);
  parameter.super = givenValue(context, parameter.letter, arguments.superGiven->count() != 0, arguments.super,
                               arguments.encrypt);
  if (!arguments.override.empty()) parameter.override = overrideLetter(arguments.override);
  parameter.flags = chosenFlags(arguments);
  if (!arguments.unit.empty()) parameter.texts.emplace_back(Spc::m_pUNIT, toUtf16(arguments.unit, "unit"));
  if (!arguments.description.empty()) {
    parameter.texts.emplace_back(Spc::m_pDSC, toUtf16(arguments.description, "description"));
  }
  return parameter;
}

bool writeParameter(RgNode& node, const NewParameter& parameter) {
  if (!writeLetter(node, Spc::m_pTYPE, parameter.letter)) return false;
  if (parameter.value && !writeStored(node, Spc::m_pVAL, *parameter.value)) return false;
  if (parameter.super && !writeStored(node, Spc::m_pSUPERVAL, *parameter.super)) return false;
  if (parameter.override != 0 && !writeLetter(node, Spc::m_pOVERRIDE, parameter.override)) return false;
  for (const char16_t* flag : parameter.flags) {
    if (!node.SetValue(flag, true)) return false;
  }
  for (const auto& [name, text] : parameter.texts) {
    if (!node.SetValue(name, UnicodeString(text))) return false;
  }
  return true;
}

void createParameter(Context& context, const ParameterName& name, const NewParameter& parameter) {
  const std::u16string path = context.Parameters().ParPath(name.topic, name.par);
  context.Log().Clear();
  RegistryTransaction transaction;
  RgNode node;
  if (!node.Init(path.c_str(), true, false)) context.RefuseParameter("create", name, node.GetRetCode());
  if (!node.IsNodeCreated()) refuseExisting(context, name);
  if (!writeParameter(node, parameter)) context.RefuseParameter("create", name, node.GetRetCode());
  if (const LSTATUS status = transaction.Commit(); status != 0) {
    context.RefuseParameter("create", name, status);
  }
}

void runCreate(Context& context, const CreateArguments& arguments) {
  context.MakesStore();
  const ParameterName name = parameterName(arguments.name);
  const NewParameter parameter = checkedParameter(context, arguments);
  if (context.IsRemote()) {
    remote::createParameter(context, name, parameter);
  } else {
    createParameter(context, name, parameter);
  }
  if (!context.options.json) return;
  Json answer = parameterJson(context, name);
  answer["type"] = letterText(parameter.letter);
  answer["created"] = true;
  context.PrintJson(answer);
}

void addContentOptions(CLI::App& command, CreateArguments& arguments) {
  command
      .add_option("--type", arguments.type, "S text, I 32-bit integer, D float, T 64-bit integer, B boolean")
      ->required()
      ->type_name("S|I|D|T|B");
  arguments.valueGiven = command.add_option("--value", arguments.value, "Value")->type_name("VALUE");
  command.add_flag("--stdin", arguments.fromStdin, "Read the value from standard input");
  arguments.superGiven =
      command.add_option("--super", arguments.super, "Value that a read takes where no other is")
          ->type_name("VALUE");
  command
      .add_option("--override", arguments.override,
                  "Allow values of its own for each workstation, user or process instance")
      ->type_name("W|U|P")
      ->check(notEmpty);
  command.add_option("--unit", arguments.unit, "Unit of the value")->type_name("TEXT");
  command.add_option("--description", arguments.description, "What the parameter is for")->type_name("TEXT");
}

}  // namespace

void addCreateCommand(CLI::App& app, Context& context) {
  auto arguments = std::make_shared<CreateArguments>();
  CLI::App* command =
      app.add_subcommand("create", "Make a new parameter, with its topic and space if missing");
  command->group(parameterGroup);
  addParameterArguments(*command, arguments->name);
  addContentOptions(*command, *arguments);
  command->add_flag("--readonly", arguments->readOnly, "Refuse later changes");
  command->add_flag("--replicate", arguments->replicate, "Mark as one to be replicated");
  command->add_flag("--disable-log", arguments->disableLog, "Write locally, past the master");
  command->add_flag("--encrypt", arguments->encrypt, "Store the text scrambled");
  command->callback([&context, arguments] { runCreate(context, *arguments); });
}

}  // namespace tool
