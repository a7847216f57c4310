#include "platform/ipc/IpcClient.h"

#include <span>
#include <string>
#include <utility>

#include "platform/ipc/Connector.h"
#include "platform/ipc/Deadline.h"
#include "platform/ipc/Errors.h"
#include "platform/ipc/Fork.h"
#include "platform/ipc/Frame.h"
#include "platform/ipc/Stream.h"
#include "platform/support/Trace.h"
#include "platform/support/Utf.h"

namespace {

using ipc::Deadline;
using ipc::Frame;
using ipc::FrameKind;

constexpr std::size_t startCapacity = 16U << 10;  // bytes received at once

const char16_t* findText(const IpcErrDescrT* table, std::int32_t code) {
  for (; table != nullptr && table->text != nullptr; ++table) {
    if (table->code == code) return table->text;
  }
  return nullptr;
}

}  // namespace

// The connection and where its exchange stands. What is due from the server: nothing, the verdict, or
// replies.
class IpcClient::Impl {
public:
  enum class Due : std::uint8_t { Nothing, Verdict, Replies };

  Impl(std::int32_t open, std::int32_t request, const IpcErrDescrT* ipcTexts,
       const IpcErrDescrT* serviceTexts)
      : openTimeout(open), requestTimeout(request), ipcErrors(ipcTexts), serviceErrors(serviceTexts) {}

  bool isOpen() const { return stream && forks == ipc::forkCount() && stream->socket().isConnected(); }
  // Whether there is a connection to use; its state shows when it is used.
  std::int32_t check() const {
    if (!stream) return ipc::notOpen;
    return forks == ipc::forkCount() ? ipc::noError : ipc::otherProcess;
  }
  void drop() {
    stream.reset();
    due = Due::Nothing;
  }
  // Received so far may be read after a loss, so the reader is emptied by the next connection only.
  ipc::Connected connect(const char16_t* server) {
    reader.clear();
    Deadline deadline(openTimeout);
    ipc::Connected result = ipc::connectTo(server, deadline, reader);
    stream = std::move(result.stream);
    forks = ipc::forkCount();
    return result;
  }

  std::int32_t exchange(std::int32_t number, std::int32_t value, std::span<const std::uint8_t> data);
  std::int32_t nextReply(Frame& frame);

  const std::int32_t openTimeout;
  std::int32_t requestTimeout;
  const IpcErrDescrT* const ipcErrors;
  const IpcErrDescrT* const serviceErrors;
  std::unique_ptr<ipc::Stream> stream;
  ipc::FrameReader reader{ipc::maxFrameBytes, startCapacity};
  std::uint32_t forks = 0;
  std::uint32_t frameLimit = ipc::maxFrameBytes;
  UnicodeString serverName;
  std::int32_t service = 0;
  std::uint32_t lastId = 0;
  Due due = Due::Nothing;
  bool lastReplyRead = false;

private:
  std::int32_t receive(Frame& frame, Deadline& deadline);
  std::int32_t finishEarlier(Deadline& deadline);
};

// One frame of the present exchange, and what it leaves due.
std::int32_t IpcClient::Impl::receive(Frame& frame, Deadline& deadline) {
  const std::int32_t error = ipc::receiveFrame(*stream, reader, frame, deadline);
  if (error != ipc::noError) return error;
  const FrameKind wanted = due == Due::Verdict ? FrameKind::Verdict : FrameKind::Reply;
  if (frame.kind != wanted || frame.id != lastId) return ipc::protocolError;
  due = frame.isLast() || frame.code != 0 ? Due::Nothing : Due::Replies;
  return ipc::noError;
}

// A server that still has replies to send does not read: they are taken before anything is sent.
std::int32_t IpcClient::Impl::finishEarlier(Deadline& deadline) {
  Frame unread;
  while (due != Due::Nothing) {
    if (const std::int32_t error = receive(unread, deadline); error != ipc::noError) return error;
  }
  return ipc::noError;
}

std::int32_t IpcClient::Impl::exchange(std::int32_t number, std::int32_t value,
                                       std::span<const std::uint8_t> data) {
  Deadline deadline(requestTimeout);
  lastReplyRead = false;
  if (const std::int32_t error = finishEarlier(deadline); error != ipc::noError) return error;
  const Frame request{FrameKind::Request, 0, ++lastId, number, service, value, data};
  std::int32_t error = stream->send(ipc::encodeHeader(request), data, deadline);
  // A server that ends may have said so before it closed.
  if (error != ipc::noError && error != ipc::connectionLost) return error;
  due = Due::Verdict;
  Frame verdict;
  error = receive(verdict, deadline);
  return error != ipc::noError ? error : verdict.code;
}

