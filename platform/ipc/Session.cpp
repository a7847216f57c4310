#include "platform/ipc/Session.h"

#include <atomic>
#include <exception>
#include <utility>

#include "platform/ipc/Errors.h"
#include "platform/ipc/Identity.h"
#include "platform/ipc/SessionExchange.h"
#include "platform/support/Trace.h"
#include "platform/support/UnicodeString.h"
#include "platform/support/Utf.h"

namespace ipc {

namespace {

constexpr std::size_t startCapacity = 4U << 10;  // bytes of input
constexpr std::uint32_t greetingBytes = 256;     // no more is taken from a peer before its greeting
constexpr std::chrono::milliseconds leaveTime{1'000};

SessionId nextId() {
  static std::atomic<SessionId> last{0};
  return ++last;
}

Transport makeTransport(const ServerState& state, IoSocket socket, Endpoint::Kind kind) {
  if (kind == Endpoint::Kind::Tls) return {std::move(socket), *state.tls};
  return Transport(std::move(socket));
}

void traceFault(const Exchange& exchange, const char* what) {
  _DbgSetLine(u"platform\\ipc", __LINE__, u'E');
  _DbgOut(u"Request %d of %s failed: %s", exchange.number(), UnicodeString(exchange.peer().address.c_str()),
          UnicodeString(what));
}

}  // namespace

void reportRefusal(ServerState& state, const std::string& address, const std::string& reason) {
  ++state.refused;
  _DbgSetLine(u"platform\\ipc", __LINE__, u'W');
  _DbgOut(u"Connection of %s ended: %s", UnicodeString(address.c_str()), UnicodeString(reason.c_str()));
}

Session::Session(std::shared_ptr<ServerState> state, std::shared_ptr<Worker> worker, IoSocket socket,
                 Endpoint::Kind kind)
    : m_state(std::move(state)),
      m_worker(std::move(worker)),
      m_id(nextId()),
      m_kind(kind),
      m_transport(makeTransport(*m_state, std::move(socket), kind)),
      m_timer(m_worker->context()),
      m_reader(greetingBytes, startCapacity) {}

void Session::turnAway(std::int32_t code) {
  std::error_code ignored;
  m_transport.socket().non_blocking(true, ignored);
  append(FrameKind::Welcome, 0, code, true);
  m_transport.tryWrite(m_output);
}

void Session::start() {
  auto peer = identify(m_transport.socket().native_handle(), m_kind);
  if (!peer || m_state->stopping) return close();
  m_peer = std::move(*peer);
  std::error_code ignored;
  m_transport.socket().non_blocking(true, ignored);
  arm(m_state->limits.handshake);
  if (m_kind == Endpoint::Kind::Tls) return shakeHands();
  if (m_kind == Endpoint::Kind::Unix) prove();
  if (m_phase == Phase::Greeting) read();
}

void Session::shakeHands() {
  m_transport.handshake([self = shared_from_this()](std::error_code error) {
    if (self->m_phase == Phase::Closed) return;
    if (error) {
      reportRefusal(*self->m_state, self->m_peer.address, error.message());
      return self->leave();  // the alert that says why must get through
    }
    self->m_peer.name = certificateName(self->m_transport.ssl());
    if (self->m_peer.name.empty())
      return self->refuse(refusedCertificate, "its certificate names no subject");
    self->prove();
    if (self->m_phase == Phase::Greeting) self->read();
  });
}

void Session::prove() {
  if (!m_state->census.prove(m_id, userKey(m_peer)))
    refuse(tooManyConnections, "too many connections of " + m_peer.name);
}

void Session::read() {
  m_transport.read(m_reader.room(), [self = shared_from_this()](std::error_code error, std::size_t count) {
    self->onRead(error, count);
  });
}

void Session::onRead(std::error_code error, std::size_t count) {
  if (m_phase == Phase::Closed) return;
  if (error) return close();
  m_reader.received(count);
  proceed();
}

// Takes the frames that are there, one exchange after the other. An answer that goes out at once returns
// here, so that a peer that sends many requests ahead does not pile up calls.
void Session::takeFrames() {
  m_proceeding = true;
  while (m_phase == Phase::Greeting || m_phase == Phase::Reading) {
    Frame frame;
    switch (m_reader.next(frame)) {
      case FrameReader::State::Frame:
        handle(frame);
        continue;
      case FrameReader::State::Version:
        refuse(unknownVersion, "unknown version of the protocol");
        continue;
      case FrameReader::State::Malformed:
        refuse(protocolError, "malformed or oversize frame");
        continue;
      case FrameReader::State::Idle:
        wait(false);
        break;
      case FrameReader::State::Partial:
        wait(true);
        break;
    }
    break;
  }
  m_proceeding = false;
}

// Behind what else the thread has to do now, which may be answers to others of a group: a peer that asks
// again at once has done so by then, and is not looked at in vain.
void Session::proceedLater() {
  try {
    m_worker->defer([self = shared_from_this()] {
      if (self->m_phase == Phase::Reading) self->proceed();
    });
  } catch (const std::exception& problem) {
    fail(problem.what());
  }
}

// The time of a frame begins with its first byte; further ones do not prolong it.
void Session::wait(bool partial) {
  if (m_phase == Phase::Reading && partial && !m_armed) arm(m_state->limits.frame);
  read();
}

// For want of memory: a session that is left in the middle of a request, or reads no more, would never end.
void Session::proceed() {
  try {
    takeFrames();
  } catch (const std::exception& problem) {
    fail(problem.what());
  }
}

void Session::handle(const Frame& frame) {
  if (m_phase == Phase::Greeting) return greet(frame);
  if (m_armed) disarm();
  if (frame.kind != FrameKind::Request) return refuse(protocolError, "a frame that is no request");
  serve(frame);
}

void Session::greet(const Frame& frame) {
  if (frame.kind != FrameKind::Hello) return refuse(protocolError, "no greeting");
  if (m_state->stopping) return refuse(stopping, "the server is stopping");
  if (m_kind == Endpoint::Kind::Tcp) prove();
  if (m_phase != Phase::Greeting) return;
  disarm();
  m_reader.setLimit(m_state->limits.frameBytes);
  append(FrameKind::Welcome, 0, noError, false);
  m_phase = Phase::Answering;
  flush();
}

void Session::serve(const Frame& frame) {
  ++m_state->requests;
  m_phase = Phase::Serving;
  m_requestId = frame.id;
  const auto service = m_state->services.find(frame.service);
  if (service == m_state->services.end()) return answer(frame.id, unknownService);
  m_used.insert(service->second);
  const auto exchange = std::make_shared<SessionExchange>(shared_from_this(), frame);
  try {
    service->second->serve(exchange);
  } catch (const std::exception& error) {
    traceFault(*exchange, error.what());
    exchange->reject(generalFailure);
  }
}

void Session::refuse(std::int32_t code, const std::string& reason) {
  reportRefusal(*m_state, m_peer.address, reason);
  const FrameKind kind = m_phase == Phase::Greeting ? FrameKind::Welcome : FrameKind::Verdict;
  append(kind, 0, code, true);
  m_phase = Phase::Leaving;
  arm(leaveTime);
  flush();
}

// Closing at once, with bytes of the peer's unread, could take our last words away from it.
void Session::leave() {
  if (m_phase == Phase::Closed) return;
  m_phase = Phase::Leaving;
  arm(leaveTime);
  std::error_code ignored;
  m_transport.socket().shutdown(asio::socket_base::shutdown_send, ignored);
  discard();
}

void Session::discard() {
  m_reader.clear();
  m_transport.readRaw(m_reader.room(), [self = shared_from_this()](std::error_code error, std::size_t) {
    if (self->m_phase == Phase::Closed) return;
    if (error) return self->close();
    self->discard();
  });
}

void Session::fail(const char* what) {
  close();  // first: the report may fail as well
  reportRefusal(*m_state, m_peer.address, what);
}

void Session::drain() {
  m_draining = true;
  if (m_phase != Phase::Serving && m_phase != Phase::Answering) close();
}

void Session::close() {
  if (m_phase == Phase::Closed) return;
  m_phase = Phase::Closed;
  const auto self = shared_from_this();  // the census may hold the last pointer
  disarm();
  m_next = nullptr;
  std::error_code ignored;
  m_transport.socket().close(ignored);
  for (Service* service : m_used) tellEnd(*service);
  m_state->census.remove(m_id);
}

void Session::tellEnd(Service& service) const {
  try {
    service.ended(m_id);
  } catch (const std::exception& problem) {
    _DbgSetLine(u"platform\\ipc", __LINE__, u'E');
    _DbgOut(u"The end of a connection of %s was not taken: %s", UnicodeString(m_peer.address.c_str()),
            UnicodeString(problem.what()));
  }
}

void Session::arm(std::chrono::milliseconds limit) {
  m_armed = true;
  m_timer.expires_after(limit);
  m_timer.async_wait([self = shared_from_this(), use = ++m_timerUse](std::error_code error) {
    if (!error && self->m_armed && use == self->m_timerUse) self->timeUp();
  });
}

void Session::disarm() {
  m_armed = false;
  m_timer.cancel();
}

void Session::timeUp() {
  switch (m_phase) {
    case Phase::Greeting:
      return fail("no greeting in time");
    case Phase::Reading:
      return fail("a frame took too long to come");
    case Phase::Answering:
      return fail("an answer was not taken in time");
    default:
      return close();
  }
}

}  // namespace ipc
