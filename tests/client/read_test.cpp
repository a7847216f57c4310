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

const std::string noValue = reported(12, pathOfP);

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
};
template <>
struct Form<double> {
  static constexpr char16_t letter = u'D';
  static constexpr double value = -2.5;
};
template <>
struct Form<std::int64_t> {
  static constexpr char16_t letter = u'T';
  static constexpr std::int64_t value = 0x0807060504030201;
};
template <>
struct Form<bool> {
  static constexpr char16_t letter = u'B';
  static constexpr bool value = true;
};

template <class Value>
std::vector<std::uint8_t> bytesOf() {
  const auto* const first = reinterpret_cast<const std::uint8_t*>(&Form<Value>::value);
  return {first, first + sizeof(Value)};
}

template <class Value>
class NumberReadTest : public ReadTest {
protected:
  // One read that fails.
  void Fails(std::uint32_t code, const Strings& lines, std::int32_t noErrMsg = 0) {
    Value value{};
    std::uint32_t err = 99;
    EXPECT_FALSE(spc.GetPar(u"T", u"P", &value, &err, noErrMsg));
    EXPECT_EQ(err, code);
    EXPECT_EQ(Lines(), lines);
  }
};
using Numbers = testing::Types<std::int32_t, double, std::int64_t, bool>;
TYPED_TEST_SUITE(NumberReadTest, Numbers);

TYPED_TEST(NumberReadTest, ResolvesAsTheStringFormDoes) {
  using F = Form<TypeParam>;
  Par par(F::letter);
  TypeParam value{};
  std::uint32_t err = 99;
  this->Fails(12, {reported(12, F::letter == u'T' ? "P" : pathOfP)});
  this->Fails(12, {}, 12);

  for (const char16_t* name : {u"@superValue", u"@value", u"WS"}) {
    par.Override(u'W').Bytes(name, bytesOf<TypeParam>()).Flag(u"@decrypt");
    value = {};
    EXPECT_TRUE(this->spc.GetPar(u"T", u"P", &value, &err));
    EXPECT_EQ(value, F::value);
    EXPECT_EQ(err, 0U);
    par.Bytes(name, std::vector<std::uint8_t>(bytesOf<TypeParam>().size(), 0));
    EXPECT_TRUE(this->spc.GetPar(u"T", u"P", &value, nullptr));
    EXPECT_EQ(value, TypeParam{}) << "the last one made is the one that counts";
  }
  EXPECT_THAT(this->Lines(), IsEmpty());
}

TYPED_TEST(NumberReadTest, TestsPlaceTypeAndSize) {
  using F = Form<TypeParam>;
  Par par(F::letter);
  par.Bytes(u"@value", std::vector<std::uint8_t>(9, 1)).Bytes(u"@superValue", bytesOf<TypeParam>());
  this->Fails(234, {tooLarge});
  Par{F::letter == u'I' ? u'T' : u'I'};
  this->Fails(16, {otherType});
  this->spc.m_localAccess = false;
  this->Fails(19, {noLocalAccess});

  std::uint32_t err = 99;
  EXPECT_FALSE(this->spc.GetPar(u"T", u"P", static_cast<TypeParam*>(nullptr), &err));
  EXPECT_EQ(err, 87U);
  EXPECT_THAT(this->Lines(), ElementsAre(reported(87, "")));
}

TEST_F(ReadTest, TheFirstValueThatExistsCounts) {
  Par par(u'S');
  par.Flag(u"@replicate").Flag(u"@disableLog");
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
  EXPECT_EQ(spc.GetUpdPropName(), u"") << "a read leaves the last write's outcome";
  EXPECT_FALSE(spc.IsReplicate());
  EXPECT_FALSE(spc.IsDisableLog());
}

