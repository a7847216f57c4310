// The parameter client with a master behind it.
#include <stdlib.h>

#include "platform/ipc/Errors.h"
#include "platform/support/Utf.h"
#include "src/telegrams.h"
#include "tests/client/Master.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

namespace {

namespace key = telegram::key;
using telegram::add;

Master::Answer value(const void* data, std::int64_t count) {
  std::vector<std::uint8_t> bytes(static_cast<const std::uint8_t*>(data),
                                  static_cast<const std::uint8_t*>(data) + count);
  return reply(
      [bytes](DfsBin& out) { add(out, key::binary, bytes.data(), static_cast<std::int64_t>(bytes.size())); });
}

Master::Answer text(std::u16string_view characters) {
  return value(characters.data(), static_cast<std::int64_t>(characters.size() * 2));
}

std::string read(const std::string& type, int noErrMsg = 0) {
  return "0 topic:Str=T par:Str=P type:Bin=" + type +
         " oWorkstat:Str=WS oUser:Str=U oInstance:Str=I noerrmsg:I4=" + std::to_string(noErrMsg);
}

class ConnectedTest : public ClientTest {
protected:
  ConnectedTest() : spc(u"WS", u"U", u"I") { Connect(spc, master.Name(), true); }

  void Connect(OpenSpc& object, const UnicodeString& server, bool localAccess) {
    EXPECT_TRUE(object.ConnectSpService(server, localAccess));
    Lines();
  }

  template <class Value>
  void ExpectRead(Value wanted) {
    Value got{};
    master.Then(value(&wanted, sizeof wanted));
    EXPECT_TRUE(spc.GetPar(u"T", u"P", &got));
    EXPECT_EQ(got, wanted);
  }

  // Lines of the parameter client alone: each read leaves one of its connection.
  std::vector<std::string> ClientLines() {
    std::vector<std::string> lines = Lines();
    std::erase_if(lines, [](const std::string& line) {
      return line.find("SPC-SPC1") == std::string::npos && line.find(R"(|src\spc|)") == std::string::npos;
    });
    return lines;
  }

