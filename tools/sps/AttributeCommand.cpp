#include <CLI/CLI.hpp>
#include <algorithm>
#include <nlohmann/json.hpp>

#include "tools/sps/Attributes.h"
#include "tools/sps/Commands.h"
#include "tools/sps/Failure.h"
#include "tools/sps/Remote.h"
#include "tools/sps/Text.h"

namespace tool {

namespace {

struct AttributeArguments {
  ParameterArguments name;
  std::string attribute;
  std::string value;
  bool hasValue = false;
  bool clear = false;
};

bool isLetterKind(const Attribute& attribute) {
  return attribute.kind == AttributeKind::Type || attribute.kind == AttributeKind::Override;
}

AttributeState readAttribute(const std::vector<StoredValue>& values, const Attribute& attribute) {
  AttributeState state{&attribute, false, 0, {}};
  const StoredValue* stored = findStored(values, attribute.stored);
  state.present = stored != nullptr;
  if (stored == nullptr) return state;
  if (isLetterKind(attribute)) state.letter = storedLetter(*stored);
  if (attribute.kind == AttributeKind::Text) state.text = storedText(*stored);
  return state;
}

std::string readingText(const AttributeState& reading) {
  if (reading.attribute->kind == AttributeKind::Flag) return reading.present ? "on" : "off";
  if (!reading.present) return "none";
  return isLetterKind(*reading.attribute) ? letterText(reading.letter) : inQuotes(reading.text);
}

Json readingJson(const AttributeState& reading) {
  if (reading.attribute->kind == AttributeKind::Flag) return reading.present;
  if (!reading.present) return nullptr;
  return isLetterKind(*reading.attribute) ? Json(letterText(reading.letter)) : Json(toUtf8(reading.text));
}

const Attribute& chosenAttribute(const std::string& name) {
  const Attribute* attribute = findAttribute(name);
  if (attribute != nullptr) return *attribute;
  std::string known;
  for (const Attribute& one : attributes()) known += (known.empty() ? "" : ", ") + std::string(one.name);
  throw WrongUsage(inQuotes(toUtf16(name, "attribute")) + " is no attribute: expected one of " + known);
}

void listAttributes(Context& context, const ParameterName& name) {
  const std::vector<StoredValue> values = parameterValues(context, "read", name);
  std::vector<Row> rows;
  Json answer = parameterJson(context, name);
  for (const Attribute& attribute : attributes()) {
    const AttributeState reading = readAttribute(values, attribute);
    rows.push_back({attribute.name, readingText(reading)});
    answer["attributes"][attribute.name] = readingJson(reading);
  }
  context.Answer([&] { return columns(rows); }, [&] { return answer; });
}

// Texts come bare: one attribute is asked for by scripts.
std::string bareText(const AttributeState& reading) {
  const bool isText = reading.attribute->kind == AttributeKind::Text && reading.present;
  return (isText ? toUtf8(reading.text) : readingText(reading)) + '\n';
}

void showAttribute(Context& context, const ParameterName& name, const Attribute& attribute) {
  const AttributeState reading = readAttribute(parameterValues(context, "read", name), attribute);
  context.Answer([&] { return bareText(reading); },
                 [&] {
                   Json answer = parameterJson(context, name);
                   answer["attributes"][attribute.name] = readingJson(reading);
                   return answer;
                 });
}

bool parseFlag(const Attribute& attribute, const std::string& text) {
  if (text == "on" || text == "off") return text == "on";
  throw WrongUsage(std::string("the attribute ") + attribute.name + " takes on or off");
}

// The state that the command line asks for. WrongUsage where it is none of the attribute's.
AttributeState wantedState(const AttributeArguments& arguments, const Attribute& attribute) {
  if (arguments.clear && attribute.kind == AttributeKind::Type) {
    throw WrongUsage("--clear removes any attribute but the type");
  }
  AttributeState wanted{&attribute, !arguments.clear, 0, {}};
  if (arguments.clear) return wanted;
  switch (attribute.kind) {
    case AttributeKind::Type:
      wanted.letter = typeLetter(arguments.value);
      break;
    case AttributeKind::Override:
      wanted.letter = overrideLetter(arguments.value);
      break;
    case AttributeKind::Flag:
      wanted.present = parseFlag(attribute, arguments.value);
      break;
    case AttributeKind::Text:
      wanted.text = toUtf16(arguments.value, attribute.name);
      break;
  }
  return wanted;
}

[[noreturn]] void refuseTypeChange(Context& context, const ParameterName& name) {
  throw Refused{"change the type of parameter " + name.Label() + ' ' + context.InSpace(),
                "the values it holds are stored in the form of the type it has", 0,
                context.Next({"rm", toUtf8(name.topic), toUtf8(name.par)})};
}

bool writeState(Client& client, RgNode& node, const ParameterName& name, const AttributeState& wanted,
                std::uint32_t& err) {
  const std::u16string_view stored = wanted.attribute->stored;
  if (stored == Spc::m_pDECRYPT) {
    return client.SetParAttrDecrypt(name.topic.c_str(), name.par.c_str(), wanted.present, &err);
  }
  if (stored == Spc::m_pENCRYPT) {
    return client.SetParAttrEncrypt(name.topic.c_str(), name.par.c_str(), wanted.present, &err);
  }
  if (!wanted.present) return node.SetValue(wanted.attribute->stored, false);
  if (wanted.attribute->kind == AttributeKind::Flag) return node.SetValue(wanted.attribute->stored, true);
  if (isLetterKind(*wanted.attribute)) return writeLetter(node, wanted.attribute->stored, wanted.letter);
  return node.SetValue(wanted.attribute->stored, UnicodeString(wanted.text));
}

void changeHere(Context& context, const std::string& verb, const ParameterName& name,
                const AttributeState& wanted) {
  Client& client = context.Parameters();
  RgNode node;
  std::uint32_t err = 0;
  context.Log().Clear();
  if (!client.Open(node, name.topic, name.par, err)) context.RefuseParameter(verb, name, err);
  if (writeState(client, node, name, wanted, err)) return;
  context.RefuseParameter(verb, name, err != 0 ? static_cast<std::int32_t>(err) : node.GetRetCode());
}

// What the change of "@decrypt" leaves to be done.
void remarkDecrypt(Context& context, const ParameterName& name, const Attribute& attribute, bool before,
                   bool after) {
  if (std::u16string_view(attribute.stored) != Spc::m_pDECRYPT || before == after) return;
  context.Remark(std::string("the stored text stays as it is; write it anew: ") +
                 context.Next({"set", toUtf8(name.topic), toUtf8(name.par)}, {{"--stdin"}}));
}

// What a new type leaves to be done: nobody knows under which one the values were written.
void remarkMisfits(Context& context, const ParameterName& name) {
  Client& client = context.Parameters();
  const ParameterKey key = decodeParameterKey(client, client.ParPath(name.topic, name.par),
                                              parameterValues(context, "read", name));
  for (const Content* content : contentsOf(key)) {
    if (content->value) continue;
    context.Remark("its value " + inQuotes(content->name) + " does not have the form of the type: " +
                   context.Next({"show", toUtf8(name.topic), toUtf8(name.par)}));
  }
}

void changeAttribute(Context& context, const AttributeArguments& arguments, const ParameterName& name,
                     const Attribute& attribute) {
  const std::string verb = std::string("change the attribute ") + attribute.name + " of";
  const AttributeState wanted = wantedState(arguments, attribute);
  const AttributeState before = readAttribute(parameterValues(context, verb, name), attribute);
  // The stored values have the form of the type they were written under: another one would make them
  // unreadable. One that is no type can only be mended.
  const bool isType = attribute.kind == AttributeKind::Type;
  if (isType && isTypeLetter(before.letter)) refuseTypeChange(context, name);
  if (context.IsRemote()) {
    remote::changeAttribute(context, verb, name, wanted);
  } else {
    changeHere(context, verb, name, wanted);
  }
  remarkDecrypt(context, name, attribute, before.present, wanted.present);
  if (isType) remarkMisfits(context, name);
  if (context.options.json) showAttribute(context, name, attribute);
}

void runAttribute(Context& context, const AttributeArguments& arguments) {
  const ParameterName name = parameterName(arguments.name);
  if (arguments.hasValue && arguments.clear) throw WrongUsage("a VALUE and --clear exclude each other");
  if (arguments.attribute.empty()) {
    if (arguments.clear) throw WrongUsage("--clear needs the NAME of an attribute");
    return listAttributes(context, name);
  }
  const Attribute& attribute = chosenAttribute(arguments.attribute);
  if (!arguments.hasValue && !arguments.clear) return showAttribute(context, name, attribute);
  changeAttribute(context, arguments, name, attribute);
}

}  // namespace

void addAttributeCommand(CLI::App& app, Context& context) {
  auto arguments = std::make_shared<AttributeArguments>();
  CLI::App* command = app.add_subcommand("attr", "List, print or change the attributes of a parameter");
  command->group(parameterGroup);
  addParameterArguments(*command, arguments->name);
  command
      ->add_option("NAME", arguments->attribute,
                   "type, override, readonly, replicate, disableLog, encrypt, decrypt, unit, description or "
                   "functional")
      ->check(notEmpty);
  const CLI::Option* value =
      command->add_option("VALUE", arguments->value,
                          "on or off for a flag, a letter or a text for the others; a type only where none "
                          "can be read");
  command->add_flag("--clear", arguments->clear, "Remove the attribute, any but the type");
  command->callback([&context, arguments, value] {
    arguments->hasValue = value->count() != 0;
    runAttribute(context, *arguments);
  });
}

}  // namespace tool
