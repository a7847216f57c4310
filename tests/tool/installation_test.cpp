// dirs, logmode, version.
#include "tests/tool/ToolTest.h"

using testing::HasSubstr;

namespace {

class Installation : public ToolTest {};

TEST_F(Installation, DirectoriesComeWithTheirReferencesExpanded) {
  m_environment["PLANT"] = "/opt/plant";
  Out({"create", "Global", "PS_ROOT_DIR", "--type", "S", "--value", "/opt"});
  Out({"create", "Global", "PS_CONFIG_DIR", "--type", "S", "--super", "/etc/plant"});
  // "%PLANT%/log", expandable
  Import("Global", "PS_LOG_DIR",
         "\"@value\"=hex(2):25,00,50,00,4c,00,41,00,4e,00,54,00,25,00,2f,00,6c,00,6f,00,67,00,00,00\n");
  EXPECT_EQ(Out({"dirs"}),
            "root     PS_ROOT_DIR     /opt\nbin      PS_BIN_DIR      <not set>\n"
            "config   PS_CFG_DIR      /etc/plant\nhelp     PS_HLP_DIR      <not set>\n"
            "install  PS_INSTALL_DIR  <not set>\nlog      PS_LOG_DIR      /opt/plant/log\n"
            "syslog   PS_SYSLOG_DIR   <not set>\ntmp      PS_TMP_DIR      <not set>\n");
  EXPECT_EQ(Out({"dirs", "log"}), "/opt/plant/log\n");
  EXPECT_EQ(JsonOut({"dirs"})["directories"]["root"].Text(), "/opt");
  EXPECT_EQ(JsonOut({"dirs"})["directories"]["bin"].Text(), "null");
  const RunResult missing = Run({"dirs", "bin"});
  EXPECT_TRUE(exitsWith(1, missing));
  EXPECT_THAT(missing.err, HasSubstr("Node or parameter value name cannot be found!"));
  EXPECT_TRUE(exitsWith(2, Run({"dirs", "bim"})));
}

TEST_F(Installation, LogModesAreSetAndRead) {
  Out({"create", "DlgMgr", "LogMode", "--type", "S"});
  Out({"create", "ACSP-3", "LogMode", "--type", "S"});
  for (const char* mode : {"1", "2", "0"}) {
    Out({"logmode", "dlgmgr", mode});
    EXPECT_EQ(Out({"logmode", "dlgmgr"}), std::string(mode) + '\n');
  }
  Out({"logmode", "mac", "3", "2"});
  EXPECT_EQ(JsonOut({"logmode", "mac", "3"})["mode"].Text(), "2");
  EXPECT_EQ(Out({"logmode"}), "dms     0  (default)\ndlgmgr  0\nmac 3   2\n");
  EXPECT_EQ(JsonOut({"logmode"})["logModes"][0]["default"].Text(), "true");
}

TEST_F(Installation, LogModesThatCannotBeAreRefused) {
  MakeStore();
  const RunResult set = Run({"logmode", "mac", "9", "1"});
  EXPECT_TRUE(exitsWith(1, set));
  EXPECT_THAT(set.err, HasSubstr("The parameter node cannot be found!"));
  EXPECT_THAT(set.err, HasSubstr("Failed to set log mode 1 for MAC 9"));
  EXPECT_THAT(set.err, HasSubstr("sps create ACSP-9 LogMode --type S"));
  const RunResult read = Run({"logmode", "dms"});
  EXPECT_TRUE(exitsWith(0, read));
  EXPECT_EQ(read.out, "0\n");
  EXPECT_THAT(read.err, HasSubstr("using default value '0'"));
  for (const Arguments& arguments : {Arguments{"logmode", "dms", "1"},
                                     {"logmode", "dlgmgr", "3"},
                                     {"logmode", "dlgmgr", "-1"},
                                     {"logmode", "mac"},
                                     {"logmode", "mac", "x"},
                                     {"logmode", "other"},
                                     {"logmode", "dlgmgr", "1", "2"}}) {
    EXPECT_TRUE(exitsWith(2, Run(arguments))) << testing::PrintToString(arguments);
  }
}

TEST_F(Installation, TheVersionIsTheLibrarys) {
  const Json answer = JsonOut({"version"});
  EXPECT_EQ(answer["number"].Text(), "67307372");
  EXPECT_EQ(Out({"version"}), "sps " + answer["version"].Text() + '\n');
  EXPECT_EQ(Out({"--version"}), Out({"version"}));
}

}  // namespace
