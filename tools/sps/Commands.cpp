#include "tools/sps/Commands.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "platform/registry/registry.h"
#include "tools/sps/Failure.h"
#include "tools/sps/Remote.h"
#include "tools/sps/Text.h"

namespace tool {

namespace {

constexpr std::int32_t invalidType = 16;

}  // namespace

void addParameterArguments(CLI::App& command, ParameterArguments& arguments) {
  command.add_option("TOPIC", arguments.topic, "Topic of the parameter")->required();
  command.add_option("PARAMETER", arguments.par, "Name of the parameter")->required();
}

ParameterName parameterName(const ParameterArguments& arguments) {
  return {keyName(arguments.topic, "topic"), keyName(arguments.par, "parameter")};
}

Json parameterJson(Context& context, const ParameterName& name) {
  return {{"space", toUtf8(context.Parameters().GetPrcSpaceName().View())},
          {"topic", toUtf8(name.topic)},
          {"parameter", toUtf8(name.par)}};
}

std::vector<StoredValue> parameterValues(Context& context, const std::string& verb,
                                         const ParameterName& name) {
  if (context.IsRemote()) return remote::parameterValues(context, verb, name);
  RgNode node;
  std::uint32_t err = 0;
  if (!context.Parameters().Open(node, name.topic, name.par, err)) context.RefuseParameter(verb, name, err);
  return storedValues(node);
}

Value declaredValue(Context& context, const std::string& verb, const ParameterName& name) {
  Client& client = context.Parameters();
  context.Log().Clear();
  char16_t letter = 0;
  std::uint32_t err = 0;
  if (!client.DeclaredType(name.topic, name.par, letter, err)) {
    if (err != ERROR_MORE_DATA) context.RefuseParameter(verb, name, err);
    context.RefuseParameter(verb, name, err, context.NextForType(name));
  }
  if (!isTypeLetter(letter)) {
    client.Report(invalidType, client.ParPath(name.topic, name.par) + u'\\' + Spc::m_pTYPE);
    context.RefuseParameter(verb, name, invalidType, context.NextForType(name));
  }
  return emptyValue(letter);
}

Value declaredValue(Context& context, const std::string& verb, const ParameterName& name,
                    const ParameterKey& key) {
  if (isTypeLetter(key.letter)) return emptyValue(key.letter);
  const std::int32_t code = key.hasType ? invalidType : ERROR_FILE_NOT_FOUND;
  context.RefuseParameter(verb, name, code, context.NextForType(name));
}

Written parsedValue(const Value& declared, const SetArguments& arguments) {
  const std::string text = arguments.fromStdin ? standardInputValue() : arguments.value;
  Written written;
  written.value = parseValue(letterOf(declared), text);
  return written;
}

std::string notEmpty(const std::string& argument) {
  return argument.empty() ? "must not be empty" : "";
}

void refuseOtherTexts(Context& context, const ParameterName& name, const ParameterKey& key,
                      const std::u16string& written) {
  const std::vector<const Content*> contents = contentsOf(key);
  const auto other = std::ranges::find_if(
      contents, [&written](const Content* content) { return !sameName(content->name, written); });
  if (other == contents.end()) return;
  throw Refused{
      "scramble parameter " + name.Label() + ' ' + context.InSpace(),
      "its value " + inQuotes((*other)->name) + " is stored in plain and could not be read any more", 0,
      context.Next({"rm", toUtf8(name.topic), toUtf8(name.par)}, {{"--value", toUtf8((*other)->name)}})};
}

bool mustScramble(char16_t letter, bool encrypt, bool isScrambled) {
  if (letter == u'S') return encrypt || isScrambled;
  if (encrypt) throw WrongUsage("--encrypt is for text, the parameter is of type " + letterText(letter));
  return false;
}

void refuseExisting(Context& context, const ParameterName& name) {
  throw Refused{"create parameter " + name.Label() + ' ' + context.InSpace(), "it exists already", 0,
                context.Next({"show", toUtf8(name.topic), toUtf8(name.par)})};
}

std::string standardInputValue() {
  std::string text{std::istreambuf_iterator<char>(std::cin), {}};
  if (!text.empty() && text.back() == '\n') text.pop_back();
  if (!text.empty() && text.back() == '\r') text.pop_back();
  return text;
}

}  // namespace tool
