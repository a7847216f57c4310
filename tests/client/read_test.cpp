#include <stdlib.h>

#include <cstring>

#include "platform/registry/RegistryTransaction.h"
#include "platform/support/Utf.h"
#include "src/SpSrvClntEx.h"
#include "tests/client/ClientTest.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Strings = std::vector<std::string>;

const std::string quotedP = "Parameter \"" + pathOfP + "\": ";
const std::string noNode = plain('W', quotedP + "The parameter node cannot be found!");
const std::string noValue = plain('W', quotedP + "The parameter value cannot be found!");
const std::string tooLarge = plain('E', quotedP + "The parameter value buffer size is too small!");
const std::string otherType = plain('E', "Parameter \"" + pathOfP + "\\@type\": Invalid data type!");
const std::string noType =
    plain('W', "Parameter \"" + pathOfP + "\\@type\": The parameter attribute cannot be found!");
const std::string noLocalAccess =
    plain('E', "Parameter \"P\": Local access disabled without being connected to any master!");

std::string noName(const std::string& kind) {
  return back(1, "Override Parameter \"" + nameOfP + "\": The override <" + kind + "> is not specified!");
}

class ReadTest : public ClientTest {
protected:
  ReadTest() : spc(u"WS", u"User", u"Inst") {}

  // One read of topic "T", parameter "P" by the string form.
  void Expect(const char16_t* wanted, std::uint32_t code, const Strings& lines, std::int32_t noErrMsg = 0) {
    text = u"before";
    std::uint32_t err = 99;
    EXPECT_EQ(spc.GetPar(u"T", u"P", text, &err, noErrMsg), wanted != nullptr);
    if (wanted) {
      EXPECT_EQ(text, wanted);
    }
    EXPECT_EQ(err, code);
    EXPECT_EQ(Lines(), lines);
  }

  OpenSpc spc;
  UnicodeString text;
};

// The number forms differ in letter, width and the name that a missing value is reported with.
template <class Value>
struct Form;
template <>
struct Form<std::int32_t> {
  static constexpr char16_t letter = u'I';
  static constexpr std::int32_t value = -5;
  static inline const std::vector<std::uint8_t> bytes = {0xFB, 0xFF, 0xFF, 0xFF};
  static inline const std::string missing = pathOfP;
};
template <>
struct Form<double> {
  static constexpr char16_t letter = u'D';
  static constexpr double value = -2.5;
  static inline const std::vector<std::uint8_t> bytes = {0, 0, 0, 0, 0, 0, 0x04, 0xC0};
  static inline const std::string missing = pathOfP;
};
template <>
struct Form<std::int64_t> {
  static constexpr char16_t letter = u'T';
  static constexpr std::int64_t value = 0x0807060504030201;
  static inline const std::vector<std::uint8_t> bytes = {1, 2, 3, 4, 5, 6, 7, 8};
  static inline const std::string missing = "P";
};
template <>
struct Form<bool> {
  static constexpr char16_t letter = u'B';
  static constexpr bool value = true;
  static inline const std::vector<std::uint8_t> bytes = {1};
  static inline const std::string missing = pathOfP;
};

template <class Value>
class NumberReadTest : public ReadTest {};
using Numbers = testing::Types<std::int32_t, double, std::int64_t, bool>;
TYPED_TEST_SUITE(NumberReadTest, Numbers);

TYPED_TEST(NumberReadTest, ResolvesAsTheStringFormDoes) {
  using F = Form<TypeParam>;
  Par par(F::letter);
  TypeParam value{};
  std::uint32_t err = 99;
  EXPECT_FALSE(this->spc.GetPar(u"T", u"P", &value, &err));
  EXPECT_EQ(err, 12U);
  EXPECT_THAT(this->Lines(), ElementsAre(plain('W', "Parameter \"" + F::missing +
                                                        "\": The parameter value cannot be found!")));
  EXPECT_FALSE(this->spc.GetPar(u"T", u"P", &value, &err, 12));
  EXPECT_THAT(this->Lines(), IsEmpty());

  for (const char16_t* name : {u"@superValue", u"@value", u"WS"}) {
    par.Override(u'W').Bytes(name, F::bytes).Flag(u"@decrypt");
    value = {};
    EXPECT_TRUE(this->spc.GetPar(u"T", u"P", &value, &err));
    EXPECT_EQ(value, F::value);
    EXPECT_EQ(err, 0U);
    par.Bytes(name, std::vector<std::uint8_t>(F::bytes.size(), 0));
    EXPECT_TRUE(this->spc.GetPar(u"T", u"P", &value, nullptr));
    EXPECT_EQ(value, TypeParam{}) << "the last one made is the one that counts";
  }
  EXPECT_THAT(this->Lines(), IsEmpty());
}

