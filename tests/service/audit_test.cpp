// The trail: what a line holds and hides, and that nothing is changed without one.
#include <csignal>
#include <filesystem>
#include <fstream>

#include "service/Audit.h"
#include "service/Json.h"
#include "tests/service/ServiceTest.h"

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

TEST(JsonLineTest, KeepsALineALineWhateverATextHolds) {
  const std::u16string text = {u'a',      u'"',   u'\\', u'\n',  u'\0',  u'\x7f', u'\x85',
                               u'\x2028', 0xD800, u'b',  0xDC00, 0xD83D, 0xDE00,  u'ü'};
  service::JsonLine line;
  line.Text("t", text).Begin("in").Number("n", -5).End().Raw("b", "true");
  EXPECT_EQ(line.Take(),
            "{\"t\":\"a\\\"\\\\\\u000a\\u0000\\u007f\\u0085\\u2028\\ud800b\\udc00\xF0\x9F\x98\x80ü\","
            "\"in\":{\"n\":-5},\"b\":true}\n");
}

TEST(AuditLogTest, BeginsALineOfItsOwnBehindOneThatWasCutShort) {
  const std::string file = testing::TempDir() + "audit-" + std::to_string(::getpid());
  std::ofstream(file) << "{\"whole\":1}\n{\"cut";
  {
    service::AuditLog log(file);
    ASSERT_TRUE(log.Open());
    EXPECT_TRUE(log.Append("{}\n"));
    ASSERT_TRUE(log.Open());
    EXPECT_TRUE(log.Append("{}\n"));
  }
  EXPECT_EQ(linesOf(file), (std::vector<std::string>{"{\"whole\":1}", "{\"cut", "{}", "{}"}));
  std::filesystem::remove(file);
}

