#include "platform/ipc/IpcServer.h"

#include <openssl/ssl.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <future>
#include <string_view>
#include <utility>

#include "platform/ipc/Errors.h"
#include "platform/ipc/Frame.h"
#include "platform/ipc/Listener.h"
#include "platform/ipc/ServerState.h"
#include "platform/ipc/Session.h"
#include "platform/ipc/Tls.h"
#include "platform/ipc/Worker.h"

namespace ipc {

namespace {

Limits clamped(Limits limits) {
  limits.frameBytes = std::clamp(limits.frameBytes, static_cast<std::uint32_t>(headerBytes), maxFrameBytes);
  return limits;
}

// Threads that begin in its life get no signals.
class SignalsBlocked {
public:
  SignalsBlocked() {
    sigset_t all;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &m_before);
  }
  ~SignalsBlocked() { ::pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
  sigset_t m_before{};
};

int numberOf(const char* variable) {
  const char* text = std::getenv(variable);
  const std::string_view digits = text != nullptr ? text : "";
  int number = -1;
  std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return number;
}

}  // namespace

void Service::ended(SessionId /*session*/) {}

class IpcServer::Impl {
public:
  Impl(const Limits& limits, unsigned threads) : state(std::make_shared<ServerState>(clamped(limits))) {
    for (unsigned i = 0; i < std::max(threads, 1U); ++i) workers.push_back(std::make_shared<Worker>());
  }

  void add(BoundSocket bound);
  void use(std::unique_ptr<asio::ssl::context> tls);
  void start();
  void stop();

  std::shared_ptr<ServerState> state;
  std::vector<std::shared_ptr<Worker>> workers;
  std::vector<std::shared_ptr<Listener>> listeners;
  std::vector<std::string> endpoints;

private:
  enum class Phase : std::uint8_t { Made, Running, Stopped };

  void begin(const std::shared_ptr<Worker>& worker, IoSocket socket, Endpoint::Kind kind);
  void closeListeners();
  template <class Task>
  void forEachSession(Task task);

  Phase m_phase = Phase::Made;
  std::size_t m_next = 0;  // worker of the next connection; touched by the first worker's thread alone
};

void IpcServer::Impl::add(BoundSocket bound) {
  if (bound.endpoint.kind == Endpoint::Kind::Tls && !state->tls) {
    throw ServerError(bound.endpoint.text() + ": needs certificates");
  }
  endpoints.push_back(bound.endpoint.text());
  Listener::Target target;
  target.choose = [this] { return workers[m_next++ % workers.size()]; };
  target.begin = [this](const std::shared_ptr<Worker>& worker, IoSocket socket, Endpoint::Kind kind) {
    begin(worker, std::move(socket), kind);
  };
  listeners.push_back(std::make_shared<Listener>(workers.front(), std::move(bound), std::move(target)));
}

// Connections begin on the first worker's thread, so there is the place to exchange what they begin with.
void IpcServer::Impl::use(std::unique_ptr<asio::ssl::context> tls) {
  if (m_phase != Phase::Running) {
    state->tls = std::move(tls);
  } else {
    workers.front()->post([state = state, tls = std::move(tls)]() mutable { state->tls = std::move(tls); });
  }
}

void IpcServer::Impl::begin(const std::shared_ptr<Worker>& worker, IoSocket socket, Endpoint::Kind kind) try {
  ++state->accepted;
  const auto session = std::make_shared<Session>(state, worker, std::move(socket), kind);
  std::shared_ptr<Session> displaced;
  if (!state->census.add(session->id(), session, kind != Endpoint::Kind::Unix, displaced)) {
    reportRefusal(*state, "a peer", "too many connections in all");
    return session->turnAway(tooManyConnections);
  }
  if (displaced) {
    reportRefusal(*state, "a peer", "too many connections without a greeting");
    displaced->worker().post([displaced] { displaced->close(); });
  }
  worker->post([session] { session->start(); });
} catch (const std::exception& error) {
  reportRefusal(*state, "a peer", error.what());
}

void IpcServer::Impl::start() {
  if (m_phase != Phase::Made) throw ServerError("the server was started before");
  m_phase = Phase::Running;
  const SignalsBlocked blocked;
  for (const auto& worker : workers) worker->start();
  for (const auto& listener : listeners) {
    workers.front()->post([listener] { listener->accept(); });
  }
}

void IpcServer::Impl::closeListeners() {
  std::promise<void> closed;
  workers.front()->post([this, &closed] {
    for (const auto& listener : listeners) listener->close();
    closed.set_value();
  });
  closed.get_future().wait();
}

template <class Task>
void IpcServer::Impl::forEachSession(Task task) {
  for (const auto& session : state->census.all()) {
    session->worker().post([session, task] { task(*session); });
  }
}

void IpcServer::Impl::stop() {
  if (std::exchange(m_phase, Phase::Stopped) != Phase::Running) return;
  state->stopping = true;
  closeListeners();
  forEachSession([](Session& session) { session.drain(); });
  if (!state->census.awaitNone(state->limits.drain)) {
    forEachSession([](Session& session) { session.close(); });
  }
  for (const auto& worker : workers) worker->finish();
}

IpcServer::IpcServer(const Limits& limits, unsigned threads)
    : m_impl(std::make_unique<Impl>(limits, threads)) {}

IpcServer::~IpcServer() {
  try {
    stop();
  } catch (const std::exception& error) {
    reportRefusal(*m_impl->state, "all peers", error.what());
  }
}

void IpcServer::addService(std::int32_t number, Service& service) {
  m_impl->state->services[number] = &service;
}

void IpcServer::useTls(const TlsFiles& files) {
  std::string detail;
  SslContext context = makeSslContext(TLS_server_method(), files, detail);
  if (!context) throw ServerError("TLS: " + detail);
  m_impl->use(std::make_unique<asio::ssl::context>(context.release()));
}

void IpcServer::listen(const std::string& endpoint, std::uint32_t mode) {
  m_impl->add(bindSocket(endpoint, mode));
}

void IpcServer::adopt(int descriptor) {
  m_impl->add(adoptSocket(descriptor));
}

std::vector<int> IpcServer::inheritedSockets() {
  constexpr int firstDescriptor = 3;
  const bool ours = numberOf("LISTEN_PID") == ::getpid();
  const int count = numberOf("LISTEN_FDS");
  for (const char* variable : {"LISTEN_PID", "LISTEN_FDS", "LISTEN_FDNAMES"}) ::unsetenv(variable);
  std::vector<int> descriptors;
  for (int i = 0; ours && i < count; ++i) descriptors.push_back(firstDescriptor + i);
  return descriptors;
}

std::vector<std::string> IpcServer::endpoints() const {
  return m_impl->endpoints;
}

void IpcServer::start() {
  m_impl->start();
}

void IpcServer::stop() {
  m_impl->stop();
  m_impl->listeners.clear();
}

Load IpcServer::load() const {
  const ServerState& state = *m_impl->state;
  return {state.census.count(), state.census.unproven(), state.accepted, state.refused, state.requests};
}

}  // namespace ipc
