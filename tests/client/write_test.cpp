#include <functional>

#include "src/SpSrvClntEx.h"
#include "tests/client/ClientTest.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string created = reported(14, pathOfP);

// What the rules common to all forms are tested with.
struct WriteCase {
  std::string form;
  char16_t letter;
  std::function<bool(Spc&, std::uint32_t*)> write;  // of topic "T", parameter "P"
  Par::Stored stored;
};

class WriteTest : public ClientTest {
protected:
  WriteTest() : spc(u"WS", u"User", u"Inst") {}
  OpenSpc spc;
  std::uint32_t err = 99;
};

class AnyWriteTest : public WriteTest, public testing::WithParamInterface<WriteCase> {
protected:
  bool Write() {
    err = 99;
    return GetParam().write(spc, &err);
  }
  const Par::Stored& stored = GetParam().stored;
};

constexpr std::int64_t longNumber = 0x0807060504030201;

// A form of one value; further arguments stand between that and the place of the code.
template <class Value, class... Further>
WriteCase form(const char* name, char16_t letter, Par::Stored stored, Value value, Further... further) {
  return {name, letter, [=](Spc& spc, auto* err) { return spc.SetPar(u"T", u"P", value, further..., err); },
          std::move(stored)};
}

const Par::Stored ab = {REG_SZ, {'a', 0, 'b', 0, 0, 0}};

INSTANTIATE_TEST_SUITE_P(
    Forms, AnyWriteTest,
    testing::Values(form("string", u'S', ab, u"ab", 99U), form("object", u'S', ab, UnicodeString(u"ab")),
                    form("empty", u'S', {REG_SZ, {0, 0}}, u"", 0U),
                    form("integer", u'I', {REG_DWORD, {0xFE, 0xFF, 0xFF, 0xFF}}, -2),
                    form("float", u'D', {REG_BINARY, {0, 0, 0, 0, 0, 0, 0x04, 0xC0}}, -2.5),
                    form("long", u'T', {REG_BINARY, {1, 2, 3, 4, 5, 6, 7, 8}}, &longNumber),
                    form("boolean", u'B', {REG_BINARY, {1}}, true)),
    [](const auto& test) { return test.param.form; });

