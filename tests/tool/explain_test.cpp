// explain, against what a read really gives.
#include "tests/tool/ToolTest.h"

namespace {

struct Case {
  std::string name;
  std::string values;    // of the key, as registry text
  Arguments options;     // identity, or the type asked for
  std::string decisive;  // name and outcome of the step that matters
  std::string taken;     // name of the value taken; empty where the read fails
  std::string result;    // the value, or the code
};

std::string decisiveStep(const Json& answer, const std::string& name) {
  for (std::size_t i = 0; i < answer["steps"].Size(); ++i) {
    const Json& step = answer["steps"][i];
    if (step["name"].Text() != name) continue;
    return name + ' ' + step["outcome"].Text() + ' ' + step["code"].Text();
  }
  return "no step " + name;
}

class Explain : public ToolTest, public testing::WithParamInterface<Case> {};

TEST_P(Explain, TellsWhatTheReadDoes) {
  const Case& param = GetParam();
  MakeStore();
  if (!param.values.empty()) Import("T", "P", param.values);
  Arguments arguments = {"explain", "T", "P", "--json", "--reveal"};
  arguments.insert(arguments.end(), param.options.begin(), param.options.end());
  const RunResult run = Run(arguments);
  const Json answer = run.Answer();
  EXPECT_EQ(decisiveStep(answer, param.decisive.substr(0, param.decisive.find(' '))), param.decisive);
  if (param.taken.empty()) {
    EXPECT_TRUE(exitsWith(1, run));
    EXPECT_EQ(answer["err"].Text(), param.result);
    EXPECT_EQ(Json::Parse(run.err)["error"]["code"].Text(), param.result);
    return;
  }
  EXPECT_TRUE(exitsWith(0, run));
  EXPECT_EQ(answer["taken"].Text(), param.taken);
  EXPECT_EQ(answer["value"].Text(), param.result);
  arguments = {"get", "T", "P"};
  arguments.insert(arguments.end(), param.options.begin(), param.options.end());
  EXPECT_EQ(Out(arguments), param.result + '\n');
}

const std::string typeI = "\"@type\"=hex:49,00\n";
const std::string typeS = "\"@type\"=hex:53,00\n";
const std::string value1 = "\"@value\"=dword:1\n";
const std::string super2 = "\"@superValue\"=dword:2\n";
const std::string byW = "\"@override\"=hex:57,00\n";
const std::string byU = "\"@override\"=hex:55,00\n";
const std::string byP = "\"@override\"=hex:50,00\n";
const std::string ws7 = "\"WS07\"=dword:7\n";
const Arguments asWs7 = {"--workstation", "WS07"};

INSTANTIATE_TEST_SUITE_P(
    Table, Explain,
    testing::Values(
        Case{"PlainValue", typeI + value1 + super2, {}, "@override absent 0", "@value", "1"},
        Case{"OverrideValue", typeI + value1 + byW + ws7, asWs7, "WS07 taken 0", "WS07", "7"},
        Case{"OverrideUser", typeI + value1 + byU + ws7, {"--user", "WS07"}, "WS07 taken 0", "WS07", "7"},
        Case{"OverrideInstance", typeI + byP + ws7, {"--instance", "ws07"}, "ws07 taken 0", "ws07", "7"},
        Case{"OtherKindOfName", typeI + value1 + byU + ws7, asWs7, "@override ignored 9", "@value", "1"},
        Case{"NoWorkstation", typeI + value1 + byW + ws7, {}, "@override ignored 8", "@value", "1"},
        Case{"NoInstance", typeI + value1 + byP + ws7, {}, "@override ignored 10", "@value", "1"},
        Case{"UnknownKind", typeI + value1 + "\"@override\"=hex:58,00\n", asWs7, "@override ignored 7",
             "@value", "1"},
        Case{"ShortOverride", typeI + value1 + "\"@override\"=hex:57\n" + ws7, asWs7, "@override ignored 7",
             "@value", "1"},
        Case{"NoValueOfTheName", typeI + value1 + byW, asWs7, "WS07 absent 0", "@value", "1"},
        Case{"NameWithoutOverride", typeI + value1 + ws7, asWs7, "@override absent 0", "@value", "1"},
        Case{"SuperValue", typeI + super2, {}, "@value absent 0", "@superValue", "2"},
        Case{"OverrideThenSuper", typeI + super2 + byW, asWs7, "@superValue taken 0", "@superValue", "2"},
        Case{"NoValue", typeI, {}, "@superValue fails 12", "", "12"},
        Case{"LongOverride", typeI + value1 + "\"@override\"=\"W\"\n", asWs7, "@override fails 234", "",
             "234"},
        Case{"LongOverrideValue", typeI + value1 + byW + "\"WS07\"=hex:1,2,3,4,5\n", asWs7, "WS07 fails 234",
             "", "234"},
        Case{"LongValue", typeI + "\"@value\"=\"text\"\n" + super2, {}, "@value fails 234", "", "234"},
        Case{"NoType", value1, {}, "@type fails 2", "", "2"},
        Case{"LongType", "\"@type\"=\"I\"\n" + value1, {}, "@type fails 234", "", "234"},
        Case{"UnknownType", "\"@type\"=hex:58,00\n" + value1, {}, "@type fails 16", "", "16"},
        Case{"OtherType", typeI + value1, {"--as", "S"}, "@type fails 16", "", "16"},
        Case{"ShortType", "\"@type\"=hex:49\n" + value1, {}, "@type found 0", "@value", "1"},
        Case{"NoKey", "", {}, "key fails 11", "", "11"},
        Case{"PlainText", typeS + "\"@value\"=\"x\"\n", {}, "@decrypt absent 0", "@value", "x"},
        Case{"NumbersAreNotScrambled",
             typeI + value1 + "\"@decrypt\"=hex(0):\n",
             {},
             "@decrypt not asked 0",
             "@value",
             "1"}),
    [](const auto& one) { return one.param.name; });

class ExplainText : public ToolTest {};

TEST_F(ExplainText, IsATableForPeople) {
  Import("T", "P", typeI + value1 + byW);
  EXPECT_EQ(Out({"explain", "T", "P", "--workstation", "WS07"}),
            "parameter \"T/P\" in space \"Default\" for workstation \"WS07\"\n"
            "  key          found      HKEY_LOCAL_MACHINE\\Software\\Velor\\SPS\\Default\\T\\P\n"
            "  @type        found      I, 32-bit integer\n"
            "  @override    found      W, by workstation\n"
            "  WS07         absent     no value of this name\n"
            "  @value       taken      1\n"
            "  @superValue  not asked\n"
            "  @decrypt     not asked  only texts are scrambled\n"
            "result: 1\n");
}

TEST_F(ExplainText, UnscramblesTextsAlone) {
  Out({"create", "T", "P", "--type", "S", "--value", "hidden", "--encrypt"});
  const Json masked = JsonOut({"explain", "T", "P"});
  EXPECT_EQ(masked["masked"].Text(), "true");
  EXPECT_EQ(masked["value"].Text(), "null");
  const Json revealed = JsonOut({"explain", "T", "P", "--reveal"});
  EXPECT_EQ(revealed["value"].Text(), "hidden");
  EXPECT_EQ(decisiveStep(revealed, "@decrypt"), "@decrypt found 0");
}

}  // namespace
