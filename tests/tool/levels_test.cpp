// spaces, topics, params, props, walk, delete.
#include "tests/tool/MasterProcess.h"
#include "tests/tool/ToolTest.h"

using testing::HasSubstr;

namespace {

const std::string root = "[HKEY_LOCAL_MACHINE\\Software\\Velor\\SPS\\";

// Default: Empty (), Pump (Bare, Name, Speed)    North: Valve (Open)
const std::string tree =
    "Windows Registry Editor Version 5.00\n\n" + root + "Default\\Empty]\n\n" + root +
    "Default\\Pump\\Bare]\n\n" + root +
    "Default\\Pump\\Name]\n\"@type\"=hex:53,00\n\"@value\"=\"a\\\\b\"\n\"@readonly\"=hex(0):\n\n" + root +
    "Default\\Pump\\Speed]\n\"@value\"=dword:28\n\"WS07\"=dword:37\n\n" + root +
    "North\\Valve\\Open]\n\"@value\"=hex:01\n";

class LevelCommands : public ToolTest {
protected:
  LevelCommands() { Out({"import", "-"}, tree); }
  void ExpectRefused(int exitCode, const Arguments& arguments, const std::string& says) {
    const RunResult run = Run(arguments);
    EXPECT_TRUE(exitsWith(exitCode, run)) << testing::PrintToString(arguments);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, HasSubstr(says));
  }
};

TEST_F(LevelCommands, EachLevelIsListed) {
  EXPECT_EQ(Out({"spaces"}), "Default\nNorth\n");
  EXPECT_EQ(Out({"topics"}), "Empty\nPump\n");
  EXPECT_EQ(Out({"topics", "--space", "north"}), "Valve\n");
  EXPECT_EQ(Out({"params", "pump"}), "Bare\nName\nSpeed\n");
  EXPECT_EQ(Out({"params", "Empty"}), "");
  EXPECT_EQ(
      Out({"props", "Pump", "Name"}),
      "@readonly  REG_NONE    (no data)\n@type      REG_BINARY  53 00\n@value     REG_SZ      \"a\\\\b\"\n");
  EXPECT_EQ(Out({"props", "Pump", "Bare"}), "");
  EXPECT_EQ(JsonOut({"spaces"})["spaces"][1].Text(), "North");
  EXPECT_EQ(JsonOut({"params", "Pump"})["parameters"].Size(), 3U);
  const Json name = JsonOut({"props", "Pump", "Name"});
  EXPECT_EQ(name["parameter"].Text(), "Name");
  EXPECT_EQ(name["properties"][2]["content"].Text(), "a\\b");
  EXPECT_EQ(name["properties"][2]["size"].Text(), "8");
}

TEST_F(LevelCommands, AWalkShowsEveryPropertyAndWhatIsEmpty) {
  const std::string pump =
      "Default\\Pump\\Bare\n"
      "Default\\Pump\\Name   @readonly  REG_NONE    (no data)\n"
      "Default\\Pump\\Name   @type      REG_BINARY  53 00\n"
      "Default\\Pump\\Name   @value     REG_SZ      \"a\\\\b\"\n"
      "Default\\Pump\\Speed  @value     REG_DWORD   40\n"
      "Default\\Pump\\Speed  WS07       REG_DWORD   55\n";
  EXPECT_EQ(Out({"walk", "Pump"}), pump);
  EXPECT_EQ(Out({"walk", "--space", "Default"}), "Default\\Empty\n" + pump);
  EXPECT_EQ(Out({"walk", "--space", "North"}), "North\\Valve\\Open  @value  REG_BINARY  01\n");
  const Json all = JsonOut({"walk"});
  EXPECT_EQ(all["spaces"].Size(), 2U);
  EXPECT_EQ(all["spaces"][0]["topics"][1]["parameters"][2]["properties"][1]["content"].Text(), "55");
}

