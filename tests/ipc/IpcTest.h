// What the tests of the ipc room share: a server of their own in a directory of its own, a service that does
// what the request's number says, and a client that shows its notifications.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "platform/ipc/Errors.h"
#include "platform/ipc/IpcClient.h"
#include "platform/ipc/IpcServer.h"
#include "platform/support/Utf.h"
#include "tests/TempDirectory.h"

namespace ipctest {

inline constexpr std::int32_t serviceNumber = 11;

// An environment variable for a scope.
class Variable {
public:
  Variable(const char* name, const std::string& value) : m_name(name) { ::setenv(name, value.c_str(), 1); }
  ~Variable() { ::unsetenv(m_name); }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;

private:
  const char* m_name;
};

inline ipc::Bytes bytesOf(std::string_view text) {
  return {text.begin(), text.end()};
}

// What a request's number asks of the test service.
enum Number : std::int32_t {
  echo = 0,     // the request's data as single reply
  done = 1,     // no reply
  refuse = 2,   // rejected with the request's second value
  split = 3,    // each byte of the data as a reply
  numbers = 4,  // as many replies as the second value says, made one by one, each of 1000 bytes
  hold = 5,     // kept for the test to answer
  forget = 6,   // let go without an answer
  fault = 7,    // an exception
  large = 8,    // one reply of as many bytes as the second value says
  whoami = 9    // the peer's kind, name and address
};

class TestService : public ipc::Service {
public:
  void serve(std::shared_ptr<ipc::Exchange> exchange) override;
  void ended(ipc::SessionId session) override;

  // The next exchange that was kept; waits for it.
  std::shared_ptr<ipc::Exchange> held();
  // Waits until that many sessions have ended in all.
  bool awaitEnded(std::size_t count);
  bool hasEnded(std::size_t count);
  std::size_t startedReplies() const { return m_made; }

private:
  std::mutex m_mutex;
  std::condition_variable m_changed;
  std::deque<std::shared_ptr<ipc::Exchange>> m_held;  // this and what follows under the mutex
  std::vector<ipc::SessionId> m_ended;
  std::atomic<std::size_t> m_made{0};
};

class TestClient : public IpcClient {
public:
  explicit TestClient(std::int32_t timeout = 10000) : IpcClient(timeout, timeout, nullptr, nullptr) {}
  void NotifyOpen() override { ++opened; }
  void NotifyClose() override { ++closed; }

  bool connect(const std::string& endpoint) {
    const bool open = Open(support::toUtf16(endpoint).c_str(), conModeRequest);
    if (open) SetService(serviceNumber);
    return open;
  }
  // The exchange's outcome in one text: the replies joined by "|", or the error.
  std::string ask(std::int32_t number, std::string_view data = "x", std::int32_t value = 0);
  bool request(std::int32_t number, std::string_view data = "x", std::int32_t value = 0) {
    return Request(number, value, data.data(), static_cast<std::int32_t>(data.size()));
  }
  std::string reply();

  int opened = 0;
  int closed = 0;
};

// The text of an error of the client's, short enough for expectations.
std::string errorName(std::int32_t code);

// The bytes of a frame, put together here as the protocol's description says.
struct RawFrame {
  int kind = 1;
  std::uint32_t id = 0;
  std::uint32_t code = 0;
  std::uint32_t service = 0;
  std::uint32_t value = 0;
  std::string payload = {};
  int flags = 0;
  int version = 1;
  std::int64_t length = -1;  // where it is not the true one

  std::string bytes() const;
};
inline const std::string hello = RawFrame{}.bytes();
inline RawFrame request(std::uint32_t number, std::string payload, std::uint32_t id = 1) {
  return {.kind = 3, .id = id, .code = number, .service = serviceNumber, .payload = std::move(payload)};
}

// A socket without a client behind it.
class RawPeer {
public:
  explicit RawPeer(int descriptor) : m_descriptor(descriptor) {}
  ~RawPeer();
  RawPeer(RawPeer&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}
  RawPeer& operator=(RawPeer&&) = delete;

  // To an endpoint as the server gives it; throws where that fails.
  static RawPeer connect(const std::string& endpoint);
  bool isValid() const { return m_descriptor >= 0; }
  // False where the peer is gone.
  bool send(const std::string& bytes) const;
  // Up to the count, less where the stream ends; an exception where nothing comes for long.
  std::string read(std::size_t count) const;
  // All up to the end.
  std::string readAll() const { return read(std::string::npos); }
  // One frame's kind, id and code, such as "verdict 1 0", with the payload behind a blank where there is one;
  // "end" at the end.
  std::string readFrame() const;
  // No more bytes go out.
  void finish() const;

private:
  int m_descriptor;
};

// A server that does to each connection what the test says.
class FakeServer {
public:
  FakeServer(std::string path, std::function<void(RawPeer&)> script);
  ~FakeServer();
  FakeServer(const FakeServer&) = delete;
  FakeServer& operator=(const FakeServer&) = delete;

private:
  int m_listener;
  std::thread m_thread;
};

class ServerTest : public ::testing::Test {
protected:
  ServerTest() { start({}); }
  // Another server in the place of the first.
  void start(const ipc::Limits& limits, const std::string& kind = "unix");
  // Waits until the server has that many connections.
  bool awaitConnections(std::size_t count) const;

  TempDirectory directory;
  TestService service;
  const std::string socketPath = directory / "s";
  std::unique_ptr<ipc::IpcServer> server;
  std::string endpoint;  // as bound
};

// The environment that makes a client of the certificate of that name.
class ClientCertificate {
public:
  explicit ClientCertificate(const std::string& name);

private:
  Variable m_certificate;
  Variable m_key;
  Variable m_authorities;
};
std::string certificateFile(const std::string& name);
ipc::TlsFiles serverFiles(const std::string& name);

}  // namespace ipctest
