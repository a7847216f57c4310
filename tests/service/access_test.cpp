// Who may do what: the rules by themselves, and the real daemon with real peers.
#include <unistd.h>

#include <cstdlib>

#include "platform/ipc/Errors.h"
#include "platform/ipc/IpcClient.h"
#include "platform/support/Utf.h"
#include "service/Access.h"
#include "src/telegrams.h"
#include "tests/service/ServiceTest.h"

namespace {

using ipc::Peer;
using service::AccessRules;
using service::Claim;
using service::Right;

constexpr unsigned nobody = 65534;

Peer local(std::uint32_t uid, const std::string& name, std::uint32_t gid = 900,
           std::vector<std::uint32_t> groups = {}) {
  return {
      .kind = Peer::Kind::Unix, .uid = uid, .gid = gid, .groups = groups, .name = name, .address = "unix"};
}
Peer certified(const std::string& name) {
  return {.kind = Peer::Kind::Tls, .groups = {}, .name = name, .address = "192.0.2.7:4000"};
}
const Peer loopback{.kind = Peer::Kind::Loopback, .groups = {}, .name = {}, .address = "127.0.0.1:4000"};

struct Rule {
  Right right;
  const char* text;
};

struct Row {
  std::vector<Rule> rules;
  Peer peer;
  Right expected;
};

TEST(AccessRulesTest, GrantWhatTheTransportProves) {
  const Peer miller = local(1000, "miller", 900, {901, 902});
  const Row rows[] = {
      {{}, miller, Right::Read},
      {{}, local(0, "root"), Right::Administer},
      {{}, local(::geteuid(), "self"), Right::Administer},
      {{}, certified("ws07.test"), Right::None},
      {{}, loopback, Right::None},
      {{{Right::Read, "user:smith"}}, miller, Right::None},
      {{{Right::Read, "user:miller"}}, miller, Right::Read},
      {{{Right::Read, "user:*"}}, miller, Right::Read},
      {{{Right::Write, "user:miller"}}, miller, Right::Write},
      {{{Right::Write, "user:1000"}}, miller, Right::Write},
      {{{Right::Write, "user:miller"}}, certified("miller"), Right::None},
      {{{Right::Write, "group:900"}}, miller, Right::Write},
      {{{Right::Write, "group:902"}}, miller, Right::Write},
      {{{Right::Write, "group:903"}}, miller, Right::Read},
      {{{Right::Administer, "group:901"}, {Right::Read, "user:miller"}}, miller, Right::Administer},
      {{{Right::Read, "cert:WS07.test"}}, certified("ws07.test"), Right::Read},
      {{{Right::Read, "cert:ws07.test"}}, miller, Right::None},
      {{{Right::Read, "cert:ws07.test"}}, certified("ws08.test"), Right::None},
      {{{Right::Write, "cert:*"}}, certified("ws08.test"), Right::Write},
      {{{Right::Write, "cert:*"}}, loopback, Right::None},
      {{{Right::Read, "*"}}, loopback, Right::Read},
      {{{Right::Read, "*"}}, certified("any"), Right::Read},
  };
  for (std::size_t at = 0; at < std::size(rows); ++at) {
    AccessRules rules;
    for (const Rule& rule : rows[at].rules) EXPECT_EQ(rules.Add(rule.right, rule.text), "") << rule.text;
    EXPECT_EQ(rules.Of(rows[at].peer), rows[at].expected) << "row " << at;
  }
}

TEST(AccessRulesTest, SayWhatIsWrongWithARule) {
  AccessRules rules;
  for (const char* wrong : {"", "miller", "users:miller", "user:", "cert:", "group:no such group", "**"}) {
    EXPECT_NE(rules.Add(Right::Read, wrong), "") << wrong;
  }
  EXPECT_EQ(rules.Of(local(1000, "miller")), Right::Read);
}

TEST(ClaimTest, ContradictsOnlyWhatIsProved) {
  const struct {
    Claim claim;
    Peer peer;
    bool contradicts;
  } rows[] = {
      {{u"miller", u"ws07", {}}, local(1000, "miller"), false},
      {{u"smith", u"ws07", {}}, local(1000, "miller"), true},
      {{u"Miller", u"ws07", {}}, local(1000, "miller"), true},
      {{u"1000", u"ws07", {}}, local(1000, ""), false},
      {{{}, u"ws07", {}}, local(1000, "miller"), false},
      {{u"miller", u"ws07", {}}, certified("ws07.test"), false},
      {{u"miller", u"WS07.test", {}}, certified("ws07.test"), false},
      {{u"miller", u"ws08", {}}, certified("ws07.test"), true},
      {{u"miller", {}, {}}, certified("ws07.test"), true},
      {{{}, u"ws08", {}}, certified("ws07.test"), true},
      {{{}, u"ws07", {}}, certified("ws07.test"), false},
      {{}, certified("ws07.test"), false},
      {{u"miller@velor.test", u"ws08", {}}, certified("miller@velor.test"), false},
      {{u"miller", u"ws07", {}}, loopback, false},
  };
  for (std::size_t at = 0; at < std::size(rows); ++at) {
    EXPECT_EQ(contradicts(rows[at].claim, rows[at].peer), rows[at].contradicts) << "row " << at;
  }
}

// What a client in another user's process gets for a read, a write and an import.
struct Codes {
  int read = 0;
  int write = 0;
  int import = 0;
};

class AccessTest : public ServiceTest {
protected:
  explicit AccessTest(const Arguments& arguments = {}) : ServiceTest(arguments) {}

