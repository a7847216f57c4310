// --server: the commands at a master, and sps master.
#include "tests/tool/MasterProcess.h"
#include "tests/tool/ToolTest.h"

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

const std::string root = "HKEY_LOCAL_MACHINE\\Software\\Velor\\SPS";

class AtMaster : public ToolTest {
protected:
  static Arguments With(Arguments arguments, const Arguments& more) {
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
  }
  Arguments Remote(const Arguments& arguments) { return With({"--server", m_master.Endpoint()}, arguments); }
  Arguments Local(const Arguments& arguments) { return With({"--store", m_master.Store()}, arguments); }
  Arguments Unproven(const Arguments& arguments) {
    return With({"--server", m_master.LoopbackEndpoint()}, arguments);
  }

  std::string There(const Arguments& arguments, const std::string& input = {}) {
    return Out(Remote(arguments), input);
  }
  std::string Here(const Arguments& arguments, const std::string& input = {}) {
    return Out(Local(arguments), input);
  }
  void ExpectSame(const Arguments& arguments) {
    EXPECT_EQ(There(arguments), Here(arguments)) << testing::PrintToString(arguments);
  }
  void ExpectRefused(int exitCode, const Arguments& arguments, const std::string& says) {
    const RunResult run = Run(arguments);
    EXPECT_TRUE(exitsWith(exitCode, run)) << testing::PrintToString(arguments);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, HasSubstr(says));
  }

  void MakePlant() {
    Here({"import", "-"}, "Windows Registry Editor Version 5.00\n\n[" + root +
                              "\\Default\\Pump\\Odd]\n\"@type\"=hex:49,00\n\"@value\"=\"long\"\n"
                              "\"@vendor\"=hex:01,ff\n\n[" +
                              root + "\\Default\\Pump\\Bare]\n\"@value\"=dword:1\n\n[" + root +
                              "\\North\\Valve\\Raw]\n\"@type\"=hex:53,00\n\"@value\"=hex:61,00\n\n[" + root +
                              "\\North\\Valve\\Short]\n\"@type\"=hex:49,00\n\"@value\"=hex:07\n"
                              "\"@override\"=hex:57\n\"WS07\"=dword:1\n");
    Here({"create", "Pump", "Speed", "--type", "I", "--value", "40", "--override", "W", "--unit", "1/min"});
    Here({"set", "Pump", "Speed", "55", "--workstation", "WS07"});
    Here({"create", "Pump", "Name", "--type", "S", "--value", "Main \"pump\" höher", "--readonly"});
    Here({"create", "Pump", "Empty", "--type", "D"});
    Here({"create", "Pump", "Rest", "--type", "T", "--super", "-9000000000"});
    Here({"create", "Access", "Key", "--type", "S", "--value", "secret", "--encrypt"});
    Here({"create", "Valve", "Open", "--type", "B", "--value", "true", "--space", "North"});
  }

  MasterProcess m_master{Path(""), {"--allow-read", "*"}};
};

TEST_F(AtMaster, AScramblingThatFailsLeavesTheTextReadable) {
  There({"create", "T", "P", "--type", "S", "--value", "plain"});
  const RunResult run = Run(Remote({"set", "T", "P", "--stdin", "--encrypt"}), std::string(9000, 'x'));
  EXPECT_TRUE(exitsWith(1, run));
  EXPECT_EQ(There({"get", "T", "P"}), "plain\n");
}

TEST_F(AtMaster, ATextThatBecomesPlainIsTold) {
  Here({"create", "T", "P", "--type", "S"});
  Here({"set", "T", "P", "%HOME%", "--expand"});
  const RunResult run = Run(Remote({"set", "T", "P", "%HOME%/x"}));
  EXPECT_TRUE(exitsWith(0, run));
  EXPECT_THAT(run.err, HasSubstr("an import writes the other kind, hex(2)"));
  EXPECT_EQ(Run(Remote({"set", "T", "P", "y"})).err, "");
  ExpectRefused(2, Remote({"set", "T", "P", "z", "--expand"}), "--expand does not go with --server");
}

TEST_F(AtMaster, TheHierarchyIsThatOfItsOwnSpace) {
  ExpectRefused(2, Remote({"hierarchy", "--space", "Training"}), "own process space");
}

