#include "tests/ipc/IpcTest.h"

#include <thread>

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

void ServerTest::start(const ipc::Limits& limits, unsigned threads) {
  server.reset();
  server = std::make_unique<ipc::IpcServer>(limits, threads);
  server->addService(serviceNumber, service);
  server->listen(endpoint);
  server->start();
}

bool ServerTest::awaitConnections(std::size_t count) const {
  for (int i = 0; i < 20000; ++i) {
    if (server->load().connections == count) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return false;
}

}  // namespace ipctest