TYPED_TEST(NumberReadTest, TestsSizeAndType) {
  using F = Form<TypeParam>;
  Par par(F::letter);
  par.Bytes(u"@value", std::vector<std::uint8_t>(9, 1)).Bytes(u"@superValue", F::bytes);
  TypeParam value{};
  std::uint32_t err = 99;
  EXPECT_FALSE(this->spc.GetPar(u"T", u"P", &value, &err));
  EXPECT_EQ(err, 234U);
  EXPECT_THAT(this->Lines(), ElementsAre(tooLarge));

  EXPECT_FALSE(this->spc.GetPar(u"T", u"P", static_cast<TypeParam*>(nullptr), &err));
  EXPECT_EQ(err, 87U);
  EXPECT_THAT(this->Lines(), ElementsAre(plain('E', "Invalid error code: 87")));

  const char16_t other = F::letter == u'I' ? u'T' : u'I';
  Par{other};
  EXPECT_FALSE(this->spc.GetPar(u"T", u"P", &value, &err));
  EXPECT_EQ(err, 16U);
  EXPECT_THAT(this->Lines(), ElementsAre(otherType));
}

TYPED_TEST(NumberReadTest, GoesToTheMasterWithoutLocalAccess) {
  Par(Form<TypeParam>::letter).Bytes(u"@value", Form<TypeParam>::bytes);
  this->spc.m_localAccess = false;
  TypeParam value{};
  std::uint32_t err = 99;
  EXPECT_FALSE(this->spc.GetPar(u"T", u"P", &value, &err));
  EXPECT_EQ(err, 19U);
  EXPECT_THAT(this->Lines(), ElementsAre(noLocalAccess));
}

TEST_F(ReadTest, TheFirstValueThatExistsCounts) {
  Par par(u'S');
  Expect(nullptr, 12, {noValue});
  Expect(nullptr, 12, {}, 12);
  par.Text(u"@superValue", u"super");
  Expect(u"super", 0, {});
  par.Text(u"@value", u"value");
  Expect(u"value", 0, {});
  par.Override(u'W');
  Expect(u"value", 0, {});
  par.Text(u"User", u"of another kind").Text(u"ws", u"override");
  Expect(u"override", 0, {});
  par.Text(u"WS", u"");
  Expect(u"", 0, {});
}

TEST_F(ReadTest, EachKindOfOverrideHasItsName) {
  Par par(u'S');
  par.Text(u"WS", u"w").Text(u"User", u"u").Text(u"Inst", u"p").Text(u"@value", u"value");
  par.Override(u'W');
  Expect(u"w", 0, {});
  par.Override(u'U');
  Expect(u"u", 0, {});
  par.Override(u'P');
  Expect(u"p", 0, {});
  spc = OpenSpc();
  Expect(u"value", 0, {noName("process instance")});
  Expect(u"value", 0, {}, 10);
  par.Override(u'U');
  Expect(u"value", 0, {noName("user")});
  par.Override(u'W');
  Expect(u"value", 0, {noName("workstation")});
  par.Override(u'w');
  Expect(u"value", 0, {plain('W', "Parameter \"" + nameOfP + "\": Invalid override type detected!")});
}

TEST_F(ReadTest, OverrideNamesMayBeLongerThanAShortString) {
  const char16_t* const longName = u"operator of the second shift in the northern plant";
  Par par(u'S');
  par.Override(u'U').Text(longName, u"override").Text(u"@value", u"value");
  spc.SetUser(longName);
  Expect(u"override", 0, {});
}

