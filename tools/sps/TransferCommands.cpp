#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "platform/regtext/RegTextEncoding.h"
#include "platform/regtext/RegTextExport.h"
#include "platform/regtext/RegTextImport.h"
#include "tools/sps/Commands.h"
#include "tools/sps/Failure.h"
#include "tools/sps/Files.h"
#include "tools/sps/Text.h"

namespace tool {

namespace {

struct ImportArguments {
  std::string file;
  std::string within;
  bool dryRun = false;
};

struct ExportArguments {
  std::string key;
  std::string output;
  bool all = false;
  bool utf16 = false;
};

std::string sourceName(const std::string& file) {
  return file == "-" ? "standard input" : shellWord(file);
}

[[noreturn]] void refuseImport(const ImportArguments& arguments, const std::string& reason,
                               std::int64_t code) {
  throw Refused{"import " + sourceName(arguments.file) + ", nothing was changed", reason, code, {}};
}

regtext::ImportResult importFile(Context& context, const ImportArguments& arguments) {
  const regtext::Decoded decoded = regtext::decode(readFile(arguments.file));
  if (decoded.fault) refuseImport(arguments, decoded.fault.Message(), 0);
  const regtext::ImportOptions options{toUtf16(arguments.within, "key"), arguments.dryRun};
  Progress bar("importing");
  context.Log().Clear();
  return regtext::importText(decoded.text, options, [&](std::uint64_t ready, std::uint64_t total) {
    bar.Show(ready, total);
    return true;
  });
}

std::string importText(const regtext::ImportResult& result, bool dryRun) {
  std::string text = std::string(dryRun ? "would import " : "imported ") + counted(result.keys, "key") +
                     " (" + std::to_string(result.newKeys) + " new) and " + counted(result.values, "value");
  if (result.deletedKeys != 0 || result.deletedValues != 0) {
    text += dryRun ? ", would delete " : ", deleted ";
    text += counted(result.deletedKeys, "key") + " and " + counted(result.deletedValues, "value");
  }
  return text + '\n';
}

Json importJson(const regtext::ImportResult& result, bool dryRun) {
  return {{"dryRun", dryRun},
          {"keys", result.keys},
          {"newKeys", result.newKeys},
          {"values", result.values},
          {"deletedKeys", result.deletedKeys},
          {"deletedValues", result.deletedValues}};
}

void runImport(Context& context, const ImportArguments& arguments) {
  const regtext::ImportResult result = importFile(context, arguments);
  if (!result.Done()) refuseImport(arguments, result.Message(), result.status);
  context.Answer([&] { return importText(result, arguments.dryRun); },
                 [&] { return importJson(result, arguments.dryRun); });
}

// Without a key it is the space that was asked for, else the tree of all spaces.
std::u16string exportRoot(Context& context, const ExportArguments& arguments) {
  if (arguments.all && !arguments.key.empty()) throw WrongUsage("a KEY and --all exclude each other");
  if (arguments.all) return {};
  if (!arguments.key.empty()) return toUtf16(arguments.key, "key");
  Client& client = context.Parameters();
  return context.options.space.empty() ? client.RootPath() : client.SpacePath();
}

struct ExportedText {
  std::u16string text;
  regtext::ExportResult result;
};

ExportedText exportText(Context& context, const ExportArguments& arguments) {
  const std::u16string root = exportRoot(context, arguments);
  ExportedText exported;
  Progress bar("exporting, characters:");
  context.Log().Clear();
  // Collected first: the walk keeps old pages of the store in use, and what reads our output may be slow.
  exported.result = regtext::exportTree(
      root,
      [&](std::u16string_view piece) {
        exported.text += piece;
        bar.Show(exported.text.size(), 0);
        return true;
      },
      arguments.utf16 ? regtext::LineEnd::CrLf : regtext::LineEnd::Lf);
  if (!exported.result.Done()) {
    throw Refused{"export " + (root.empty() ? std::string("the registry") : oneLine(root)),
                  exported.result.text, exported.result.status, context.Next({"ls", "--spaces"})};
  }
  return exported;
}

std::string encoded(const std::u16string& text, bool utf16) {
  if (!utf16) return regtext::encodeUtf8(text);
  return std::string(regtext::utf16Mark) + regtext::encodeUtf16(text);
}

void runExport(Context& context, const ExportArguments& arguments) {
  const bool toFile = !arguments.output.empty() && arguments.output != "-";
  if (context.options.json && !toFile) throw WrongUsage("export --json needs --output FILE for the text");
  const ExportedText exported = exportText(context, arguments);
  const std::string bytes = encoded(exported.text, arguments.utf16);
  if (!toFile) return context.Print(bytes);
  writeFile(arguments.output, bytes);
  const regtext::ExportResult& result = exported.result;
  context.Answer(
      [&] {
        return "exported " + counted(result.keys, "key") + " and " + counted(result.values, "value") + '\n';
      },
      [&] {
        return Json{{"file", arguments.output}, {"keys", result.keys}, {"values", result.values}};
      });
}

}  // namespace

void addTransferCommands(CLI::App& app, Context& context) {
  auto import = std::make_shared<ImportArguments>();
  CLI::App* command = app.add_subcommand("import", "Apply a registry text, all of it or nothing");
  command->group(registryGroup);
  command->add_option("FILE", import->file, "Registry text, UTF-16 or UTF-8; - is standard input")
      ->required();
  command->add_option("--within", import->within, "Refuse a text that names a key outside this one")
      ->type_name("KEY");
  command->add_flag("--dry-run", import->dryRun, "Check and count, change nothing");
  command->callback([&context, import] { runImport(context, *import); });

  auto exporting = std::make_shared<ExportArguments>();
  command = app.add_subcommand("export", "Write a tree as registry text");
  command->group(registryGroup);
  command->add_option(
      "KEY", exporting->key,
      "Path with its hive, such as HKLM\\Software; without one the space of --space, or all spaces");
  command->add_flag("--all", exporting->all, "The whole registry");
  command->add_option("-o,--output", exporting->output, "File to write; else standard output")
      ->type_name("FILE");
  command->add_flag("--utf16", exporting->utf16, "UTF-16 with CR LF line ends instead of UTF-8 with LF");
  command->callback([&context, exporting] { runExport(context, *exporting); });
}

}  // namespace tool