  void SetUp() override {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can become somebody else";
    ServiceTest::SetUp();
    Make(u"T", u"P", u'I');
    Put(pathOf(u"T", u"P"), u"@value", 1);
  }

  std::uint32_t Try(SpSrvClntEx& client, const std::string& what) const {
    std::uint32_t code = 0;
    std::int32_t number = 2;
    if (what == "read") {
      client.GetSpSrvPar(u"T", u"P", &number, u'I', sizeof number, u"", u"", u"", &code, 0);
    } else if (what == "write") {
      client.SetSpSrvPar(u"T", u"P", &number, u'I', sizeof number, u"", u"", u"", &code);
    } else if (what == "export") {
      UnicodeString text;
      client.GetSpRegExport(text, &code);
    } else {
      client.SetSpRegImport(u"Windows Registry Editor Version 5.00\r\n", &code);
    }
    return code;
  }

  int AsNobody(const std::string& what) const {
    return asUser(nobody, [&] {
      SpSrvClntEx client;
      if (!client.Init(support::toUtf16(m_daemon.Endpoint()).c_str())) return 98;
      return static_cast<int>(Try(client, what));
    });
  }
};

TEST_F(AccessTest, ALocalUserMayReadOnly) {
  EXPECT_EQ(AsNobody("read"), 0);
  EXPECT_EQ(AsNobody("export"), 0);
  EXPECT_EQ(AsNobody("write"), 5);
  EXPECT_EQ(AsNobody("import"), 5);
  EXPECT_EQ(NumberAt(pathOf(u"T", u"P"), u"@value"), 1);
  const auto audit = Audit();
  ASSERT_EQ(audit.size(), 2U);
  EXPECT_EQ(audit[0]["operation"].Text(), "SetSpSrvPar");
  EXPECT_EQ(audit[0]["code"].Text(), "5");
  EXPECT_EQ(audit[0]["value"].Text(), "***");
  EXPECT_EQ(audit[0]["peer"]["uid"].Text(), "65534");
  EXPECT_EQ(audit[1]["operation"].Text(), "SetSpRegImport");
}

class WritersTest : public AccessTest {
protected:
  WritersTest() : AccessTest({"--allow-write", "user:65534"}) {}