TEST_F(ReadTest, AnOverrideThatCannotBeReadFailsTheRead) {
  Par par(u'S');
  par.Text(u"@value", u"value").Text(u"@override", u"W");
  Expect(nullptr, 234, {tooLarge});
}

TEST_F(ReadTest, TheTypeIsTestedFirst) {
  Par par(u'I');
  par.Number(u"@value", 1);
  Expect(nullptr, 16, {otherType});
  Expect(nullptr, 16, {}, 16);
  par.Without(u"@type");
  Expect(nullptr, 2, {noType});
  Expect(nullptr, 2, {noType}, 2);
  Expect(nullptr, 2, {}, 250);
  par.Text(u"@type", u"S");
  Expect(nullptr, 234,
         {plain('E', "Parameter \"" + pathOfP + "\\@type\": The parameter value buffer size is too small!")});
  par.Bytes(u"@type", {'S'}).Text(u"@value", u"text");
  Expect(u"text", 0, {});
}

TEST_F(ReadTest, AMissingKeyIsCode11) {
  Expect(nullptr, 11, {openFailed(pathOfP), noNode});
  Expect(nullptr, 11, {openFailed(pathOfP)}, 11);
  Expect(nullptr, 11, {openFailed(pathOfP)}, 240);
  EXPECT_FALSE(spc.GetPar(nullptr, nullptr, text)) << "null is the empty text";
}

TEST_F(ReadTest, AKeyThatCannotBeOpenedIsTheRegistrysCode) {
  class Elsewhere : public Spc {
  public:
    Elsewhere() { m_root = u"NOWHERE"; }
  } elsewhere;
  std::uint32_t err = 99;
  EXPECT_FALSE(elsewhere.GetPar(u"T", u"P", text, &err));
  EXPECT_EQ(err, 6U);
  EXPECT_THAT(Lines(),
              ElementsAre(plain('E', R"(Parameter "NOWHERE\Default\T\P": Invalid registry key handle!)")));
}

TEST_F(ReadTest, OnlyAMissingKeyGoesToTheMaster) {
  spc.m_pSpSrvClnt = std::make_unique<SpSrvClntEx>();
  Expect(nullptr, 0, {openFailed(pathOfP)});
  Expect(nullptr, 0, {openFailed(pathOfP), back(2, "The method returned successfully")}, 11);
  Par par(u'S');
  Expect(nullptr, 12, {noValue});
  par.Text(u"@value", u"here");
  Expect(u"here", 0, {});
  spc.m_localAccess = false;
  Expect(nullptr, 0, {});
  spc.m_pSpSrvClnt.reset();
  Expect(nullptr, 19, {noLocalAccess});
  Expect(nullptr, 19, {}, 19);
}

TEST_F(ReadTest, ScrambledTextComesBackPlain) {
  Par par(u'S');
  par.Text(u"@value", spc.EncryptStr(u"secret")).Flag(u"@decrypt");
  Expect(u"secret", 0, {});
  std::u16string buffer(40, u'#');
  EXPECT_TRUE(spc.GetPar(u"T", u"P", buffer.data(), 40));
  EXPECT_EQ(UnicodeString(buffer.data()), u"secret");
  par.Without(u"@decrypt");
  Expect(spc.EncryptStr(u"secret"), 0, {});
}

TEST_F(ReadTest, AnOverriddenDecryptionIsUsedAndKeptWithinTheBuffer) {
  class Doubling : public Spc {
  public:
    UnicodeString DecryptStr(const UnicodeString& value) override { return value + value; }
  } doubling;
  Par(u'S').Text(u"@value", u"ab").Flag(u"@decrypt");
  EXPECT_TRUE(doubling.GetPar(u"T", u"P", text));
  EXPECT_EQ(text, u"abab");
  char16_t buffer[6] = u"#####";
  std::uint32_t err = 99;
  EXPECT_TRUE(doubling.GetPar(u"T", u"P", buffer, 5, &err));
  EXPECT_EQ(UnicodeString(buffer), u"abab");
  buffer[4] = u'#';
  EXPECT_FALSE(doubling.GetPar(u"T", u"P", buffer, 4, &err));
  EXPECT_EQ(err, 234U);
  EXPECT_EQ(buffer[4], u'#');
  EXPECT_THAT(Lines(), ElementsAre(tooLarge));
}

