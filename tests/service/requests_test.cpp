// Every request against the real daemon, and what each refuses.
#include <cstring>
#include <map>

#include "platform/ipc/Errors.h"
#include "platform/ipc/IpcClient.h"
#include "platform/registry/RegistryTransaction.h"
#include "platform/support/Utf.h"
#include "service/AnswerRoom.h"
#include "src/telegrams.h"
#include "tests/service/ServiceTest.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class RequestsTest : public ServiceTest {
protected:
  explicit RequestsTest(const Arguments& arguments = {}) : ServiceTest(arguments) {}

  // A text read for a workstation, or the code of the refusal in parentheses.
  std::string Read(const UnicodeString& topic, const UnicodeString& par, const char16_t* workstation = u"") {
    char16_t text[1024];
    std::uint32_t code = 0;
    if (!m_client->GetSpSrvPar(topic, par, text, u'S', sizeof text, workstation, u"", u"", &code, 240)) {
      return "(" + std::to_string(code) + ")";
    }
    return support::toUtf8(text);
  }

  template <class Value>
  Value ReadAs(char16_t letter, const UnicodeString& topic, const UnicodeString& par) {
    Value value{};
    std::uint32_t code = 0;
    EXPECT_TRUE(m_client->GetSpSrvPar(topic, par, &value, letter, sizeof value, u"", u"", u"", &code, 0))
        << code;
    return value;
  }

  std::uint32_t SetProperty(const UnicodeString& path, const PropertyFeatures& features,
                            bool replace = true) {
    std::uint32_t code = 0;
    const bool done = m_client->SetProperty(path, features, replace, &code);
    EXPECT_EQ(done, code == 0);
    return code;
  }
  std::uint32_t DeleteProperty(const UnicodeString& path, const UnicodeString& name) {
    std::uint32_t code = 0;
    const bool done = m_client->DeleteProperty(path, name, &code);
    EXPECT_EQ(done, code == 0);
    return code;
  }
  std::uint32_t DeleteNode(const UnicodeString& path, const UnicodeString& name) {
    std::uint32_t code = 0;
    const bool done = m_client->DeleteNode(path, name, &code);
    EXPECT_EQ(done, code == 0);
    return code;
  }
};

TEST_F(RequestsTest, ReadsTheValueThatAppliesToTheCaller) {
  Make(u"T", u"P", u'S');
  EXPECT_EQ(Read(u"T", u"P"), "(12)");
  Put(pathOf(u"T", u"P"), u"@superValue", u"super");
  EXPECT_EQ(Read(u"T", u"P"), "super");
  Put(pathOf(u"T", u"P"), u"@value", u"plain");
  Letter(pathOf(u"T", u"P"), u"@override", u'W');
  Put(pathOf(u"T", u"P"), u"WS07", u"own");
  EXPECT_EQ(Read(u"T", u"P", u"WS07"), "own");
  EXPECT_EQ(Read(u"T", u"P", u"WS08"), "plain");
  EXPECT_EQ(Read(u"T", u"P"), "plain");
}

TEST_F(RequestsTest, ReadsAScrambledTextPlain) {
  Make(u"T", u"P", u'S');
  Spc local;
  ASSERT_TRUE(local.SetPar(u"T", u"P", UnicodeString(u"secret"), nullptr, true));
  ASSERT_NE(TextAt(pathOf(u"T", u"P"), u"@value"), u"secret");
  EXPECT_EQ(Read(u"T", u"P"), "secret");
}

TEST_F(RequestsTest, WritesAndReadsEveryType) {
  for (const char16_t letter : {u'B', u'D', u'I', u'S', u'T'}) {
    Make(u"T", UnicodeString(std::u16string_view(&letter, 1)), letter);
  }
  EXPECT_EQ(Write(u'B', u"T", u"B", {1}), 0U);
  EXPECT_TRUE(ReadAs<bool>(u'B', u"T", u"B"));
  const double number = -0.125;
  std::vector<std::uint8_t> bytes(8);
  std::memcpy(bytes.data(), &number, 8);
  EXPECT_EQ(Write(u'D', u"T", u"D", bytes), 0U);
  EXPECT_EQ(ReadAs<double>(u'D', u"T", u"D"), number);
  EXPECT_EQ(WriteNumber(u"T", u"I", -7), 0U);
  EXPECT_EQ(ReadAs<std::int32_t>(u'I', u"T", u"I"), -7);
  EXPECT_EQ(Write(u'T', u"T", u"T", {1, 2, 3, 4, 5, 6, 7, 8}), 0U);
  EXPECT_EQ(ReadAs<std::int64_t>(u'T', u"T", u"T"), 0x0807060504030201);
  EXPECT_EQ(WriteText(u"T", u"S", u"Grüße"), 0U);
  EXPECT_EQ(Read(u"T", u"S"), "Grüße");
  EXPECT_EQ(WriteText(u"T", u"S", u""), 0U);
  EXPECT_EQ(Read(u"T", u"S"), "");
}

