// import, export, store.
#include "tests/tool/ToolTest.h"

using testing::HasSubstr;
using testing::StartsWith;

namespace {

const std::string header = "Windows Registry Editor Version 5.00\n\n";
const std::string root = "HKEY_LOCAL_MACHINE\\Software\\Velor\\SPS";

class Transfer : public ToolTest {
protected:
  void MakeTree() {
    Out({"create", "Pump", "Speed", "--type", "I", "--value", "40"});
    Out({"create", "Pump", "Name", "--type", "S", "--value", "höher \\ \"weiter\""});
    Out({"create", "Access", "Key", "--type", "S", "--value", "secret", "--encrypt"});
    Out({"create", "Pump", "Ratio", "--type", "D", "--value", "0.1", "--space", "North"});
  }
  std::string Other() { return Path("other").string(); }
};

TEST_F(Transfer, ATreeSurvivesTheWayThroughAFile) {
  MakeTree();
  const std::string before = Out({"export"});
  for (const Arguments& form : {Arguments{}, Arguments{"--utf16"}}) {
    Arguments arguments = {"export", "-o", Path("plant.reg").string()};
    arguments.insert(arguments.end(), form.begin(), form.end());
    EXPECT_THAT(Out(arguments), StartsWith("exported "));
    const std::string store = Path(form.empty() ? "first" : "second").string();
    const Json counts = JsonOut({"import", Path("plant.reg").string(), "--store", store});
    EXPECT_EQ(counts["deletedKeys"].Text(), "0");
    EXPECT_EQ(Out({"export", "--store", store}), before);
    EXPECT_EQ(Out({"get", "Access", "Key", "--store", store}), "secret\n");
  }
  EXPECT_THAT(ReadFile("plant.reg"), StartsWith("\xFF\xFE"));
}

TEST_F(Transfer, ExportTakesAKeyASpaceOrAll) {
  MakeTree();
  EXPECT_THAT(Out({"export", "--space", "North"}), testing::Not(HasSubstr("Default")));
  EXPECT_EQ(
      Out({"export", "HKLM\\Software\\Velor\\SPS\\Default\\Pump\\Speed"}),
      header + '[' + root + "\\Default\\Pump\\Speed]\n\"@type\"=hex:49,00\n\"@value\"=dword:00000028\n\n");
  EXPECT_THAT(Out({"export", "--all"}), HasSubstr("[HKEY_USERS]"));
  const RunResult missing = Run({"export", "HKLM\\None"});
  EXPECT_TRUE(exitsWith(1, missing));
  EXPECT_THAT(missing.err, HasSubstr("cannot export HKLM\\None"));
}

TEST_F(Transfer, AFailedExportLeavesTheOldFile) {
  WriteFile("old.reg", "old");
  EXPECT_TRUE(exitsWith(1, Run({"export", "HKLM\\None", "-o", Path("old.reg").string()})));
  EXPECT_EQ(ReadFile("old.reg"), "old");
  MakeTree();
  const RunResult run = Run({"export", "-o", Path("none/new.reg").string()});
  EXPECT_TRUE(exitsWith(1, run));
  EXPECT_THAT(run.err, HasSubstr("No such file or directory"));
}

TEST_F(Transfer, AFaultNamesItsLineAndNothingIsChanged) {
  MakeTree();
  const std::string before = Out({"export"});
  WriteFile("bad.reg",
            header + "[-" + root + "\\Default\\Pump]\n[" + root + "\\Default\\New]\n\"a\"=word:1\n");
  const RunResult run = Run({"import", Path("bad.reg").string()});
  EXPECT_TRUE(exitsWith(1, run));
  EXPECT_THAT(run.err, HasSubstr("bad.reg, nothing was changed: line 5: "));
  EXPECT_EQ(Out({"export"}), before);
  EXPECT_TRUE(exitsWith(1, Run({"import", "-"}, "no registry text")));
  EXPECT_TRUE(exitsWith(1, Run({"import", Path("none.reg").string()})));
  EXPECT_TRUE(exitsWith(1, Run({"import", Path(".").string()})));
}

TEST_F(Transfer, ADryRunAndABoundaryChangeNothing) {
  MakeTree();
  const std::string before = Out({"export"});
  const std::string text =
      header + "[-" + root + "\\Default\\Pump]\n[" + root + "\\Default\\New]\n\"a\"=dword:1\n";
  EXPECT_EQ(Out({"import", "-", "--dry-run"}, text),
            "would import 1 key (1 new) and 1 value, would delete 3 keys and 0 values\n");
  EXPECT_TRUE(exitsWith(1, Run({"import", "-", "--within", root + "\\North"}, text)));
  EXPECT_EQ(Out({"export"}), before);
  Out({"import", "-", "--within", root + "\\Default"}, text);
  EXPECT_EQ(Out({"ls"}), "Access\nNew\n");
}

TEST_F(Transfer, JsonAndATextDoNotShareOneStream) {
  MakeTree();
  EXPECT_TRUE(exitsWith(2, Run({"export", "--json"})));
  const Json answer = JsonOut({"export", "-o", Path("x.reg").string()});
  EXPECT_EQ(answer["file"].Text(), Path("x.reg").string());
}

TEST_F(Transfer, AStoreIsCopiedCheckedAndRestored) {
  MakeTree();
  const Json info = JsonOut({"store", "info"});
  EXPECT_EQ(info["directory"].Text(), Path("store").string());
  EXPECT_EQ(info["readOnly"].Text(), "false");
  EXPECT_THAT(Out({"store", "check"}), HasSubstr("is in order"));
  Out({"store", "copy", Path("copy").string()});
  Out({"set", "Pump", "Speed", "41"});
  EXPECT_EQ(Out({"get", "Pump", "Speed", "--store", Path("copy").string()}), "40\n");
  EXPECT_TRUE(exitsWith(1, Run({"store", "copy", Path("copy").string()})));
  EXPECT_TRUE(exitsWith(2, Run({"store", "restore", Path("copy").string()})));
  EXPECT_EQ(Out({"get", "Pump", "Speed"}), "41\n");
  Out({"store", "restore", Path("copy").string(), "--yes"});
  EXPECT_EQ(Out({"get", "Pump", "Speed"}), "40\n");
  EXPECT_TRUE(exitsWith(1, Run({"store", "restore", Path("none").string(), "--yes"})));
}

TEST_F(Transfer, ADamagedStoreIsRefused) {
  MakeTree();
  const auto file = Path("store") / "data.mdb";
  ASSERT_TRUE(std::filesystem::exists(file));
  std::filesystem::resize_file(file, 4096);
  for (const Arguments& arguments : {Arguments{"get", "Pump", "Speed"},
                                     {"ls"},
                                     {"store", "check"},
                                     {"store", "info"},
                                     {"create", "A", "B", "--type", "I"}}) {
    const RunResult run = Run(arguments);
    EXPECT_TRUE(exitsWith(1, run)) << testing::PrintToString(arguments);
    EXPECT_THAT(run.err, HasSubstr("sps: cannot ")) << testing::PrintToString(arguments);
  }
}

}  // namespace
