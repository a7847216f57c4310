#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "platform/regtext/RegTextEncoding.h"
#include "platform/regtext/RegTextExport.h"
#include "platform/regtext/RegTextImport.h"
#include "tools/sps/Commands.h"
#include "tools/sps/Failure.h"
#include "tools/sps/Files.h"
#include "tools/sps/Remote.h"
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

std::string askedFor(const ImportArguments& arguments) {
  return "import " + sourceName(arguments.file) + ", nothing was changed";
}

ImportCounts importHere(Context& context, const ImportArguments& arguments, const std::u16string& text) {
  const regtext::ImportOptions options{toUtf16(arguments.within, "key"), arguments.dryRun};
  if (arguments.dryRun) context.RequireStore();
  Progress bar("importing");
  context.Log().Clear();
  const regtext::ImportResult result =
      regtext::importText(text, options, [&](std::uint64_t ready, std::uint64_t total) {
        bar.Show(ready, total);
        return true;
      });
  if (!result.Done()) throw Refused{askedFor(arguments), result.Message(), result.status, {}};
  return {result.keys, result.values, result.newKeys, result.deletedKeys, result.deletedValues};
}

ImportCounts importFile(Context& context, const ImportArguments& arguments) {
  if (arguments.dryRun && context.IsRemote()) {
    throw WrongUsage("a master imports or it does not: --dry-run does not go with --server");
  }
  const regtext::Decoded decoded = regtext::decode(readFile(arguments.file));
  if (decoded.fault) throw Refused{askedFor(arguments), decoded.fault.Message(), 0, {}};
  if (!context.IsRemote()) return importHere(context, arguments, decoded.text);
  return remote::importText(context, askedFor(arguments), decoded.text, toUtf16(arguments.within, "key"));
}

std::string countsText(const ImportCounts& counts, bool dryRun) {
  std::string text = std::string(dryRun ? "would import " : "imported ") + counted(counts.keys, "key");
  if (counts.newKeys) text += " (" + std::to_string(*counts.newKeys) + " new)";
  text += " and " + counted(counts.values, "value");
  const std::uint64_t keys = counts.deletedKeys.value_or(0);
  const std::uint64_t values = counts.deletedValues.value_or(0);
  if (keys != 0 || values != 0) {
    text += dryRun ? ", would delete " : ", deleted ";
    text += counted(keys, "key") + " and " + counted(values, "value");
  }
  return text + '\n';
}

Json countsJson(const ImportCounts& counts, bool dryRun) {
  const auto known = [](const std::optional<std::uint64_t>& count) {
    return count ? Json(*count) : Json(nullptr);
  };
  return {{"dryRun", dryRun},
          {"keys", counts.keys},
          {"newKeys", known(counts.newKeys)},
          {"values", counts.values},
          {"deletedKeys", known(counts.deletedKeys)},
          {"deletedValues", known(counts.deletedValues)}};
}

void runImport(Context& context, const ImportArguments& arguments) {
  const ImportCounts counts = importFile(context, arguments);
  context.Answer([&] { return countsText(counts, arguments.dryRun); },
                 [&] { return countsJson(counts, arguments.dryRun); });
}

// Without a key it is the space that was asked for, else the tree of all spaces.
std::u16string exportRoot(Context& context, const ExportArguments& arguments) {
  if (arguments.all && !arguments.key.empty()) throw WrongUsage("a KEY and --all exclude each other");
  if (arguments.all) {
    context.NeedsStore("export --all", "the whole registry of this machine");
    return {};
  }
  if (!arguments.key.empty()) return toUtf16(arguments.key, "key");
  Client& client = context.Parameters();
  return context.options.space.empty() ? client.RootPath() : client.SpacePath();
}

ExportedText exportHere(Context& context, const std::u16string& root, bool crLf) {
  context.RequireStore();
  ExportedText exported;
  Progress bar("exporting, characters:");
  context.Log().Clear();
  // Collected first: the walk keeps old pages of the store in use, and what reads our output may be slow.
  const regtext::ExportResult result = regtext::exportTree(
      root,
      [&](std::u16string_view piece) {
        exported.text += piece;
        bar.Show(exported.text.size(), 0);
        return true;
      },
      crLf ? regtext::LineEnd::CrLf : regtext::LineEnd::Lf);
  if (!result.Done()) {
    throw Refused{"export " + (root.empty() ? std::string("the registry") : oneLine(root)), result.text,
                  result.status, context.Next({"ls"}, {{"--spaces"}})};
  }
  exported.keys = result.keys;
  exported.values = result.values;
  return exported;
}

std::string encoded(const std::u16string& text, bool utf16) {
  if (!utf16) return regtext::encodeUtf8(text);
  return std::string(regtext::utf16Mark) + regtext::encodeUtf16(text);
}

void runExport(Context& context, const ExportArguments& arguments) {
  const bool toFile = !arguments.output.empty() && arguments.output != "-";
  if (context.options.json && !toFile) throw WrongUsage("export --json needs --output FILE for the text");
  const std::u16string root = exportRoot(context, arguments);
  const ExportedText exported = context.IsRemote() ? remote::exportText(context, root, arguments.utf16)
                                                   : exportHere(context, root, arguments.utf16);
  const std::string bytes = encoded(exported.text, arguments.utf16);
  if (!toFile) return context.Print(bytes);
  writeFile(arguments.output, bytes);
  context.Answer(
      [&] {
        return "exported " + counted(exported.keys, "key") + " and " + counted(exported.values, "value") +
               '\n';
      },
      [&] {
        return Json{{"file", arguments.output}, {"keys", exported.keys}, {"values", exported.values}};
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
      ->type_name("KEY")
      ->check(notEmpty);
  command->add_flag("--dry-run", import->dryRun, "Check and count, change nothing");
  command->callback([&context, import] { runImport(context, *import); });

  auto exporting = std::make_shared<ExportArguments>();
  command = app.add_subcommand("export", "Write a tree as registry text");
  command->group(registryGroup);
  command
      ->add_option(
          "KEY", exporting->key,
          "Path with its hive, such as HKLM\\Software; without one the space of --space, or all spaces")
      ->check(notEmpty);
  command->add_flag("--all", exporting->all, "The whole registry");
  command->add_option("-o,--output", exporting->output, "File to write; else standard output")
      ->type_name("FILE")
      ->check(notEmpty);
  command->add_flag("--utf16", exporting->utf16, "UTF-16 with CR LF line ends instead of UTF-8 with LF");
  command->callback([&context, exporting] { runExport(context, *exporting); });
}

}  // namespace tool