TEST_F(RequestsTest, WritesTheOverrideOfTheCaller) {
  Make(u"T", u"P", u'S');
  Letter(pathOf(u"T", u"P"), u"@override", u'W');
  EXPECT_EQ(WriteText(u"T", u"P", u"own", u"WS07"), 0U);
  EXPECT_EQ(WriteText(u"T", u"P", u"plain"), 0U);
  EXPECT_EQ(TextAt(pathOf(u"T", u"P"), u"WS07"), u"own");
  EXPECT_EQ(TextAt(pathOf(u"T", u"P"), u"@value"), u"plain");
}

TEST_F(RequestsTest, RefusesWritesThatMustNotBe) {
  Make(u"T", u"P", u'I');
  Make(u"T", u"Fixed", u'I');
  Flag(pathOf(u"T", u"Fixed"), u"@readonly");
  struct Row {
    char16_t letter;
    const char16_t* par;
    std::vector<std::uint8_t> bytes;
    std::uint32_t code;
  };
  const Row rows[] = {
      {u'I', u"Missing", bytesOf(1), 11},
      {u'I', u"Fixed", bytesOf(1), 15},
      {u'S', u"P", bytesOf(u"text"), 16},
      {u'X', u"P", bytesOf(1), 13},
      {u'N', u"P", {}, 13},
      {u'I', u"P", {1, 2}, 87},
      {u'I', u"P", {1, 2, 3, 4, 5}, 87},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(Write(row.letter, u"T", row.par, row.bytes), row.code) << support::toUtf8(row.par);
  }
  EXPECT_EQ(NumberAt(pathOf(u"T", u"P"), u"@value"), -1);
  EXPECT_EQ(Read(u"T", u"P"), "(16)");
  EXPECT_EQ(Read(u"T", u"Missing"), "(11)");
}

TEST_F(RequestsTest, RefusesTextsThatEndInTheMiddle) {
  Make(u"T", u"P", u'S');
  EXPECT_EQ(Write(u'S', u"T", u"P", {}), 87U);
  EXPECT_EQ(Write(u'S', u"T", u"P", {65, 0, 0}), 87U);
  EXPECT_EQ(Write(u'S', u"T", u"P", {65, 0, 66, 0}), 87U);
  EXPECT_EQ(Write(u'S', u"T", u"P", {65, 0, 0, 0, 66, 0, 0, 0}), 87U);
  EXPECT_FALSE(Has(pathOf(u"T", u"P"), u"@value"));
}

TEST_F(RequestsTest, ListsNodesWithTheirMarks) {
  Make(u"T", u"Plain", u'S');
  Make(u"T", u"Marked", u'I');
  Flag(pathOf(u"T", u"Marked"), u"@readonly");
  Flag(pathOf(u"T", u"Marked"), u"@replicate");
  std::uint32_t code = 0;
  const auto* nodes = m_client->GetChildNodes(pathOf(u"T"), &code);
  ASSERT_TRUE(nodes) << code;
  ASSERT_EQ(nodes->size(), 2U);
  const NodeFeatures& marked = *(*nodes)[0];
  EXPECT_EQ(marked.nodename, u"Marked");
  EXPECT_EQ(marked.valuecnt, 3);
  EXPECT_EQ(marked.readonly, 1);
  EXPECT_EQ(marked.replicate, 1);
  EXPECT_EQ((*nodes)[1]->readonly, 0);
  nodes = m_client->GetChildNodes(root + u"\\Default", &code);
  ASSERT_TRUE(nodes) << code;
  EXPECT_EQ((*nodes)[0]->subnodecnt, 2);
  nodes = m_client->GetChildNodes(pathOf(u"T", u"Plain"), &code);
  ASSERT_TRUE(nodes);
  EXPECT_THAT(*nodes, IsEmpty());
}