  Master master;
  OpenSpc spc;
};

TEST_F(ConnectedTest, ConnectingFillsEmptyNames) {
  OpenSpc fresh(nullptr, u"named", nullptr);
  Connect(fresh, master.Name(), false);
  EXPECT_TRUE(fresh.IsConnected());
  EXPECT_FALSE(fresh.IsLocalAccess());
  SpSrvClntEx& client = *fresh.m_pSpSrvClnt;
  EXPECT_NE(client.GetCurMachine(), u"");
  EXPECT_EQ(UnicodeString(fresh.SetWorkstation(u"other")), client.GetCurMachine());
  EXPECT_EQ(UnicodeString(fresh.SetUser(nullptr)), u"named");
  EXPECT_EQ(UnicodeString(fresh.SetPrcInstance(nullptr)), client.GetCurApplication());

  Connect(fresh, master.Name(), true);
  EXPECT_TRUE(fresh.IsLocalAccess());
  EXPECT_EQ(UnicodeString(fresh.SetWorkstation(nullptr)), u"other");
}

TEST_F(ConnectedTest, AFailedConnectLeavesNoConnection) {
  spc.m_localAccess = false;
  spc.SetPrcInstance(nullptr);
  EXPECT_FALSE(spc.ConnectSpService(u"unix:/nowhere/master", true));
  EXPECT_FALSE(spc.IsConnected());
  EXPECT_FALSE(spc.IsLocalAccess());
  EXPECT_EQ(UnicodeString(spc.SetPrcInstance(nullptr)), u"");
}

TEST_F(ConnectedTest, EveryFormReadsWhatTheMasterSays) {
  std::uint32_t err = 99;
  UnicodeString string = u"a text from before";
  master.Then(text({u"text\0", 5}));
  EXPECT_TRUE(spc.GetPar(u"T", u"P", string, &err, 12));
  EXPECT_EQ(string, u"text");
  EXPECT_EQ(err, 0U);

  char16_t buffer[16] = u"from before";
  master.Then(text(u"text"));  // without a terminator
  EXPECT_TRUE(spc.GetPar(u"T", u"P", buffer, 16, &err, 12));
  EXPECT_EQ(UnicodeString(buffer), u"text");
  string = u"a text from before";
  master.Then(text(u"text"));
  EXPECT_TRUE(spc.GetPar(u"T", u"P", string));
  EXPECT_EQ(string, u"text");

  ExpectRead(-5);
  ExpectRead(0.25);
  ExpectRead(std::int64_t{1} << 40);
  ExpectRead(true);
  EXPECT_THAT(master.Seen(), ElementsAre(read("5300", 12), read("5300", 12), read("5300"), read("4900"),
                                         read("4400"), read("5400"), read("4200")));
  EXPECT_THAT(ClientLines(), IsEmpty());
}

TEST_F(ConnectedTest, ARemoteTextHas2048Bytes) {
  UnicodeString string;
  std::u16string longest(1024, u'x');
  longest.back() = 0;
  master.Then(text(longest));
  EXPECT_TRUE(spc.GetPar(u"T", u"P", string));
  EXPECT_EQ(string.GetLength(), 1023);
  master.Then(text(longest + u'x'));
  EXPECT_FALSE(spc.GetPar(u"T", u"P", string));
  // The buffer form takes as many bytes as it has characters.
  char16_t buffer[8];
  master.Then(text({u"abc\0", 4}));
  EXPECT_TRUE(spc.GetPar(u"T", u"P", buffer, 8));
  master.Then(text({u"abcd\0", 5}));
  EXPECT_FALSE(spc.GetPar(u"T", u"P", buffer, 8));
  master.Then(value("A", 1));
  EXPECT_TRUE(spc.GetPar(u"T", u"P", buffer, 1));
  EXPECT_EQ(buffer[0], u'\0') << "half a character is none";
}

TEST_F(ConnectedTest, ARefusalIsTracedOnce) {
  std::int32_t number = 0;
  std::uint32_t err = 0;
  const std::string readOnly = reported(15, "P");
  for (const std::int32_t silenced : {0, 15}) {
    master.Then(reject(15));
    EXPECT_FALSE(spc.GetRemotePar(u"T", u"P", &number, u'I', 4, &err, silenced));
    EXPECT_EQ(err, 15U);
  }
  EXPECT_THAT(ClientLines(), ElementsAre(readOnly));
  master.Then(reject(15));
  EXPECT_FALSE(spc.SetPar(u"T", u"P", 5, &err));
  EXPECT_EQ(err, 15U);
  EXPECT_THAT(ClientLines(), ElementsAre(readOnly));
  master.Then(reject(15));
  EXPECT_FALSE(spc.SetParAttrDecrypt(u"T", u"P", true, &err));
  EXPECT_EQ(err, 15U);
  EXPECT_THAT(ClientLines(), IsEmpty());
}

TEST_F(ConnectedTest, AReplyWithoutItsValueIsCode0) {
  std::int32_t number = 0;
  std::uint32_t err = 99;
  EXPECT_FALSE(spc.GetRemotePar(u"T", u"P", &number, u'I', 4, &err, 0));
  EXPECT_EQ(err, 0U);
  EXPECT_THAT(ClientLines(), IsEmpty());
  EXPECT_FALSE(spc.GetRemotePar(u"T", u"P", &number, u'I', 4, &err, 1));
  EXPECT_EQ(err, 0U);
  EXPECT_THAT(ClientLines(), ElementsAre(back(2, "The method returned successfully")));
}

TEST_F(ConnectedTest, ALostConnectionStaysConnectedAndFails) {
  master.Stop();
  std::int32_t number = 0;
  std::uint32_t err = 0;
  EXPECT_FALSE(spc.GetPar(u"T", u"P", &number, &err));
  const auto code = static_cast<std::uint32_t>(spc.m_pSpSrvClnt->GetLastError());
  EXPECT_EQ(err, code);
  EXPECT_NE(err, 0U);
  EXPECT_TRUE(spc.IsConnected());
  EXPECT_THAT(ClientLines(), ElementsAre(plain('E', "Invalid error code: " + std::to_string(code))));
}

std::string write(const SpSrvClnt& client, const std::string& type, const std::string& bytes) {
  const auto utf8 = [](const UnicodeString& name) { return support::toUtf8(name.View()); };
  return "1 user:Str=" + utf8(client.GetUserLogged()) + " ws:Str=" + utf8(client.GetCurMachine()) +
         " app:Str=" + utf8(client.GetCurApplication()) +
         " topic:Str=T par:Str=P oWorkstat:Str=WS oUser:Str=U oInstance:Str=I "
         "type:Bin=" +
         type + " binary:Bin=" + bytes;
}

std::string attr(const SpSrvClnt& client, const std::string& name) {
  return "6 nodepath:Str=" + pathOfP + " propname:Str=" + name +
         " size:I4=0 type:I4=78 replace:I2=1 binary:Bin= user:Str=" +
         support::toUtf8(client.GetUserLogged().View()) +
         " ws:Str=" + support::toUtf8(client.GetCurMachine().View());
}

TEST_F(ConnectedTest, EveryFormWritesToTheMaster) {
  std::uint32_t err = 99;
  const std::int64_t wide = 6;
  EXPECT_TRUE(spc.SetPar(u"T", u"P", u"ab", 0, &err));
  EXPECT_EQ(err, 0U);
  EXPECT_TRUE(spc.SetPar(u"T", u"P", UnicodeString()));
  EXPECT_TRUE(spc.SetPar(u"T", u"P", 5));
  EXPECT_TRUE(spc.SetPar(u"T", u"P", 0.25));
  EXPECT_TRUE(spc.SetPar(u"T", u"P", &wide));
  EXPECT_TRUE(spc.SetPar(u"T", u"P", true));
  EXPECT_TRUE(spc.SetParAttrEncrypt(u"T", u"P", false));
  EXPECT_TRUE(spc.SetParAttrDecrypt(u"T", u"P", true));
  const SpSrvClnt& client = *spc.m_pSpSrvClnt;
  EXPECT_THAT(master.Seen(),
              ElementsAre(write(client, "5300", "610062000000"), write(client, "5300", "0000"),
                          write(client, "4900", "05000000"), write(client, "4400", "000000000000d03f"),
                          write(client, "5400", "0600000000000000"), write(client, "4200", "01"),
                          attr(client, "@encrypt"), attr(client, "@decrypt")));
  EXPECT_EQ(spc.GetUpdPropName(), u"");
}

TEST_F(ConnectedTest, AnEncryptedTextSetsItsFlagFirst) {
  EXPECT_TRUE(spc.SetPar(u"T", u"P", u"secret", 0, nullptr, true));
  const auto seen = master.Seen();
  ASSERT_THAT(seen, SizeIs(2));
  EXPECT_EQ(seen[0], attr(*spc.m_pSpSrvClnt, "@decrypt"));
  EXPECT_THAT(seen[1], StartsWith("1 "));

  master.Then(reject(16));
  std::uint32_t err = 0;
  EXPECT_FALSE(spc.SetPar(u"T", u"P", u"secret", 0, &err, true));
  EXPECT_EQ(err, 16U);
  EXPECT_THAT(master.Seen(), SizeIs(1));
}

// Where a write of a parameter goes whose key is here.
struct WriteRow {
  bool masterLocal;
  bool disableLog;
  bool textIsLocal;
  bool textIsTraced;
  bool numberIsLocal;
};

class WriteRuleTest : public ConnectedTest, public testing::WithParamInterface<WriteRow> {
protected:
  WriteRuleTest() : ruler(GetParam().masterLocal ? Master::Reach::Local : Master::Reach::Host) {}
  void SetUp() override {
    ASSERT_TRUE(spc.ConnectSpService(ruler.Name(), true));
    Lines();
    ASSERT_EQ(spc.m_pSpSrvClnt->IsSrvLocal(), GetParam().masterLocal);
  }
  void ExpectPlace(Par& par, bool isLocal) {
    EXPECT_EQ(par.Value(u"@value").type >= 0, isLocal);
    EXPECT_THAT(ruler.Seen(), SizeIs(isLocal ? 0 : 1));
    EXPECT_EQ(spc.GetUpdPropName(), isLocal ? u"@value" : u"");
  }

