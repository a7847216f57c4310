// sps: the command line of the system parameters.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>

#include "platform/support/StandardStreams.h"
#include "tools/sps/Commands.h"
#include "tools/sps/Examples.h"
#include "tools/sps/Failure.h"
#include "tools/sps/Usage.h"
#include "tools/sps/VersionText.h"

namespace tool {

namespace {

constexpr const char* footer =
    "Exit codes:\n"
    "  0  done\n"
    "  1  not found or refused; standard error says why\n"
    "  2  the command line is wrong\n"
    "\n"
    "Environment:\n"
    "  PROCESS_SPACE  process space where --space is not given (else \"Default\")\n"
    "  SPS_REGISTRY   directory of the store where --store is not given\n"
    "  SYSPARSERVICE  where the master of that name is reached; see also SPS_TLS_CERT, _KEY and _CA\n"
    "  NO_COLOR       no colours, on a terminal either\n"
    "\n"
    "A value that begins with a minus sign goes after \"--\", unless a digit follows:\n"
    "  sps set Pump Mode -- -auto\n";

void addGlobalOptions(CLI::App& app, GlobalOptions& options) {
  app.add_option("--space", options.space, "Process space")->type_name("NAME")->check(notEmpty);
  app.add_option("--workstation", options.workstation, "Workstation whose override values apply")
      ->type_name("NAME");
  app.add_option("--user", options.user, "User whose override values apply")->type_name("NAME");
  app.add_option("--instance", options.instance, "Process instance whose override values apply")
      ->type_name("NAME");
  app.add_option("--server", options.server,
                 "Go to the master there: a host, an endpoint or SYSPARSERVICE, instead of a store")
      ->type_name("NAME");
  app.add_option("--store", options.store, "Directory of the store")->type_name("DIR")->check(notEmpty);
  app.add_flag("--json", options.json, "Answer in JSON");
  app.add_flag("--trace", options.trace, "Show the library's trace on standard error");
  app.set_version_flag("--version", [] { return "sps " + versionText(); });
}

void addCommands(CLI::App& app, Context& context) {
  addValueCommands(app, context);
  addCreateCommand(app, context);
  addAttributeCommand(app, context);
  addRemoveCommand(app, context);
  addListCommands(app, context);
  addShowCommand(app, context);
  addExplainCommand(app, context);
  addDirectoryCommand(app, context);
  addLogModeCommand(app, context);
  addLevelCommands(app, context);
  addDeleteCommand(app, context);
  addTransferCommands(app, context);
  addStoreCommands(app, context);
  addMasterCommand(app, context);
  addHierarchyCommands(app, context);
  addVersionCommand(app, context);
}

// The help of one command leaves what holds for all of them to the tool's own.
void completeHelp(CLI::App& app, const std::string& above) {
  for (CLI::App* command : app.get_subcommands([](CLI::App*) { return true; })) {
    const std::string words = above + command->get_name();
    const std::string_view examples = examplesOf(words);
    const std::string shown = examples.empty() ? "" : "Examples:\n" + std::string(examples) + '\n';
    command->footer(shown + "Options for every command, exit codes and environment: sps --help");
    completeHelp(*command, words + ' ');
  }
}

std::string helpFor(const CLI::App& app) {
  std::string command = "sps";
  for (const CLI::App* chosen = &app; !chosen->get_subcommands().empty();) {
    chosen = chosen->get_subcommands().front();
    command += ' ' + chosen->get_name();
  }
  return command + " --help";
}

Json errorJson(const Refused& refusal) {
  Json error{{"asked", refusal.asked}, {"reason", refusal.reason}, {"code", refusal.code}};
  if (!refusal.next.empty()) error["next"] = refusal.next;
  return Json{{"error", std::move(error)}};
}

// Codes of a connection are known by their hexadecimal form.
std::string codeNumber(std::int64_t code) {
  constexpr std::int64_t connectionCodes = 0x20000000;
  if (code < connectionCodes) return std::to_string(code);
  std::array<char, 20> text{};
  const int length = std::snprintf(text.data(), text.size(), "0x%llx", static_cast<unsigned long long>(code));
  return {text.data(), static_cast<std::size_t>(length)};
}

std::string codeText(const Refused& refusal) {
  if (refusal.code == 0) return {};
  const std::string text = registryText(refusal.code);
  const bool said = text.empty() || text == refusal.reason;
  return " (code " + codeNumber(refusal.code) + (said ? "" : ", " + text) + ')';
}

void printErrorJson(const Refused& refusal) {
  std::cerr << errorJson(refusal).dump(-1, ' ', false, Json::error_handler_t::replace) << '\n';
}

int report(const Refused& refusal, const Context& context) {
  std::cout.flush();
  if (context.options.json) {
    printErrorJson(refusal);
    return refused;
  }
  const Style style(2);
  std::cerr << style.Bad("sps:") << " cannot " << refusal.asked;
  if (!refusal.reason.empty()) std::cerr << ": " << refusal.reason;
  std::cerr << codeText(refusal) << '\n';
  if (!refusal.next.empty()) std::cerr << "sps: next: " << refusal.next << '\n';
  return refused;
}

int reportUsage(const std::string& what, const CLI::App& app, bool asJson) {
  std::cout.flush();
  if (asJson) {
    printErrorJson({"read the command line", what, 0, helpFor(app)});
    return wrongUsage;
  }
  std::cerr << Style(2).Bad("sps:") << ' ' << what << "\nsps: usage: " << helpFor(app) << '\n';
  return wrongUsage;
}

// As it is written: where the line cannot be read, the options may not have been.
bool asksForJson(int argc, char** argv) {
  const std::vector<std::string_view> words(argv, argv + argc);
  const auto end = std::ranges::find(words, "--");
  return std::find(words.begin(), end, "--json") != end;
}

int runCommand(CLI::App& app, Context& context, int argc, char** argv) {
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& help) {
    app.exit(help);
  } catch (const CLI::ParseError& error) {
    return reportUsage(usageFault(app, error), app, asksForJson(argc, argv));
  } catch (const WrongUsage& error) {
    return reportUsage(error.what(), app, context.options.json);
  } catch (const Refused& refusal) {
    return report(refusal, context);
  } catch (const std::exception& error) {
    return report({"go on", error.what(), 0, {}}, context);
  }
  if (std::cout.flush()) return done;
  return report({"write the answer", "standard output takes no more", 0, {}}, context);
}

int run(int argc, char** argv) {
  Context context;
  CLI::App app{"Reads, changes and administers system parameters.", "sps"};
  app.footer(footer);
  app.require_subcommand(1);
  app.fallthrough();
  addGlobalOptions(app, context.options);
  app.parse_complete_callback([&context] { context.Begin(); });
  addCommands(app, context);
  completeHelp(app, {});
  return runCommand(app, context, argc, argv);
}

}  // namespace

}  // namespace tool

int main(int argc, char** argv) {
  support::reserveStandardStreams();
  try {
    return tool::run(argc, argv);
  } catch (...) {  // out of memory before there is anything to report with
    std::fputs("sps: cannot start\n", stderr);
    return tool::refused;
  }
}
