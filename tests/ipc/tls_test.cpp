// Certificates of both sides: who is let in, and what the other learns.
#include <optional>

#include "tests/ipc/IpcTest.h"

namespace {

using namespace ipctest;

class Tls : public ServerTest {
protected:
  void serve(const std::string& certificate) {
    server = std::make_unique<ipc::IpcServer>(ipc::Limits{}, 1);
    server->addService(serviceNumber, service);
    server->useTls(serverFiles(certificate));
    server->listen("tls://127.0.0.1:0");
    server->start();
    endpoint = server->endpoints().front();
  }
  std::string open() const {
    TestClient client;
    return client.connect(endpoint) ? client.ask(echo, "let in") : errorName(client.GetLastError());
  }
};

TEST_F(Tls, BothSidesMustBeProven) {
  struct Case {
    const char* server;
    const char* client;
    const char* outcome;
  };
  const Case cases[] = {
      {"server", "client", "let in"},
      {"server", "client-foreign", "the server refused our certificate"},
      {"server", "client-expired", "the server refused our certificate"},
      {"server", "client-early", "the server refused our certificate"},
      {"server", "client-nameless", "the server refused our certificate"},
      {"server-expired", "client", "the server's certificate is out of date"},
      {"server-elsewhere", "client", "the server's certificate is for another host"},
      {"server-foreign", "client", "the server's certificate is not from a trusted authority"},
  };
  for (const Case& c : cases) {
    serve(c.server);
    const ClientCertificate certificate(c.client);
    EXPECT_EQ(open(), c.outcome) << c.server << ", " << c.client;
  }
}

TEST_F(Tls, NameIsCheckedAsGiven) {
  serve("server");
  const ClientCertificate certificate("client");
  const std::string port = endpoint.substr(endpoint.rfind(':'));
  endpoint = "tls://localhost" + port;
  EXPECT_EQ(open(), "let in");
  endpoint = "tls://127.0.0.2" + port;  // the same machine under an address that is not in the certificate
  EXPECT_NE(open(), "let in");
}

TEST_F(Tls, FilesMustBeThereAndFit) {
  serve("server");
  const char* fault = "the certificate files are missing or do not fit together";
  EXPECT_EQ(open(), fault);
  const ClientCertificate certificate("client");
  {
    const Variable wrong("SPS_TLS_KEY", certificateFile("server.key"));
    EXPECT_EQ(open(), fault);
  }
  EXPECT_EQ(open(), fault);  // the variable has gone with the scope
}

TEST_F(Tls, ServerRefusesFilesThatDoNotFit) {
  ipc::IpcServer other({}, 1);
  EXPECT_THROW(other.listen("tls://127.0.0.1:0"), ipc::ServerError);
  EXPECT_THROW(other.useTls({certificateFile("server.pem"), certificateFile("client.key"),
                             certificateFile("trusted.pem")}),
               ipc::ServerError);
  EXPECT_THROW(other.useTls({certificateFile("none.pem"), {}, {}}), ipc::ServerError);
}

TEST_F(Tls, PlainAndEncryptedDoNotMeet) {
  const ClientCertificate certificate("client");
  start({}, "tcp");
  endpoint.replace(0, 3, "tls");
  EXPECT_NE(open(), "let in");
  serve("server");
  endpoint.replace(0, 3, "tcp");
  EXPECT_NE(open(), "let in");
}

// Bytes that are no TLS end the connection, and a handshake that stands still ends in time.
TEST_F(Tls, HandshakeEnds) {
  ipc::Limits limits;
  limits.handshake = std::chrono::milliseconds(50);
  start(limits, "tls");
  const RawPeer silent = RawPeer::connect(endpoint);
  EXPECT_EQ(silent.readAll(), "");
  const RawPeer noise = RawPeer::connect(endpoint);
  noise.send(std::string(1000, 'x'));
  noise.finish();
  noise.readAll();
  EXPECT_TRUE(awaitConnections(0));
  EXPECT_EQ(server->load().refused, 2U);
}

}  // namespace
