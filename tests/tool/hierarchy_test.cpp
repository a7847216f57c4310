// hierarchy, where.
#include "tests/tool/MasterProcess.h"
#include "tests/tool/ToolTest.h"

using testing::HasSubstr;
using testing::Not;

namespace {

class HierarchyTest : public ToolTest {
protected:
  // A top with its standby, a domain of two hosts, a domain whose head is missing.
  void MakeHierarchy() {
    Out({"create", "DOMAINS", "D0000", "--type", "S", "--value",
         "0;CC1;Control \"A\";control1;4;9;CC2;Standby;control2;4;"});
    Out({"create", "DOMAINS", "D1100", "--type", "S", "--value",
         "1100;FS1;Server;filter0;2;1101;FS2;North;filter1;3;"});
    Out({"create", "DOMAINS", "D1200", "--type", "S", "--value", "1201;PS2;Intake;pump1;1;"});
    SetPlace("1100", "1101");
  }
  void SetPlace(const std::string& domain, const std::string& subdomain) {
    Out({"create", "Global", "DOMAIN", "--type", "I", "--value", domain});
    Out({"create", "Global", "SUBDOMAIN", "--type", "I", "--value", subdomain});
  }
};

TEST_F(HierarchyTest, IsDrawnAsATreeWithThisMachineMarked) {
  MakeHierarchy();
  EXPECT_EQ(Out({"hierarchy"}),
            "HOST             DOMAIN  SUBDOMAIN  DEVICE  DESCRIPTION\n"
            "control1         0       0          CC1     Control \"A\"\n"
            "└── filter0      1100    1100       FS1     Server\n"
            "    └── filter1  1100    1101       FS2     North  <- this machine\n"
            "control2         0       9          CC2     Standby\n"
            "pump1            1200    1201       PS2     Intake\n");
  const Json answer = JsonOut({"hierarchy"});
  EXPECT_EQ(answer["space"].Text(), "Default");
  EXPECT_EQ(answer["hosts"][3]["host"].Text(), "filter1");
  EXPECT_EQ(answer["hosts"][3]["parent"].Text(), "filter0");
  EXPECT_EQ(answer["hosts"][3]["here"].Text(), "true");
  EXPECT_EQ(answer["hosts"][4]["parent"].Text(), "null");
  EXPECT_EQ(answer["hosts"][4]["level"].Text(), "2");
}

TEST_F(HierarchyTest, IsAGraphForGraphviz) {
  MakeHierarchy();
  const std::string graph = Out({"hierarchy", "--dot"});
  EXPECT_THAT(graph, HasSubstr("n0 [label=\"control1\\nControl \\\"A\\\"\\n0 / 0\"];\n"));
  EXPECT_THAT(graph, HasSubstr("style=bold"));
  EXPECT_THAT(graph, HasSubstr("n2 -> n3;\n"));
  EXPECT_TRUE(exitsWith(2, Run({"hierarchy", "--dot", "--json"})));
}

TEST_F(HierarchyTest, IsDrawnWhereThisMachinesPlaceIsNotKnown) {
  Out({"create", "DOMAINS", "D0000", "--type", "S", "--value", "0;CC1;Control;control1;4;"});
  const RunResult run = Run({"hierarchy"});
  EXPECT_TRUE(exitsWith(0, run));
  EXPECT_THAT(run.out, HasSubstr("control1"));
  EXPECT_THAT(run.out, Not(HasSubstr("<- this machine")));
  EXPECT_THAT(run.err, HasSubstr("sps create Global DOMAIN"));
  Out({"create", "Global", "DOMAIN", "--type", "I", "--value", "0"});
  EXPECT_THAT(Run({"hierarchy"}).err, HasSubstr("sps create Global SUBDOMAIN"));
}

TEST_F(HierarchyTest, TellsWhereThisMachineIs) {
  MakeHierarchy();
  EXPECT_THAT(Out({"where"}), HasSubstr("domain        1100\n"
                                        "subdomain     1101\n"
                                        "level         2 (subdomain)\n"
                                        "host          filter1\n"
                                        "parent        filter0\n"));
  EXPECT_THAT(Out({"where"}), HasSubstr("the store of this machine, "));
  Out({"set", "Global", "SUBDOMAIN", "0"});
  EXPECT_THAT(Out({"where"}), HasSubstr("parent        <none>\n"));
  Out({"set", "Global", "SUBDOMAIN", "1201"});
  EXPECT_THAT(Out({"where"}), HasSubstr("parent        <its row is missing>\n"));
}

TEST_F(HierarchyTest, SaysWhyItCannotTell) {
  MakeStore();
  RunResult run = Run({"where"});
  EXPECT_TRUE(exitsWith(1, run));
  EXPECT_THAT(run.err, HasSubstr("The parameter node cannot be found!"));
  EXPECT_THAT(run.err, HasSubstr("next: sps create Global DOMAIN"));
  run = Run({"hierarchy"});
  EXPECT_TRUE(exitsWith(1, run));
  EXPECT_THAT(run.err, HasSubstr("cannot load the hierarchy of hosts in space \"Default\": Open node for "));
  MakeHierarchy();
  Out({"set", "Global", "SUBDOMAIN", "77"});
  run = Run({"where"});
  EXPECT_TRUE(exitsWith(1, run));
  EXPECT_THAT(run.err, HasSubstr("no host has its subdomain, 77"));
  Out({"set", "Global", "SUBDOMAIN", "--", "-1"});
  EXPECT_THAT(Run({"where"}).err, HasSubstr("its SUBDOMAIN is -1"));
  Out({"set", "DOMAINS", "D1200", "first;PS2;"});
  run = Run({"hierarchy"});
  EXPECT_TRUE(exitsWith(1, run));
  EXPECT_THAT(run.err, HasSubstr("Column \"subdomain\" takes no number from \"first\""));
}

TEST_F(HierarchyTest, AMasterTellsTheSame) {
  MakeHierarchy();
  const std::string drawn = Out({"hierarchy"});
  const std::string text = Out({"export", "HKLM\\Software\\Velor\\SPS"});
  const MasterProcess master(Path(""), {"--allow-read", "*"});
  Out({"--store", master.Store(), "import", "-"}, text);
  EXPECT_EQ(Out({"--server", master.Endpoint(), "hierarchy"}), drawn);
  EXPECT_THAT(Out({"--server", master.Endpoint(), "where"}),
              AllOf(HasSubstr("parent        filter0\n"), HasSubstr("the master " + master.Endpoint())));
}

TEST_F(HierarchyTest, SaysThatADomainWasLeftOut) {
  MakeHierarchy();
  Out({"create", "DOMAINS", "D1300", "--type", "I", "--value", "1"});
  const RunResult run = Run({"hierarchy"});
  EXPECT_TRUE(exitsWith(0, run));
  EXPECT_THAT(run.err, HasSubstr("a domain was left out: "));
  Out({"set", "DOMAINS", "D1200", "1201;PS2;Intake;pump1;1"});
  EXPECT_THAT(Run({"hierarchy"}).err, HasSubstr("without semicolon is left out: \"1\""));
}

}  // namespace