TEST_F(ReadTest, TextIsReadWholeAndExpanded) {
  ::setenv("SPS_TEST_R", "there", 1);
  const UnicodeString longText(std::u16string(3000, u'x'));
  Par par(u'S');
  par.Text(u"@value", longText);
  Expect(longText, 0, {});
  par.Expandable(u"@value", u"%SPS_TEST_R%");
  Expect(u"there", 0, {});
}

// The buffer form's own reports cannot be silenced, those of the tests it calls can.
TEST_F(ReadTest, TheBufferFormReportsAlways) {
  char16_t buffer[8];
  std::uint32_t err = 99;
  const auto read = [&](std::uint32_t capacity, std::int32_t noErrMsg) {
    EXPECT_FALSE(spc.GetPar(u"T", u"P", buffer, capacity, &err, noErrMsg));
    return err;
  };
  EXPECT_EQ(read(8, 240), 11U);
  EXPECT_THAT(Lines(), ElementsAre(openFailed(pathOfP), noNode));
  Par par(u'S');
  EXPECT_EQ(read(8, 12), 12U);
  EXPECT_THAT(Lines(), ElementsAre(noValue));
  par.Text(u"@value", u"1234567");
  EXPECT_EQ(read(7, 240), 234U);
  EXPECT_THAT(Lines(), ElementsAre(tooLarge));
  EXPECT_TRUE(spc.GetPar(u"T", u"P", buffer, 8, &err));
  EXPECT_EQ(UnicodeString(buffer), u"1234567");
  par.Bytes(u"@value", {'a', 0, 'b', 0});
  EXPECT_EQ(read(2, 0), 234U) << "no room for the terminator that was not stored";
  EXPECT_EQ(read(0, 0), 234U);
  EXPECT_THAT(Lines(), ElementsAre(tooLarge, tooLarge));
  EXPECT_TRUE(spc.GetPar(u"T", u"P", buffer, 3, &err));
  EXPECT_EQ(UnicodeString(buffer), u"ab");
  par.Without(u"@type");
  EXPECT_EQ(read(8, 240), 2U);
  spc.m_localAccess = false;
  EXPECT_EQ(read(8, 240), 19U);
  EXPECT_FALSE(spc.GetPar(u"T", u"P", static_cast<char16_t*>(nullptr), 8, &err));
  EXPECT_EQ(err, 87U);
  EXPECT_THAT(Lines(), ElementsAre(plain('E', "Invalid error code: 87")));
}

TEST_F(ReadTest, NumbersAreReadFromAnyRegistryType) {
  Par par(u'I');
  std::int32_t number = 0x11223344;
  par.Number(u"@value", 7);
  EXPECT_TRUE(spc.GetPar(u"T", u"P", &number));
  EXPECT_EQ(number, 7);
  number = 0x11223344;
  par.Bytes(u"@value", {0xFF});
  EXPECT_TRUE(spc.GetPar(u"T", u"P", &number));
  EXPECT_EQ(number, 0x112233FF);
  Par(u'B').Bytes(u"@value", {2});
  bool flag = false;
  EXPECT_TRUE(spc.GetPar(u"T", u"P", &flag));
  EXPECT_TRUE(flag) << "any byte but 0";
}

TEST_F(ReadTest, ReadingLeavesTheLastWritesOutcome) {
  Par(u'S').Text(u"@value", u"v").Flag(u"@replicate").Flag(u"@disableLog");
  Expect(u"v", 0, {});
  EXPECT_EQ(spc.GetUpdPropName(), u"");
  EXPECT_FALSE(spc.IsReplicate());
  EXPECT_FALSE(spc.IsDisableLog());
}

