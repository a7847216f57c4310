// get, set, create.
#include "tests/tool/ToolTest.h"

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

struct RoundTrip {
  const char* type;
  std::string value;
  std::string read;
  std::string json;
};

class EveryType : public ToolTest, public testing::WithParamInterface<RoundTrip> {};

TEST_P(EveryType, IsWrittenAndRead) {
  const RoundTrip& param = GetParam();
  Out({"create", "Pump", "Par", "--type", param.type});
  Out({"set", "Pump", "Par", "--", param.value});
  EXPECT_EQ(Out({"get", "Pump", "Par"}), param.read + '\n');
  const Json answer = JsonOut({"get", "Pump", "Par"});
  EXPECT_EQ(answer["type"].Text(), param.type);
  EXPECT_EQ(answer["value"].Text(), param.json);
  EXPECT_EQ(answer["space"].Text(), "Default");
}

INSTANTIATE_TEST_SUITE_P(
    Values, EveryType,
    testing::Values(RoundTrip{"S", "hällo wörld 𝄞", "hällo wörld 𝄞", "hällo wörld 𝄞"},
                    RoundTrip{"S", "", "", ""},
                    RoundTrip{"S", "a\n\"b\"\\\x1b", "a\n\"b\"\\\x1b", "a\n\"b\"\\\x1b"},
                    RoundTrip{"I", "-2147483648", "-2147483648", "-2147483648"},
                    RoundTrip{"I", "2147483647", "2147483647", "2147483647"},
                    RoundTrip{"D", "0.1", "0.1", "0.1"}, RoundTrip{"D", "-12.50", "-12.5", "-12.5"},
                    RoundTrip{"D", "1e300", "1e+300", "1e+300"}, RoundTrip{"D", "-inf", "-inf", "-inf"},
                    RoundTrip{"T", "-9223372036854775808", "-9223372036854775808", "-9223372036854775808"},
                    RoundTrip{"T", "9223372036854775807", "9223372036854775807", "9223372036854775807"},
                    RoundTrip{"B", "true", "true", "true"}, RoundTrip{"B", "false", "false", "false"}));

struct BadValue {
  const char* type;
  const char* good;
  const char* bad;
  const char* expected;
};

class StrictParsing : public ToolTest, public testing::WithParamInterface<BadValue> {};

TEST_P(StrictParsing, RefusesTheValueAndKeepsTheOldOne) {
  const BadValue& param = GetParam();
  Out({"create", "Pump", "Par", "--type", param.type, "--value", param.good});
  const RunResult run = Run({"set", "Pump", "Par", "--", param.bad});
  EXPECT_TRUE(exitsWith(2, run));
  EXPECT_THAT(run.err, HasSubstr(param.expected));
  EXPECT_EQ(Out({"get", "Pump", "Par"}), std::string(param.good) + '\n');
  EXPECT_TRUE(exitsWith(2, Run({"create", "Pump", "New", "--type", param.type, "--value", param.bad})));
  EXPECT_TRUE(exitsWith(1, Run({"show", "Pump", "New"})));
}

INSTANTIATE_TEST_SUITE_P(
    Values, StrictParsing,
    testing::Values(BadValue{"I", "1", "2147483648", "from -2147483648 to 2147483647"},
                    BadValue{"I", "1", "12x", "is no 32-bit integer"}, BadValue{"I", "1", "", "whole number"},
                    BadValue{"I", "1", " 1", "whole number"}, BadValue{"I", "1", "1.5", "whole number"},
                    BadValue{"D", "1", "1e999", "range of a double"}, BadValue{"D", "1", "1,5", "a number"},
                    BadValue{"T", "1", "9223372036854775808", "to 9223372036854775807"},
                    BadValue{"B", "true", "TRUE", "true or false"},
                    BadValue{"B", "true", "1", "true or false"}));

class Values : public ToolTest {};

TEST_F(Values, AMissingParameterIsRefusedInTheLibrarysWords) {
  Out({"create", "Pump", "Speed", "--type", "I"});
  const RunResult run = Run({"get", "Pump", "Spede"});
  EXPECT_TRUE(exitsWith(1, run));
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(
      run.err,
      "sps: cannot read parameter \"Pump/Spede\" in space \"Default\": Parameter "
      "\"HKEY_LOCAL_MACHINE\\Software\\Velor\\SPS\\Default\\Pump\\Spede\": The parameter node cannot be "
      "found! (code 11)\n"
      "sps: next: sps ls Pump\n");
}

struct Refusal {
  const char* values;  // of the key, as registry text
  Arguments command;
  const char* code;
  const char* message;
};

class Refusals : public ToolTest, public testing::WithParamInterface<Refusal> {};

