#include "platform/ipc/SessionExchange.h"

#include <utility>

#include "platform/ipc/Errors.h"

namespace ipc {

namespace {

// On the session's thread at once, from any other one behind what is going on there.
template <class Task>
void runOn(const std::shared_ptr<Session>& session, Task&& task) {
  if (session->worker().isThisThread()) {
    task(*session);
  } else {
    session->worker().post([session, task = std::forward<Task>(task)]() mutable { task(*session); });
  }
}

}  // namespace

void SessionExchange::accept() {
  acceptEach({});
}

void SessionExchange::accept(std::span<const std::uint8_t> reply) {
  if (!takeTurn()) return;
  if (m_session->worker().isThisThread()) return m_session->accept(m_frame.id, reply);
  runOn(m_session, [id = m_frame.id, copy = Bytes(reply.begin(), reply.end())](Session& session) {
    session.accept(id, copy);
  });
}

void SessionExchange::accept(std::vector<Bytes> replies) {
  acceptEach([replies = std::move(replies), at = std::size_t{0}](Bytes& reply) mutable {
    if (at == replies.size()) return false;
    reply = std::move(replies[at++]);
    return true;
  });
}

void SessionExchange::acceptEach(NextReply next) {
  if (!takeTurn()) return;
  runOn(m_session, [id = m_frame.id, next = std::move(next)](Session& session) mutable {
    session.acceptEach(id, std::move(next));
  });
}

void SessionExchange::reject(std::int32_t code) {
  if (!takeTurn()) return;
  const auto sum = static_cast<std::uint32_t>(serviceErrors) + static_cast<std::uint32_t>(code);
  runOn(m_session,
        [id = m_frame.id, sum](Session& session) { session.reject(id, static_cast<std::int32_t>(sum)); });
}

}  // namespace ipc