TEST_F(AtMaster, AnswersAreThoseOfTheStoreBehindIt) {
  MakePlant();
  for (const Arguments& arguments :
       {Arguments{"get", "Pump", "Speed"}, Arguments{"get", "Pump", "Speed", "--workstation", "ws07"},
        Arguments{"get", "Pump", "Rest"}, Arguments{"get", "Access", "Key"},
        Arguments{"get", "valve", "open", "--space", "north"}, Arguments{"ls"}, Arguments{"ls", "--spaces"},
        Arguments{"ls", "Pump"}, Arguments{"ls", "Pump", "--workstation", "WS07"}, Arguments{"ls", "Access"},
        Arguments{"ls", "Access", "--reveal"}, Arguments{"tree"},
        Arguments{"tree", "--space", "North", "--workstation", "WS07"}, Arguments{"tree", "Pump"},
        Arguments{"attr", "Pump", "Speed"}, Arguments{"attr", "Pump", "Bare"},
        Arguments{"attr", "Pump", "Speed", "unit"}, Arguments{"attr", "Pump", "Name", "readonly"}}) {
    ExpectSame(arguments);
    ExpectSame(With({"--json"}, arguments));
  }
  for (const Arguments& arguments :
       {Arguments{"export"}, Arguments{"export", "--utf16"}, Arguments{"export", "--space", "North"},
        Arguments{"export", "HKLM\\Software\\Velor\\SPS\\Default\\Pump"}}) {
    ExpectSame(arguments);
  }
  EXPECT_FALSE(std::filesystem::exists(Path("store")));
}

TEST_F(AtMaster, ShowLacksOnlyTheTimeOfTheChange) {
  MakePlant();
  for (const char* par : {"Speed", "Name", "Odd", "Bare"}) {
    const std::string local = Here({"show", "Pump", par});
    std::string expected;
    for (std::size_t begin = 0, end = 0; begin < local.size(); begin = end + 1) {
      end = local.find('\n', begin);
      const std::string line = local.substr(begin, end - begin + 1);
      if (!line.starts_with("changed ")) expected += line;
    }
    EXPECT_EQ(There({"show", "Pump", par}), expected);
  }
  EXPECT_EQ(Json::Parse(There({"--json", "show", "Pump", "Speed"}))["changed"].Text(), "null");
}

TEST_F(AtMaster, SetWritesWhatAStoreWouldGet) {
  MakePlant();
  There({"set", "Pump", "Speed", "41"});
  There({"set", "Pump", "Speed", "42", "--workstation", "WS07"});
  const RunResult fresh = Run(Remote({"set", "Pump", "Speed", "43", "--workstation", "WS08"}));
  EXPECT_TRUE(exitsWith(0, fresh));
  EXPECT_THAT(fresh.err, HasSubstr("The override doesn't exist, so it is created!"));
  There({"set", "Pump", "Speed", "44", "--super"});
  There({"set", "Access", "Key", "--stdin"}, "new secret\n");
  There({"set", "Valve", "Open", "false", "--space", "North"});
  EXPECT_EQ(Here({"get", "Pump", "Speed"}), "41\n");
  EXPECT_EQ(Here({"get", "Pump", "Speed", "--workstation", "WS07"}), "42\n");
  EXPECT_EQ(Here({"get", "Pump", "Speed", "--workstation", "WS08"}), "43\n");
  EXPECT_THAT(Here({"show", "Pump", "Speed"}), HasSubstr("superValue  44\n"));
  EXPECT_EQ(Here({"get", "Access", "Key"}), "new secret\n");
  EXPECT_THAT(Here({"export"}), Not(HasSubstr("new secret")));
  EXPECT_EQ(Here({"get", "Valve", "Open", "--space", "North"}), "false\n");
  EXPECT_EQ(Json::Parse(There({"--json", "set", "Pump", "Empty", "0.1"}))["written"].Text(), "@value");
  EXPECT_EQ(There({"get", "Pump", "Empty"}), "0.1\n");
  ExpectRefused(2, Remote({"set", "Pump", "Speed", "fast"}), "is no 32-bit integer");
  ExpectRefused(1, Remote({"set", "Access", "Key", std::string(5000, 'x')}), "more than one request");
}

