#include <stdlib.h>

#include "tests/client/ClientTest.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string notFound = reported(2, "");

std::string pathOf(const std::string& par) {
  return R"(HKEY_LOCAL_MACHINE\Software\Velor\SPS\Default\Global\)" + par;
}

TEST_F(ClientTest, EachDirectoryHasItsParameter) {
  using Read = bool (Spc::*)(UnicodeString&, std::uint32_t*);
  const struct {
    Read read;
    const char16_t* par;
  } cases[] = {{&Spc::GetRootDir, u"PS_ROOT_DIR"},     {&Spc::GetBinDir, u"PS_BIN_DIR"},
               {&Spc::GetCfgDir, u"PS_CFG_DIR"},       {&Spc::GetHlpDir, u"PS_HLP_DIR"},
               {&Spc::GetInstDir, u"PS_INSTALL_DIR"},  {&Spc::GetLogDir, u"PS_LOG_DIR"},
               {&Spc::GetSysLogDir, u"PS_SYSLOG_DIR"}, {&Spc::GetTmpDir, u"PS_TMP_DIR"}};
  OpenSpc spc;
  for (const auto& c : cases) {
    Par(u"Global", c.par, u'S').Text(u"@value", c.par);
    UnicodeString dir;
    std::uint32_t err = 99;
    EXPECT_TRUE((spc.*c.read)(dir, &err));
    EXPECT_EQ(dir, c.par);
    EXPECT_EQ(err, 0U);
  }
  EXPECT_EQ(UnicodeString(Spc::m_pParHlpLang), u"PS_HLP_LANG");
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(ClientTest, ADirectoryIsItsPlainValue) {
  ::setenv("SPS_TEST_D", "/opt", 1);
  Par par(u"Global", u"PS_BIN_DIR", u'I');
  par.Override(u'W').Text(u"WS", u"override").Flag(u"@decrypt").Text(u"@superValue", u"super");
  OpenSpc spc(u"WS", nullptr, nullptr);
  spc.m_localAccess = false;
  const auto read = [&] {
    UnicodeString dir;
    std::uint32_t err = 99;
    EXPECT_TRUE(spc.GetBinDir(dir, &err));
    EXPECT_EQ(err, 0U);
    return dir;
  };
  EXPECT_EQ(read(), u"super");
  par.Expandable(u"@value", u"%SPS_TEST_D%/bin");
  EXPECT_EQ(read(), u"/opt/bin");
  for (const char16_t* text : {u"%SPS_TEST_D%/bin", u""}) {
    par.Text(u"@value", text);
    EXPECT_EQ(read(), text);
  }
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(ClientTest, AMissingDirectoryIsCode2AndTheConfigurationsHasASecondName) {
  OpenSpc spc;
  UnicodeString dir = u"kept";
  std::uint32_t err = 99;
  const auto missing = [&](auto read, const std::vector<std::string>& lines) {
    EXPECT_FALSE((spc.*read)(dir, &err));
    EXPECT_EQ(err, 2U);
    EXPECT_EQ(Lines(), lines);
    EXPECT_EQ(dir, u"kept");
  };
  missing(&Spc::GetTmpDir, {openFailed(pathOf("PS_TMP_DIR")), notFound});
  Par(u"Global", u"PS_TMP_DIR", u'S');
  missing(&Spc::GetTmpDir, {notFound});
  EXPECT_FALSE(spc.GetTmpDir(dir, nullptr));
  Lines();

  const std::string first = openFailed(pathOf("PS_CFG_DIR"));
  missing(&Spc::GetCfgDir, {first, notFound, openFailed(pathOf("PS_CONFIG_DIR")), notFound});
  Par second(u"Global", u"PS_CONFIG_DIR", u'S');
  missing(&Spc::GetCfgDir, {first, notFound, notFound});
  second.Text(u"@value", u"second");
  EXPECT_TRUE(spc.GetCfgDir(dir, &err));
  EXPECT_EQ(std::exchange(dir, u"kept"), u"second");
  EXPECT_EQ(err, 0U);
  EXPECT_THAT(Lines(), ElementsAre(first, notFound));
  // The first key exists, so the second does not count.
  Par(u"Global", u"PS_CFG_DIR", u'S');
  missing(&Spc::GetCfgDir, {notFound});
}

TEST_F(ClientTest, AnUnknownHiveIsReportedWithTheParametersName) {
  UnicodeString dir;
  std::uint32_t err = 99;
  EXPECT_FALSE(Elsewhere().GetCfgDir(dir, &err));
  EXPECT_EQ(err, 6U);
  EXPECT_THAT(Lines(), ElementsAre(reported(6, "PS_CFG_DIR")));
}

TEST_F(ClientTest, TheFreeFunctionTakesTheEnvironmentsProcessSpace) {
  RgNode node;
  ASSERT_TRUE(node.Init(u"HKEY_LOCAL_MACHINE\\Software\\Velor\\SPS\\X\\Global\\PS_HLP_DIR", true, false));
  ASSERT_TRUE(node.SetValue(u"@value", UnicodeString(u"help")));
  ::setenv("PROCESS_SPACE", "X", 1);
  UnicodeString dir;
  EXPECT_TRUE(GetHlpDir(dir));
  EXPECT_EQ(dir, u"help");
  ::unsetenv("PROCESS_SPACE");
  EXPECT_FALSE(GetHlpDir(dir));
}

}  // namespace
