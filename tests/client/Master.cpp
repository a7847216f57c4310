#include "tests/client/Master.h"

#include <stdlib.h>

#include <algorithm>
#include <stdexcept>

#include "platform/support/DfsFormat.h"
#include "platform/support/Utf.h"
#include "src/telegrams.h"

namespace {

namespace dfs = support::dfs;

std::string hex(dfs::Bytes bytes) {
  std::string digits;
  for (const std::uint8_t byte : bytes) {
    digits += "0123456789abcdef"[byte >> 4];
    digits += "0123456789abcdef"[byte & 15];
  }
  return digits;
}

std::string text(dfs::Bytes bytes) {
  std::u16string characters(bytes.size() / 2, u'\0');
  dfs::readText(bytes, characters);
  if (characters.size() > 80) return "<" + std::to_string(characters.size()) + ">";
  return support::toUtf8(characters);
}

std::string show(const dfs::Field& field) {
  const std::string key = field.wideKey ? text(field.key) : std::string(field.key.begin(), field.key.end());
  switch (field.type) {
    case dfs::Type::Str:
      return key + ":Str=" + text(field.value);
    case dfs::Type::I4:
      return key + ":I4=" + std::to_string(static_cast<std::int32_t>(dfs::readNumber(field.value)));
    case dfs::Type::I2:
      return key + ":I2=" + std::to_string(static_cast<std::int16_t>(dfs::readNumber(field.value)));
    default:
      return key + ":Bin=" +
             (field.value.size() > 40 ? "<" + std::to_string(field.value.size()) + ">" : hex(field.value));
  }
}

std::string show(const ipc::Exchange& exchange) {
  std::string line = std::to_string(exchange.number());
  EXPECT_EQ(exchange.value(), 0);
  EXPECT_TRUE(dfs::isContainer(exchange.data()));
  dfs::Bytes fields = exchange.data().subspan(dfs::headerSize);
  while (const auto field = dfs::takeField(fields)) line += " " + show(*field);
  return line;
}

}  // namespace

Master::Master(Reach reach) {
  ipc::Limits limits;
  limits.outputBytes = 1;  // what was sent before a connection breaks off is on its way by then
  m_server = std::make_unique<ipc::IpcServer>(limits, 1);
  m_server->addService(telegram::serviceNumber, *this);
  if (reach == Reach::Host) {
    MakeCertificate();
    m_server->useTls({m_directory / "certificate", m_directory / "key", m_directory / "certificate"});
  }
  m_server->listen(reach == Reach::Host ? "tls://127.0.0.2:0" : "unix:" + m_directory / "master");
  m_server->start();
}

Master::~Master() {
  Stop();
  for (const char* const variable : {"SPS_TLS_CERT", "SPS_TLS_KEY", "SPS_TLS_CA"}) ::unsetenv(variable);
}

// One that serves both ends and is its own authority.
void Master::MakeCertificate() {
  const std::string key = m_directory / "key";
  const std::string certificate = m_directory / "certificate";
  const std::string command =
      "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 -subj /CN=test "
      "-addext subjectAltName=IP:127.0.0.2,DNS:client -keyout " +
      key + " -out " + certificate + " 2>/dev/null";
  if (std::system(command.c_str()) != 0) throw std::runtime_error("no certificate");
  ::setenv("SPS_TLS_CERT", certificate.c_str(), 1);
  ::setenv("SPS_TLS_KEY", key.c_str(), 1);
  ::setenv("SPS_TLS_CA", certificate.c_str(), 1);
}

UnicodeString Master::Name() const {
  return m_server->endpoints().at(0).c_str();
}

void Master::Then(Answer answer) {
  const std::lock_guard hold(m_mutex);
  m_answers.push_back(std::move(answer));
}

void Master::ThenAll(const std::vector<Answer>& answers) {
  for (const Answer& answer : answers) Then(answer);
}

std::vector<std::string> Master::Seen() {
  const std::lock_guard hold(m_mutex);
  return std::exchange(m_seen, {});
}

std::size_t Master::Sessions() {
  const std::lock_guard hold(m_mutex);
  return m_sessions.size();
}

void Master::Stop() {
  m_server->stop();
}

void Master::serve(std::shared_ptr<ipc::Exchange> exchange) {
  const std::lock_guard hold(m_mutex);
  m_seen.push_back(show(*exchange));
  if (std::ranges::find(m_sessions, exchange->session()) == m_sessions.end()) {
    m_sessions.push_back(exchange->session());
  }
  if (m_answers.empty()) return exchange->accept();
  const Answer answer = std::move(m_answers.front());
  m_answers.pop_front();
  answer(*exchange);
}

ipc::Bytes container(const Fields& fields) {
  ipc::Bytes room(8192);
  DfsBin made;
  EXPECT_TRUE(made.AssignEmptyBuffer(room.data(), static_cast<std::int64_t>(room.size()), false));
  fields(made);
  EXPECT_FALSE(made.HasOverflow());
  room.resize(static_cast<std::size_t>(made.GetDataSize()));
  return room;
}

Master::Answer reply(const Fields& fields) {
  return replies({container(fields)});
}

Master::Answer replies(std::vector<ipc::Bytes> all) {
  return [all = std::move(all)](ipc::Exchange& exchange) { exchange.accept(all); };
}

Master::Answer reject(std::int32_t code) {
  return [code](ipc::Exchange& exchange) { exchange.reject(code); };
}

Master::Answer breakAfter(ipc::Bytes first) {
  return [first = std::move(first)](ipc::Exchange& exchange) {
    exchange.acceptEach([first, count = 0](ipc::Bytes& next) mutable {
      // The second is held back until the third is there, and what no frame can hold ends the connection.
      next = count == 0 ? first : ipc::Bytes(count == 1 ? 1 : std::size_t{2} << 20);
      ++count;
      return true;
    });
  };
}

MasterTest::MasterTest() {
  EXPECT_TRUE(client.Init(master.Name()));
  Lines();
}

std::string MasterTest::Caller() const {
  return "user:Str=" + support::toUtf8(client.GetUserLogged().View()) +
         " ws:Str=" + support::toUtf8(client.GetCurMachine().View());
}
