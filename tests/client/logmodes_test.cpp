#include <stdexcept>

#include "tests/client/ClientTest.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string gotDefault = plain('W', "Could not get parameter 'LogMode', using default value '0'");

TEST_F(ClientTest, WordsOneAndTwoAreTheSameInEveryObject) {
  OpenSpc a;
  OpenSpc b;
  ASSERT_EQ(a.m_logModeWords.GetSize(), 3);
  EXPECT_EQ(a.m_logModeWords[0].GetLength(), 20);
  EXPECT_NE(a.m_logModeWords[0], b.m_logModeWords[0]);
  for (const std::int32_t mode : {1, 2}) {
    EXPECT_EQ(a.m_logModeWords[mode].GetLength(), 4);
    EXPECT_EQ(a.m_logModeWords[mode], b.m_logModeWords[mode]);
  }
  EXPECT_NE(a.m_logModeWords[1], a.m_logModeWords[2]);
}

TEST_F(ClientTest, LogModesGoThroughTheStore) {
  Par par(u"DlgMgr", u"LogMode", u'S');
  for (const std::int32_t mode : {0, 1, 2}) {
    OpenSpc writer;
    EXPECT_TRUE(writer.SetDlgMgrLogMode(mode));
    EXPECT_EQ(writer.m_logModeWords.GetSize(), 6);
    EXPECT_EQ(writer.GetDlgMgrLogMode(), mode);
    EXPECT_EQ(OpenSpc().GetDlgMgrLogMode(), mode);
    const UnicodeString stored = par.TextOf(u"@value");
    EXPECT_EQ(stored.View().find(writer.m_logModeWords[mode].View()), std::u16string_view::npos);
    EXPECT_EQ(writer.DecryptStr(stored), writer.m_logModeWords[mode]);
  }
  EXPECT_EQ(par.Value(u"@decrypt").type, 0);
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(ClientTest, TheListGrowsWithEachWrite) {
  Par par(u"DlgMgr", u"LogMode", u'S');
  const struct {
    std::int32_t written;
    std::int32_t same;
    std::int32_t other;
  } cases[] = {{3, 3, 0}, {4, 1, 1}, {5, 2, 2}};
  for (const auto& c : cases) {
    OpenSpc writer;
    EXPECT_TRUE(writer.SetDlgMgrLogMode(c.written));
    EXPECT_EQ(writer.GetDlgMgrLogMode(), c.same);
    EXPECT_EQ(OpenSpc().GetDlgMgrLogMode(), c.other);
    EXPECT_THROW(writer.SetDlgMgrLogMode(9), std::invalid_argument);
    EXPECT_EQ(writer.m_logModeWords.GetSize(), 9);
    EXPECT_TRUE(writer.SetDlgMgrLogMode(9));
  }
}

TEST_F(ClientTest, AModeOutOfRangeStoresNothing) {
  Par par(u"DlgMgr", u"LogMode", u'S');
  OpenSpc spc;
  EXPECT_THROW(spc.SetDlgMgrLogMode(-1), std::invalid_argument);
  EXPECT_THROW(spc.SetLogModeMAC(1, 9), std::invalid_argument);
  EXPECT_EQ(spc.m_logModeWords.GetSize(), 9);
  EXPECT_EQ(par.Value(u"@value").type, -1);
  EXPECT_EQ(par.Value(u"@decrypt").type, -1);
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(ClientTest, ACopyHasNoWordsUntilItWrites) {
  Par(u"DlgMgr", u"LogMode", u'S');
  OpenSpc writer;
  ASSERT_TRUE(writer.SetDlgMgrLogMode(2));
  OpenSpc copy(writer);
  EXPECT_EQ(copy.GetDlgMgrLogMode(), 0);
  EXPECT_THROW(copy.SetDlgMgrLogMode(3), std::invalid_argument);
  EXPECT_EQ(copy.GetDlgMgrLogMode(), 2);
}

TEST_F(ClientTest, EveryMacHasATopic) {
  Par par(u"ACSP-3", u"LogMode", u'S');
  Par(u"ACSP--1", u"LogMode", u'S');
  OpenSpc spc;
  EXPECT_TRUE(spc.SetLogModeMAC(3, 1));
  EXPECT_TRUE(spc.SetLogModeMAC(-1, 2));
  EXPECT_EQ(spc.GetMACLogMode(3), 1);
  EXPECT_EQ(spc.GetMACLogMode(-1), 2);
  EXPECT_THAT(Lines(), IsEmpty());
  EXPECT_EQ(spc.GetMACLogMode(4), 0);
  EXPECT_THAT(Lines(), Contains(gotDefault));
}

TEST_F(ClientTest, APlainWordCountsToo) {
  OpenSpc spc;
  Par par(u"Master", u"LogMode", u'S');
  par.Text(u"@value", spc.m_logModeWords[2]);
  EXPECT_EQ(spc.GetDMSLogMode(), 2);
  par.Text(u"@value", u"unknown");
  EXPECT_EQ(spc.GetDMSLogMode(), 0);
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(ClientTest, LogModeFailuresAreTracedTwice) {
  OpenSpc spc;
  const std::string path = R"(HKEY_LOCAL_MACHINE\Software\Velor\SPS\Default\DlgMgr\LogMode)";
  const std::string missing = reported(11, path);
  EXPECT_EQ(spc.GetDlgMgrLogMode(), 0);
  EXPECT_THAT(Lines(), ElementsAre(openFailed(path), missing, gotDefault));
  EXPECT_FALSE(spc.SetDlgMgrLogMode(1));
  EXPECT_THAT(Lines(), ElementsAre(openFailed(path), missing, plain('S', "Failed to set log mode 1")));
  EXPECT_FALSE(spc.SetLogModeMAC(7, 2));
  EXPECT_EQ(Lines().back(), plain('S', "Failed to set log mode 2 for MAC 7"));

  Par(u"DlgMgr", u"LogMode", u'I').Number(u"@value", 1);
  EXPECT_EQ(spc.GetDlgMgrLogMode(), 0);
  EXPECT_THAT(Lines(), ElementsAre(reported(16, path + "\\@type"), gotDefault));
}

}  // namespace
