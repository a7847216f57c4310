// A parameter service for tests: a real server on a socket of its own that keeps what it is sent and answers
// as it is told.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/ipc/IpcServer.h"
#include "src/SpSrvClntEx.h"
#include "tests/TempDirectory.h"
#include "tests/client/ClientTest.h"

class Master : private ipc::Service {
public:
  // How clients reach it: by a name that is taken for this machine's, or as any host. The latter needs
  // certificates, which this process then has in its environment.
  enum class Reach : std::uint8_t { Local, Host };

  // Listens at once.
  explicit Master(Reach reach = Reach::Local);
  ~Master() override;

  // The name for Open.
  UnicodeString Name() const;

  using Answer = std::function<void(ipc::Exchange&)>;
  // Appended to the answers, which requests take in order; a request that finds none is accepted.
  void Then(Answer answer);
  void ThenAll(const std::vector<Answer>& answers);

  // The requests since the last call, as text: number and fields in order with their wire types, such as
  // "8", "2 nodepath:Str=X" or "1 type:Bin=4900 size:I4=4". Bytes are hexadecimal; of many bytes or
  // characters there is only their count, in angle brackets.
  std::vector<std::string> Seen();
  // Connections that have sent a request.
  std::size_t Sessions();

  // Ends every connection.
  void Stop();

private:
  void serve(std::shared_ptr<ipc::Exchange> exchange) override;
  void MakeCertificate();

  TempDirectory m_directory;
  std::unique_ptr<ipc::IpcServer> m_server;
  std::mutex m_mutex;
  std::deque<Answer> m_answers;  // this and what follows under the mutex
  std::vector<std::string> m_seen;
  std::vector<ipc::SessionId> m_sessions;
};

// Answers. A reply is made by a function that adds its fields to a container.
using Fields = std::function<void(DfsBin&)>;
ipc::Bytes container(const Fields& fields);
Master::Answer reply(const Fields& fields);
Master::Answer replies(std::vector<ipc::Bytes> all);
Master::Answer reject(std::int32_t code);
// One reply, after which the connection breaks off.
Master::Answer breakAfter(ipc::Bytes first);

// A master and a client that is connected to it. No trace lines are left from that.
class MasterTest : public ClientTest {
protected:
  MasterTest();

  // The fields that say who asks.
  std::string Caller() const;

  Master master;
  SpSrvClntEx client;
};