TEST_F(ReadTest, ABlockIsReadInOrder) {
  Par(u"T", u"b", u'B').Bytes(u"@value", {1});
  Par(u"T", u"d", u'D').Bytes(u"@value", Form<double>::bytes);
  Par(u"T", u"i", u'I').Number(u"@value", 5);
  Par(u"T", u"s", u'S').Text(u"@value", u"text");
  Par(u"T", u"t", u'T').Bytes(u"@value", Form<std::int64_t>::bytes);
  bool b = false;
  double d = 0;
  std::int32_t i = 0;
  char16_t s[8] = u"";
  std::int64_t t = 0;
  SpcParS list[] = {{u"b", u'B', &b, 0}, {u"d", u'D', &d, 0}, {u"i", u'I', &i, 0},
                    {u"s", u'S', s, 8},  {u"t", u'T', &t, 0}, {nullptr, 0, nullptr, 0}};
  std::uint32_t err = 99;
  EXPECT_TRUE(spc.GetPar(u"T", list, &err));
  EXPECT_EQ(err, 0U);
  EXPECT_TRUE(b);
  EXPECT_EQ(d, -2.5);
  EXPECT_EQ(i, 5);
  EXPECT_EQ(UnicodeString(s), u"text");
  EXPECT_EQ(t, 0x0807060504030201);

  i = 0;
  t = 0;
  list[3].size = 4;
  EXPECT_FALSE(spc.GetPar(u"T", list, &err, 240));
  EXPECT_EQ(err, 234U);
  EXPECT_EQ(i, 5) << "before the failure";
  EXPECT_EQ(t, 0) << "after it";
  EXPECT_EQ(Lines().size(), 1U) << "noErrMsg does not reach the entries";
}

TEST_F(ReadTest, ABlockEndsAtAnUnknownType) {
  std::int32_t i = 0;
  const SpcParS list[] = {{u"flag", u'N', &i, 0}, {nullptr, 0, nullptr, 0}};
  const SpcParS empty[] = {{nullptr, 0, nullptr, 0}};
  std::uint32_t err = 99;
  EXPECT_TRUE(spc.GetPar(u"T", empty, &err));
  EXPECT_EQ(err, 0U);
  EXPECT_FALSE(spc.GetPar(u"T", list, &err));
  EXPECT_EQ(err, 13U);
  EXPECT_THAT(Lines(),
              ElementsAre(plain('E', "Parameter \"flag\": The parameter data type is not specified!")));
  EXPECT_FALSE(spc.GetPar(u"T", list, &err, 13));
  EXPECT_FALSE(spc.GetPar(u"T", list, nullptr, 240));
  EXPECT_THAT(Lines(), IsEmpty());
  EXPECT_FALSE(spc.GetPar(u"T", static_cast<const SpcParS*>(nullptr), &err));
  EXPECT_EQ(err, 87U);
}

// All that a read in one form leaves behind.
struct Outcome {
  bool done;
  std::uint32_t code;
  std::string value;  // of a buffer all of it
  Strings lines;
  bool operator==(const Outcome&) const = default;
};

void PrintTo(const Outcome& outcome, std::ostream* out) {
  *out << outcome.done << ' ' << outcome.code << ' ' << testing::PrintToString(outcome.value) << ' '
       << testing::PrintToString(outcome.lines);
}

class PlainReadTest : public ReadTest {
protected:
  template <class Value>
  Outcome Read() {
    Value value{};
    std::memset(static_cast<void*>(&value), 0xFE, sizeof value);
    std::uint32_t code = 99;
    const bool done = spc.GetPar(u"T", u"P", &value, &code, 0);
    return {done, code, std::string(reinterpret_cast<const char*>(&value), sizeof value), Lines()};
  }
  Outcome ReadText() {
    text = u"before";
    std::uint32_t code = 99;
    const bool done = spc.GetPar(u"T", u"P", text, &code, 0);
    return {done, code, support::toUtf8(text.View()), Lines()};
  }
  Outcome ReadBuffer(std::uint32_t capacity) {
    std::u16string room(8, u'#');
    std::uint32_t code = 99;
    const bool done = spc.GetPar(u"T", u"P", room.data(), capacity, &code, 0);
    return {done, code, support::toUtf8(room), Lines()};
  }