TEST_F(LevelCommands, WhatIsMissingIsRefused) {
  ExpectRefused(1, {"topics", "--space", "South"}, "cannot list space \"South\": not found (code 2)");
  ExpectRefused(1, {"params", "None"}, "sps: next: sps topics\n");
  ExpectRefused(1, {"props", "Pump", "None"}, "sps: next: sps params Pump\n");
  ExpectRefused(1, {"walk", "None"}, "cannot walk topic \"None\" in space \"Default\"");
  ExpectRefused(1, {"delete", "space", "South", "--yes"}, "cannot delete space \"South\"");
  ExpectRefused(1, {"delete", "topic", "None", "--dry-run"}, "not found (code 2)");
  ExpectRefused(1, {"delete", "param", "Pump", "None", "--yes"}, "next: sps params Pump");
  ExpectRefused(1, {"delete", "prop", "Pump", "Speed", "None", "--yes"}, "property \"None\" of parameter");
}

TEST_F(LevelCommands, EachLevelIsDeleted) {
  Out({"delete", "prop", "Pump", "Speed", "ws07", "--yes"});
  EXPECT_EQ(Out({"props", "Pump", "Speed"}), "@value  REG_DWORD  40\n");
  Out({"delete", "param", "Pump", "Name", "-y"});
  EXPECT_EQ(Out({"params", "Pump"}), "Bare\nSpeed\n");
  const Json answer = JsonOut({"delete", "topic", "pump", "--yes"});
  EXPECT_EQ(answer["dryRun"].Text(), "false");
  EXPECT_EQ(answer["entries"].Size(), 3U);
  EXPECT_EQ(Out({"topics"}), "Empty\n");
  Out({"delete", "space", "Default", "--yes"});
  EXPECT_EQ(Out({"spaces"}), "North\n");
}

TEST_F(LevelCommands, ADryRunListsWhatWouldGo) {
  EXPECT_EQ(Out({"delete", "space", "Default", "--dry-run", "--yes"}),
            "topic  Default\\Empty\n"
            "param  Default\\Pump\\Bare\n"
            "param  Default\\Pump\\Name   read-only\n"
            "param  Default\\Pump\\Speed\n"
            "topic  Default\\Pump\n"
            "space  Default\n"
            "would delete space \"Default\" with 2 topics and 3 parameters, 1 of them read-only\n");
  EXPECT_EQ(Out({"delete", "prop", "Pump", "Speed", "WS07", "--dry-run"}),
            "prop  Default\\Pump\\Speed  WS07\n"
            "would delete property \"WS07\" of parameter \"Pump/Speed\" in space \"Default\"\n");
  const Json answer = JsonOut({"delete", "param", "Pump", "Name", "--dry-run"});
  EXPECT_EQ(answer["dryRun"].Text(), "true");
  EXPECT_EQ(answer["entries"][0]["path"].Text(), "Default\\Pump\\Name");
  EXPECT_EQ(answer["entries"][0]["readOnly"].Text(), "true");
  EXPECT_EQ(Out({"params", "Pump"}), "Bare\nName\nSpeed\n");
}

TEST_F(LevelCommands, DeletionAsksAtATerminalAndNeedsYesElsewhere) {
  ExpectRefused(2, {"delete", "topic", "Pump"}, "--yes");
  const RunResult no = RunOnTerminal({"delete", "space", "Default"}, "n\n");
  EXPECT_TRUE(exitsWith(1, no));
  EXPECT_THAT(
      no.out,
      HasSubstr("Delete space \"Default\" with 2 topics and 3 parameters, 1 of them read-only? [y/N]"));
  EXPECT_EQ(Out({"topics"}), "Empty\nPump\n");
  const RunResult yes = RunOnTerminal({"delete", "param", "Pump", "Name"}, "y\n");
  EXPECT_TRUE(exitsWith(0, yes));
  EXPECT_THAT(yes.out, HasSubstr("in space \"Default\", which is read-only? [y/N]"));
  EXPECT_EQ(Out({"params", "Pump"}), "Bare\nSpeed\n");
}