TEST_P(Refusals, CarryTheCodeAndTheMessage) {
  const Refusal& param = GetParam();
  Import("Pump", "Par", param.values);
  const RunResult run = Run(param.command);
  EXPECT_TRUE(exitsWith(1, run));
  EXPECT_EQ(run.out, "");
  EXPECT_THAT(run.err, HasSubstr(param.message));
  Arguments asJson = param.command;
  asJson.push_back("--json");
  const Json error = Json::Parse(Run(asJson).err);
  EXPECT_EQ(error["error"]["code"].Text(), param.code);
  EXPECT_THAT(error["error"]["reason"].Text(), HasSubstr(param.message));
}

const Arguments getPar = {"get", "Pump", "Par"};
const Arguments setPar = {"set", "Pump", "Par", "1"};
INSTANTIATE_TEST_SUITE_P(
    Codes, Refusals,
    testing::Values(Refusal{"\"@type\"=hex:49,00\n", getPar, "12", "The parameter value cannot be found!"},
                    Refusal{"\"@value\"=dword:1\n", getPar, "2", "The parameter attribute cannot be found!"},
                    Refusal{"\"@value\"=dword:1\n", setPar, "2", "The parameter attribute cannot be found!"},
                    Refusal{"\"@type\"=hex:58,00\n", getPar, "16", "Invalid data type!"},
                    Refusal{"\"@type\"=\"I\"\n", getPar, "234", "buffer size is too small!"},
                    Refusal{"\"@type\"=hex:49,00\n\"@value\"=hex:1,2,3,4,5\n", getPar, "234",
                            "buffer size is too small!"},
                    Refusal{"\"@type\"=hex:49,00\n\"@readonly\"=hex(0):\n", setPar, "15",
                            "The parameter is readonly and not allowed to be changed!"},
                    Refusal{"", {"set", "Pump", "Other", "1"}, "11", "The parameter node cannot be found!"}));

TEST_F(Values, ATextStaysExpandableUntilItIsToBePlain) {
  const std::string expandable = "hex(2):25,00,48,00,4f,00,4d,00,45,00,25,00,00,00\n";  // %HOME%
  Import("Global", "Dir", "\"@type\"=hex:53,00\n\"@value\"=" + expandable + "\"@superValue\"=" + expandable);
  const std::string home = m_environment["HOME"];
  Out({"set", "Global", "Dir", "%HOME%/a"});
  EXPECT_EQ(Out({"get", "Global", "Dir"}), home + "/a\n");
  Out({"set", "Global", "Dir", "%HOME%/b", "--plain"});
  Out({"set", "Global", "Dir", "%HOME%/c"});
  EXPECT_EQ(Out({"get", "Global", "Dir"}), "%HOME%/c\n");
  EXPECT_EQ(JsonOut({"set", "Global", "Dir", "%HOME%/d", "--expand"})["expandable"].Text(), "true");
  EXPECT_EQ(Out({"get", "Global", "Dir"}), home + "/d\n");
  Out({"set", "Global", "Dir", "%HOME%/e", "--super"});
  EXPECT_EQ(JsonOut({"show", "Global", "Dir"})["superValue"]["stored"].Text(), "REG_EXPAND_SZ");
  Out({"create", "T", "P", "--type", "I", "--value", "1"});
  EXPECT_TRUE(exitsWith(2, Run({"set", "T", "P", "2", "--expand"})));
  Out({"rm", "Global", "Dir", "--value", "@superValue", "--yes"});
  EXPECT_TRUE(exitsWith(2, Run({"set", "Global", "Dir", "x", "--expand", "--encrypt"})));
  Out({"set", "Global", "Dir", "%HOME%", "--encrypt"});
  EXPECT_EQ(Out({"get", "Global", "Dir"}), "%HOME%\n");
}

TEST_F(Values, ForceWritesAReadOnlyParameter) {
  Out({"create", "Pump", "Par", "--type", "I", "--value", "1", "--readonly"});
  EXPECT_TRUE(exitsWith(1, Run({"set", "Pump", "Par", "2"})));
  EXPECT_EQ(Out({"get", "Pump", "Par"}), "1\n");
  Out({"set", "Pump", "Par", "2", "--force"});
  EXPECT_EQ(Out({"get", "Pump", "Par"}), "2\n");
}

