#include <stdlib.h>

#include <memory>

#include "src/SpSrvClntEx.h"
#include "tests/client/ClientTest.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

TEST(Version, IsTheLibrarys) {
  EXPECT_EQ(SpcGetVersion(), 0x0403076CU);
}

TEST_F(ClientTest, ANewObjectIsReadyWithoutInit) {
  OpenSpc spc;
  EXPECT_EQ(spc.GetRootName(), u"HKEY_LOCAL_MACHINE\\Software\\Velor\\SPS");
  EXPECT_EQ(spc.GetPrcSpaceName(), u"Default");
  EXPECT_EQ(spc.GetUpdPropName(), u"");
  EXPECT_FALSE(spc.IsConnected());
  EXPECT_TRUE(spc.IsLocalAccess());
  EXPECT_FALSE(spc.IsReplicate());
  EXPECT_FALSE(spc.IsDisableLog());
  EXPECT_THAT(Lines(), IsEmpty());
}

// Published for callers: no operation reads or writes them, so nothing else would notice another text.
TEST(Names, ThatNoOperationUses) {
  EXPECT_EQ(UnicodeString(Spc::m_pUNIT), u"@unit");
  EXPECT_EQ(UnicodeString(Spc::m_pDSC), u"@description");
  EXPECT_EQ(UnicodeString(Spc::m_pFUNCTIONAL), u"@functional");
}

TEST_F(ClientTest, InitTakesTheProcessSpaceFromTheEnvironment) {
  const std::pair<const char*, std::string> cases[] = {{nullptr, "Default"}, {"", "Default"},
                                                       {"0", "Default"},     {"00", "00"},
                                                       {"X", "X"},           {nullptr, "Default"}};
  OpenSpc spc;
  spc.SetPrcSpace(u"other");
  EXPECT_EQ(spc.GetPrcSpaceName(), u"other");
  for (const auto& [value, space] : cases) {
    value ? ::setenv("PROCESS_SPACE", value, 1) : ::unsetenv("PROCESS_SPACE");
    EXPECT_TRUE(spc.Init());
    EXPECT_EQ(spc.GetPrcSpaceName(), UnicodeString(space.c_str()));
    EXPECT_THAT(Lines(), ElementsAre(back(1, "Process space currently valid: " + space)));
  }
}

TEST_F(ClientTest, PathsAreJoinedUnchecked) {
  OpenSpc spc;
  spc.SetPrcSpace(u"X");
  UnicodeString path = u"before";
  EXPECT_TRUE(spc.GetParPath(path, u"T", u"P"));
  EXPECT_EQ(path, u"HKEY_LOCAL_MACHINE\\Software\\Velor\\SPS\\X\\T\\P");
  EXPECT_TRUE(spc.GetParPath(path, u"", u"P"));
  EXPECT_EQ(path, u"HKEY_LOCAL_MACHINE\\Software\\Velor\\SPS\\X\\\\P");
  EXPECT_TRUE(spc.GetParPath(path, nullptr, path));
  EXPECT_EQ(path,
            u"HKEY_LOCAL_MACHINE\\Software\\Velor\\SPS\\X\\\\"
            u"HKEY_LOCAL_MACHINE\\Software\\Velor\\SPS\\X\\\\P");
}

TEST_F(ClientTest, SettersReturnThePreviousName) {
  OpenSpc spc(u"a workstation of some length", u"user", nullptr);
  const char16_t* previous = spc.SetWorkstation(u"second");
  EXPECT_EQ(UnicodeString(spc.SetUser(nullptr)), u"user");
  EXPECT_EQ(UnicodeString(previous), u"a workstation of some length");
  previous = spc.SetWorkstation(previous);
  EXPECT_EQ(UnicodeString(previous), u"second");
  EXPECT_EQ(UnicodeString(spc.SetWorkstation(u"")), u"a workstation of some length");
  EXPECT_EQ(UnicodeString(spc.SetUser(u"x")), u"");
  EXPECT_EQ(UnicodeString(spc.SetPrcInstance(u"x")), u"");
}

class CopyTest : public ClientTest {
protected:
  CopyTest() : source(u"WS", u"U", u"I") {
    Par(u'S').Override(u'W').Flag(u"@replicate").Flag(u"@disableLog");
    EXPECT_TRUE(source.SetPar(u"T", u"P", UnicodeString(u"v")));
    EXPECT_EQ(source.GetUpdPropName(), u"WS");
    source.m_localAccess = false;
    source.SetPrcSpace(u"X");
    source.m_pSpSrvClnt = std::make_unique<SpSrvClntEx>();
  }
  void ExpectSettings(OpenSpc& spc) {
    EXPECT_EQ(spc.GetPrcSpaceName(), u"X");
    EXPECT_TRUE(spc.IsReplicate());
    EXPECT_TRUE(spc.IsDisableLog());
    EXPECT_FALSE(spc.IsLocalAccess());
    EXPECT_TRUE(spc.IsConnected());
    EXPECT_NE(spc.m_pSpSrvClnt, source.m_pSpSrvClnt);
    EXPECT_EQ(UnicodeString(spc.SetWorkstation(nullptr)), u"WS");
    EXPECT_EQ(UnicodeString(spc.SetUser(nullptr)), u"U");
    EXPECT_EQ(UnicodeString(spc.SetPrcInstance(nullptr)), u"I");
  }

  OpenSpc source;
};

TEST_F(CopyTest, ACopyStartsWithoutLastWriteAndWords) {
  OpenSpc copy(source);
  ExpectSettings(copy);
  EXPECT_EQ(copy.GetUpdPropName(), u"");
  EXPECT_EQ(copy.m_logModeWords.GetSize(), 0);
}

TEST_F(CopyTest, AssignmentKeepsLastWriteAndWords) {
  OpenSpc target;
  ASSERT_TRUE(target.SetPar(u"T", u"P", UnicodeString(u"v")));
  const UnicodeString updated = target.GetUpdPropName();
  EXPECT_EQ(updated, u"@value");
  const UnicodeString word = target.m_logModeWords[0];
  target = source;
  ExpectSettings(target);
  EXPECT_EQ(target.GetUpdPropName(), updated);
  EXPECT_EQ(target.m_logModeWords[0], word);

  target = *&target;
  EXPECT_TRUE(target.IsConnected());
  source.m_pSpSrvClnt.reset();
  target = source;
  EXPECT_FALSE(target.IsConnected());
}

TEST_F(ClientTest, ScramblingPadsAndTrims) {
  const std::u16string odd = u"\u00E9\u4E2D\xD83D\xDE00\xFFFF\x0001";
  const std::u16string large(5000, u'x');
  const std::pair<std::u16string, std::u16string> cases[] = {
      {u"", u""}, {u"   ", u""}, {u"\t\r\n", u""}, {u" one two ", u"one two"}, {u"secret", u"secret"},
      {odd, odd}, {large, large}};
  OpenSpc spc;
  for (const auto& [text, kept] : cases) {
    const UnicodeString stored = spc.EncryptStr(text.c_str());
    EXPECT_EQ(stored.GetLength(), std::int32_t(text.size()) + 20);
    EXPECT_EQ(stored.View().find(u"secret"), std::u16string_view::npos);
    EXPECT_EQ(spc.DecryptStr(stored), kept.c_str());
  }
}

}  // namespace
