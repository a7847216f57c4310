#include "tests/ipc/IpcTest.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>

namespace ipctest {

void TestService::serve(std::shared_ptr<ipc::Exchange> exchange) {
  const auto data = exchange->data();
  switch (exchange->number()) {
    case echo:
      return exchange->accept(data);
    case done:
      return exchange->accept();
    case refuse:
      return exchange->reject(exchange->value());
    case split: {
      std::vector<ipc::Bytes> replies;
      for (const std::uint8_t byte : data) replies.push_back({byte});
      return exchange->accept(std::move(replies));
    }
    case numbers:
      return exchange->acceptEach([this, left = exchange->value()](ipc::Bytes& reply) mutable {
        if (left == 0) return false;
        reply.assign(1000, static_cast<std::uint8_t>(left--));
        ++m_made;
        return true;
      });
    case hold: {
      const std::lock_guard lock(m_mutex);
      m_held.push_back(std::move(exchange));
      return m_changed.notify_all();
    }
    case fault:
      throw std::runtime_error("as asked");
    case large:
      return exchange->accept(ipc::Bytes(static_cast<std::size_t>(exchange->value()), 'l'));
    case whoami: {
      const ipc::Peer& peer = exchange->peer();
      return exchange->accept(
          bytesOf(std::to_string(static_cast<int>(peer.kind)) + " " + peer.name + " " + peer.address));
    }
    default:
      return;
  }
}

void TestService::ended(ipc::SessionId session) {
  const std::lock_guard lock(m_mutex);
  m_ended.push_back(session);
  m_changed.notify_all();
}

std::shared_ptr<ipc::Exchange> TestService::held() {
  std::unique_lock lock(m_mutex);
  if (!m_changed.wait_for(lock, std::chrono::seconds(20), [this] { return !m_held.empty(); })) return nullptr;
  auto exchange = std::move(m_held.front());
  m_held.pop_front();
  return exchange;
}

bool TestService::awaitEnded(std::size_t count) {
  std::unique_lock lock(m_mutex);
  return m_changed.wait_for(lock, std::chrono::seconds(20), [&] { return m_ended.size() >= count; });
}

bool TestService::hasEnded(std::size_t count) {
  const std::lock_guard lock(m_mutex);
  return m_ended.size() >= count;
}

std::string TestClient::reply() {
  const std::uint8_t* data = nullptr;
  std::int32_t size = 8193;
  if (!GetReply(data, size)) return errorName(GetLastError());
  return {reinterpret_cast<const char*>(data), static_cast<std::size_t>(size)};
}

std::string TestClient::ask(std::int32_t number, std::string_view data, std::int32_t value) {
  if (!request(number, data, value)) return errorName(GetLastError());
  std::string all;
  const std::uint8_t* bytes = nullptr;
  std::int32_t size = 8193;
  for (bool first = true; GetReply(bytes, size); first = false) {
    if (!first) all += "|";
    all.append(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size));
  }
  return GetLastError() == ipc::noReply ? all : all + "|" + errorName(GetLastError());
}

std::string errorName(std::int32_t code) {
  if (code >= ipc::serviceErrors) return "rejected " + std::to_string(code - ipc::serviceErrors);
  return support::toUtf8(ipc::errorText(code));
}

void put(std::string& bytes, std::uint32_t number) {
  for (int i = 0; i < 4; ++i) bytes += static_cast<char>(number >> (8 * i));
}

std::uint32_t get(const std::string& bytes, std::size_t at) {
  std::uint32_t number = 0;
  for (std::size_t i = 4; i-- > 0;) number = number << 8 | static_cast<std::uint8_t>(bytes[at + i]);
  return number;
}

std::string RawFrame::bytes() const {
  std::string all;
  put(all, static_cast<std::uint32_t>(length >= 0 ? length : static_cast<std::int64_t>(24 + payload.size())));
  all += {static_cast<char>(version), static_cast<char>(kind), static_cast<char>(flags), '\0'};
  for (const std::uint32_t number : {id, code, service, value}) put(all, number);
  return all + payload;
}

RawPeer::~RawPeer() {
  if (m_descriptor >= 0) ::close(m_descriptor);
}

