#include "platform/ipc/IpcClient.h"

#include <span>
#include <string>

#include "platform/ipc/Connection.h"
#include "platform/ipc/Errors.h"
#include "platform/ipc/Frame.h"
#include "platform/support/Trace.h"

namespace {

const char16_t* findText(const IpcErrDescrT* table, std::int32_t code) {
  for (; table != nullptr && table->text != nullptr; ++table) {
    if (table->code == code) return table->text;
  }
  return nullptr;
}

void traceFailure(const char16_t* server, const char16_t* text, const std::string& detail) {
  _DbgSetLine(u"platform\\ipc", __LINE__, u'W');
  _DbgOut(u"Connecting to '%s' failed: %s%s%s", UnicodeString(server), text, detail.empty() ? u"" : u": ",
          UnicodeString(detail.c_str()));
}

}  // namespace

IpcClient::IpcClient(std::int32_t openTimeout, std::int32_t requestTimeout, const IpcErrDescrT* ipcErrors,
                     const IpcErrDescrT* serviceErrors)
    : m_connection(std::make_unique<ipc::Connection>()),
      m_openTimeout(openTimeout),
      m_ipcErrors(ipcErrors),
      m_serviceErrors(serviceErrors) {
  m_connection->requestTimeout = requestTimeout;
}

IpcClient::~IpcClient() = default;

void IpcClient::NotifyOpen() {}
void IpcClient::NotifyClose() {}
void IpcClient::ThrowException(DfsBin& /*details*/) {}

bool IpcClient::Open(const char16_t* server, ConModeE mode) {
  end();
  ipc::Connected result;
  result.error = ipc::badMode;
  if (mode == conModeRequest) result = m_connection->connect(server, m_openTimeout);
  if (result.error == ipc::noError) {
    m_serverName = UnicodeString(result.serverName.c_str());
    NotifyOpen();
    return true;
  }
  const char16_t* own =
      findText(result.error < ipc::serviceErrors ? m_ipcErrors : m_serviceErrors, result.error);
  traceFailure(server, own != nullptr ? own : ipc::errorText(result.error), result.detail);
  return fail(result.error);
}

bool IpcClient::Close() {
  return end() || fail(ipc::notOpen);
}

// False where there was no connection to end.
bool IpcClient::end() {
  if (!m_connection->isThere()) return false;
  m_connection->drop();
  NotifyClose();
  return true;
}

bool IpcClient::IsOpen() const {
  return m_connection->isOpen();
}

std::int32_t IpcClient::SetService(std::int32_t service) {
  m_connection->service = service;
  return m_connection->check();
}

UnicodeString IpcClient::GetServerName() const {
  return m_serverName;
}

// Keeps the code of what failed, and ends the connection where it can't go on.
bool IpcClient::settle(std::int32_t code) {
  if (m_connection->isBroken(code)) end();
  return fail(code);
}

bool IpcClient::Request(std::int32_t number, std::int32_t value, const void* data, std::int32_t size) {
  if (const std::int32_t error = m_connection->check(); error != ipc::noError) return settle(error);
  const bool isEmpty = data == nullptr || size < 1;
  const std::int32_t error = m_connection->request(
      number, value, {static_cast<const std::uint8_t*>(data), isEmpty ? 0 : static_cast<std::size_t>(size)});
  return error == ipc::noError || settle(error);
}

bool IpcClient::GetReply(const std::uint8_t*& data, std::int32_t& size) {
  data = nullptr;
  size = 0;
  if (const std::int32_t error = m_connection->check(); error != ipc::noError) return settle(error);
  ipc::Frame frame;
  if (const std::int32_t error = m_connection->reply(frame); error != ipc::noError) return settle(error);
  data = frame.payload.data();
  size = static_cast<std::int32_t>(frame.payload.size());
  return true;
}

bool IpcClient::GetReply(Dfs& reply) {
  const std::uint8_t* data = nullptr;
  std::int32_t size = 0;
  if (!GetReply(data, size)) return false;
  return reply.Assign(data, static_cast<std::size_t>(size)) || settle(ipc::badReply);
}

bool IpcClient::IsSingleReply() const {
  return m_connection->isLastReplyRead();
}

std::int32_t IpcClient::GetRequestTO() const {
  return m_connection->requestTimeout;
}

void IpcClient::SetRequestTO(std::int32_t timeout) {
  m_connection->requestTimeout = timeout;
}
