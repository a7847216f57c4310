#include <functional>

#include "src/SpSrvClntEx.h"
#include "tests/client/ClientTest.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string quotedP = "Parameter \"" + pathOfP + "\": ";
const std::string created = back(1, quotedP + "The override doesn't exist, so it is created!");
const std::string noNode = plain('W', quotedP + "The parameter node cannot be found!");
const std::string tooLarge = plain('E', quotedP + "The parameter value buffer size is too small!");
const std::string otherType = plain('E', "Parameter \"" + pathOfP + "\\@type\": Invalid data type!");
const std::string noLocalAccess =
    plain('E', "Parameter \"P\": Local access disabled without being connected to any master!");

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

INSTANTIATE_TEST_SUITE_P(
    Forms, AnyWriteTest,
    testing::Values(WriteCase{"string",
                              u'S',
                              [](Spc& spc, auto* err) { return spc.SetPar(u"T", u"P", u"ab", 99, err); },
                              {REG_SZ, {'a', 0, 'b', 0, 0, 0}}},
                    WriteCase{
                        "object",
                        u'S',
                        [](Spc& spc, auto* err) { return spc.SetPar(u"T", u"P", UnicodeString(u"ab"), err); },
                        {REG_SZ, {'a', 0, 'b', 0, 0, 0}}},
                    WriteCase{"empty",
                              u'S',
                              [](Spc& spc, auto* err) { return spc.SetPar(u"T", u"P", u"", 0, err, false); },
                              {REG_SZ, {0, 0}}},
                    WriteCase{"integer",
                              u'I',
                              [](Spc& spc, auto* err) { return spc.SetPar(u"T", u"P", -2, err); },
                              {REG_DWORD, {0xFE, 0xFF, 0xFF, 0xFF}}},
                    WriteCase{"float",
                              u'D',
                              [](Spc& spc, auto* err) { return spc.SetPar(u"T", u"P", -2.5, err); },
                              {REG_BINARY, {0, 0, 0, 0, 0, 0, 0x04, 0xC0}}},
                    WriteCase{"long",
                              u'T',
                              [](Spc& spc, auto* err) { return spc.SetPar(u"T", u"P", &longNumber, err); },
                              {REG_BINARY, {1, 2, 3, 4, 5, 6, 7, 8}}},
                    WriteCase{"boolean",
                              u'B',
                              [](Spc& spc, auto* err) { return spc.SetPar(u"T", u"P", true, err); },
                              {REG_BINARY, {1}}}),
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
  EXPECT_THAT(Lines(), ElementsAre(back(1, "Override Parameter \"" + nameOfP +
                                               "\": The override <workstation> is not specified!")));
  par.Override(u'X');
  EXPECT_TRUE(Write());
  EXPECT_THAT(Lines(),
              ElementsAre(plain('W', "Parameter \"" + nameOfP + "\": Invalid override type detected!")));
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
  EXPECT_FALSE(Write());
  EXPECT_EQ(err, 11U);
  EXPECT_THAT(Lines(), ElementsAre(openFailed(pathOfP), noNode));

  Par par(GetParam().letter == u'S' ? u'I' : u'S');
  EXPECT_FALSE(Write());
  EXPECT_EQ(err, 16U);
  EXPECT_THAT(Lines(), ElementsAre(otherType));

  par.Without(u"@type");
  EXPECT_FALSE(Write());
  EXPECT_EQ(err, 2U);
  EXPECT_THAT(Lines(), ElementsAre(plain('W', "Parameter \"" + pathOfP +
                                                  "\\@type\": The parameter attribute cannot be found!")));

  Par(GetParam().letter).Text(u"@override", u"W");
  EXPECT_FALSE(Write());
  EXPECT_EQ(err, 234U);
  EXPECT_THAT(Lines(), ElementsAre(tooLarge));

  spc.m_localAccess = false;
  EXPECT_FALSE(Write());
  EXPECT_EQ(err, 19U);
  EXPECT_FALSE(GetParam().write(spc, nullptr));
  EXPECT_THAT(Lines(), ElementsAre(noLocalAccess, noLocalAccess));
  EXPECT_EQ(par.Value(u"@value").type, -1);
  EXPECT_EQ(spc.GetUpdPropName(), u"");
}

// The connection here is one that never came about, whose telegrams are refused without a code: what
// shows is which way a write takes.
TEST_P(AnyWriteTest, WithAConnectionTextsAndNumbersTakeDifferentWays) {
  spc.m_pSpSrvClnt = std::make_unique<SpSrvClntEx>();
  EXPECT_FALSE(Write()) << "no key: to the master";
  EXPECT_EQ(err, 0U);
  EXPECT_THAT(Lines(), ElementsAre(openFailed(pathOfP)));

  Par par(GetParam().letter);
  const bool isText = GetParam().letter == u'S';
  EXPECT_EQ(Write(), isText);
  EXPECT_EQ(err, 0U);
  EXPECT_EQ(par.Value(u"@value") == stored, isText);
  EXPECT_EQ(spc.GetUpdPropName(), isText ? u"@value" : u"");
  const std::string found = "AttrDisableLog not set, but local override found! Topc:Par=T:P";
  EXPECT_EQ(Lines(), isText ? std::vector<std::string>{back(1, found)} : std::vector<std::string>{});

  par.Flag(u"@disableLog");
  EXPECT_TRUE(Write());
  EXPECT_EQ(par.Value(u"@value"), stored);
  EXPECT_THAT(Lines(), IsEmpty());

  spc.m_localAccess = false;
  EXPECT_FALSE(Write());
  EXPECT_EQ(err, 0U);
}

TEST_F(WriteTest, AKeyThatCannotBeOpenedIsTheRegistrysCodeAndNoMatterOfTheMaster) {
  class Elsewhere : public Spc {
  public:
    Elsewhere() {
      m_root = u"NOWHERE";
      m_pSpSrvClnt = std::make_unique<SpSrvClntEx>();
    }
  } elsewhere;
  EXPECT_FALSE(elsewhere.SetPar(u"T", u"P", 1, &err));
  EXPECT_EQ(err, 6U);
  err = 99;
  EXPECT_FALSE(elsewhere.SetParAttrDecrypt(u"T", u"P", true, &err));
  EXPECT_EQ(err, 6U);
  const std::string line = plain('E', R"(Parameter "NOWHERE\Default\T\P": Invalid registry key handle!)");
  EXPECT_THAT(Lines(), ElementsAre(line, line));
}

TEST_F(WriteTest, NullPointers) {
  Par par(u'T');
  EXPECT_FALSE(spc.SetPar(u"T", u"P", static_cast<const std::int64_t*>(nullptr), &err));
  EXPECT_EQ(err, 87U);
  EXPECT_THAT(Lines(), ElementsAre(plain('E', "Invalid error code: 87")));
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
  const std::string refused = plain('E', "Invalid error code: 87");
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