TEST_F(AtMaster, ANewParameterIsTheOneThatAStoreWouldGet) {
  const Arguments create = {
      "create",     "Pump", "Token",      "--type",      "S",         "--value", "x", "--super",       "y",
      "--override", "U",    "--readonly", "--replicate", "--encrypt", "--unit",  "u", "--description", "d"};
  There(create);
  Out(create);
  EXPECT_EQ(There({"attr", "Pump", "Token"}), Out({"attr", "Pump", "Token"}));
  EXPECT_EQ(There({"get", "Pump", "Token"}), "x\n");
  EXPECT_THAT(ReadFile("audit.jsonl"), Not(HasSubstr("\"value\":\"x\"")));
  ExpectRefused(1, Remote(create), "it exists already");
}

TEST_F(AtMaster, AttributesChange) {
  MakePlant();
  There({"attr", "Pump", "Speed", "replicate", "on"});
  There({"attr", "Pump", "Speed", "override", "user"});
  There({"attr", "Pump", "Speed", "description", "what for"});
  There({"attr", "Pump", "Speed", "unit", "--clear"});
  There({"attr", "Pump", "Speed", "disableLog", "off"});
  There({"attr", "Pump", "Bare", "type", "I"});
  There({"attr", "Pump", "Name", "readonly", "off"});
  EXPECT_EQ(Here({"attr", "Pump", "Speed"}),
            "type         I\noverride     U\nreadonly     off\nreplicate    on\ndisableLog   off\n"
            "encrypt      off\ndecrypt      off\nunit         none\ndescription  \"what for\"\n"
            "functional   none\n");
  EXPECT_EQ(Here({"get", "Pump", "Bare"}), "1\n");
  EXPECT_EQ(Here({"attr", "Pump", "Name", "readonly"}), "off\n");
  ExpectRefused(1, Remote({"attr", "Pump", "Speed", "type", "S"}), "cannot change the type");
  ExpectRefused(1, Remote({"attr", "Pump", "Speed", "decrypt", "on"}), "Invalid data type!");
}

TEST_F(AtMaster, RemoveTakesAValueAParameterOrATopic) {
  MakePlant();
  There({"rm", "Pump", "Speed", "--value", "WS07", "--yes"});
  EXPECT_EQ(Here({"get", "Pump", "Speed", "--workstation", "WS07"}), "40\n");
  ExpectRefused(1, Remote({"rm", "Pump", "Speed", "--value", "WS07", "--yes"}), "(code 2");
  There({"rm", "Pump", "Speed", "--yes"});
  ExpectRefused(1, Local({"get", "Pump", "Speed"}), "(code 11)");
  ExpectRefused(1, Remote({"rm", "Pump", "--yes"}), "readonly");
  There({"rm", "Access", "--yes"});
  EXPECT_EQ(Here({"ls"}), "Pump\n");
  ExpectRefused(2, Remote({"rm", "Pump", "Odd"}), "--yes");
}

TEST_F(AtMaster, ATextGoesInWholeOrNotAtAll) {
  MakePlant();
  const std::string text = There({"export"});
  There({"rm", "Access", "--yes"});
  EXPECT_EQ(There({"import", "-"}, text), "imported 16 keys and 27 values\n");
  EXPECT_EQ(Here({"export"}), text);
  const RunResult fault = Run(Remote({"import", "-"}), "Windows Registry Editor Version 5.00\n\n[-" + root +
                                                           "\\Default]\n[" + root + "\\A]\n\"a\"=word:1\n");
  EXPECT_TRUE(exitsWith(1, fault));
  EXPECT_THAT(fault.err, HasSubstr("nothing was changed: line 5: "));
  const RunResult outside =
      Run(Remote({"import", "-"}), "Windows Registry Editor Version 5.00\n\n[HKEY_LOCAL_MACHINE\\Other]\n");
  EXPECT_TRUE(exitsWith(1, outside));
  EXPECT_THAT(outside.err, HasSubstr("line 3: "));
  EXPECT_EQ(Here({"export"}), text);
  ExpectRefused(1, Remote({"export", "--space", "Nowhere"}), "(code 2");
  ExpectRefused(2, Remote({"export", "HKLM\\Other"}), "lies outside");
}