TEST_F(LevelCommands, KeysBelowAParameterStopTheDeletionBeforeItBegins) {
  Import("Pump", "Speed\\Below", "\"x\"=dword:1\n");
  const RunResult dryRun = Run({"delete", "space", "Default", "--dry-run"});
  EXPECT_TRUE(exitsWith(1, dryRun)) << "as the deletion would";
  EXPECT_THAT(dryRun.out, HasSubstr("param  Default\\Pump\\Speed  has keys of its own\n"));
  EXPECT_THAT(dryRun.out, testing::Not(HasSubstr("would delete")));
  ExpectRefused(1, {"delete", "space", "Default", "--yes"},
                "parameter \"Pump/Speed\" in space \"Default\" has keys of its own (code 5, access denied)\n"
                "sps: next: sps rm Pump Speed --space Default\n");
  EXPECT_EQ(Out({"topics"}), "Empty\nPump\n");
}

TEST_F(LevelCommands, AMasterIsWalkedAndDeletedInLikeAStore) {
  MasterProcess master(Path(""), {"--allow-read", "*"});
  const auto with = [](Arguments arguments, const Arguments& more) {
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
  };
  const Arguments there = {"--server", master.Endpoint()};
  const Arguments here = {"--store", master.Store()};
  Out(with(here, {"import", "-"}), tree);
  for (const Arguments& arguments :
       {Arguments{"spaces"}, Arguments{"topics"}, Arguments{"params", "Pump"},
        Arguments{"props", "Pump", "Name"}, Arguments{"walk"}, Arguments{"walk", "--space", "North"},
        Arguments{"walk", "Pump", "--json"}, Arguments{"delete", "space", "North", "--dry-run"}}) {
    EXPECT_EQ(Out(with(there, arguments)), Out(with(here, arguments))) << testing::PrintToString(arguments);
  }
  Out(with(there, {"delete", "prop", "Pump", "Speed", "WS07", "--yes"}));
  Out(with(there, {"delete", "param", "Pump", "Speed", "--yes"}));
  Out(with(there, {"delete", "topic", "Empty", "--yes"}));
  Out(with(there, {"delete", "space", "North", "--yes"}));
  ExpectRefused(1, with(there, {"delete", "topic", "Pump", "--yes"}),
                "parameter \"Pump/Name\" in space \"Default\" is read-only (code 15)");
  const RunResult dryRun = Run(with(there, {"delete", "topic", "Pump", "--dry-run"}));
  EXPECT_TRUE(exitsWith(1, dryRun));
  EXPECT_THAT(dryRun.out, HasSubstr("param  Default\\Pump\\Name  read-only\n"));
  const Arguments property = {"delete", "prop", "Pump", "Name", "--dry-run"};
  EXPECT_TRUE(exitsWith(1, Run(with(there, with(property, {"@value"})))));
  EXPECT_TRUE(exitsWith(0, Run(with(there, with(property, {"@READONLY"})))));
  Out(with(here, {"import", "-"}), "Windows Registry Editor Version 5.00\n\n" + root +
                                       "Default\\Pump\\Bare\\Below]\n\"@readonly\"=hex(0):\n");
  const RunResult below = Run(with(there, {"delete", "param", "Pump", "Bare", "--dry-run"}));
  EXPECT_TRUE(exitsWith(1, below));
  EXPECT_EQ(below.out, "key    Default\\Pump\\Bare\\Below  read-only\nparam  Default\\Pump\\Bare\n");
  EXPECT_THAT(below.err, HasSubstr("key \"Default\\\\Pump\\\\Bare\\\\Below\" is read-only (code 15)\n"));
  ExpectRefused(1, with(there, {"params", "None"}), "cannot list topic \"None\"");
  EXPECT_EQ(Out(with(here, {"walk"})),
            "Default\\Pump\\Bare\n"
            "Default\\Pump\\Name  @readonly  REG_NONE    (no data)\n"
            "Default\\Pump\\Name  @type      REG_BINARY  53 00\n"
            "Default\\Pump\\Name  @value     REG_SZ      \"a\\\\b\"\n");
}

}  // namespace