TEST_F(ReadTest, EachKindOfOverrideHasItsName) {
  Par par(u'S');
  par.Text(u"WS", u"w").Text(u"User", u"u").Text(u"Inst", u"p").Text(u"@value", u"value");
  const struct {
    char16_t letter;
    const char16_t* named;
    std::int32_t unnamed;
  } kinds[] = {{u'W', u"w", 8}, {u'U', u"u", 9}, {u'P', u"p", 10}};
  for (const auto& kind : kinds) {
    par.Override(kind.letter);
    Expect(kind.named, 0, {});
  }
  spc = OpenSpc();
  for (const auto& kind : kinds) {
    par.Override(kind.letter);
    Expect(u"value", 0, {reported(kind.unnamed, nameOfP)});
    Expect(u"value", 0, {}, kind.unnamed);
  }
  par.Override(u'w');
  Expect(u"value", 0, {reported(7, nameOfP)});

  const char16_t* const longName = u"operator of the second shift in the northern plant";
  par.Override(u'U').Text(longName, u"override");
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
  Expect(nullptr, 234, {reported(234, typeOfP)});
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
  std::uint32_t err = 99;
  EXPECT_FALSE(Elsewhere().GetPar(u"T", u"P", text, &err));
  EXPECT_EQ(err, 6U);
  EXPECT_THAT(Lines(), ElementsAre(reported(6, R"(NOWHERE\Default\T\P)")));
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
  par.Without(u"@decrypt").Flag(u"@encrypt");
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

// The buffer form's own reports cannot be silenced, those of the tests it calls can.
TEST_F(ReadTest, TheBufferFormReportsAlways) {
  char16_t buffer[8];
  std::uint32_t err = 99;
  const auto fails = [&](std::uint32_t capacity, std::int32_t noErrMsg, std::uint32_t code,
                         const Strings& lines) {
    EXPECT_FALSE(spc.GetPar(u"T", u"P", buffer, capacity, &err, noErrMsg));
    EXPECT_EQ(err, code);
    EXPECT_EQ(Lines(), lines);
  };
  fails(8, 240, 11, {openFailed(pathOfP), noNode});
  Par par(u'S');
  fails(8, 12, 12, {noValue});
  par.Text(u"@value", u"1234567");
  fails(7, 240, 234, {tooLarge});
  EXPECT_TRUE(spc.GetPar(u"T", u"P", buffer, 8, &err));
  EXPECT_EQ(UnicodeString(buffer), u"1234567");
  par.Bytes(u"@value", {'a', 0, 'b', 0});
  fails(2, 0, 234, {tooLarge});  // no room for the terminator that was not stored
  fails(0, 0, 234, {tooLarge});
  EXPECT_TRUE(spc.GetPar(u"T", u"P", buffer, 3, &err));
  EXPECT_EQ(UnicodeString(buffer), u"ab");
  par.Without(u"@type");
  fails(8, 240, 2, {});
  spc.m_localAccess = false;
  fails(8, 240, 19, {});
  EXPECT_FALSE(spc.GetPar(u"T", u"P", static_cast<char16_t*>(nullptr), 8, &err));
  EXPECT_EQ(err, 87U);
  EXPECT_THAT(Lines(), ElementsAre(reported(87, "")));
}

TEST_F(ReadTest, AnyByteButZeroIsTrue) {
  Par(u'B').Bytes(u"@value", {2});
  bool flag = false;
  EXPECT_TRUE(spc.GetPar(u"T", u"P", &flag));
  EXPECT_TRUE(flag);
}

TEST_F(ReadTest, ABlockIsReadInOrder) {
  Par(u"T", u"b", u'B').Bytes(u"@value", {1});
  Par(u"T", u"d", u'D').Bytes(u"@value", bytesOf<double>());
  Par(u"T", u"i", u'I').Number(u"@value", 5);
  Par(u"T", u"s", u'S').Text(u"@value", u"text");
  Par(u"T", u"t", u'T').Bytes(u"@value", bytesOf<std::int64_t>());
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
  EXPECT_THAT(Lines(), ElementsAre(reported(13, "flag")));
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
