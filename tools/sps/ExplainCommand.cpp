#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "platform/registry/RegistryView.h"
#include "tools/sps/Attributes.h"
#include "tools/sps/Commands.h"
#include "tools/sps/Explain.h"
#include "tools/sps/Text.h"

namespace tool {

namespace {

struct ExplainArguments {
  ParameterArguments name;
  std::string type;
  bool reveal = false;
};

bool isMasked(const Explanation& explanation, bool reveal) {
  return explanation.scrambled && !reveal;
}

std::string resultLine(const Explanation& explanation, bool reveal) {
  if (isMasked(explanation, reveal)) return "<scrambled>";
  return valueLine(*explanation.value);
}

std::string identityText(const GlobalOptions& options) {
  std::string text;
  const auto add = [&](const char* kind, const std::string& name) {
    if (name.empty()) return;
    text += (text.empty() ? " for " : ", ") + std::string(kind) + ' ' + inQuotes(toUtf16(name, kind));
  };
  add("workstation", options.workstation);
  add("user", options.user);
  add("process instance", options.instance);
  return text;
}

std::string stepDetail(const Step& step, const Explanation& explanation, bool reveal) {
  if (step.outcome == Outcome::Taken) return resultLine(explanation, reveal);
  return step.code == 0 ? step.detail : step.detail + " (code " + std::to_string(step.code) + ')';
}

std::string explainText(Context& context, const ParameterName& name, const Explanation& explanation,
                        bool reveal) {
  std::vector<Row> rows;
  for (const Step& step : explanation.steps) {
    rows.push_back({step.name, outcomeWord(step.outcome), stepDetail(step, explanation, reveal)});
  }
  std::string text = context.Out().Bold("parameter " + name.Label() + ' ' + context.InSpace()) +
                     identityText(context.options) + '\n' + columns(rows, "  ");
  if (explanation.Succeeds()) text += context.Out().Good("result: " + resultLine(explanation, reveal)) + '\n';
  return text;
}

Json stepsJson(const Explanation& explanation) {
  Json steps = Json::array();
  for (const Step& step : explanation.steps) {
    steps.push_back({{"name", step.name},
                     {"outcome", outcomeWord(step.outcome)},
                     {"detail", step.detail},
                     {"code", step.code}});
  }
  return steps;
}

Json explainJson(Context& context, const ParameterName& name, const Explanation& explanation, bool reveal) {
  Json answer = parameterJson(context, name);
  answer["workstation"] = context.options.workstation;
  answer["user"] = context.options.user;
  answer["instance"] = context.options.instance;
  answer["steps"] = stepsJson(explanation);
  answer["err"] = explanation.err;
  if (!explanation.Succeeds()) return answer;
  answer["type"] = letterText(explanation.letter);
  answer["taken"] = toUtf8(explanation.takenFrom);
  answer["masked"] = isMasked(explanation, reveal);
  answer["value"] = isMasked(explanation, reveal) ? Json(nullptr) : valueJson(*explanation.value);
  return answer;
}

// The failing read itself, for its own words.
[[noreturn]] void refuseAsRead(Context& context, const ParameterName& name, const Explanation& explanation) {
  context.Log().Clear();
  std::uint32_t err = explanation.err;
  if (isTypeLetter(explanation.letter)) {
    Value value = emptyValue(explanation.letter);
    context.Parameters().Read(name.topic, name.par, value, err);
  } else {
    declaredValue(context, "read", name);
  }
  context.RefuseParameter("read", name, explanation.err);
}

void runExplain(Context& context, const ExplainArguments& arguments) {
  const ParameterName name = parameterName(arguments.name);
  const char16_t letter = arguments.type.empty() ? u'\0' : typeLetter(arguments.type);
  const RegistryView view;
  const Explanation explanation = explainRead(context.Parameters(), name.topic, name.par, letter);
  context.Answer([&] { return explainText(context, name, explanation, arguments.reveal); },
                 [&] { return explainJson(context, name, explanation, arguments.reveal); });
  if (!explanation.Succeeds()) refuseAsRead(context, name, explanation);
}

}  // namespace

void addExplainCommand(CLI::App& app, Context& context) {
  auto arguments = std::make_shared<ExplainArguments>();
  CLI::App* command =
      app.add_subcommand("explain", "Tell which value a read takes, and why the others do not apply");
  command->group(parameterGroup);
  addParameterArguments(*command, arguments->name);
  command->add_option("--as", arguments->type, "The type that the reading program asks for")
      ->type_name("S|I|D|T|B")
      ->check(notEmpty);
  command->add_flag("--reveal", arguments->reveal, "Show a scrambled value in plain text");
  command->callback([&context, arguments] {
    context.NeedsStore("explain", "the reads in the store of this machine");
    runExplain(context, *arguments);
  });
}

}  // namespace tool
