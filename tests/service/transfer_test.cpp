// Registry text out of one service and into another, and imports that must leave nothing.
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
  EXPECT_THAT(Audit().back()["outcome"].Text(), HasSubstr("line 5"));
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

TEST_F(PiecesTest, OfANewTextTakeThePlaceOfAnOldOne) {
  EXPECT_EQ(First(u"an old text", 1000), 0);
  EXPECT_EQ(First(m_text, m_text.size()), 0);
  EXPECT_EQ(End(), 0);
  EXPECT_TRUE(Exists(pathOf(u"T", u"P")));
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
