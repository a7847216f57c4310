#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "platform/registry/registry.h"
#include "tools/sps/Commands.h"
#include "tools/sps/Failure.h"
#include "tools/sps/Text.h"

namespace tool {

namespace {

struct Directory {
  const char* name;
  const char16_t* par;
  bool (Spc::*read)(UnicodeString&, std::uint32_t*);
};

const std::vector<Directory>& directories() {
  static const std::vector<Directory> all = {
      {"root", Spc::m_pParRootDir, &Spc::GetRootDir},       {"bin", Spc::m_pParBinDir, &Spc::GetBinDir},
      {"config", Spc::m_pParCfgDir, &Spc::GetCfgDir},       {"help", Spc::m_pParHlpDir, &Spc::GetHlpDir},
      {"install", Spc::m_pParInstDir, &Spc::GetInstDir},    {"log", Spc::m_pParLogDir, &Spc::GetLogDir},
      {"syslog", Spc::m_pPARSYSLOGDIR, &Spc::GetSysLogDir}, {"tmp", Spc::m_pParTmpDir, &Spc::GetTmpDir},
  };
  return all;
}

const Directory& chosenDirectory(const std::string& name) {
  std::string known;
  for (const Directory& one : directories()) {
    if (name == one.name) return one;
    known += (known.empty() ? "" : ", ") + std::string(one.name);
  }
  throw WrongUsage(inQuotes(toUtf16(name, "directory")) + " is no directory: expected one of " + known);
}

// A store that cannot be read must not look like one that says nothing.
bool isOfTheStore(std::uint32_t code) {
  return code == ERROR_ACCESS_DENIED || code >= ERROR_REGISTRY_CORRUPT;
}

[[noreturn]] void refuseDirectory(Context& context, const Directory& directory, std::uint32_t code) {
  context.Refuse(std::string("read the directory ") + directory.name + " (parameter \"Global/" +
                     toUtf8(directory.par) + "\") " + context.InSpace(),
                 code,
                 isOfTheStore(code) ? context.Next({"store", "info"})
                                    : context.Next({"create", "Global", toUtf8(directory.par)},
                                                   {{"--type", "S"}, {"--value", "DIR"}}));
}

void listDirectories(Context& context) {
  std::vector<Row> rows;
  Json answer{{"space", toUtf8(context.Parameters().GetPrcSpaceName().View())}};
  for (const Directory& one : directories()) {
    UnicodeString dir;
    std::uint32_t err = 0;
    const bool found = (context.Parameters().*one.read)(dir, &err);
    if (!found && isOfTheStore(err)) refuseDirectory(context, one, err);
    rows.push_back({one.name, toUtf8(one.par), found ? oneLine(dir.View()) : "<not set>"});
    answer["directories"][one.name] = found ? Json(toUtf8(dir.View())) : Json(nullptr);
  }
  context.Answer([&] { return columns(rows); }, [&] { return answer; });
}

void showDirectory(Context& context, const Directory& directory) {
  Client& client = context.Parameters();
  UnicodeString dir;
  std::uint32_t err = 0;
  if (!(client.*directory.read)(dir, &err)) refuseDirectory(context, directory, err);
  context.Answer([&] { return toUtf8(dir.View()) + '\n'; },
                 [&] {
                   Json answer{{"space", toUtf8(client.GetPrcSpaceName().View())}};
                   answer["directories"][directory.name] = toUtf8(dir.View());
                   return answer;
                 });
}

}  // namespace

void addDirectoryCommand(CLI::App& app, Context& context) {
  auto name = std::make_shared<std::string>();
  CLI::App* command = app.add_subcommand("dirs", "Print the directories of the installation");
  command->group(installationGroup);
  command->add_option("NAME", *name, "One directory: root, bin, config, help, install, log, syslog or tmp")
      ->check(notEmpty);
  command->callback([&context, name] {
    context.NeedsStore("dirs", "the directories of this machine");
    if (name->empty()) return listDirectories(context);
    showDirectory(context, chosenDirectory(*name));
  });
}

}  // namespace tool