RawPeer RawPeer::connect(const std::string& endpoint) {
  sockaddr_storage address{};
  socklen_t size = 0;
  if (endpoint.starts_with("unix:")) {
    auto& unixAddress = reinterpret_cast<sockaddr_un&>(address);
    unixAddress.sun_family = AF_UNIX;
    endpoint.copy(unixAddress.sun_path, sizeof unixAddress.sun_path - 1, 5);
    size = sizeof unixAddress;
  } else {
    auto& tcp = reinterpret_cast<sockaddr_in&>(address);
    tcp.sin_family = AF_INET;
    tcp.sin_port = htons(static_cast<std::uint16_t>(std::stoi(endpoint.substr(endpoint.rfind(':') + 1))));
    tcp.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    size = sizeof tcp;
  }
  RawPeer peer(::socket(address.ss_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (::connect(peer.m_descriptor, reinterpret_cast<const sockaddr*>(&address), size) != 0) {
    throw std::runtime_error("connect " + endpoint);
  }
  return peer;
}

bool RawPeer::send(const std::string& bytes) const {
  for (std::size_t at = 0; at < bytes.size();) {
    const ssize_t count = ::send(m_descriptor, bytes.data() + at, bytes.size() - at, MSG_NOSIGNAL);
    if (count < 0) return false;
    at += static_cast<std::size_t>(count);
  }
  return true;
}

std::string RawPeer::read(std::size_t count) const {
  std::string all;
  std::vector<char> part(64U << 10);
  while (all.size() < count) {
    pollfd entry{m_descriptor, POLLIN, 0};
    if (::poll(&entry, 1, 20000) != 1) throw std::runtime_error("nothing came");
    const ssize_t got = ::recv(m_descriptor, part.data(), std::min(part.size(), count - all.size()), 0);
    if (got <= 0) break;
    all.append(part.data(), static_cast<std::size_t>(got));
  }
  return all;
}

std::string RawPeer::readFrame() const {
  const std::string header = read(24);
  if (header.size() < 24) return "end";
  const char* names[] = {"?", "hello", "welcome", "request", "verdict", "reply"};
  const std::string payload = read(get(header, 0) - 24);
  return names[header[5] % 6] + (" " + std::to_string(get(header, 8))) + " " +
         std::to_string(get(header, 12)) + (payload.empty() ? "" : " " + payload);
}

void RawPeer::finish() const {
  ::shutdown(m_descriptor, SHUT_WR);
}

FakeServer::FakeServer(std::string path, std::function<void(RawPeer&)> script)
    : m_listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  if (::bind(m_listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      ::listen(m_listener, 8) != 0) {
    throw std::runtime_error("listen " + path);
  }
  m_thread = std::thread([this, script = std::move(script)] {
    for (;;) {
      RawPeer peer(::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC));
      if (!peer.isValid()) return;
      script(peer);
    }
  });
}

FakeServer::~FakeServer() {
  ::shutdown(m_listener, SHUT_RDWR);
  m_thread.join();
  ::close(m_listener);
}

void ServerTest::start(const ipc::Limits& limits, const std::string& kind) {
  server.reset();
  server = std::make_unique<ipc::IpcServer>(limits, 2);
  server->addService(serviceNumber, service);
  if (kind == "tls") server->useTls(serverFiles("server"));
  server->listen(kind == "unix" ? "unix:" + socketPath : kind + "://127.0.0.1:0");
  endpoint = server->endpoints().front();
  server->start();
}

bool ServerTest::awaitConnections(std::size_t count) const {
  for (int i = 0; i < 20000; ++i) {
    if (server->load().connections == count) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return false;
}

std::string certificateFile(const std::string& name) {
  return std::string(SPS_TEST_CERTIFICATES "/") + name;
}

ipc::TlsFiles serverFiles(const std::string& name) {
  return {certificateFile(name + ".pem"), certificateFile(name + ".key"), certificateFile("trusted.pem")};
}

ClientCertificate::ClientCertificate(const std::string& name)
    : m_certificate("SPS_TLS_CERT", certificateFile(name + ".pem")),
      m_key("SPS_TLS_KEY", certificateFile(name + ".key")),
      m_authorities("SPS_TLS_CA", certificateFile("trusted.pem")) {}

}  // namespace ipctest
