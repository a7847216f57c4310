// Registry text out of one service and into another, and imports that must leave nothing.
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <thread>

#include "platform/ipc/Errors.h"
#include "platform/ipc/IpcClient.h"
#include "platform/registry/RegistryTransaction.h"
#include "platform/support/Utf.h"
#include "src/telegrams.h"
#include "tests/service/ServiceTest.h"

namespace {

using telegram::Request;
using testing::HasSubstr;

const std::u16string header = u"Windows Registry Editor Version 5.00\r\n\r\n";

std::u16string keyLine(const std::u16string& par) {
  return u"[" + std::u16string(pathOf(u"T").View()) + u"\\" + par + u"]\r\n";
}

class TransferTest : public ServiceTest {
protected:
  explicit TransferTest(const Arguments& arguments = {}) : ServiceTest(arguments) {}
  std::uint32_t Import(const std::u16string& text) {
    std::uint32_t code = 0;
    const bool done = m_client->SetSpRegImport(UnicodeString(std::u16string_view(text)), &code);
    EXPECT_EQ(done, code == 0);
    return code;
  }
  static UnicodeString Export(SpSrvClntEx& client) {
    UnicodeString text;
    std::uint32_t code = 0;
    EXPECT_TRUE(client.GetSpRegExport(text, &code)) << code;
    return text;
  }
};

TEST_F(TransferTest, AnExportGoesIntoAnotherServiceWhole) {
  RegistryTransaction all;
  for (int i = 0; i < 200; ++i) {
    const UnicodeString par = UnicodeString(u"Par") + UnicodeString(i);
    Make(u"T", par, u'S');
    Put(pathOf(u"T", par), u"@value", UnicodeString(u"Wert \"ü\" ") + UnicodeString(i));
    Put(pathOf(u"T", par), u"WS07", i);
  }
  ASSERT_EQ(all.Commit(), 0);
  const UnicodeString text = Export(*m_client);
  // More than one piece either way.
  ASSERT_GT(text.GetLength(), 2 * telegram::importPiece);

  Daemon other(m_directory, "other");
  ASSERT_TRUE(other.Start()) << other.Errors();
  const auto client = other.Connect();
  std::uint32_t code = 0;
  ASSERT_TRUE(client->SetSpRegImport(text, &code)) << code;
  EXPECT_EQ(Export(*client), text);
  const std::string line = linesOf(other.AuditFile()).back();
  EXPECT_THAT(line, HasSubstr("\"operation\":\"SetSpRegImport\""));
  EXPECT_THAT(line, HasSubstr("\"characters\":" + std::to_string(text.GetLength())));
}

TEST_F(TransferTest, AnEmptyTreeIsExportedToo) {
  EXPECT_TRUE(Export(*m_client).View().starts_with(u"Windows Registry Editor Version 5.00"));
}

TEST_F(TransferTest, AnImportIsAllOrNothing) {
  EXPECT_EQ(Import(header + keyLine(u"P") + u"\"a\"=dword:00000001\r\nwhat is this\r\n"), 87U);
  EXPECT_FALSE(Exists(pathOf(u"T", u"P")));
  EXPECT_EQ(Audit().back()["outcome"].Text(), "a fault in line 5");
  // A fault's line may hold a scrambled value, which the trail does not show.
  EXPECT_EQ(Import(header + keyLine(u"P") + u"@value=topsecret\r\n"), 87U);
  EXPECT_THAT(linesOf(m_daemon.AuditFile()).back(), testing::Not(HasSubstr("topsecret")));
  EXPECT_EQ(Import(header + keyLine(u"P") + u"\"a\"=dword:00000001\r\n[HKEY_USERS\\x]\r\n"), 87U);
  EXPECT_FALSE(Exists(pathOf(u"T", u"P")));
  EXPECT_FALSE(Exists(u"HKEY_USERS\\x"));
  EXPECT_EQ(Import(u""), 87U);
  EXPECT_EQ(Import(header + keyLine(u"P") + u"\"a\"=dword:00000001\r\n"), 0U);
  EXPECT_EQ(NumberAt(pathOf(u"T", u"P"), u"a"), 1);
}

// The pieces one by one, as no client of ours sends them.
class PiecesTest : public TransferTest {
protected:
  explicit PiecesTest(const Arguments& arguments = {}) : TransferTest(arguments) {}
  void SetUp() override {
    TransferTest::SetUp();
    Open(m_raw);
  }
  void Open(IpcClient& raw) const {
    ASSERT_TRUE(raw.Open(support::toUtf16(m_daemon.Endpoint()).c_str(), conModeRequest));
    raw.SetService(telegram::serviceNumber);
  }

