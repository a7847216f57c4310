#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "src/spc.h"
#include "tools/sps/Commands.h"
#include "tools/sps/VersionText.h"

namespace tool {

std::string versionText() {
  const std::uint32_t version = SpcGetVersion();
  return std::to_string(version >> 24) + '.' + std::to_string(version >> 16 & 0xFF) + '.' +
         std::to_string(version & 0xFFFF);
}

void addVersionCommand(CLI::App& app, Context& context) {
  CLI::App* command = app.add_subcommand("version", "Print the version of the library");
  command->group(installationGroup);
  command->callback([&context] {
    context.Answer([] { return "sps " + versionText() + '\n'; },
                   [] {
                     return Json{{"version", versionText()}, {"number", SpcGetVersion()}};
                   });
  });
}

}  // namespace tool
