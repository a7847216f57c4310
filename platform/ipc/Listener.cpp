#include "platform/ipc/Listener.h"

#include <sys/socket.h>
#include <unistd.h>

#include <new>
#include <utility>

#include "platform/ipc/Socket.h"
#include "platform/support/Trace.h"
#include "platform/support/UnicodeString.h"

namespace ipc {

namespace {

// Descriptors may be used up; asking again at once would only burn time.
constexpr std::chrono::milliseconds pauseTime{50};

int familyOf(const Endpoint& endpoint) {
  if (endpoint.kind == Endpoint::Kind::Unix) return AF_UNIX;
  return endpoint.host.find(':') == std::string::npos ? AF_INET : AF_INET6;
}

}  // namespace

Listener::Listener(std::shared_ptr<Worker> worker, BoundSocket bound, Target target)
    : m_worker(std::move(worker)),
      m_bound(std::move(bound)),
      m_target(std::move(target)),
      m_acceptor(m_worker->context()),
      m_timer(m_worker->context()) {
  const asio::generic::stream_protocol protocol(familyOf(m_bound.endpoint), 0);
  m_acceptor.assign(protocol, m_bound.socket.release());
}

Listener::~Listener() {
  // The lock is still held, so the file is ours.
  if (m_bound.ownsFile) ::unlink(m_bound.endpoint.path.c_str());
}

void Listener::accept() {
  auto worker = m_target.choose();
  auto& context = worker->context();
  m_acceptor.async_accept(context, [self = shared_from_this(), worker = std::move(worker)](
                                       std::error_code error, IoSocket socket) mutable {
    if (!self->m_acceptor.is_open()) return;
    if (error) return self->pause(error);
    self->m_isPaused = false;
    try {
      self->begin(std::move(worker), std::move(socket));
      self->accept();
    } catch (const std::bad_alloc&) {
      self->pause(std::make_error_code(std::errc::not_enough_memory));
    }
  });
}

void Listener::begin(std::shared_ptr<Worker> worker, IoSocket socket) {
  const Endpoint::Kind kind = m_bound.endpoint.kind;
  if (kind != Endpoint::Kind::Unix) tuneTcp(socket.native_handle());
  m_target.begin(std::move(worker), std::move(socket), kind);
}

void Listener::pause(const std::error_code& reason) {
  if (!std::exchange(m_isPaused, true)) {
    _DbgSetLine(u"platform\\ipc", __LINE__, u'W');
    _DbgOut(u"No connection can be accepted at %s: %s", UnicodeString(m_bound.endpoint.text().c_str()),
            UnicodeString(reason.message().c_str()));
  }
  m_timer.expires_after(pauseTime);
  m_timer.async_wait([self = shared_from_this()](std::error_code error) {
    if (!error && self->m_acceptor.is_open()) self->accept();
  });
}

void Listener::close() {
  std::error_code ignored;
  m_acceptor.close(ignored);
  m_timer.cancel();
}

}  // namespace ipc