  std::vector<Outcome> ReadAll() {
    return {Read<std::int32_t>(), Read<double>(), Read<std::int64_t>(), Read<bool>(), ReadText(),
            ReadBuffer(0),        ReadBuffer(1),  ReadBuffer(3),        ReadBuffer(4)};
  }
};

// A read inside a transaction goes through every step; one outside takes the short way where it can, also
// where the key has a large value, which the store keeps elsewhere.
TEST_F(PlainReadTest, TheShortWayAnswersAsTheLongOne) {
  ::setenv("SPS_TEST_X", "there", 1);
  using Make = void (*)(Par&);
  const std::pair<const char*, Make> cases[] = {
      {"no value", [](Par&) {}},
      {"the other value", [](Par& par) { par.Text(u"@superValue", u"abc"); }},
      {"four bytes", [](Par& par) { par.Number(u"@value", 7); }},
      {"one byte", [](Par& par) { par.Bytes(u"@value", {2}); }},
      {"three bytes",
       [](Par& par) {
         par.Bytes(u"@value", {65, 0, 66});
       }},
      {"no bytes", [](Par& par) { par.Flag(u"@value"); }},
      {"eight bytes",
       [](Par& par) {
         par.Bytes(u"@value", {1, 0, 2, 0, 3, 0, 4, 0});
       }},
      {"nine bytes",
       [](Par& par) {
         par.Bytes(u"@value", {1, 0, 2, 0, 3, 0, 4, 0, 5});
       }},
      {"a text", [](Par& par) { par.Text(u"@value", u"abc"); }},
      {"a text of references", [](Par& par) { par.Expandable(u"@value", u"%SPS_TEST_X%"); }},
      {"a text with an end within",
       [](Par& par) {
         par.Bytes(u"@value", {65, 0, 0, 0, 66, 0});
       }},
      {"a large text", [](Par& par) { par.Text(u"@value", std::u16string(2000, u'x').c_str()); }},
      {"a scrambled text", [](Par& par) { par.Text(u"@value", u"abc").Flag(u"@decrypt"); }},
      {"an override", [](Par& par) { par.Text(u"@value", u"a").Override(u'U').Text(u"uSER", u"own"); }},
      {"an override without value", [](Par& par) { par.Text(u"@value", u"a").Override(u'W'); }},
      {"an override of no kind", [](Par& par) { par.Text(u"@value", u"a").Override(u'X'); }},
      {"half an override", [](Par& par) { par.Text(u"@value", u"a").Bytes(u"@override", {'U'}); }},
      {"half a type", [](Par& par) { par.Text(u"@value", u"a").Bytes(u"@type", {'S'}); }},
      {"a long type", [](Par& par) { par.Text(u"@value", u"a").Text(u"@type", u"S"); }},
      {"no type", [](Par& par) { par.Text(u"@value", u"a").Without(u"@type"); }},
  };
  for (const char16_t letter : {u'I', u'D', u'T', u'B', u'S'}) {
    for (const auto& [what, make] : cases) {
      SCOPED_TRACE(std::string(what) + " of type " + static_cast<char>(letter));
      RgNode topic;
      ASSERT_TRUE(topic.Init(u"HKEY_LOCAL_MACHINE\\Software\\Velor\\SPS\\Default\\T", true, false));
      topic.DelSubNode(u"P");
      Par par(letter);
      make(par);
      for (const char16_t* user : {u"User", u""}) {
        spc.SetUser(user);
        Lines();
        const std::vector<Outcome> plain = ReadAll();
        {
          const RegistryTransaction transaction;
          EXPECT_EQ(plain, ReadAll());
        }
        par.Bytes(u"large", std::vector<std::uint8_t>(300, 1));
        Lines();
        EXPECT_EQ(plain, ReadAll());
        par.Without(u"large");
      }
    }
  }
}

}  // namespace
