#include "tools/sps/Usage.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "platform/support/Utf.h"
#include "tools/sps/Text.h"

namespace tool {

namespace {

// Optimal string alignment. Words longer than any command need no figure.
std::size_t distance(std::string_view left, std::string_view right) {
  std::vector<std::vector<std::size_t>> steps(left.size() + 1, std::vector<std::size_t>(right.size() + 1));
  for (std::size_t i = 0; i <= left.size(); ++i) steps[i][0] = i;
  for (std::size_t j = 0; j <= right.size(); ++j) steps[0][j] = j;
  for (std::size_t i = 1; i <= left.size(); ++i) {
    for (std::size_t j = 1; j <= right.size(); ++j) {
      const std::size_t changed = left[i - 1] == right[j - 1] ? 0 : 1;
      steps[i][j] = std::min({steps[i - 1][j] + 1, steps[i][j - 1] + 1, steps[i - 1][j - 1] + changed});
      const bool swapped = i > 1 && j > 1 && left[i - 1] == right[j - 2] && left[i - 2] == right[j - 1];
      if (swapped) steps[i][j] = std::min(steps[i][j], steps[i - 2][j - 2] + 1);
    }
  }
  return steps[left.size()][right.size()];
}

const CLI::App& chosenCommand(const CLI::App& app) {
  const CLI::App* chosen = &app;
  while (!chosen->get_subcommands().empty()) chosen = chosen->get_subcommands().front();
  return *chosen;
}

std::vector<std::string> commandsOf(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
    names.push_back(command->get_name());
  }
  return names;
}

// Those of the command, and of all above it.
std::vector<std::string> optionsOf(const CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::App* app = &command; app != nullptr; app = app->get_parent()) {
    for (const CLI::Option* option : app->get_options()) {
      for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    }
  }
  return names;
}

std::string firstUnread(const CLI::App& app) {
  for (const std::string& word : app.remaining(true)) {
    if (word != "--") return word;
  }
  return {};
}

std::string noSuch(const std::string& kind, const std::string& word, const std::string& close) {
  const std::string fault = "there is no " + kind + ' ' + inQuotes(support::toUtf16(word));
  return close.empty() ? fault : fault + "; the nearest is " + inQuotes(support::toUtf16(close));
}

// It may have been meant as a value, too.
std::string noSuchOption(const std::string& word, const std::vector<std::string>& known) {
  const std::string close = nearest(word, known);
  const std::string fault = noSuch("option", word, close);
  return close.empty() ? fault + "; a name or value that begins with \"-\" goes behind \"--\"" : fault;
}

}  // namespace

std::string nearest(std::string_view word, const std::vector<std::string>& known) {
  constexpr std::size_t longest = 32;
  if (word.size() > longest) return {};
  const std::string wanted = CLI::detail::to_lower(std::string(word));
  std::size_t least = wanted.size() < 4 ? 2 : 3;  // no longer close
  std::string close;
  for (const std::string& one : known) {
    const std::size_t steps = distance(wanted, one);
    if (steps >= least) continue;
    least = steps;
    close = one;
  }
  return close;
}

std::string usageFault(const CLI::App& app, const CLI::ParseError& error) {
  const CLI::App& command = chosenCommand(app);
  const std::string word = firstUnread(app);
  if (word.starts_with("-")) return noSuchOption(word.substr(0, word.find('=')), optionsOf(command));
  const bool lacksCommand = command.get_require_subcommand_min() != 0;
  if (!lacksCommand) return error.what();
  if (word.empty()) return "a command is missing";
  const bool isFirst = command.get_parent() == nullptr;
  const std::string kind = isFirst ? "command" : "command of sps " + command.get_name();
  return noSuch(kind, word, nearest(word, commandsOf(command)));
}

}  // namespace tool