  static std::int32_t Send(IpcClient& raw, Request request, const std::u16string& data,
                           std::int32_t size = -1) {
    std::uint8_t room[8192];
    DfsBin fields;
    fields.AssignEmptyBuffer(room, sizeof room, false);
    if (request == Request::ImportFirstPiece) telegram::add(fields, telegram::key::size, size);
    telegram::add(fields, telegram::key::data, data.c_str());
    const auto number = static_cast<std::int32_t>(request);
    if (raw.Request(number, 0, fields.GetData(), fields.GetDataSize())) return 0;
    return raw.GetLastError() - ipc::serviceErrors;
  }
  std::int32_t Send(Request request, const std::u16string& data, std::int32_t size = -1) {
    return Send(m_raw, request, data, size);
  }
  std::int32_t First(const std::u16string& data, std::size_t size) {
    return Send(Request::ImportFirstPiece, data, static_cast<std::int32_t>(size));
  }
  std::int32_t Further(const std::u16string& data) { return Send(Request::ImportFurtherPiece, data); }
  std::int32_t End(const std::u16string& data = {}) { return Send(Request::ImportEnd, data); }

  const std::u16string m_text = header + keyLine(u"P") + u"\"a\"=dword:00000001\r\n";
  IpcClient m_raw{10000, 10000, nullptr, nullptr};
};

TEST_F(PiecesTest, MustComeInOrderAndWhole) {
  EXPECT_EQ(Further(m_text), 87);
  EXPECT_EQ(End(), 87);
  // Too short, too long, with something in its last telegram, or with an empty piece.
  EXPECT_EQ(First(m_text, m_text.size() + 1), 0);
  EXPECT_EQ(End(), 87);
  EXPECT_EQ(First(m_text, m_text.size() - 1), 87);
  EXPECT_EQ(First(m_text, m_text.size()), 0);
  EXPECT_EQ(Further(u"x"), 87);
  EXPECT_EQ(End(), 87);
  EXPECT_EQ(First(m_text, m_text.size() + 1), 0);
  EXPECT_EQ(End(u"\n"), 87);
  EXPECT_EQ(First(m_text, m_text.size()), 0);
  EXPECT_EQ(Further(u""), 87);
  EXPECT_EQ(End(), 87);
  EXPECT_EQ(Send(Request::ImportFirstPiece, u"", -1), 87);
  EXPECT_FALSE(Exists(pathOf(u"T")));

  EXPECT_EQ(First(m_text.substr(0, 20), m_text.size()), 0);
  EXPECT_EQ(Further(m_text.substr(20)), 0);
  EXPECT_EQ(End(), 0);
  EXPECT_TRUE(Exists(pathOf(u"T", u"P")));
}

TEST_F(PiecesTest, RefusedOverAndOverLeaveRoomInTheTrail) {
  Make(u"T", u"P", u'I');
  for (int i = 0; i < 150; ++i) ASSERT_EQ(End(), 87);
  EXPECT_EQ(WriteNumber(u"T", u"P", 1), 0U);
  EXPECT_EQ(m_daemon.Stop(), 0);
  // What is left out is told once a minute; the first minute may have ended in between.
  std::int64_t refused = 0;
  std::size_t made = 0;
  const auto audit = Audit();
  for (const Json& entry : audit) {
    if (entry["code"].Text() == "0") ++made;
    if (entry["code"].Text() == "87")
      refused += entry.Has("omitted") ? std::stoll(entry["omitted"].Text()) : 1;
  }
  EXPECT_EQ(made, 1U);
  EXPECT_EQ(refused, 150);
  EXPECT_LT(audit.size(), 151U);
}

TEST_F(PiecesTest, OfANewTextTakeThePlaceOfAnOldOne) {
  EXPECT_EQ(First(u"an old text", 1000), 0);
  EXPECT_EQ(First(m_text, m_text.size()), 0);
  EXPECT_EQ(End(), 0);
  EXPECT_TRUE(Exists(pathOf(u"T", u"P")));
  const auto audit = Audit();
  ASSERT_EQ(audit.size(), 2U);
  EXPECT_EQ(audit[0]["outcome"].Text(), "replaced by another one");
  EXPECT_EQ(audit[0]["characters"].Text(), "11");
}

TEST_F(PiecesTest, OfANewTextThatIsNoneTakeTheOldOneWithThem) {
  EXPECT_EQ(First(m_text, m_text.size()), 0);
  const std::uint8_t none[1] = {};
  EXPECT_FALSE(m_raw.Request(static_cast<std::int32_t>(Request::ImportFirstPiece), 0, none, sizeof none));
  EXPECT_EQ(End(), 87);
  const auto audit = Audit();
  ASSERT_EQ(audit.size(), 3U);
  EXPECT_EQ(audit[0]["code"].Text(), "1223");
  EXPECT_EQ(audit[1]["code"].Text(), "87");
}

TEST_F(PiecesTest, BelongToTheirConnectionAndGoWithIt) {
  EXPECT_EQ(First(m_text, m_text.size()), 0);
  IpcClient other(10000, 10000, nullptr, nullptr);
  Open(other);
  EXPECT_EQ(Send(other, Request::ImportEnd, u""), 87);
  m_raw.Close();
  // The trail tells when the service has noticed.
  while (Audit().back()["code"].Text() != "1236") {
    ASSERT_TRUE(m_client->GetChildNodes(root, nullptr));
  }
  EXPECT_EQ(Audit().back()["outcome"].Text(), "dropped with its connection");
  EXPECT_EQ(Audit().back()["characters"].Text(), std::to_string(m_text.size()));
  EXPECT_FALSE(Exists(pathOf(u"T")));
}

TEST_F(PiecesTest, WaitForADaemonThatStandsStillAndGoWithOneThatIsKilled) {
  EXPECT_EQ(First(m_text.substr(0, 20), m_text.size()), 0);
  m_daemon.Freeze();
  m_raw.SetRequestTO(200);
  Further(m_text.substr(20));
  EXPECT_EQ(m_raw.GetLastError(), ipc::timedOut);
  m_daemon.Signal(SIGCONT);
  m_raw.SetRequestTO(10000);
  // The piece was on its way, and is taken once.
  EXPECT_EQ(End(), 0);
  EXPECT_TRUE(Exists(pathOf(u"T", u"P")));

  EXPECT_EQ(First(m_text.substr(0, 20), m_text.size()), 0);
  m_daemon.Signal(SIGKILL);
  m_daemon.Wait();
  Further(m_text.substr(20));
  EXPECT_EQ(m_raw.GetLastError(), ipc::connectionLost);
  EXPECT_FALSE(m_raw.IsOpen());
  ASSERT_TRUE(m_daemon.Start()) << m_daemon.Errors();
  Open(m_raw);
  EXPECT_EQ(End(), 87);
}

// How far a client got with its pieces before it was killed.
TEST_F(PiecesTest, OfAKilledClientAreAppliedWholeOrNotAtAll) {
  for (int pieces = 1; pieces <= 3; ++pieces) {
    const pid_t client = ::fork();
    if (client == 0) {
      IpcClient raw(10000, 10000, nullptr, nullptr);
      Open(raw);
      const std::u16string first = m_text.substr(0, 20);
      Send(raw, Request::ImportFirstPiece, first, static_cast<std::int32_t>(m_text.size()));
      if (pieces > 1) Send(raw, Request::ImportFurtherPiece, m_text.substr(20));
      raw.SetRequestTO(1);  // it does not live to see the verdict of the last one
      if (pieces > 2) Send(raw, Request::ImportEnd, u"");
      ::kill(::getpid(), SIGKILL);
    }
    ASSERT_EQ(::waitpid(client, nullptr, 0), client);
    while (Audit().size() < static_cast<std::size_t>(pieces)) {
      ASSERT_TRUE(m_client->GetChildNodes(root, nullptr));
    }
    EXPECT_EQ(Audit().back()["code"].Text(), pieces > 2 ? "0" : "1236");
    EXPECT_EQ(NumberAt(pathOf(u"T", u"P"), u"a"), pieces > 2 ? 1 : -1);
  }
}

// An export that is larger than what is on its way at once, piece by piece.
class LargeExportTest : public PiecesTest {
protected:
  void SetUp() override {
    PiecesTest::SetUp();
    std::u16string text = header;
    for (int i = 0; i < 20'000; ++i) {
      text += keyLine(u"Parameter" + std::u16string(UnicodeString(i).View())) + u"\"a\"=dword:00000001\r\n";
    }
    ASSERT_EQ(Import(text), 0U);
    m_whole = Export(*m_client).View();
    ASSERT_GT(m_whole.size(), 1'500'000U);
    std::uint8_t room[16];
    DfsBin nothing;
    nothing.AssignEmptyBuffer(room, sizeof room, false);
    ASSERT_TRUE(m_raw.Request(10, 0, nothing.GetData(), nothing.GetDataSize()));
    Take(1);
  }
  // Reads on, up to so many pieces or the end.
  void Take(int pieces) {
    const std::uint8_t* piece = nullptr;
    std::int32_t size = 0;
    for (; pieces > 0 && m_raw.GetReply(piece, size); --pieces) {
      const std::size_t end = m_taken.size();
      m_taken.resize(end + static_cast<std::size_t>(size) / 2);
      std::memcpy(&m_taken[end], piece, static_cast<std::size_t>(size));
    }
  }
  static constexpr int all = 1'000'000;

