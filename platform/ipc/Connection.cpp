#include "platform/ipc/Connection.h"

#include <utility>

namespace ipc {

Connected Connection::connect(const char16_t* server, std::int32_t timeout) {
  drop();
  m_reader.clear();
  Deadline deadline(timeout);
  (void)deadline.left();  // the look-up of a name counts
  Connected result = connectTo(server, deadline, m_reader);
  m_stream = std::move(result.stream);
  m_frameLimit = result.frameLimit;
  m_forks = forkCount();
  return result;
}

void Connection::drop() {
  m_stream.reset();
  m_due = Due::Nothing;
  m_isCutShort = false;
}

bool Connection::isBroken(std::int32_t error) const {
  return error == connectionLost || error == protocolError || error == unknownVersion || error == badReply ||
         error == otherProcess || m_isCutShort || (m_stream && !m_stream->isWhole());
}

// One frame of the present exchange, and what it leaves due.
std::int32_t Connection::receive(Frame& frame, Deadline& deadline) {
  const std::int32_t error = receiveFrame(*m_stream, m_reader, frame, deadline);
  if (error != noError) return error;
  const FrameKind wanted = m_due == Due::Verdict ? FrameKind::Verdict : FrameKind::Reply;
  if (frame.kind == FrameKind::Verdict && frame.id == 0 && frame.code != noError) {
    m_isCutShort = true;  // it was the server's last word
    return frame.code < serviceErrors ? frame.code : protocolError;
  }
  if (frame.kind != wanted || frame.id != m_lastId) return protocolError;
  if (frame.kind == FrameKind::Reply && frame.code != noError) return protocolError;
  m_due = frame.isLast() || frame.code != noError ? Due::Nothing : Due::Replies;
  return noError;
}

// A server that still has replies to send does not read: they are taken before anything is sent.
std::int32_t Connection::finishEarlier(Deadline& deadline) {
  Frame unread;
  while (m_due != Due::Nothing) {
    const bool inReplies = m_due == Due::Replies;
    const std::int32_t error = deadline.left() != 0 ? receive(unread, deadline) : timedOut;
    // A verdict may come late. Of replies nobody can tell how many are still to come.
    if (error == timedOut && inReplies) m_isCutShort = true;
    if (error != noError) return error;
  }
  return noError;
}

std::int32_t Connection::request(std::int32_t number, std::int32_t value,
                                 std::span<const std::uint8_t> data) {
  // Whatever becomes of it: what is left of the request before belongs to nobody from here on.
  m_isAccepted = false;
  m_lastReplyRead = false;
  if (data.empty()) return emptyTelegram;
  if (data.size() + headerBytes > m_frameLimit) return telegramTooLarge;
  Deadline deadline(requestTimeout);
  if (const std::int32_t error = finishEarlier(deadline); error != noError) return error;
  if (++m_lastId == 0) m_lastId = 1;  // 0 stands for no request
  const Frame frame{FrameKind::Request, 0, m_lastId, number, service, value, data};
  std::int32_t error = m_stream->send(encodeHeader(frame), data, deadline);
  // A server that ends the connection may have said why.
  if (error != noError && error != connectionLost) return error;
  m_due = Due::Verdict;
  Frame verdict;
  error = receive(verdict, deadline);
  if (error == noError) error = verdict.code;
  m_isAccepted = error == noError;
  return error;
}

std::int32_t Connection::reply(Frame& frame) {
  if (!m_isAccepted || m_due != Due::Replies) return noReply;
  Deadline deadline(requestTimeout);
  const std::int32_t error = receive(frame, deadline);
  if (error == noError) m_lastReplyRead = m_due == Due::Nothing;
  // To who reads replies up to the last one, a list that stopped coming looks whole: what is asked next must
  // fail.
  if (error == timedOut) m_isCutShort = true;
  return error;
}

}  // namespace ipc