TEST_P(AnyWriteTest, StoresItsFormAtTheValue) {
  Par par(GetParam().letter);
  par.Flag(u"@readonly");
  EXPECT_TRUE(Write());
  EXPECT_EQ(err, 0U);
  EXPECT_EQ(par.Value(u"@value"), stored);
  EXPECT_EQ(par.Value(u"@superValue").type, -1);
  EXPECT_EQ(spc.GetUpdPropName(), u"@value");
  EXPECT_FALSE(spc.IsReplicate());
  EXPECT_FALSE(spc.IsDisableLog());

  par.Flag(u"@replicate");
  EXPECT_TRUE(GetParam().write(spc, nullptr));
  EXPECT_TRUE(spc.IsReplicate());
  EXPECT_FALSE(spc.IsDisableLog());
  par.Flag(u"@disableLog").Without(u"@replicate");
  EXPECT_TRUE(Write());
  EXPECT_FALSE(spc.IsReplicate());
  EXPECT_TRUE(spc.IsDisableLog());
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_P(AnyWriteTest, CreatesAnOverrideValueOnceWithCode14) {
  Par par(GetParam().letter);
  par.Override(u'U');
  EXPECT_TRUE(Write());
  EXPECT_EQ(err, 14U);
  EXPECT_EQ(par.Value(u"User"), stored);
  EXPECT_EQ(par.Value(u"@value").type, -1);
  EXPECT_EQ(spc.GetUpdPropName(), u"User");
  EXPECT_THAT(Lines(), ElementsAre(created));
  EXPECT_TRUE(Write());
  EXPECT_EQ(err, 0U);
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_P(AnyWriteTest, AnOverrideWithoutANameGoesToTheValue) {
  Par par(GetParam().letter);
  par.Override(u'W');
  spc.SetWorkstation(nullptr);
  EXPECT_TRUE(Write());
  EXPECT_EQ(err, 0U);
  EXPECT_EQ(par.Value(u"@value"), stored);
  EXPECT_THAT(Lines(), ElementsAre(reported(8, nameOfP)));
  par.Override(u'X');
  EXPECT_TRUE(Write());
  EXPECT_THAT(Lines(), ElementsAre(reported(7, nameOfP)));
}

TEST_P(AnyWriteTest, AnOverrideValueOfAnotherSizeStopsTheNumbers) {
  Par par(GetParam().letter);
  par.Override(u'P').Bytes(u"Inst", std::vector<std::uint8_t>(9, 1));
  const bool isText = GetParam().letter == u'S';
  EXPECT_EQ(Write(), isText);
  EXPECT_EQ(err, isText ? 0U : 234U);
  EXPECT_EQ(par.Value(u"Inst") == stored, isText);
  EXPECT_EQ(par.Value(u"@value").type, -1);
  EXPECT_EQ(Lines(), isText ? std::vector<std::string>{} : std::vector<std::string>{tooLarge});
}

TEST_P(AnyWriteTest, WritesNothingOnFailure) {
  const auto expect = [&](std::uint32_t code, const std::vector<std::string>& lines) {
    EXPECT_FALSE(Write());
    EXPECT_EQ(err, code);
    EXPECT_EQ(Lines(), lines);
  };
  expect(11, {openFailed(pathOfP), noNode});
  Par par(GetParam().letter == u'S' ? u'I' : u'S');
  expect(16, {otherType});
  par.Without(u"@type");
  expect(2, {noType});
  Par(GetParam().letter).Text(u"@override", u"W");
  expect(234, {tooLarge});

  spc.m_localAccess = false;
  expect(19, {noLocalAccess});
  EXPECT_FALSE(GetParam().write(spc, nullptr));
  EXPECT_THAT(Lines(), ElementsAre(noLocalAccess));
  EXPECT_EQ(par.Value(u"@value").type, -1);
  EXPECT_EQ(spc.GetUpdPropName(), u"");
}

TEST_F(WriteTest, AKeyThatCannotBeOpenedIsTheRegistrysCodeAndNoMatterOfTheMaster) {
  Elsewhere elsewhere;
  elsewhere.m_pSpSrvClnt = std::make_unique<SpSrvClntEx>();
  EXPECT_FALSE(elsewhere.SetPar(u"T", u"P", 1, &err));
  EXPECT_EQ(err, 6U);
  err = 99;
  EXPECT_FALSE(elsewhere.SetParAttrDecrypt(u"T", u"P", true, &err));
  EXPECT_EQ(err, 6U);
  const std::string line = reported(6, R"(NOWHERE\Default\T\P)");
  EXPECT_THAT(Lines(), ElementsAre(line, line));
}

TEST_F(WriteTest, NullPointers) {
  Par par(u'T');
  EXPECT_FALSE(spc.SetPar(u"T", u"P", static_cast<const std::int64_t*>(nullptr), &err));
  EXPECT_EQ(err, 87U);
  EXPECT_THAT(Lines(), ElementsAre(reported(87, "")));
  Par text(u'S');
  EXPECT_TRUE(spc.SetPar(u"T", u"P", static_cast<const char16_t*>(nullptr), 5, &err));
  EXPECT_EQ(text.TextOf(u"@value"), u"");
}

TEST_F(WriteTest, EncryptingScramblesAndSaysSo) {
  Par par(u'S');
  par.Override(u'W');
  EXPECT_TRUE(spc.SetPar(u"T", u"P", u"secret", 0, &err, true));
  EXPECT_EQ(err, 14U);
  EXPECT_EQ(spc.DecryptStr(par.TextOf(u"WS")), u"secret");
  EXPECT_NE(par.TextOf(u"WS"), u"secret");
  EXPECT_EQ(par.Value(u"@decrypt").type, REG_NONE);
  EXPECT_EQ(spc.GetUpdPropName(), u"WS");
  UnicodeString text;
  EXPECT_TRUE(spc.GetPar(u"T", u"P", text));
  EXPECT_EQ(text, u"secret");

  EXPECT_TRUE(spc.SetPar(u"T", u"P", UnicodeString(u"plain"), &err));
  EXPECT_EQ(par.TextOf(u"WS"), u"plain");
  EXPECT_TRUE(spc.GetPar(u"T", u"P", text));
  EXPECT_EQ(text, spc.DecryptStr(u"plain")) << "the flag stays and scrambles what is plain";
}

TEST_F(WriteTest, EncryptingUsesTheOverriddenForm) {
  class Marking : public Spc {
  public:
    UnicodeString EncryptStr(const UnicodeString& value) override { return u"<" + value + u">"; }
  } marking;
  Par par(u'S');
  EXPECT_TRUE(marking.SetPar(u"T", u"P", UnicodeString(u"x"), nullptr, true));
  EXPECT_EQ(par.TextOf(u"@value"), u"<x>");
}

TEST_F(WriteTest, AFailedFlagStopsAnEncryptedWrite) {
  Par par(u'I');
  EXPECT_FALSE(spc.SetPar(u"T", u"P", UnicodeString(u"x"), &err, true));
  EXPECT_EQ(err, 16U);
  EXPECT_THAT(Lines(), ElementsAre(otherType));
  spc.m_localAccess = false;
  EXPECT_FALSE(spc.SetPar(u"T", u"P", UnicodeString(u"x"), &err, true));
  EXPECT_EQ(err, 19U);
  EXPECT_THAT(Lines(), ElementsAre(noLocalAccess));

  spc.m_localAccess = true;
  Par(u'S').Text(u"@override", u"W");
  EXPECT_FALSE(spc.SetPar(u"T", u"P", UnicodeString(u"x"), &err, true));
  EXPECT_EQ(par.Value(u"@decrypt").type, REG_NONE) << "the flag stays when the write fails";
  EXPECT_EQ(spc.GetUpdPropName(), u"@decrypt");
}

TEST_F(WriteTest, AValueBeyondTheStoresLimitIsRefusedWhole) {
  Par par(u'S');
  par.Text(u"@value", u"before");
  const UnicodeString huge(std::u16string(9 << 20, u'x'));
  const std::string refused = reported(87, "");
  EXPECT_FALSE(spc.SetPar(u"T", u"P", huge, &err));
  EXPECT_EQ(err, 87U);
  EXPECT_EQ(par.TextOf(u"@value"), u"before");
  EXPECT_THAT(Lines(), ElementsAre(refused));

  par.Override(u'W');
  EXPECT_FALSE(spc.SetPar(u"T", u"P", huge, &err));
  EXPECT_EQ(err, 87U) << "in place of 14";
  EXPECT_EQ(par.Value(u"WS").type, -1);
  EXPECT_THAT(Lines(), ElementsAre(created, refused));
  EXPECT_EQ(spc.GetUpdPropName(), u"");
}

}  // namespace