  std::u16string m_whole;
  std::u16string m_taken;
};

TEST_F(LargeExportTest, GoesOnWhereTheDaemonDoes) {
  m_daemon.Freeze();
  std::thread other([this] { m_daemon.Signal(SIGCONT); });
  Take(all);
  other.join();
  EXPECT_EQ(m_raw.GetLastError(), ipc::noReply);
  EXPECT_EQ(m_taken, m_whole);
}

TEST_F(LargeExportTest, CutShortLeavesNoConnection) {
  m_daemon.Freeze();
  m_raw.SetRequestTO(100);
  Take(all);
  EXPECT_EQ(m_raw.GetLastError(), ipc::timedOut);
  EXPECT_FALSE(m_raw.IsOpen());
  EXPECT_LT(m_taken.size(), m_whole.size());
  EXPECT_TRUE(m_whole.starts_with(m_taken));
}

TEST_F(LargeExportTest, EndsWithAKilledDaemon) {
  m_daemon.Signal(SIGKILL);
  Take(all);
  EXPECT_EQ(m_raw.GetLastError(), ipc::connectionLost);
  EXPECT_FALSE(m_raw.IsOpen());
  EXPECT_LT(m_taken.size(), m_whole.size());
}

class SmallRoomTest : public PiecesTest {
protected:
  SmallRoomTest() : PiecesTest({"--max-import", "1000"}) {}
};

TEST_F(SmallRoomTest, TextsUnderWayShareTheRoomThatThereIs) {
  IpcClient other(10000, 10000, nullptr, nullptr);
  Open(other);
  EXPECT_EQ(First(u"a", 1001), 1450);
  EXPECT_EQ(First(u"a", 600), 0);
  EXPECT_EQ(Send(other, Request::ImportFirstPiece, u"b", 600), 1450);
  EXPECT_EQ(End(), 87);
  EXPECT_EQ(Send(other, Request::ImportFirstPiece, u"b", 600), 0);
}

}  // namespace