TEST_F(RequestsTest, ListsMoreNodesThanOneThreadShallWaitFor) {
  RegistryTransaction all;
  for (int i = 0; i < 600; ++i) Put(pathOf(u"T") + u"\\" + UnicodeString(i), u"@value", i);
  ASSERT_EQ(all.Commit(), 0);
  std::uint32_t code = 0;
  const auto* nodes = m_client->GetChildNodes(pathOf(u"T"), &code);
  ASSERT_TRUE(nodes) << code;
  EXPECT_EQ(nodes->size(), 600U);
}

TEST(AnswerRoomTest, IsSharedOutByPeer) {
  service::AnswerRoom room(300);
  service::AnswerRoom::Share one(room, "a");
  service::AnswerRoom::Share other(room, "b");
  {
    service::AnswerRoom::Share another(room, "a");
    EXPECT_EQ(another.Take(151), 1450);
    EXPECT_EQ(another.Take(100), 0);
    EXPECT_EQ(one.Take(51), 1450);
    EXPECT_EQ(other.Take(100), 0);
    EXPECT_EQ(other.Take(1), 1450);
  }
  EXPECT_EQ(other.Take(50), 0);
  other.Give(150);
  EXPECT_EQ(one.Take(150), 0);
  room.Close();
  EXPECT_EQ(one.Take(0), 1115);
}

class SmallListingsTest : public RequestsTest {
protected:
  SmallListingsTest() : RequestsTest({"--max-listings", "20000"}) {}
};

// Who lists much and takes it slowly must not fill the daemon's memory.
TEST_F(SmallListingsTest, ShareTheRoomThatThereIs) {
  RegistryTransaction all;
  for (int i = 0; i < 300; ++i) Put(pathOf(u"T") + u"\\" + UnicodeString(i), u"@value", i);
  ASSERT_EQ(all.Commit(), 0);
  std::uint32_t code = 0;
  for (int i = 0; i < 100; ++i) {
    ASSERT_TRUE(m_client->GetProperties(pathOf(u"T", u"0"), &code)) << code;
    EXPECT_FALSE(m_client->GetChildNodes(pathOf(u"T"), &code));
    EXPECT_EQ(code, 1450U);
    UnicodeString text;
    EXPECT_FALSE(m_client->GetSpRegExport(text, &code));
    EXPECT_EQ(code, 1450U);
    ASSERT_TRUE(m_client->GetChildNodes(root, &code)) << code;
  }
}

TEST_F(RequestsTest, ListsPropertiesWithTheirTypes) {
  Make(u"T", u"P", u'T');
  const UnicodeString path = pathOf(u"T", u"P");
  EXPECT_EQ(Write(u'T', u"T", u"P", {1, 2, 3, 4, 5, 6, 7, 8}), 0U);
  Flag(path, u"@readonly");
  Put(path, u"@unit", u"mm");
  std::uint32_t code = 0;
  const auto* properties = m_client->GetProperties(path, &code);
  ASSERT_TRUE(properties) << code;
  std::vector<std::string> seen;
  for (const auto& each : *properties) {
    seen.push_back(support::toUtf8(each->propname.View()) + ' ' + static_cast<char>(each->type) + ' ' +
                   std::to_string(each->regtype) + ' ' + std::to_string(each->size));
  }
  EXPECT_THAT(seen, ElementsAre("@readonly N 0 0", "@type B 3 2", "@unit S 1 6", "@value T 3 8"));
  EXPECT_EQ((*properties)[3]->data[7], 8);
}

TEST_F(RequestsTest, MakesNodesAndSaysWhetherTheyWereThere) {
  std::int16_t existed = -1;
  std::uint32_t code = 0;
  ASSERT_TRUE(m_client->SetNode(pathOf(u"New", u"P"), &existed, &code)) << code;
  EXPECT_EQ(existed, 0);
  EXPECT_TRUE(Exists(pathOf(u"New", u"P")));
  ASSERT_TRUE(m_client->SetNode(pathOf(u"New", u"P"), &existed, &code));
  EXPECT_EQ(existed, 1);
  EXPECT_TRUE(m_client->SetNode(pathOf(u"New", u"Q"), nullptr, &code));
}