  // What a hand-made write of another user gets that claims this user.
  int WriteAs(unsigned uid, const UnicodeString& claimed) const {
    return asUser(uid, [&] {
      IpcClient raw(10000, 10000, nullptr, nullptr);
      if (!raw.Open(support::toUtf16(m_daemon.Endpoint()).c_str(), conModeRequest)) return 98;
      raw.SetService(telegram::serviceNumber);
      std::uint8_t room[1024];
      DfsBin fields;
      fields.AssignEmptyBuffer(room, sizeof room, false);
      telegram::add(fields, telegram::key::nodePath, pathOf(u"T", u"New"));
      telegram::add(fields, telegram::key::user, claimed);
      telegram::add(fields, telegram::key::ws, u"ws");
      if (raw.Request(4, 0, fields.GetData(), fields.GetDataSize())) return 0;
      return static_cast<int>(raw.GetLastError() - ipc::serviceErrors);
    });
  }
};

TEST_F(WritersTest, WhoIsNamedMayWriteButNotImport) {
  EXPECT_EQ(AsNobody("write"), 0);
  EXPECT_EQ(NumberAt(pathOf(u"T", u"P"), u"@value"), 2);
  EXPECT_EQ(AsNobody("import"), 5);
}

TEST_F(WritersTest, AFalseClaimIsRefusedForAllButAdministrators) {
  EXPECT_EQ(WriteAs(nobody, u"root"), 5);
  EXPECT_FALSE(Exists(pathOf(u"T", u"New")));
  const auto refused = Audit();
  EXPECT_EQ(refused.back()["claim"]["user"].Text(), "root");
  EXPECT_EQ(refused.back()["peer"]["uid"].Text(), "65534");
  EXPECT_EQ(refused.back()["code"].Text(), "5");
  EXPECT_EQ(WriteAs(nobody, u"65534"), 0);
  EXPECT_EQ(WriteAs(0, u"miller"), 0);
}

TEST_F(WritersTest, OnlyAnAdministratorTakesTheReadOnlyMarkOff) {
  Flag(pathOf(u"T", u"P"), u"@readonly");
  EXPECT_EQ(AsNobody("write"), 15);
  EXPECT_EQ(asUser(nobody,
                   [&] {
                     SpSrvClntEx client;
                     std::uint32_t code = 0;
                     if (!client.Init(support::toUtf16(m_daemon.Endpoint()).c_str())) return 98;
                     client.DeleteProperty(pathOf(u"T", u"P"), u"@readonly", &code);
                     return static_cast<int>(code);
                   }),
            15);
  std::uint32_t code = 0;
  EXPECT_TRUE(m_client->DeleteProperty(pathOf(u"T", u"P"), u"@readonly", &code)) << code;
}

class ReadersTest : public AccessTest {
protected:
  ReadersTest() : AccessTest({"--allow-read", "user:nosuchuser"}) {}
};

TEST_F(ReadersTest, ARuleForReadersTakesThePlaceOfAllLocalUsers) {
  EXPECT_EQ(AsNobody("read"), 5);
  EXPECT_EQ(AsNobody("export"), 5);
  EXPECT_THAT(Audit(), testing::IsEmpty());
}

// Over the network, against what the daemon says of its port.
class NetworkAccessTest : public testing::Test {
protected:
  // Code of a read and a write by a client that the certificate is for; -1 without a connection.
  Codes Over(const std::string& endpoint, const Arguments& rules) {
    Daemon daemon(m_directory, "net" + std::to_string(++m_count));
    Arguments arguments{"--listen", endpoint};
    const std::string files = std::string(SPS_TEST_CERTIFICATES) + "/";
    arguments.insert(arguments.end(), {"--tls-cert", files + "server.pem", "--tls-key", files + "server.key",
                                       "--tls-ca", files + "trusted.pem"});
    arguments.insert(arguments.end(), rules.begin(), rules.end());
    if (!daemon.Start(arguments)) {
      ADD_FAILURE() << daemon.Errors();
      return {};
    }
    ::setenv("SPS_TLS_CERT", (files + "client.pem").c_str(), 1);
    ::setenv("SPS_TLS_KEY", (files + "client.key").c_str(), 1);
    ::setenv("SPS_TLS_CA", (files + "trusted.pem").c_str(), 1);
    const std::string status = daemon.Status();
    std::string bound = status.substr(status.rfind(' ') + 1);
    SpSrvClntEx client;
    if (!client.Init(support::toUtf16(bound).c_str())) return {-1, -1, -1};
    Codes codes;
    std::uint32_t code = 0;
    UnicodeString space;
    client.GetPrcSpace(space, &code);
    codes.read = static_cast<int>(code);
    code = 0;
    client.SetNode(pathOf(u"T"), nullptr, &code);
    codes.write = static_cast<int>(code);
    return codes;
  }

  TempDirectory m_directory;
  int m_count = 0;
};

TEST_F(NetworkAccessTest, IsDeniedUnlessACertificateIsNamed) {
  const std::string endpoint = "tls://localhost:0";
  Codes codes = Over(endpoint, {});
  EXPECT_EQ(codes.read, 5);
  EXPECT_EQ(codes.write, 5);
  codes = Over(endpoint, {"--allow-read", "cert:client.test"});
  EXPECT_EQ(codes.read, 0);
  EXPECT_EQ(codes.write, 5);
  // The certificate is neither this process's user nor its machine: the claim does not hold.
  codes = Over(endpoint, {"--allow-write", "cert:client.test"});
  EXPECT_EQ(codes.read, 0);
  EXPECT_EQ(codes.write, 5);
  codes = Over(endpoint, {"--admin", "cert:client.test"});
  EXPECT_EQ(codes.write, 0);
}

TEST_F(NetworkAccessTest, IsDeniedOnTheLoopbackUnlessEverybodyMay) {
  EXPECT_EQ(Over("tcp://127.0.0.1:0", {}).read, 5);
  const Codes codes = Over("tcp://127.0.0.1:0", {"--allow-write", "*"});
  EXPECT_EQ(codes.read, 0);
  EXPECT_EQ(codes.write, 0);
}

}  // namespace
