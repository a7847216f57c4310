// attr, rm, ls, tree, show.
#include "tests/tool/ToolTest.h"

using testing::HasSubstr;

namespace {

class Administration : public ToolTest {
protected:
  void MakePump() {
    Out({"create", "Pump", "Speed", "--type", "I", "--value", "40", "--override", "W"});
    Out({"create", "Pump", "Name", "--type", "S", "--value", "Main \"pump\""});
    Out({"create", "Pump", "Empty", "--type", "D"});
    Out({"create", "Valve", "Open", "--type", "B", "--value", "true"});
  }
};

TEST_F(Administration, AttributesAreListedReadAndChanged) {
  MakePump();
  EXPECT_EQ(Out({"attr", "Pump", "Speed"}),
            "type         I\noverride     W\nreadonly     off\nreplicate    off\ndisableLog   off\n"
            "encrypt      off\ndecrypt      off\nunit         none\ndescription  none\nfunctional   none\n");
  Out({"attr", "Pump", "Speed", "replicate", "on"});
  Out({"attr", "Pump", "Speed", "@UNIT", "1/min"});
  Out({"attr", "Pump", "Speed", "override", "user"});
  EXPECT_EQ(Out({"attr", "Pump", "Speed", "replicate"}), "on\n");
  EXPECT_EQ(Out({"attr", "Pump", "Speed", "unit"}), "1/min\n");
  const Json all = JsonOut({"attr", "Pump", "Speed"});
  EXPECT_EQ(all["attributes"]["override"].Text(), "U");
  EXPECT_EQ(all["attributes"]["replicate"].Text(), "true");
  EXPECT_EQ(all["attributes"]["description"].Text(), "null");
  Out({"attr", "Pump", "Speed", "replicate", "off"});
  Out({"attr", "Pump", "Speed", "unit", "--clear"});
  Out({"attr", "Pump", "Speed", "override", "--clear"});
  EXPECT_EQ(Out({"attr", "Pump", "Speed", "replicate"}), "off\n");
  EXPECT_EQ(Out({"attr", "Pump", "Speed", "unit"}), "none\n");
  EXPECT_EQ(Out({"attr", "Pump", "Speed", "override"}), "none\n");
}

TEST_F(Administration, AttributesRefuseWhatMakesNoSense) {
  MakePump();
  EXPECT_TRUE(exitsWith(2, Run({"attr", "Pump", "Speed", "replicate", "yes"})));
  EXPECT_TRUE(exitsWith(2, Run({"attr", "Pump", "Speed", "colour", "red"})));
  EXPECT_TRUE(exitsWith(2, Run({"attr", "Pump", "Speed", "override", "X"})));
  EXPECT_TRUE(exitsWith(2, Run({"attr", "Pump", "Speed", "--clear"})));
  EXPECT_TRUE(exitsWith(1, Run({"attr", "Pump", "Speed", "type", "S"})));
  EXPECT_TRUE(exitsWith(1, Run({"attr", "Pump", "None", "replicate", "on"})));
  const RunResult run = Run({"attr", "Pump", "Speed", "decrypt", "on"});
  EXPECT_TRUE(exitsWith(1, run));
  EXPECT_THAT(run.err, HasSubstr("Invalid data type!"));
}

TEST_F(Administration, AMissingTypeCanBeGiven) {
  Import("Pump", "Old", "\"@value\"=dword:5\n");
  EXPECT_TRUE(exitsWith(1, Run({"get", "Pump", "Old"})));
  Out({"attr", "Pump", "Old", "type", "I"});
  EXPECT_EQ(Out({"get", "Pump", "Old"}), "5\n");
}

TEST_F(Administration, ATypeThatCannotBeReadCanBeMended) {
  for (const char* type : {"\"I\"", "hex:58,00", "hex:"}) {
    Import("Pump", "Odd", "\"@type\"=" + std::string(type) + "\n\"@value\"=dword:7\n\"WS07\"=\"long\"\n");
    EXPECT_THAT(Run({"get", "Pump", "Odd"}).err, HasSubstr("sps: next: sps attr Pump Odd type 'S|I|D|T|B'\n"))
        << type;
    const RunResult mended = Run({"attr", "Pump", "Odd", "type", "I"});
    EXPECT_TRUE(exitsWith(0, mended));
    EXPECT_THAT(mended.err, HasSubstr("its value \"WS07\" does not have the form of the type"));
    EXPECT_EQ(Out({"get", "Pump", "Odd"}), "7\n");
  }
}

TEST_F(Administration, ChangingDecryptTellsWhatIsLeftToDo) {
  MakePump();
  const RunResult run = Run({"attr", "Pump", "Name", "decrypt", "on"});
  EXPECT_TRUE(exitsWith(0, run));
  EXPECT_THAT(run.err, HasSubstr("sps set Pump Name --stdin"));
}

TEST_F(Administration, ListsAreStable) {
  MakePump();
  EXPECT_EQ(Out({"ls"}), "Pump\nValve\n");
  EXPECT_EQ(Out({"ls", "--spaces"}), "Default\n");
  EXPECT_EQ(Out({"ls", "pump"}), "Empty  D  <no value>\nName   S  \"Main \\\"pump\\\"\"\nSpeed  I  40\n");
  EXPECT_EQ(Out({"tree"}),
            "Default\n"
            "├── Pump\n"
            "│   ├── Empty  D  <no value>\n"
            "│   ├── Name   S  \"Main \\\"pump\\\"\"\n"
            "│   └── Speed  I  40\n"
            "└── Valve\n"
            "    └── Open  B  true\n");
}

TEST_F(Administration, ListsAreJsonToo) {
  MakePump();
  EXPECT_EQ(JsonOut({"ls", "--spaces"})["spaces"][0].Text(), "Default");
  EXPECT_EQ(JsonOut({"ls"})["topics"].Size(), 2U);
  const Json topic = JsonOut({"ls", "Pump"});
  EXPECT_EQ(topic["parameters"][2]["value"].Text(), "40");
  EXPECT_EQ(topic["parameters"][0]["value"].Text(), "null");
  const Json tree = JsonOut({"tree"});
  EXPECT_EQ(tree["topics"][1]["parameters"][0]["name"].Text(), "Open");
}

TEST_F(Administration, ControlCharactersNeverReachATable) {
  Out({"create", "T", "P", "--type", "S", "--value", "a\x1b[2Jb\nc"});
  EXPECT_EQ(Out({"ls", "T"}), "P  S  \"a\\u001b[2Jb\\nc\"\n");
}

TEST_F(Administration, MissingLevelsAreRefused) {
  MakePump();
  const RunResult topic = Run({"ls", "Pumps"});
  EXPECT_TRUE(exitsWith(1, topic));
  EXPECT_THAT(topic.err, HasSubstr("cannot list topic \"Pumps\" in space \"Default\""));
  EXPECT_TRUE(exitsWith(1, Run({"ls", "--space", "Nowhere"})));
  EXPECT_TRUE(exitsWith(1, Run({"tree", "Pumps"})));
  EXPECT_TRUE(exitsWith(1, Run({"show", "Pump", "None"})));
}

TEST_F(Administration, ShowDecodesTheKey) {
  Import("Pump", "Odd",
         "\"@type\"=hex:49,00\n\"@value\"=\"long text\"\n\"@override\"=hex:57,00\n\"WS07\"=dword:7\n"
         "\"@replicate\"=hex(0):\n\"@vendor\"=hex:01,ff\n\"@unit\"=\"rpm\"\n");
  const std::string text = Out({"show", "Pump", "Odd"});
  for (const char* line : {"key       HKEY_LOCAL_MACHINE\\Software\\Velor\\SPS\\Default\\Pump\\Odd\n",
                           "type      I (32-bit integer)\n", "value     REG_SZ 6c 00 6f 00",
                           "(not of the parameter's type)\n", "override  W (workstation)\n", "  WS07    7\n",
                           "flags     replicate\n", "unit      \"rpm\"\n", "@vendor   REG_BINARY 01 ff\n"}) {
    EXPECT_THAT(text, HasSubstr(line));
  }
  const Json key = JsonOut({"show", "Pump", "Odd"});
  EXPECT_EQ(key["value"]["malformed"].Text(), "true");
  EXPECT_EQ(key["overrideValues"][0]["name"].Text(), "WS07");
  EXPECT_EQ(key["others"][0]["content"].Text(), "01 ff");
}

TEST_F(Administration, RemoveTakesAParameterAValueOrATopic) {
  MakePump();
  Out({"set", "Pump", "Speed", "7", "--workstation", "WS07"});
  Out({"rm", "Pump", "Speed", "--value", "WS07", "--yes"});
  EXPECT_EQ(Out({"get", "Pump", "Speed", "--workstation", "WS07"}), "40\n");
  EXPECT_TRUE(exitsWith(1, Run({"rm", "Pump", "Speed", "--value", "WS07", "--yes"})));
  Out({"rm", "Pump", "Speed", "--yes"});
  EXPECT_TRUE(exitsWith(1, Run({"get", "Pump", "Speed"})));
  EXPECT_EQ(JsonOut({"rm", "Pump", "-y"})["removed"].Text(), "true");
  EXPECT_EQ(Out({"ls"}), "Valve\n");
  EXPECT_TRUE(exitsWith(1, Run({"rm", "Pump", "--yes"})));
  EXPECT_TRUE(exitsWith(1, Run({"rm", "Valve", "None", "--yes"})));
}

TEST_F(Administration, RemoveWithoutATerminalNeedsYes) {
  MakePump();
  for (const Arguments& arguments : {Arguments{"rm", "Pump"}, {"rm", "Pump", "Speed"}}) {
    const RunResult run = Run(arguments, "y\n");
    EXPECT_TRUE(exitsWith(2, run));
    EXPECT_THAT(run.err, HasSubstr("--yes"));
  }
  EXPECT_EQ(Out({"get", "Pump", "Speed"}), "40\n");
}

TEST_F(Administration, RemoveAsksAtATerminal) {
  MakePump();
  const RunResult no = RunOnTerminal({"rm", "Pump"}, "n\n");
  EXPECT_TRUE(exitsWith(1, no));
  EXPECT_THAT(no.out, HasSubstr("Remove topic \"Pump\" in space \"Default\" with 3 parameters? [y/N]"));
  EXPECT_EQ(Out({"get", "Pump", "Speed"}), "40\n");
  EXPECT_TRUE(exitsWith(0, RunOnTerminal({"rm", "Pump"}, "y\n")));
  EXPECT_EQ(Out({"ls"}), "Valve\n");
}

}  // namespace
