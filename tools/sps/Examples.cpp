#include "tools/sps/Examples.h"

namespace tool {

namespace {

struct Example {
  std::string_view command;
  std::string_view lines;
};

constexpr Example examples[] = {
    {"get", "  sps get Operating RefreshInterval --instance TREND\n"},
    {"set",
     "  sps set Filtration TurbidityLimit 0.4\n"
     "  sps set Archive Password --stdin < password.txt\n"
     "  sps set Global PS_LOG_DIR '%HOME%/log' --expand\n"},
    {"create",
     "  sps create Filtration RinseTime --type I --value 90 --unit s\n"
     "  sps create Archive Token --type S --encrypt --stdin < token.txt\n"},
    {"attr",
     "  sps attr Archive Retention\n"
     "  sps attr Archive Retention readonly off\n"
     "  sps attr Archive Retention unit --clear\n"},
    {"rm",
     "  sps rm Filtration RinseTime\n"
     "  sps rm Operating RefreshInterval --value MIMIC --yes\n"},
    {"ls", "  sps ls Archive\n"},
    {"tree", "  sps tree Operating\n"},
    {"show", "  sps show Operating RefreshInterval\n"},
    {"explain", "  sps explain Operating StartPicture --user miller\n"},
    {"spaces", "  sps spaces\n"},
    {"topics", "  sps topics --space Training\n"},
    {"params", "  sps params Archive\n"},
    {"props", "  sps props Archive Retention\n"},
    {"walk", "  sps walk | grep @override\n"},
    {"delete space", "  sps delete space Training --dry-run\n"},
    {"delete topic", "  sps delete topic Archive --dry-run\n"},
    {"delete param", "  sps delete param Archive Token --yes\n"},
    {"delete prop", "  sps delete prop Operating RefreshInterval MIMIC\n"},
    {"dirs", "  sps dirs log\n"},
    {"logmode",
     "  sps logmode\n"
     "  sps logmode mac 3 2\n"},
    {"import",
     "  sps import plant.reg --dry-run\n"
     "  sps import - < plant.reg\n"},
    {"export", "  sps export --space Training -o training.reg\n"},
    {"store info", "  sps store info\n"},
    {"store check", "  sps store check --store /backup/monday\n"},
    {"store copy", "  sps store copy /backup/monday\n"},
    {"store restore", "  sps store restore /backup/monday\n"},
    {"master", "  sps master --server control1.example\n"},
    {"hierarchy", "  sps hierarchy --dot | dot -Tsvg > hosts.svg\n"},
    {"where", "  sps where\n"},
    {"version", "  sps version --server SYSPARSERVICE\n"},
};

}  // namespace

std::string_view examplesOf(std::string_view command) {
  for (const Example& example : examples) {
    if (example.command == command) return example.lines;
  }
  return {};
}

}  // namespace tool