TEST_F(AtMaster, MissingThingsAreRefusedWithTheWayToThem) {
  MakePlant();
  const std::string tool = "sps --server " + m_master.Endpoint();
  ExpectRefused(1, Remote({"get", "Pump", "Sped"}),
                "The parameter node cannot be found! (code 11)\nsps: next: " + tool + " ls Pump\n");
  ExpectRefused(1, Remote({"get", "Pumps", "Speed"}), "sps: next: " + tool + " ls\n");
  ExpectRefused(1, Remote({"get", "Pump", "Empty"}), "sps: next: " + tool + " show Pump Empty\n");
  ExpectRefused(1, Remote({"get", "Pump", "Bare"}), "(code 2");
  ExpectRefused(1, Remote({"ls", "Pumps"}), "cannot list topic \"Pumps\" in space \"Default\": not found");
  ExpectRefused(1, Remote({"set", "Pump", "Name", "x"}),
                "readonly and not allowed to be changed! (code 15)\nsps: next: " + tool +
                    " attr Pump Name readonly off\n");
}

TEST_F(AtMaster, WhatTheServiceForbidsIsRefused) {
  MakePlant();
  EXPECT_EQ(Out(Unproven({"get", "Pump", "Speed"})), "40\n");
  for (const Arguments& arguments :
       {Arguments{"set", "Pump", "Speed", "1"}, Arguments{"attr", "Pump", "Speed", "replicate", "on"},
        Arguments{"rm", "Pump", "Speed", "--yes"}, Arguments{"create", "Pump", "New", "--type", "I"}}) {
    ExpectRefused(1, Unproven(arguments), "the service does not allow it (code 5");
  }
  ExpectRefused(1, Unproven({"set", "Pump", "Speed", "1"}), "--allow-write");
}

TEST_F(AtMaster, MasterTellsWhoAnswers) {
  MakePlant();
  const std::string text = There({"master"});
  const std::string version = Out({"version"}).substr(4);
  EXPECT_THAT(text, StartsWith("server      " + m_master.Endpoint() + " (this machine)\nversion     " +
                               version + "space       Default\nroot        2 keys, 0 values\nround trip  "));
  const Json json = Json::Parse(There({"--json", "master", "--requests", "7"}));
  EXPECT_EQ(json["local"].Text(), "true");
  EXPECT_EQ(json["root"]["keys"].Text(), "2");
  EXPECT_EQ(json["roundTrip"]["requests"].Text(), "7");
  EXPECT_GT(std::stod(json["roundTrip"]["leastMicroseconds"].Text()), 0.0);
  EXPECT_EQ(There({"version"}), "master " + version);
  m_environment["SYSPARSERVICE"] = m_master.Endpoint();
  EXPECT_EQ(JsonOut({"master"})["server"].Text(), "SYSPARSERVICE");
}

TEST_F(AtMaster, WhatIsNotThereAnyMoreIsSaid) {
  EXPECT_EQ(m_master.Stop(), 0);
  ExpectRefused(1, Remote({"get", "Pump", "Speed"}),
                "cannot reach the master \"" + m_master.Endpoint() + '"');
  ExpectRefused(1, Remote({"master"}), "sps: next: ");
  ExpectRefused(1, {"--server", "", "ls"}, "neither a host nor an endpoint (code 0x20000001)");
}

class NoMaster : public ToolTest, public testing::WithParamInterface<Arguments> {};

TEST_P(NoMaster, IsWrongUsageBeforeAnyoneIsAsked) {
  Arguments arguments = {"--server", "unix:/nowhere"};
  arguments.insert(arguments.end(), GetParam().begin(), GetParam().end());
  const RunResult run = Run(arguments);
  EXPECT_TRUE(exitsWith(2, run));
  EXPECT_THAT(run.err, HasSubstr("--server"));
  EXPECT_FALSE(std::filesystem::exists(Path("store")));
}

INSTANTIATE_TEST_SUITE_P(Table, NoMaster,
                         testing::Values(Arguments{"explain", "T", "P"}, Arguments{"dirs"},
                                         Arguments{"logmode"}, Arguments{"store", "info"},
                                         Arguments{"store", "copy", "x"}, Arguments{"export", "--all"},
                                         Arguments{"import", "-", "--dry-run"},
                                         Arguments{"set", "T", "P", "1", "--force"},
                                         Arguments{"--store", "x", "ls"}));

}  // namespace
