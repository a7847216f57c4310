#include <exception>
#include <utility>

#include "platform/ipc/Errors.h"
#include "platform/ipc/Session.h"
#include "platform/ipc/SessionExchange.h"

namespace ipc {

namespace {

constexpr std::size_t keptOutputCapacity = 64U << 10;  // of an output buffer between answers

}  // namespace

void Session::append(FrameKind kind, std::uint32_t requestId, std::int32_t code, bool last,
                     std::span<const std::uint8_t> payload) {
  Frame frame{kind, last ? flagLast : std::uint8_t{0}, requestId, code, 0, 0, payload};
  if (kind == FrameKind::Welcome) frame.value = static_cast<std::int32_t>(m_state->limits.frameBytes);
  const HeaderBytes header = encodeHeader(frame);
  m_output.insert(m_output.end(), header.begin(), header.end());
  m_output.insert(m_output.end(), payload.begin(), payload.end());
}

void Session::accept(std::uint32_t requestId, std::span<const std::uint8_t> reply) {
  if (!isCurrent(requestId)) return;
  if (!fitsFrame(reply.size())) return answer(requestId, serviceErrors + generalFailure);
  append(FrameKind::Verdict, requestId, noError, false);
  append(FrameKind::Reply, requestId, noError, true, reply);
  m_phase = Phase::Answering;
  flush();
}

void Session::answer(std::uint32_t requestId, std::int32_t code) {
  if (!isCurrent(requestId)) return;
  append(FrameKind::Verdict, requestId, code, true);
  m_phase = Phase::Answering;
  flush();
}

void Session::acceptEach(std::uint32_t requestId, Exchange::NextReply next) {
  if (!isCurrent(requestId)) return;
  m_next = std::move(next);
  const Pulled first = pull(m_held);
  if (first == Pulled::Failure) return answer(requestId, serviceErrors + generalFailure);
  m_hasHeld = first == Pulled::Reply;
  append(FrameKind::Verdict, requestId, noError, !m_hasHeld);
  m_phase = Phase::Answering;
  fill();
  flush();
}

Session::Pulled Session::pull(Bytes& reply) {
  reply.clear();
  Pulled result = Pulled::End;
  try {
    if (m_next && m_next(reply)) result = fitsFrame(reply.size()) ? Pulled::Reply : Pulled::Failure;
    if (result == Pulled::Failure) reportRefusal(*m_state, m_peer.address, "a reply is larger than a frame");
  } catch (const std::exception& error) {
    reportRefusal(*m_state, m_peer.address, error.what());
    result = Pulled::Failure;
  }
  if (result != Pulled::Reply) m_next = nullptr;
  return result;
}

// Makes replies ready as far as the bound goes.
void Session::fill() {
  while (m_hasHeld && m_output.size() < m_state->limits.outputBytes) {
    Bytes following;
    const Pulled pulled = pull(following);
    if (pulled == Pulled::Failure) return close();  // part of an answer must not pass for a whole one
    const bool more = pulled == Pulled::Reply;
    append(FrameKind::Reply, m_requestId, noError, !more, m_held);
    m_held = std::move(following);
    m_hasHeld = more;
  }
}

void Session::flush() {
  if (m_phase == Phase::Closed) return;
  m_written += m_transport.tryWrite(std::span(m_output).subspan(m_written));
  if (m_written == m_output.size() && !m_hasHeld) return answered();
  if (m_phase == Phase::Answering) arm(m_state->limits.frame);
  // Also where all has gone out: the other connections of this thread get their turn between two parts.
  m_transport.write(
      std::span<const std::uint8_t>(m_output).subspan(m_written),
      [self = shared_from_this()](std::error_code error, std::size_t) { self->onWritten(error); });
}

void Session::onWritten(std::error_code error) {
  if (m_phase == Phase::Closed) return;
  if (error) return close();
  m_written = m_output.size();
  if (!m_hasHeld) return answered();
  m_output.clear();
  m_written = 0;
  fill();
  flush();
}

void Session::answered() {
  m_output.clear();
  m_written = 0;
  if (m_output.capacity() > keptOutputCapacity) m_output.shrink_to_fit();
  if (m_phase == Phase::Leaving) return leave();
  if (m_armed) disarm();
  if (m_draining) return close();
  m_phase = Phase::Reading;
  if (!m_proceeding) proceedLater();
}

}  // namespace ipc
