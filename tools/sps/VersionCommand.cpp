#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "src/spc.h"
#include "tools/sps/Commands.h"
#include "tools/sps/Text.h"
#include "tools/sps/VersionText.h"

namespace tool {

std::string versionText() {
  const std::uint32_t version = SpcGetVersion();
  return std::to_string(version >> 24) + '.' + std::to_string(version >> 16 & 0xFF) + '.' +
         std::to_string(version & 0xFFFF);
}

namespace {

void answerMasterVersion(Context& context) {
  std::u16string version;
  const Master::Code code = context.AtMaster().Version(version);
  if (code != 0) context.Refuse("ask the master for its version", code, {});
  context.Answer([&] { return "master " + oneLine(version) + '\n'; },
                 [&] {
                   return Json{{"server", *context.options.server}, {"version", toUtf8(version)}};
                 });
}

}  // namespace

void addVersionCommand(CLI::App& app, Context& context) {
  CLI::App* command = app.add_subcommand("version", "Print the version of the library, or of a master");
  command->group(installationGroup);
  command->callback([&context] {
    if (context.IsRemote()) return answerMasterVersion(context);
    context.Answer([] { return "sps " + versionText() + '\n'; },
                   [] {
                     return Json{{"version", versionText()}, {"number", SpcGetVersion()}};
                   });
  });
}

}  // namespace tool
