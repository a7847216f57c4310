#include <stdlib.h>

#include "tests/client/ClientTest.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string notFound = plain('W', "Node or parameter value name cannot be found!");

std::string pathOf(const std::string& par) {
  return R"(HKEY_LOCAL_MACHINE\Software\Velor\SPS\Default\Global\)" + par;
}

TEST_F(ClientTest, EachDirectoryHasItsParameter) {
  using Read = bool (Spc::*)(UnicodeString&, std::uint32_t*);
  const struct {
    Read read;
    const char16_t* par;
    const char16_t* constant;
  } cases[] = {{&Spc::GetRootDir, u"PS_ROOT_DIR", Spc::m_pParRootDir},
               {&Spc::GetBinDir, u"PS_BIN_DIR", Spc::m_pParBinDir},
               {&Spc::GetCfgDir, u"PS_CFG_DIR", Spc::m_pParCfgDir},
               {&Spc::GetHlpDir, u"PS_HLP_DIR", Spc::m_pParHlpDir},
               {&Spc::GetInstDir, u"PS_INSTALL_DIR", Spc::m_pParInstDir},
               {&Spc::GetLogDir, u"PS_LOG_DIR", Spc::m_pParLogDir},
               {&Spc::GetSysLogDir, u"PS_SYSLOG_DIR", Spc::m_pPARSYSLOGDIR},
               {&Spc::GetTmpDir, u"PS_TMP_DIR", Spc::m_pParTmpDir}};
  OpenSpc spc;
  for (const auto& c : cases) {
    Par(u"Global", c.par, u'S').Text(u"@value", c.par);
    UnicodeString dir;
    std::uint32_t err = 99;
    EXPECT_TRUE((spc.*c.read)(dir, &err));
    EXPECT_EQ(dir, c.par);
    EXPECT_EQ(UnicodeString(c.constant), c.par);
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
  UnicodeString dir;
  std::uint32_t err = 99;
  EXPECT_TRUE(spc.GetBinDir(dir, &err));
  EXPECT_EQ(dir, u"super");
  EXPECT_EQ(err, 0U);
  par.Expandable(u"@value", u"%SPS_TEST_D%/bin");
  EXPECT_TRUE(spc.GetBinDir(dir));
  EXPECT_EQ(dir, u"/opt/bin");
  par.Text(u"@value", u"%SPS_TEST_D%/bin");
  EXPECT_TRUE(spc.GetBinDir(dir));
  EXPECT_EQ(dir, u"%SPS_TEST_D%/bin");
  par.Text(u"@value", u"");
  EXPECT_TRUE(spc.GetBinDir(dir));
  EXPECT_EQ(dir, u"");
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(ClientTest, AMissingDirectoryIsCode2) {
  OpenSpc spc;
  UnicodeString dir = u"kept";
  std::uint32_t err = 99;
  EXPECT_FALSE(spc.GetTmpDir(dir, &err));
  EXPECT_EQ(err, 2U);
  EXPECT_THAT(Lines(), ElementsAre(openFailed(pathOf("PS_TMP_DIR")), notFound));
  Par(u"Global", u"PS_TMP_DIR", u'S');
  EXPECT_FALSE(spc.GetTmpDir(dir, &err));
  EXPECT_EQ(err, 2U);
  EXPECT_FALSE(spc.GetTmpDir(dir, nullptr));
  EXPECT_THAT(Lines(), ElementsAre(notFound, notFound));
  EXPECT_EQ(dir, u"kept");
}

TEST_F(ClientTest, TheConfigurationDirectoryHasASecondName) {
  OpenSpc spc;
  UnicodeString dir;
  std::uint32_t err = 99;
  const std::string first = openFailed(pathOf("PS_CFG_DIR"));
  EXPECT_FALSE(spc.GetCfgDir(dir, &err));
  EXPECT_EQ(err, 2U);
  EXPECT_THAT(Lines(), ElementsAre(first, notFound, openFailed(pathOf("PS_CONFIG_DIR")), notFound));

  Par second(u"Global", u"PS_CONFIG_DIR", u'S');
  EXPECT_FALSE(spc.GetCfgDir(dir, &err)) << "a key without a value";
  EXPECT_EQ(err, 2U);
  EXPECT_THAT(Lines(), ElementsAre(first, notFound, notFound));
  second.Text(u"@value", u"second");
  EXPECT_TRUE(spc.GetCfgDir(dir, &err));
  EXPECT_EQ(dir, u"second");
  EXPECT_EQ(err, 0U);
  EXPECT_THAT(Lines(), ElementsAre(first, notFound));

  Par(u"Global", u"PS_CFG_DIR", u'S');
  EXPECT_FALSE(spc.GetCfgDir(dir, &err)) << "the first key exists, so the second does not count";
  EXPECT_EQ(err, 2U);
  EXPECT_THAT(Lines(), ElementsAre(notFound));
}

TEST_F(ClientTest, AnUnknownHiveIsReportedWithTheParametersName) {
  class Elsewhere : public Spc {
  public:
    Elsewhere() { m_root = u"NOWHERE"; }
  } spc;
  UnicodeString dir;
  std::uint32_t err = 99;
  EXPECT_FALSE(spc.GetCfgDir(dir, &err));
  EXPECT_EQ(err, 6U);
  EXPECT_THAT(Lines(), ElementsAre(plain('E', "Parameter \"PS_CFG_DIR\": Invalid registry key handle!")));
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
