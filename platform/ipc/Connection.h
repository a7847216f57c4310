// The client's connection and where its exchange stands.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "platform/ipc/Connector.h"
#include "platform/ipc/Deadline.h"
#include "platform/ipc/Errors.h"
#include "platform/ipc/Fork.h"
#include "platform/ipc/Frame.h"
#include "platform/ipc/Stream.h"

namespace ipc {

// Operations give noError or what went wrong, as Errors.h has it. One object belongs to one thread at a time.
class Connection {
public:
  // Ends what was before, in any case.
  Connected connect(const char16_t* server, std::int32_t timeout);
  void drop();

  bool isThere() const { return m_stream != nullptr; }
  // Whether the connection stands, as far as this machine has heard.
  bool isOpen() const { return m_stream && isOurs() && m_stream->socket().isConnected(); }
  // Whether the present exchange can go on; the state of the connection itself shows when it is used.
  std::int32_t check() const {
    if (!m_stream) return notOpen;
    return isOurs() ? noError : otherProcess;
  }
  // Whether nobody could know any more, after an operation's error, what the next bytes are.
  bool isBroken(std::int32_t error) const;

  // Sends a request and waits for its verdict, whose code is the result where nothing else went wrong. An
  // empty one, or one that no frame holds, is not sent.
  std::int32_t request(std::int32_t number, std::int32_t value, std::span<const std::uint8_t> data);
  // The next reply of the request made last; noReply where that one was not accepted. The payload is valid
  // until the next operation.
  std::int32_t reply(Frame& frame);
  // Whether the reply read last was the last one of its request.
  bool isLastReplyRead() const { return m_lastReplyRead; }

  std::int32_t service = 0;
  std::int32_t requestTimeout = 0;  // milliseconds

private:
  // What the server still has to send for the exchange.
  enum class Due : std::uint8_t { Nothing, Verdict, Replies };

  bool isOurs() const { return m_forks == forkCount(); }
  std::int32_t receive(Frame& frame, Deadline& deadline);
  std::int32_t finishEarlier(Deadline& deadline);

  std::unique_ptr<Stream> m_stream;
  FrameReader m_reader{maxFrameBytes, 16U << 10};
  std::uint32_t m_forks = 0;  // of the process that connected
  std::uint32_t m_frameLimit = maxFrameBytes;
  std::uint32_t m_lastId = 0;
  Due m_due = Due::Nothing;
  bool m_isAccepted = false;  // the request made last, so that replies which are due are its own
  bool m_lastReplyRead = false;
  bool m_isCutShort = false;  // a reply did not come in time
};

}  // namespace ipc
