// What holds for every command: wrong usage, streams, colours, trace.
#include <algorithm>

#include "tests/tool/ToolTest.h"

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

class WrongUsage : public ToolTest, public testing::WithParamInterface<Arguments> {};

TEST_P(WrongUsage, IsToldOnStandardErrorAndTouchesNoStore) {
  const RunResult run = Run(GetParam());
  EXPECT_TRUE(exitsWith(2, run));
  EXPECT_EQ(run.out, "");
  EXPECT_THAT(run.err, StartsWith("sps: "));
  EXPECT_THAT(run.err, HasSubstr("--help"));
  EXPECT_FALSE(std::filesystem::exists(Path("store")));
}

INSTANTIATE_TEST_SUITE_P(
    Table, WrongUsage,
    testing::Values(Arguments{}, Arguments{"gte", "T", "P"}, Arguments{"get"}, Arguments{"get", "T"},
                    Arguments{"get", "T", "P", "more"}, Arguments{"get", "T", "P", "--colour"},
                    Arguments{"set", "T", "P"}, Arguments{"set", "T", "P", "1", "--stdin"},
                    Arguments{"create", "T", "P"}, Arguments{"create", "T", "P", "--type", "X"},
                    Arguments{"create", "T", "P", "--type", "I", "--override", "X"}, Arguments{"rm"},
                    Arguments{"rm", "T", "--value", "V", "--yes"}, Arguments{"params"},
                    Arguments{"props", "T"}, Arguments{"delete"}, Arguments{"delete", "value", "T", "P", "V"},
                    Arguments{"delete", "space", ""}, Arguments{"delete", "space", "S", "--space", "S"},
                    Arguments{"delete", "topic", "a\\b"}, Arguments{"delete", "prop", "T", "P", ""},
                    Arguments{"ls", "T", "--spaces"}, Arguments{"import"},
                    Arguments{"export", "HKLM", "--all"}, Arguments{"store"}, Arguments{"store", "copy"},
                    Arguments{"explain", "T", "P", "--as", "Q"}, Arguments{"--space", "a\\b", "ls"},
                    Arguments{"--master", "x", "ls"}, Arguments{"--space", "", "ls"},
                    Arguments{"--store", "", "ls"}, Arguments{"import", "-", "--within", ""},
                    Arguments{"create", "T", "P", "--type", "I", "--override", ""},
                    Arguments{"attr", "T", "P", ""}, Arguments{"attr", "T", "P", "type", "--clear"},
                    Arguments{"dirs", ""}, Arguments{"walk", ""}, Arguments{"export", ""},
                    Arguments{"export", "-o", ""}, Arguments{"set", "T", "P", "x", "--expand", "--plain"},
                    Arguments{"set", "T", "P", "1", "--user", "@type"},
                    Arguments{"get", "T", "P", "--instance", "@override"}));

struct WrongWord {
  Arguments arguments;
  const char* told;
};

class WrongWords : public ToolTest, public testing::WithParamInterface<WrongWord> {};

TEST_P(WrongWords, AreNamedWithTheNearestOnes) {
  Arguments arguments = GetParam().arguments;
  EXPECT_THAT(Run(arguments).err, StartsWith("sps: " + std::string(GetParam().told) + '\n'));
  arguments.push_back("--json");
  const RunResult run = Run(arguments);
  EXPECT_TRUE(exitsWith(2, run));
  EXPECT_EQ(Json::Parse(run.err)["error"]["reason"].Text(), GetParam().told);
}

INSTANTIATE_TEST_SUITE_P(
    Table, WrongWords,
    testing::Values(WrongWord{{}, "a command is missing"},
                    WrongWord{{"gte", "T", "P"}, "there is no command \"gte\"; the nearest is \"get\""},
                    WrongWord{{"EXPRT"}, "there is no command \"EXPRT\"; the nearest is \"export\""},
                    WrongWord{{"frobnicate"}, "there is no command \"frobnicate\""},
                    WrongWord{{"xy"}, "there is no command \"xy\""},
                    WrongWord{{"store", "chek"},
                              "there is no command of sps store \"chek\"; the nearest is \"check\""},
                    WrongWord{{"get", "T", "P", "--sapce=S"},
                              "there is no option \"--sapce\"; the nearest is \"--space\""},
                    WrongWord{{"set", "T", "P", "-auto"},
                              "there is no option \"-auto\"; a name or value that begins with \"-\" goes "
                              "behind \"--\""}));

class Places : public ToolTest {};

TEST_F(Places, OnlyWhatMakesAStoreMakesOne) {
  WriteFile("text.reg", "Windows Registry Editor Version 5.00\n");
  const std::string text = Path("text.reg").string();
  for (const Arguments& arguments : {Arguments{"get", "T", "P"},
                                     {"set", "T", "P", "1"},
                                     {"ls"},
                                     {"tree"},
                                     {"show", "T", "P"},
                                     {"explain", "T", "P"},
                                     {"attr", "T", "P", "readonly", "on"},
                                     {"rm", "T", "--yes"},
                                     {"spaces"},
                                     {"topics"},
                                     {"walk"},
                                     {"delete", "space", "S", "--yes"},
                                     {"dirs"},
                                     {"logmode"},
                                     {"where"},
                                     {"export"},
                                     {"export", "--all"},
                                     {"import", text, "--dry-run"},
                                     {"store", "info"},
                                     {"store", "check"},
                                     {"store", "copy", Path("copy").string()}}) {
    const RunResult run = Run(arguments);
    EXPECT_TRUE(exitsWith(1, run)) << testing::PrintToString(arguments);
    EXPECT_THAT(run.err, HasSubstr("there is none at this place"));
    EXPECT_FALSE(std::filesystem::exists(Path("store"))) << testing::PrintToString(arguments);
  }
  for (const Arguments& arguments : {Arguments{"create", "T", "P", "--type", "I"}, {"import", text}}) {
    m_environment["SPS_REGISTRY"] = Path("made by " + arguments[0]).string();
    Out(arguments);
    Out({"store", "info"});
  }
}

