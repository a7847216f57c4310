#include "tests/client/ClientTest.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class AttributeTest : public ClientTest {
protected:
  AttributeTest() : spc(u"WS", nullptr, u"Inst"), par(u'S') {}
  // A node whose every read fails with 6.
  static OpenNode& Broken() {
    static OpenNode node;
    return node;
  }

  OpenSpc spc;
  Par par;
};

const std::string badHandle = reported(6, "");

TEST_F(AttributeTest, OverrideNameGoesByTheLetter) {
  const struct {
    std::vector<std::uint8_t> letter;
    std::int32_t code;
    const char16_t* name;
  } cases[] = {{{'W', 0}, 0, u"WS"},   {{'P', 0}, 0, u"Inst"},        {{'U', 0}, 9, u"kept"},
               {{'w', 0}, 7, u"kept"}, {{'W', 1}, 7, u"kept"},        {{'W'}, 7, u"kept"},
               {{}, 7, u"kept"},       {{'W', 0, 0, 0}, 234, u"kept"}};
  par.Text(u"", u"a value of an empty name");
  for (const auto& c : cases) {
    par.Bytes(u"@override", c.letter);
    UnicodeString name = u"kept";
    EXPECT_EQ(spc.GetOverrideName(par.Node(), name, 0), c.code);
    EXPECT_EQ(name, c.name);
    EXPECT_EQ(Lines().size(), c.code > 0 && c.code < 11 ? 1U : 0U);
    EXPECT_EQ(spc.GetOverrideName(par.Node(), name, c.code), c.code);
    EXPECT_THAT(Lines(), IsEmpty());
  }
  par.Without(u"@override");
  UnicodeString name;
  EXPECT_EQ(spc.GetOverrideName(par.Node(), name, 0), 2);
  EXPECT_EQ(spc.GetOverrideName(Broken(), name, 0), 6);
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(AttributeTest, TypeTestLeavesTheCodeOnSuccess) {
  std::uint32_t code = 77;
  EXPECT_TRUE(spc.IsValidDataType(par.Node(), u"any", u'S', code, 0));
  EXPECT_EQ(code, 77U);
  EXPECT_FALSE(spc.IsValidDataType(par.Node(), u"any", u'I', code, 0));
  EXPECT_EQ(code, 16U);
  EXPECT_FALSE(spc.IsValidDataType(Broken(), nullptr, u'S', code, 0));
  EXPECT_EQ(code, 6U);
  EXPECT_THAT(Lines(), ElementsAre(otherType, reported(6, R"(\@type)")));
}

TEST_F(AttributeTest, OverrideTestReportsTheLetterAlone) {
  std::uint16_t letter = 0x1234;
  EXPECT_FALSE(spc.IsAttrOverride(par.Node(), letter, 0));
  EXPECT_EQ(letter, 0x1234);
  EXPECT_THAT(Lines(), IsEmpty());
  par.Override(u'U');
  EXPECT_TRUE(spc.IsAttrOverride(par.Node(), letter, 0));
  EXPECT_EQ(letter, u'U');
  par.Text(u"@override", u"W");
  EXPECT_FALSE(spc.IsAttrOverride(par.Node(), letter, 0));
  EXPECT_FALSE(spc.IsAttrOverride(par.Node(), letter, 234));
  EXPECT_THAT(Lines(), ElementsAre(reported(234, nameOfP)));
}

TEST_F(AttributeTest, FlagsAreTrueByExistence) {
  using FlagTest = bool (OpenSpc::*)(RgNode&, std::int32_t);
  const struct {
    FlagTest test;
    const char16_t* name;
  } cases[] = {{&OpenSpc::IsAttrDecrypt, u"@decrypt"},
               {&OpenSpc::IsAttrDisableLog, u"@disableLog"},
               {&OpenSpc::IsAttrEncrypt, u"@encrypt"},
               {&OpenSpc::IsAttrReadOnly, u"@readonly"},
               {&OpenSpc::IsAttrReplicate, u"@replicate"}};
  for (const auto& c : cases) {
    EXPECT_FALSE((spc.*c.test)(par.Node(), 0));
    par.Flag(c.name);
    EXPECT_TRUE((spc.*c.test)(par.Node(), 0));
    par.Number(c.name, 0);
    EXPECT_TRUE((spc.*c.test)(par.Node(), 0)) << "whatever it holds";
    par.Without(c.name);
    EXPECT_FALSE((spc.*c.test)(par.Node(), 0));
    EXPECT_THAT(Lines(), IsEmpty());
    EXPECT_FALSE((spc.*c.test)(Broken(), 0));
    EXPECT_FALSE((spc.*c.test)(Broken(), 6));
    EXPECT_THAT(Lines(), ElementsAre(badHandle));
  }
}

// "@decrypt" and "@encrypt" are set by one algorithm.
struct Setter {
  bool (Spc::*set)(const char16_t*, const char16_t*, bool, std::uint32_t*);
  const char16_t* name;
};
class AttributeSetterTest : public AttributeTest, public testing::WithParamInterface<Setter> {
protected:
  bool Set(bool flag) {
    err = 99;
    return (spc.*GetParam().set)(u"T", u"P", flag, &err);
  }
  bool IsSet() { return par.Value(GetParam().name) == Par::Stored{REG_NONE, {}}; }

  std::uint32_t err = 99;
};
INSTANTIATE_TEST_SUITE_P(Flags, AttributeSetterTest,
                         testing::Values(Setter{&Spc::SetParAttrDecrypt, u"@decrypt"},
                                         Setter{&Spc::SetParAttrEncrypt, u"@encrypt"}));

TEST_P(AttributeSetterTest, SetsAndRemovesTheFlagAlone) {
  par.Text(u"@value", u"text").Override(u'W').Flag(u"@replicate");
  EXPECT_TRUE(Set(false)) << "one that is not there counts as removed";
  EXPECT_TRUE(Set(true));
  EXPECT_EQ(err, 0U);
  EXPECT_TRUE(IsSet());
  EXPECT_EQ(par.TextOf(u"@value"), u"text");
  EXPECT_EQ(par.Value(u"WS").type, -1);
  EXPECT_EQ(spc.GetUpdPropName(), GetParam().name);
  EXPECT_TRUE(spc.IsReplicate());
  EXPECT_TRUE((spc.*GetParam().set)(u"T", u"P", false, nullptr));
  EXPECT_FALSE(IsSet());
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_P(AttributeSetterTest, NeedsATextParameter) {
  Par{u'I'};
  EXPECT_FALSE(Set(true));
  EXPECT_EQ(err, 16U);
  par.Without(u"@type");
  EXPECT_FALSE(Set(true));
  EXPECT_EQ(err, 2U);
  EXPECT_FALSE(IsSet());
  EXPECT_THAT(Lines(), ElementsAre(otherType, noType));
}

TEST_P(AttributeSetterTest, WithoutKeyOrLocalAccessItFails) {
  spc.SetPrcSpace(u"X");
  EXPECT_FALSE(Set(true));
  EXPECT_EQ(err, 11U);
  const std::string path = R"(HKEY_LOCAL_MACHINE\Software\Velor\SPS\X\T\P)";
  EXPECT_THAT(Lines(), ElementsAre(openFailed(path), reported(11, path)));
  spc.m_localAccess = false;
  EXPECT_FALSE(Set(true));
  EXPECT_EQ(err, 19U);
  EXPECT_THAT(Lines(), ElementsAre(noLocalAccess));
}

}  // namespace
