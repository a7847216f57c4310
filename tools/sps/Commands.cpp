#include "tools/sps/Commands.h"

#include <CLI/CLI.hpp>
#include <iostream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "tools/sps/Text.h"

namespace tool {

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

Value declaredValue(Context& context, const std::string& verb, const ParameterName& name) {
  constexpr std::int32_t invalidType = 16;
  Client& client = context.Parameters();
  context.Log().Clear();
  char16_t letter = 0;
  std::uint32_t err = 0;
  if (!client.DeclaredType(name.topic, name.par, letter, err)) context.RefuseParameter(verb, name, err);
  if (!isTypeLetter(letter)) {
    client.Report(invalidType, client.ParPath(name.topic, name.par) + u'\\' + Spc::m_pTYPE);
    context.RefuseParameter(verb, name, invalidType);
  }
  return emptyValue(letter);
}

std::string standardInputValue() {
  std::string text{std::istreambuf_iterator<char>(std::cin), {}};
  if (!text.empty() && text.back() == '\n') text.pop_back();
  if (!text.empty() && text.back() == '\r') text.pop_back();
  return text;
}

}  // namespace tool