TEST_F(RequestsTest, DeletesSubtreesUnlessTheyHoldSomethingReadOnly) {
  Make(u"T", u"P", u'I');
  Make(u"T", u"Q", u'I');
  Flag(pathOf(u"T", u"Q"), u"@readonly");
  EXPECT_EQ(DeleteNode(root + u"\\Default", u"T"), 15U);
  EXPECT_TRUE(Exists(pathOf(u"T", u"P")));
  EXPECT_EQ(DeleteNode(pathOf(u"T"), u"P"), 0U);
  EXPECT_FALSE(Exists(pathOf(u"T", u"P")));
  EXPECT_EQ(DeleteNode(pathOf(u"T"), u"P"), 2U);
  EXPECT_EQ(DeleteNode(pathOf(u"None"), u"P"), 2U);
  EXPECT_EQ(DeleteNode(pathOf(u"T"), u""), 87U);
  EXPECT_EQ(DeleteNode(root, u"Default\\T"), 87U);
  EXPECT_EQ(DeleteProperty(pathOf(u"T", u"Q"), u"@readonly"), 0U);
  EXPECT_EQ(DeleteNode(root + u"\\Default", u"T"), 0U);
  EXPECT_FALSE(Exists(pathOf(u"T")));
}

TEST_F(RequestsTest, WritesAndDeletesProperties) {
  Make(u"T", u"P", u'S');
  const UnicodeString path = pathOf(u"T", u"P");
  EXPECT_EQ(SetProperty(path, property(u"@value", u'S', bytesOf(u"a"))), 0U);
  EXPECT_EQ(SetProperty(path, property(u"@value", u'S', bytesOf(u"b")), false), 183U);
  EXPECT_EQ(TextAt(path, u"@value"), u"a");
  EXPECT_EQ(SetProperty(path, property(u"@value", u'S', bytesOf(u"b"))), 0U);
  EXPECT_EQ(TextAt(path, u"@value"), u"b");
  EXPECT_EQ(SetProperty(path, property(u"@decrypt", u'N', {})), 0U);
  EXPECT_TRUE(Has(path, u"@decrypt"));
  EXPECT_EQ(DeleteProperty(path, u"@decrypt"), 0U);
  EXPECT_FALSE(Has(path, u"@decrypt"));
  EXPECT_EQ(DeleteProperty(path, u"@decrypt"), 2U);
  EXPECT_EQ(SetProperty(path, property(u"@override", u'B', {u'W', 0})), 0U);
  EXPECT_EQ(SetProperty(path, property(u"WS07", u'S', bytesOf(u"own"))), 0U);
  EXPECT_EQ(Read(u"T", u"P", u"WS07"), "own");
}

TEST_F(RequestsTest, RefusesPropertiesThatMustNotBe) {
  Make(u"T", u"P", u'I');
  Make(u"T", u"Fixed", u'I');
  Flag(pathOf(u"T", u"Fixed"), u"@readonly");
  struct Row {
    UnicodeString path;
    PropertyFeatures features;
    std::uint32_t code;
  };
  const Row rows[] = {
      {pathOf(u"T", u"Missing"), property(u"@value", u'I', bytesOf(1)), 2},
      {pathOf(u"T", u"Fixed"), property(u"@value", u'I', bytesOf(1)), 15},
      {pathOf(u"T", u"P"), property(u"@value", u'S', bytesOf(u"a")), 16},
      {pathOf(u"T", u"P"), property(u"WS07", u'D', std::vector<std::uint8_t>(8)), 16},
      {pathOf(u"T", u"P"), property(u"@\u017FUPERvalue", u'S', bytesOf(u"a")),
       16},  // the same name to the store
      {pathOf(u"T", u"P"), property(u"@value", u'I', {1}), 87},
      {pathOf(u"T", u"P"), property(u"@type", u'S', bytesOf(u"S")), 87},
      {pathOf(u"T", u"P"), property(u"@unit", u'?', {1}), 13},
      {pathOf(u"T", u"P"), property(u"", u'I', bytesOf(1)), 87},
      {u"HKEY_LOCAL_MACHINE\\Software\\Velor", property(u"v", u'I', bytesOf(1)), 161},
      {u"HKEY_LOCAL_MACHINE\\Software\\Velor\\SPSX", property(u"v", u'I', bytesOf(1)), 161},
      {u"HKEY_USERS\\x", property(u"v", u'I', bytesOf(1)), 161},
      {u"\\" + pathOf(u"T", u"P"), property(u"@value", u'I', bytesOf(1)), 161},
      {u"", property(u"v", u'I', bytesOf(1)), 161},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(SetProperty(row.path, row.features), row.code) << support::toUtf8(row.path.View());
  }
  EXPECT_EQ(DeleteProperty(pathOf(u"T", u"Fixed"), u"@type"), 15U);
  EXPECT_EQ(NumberAt(pathOf(u"T", u"P"), u"@value"), -1);
}