  Master ruler;
};

TEST_P(WriteRuleTest, Texts) {
  Par par(u'S');
  if (GetParam().disableLog) par.Flag(u"@disableLog");
  EXPECT_TRUE(spc.SetPar(u"T", u"P", u"v", 0));
  ExpectPlace(par, GetParam().textIsLocal);
  std::vector<std::string> lines;
  if (GetParam().textIsTraced) {
    lines.push_back(back(1, "AttrDisableLog not set, but local override found! Topc:Par=T:P"));
  }
  EXPECT_EQ(ClientLines(), lines);

  EXPECT_TRUE(spc.SetParAttrEncrypt(u"T", u"P", true));
  EXPECT_EQ(par.Value(u"@encrypt").type >= 0, GetParam().textIsLocal);
  EXPECT_THAT(ruler.Seen(), SizeIs(GetParam().textIsLocal ? 0 : 1));
  EXPECT_EQ(ClientLines(), lines);
}

TEST_P(WriteRuleTest, Numbers) {
  Par par(u'I');
  if (GetParam().disableLog) par.Flag(u"@disableLog");
  EXPECT_TRUE(spc.SetPar(u"T", u"P", 5));
  ExpectPlace(par, GetParam().numberIsLocal);
  EXPECT_THAT(ClientLines(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(All, WriteRuleTest,
                         testing::Values(WriteRow{true, true, true, false, true},
                                         WriteRow{true, false, false, false, false},
                                         WriteRow{false, true, true, false, true},
                                         WriteRow{false, false, true, true, false}));

TEST_F(ConnectedTest, ACopyOutlivesItsSource) {
  std::int32_t number = 0;
  const std::int32_t numberOfMaster = 7;
  OpenSpc assigned;
  OpenSpc copy = [&] {
    OpenSpc source(spc);
    assigned = source;
    return OpenSpc(source);
  }();
  for (OpenSpc* const each : {&copy, &assigned}) {
    master.Then(value(&numberOfMaster, 4));
    EXPECT_TRUE(each->GetPar(u"T", u"P", &number));
    EXPECT_EQ(number, 7);
  }
  EXPECT_EQ(master.Sessions(), 2U);
}

TEST_F(ConnectedTest, RegistryTextGoesBothWays) {
  UnicodeString found = u"before ";
  std::uint32_t err = 99;
  master.Then(replies({{'t', 0, 'x', 0}}));
  EXPECT_TRUE(spc.ExportReg(found, &err));
  EXPECT_EQ(found, u"before tx");
  EXPECT_EQ(err, 0U);
  EXPECT_TRUE(spc.ImportReg(u"text"));
  EXPECT_THAT(master.Seen(), ElementsAre("10", "11 size:I4=4 data:Str=text", "13 data:Str="));

  for (const std::int32_t code : {5, 87}) {
    master.Then(reject(code));
    EXPECT_FALSE(code == 5 ? spc.ExportReg(found, &err) : spc.ImportReg(found, &err));
    EXPECT_EQ(err, std::uint32_t(code));
  }
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(ConnectedTest, AReplicatedChangeKeepsItsOrigin) {
  const ipc::Bytes room = container([](DfsBin& out) {
    add(out, key::par, u"P");
    add(out, key::topic, u"T");
    add(out, key::user, u"origin");
    add(out, key::ws, u"WS07");
    add(out, key::propName, u"@value");
    add(out, key::type, u'B');
    add(out, key::size, 1);
    add(out, key::binary, "\1", 1);
  });
  DfsBin change;
  ASSERT_TRUE(change.Assign(room.data(), room.size()));
  std::uint32_t err = 99;
  EXPECT_TRUE(spc.ReplicatePar(&change, u"WS", &err));
  EXPECT_EQ(err, 0U);
  EXPECT_THAT(master.Seen(), ElementsAre("9 msid:I4=0 nodepath:Str=" + pathOfP +
                                         " user:Str=origin ws:Str=WS07 app:Str= "
                                         "replicator:Str=WS propname:Str=@value "
                                         "type:I4=66 size:I4=1 replace:I2=1 binary:Bin=01"));
  EXPECT_THAT(Lines(), IsEmpty());

  master.Then(reject(11));
  EXPECT_FALSE(spc.ReplicatePar(&change, u"WS", &err));
  EXPECT_EQ(err, 11U);
  EXPECT_THAT(Lines(), ElementsAre(plain('E', "Replication failed")));
  EXPECT_FALSE(spc.ReplicatePar(nullptr, u"WS", &err));
  EXPECT_EQ(err, 87U);
  EXPECT_THAT(Lines(), ElementsAre(plain('E', "Replication failed")));
}

TEST_F(ClientTest, WholeJobsWithoutAConnectionAreASilent19) {
  OpenSpc spc;
  UnicodeString found = u"before";
  DfsBin change;
  const std::function<bool(std::uint32_t*)> jobs[] = {
      [&](auto* err) { return spc.ExportReg(found, err); },
      [&](auto* err) { return spc.ImportReg(found, err); },
      [&](auto* err) { return spc.ReplicatePar(&change, u"", err); }};
  for (const auto& job : jobs) {
    std::uint32_t err = 99;
    EXPECT_FALSE(job(&err));
    EXPECT_EQ(err, 19U);
    EXPECT_FALSE(job(nullptr));
  }
  EXPECT_EQ(found, u"before");
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(ClientTest, TheVersionConnectsByItself) {
  Master master;
  ::setenv("SYSPARSERVICE", support::toUtf8(master.Name().View()).c_str(), 1);
  OpenSpc spc;
  spc.m_localAccess = false;
  UnicodeString version;
  master.Then(reply([](DfsBin& out) { add(out, key::masterVersion, u"4.3.1900"); }));
  EXPECT_TRUE(spc.GetMasterVersion(version));
  EXPECT_EQ(version, u"4.3.1900");
  EXPECT_TRUE(spc.IsConnected());
  EXPECT_TRUE(spc.IsLocalAccess());
  EXPECT_TRUE(spc.m_pSpSrvClnt->IsSrvLocal());
  EXPECT_FALSE(spc.GetMasterVersion(version));
  EXPECT_EQ(version, u"");
  EXPECT_EQ(master.Sessions(), 1U);
  ::unsetenv("SYSPARSERVICE");
}

TEST_F(ClientTest, NoVersionWithoutAMaster) {
  ::setenv("SYSPARSERVICE", "unix:/nowhere/master", 1);
  OpenSpc spc;
  UnicodeString version = u"before";
  EXPECT_FALSE(spc.GetMasterVersion(version));
  EXPECT_EQ(version, u"");
  EXPECT_FALSE(spc.IsConnected());
  EXPECT_THAT(Lines(), ElementsAre(HasSubstr("SpSrvClnt::Init, server is 'SYSPARSERVICE'"),
                                   HasSubstr("Failed connecting to SP service!"),
                                   plain('E', "Couldn't connect to SYSPARSERVICE to get master version")));
  ::unsetenv("SYSPARSERVICE");
}

}  // namespace
