#include <CLI/CLI.hpp>
#include <functional>
#include <nlohmann/json.hpp>

#include "platform/registry/RegistryStore.h"
#include "tools/sps/Commands.h"
#include "tools/sps/Failure.h"
#include "tools/sps/Text.h"

namespace tool {

namespace {

std::string storeLabel() {
  return "the store " + shellWord(registry::storeDirectory());
}

std::string infoText(const registry::StoreInfo& info) {
  return columns({{"directory", info.directory},
                  {"store id", info.storeId},
                  {"keys", std::to_string(info.keys)},
                  {"large values", std::to_string(info.values)},
                  {"used bytes", std::to_string(info.usedBytes)},
                  {"reserved bytes", std::to_string(info.reservedBytes)},
                  {"last transaction", std::to_string(info.lastTransaction)},
                  {"readers", std::to_string(info.readers)},
                  {"access", info.readOnly ? "read only" : "read and write"}});
}

Json infoJson(const registry::StoreInfo& info) {
  return {{"directory", info.directory},
          {"storeId", info.storeId},
          {"keys", info.keys},
          {"largeValues", info.values},
          {"usedBytes", info.usedBytes},
          {"reservedBytes", info.reservedBytes},
          {"lastTransaction", info.lastTransaction},
          {"readers", info.readers},
          {"readOnly", info.readOnly}};
}

void runInfo(Context& context) {
  context.RequireStore();
  registry::StoreInfo info;
  const LSTATUS status = registry::storeInfo(info);
  if (status != ERROR_SUCCESS) context.Refuse("open " + storeLabel(), status, {});
  context.Answer([&] { return infoText(info); }, [&] { return infoJson(info); });
}

void runCheck(Context& context) {
  context.RequireStore();
  std::string finding;
  const LSTATUS status = registry::verifyStore(finding);
  if (status != ERROR_SUCCESS) {
    const std::string reason = finding.empty() ? context.Log().Reason() : finding;
    // A copy helps against damage, not against rights that are missing.
    const bool isDamaged = status == ERROR_REGISTRY_CORRUPT || status == ERROR_NOT_REGISTRY_FILE;
    throw Refused{"vouch for " + storeLabel(), reason, status,
                  isDamaged ? context.Next({"store", "restore", "COPY"}) : std::string()};
  }
  context.Answer([] { return storeLabel() + " is in order\n"; },
                 [] {
                   return Json{{"directory", registry::storeDirectory()}, {"inOrder", true}};
                 });
}

void runCopy(Context& context, const std::string& target) {
  context.RequireStore();
  const LSTATUS status = registry::copyStore(target);
  if (status != ERROR_SUCCESS) {
    context.Refuse("copy " + storeLabel() + " to " + shellWord(target) + ", a new or empty directory", status,
                   {});
  }
  context.Answer([&] { return "copied " + storeLabel() + " to " + shellWord(target) + '\n'; },
                 [&] {
                   return Json{{"directory", registry::storeDirectory()}, {"copy", target}};
                 });
}

void runRestore(Context& context, const std::string& copy, bool yes) {
  const std::string what = storeLabel() + " by the copy " + shellWord(copy);
  if (!yes && !canAsk()) {
    throw WrongUsage(
        "store restore asks before it replaces the store, and there is no terminal to ask at: add --yes");
  }
  if (!yes && !ask("Replace " + what + '?')) throw Refused{"replace " + what, "not confirmed", 0, {}};
  const LSTATUS status = registry::restoreStore(copy, registry::storeDirectory());
  if (status == ERROR_ACCESS_DENIED) {
    context.Refuse("replace " + what + ", which must not be in use", status, context.Next({"store", "info"}));
  }
  if (status != ERROR_SUCCESS) context.Refuse("replace " + what, status, {});
  context.Answer([&] { return "restored " + storeLabel() + " from " + shellWord(copy) + '\n'; },
                 [&] {
                   return Json{{"directory", registry::storeDirectory()}, {"restoredFrom", copy}};
                 });
}

void runs(CLI::App& command, Context& context, std::function<void()> run) {
  command.callback([&context, run = std::move(run)] {
    context.NeedsStore("store", "the store of this machine");
    run();
  });
}

void addCopy(CLI::App& store, Context& context) {
  auto target = std::make_shared<std::string>();
  CLI::App* command = store.add_subcommand("copy", "Copy the store while it is in use");
  command->add_option("DIR", *target, "Directory for the copy, new or empty")->required();
  runs(*command, context, [&context, target] { runCopy(context, *target); });
}

void addRestore(CLI::App& store, Context& context) {
  auto copy = std::make_shared<std::string>();
  auto yes = std::make_shared<bool>(false);
  CLI::App* command = store.add_subcommand("restore", "Put a copy in the place of a store that nobody uses");
  command->add_option("COPY", *copy, "Directory of the copy")->required();
  command->add_flag("-y,--yes", *yes, "Do not ask");
  runs(*command, context, [&context, copy, yes] { runRestore(context, *copy, *yes); });
}

}  // namespace

void addStoreCommands(CLI::App& app, Context& context) {
  CLI::App* store = app.add_subcommand("store", "Look after the store: info, check, copy, restore");
  store->group(registryGroup);
  store->require_subcommand(1);
  runs(*store->add_subcommand("info", "Where the store lies and how large it is"), context,
       [&context] { runInfo(context); });
  runs(*store->add_subcommand("check", "Read and check every record of the store"), context,
       [&context] { runCheck(context); });
  addCopy(*store, context);
  addRestore(*store, context);
}

}  // namespace tool