class Streams : public ToolTest {};

// A file that got the number of a closed stream would take what the tool prints.
TEST_F(Streams, NoFileTakesTheNumberOfAClosedOne) {
  Out({"create", "T", "P", "--type", "S", "--value", "kept"});
  const std::string before = ReadFile("store/data.mdb");
  const std::vector<int> closed[] = {{0}, {1}, {2}, {0, 1}, {0, 2}, {1, 2}, {0, 1, 2}};
  for (const auto& streams : closed) {
    const bool canAnswer = std::ranges::count(streams, 1) == 0;
    EXPECT_EQ(RunWithout(streams, {"ls"}), canAnswer ? 0 : 1) << testing::PrintToString(streams);
    EXPECT_NE(RunWithout(streams, {"get", "T", "none"}), 0);
    RunWithout(streams, {"export", "-o", Path("out.reg")});
  }
  EXPECT_EQ(ReadFile("store/data.mdb"), before);
  EXPECT_EQ(Out({"get", "T", "P"}), "kept\n");
}

TEST_F(Streams, HelpIsAnAnswer) {
  const std::string help = Out({"--help"});
  EXPECT_THAT(Out({"delete", "prop", "--help"}), HasSubstr("\n  sps delete prop "));
  for (const char* command : {"get",     "set",    "create", "attr",   "rm",     "ls",     "tree",   "show",
                              "explain", "spaces", "topics", "params", "props",  "walk",   "delete", "dirs",
                              "logmode", "import", "export", "store",  "master", "version"}) {
    EXPECT_THAT(help, HasSubstr("\n  " + std::string(command) + ' '));
    EXPECT_THAT(Out({command, "--help"}), HasSubstr("Usage: sps " + std::string(command)));
  }
}

TEST_F(Streams, AnAnswerThatCannotBeWrittenIsAFailure) {
  const RunResult run = RunInto("/dev/full", {"version"});
  EXPECT_TRUE(exitsWith(1, run));
  EXPECT_THAT(run.err, HasSubstr("cannot write the answer"));
}

TEST_F(Streams, ColoursAreForTerminalsThatWantThem) {
  const Arguments failing = {"get", "T", "P"};
  EXPECT_THAT(RunOnTerminal(failing, "").out, HasSubstr("\033["));
  EXPECT_THAT(Run(failing).err, Not(HasSubstr("\033[")));
  m_environment["NO_COLOR"] = "1";
  EXPECT_THAT(RunOnTerminal(failing, "").out, Not(HasSubstr("\033[")));
}

TEST_F(Streams, TraceShowsTheLibrarysLines) {
  MakeStore();
  const RunResult run = Run({"get", "T", "P", "--trace"});
  EXPECT_THAT(run.err, HasSubstr("Process space currently valid: Default"));
  EXPECT_THAT(run.err,
              HasSubstr(" Open node for HKEY_LOCAL_MACHINE\\Software\\Velor\\SPS\\Default\\T\\P failed"));
}

TEST_F(Streams, TheNextStepKeepsStoreAndSpaceAndQuotes) {
  Out({"create", "Main pump", "P", "--type", "I", "--space", "North"});
  const RunResult run = Run({"get", "Main pump", "Q", "--space", "North"});
  EXPECT_THAT(run.err, HasSubstr("sps: next: sps --space North ls 'Main pump'\n"));
}

struct NextStep {
  Arguments failing;
  const char* next;
};

// The store has the parameter "-a b/$'\n" in the space "-S", a text in plain.
TEST_F(Streams, TheNextStepIsOneThatTheShellAndTheToolTakeAsItIsMeant) {
  Out({"create", "--space=-S", "--type", "S", "--value", "v", "--super", "x", "--", "-a b", "$'\n"});
  const NextStep steps[] = {
      {{"get", "--space=-S", "--", "-a b", "none"}, "--space=-S ls -- '-a b'"},
      {{"set", "--encrypt", "--space=-S", "--", "-a b", "$'\n", "x"},
       "--space=-S rm --value @superValue -- '-a b' $'$\\'\\x0a'"},
      {{"get", "--space", "x;y", "T", "P"}, "--space 'x;y' ls --spaces"},
  };
  for (const auto& [failing, next] : steps) {
    EXPECT_THAT(Run(failing).err, HasSubstr("sps: next: sps " + std::string(next) + '\n'));
  }
  Out({"rm", "--space=-S", "--value", "@superValue", "--yes", "--", "-a b", "$'\n"});
}

}  // namespace