TEST_F(RequestsTest, TakesPathsInAnySpelling) {
  Make(u"T", u"P", u'I');
  EXPECT_EQ(SetProperty(u"hkey_local_machine\\software\\\\VELOR\\sps\\default\\t\\p\\",
                        property(u"@value", u'I', bytesOf(5))),
            0U);
  EXPECT_EQ(NumberAt(pathOf(u"T", u"P"), u"@value"), 5);
}

TEST_F(RequestsTest, TellsItsSpaceAndVersion) {
  UnicodeString text;
  std::uint32_t code = 0;
  ASSERT_TRUE(m_client->GetPrcSpace(text, &code)) << code;
  EXPECT_EQ(text, u"Default");
  ASSERT_TRUE(m_client->GetMasterVersion(text));
  UnicodeString version;
  version.Format(u"%d.%d.%d", static_cast<std::int32_t>(SpcGetVersion() >> 24U),
                 static_cast<std::int32_t>(SpcGetVersion() >> 16U & 0xFFU),
                 static_cast<std::int32_t>(SpcGetVersion() & 0xFFFFU));
  EXPECT_EQ(text, version);
}

TEST_F(RequestsTest, AppliesAReplicatedChangeAndKeepsItsOrigin) {
  Make(u"T", u"P", u'I');
  std::uint8_t room[1024];
  DfsBin source;
  source.AssignEmptyBuffer(room, sizeof room, false);
  telegram::add(source, telegram::key::msId, 42);
  telegram::add(source, telegram::key::user, u"miller");
  telegram::add(source, telegram::key::ws, u"WS07");
  telegram::add(source, telegram::key::app, u"editor");
  telegram::add(source, telegram::key::propName, u"@value");
  telegram::add(source, telegram::key::type, u'I');
  telegram::add(source, telegram::key::size, 4);
  const std::int32_t number = 9;
  telegram::add(source, telegram::key::binary, &number, 4);
  std::uint32_t code = 0;
  ASSERT_TRUE(m_client->ReplicateSpSrvPar(pathOf(u"T", u"P"), &source, u"north", &code)) << code;
  EXPECT_EQ(NumberAt(pathOf(u"T", u"P"), u"@value"), 9);
  const Json entry = Audit().back();
  EXPECT_EQ(entry["claim"]["user"].Text(), "miller");
  EXPECT_EQ(entry["claim"]["app"].Text(), "editor");
  EXPECT_EQ(entry["replicator"].Text(), "north");
  EXPECT_EQ(entry["msid"].Text(), "42");
  EXPECT_FALSE(m_client->ReplicateSpSrvPar(pathOf(u"T", u"Q"), &source, u"north", &code));
  EXPECT_EQ(code, 11U);
}

TEST_F(RequestsTest, AValueThatNoRequestHoldsLeavesTheOldOne) {
  Make(u"T", u"P", u'S');
  Spc spc;
  ASSERT_TRUE(spc.ConnectSpService(support::toUtf16(m_daemon.Endpoint()).c_str(), false));
  std::uint32_t code = 0;
  EXPECT_TRUE(spc.SetPar(u"T", u"P", u"before", 0, &code));
  const std::u16string large(4100, u'x');
  EXPECT_FALSE(spc.SetPar(u"T", u"P", large.c_str(), 0, &code));
  EXPECT_EQ(code, static_cast<std::uint32_t>(ipc::emptyTelegram));
  EXPECT_EQ(TextAt(pathOf(u"T", u"P"), u"@value"), u"before");
  EXPECT_EQ(Audit().size(), 1U);
  // The connection is as good as before. What is longer than a read takes is a failure without a code.
  EXPECT_TRUE(spc.SetPar(u"T", u"P", large.substr(0, 3800).c_str(), 0, &code)) << code;
  UnicodeString text;
  EXPECT_FALSE(spc.GetPar(u"T", u"P", text, &code));
  EXPECT_EQ(code, 0U);
}