TEST_F(Values, AnOverrideValueIsMadeWithANotice) {
  Out({"create", "Pump", "Par", "--type", "I", "--value", "1", "--override", "W"});
  const RunResult first = Run({"set", "Pump", "Par", "7", "--workstation", "WS07"});
  EXPECT_TRUE(exitsWith(0, first));
  EXPECT_THAT(first.err, HasSubstr("The override doesn't exist, so it is created!"));
  const Json second = JsonOut({"set", "Pump", "Par", "8", "--workstation", "WS07"});
  EXPECT_EQ(second["written"].Text(), "WS07");
  EXPECT_EQ(second["notices"].Size(), 0U);
  EXPECT_EQ(Out({"get", "Pump", "Par", "--workstation", "WS07"}), "8\n");
  EXPECT_EQ(Out({"get", "Pump", "Par", "--workstation", "WS08"}), "1\n");
  EXPECT_EQ(Out({"get", "Pump", "Par"}), "1\n");
}

TEST_F(Values, AnOverrideThatCannotApplyIsTold) {
  Out({"create", "Pump", "Par", "--type", "I", "--value", "1", "--override", "U"});
  const RunResult run = Run({"set", "Pump", "Par", "5"});
  EXPECT_TRUE(exitsWith(0, run));
  EXPECT_THAT(run.err, HasSubstr("The override <user> is not specified!"));
  EXPECT_EQ(Out({"get", "Pump", "Par"}), "5\n");
}

TEST_F(Values, PlainTextStaysPlainWhereAScrambledOneIsRefused) {
  Out({"create", "Access", "Password", "--type", "S", "--value", "plain"});
  EXPECT_TRUE(exitsWith(1, Run({"set", "Access", "Password", "--stdin", "--encrypt"},
                               std::string(std::size_t{9} << 20U, 'x'))));  // 18 MiB as it is stored
  EXPECT_EQ(Out({"get", "Access", "Password"}), "plain\n");
}

TEST_F(Values, ScrambledTextStaysScrambled) {
  Out({"create", "Access", "Password", "--type", "S", "--value", "geheim-1", "--encrypt"});
  EXPECT_EQ(Out({"get", "Access", "Password"}), "geheim-1\n");
  Out({"set", "Access", "Password", "geheim-2"});
  EXPECT_EQ(Out({"get", "Access", "Password"}), "geheim-2\n");
  Out({"set", "Access", "Password", "--stdin"}, "geheim-3\n");
  EXPECT_EQ(Out({"get", "Access", "Password"}), "geheim-3\n");
  for (const char* command : {"show", "ls", "tree", "explain", "export"}) {
    Arguments arguments = {command};
    if (*command != 'e' && *command != 's') arguments.push_back("Access");
    if (std::string(command) == "show" || std::string(command) == "explain") {
      arguments.insert(arguments.end(), {"Access", "Password"});
    }
    EXPECT_THAT(Out(arguments), Not(HasSubstr("geheim"))) << command;
    if (std::string(command) == "export") continue;
    arguments.push_back("--reveal");
    EXPECT_THAT(Out(arguments), HasSubstr("\"geheim-3\"")) << command;
  }
}

TEST_F(Values, SettingWithEncryptScramblesFromThenOn) {
  Out({"create", "Access", "Key", "--type", "S", "--value", "open"});
  EXPECT_EQ(Out({"attr", "Access", "Key", "decrypt"}), "off\n");
  const Json answer = JsonOut({"set", "Access", "Key", "hidden", "--encrypt"});
  EXPECT_EQ(answer["scrambled"].Text(), "true");
  EXPECT_FALSE(answer.Has("value"));
  EXPECT_EQ(Out({"attr", "Access", "Key", "decrypt"}), "on\n");
  EXPECT_EQ(Out({"get", "Access", "Key"}), "hidden\n");
}

TEST_F(Values, OnlyTextIsEncrypted) {
  Out({"create", "Pump", "Par", "--type", "I", "--value", "1"});
  EXPECT_TRUE(exitsWith(2, Run({"set", "Pump", "Par", "2", "--encrypt"})));
  EXPECT_TRUE(exitsWith(2, Run({"create", "Pump", "New", "--type", "I", "--encrypt"})));
  EXPECT_EQ(Out({"get", "Pump", "Par"}), "1\n");
}

TEST_F(Values, TheSuperValueServesWhereNoOtherIs) {
  Out({"create", "Pump", "Par", "--type", "D", "--super", "0.5"});
  EXPECT_EQ(Out({"get", "Pump", "Par"}), "0.5\n");
  EXPECT_EQ(JsonOut({"set", "Pump", "Par", "0.75", "--super"})["written"].Text(), "@superValue");
  EXPECT_EQ(Out({"get", "Pump", "Par"}), "0.75\n");
  Out({"set", "Pump", "Par", "1"});
  EXPECT_EQ(Out({"get", "Pump", "Par"}), "1\n");
}