std::int32_t IpcClient::Impl::nextReply(Frame& frame) {
  if (due != Due::Replies) return ipc::noReply;
  Deadline deadline(requestTimeout);
  const std::int32_t error = receive(frame, deadline);
  if (error == ipc::noError) lastReplyRead = due == Due::Nothing;
  return error;
}

IpcClient::IpcClient(std::int32_t openTimeout, std::int32_t requestTimeout, const IpcErrDescrT* ipcErrors,
                     const IpcErrDescrT* serviceErrors)
    : m_impl(std::make_unique<Impl>(openTimeout, requestTimeout, ipcErrors, serviceErrors)) {}

IpcClient::~IpcClient() = default;

void IpcClient::NotifyOpen() {}
void IpcClient::NotifyClose() {}
void IpcClient::ThrowException(DfsBin& /*details*/) {}

bool IpcClient::Open(const char16_t* server, ConModeE mode) {
  Close();
  ipc::Connected result;
  result.error = ipc::badMode;
  if (mode == conModeRequest) result = m_impl->connect(server);
  if (result.error != ipc::noError) {
    traceFailure(server, result.error, result.detail);
    return fail(result.error);
  }
  m_impl->serverName = UnicodeString(result.serverName.c_str());
  m_impl->frameLimit = result.frameLimit;
  NotifyOpen();
  return true;
}

void IpcClient::traceFailure(const char16_t* server, std::int32_t error, const std::string& detail) const {
  const char16_t* text =
      findText(error < ipc::serviceErrors ? m_impl->ipcErrors : m_impl->serviceErrors, error);
  _DbgSetLine(u"platform\\ipc", __LINE__, u'W');
  _DbgOut(u"Connecting to '%s' failed: %s%s%s", UnicodeString(server),
          text != nullptr ? text : ipc::errorText(error), detail.empty() ? u"" : u": ",
          UnicodeString(detail.c_str()));
}

bool IpcClient::Close() {
  if (!m_impl->stream) return fail(ipc::notOpen);
  m_impl->drop();
  NotifyClose();
  return true;
}

bool IpcClient::IsOpen() const {
  return m_impl->isOpen();
}

std::int32_t IpcClient::SetService(std::int32_t service) {
  m_impl->service = service;
  return m_impl->isOpen() ? ipc::noError : ipc::notOpen;
}

UnicodeString IpcClient::GetServerName() const {
  return m_impl->serverName;
}

// Keeps the code of what ended in false, and ends the connection where nobody could know any more what its
// next bytes are.
bool IpcClient::settle(std::int32_t code) {
  const bool over = code == ipc::connectionLost || code == ipc::protocolError ||
                    code == ipc::unknownVersion || code == ipc::otherProcess ||
                    (m_impl->stream && !m_impl->stream->isWhole());
  if (over) {
    m_impl->drop();
    NotifyClose();
  }
  return fail(code);
}

bool IpcClient::Request(std::int32_t number, std::int32_t value, const void* data, std::int32_t size) {
  if (const std::int32_t error = m_impl->check(); error != ipc::noError) return settle(error);
  if (data == nullptr || size < 1) return fail(ipc::emptyTelegram);
  if (static_cast<std::uint32_t>(size) > m_impl->frameLimit - ipc::headerBytes)
    return fail(ipc::telegramTooLarge);
  const std::int32_t error = m_impl->exchange(
      number, value, {static_cast<const std::uint8_t*>(data), static_cast<std::size_t>(size)});
  return error == ipc::noError || settle(error);
}

bool IpcClient::GetReply(const std::uint8_t*& data, std::int32_t& size) {
  data = nullptr;
  size = 0;
  if (const std::int32_t error = m_impl->check(); error != ipc::noError) return settle(error);
  Frame frame;
  if (const std::int32_t error = m_impl->nextReply(frame); error != ipc::noError) return settle(error);
  data = frame.payload.data();
  size = static_cast<std::int32_t>(frame.payload.size());
  return true;
}

bool IpcClient::GetReply(Dfs& reply) {
  const std::uint8_t* data = nullptr;
  std::int32_t size = 0;
  if (!GetReply(data, size)) return false;
  return reply.Assign(data, static_cast<std::size_t>(size)) || fail(ipc::badReply);
}

bool IpcClient::IsSingleReply() const {
  return m_impl->lastReplyRead;
}

std::int32_t IpcClient::GetRequestTO() const {
  return m_impl->requestTimeout;
}

void IpcClient::SetRequestTO(std::int32_t timeout) {
  m_impl->requestTimeout = timeout;
}