// Telegrams that no client of ours sends.
class RawRequestsTest : public RequestsTest {
protected:
  void SetUp() override {
    RequestsTest::SetUp();
    ASSERT_TRUE(m_raw.Open(support::toUtf16(m_daemon.Endpoint()).c_str(), conModeRequest));
    m_raw.SetService(telegram::serviceNumber);
    m_telegram.AssignEmptyBuffer(m_room, sizeof m_room, false);
  }

  // The service's code, with the connection still open.
  std::int32_t Send(std::int32_t number, const void* data, std::int32_t size) {
    if (m_raw.Request(number, 0, data, size)) return 0;
    EXPECT_TRUE(m_raw.IsOpen());
    return m_raw.GetLastError() - ipc::serviceErrors;
  }
  std::int32_t Send(telegram::Request request) {
    return Send(static_cast<std::int32_t>(request), m_telegram.GetData(), m_telegram.GetDataSize());
  }

  std::uint8_t m_room[8192];
  DfsBin m_telegram;
  IpcClient m_raw{10000, 10000, nullptr, nullptr};
};

TEST_F(RawRequestsTest, RefusesUnknownRequests) {
  EXPECT_EQ(Send(15, m_telegram.GetData(), m_telegram.GetDataSize()), 87);
  EXPECT_EQ(Send(-1, m_telegram.GetData(), m_telegram.GetDataSize()), 87);
}

TEST_F(RawRequestsTest, RefusesTelegramsThatLackFieldsOrAreNone) {
  for (std::int32_t number = 0; number < 15; ++number) {
    const bool hasNoFields = number == 8 || number == 10 || number == 14;
    EXPECT_EQ(Send(number, m_telegram.GetData(), m_telegram.GetDataSize()), hasNoFields ? 0 : 87) << number;
    EXPECT_EQ(Send(number, "garbage", 7), hasNoFields ? 0 : 87) << number;
  }
}

TEST_F(RawRequestsTest, RefusesFieldsOfAnotherType) {
  telegram::add(m_telegram, telegram::Key<telegram::Wire::I4>{u"nodepath"}, 1);
  EXPECT_EQ(Send(telegram::Request::GetChildNodes), 87);
}

// Each request with each of its fields missing or of another type, and then as it must be.
struct Parts {
  telegram::Request request;
  std::vector<std::u16string> keys;  // "type#" is the letter in two bytes
  bool stands = true;                // by itself, as it must be
};

const Parts parts[] = {
    {telegram::Request::GetSpSrvPar,
     {u"topic", u"par", u"type#", u"oWorkstat", u"oUser", u"oInstance", u"noerrmsg"}},
    {telegram::Request::SetSpSrvPar,
     {u"user", u"ws", u"app", u"topic", u"par", u"oWorkstat", u"oUser", u"oInstance", u"type#", u"binary"}},
    {telegram::Request::GetChildNodes, {u"nodepath"}},
    {telegram::Request::GetProperties, {u"nodepath"}},
    {telegram::Request::SetNode, {u"nodepath", u"user", u"ws"}},
    {telegram::Request::DeleteNode, {u"nodepath", u"nodename", u"user", u"ws"}},
    {telegram::Request::SetProperty,
     {u"nodepath", u"propname", u"size", u"type", u"replace", u"binary", u"user", u"ws"}},
    {telegram::Request::DeleteProperty, {u"nodepath", u"propname", u"user", u"ws"}},
    {telegram::Request::ReplicateSpSrvPar,
     {u"msid", u"nodepath", u"user", u"ws", u"app", u"replicator", u"propname", u"type", u"size", u"replace",
      u"binary"}},
    {telegram::Request::ImportFirstPiece, {u"length", u"data"}},
    {telegram::Request::ImportFurtherPiece, {u"data"}, false},
    {telegram::Request::ImportEnd, {u"data"}, false},
};