TEST_F(Values, TheSpaceIsTheOptionsElseTheEnvironments) {
  Out({"create", "T", "P", "--type", "I", "--value", "1"});
  Out({"create", "T", "P", "--type", "I", "--value", "2", "--space", "North"});
  m_environment["PROCESS_SPACE"] = "North";
  EXPECT_EQ(Out({"get", "T", "P"}), "2\n");
  EXPECT_EQ(Out({"get", "T", "P", "--space", "Default"}), "1\n");
  EXPECT_EQ(Out({"--space", "Default", "get", "T", "P"}), "1\n");
}

TEST_F(Values, TheStoreIsTheOptionsElseTheEnvironments) {
  Out({"create", "T", "P", "--type", "I", "--value", "1"});
  Out({"create", "T", "P", "--type", "I", "--value", "2", "--store", Path("other").string()});
  EXPECT_EQ(Out({"get", "T", "P"}), "1\n");
  EXPECT_EQ(Out({"get", "T", "P", "--store", Path("other").string()}), "2\n");
}

TEST_F(Values, CreateWritesTheWholeKey) {
  Out({"create", "Pump", "Speed", "--type", "i", "--value", "40", "--super", "30", "--override",
       "workstation", "--readonly", "--replicate", "--disable-log", "--unit", "rpm", "--description",
       "Set point"});
  const Json key = JsonOut({"show", "Pump", "Speed"});
  EXPECT_EQ(key["type"].Text(), "I");
  EXPECT_EQ(key["value"]["value"].Text(), "40");
  EXPECT_EQ(key["value"]["stored"].Text(), "REG_DWORD");
  EXPECT_EQ(key["superValue"]["value"].Text(), "30");
  EXPECT_EQ(key["override"].Text(), "W");
  EXPECT_EQ(key["unit"].Text(), "rpm");
  EXPECT_EQ(key["description"].Text(), "Set point");
  EXPECT_EQ(key["flags"].Size(), 3U);
  EXPECT_THAT(key["changed"].Text(), testing::MatchesRegex("20..-..-..T..:..:..Z"));
}

TEST_F(Values, CreateLeavesAnExistingParameterAlone) {
  Out({"create", "Pump", "Speed", "--type", "I", "--value", "1"});
  const RunResult run = Run({"create", "Pump", "speed", "--type", "S", "--value", "new"});
  EXPECT_TRUE(exitsWith(1, run));
  EXPECT_THAT(run.err, HasSubstr("it exists already"));
  EXPECT_EQ(Out({"get", "Pump", "Speed"}), "1\n");
}

TEST_F(Values, NamesAreAnythingThatIsOne) {
  const std::string longest(255, 'x');
  for (const std::string& name : {std::string("get"), std::string("a/b"), std::string("Ä ö"), longest}) {
    Out({"create", name, name, "--type", "I", "--value", "3"});
    EXPECT_EQ(Out({"get", name, name}), "3\n") << name;
  }
  for (const std::string& name : {std::string(), std::string("a\\b"), longest + 'x', std::string("\xFF")}) {
    EXPECT_TRUE(exitsWith(2, Run({"create", name, "P", "--type", "I"}))) << name;
    EXPECT_TRUE(exitsWith(2, Run({"get", "T", name}))) << name;
  }
}

TEST_F(Values, ScramblingLosesNoOtherText) {
  Out({"create", "T", "P", "--type", "S", "--value", "plain", "--super", "reserve", "--override", "U"});
  Out({"set", "T", "P", "own", "--user", "u"});
  for (const Arguments& arguments : {Arguments{"set", "T", "P", "new", "--encrypt"},
                                     Arguments{"set", "T", "P", "new", "--encrypt", "--super"},
                                     Arguments{"set", "T", "P", "new", "--encrypt", "--user", "u"}}) {
    const RunResult run = Run(arguments);
    EXPECT_TRUE(exitsWith(1, run));
    EXPECT_THAT(run.err, HasSubstr("sps rm T P --value"));
  }
  EXPECT_EQ(Out({"get", "T", "P"}), "plain\n");
  EXPECT_EQ(Out({"get", "T", "P", "--user", "u"}), "own\n");
  Out({"rm", "T", "P", "--value", "@superValue", "--yes"});
  Out({"rm", "T", "P", "--value", "U", "--yes"});
  Out({"set", "T", "P", "new", "--encrypt"});
  EXPECT_EQ(Out({"get", "T", "P"}), "new\n");
}

TEST_F(Values, OverrideNamesRespectNoCaseBeyondAsciiEither) {
  Out({"create", "T", "P", "--type", "S", "--value", "base", "--override", "U"});
  Out({"set", "T", "P", "own", "--user", "Ä"});
  EXPECT_EQ(Out({"get", "T", "P", "--user", "ä"}), "own\n");
  Out({"rm", "T", "P", "--value", "ä", "--yes"});
  EXPECT_EQ(Out({"get", "T", "P", "--user", "Ä"}), "base\n");
}

}  // namespace