TEST(AuditLogTest, ALineIsNoLongerThanItsWorth) {
  service::Deed deed;
  deed.operation = "SetNode";
  deed.path = UnicodeString(std::u16string(400'000, u'\1'));
  deed.claim.app = deed.path;
  const std::string line = service::auditLine(deed, {}, 5);
  EXPECT_LT(line.size(), 32'000U);
  EXPECT_THAT(line, HasSubstr("\xE2\x80\xA6\""));
}

class AuditTest : public ServiceTest {
protected:
  Json Last() const { return Audit().back(); }
};

TEST_F(AuditTest, TellsWhoChangedWhatAndWhetherItWasDone) {
  Make(u"T", u"P", u'S');
  EXPECT_EQ(WriteText(u"T", u"P", u"new\nline"), 0U);
  const Json entry = Last();
  EXPECT_THAT(entry["when"].Text(), MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9:]{8}[.][0-9]{3}Z"));
  EXPECT_EQ(entry["operation"].Text(), "SetSpSrvPar");
  EXPECT_EQ(entry["path"].Text(), "HKEY_LOCAL_MACHINE\\Software\\Velor\\SPS\\Default\\T\\P");
  EXPECT_EQ(entry["property"].Text(), "@value");
  EXPECT_EQ(entry["type"].Text(), "S");
  EXPECT_THAT(linesOf(m_daemon.AuditFile()).back(), HasSubstr("new\\u000aline"));
  EXPECT_EQ(entry["code"].Text(), "0");
  EXPECT_EQ(entry["peer"]["by"].Text(), "unix");
  EXPECT_EQ(entry["peer"]["uid"].Text(), std::to_string(::geteuid()));
  EXPECT_EQ(entry["claim"]["app"].Text(), "service_tests");
  EXPECT_EQ(WriteNumber(u"T", u"P", 1), 16U);
  EXPECT_EQ(Last()["code"].Text(), "16");
  EXPECT_EQ(Last()["value"].Text(), "1");
}

TEST_F(AuditTest, TellsWhatARefusedDeletionWasAbout) {
  std::uint32_t code = 0;
  EXPECT_FALSE(m_client->DeleteNode(u"HKEY_LOCAL_MACHINE\\Elsewhere", u"Child", &code));
  EXPECT_EQ(code, 161U);
  EXPECT_EQ(Last()["path"].Text(), "HKEY_LOCAL_MACHINE\\Elsewhere\\Child");
}

TEST_F(AuditTest, ShowsValuesByTheirType) {
  for (const char16_t letter : {u'B', u'D', u'T'}) {
    Make(u"T", UnicodeString(std::u16string_view(&letter, 1)), letter);
  }
  Write(u'B', u"T", u"B", {1});
  EXPECT_EQ(Last()["value"].Text(), "true");
  Write(u'D', u"T", u"D", {0, 0, 0, 0, 0, 0, 0xF8, 0x3F});
  EXPECT_EQ(Last()["value"].Text(), "1.5");
  Write(u'T', u"T", u"T", {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
  EXPECT_EQ(Last()["value"].Text(), "-1");
  const std::u16string large(3000, u'x');
  Make(u"T", u"S", u'S');
  WriteText(u"T", u"S", large);
  EXPECT_EQ(Last()["value"].Text(), std::string(256, 'x'));
  EXPECT_EQ(Last()["bytes"].Text(), "6002");
}

TEST_F(AuditTest, HidesValuesOfScrambledParametersAndOfThoseItCannotSee) {
  for (const char16_t* flag : {u"@decrypt", u"@encrypt"}) {
    Make(u"T", flag, u'S');
    Flag(pathOf(u"T", flag), flag);
    EXPECT_EQ(WriteText(u"T", flag, u"topsecret"), 0U);
    EXPECT_EQ(Last()["value"].Text(), "***");
    std::uint32_t code = 0;
    EXPECT_TRUE(m_client->SetProperty(pathOf(u"T", flag), property(u"WS07", u'S', bytesOf(u"topsecret")),
                                      true, &code));
    EXPECT_EQ(Last()["value"].Text(), "***");
  }
  EXPECT_EQ(WriteText(u"T", u"Mistyped", u"topsecret"), 11U);
  for (const std::string& line : linesOf(m_daemon.AuditFile())) EXPECT_THAT(line, Not(HasSubstr("secret")));
}

TEST_F(AuditTest, GoesOnInANewFileAfterARotation) {
  Make(u"T", u"P", u'I');
  WriteNumber(u"T", u"P", 1);
  const std::string moved = m_daemon.AuditFile() + ".1";
  std::filesystem::rename(m_daemon.AuditFile(), moved);
  m_daemon.Signal(SIGHUP);
  // The signal is taken at some moment: until then lines go to the old file, from then on to the new one.
  std::int32_t number = 1;
  while (!std::filesystem::exists(m_daemon.AuditFile()) || linesOf(m_daemon.AuditFile()).empty()) {
    ASSERT_EQ(WriteNumber(u"T", u"P", ++number), 0U);
  }
  EXPECT_EQ(linesOf(moved).size() + Audit().size(), static_cast<std::size_t>(number));
}

TEST_F(AuditTest, NothingIsChangedThatCannotBeWrittenDown) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full here";
  Make(u"T", u"P", u'I');
  EXPECT_EQ(WriteNumber(u"T", u"P", 1), 0U);
  std::filesystem::rename(m_daemon.AuditFile(), m_daemon.AuditFile() + ".1");
  std::filesystem::create_symlink("/dev/full", m_daemon.AuditFile());
  m_daemon.Signal(SIGHUP);
  // The write that finds the file full is kept already, and not acknowledged; the one after it is not made.
  std::int32_t number = 1;
  std::uint32_t code = 0;
  while (code == 0) code = WriteNumber(u"T", u"P", ++number);
  EXPECT_EQ(code, 1502U);
  EXPECT_EQ(NumberAt(pathOf(u"T", u"P"), u"@value"), number);
  EXPECT_EQ(WriteNumber(u"T", u"P", 99), 1502U);
  EXPECT_EQ(NumberAt(pathOf(u"T", u"P"), u"@value"), number);
  std::filesystem::remove(m_daemon.AuditFile());
  m_daemon.Signal(SIGHUP);
  while (WriteNumber(u"T", u"P", 100) != 0) {
  }
  // What had to wait is there, ahead of what came later, the refusals too.
  const auto audit = Audit();
  EXPECT_EQ(audit[0]["value"].Text(), std::to_string(number));
  EXPECT_EQ(audit[0]["code"].Text(), "0");
  EXPECT_EQ(audit[1]["code"].Text(), "1502");
  EXPECT_EQ(audit.back()["value"].Text(), "100");
  EXPECT_EQ(audit.back()["code"].Text(), "0");
}

}  // namespace