// A field as it must be, or one of its key with another type.
void addPart(DfsBin& out, const std::u16string& key, bool isMistyped) {
  const std::u16string name = key == u"type#" ? u"type" : key == u"length" ? u"size" : key;
  const std::map<std::u16string, std::int32_t> numbers = {
      {u"noerrmsg", 240}, {u"size", 4}, {u"length", 3}, {u"type", u'I'}, {u"msid", 1}};
  const std::map<std::u16string, std::u16string> texts = {
      {u"topic", u"T"},    {u"par", u"P"},           {u"nodepath", std::u16string(pathOf(u"T", u"P").View())},
      {u"nodename", u"C"}, {u"propname", u"@value"}, {u"data", u"abc"}};
  const bool isLetter = key == u"type#";
  if (isLetter || key == u"binary" || key == u"replace" || numbers.contains(key)) {
    if (isMistyped) return void(out.AddValueStr(u"4", name.c_str()));
    if (isLetter) return void(telegram::addLetter(out, u'I'));
    if (key == u"binary") return void(out.AddValueBin("\1\2\3\4", 4, name.c_str()));
    if (key == u"replace") return void(out.AddValueI2(1, name.c_str()));
    return void(out.AddValueI4(numbers.at(key), name.c_str()));
  }
  if (isMistyped) return void(out.AddValueI4(1, name.c_str()));
  out.AddValueStr(texts.contains(key) ? texts.at(key).c_str() : u"", name.c_str());
}

TEST_F(RawRequestsTest, RefusesEachFieldThatIsMissingOrMistyped) {
  Make(u"T", u"P", u'I');
  Put(pathOf(u"T", u"P"), u"@value", 1);
  Make(u"T", u"P\\C", u'I');
  const auto tree = [this] {
    UnicodeString text;
    EXPECT_TRUE(m_client->GetSpRegExport(text, nullptr));
    return text;
  };
  for (const Parts& part : parts) {
    const UnicodeString before = tree();
    for (std::size_t wrong = 0; wrong < 2 * part.keys.size(); ++wrong) {
      m_telegram.AssignEmptyBuffer(m_room, sizeof m_room, false);
      for (std::size_t at = 0; at < part.keys.size(); ++at) {
        if (at != wrong / 2 || wrong % 2 != 0) addPart(m_telegram, part.keys[at], at == wrong / 2);
      }
      EXPECT_EQ(Send(part.request), 87) << static_cast<int>(part.request) << ' ' << wrong;
    }
    EXPECT_EQ(tree(), before);
    m_telegram.AssignEmptyBuffer(m_room, sizeof m_room, false);
    for (const auto& key : part.keys) addPart(m_telegram, key, false);
    EXPECT_EQ(Send(part.request), part.stands ? 0 : 87) << static_cast<int>(part.request);
  }
}

TEST_F(RawRequestsTest, RefusesASizeThatIsNotTheValues) {
  Make(u"T", u"P", u'I');
  telegram::add(m_telegram, telegram::key::nodePath, pathOf(u"T", u"P"));
  telegram::add(m_telegram, telegram::key::propName, u"@value");
  telegram::add(m_telegram, telegram::key::size, 8);
  telegram::add(m_telegram, telegram::key::type, u'I');
  telegram::add(m_telegram, telegram::key::replace, std::int16_t{1});
  telegram::add(m_telegram, telegram::key::binary, "1234", 4);
  telegram::add(m_telegram, telegram::key::user, u"root");
  telegram::add(m_telegram, telegram::key::ws, u"here");
  EXPECT_EQ(Send(telegram::Request::SetProperty), 87);
}

TEST_F(RawRequestsTest, AnswersAValueThatIsLargerThanAClientsBuffer) {
  Make(u"T", u"P", u'S');
  const std::u16string large(20'000, u'x');
  Put(pathOf(u"T", u"P"), u"@value", UnicodeString(std::u16string_view(large)));
  std::vector<char16_t> room(large.size() + 1);
  std::uint32_t code = 0;
  EXPECT_TRUE(m_client->GetSpSrvPar(u"T", u"P", room.data(), u'S',
                                    static_cast<std::uint32_t>(room.size() * 2), u"", u"", u"", &code, 0));
  EXPECT_EQ(room[large.size() - 1], u'x');
  const std::u16string beyond(600'000, u'x');
  Put(pathOf(u"T", u"P"), u"@value", UnicodeString(std::u16string_view(beyond)));
  EXPECT_EQ(Read(u"T", u"P"), "(234)");
  EXPECT_FALSE(m_client->GetProperties(pathOf(u"T", u"P"), &code));
  EXPECT_EQ(code, 234U);
}

}  // namespace
