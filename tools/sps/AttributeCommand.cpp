#include <CLI/CLI.hpp>
#include <algorithm>
#include <nlohmann/json.hpp>

#include "platform/registry/RegistryView.h"
#include "platform/registry/registry.h"
#include "tools/sps/Attributes.h"
#include "tools/sps/Commands.h"
#include "tools/sps/Failure.h"
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

// An attribute as read: nothing where it is not set.
struct Reading {
  const Attribute* attribute = nullptr;
  bool present = false;
  char16_t letter = 0;
  std::u16string text;
};

bool isLetterKind(const Attribute& attribute) {
  return attribute.kind == AttributeKind::Type || attribute.kind == AttributeKind::Override;
}

Reading readAttribute(RgNode& node, const Attribute& attribute) {
  Reading reading{&attribute, false, 0, {}};
  node.GetValue(attribute.stored, reading.present);
  if (!reading.present) return reading;
  if (isLetterKind(attribute)) readLetter(node, attribute.stored, reading.letter);
  UnicodeString text;
  if (attribute.kind == AttributeKind::Text && node.GetValue(attribute.stored, text))
    reading.text = text.View();
  return reading;
}

std::string readingText(const Reading& reading) {
  if (reading.attribute->kind == AttributeKind::Flag) return reading.present ? "on" : "off";
  if (!reading.present) return "none";
  return isLetterKind(*reading.attribute) ? letterText(reading.letter) : inQuotes(reading.text);
}

Json readingJson(const Reading& reading) {
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

void openParameter(Context& context, RgNode& node, const std::string& verb, const ParameterName& name) {
  std::uint32_t err = 0;
  if (!context.Parameters().Open(node, name.topic, name.par, err)) context.RefuseParameter(verb, name, err);
}

void listAttributes(Context& context, const ParameterName& name) {
  const RegistryView view;
  RgNode node;
  openParameter(context, node, "read", name);
  std::vector<Row> rows;
  Json answer = parameterJson(context, name);
  for (const Attribute& attribute : attributes()) {
    const Reading reading = readAttribute(node, attribute);
    rows.push_back({attribute.name, readingText(reading)});
    answer["attributes"][attribute.name] = readingJson(reading);
  }
  context.Answer([&] { return columns(rows); }, [&] { return answer; });
}

// Texts come bare: one attribute is asked for by scripts.
std::string bareText(const Reading& reading) {
  const bool isText = reading.attribute->kind == AttributeKind::Text && reading.present;
  return (isText ? toUtf8(reading.text) : readingText(reading)) + '\n';
}

void showAttribute(Context& context, const ParameterName& name, const Attribute& attribute) {
  RgNode node;
  openParameter(context, node, "read", name);
  const Reading reading = readAttribute(node, attribute);
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

// The stored values have the form of the type they were written under: another one would make them
// unreadable.
void guardType(Context& context, const ParameterName& name, RgNode& node) {
  bool present = false;
  node.GetValue(Spc::m_pTYPE, present);
  if (!present) return;
  throw Refused{"change the type of parameter " + name.Label() + ' ' + context.InSpace(),
                "the values it holds are stored in the form of the type it has", 0,
                context.Next({"rm", toUtf8(name.topic), toUtf8(name.par)})};
}

bool writeFlag(Client& client, RgNode& node, const ParameterName& name, const Attribute& attribute, bool flag,
               std::uint32_t& err) {
  const std::u16string_view stored = attribute.stored;
  if (stored == Spc::m_pDECRYPT) {
    return client.SetParAttrDecrypt(name.topic.c_str(), name.par.c_str(), flag, &err);
  }
  if (stored == Spc::m_pENCRYPT) {
    return client.SetParAttrEncrypt(name.topic.c_str(), name.par.c_str(), flag, &err);
  }
  return node.SetValue(attribute.stored, flag);
}

bool writeAttribute(Context& context, RgNode& node, const ParameterName& name, const Attribute& attribute,
                    const std::string& value, std::uint32_t& err) {
  switch (attribute.kind) {
    case AttributeKind::Type: {
      const char16_t letter = typeLetter(value);
      guardType(context, name, node);
      return writeLetter(node, attribute.stored, letter);
    }
    case AttributeKind::Override:
      return writeLetter(node, attribute.stored, overrideLetter(value));
    case AttributeKind::Flag:
      return writeFlag(context.Parameters(), node, name, attribute, parseFlag(attribute, value), err);
    case AttributeKind::Text:
      break;
  }
  return node.SetValue(attribute.stored, UnicodeString(toUtf16(value, attribute.name)));
}

bool clearAttribute(Context& context, RgNode& node, const ParameterName& name, const Attribute& attribute,
                    std::uint32_t& err) {
  if (attribute.kind == AttributeKind::Type) guardType(context, name, node);
  if (attribute.kind == AttributeKind::Flag) {
    return writeFlag(context.Parameters(), node, name, attribute, false, err);
  }
  return node.SetValue(attribute.stored, false);
}

// What the change of "@decrypt" leaves to be done.
void remarkDecrypt(Context& context, const ParameterName& name, const Attribute& attribute, bool before,
                   bool after) {
  if (std::u16string_view(attribute.stored) != Spc::m_pDECRYPT || before == after) return;
  context.Remark(std::string("the stored text stays as it is; write it anew: ") +
                 context.Next({"set", toUtf8(name.topic), toUtf8(name.par), "--stdin"}));
}

void changeAttribute(Context& context, const AttributeArguments& arguments, const ParameterName& name,
                     const Attribute& attribute) {
  const std::string verb = std::string("change the attribute ") + attribute.name + " of";
  RgNode node;
  openParameter(context, node, verb, name);
  const bool before = readAttribute(node, attribute).present;
  std::uint32_t err = 0;
  context.Log().Clear();
  const bool changed = arguments.clear ? clearAttribute(context, node, name, attribute, err)
                                       : writeAttribute(context, node, name, attribute, arguments.value, err);
  if (!changed) {
    context.RefuseParameter(verb, name, err != 0 ? static_cast<std::int32_t>(err) : node.GetRetCode());
  }
  remarkDecrypt(context, name, attribute, before, readAttribute(node, attribute).present);
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
  command->add_option(
      "NAME", arguments->attribute,
      "type, override, readonly, replicate, disableLog, encrypt, decrypt, unit, description or "
      "functional");
  const CLI::Option* value = command->add_option("VALUE", arguments->value,
                                                 "on or off for a flag, a letter or a text for the others");
  command->add_flag("--clear", arguments->clear, "Remove the attribute");
  command->callback([&context, arguments, value] {
    arguments->hasValue = value->count() != 0;
    runAttribute(context, *arguments);
  });
}

}  // namespace tool
