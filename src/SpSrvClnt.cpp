#include "src/SpSrvClnt.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "platform/ipc/Errors.h"
#include "platform/support/AppName.h"
#include "platform/support/CallerNames.h"
#include "platform/support/Trace.h"
#include "src/SpSrvClntFrame.h"
#include "src/telegrams.h"

namespace {

using telegram::add;
using telegram::addLetter;
using telegram::get;
namespace key = telegram::key;

constexpr const char16_t* clientTag = u"SPC-SrvClnt";
constexpr const char16_t* clientSource = u"src\\SpSrvClnt";

constexpr const char16_t* thisMachine = u"127.0.0.1";
constexpr std::int32_t timeout = 10'000;           // milliseconds
constexpr std::int32_t transferTimeout = 300'000;  // milliseconds, for registry texts
constexpr std::uint32_t nameRoom = 2048;           // characters
constexpr std::int32_t firstPieceSize = 8193;      // bytes, as announced to the first raw reply

bool report(char16_t level, std::int32_t line, const char16_t* message) {
  _DbgSetLine(clientSource, line, level);
  _DbgOut(message);
  return false;
}

void traceName(std::int32_t line, const char16_t* format, const UnicodeString& name) {
  _DbgBackTraceSet(clientTag, clientSource, line, 2);
  _DbgBackTrace(format, name);
}

// Registry texts take longer than all else. The connection's own time-out is back whichever way it ends.
class LongerTimeout {
public:
  explicit LongerTimeout(IpcClient& connection)
      : m_connection(connection), m_former(connection.GetRequestTO()) {
    m_connection.SetRequestTO(transferTimeout);
  }
  ~LongerTimeout() { m_connection.SetRequestTO(m_former); }
  LongerTimeout(const LongerTimeout&) = delete;
  LongerTimeout& operator=(const LongerTimeout&) = delete;

private:
  IpcClient& m_connection;
  std::int32_t m_former;
};

// A piece may end with a terminator. A single last byte is no character.
void appendPiece(UnicodeString& text, const std::uint8_t* bytes, std::int32_t count) {
  UnicodeString piece;
  std::memcpy(piece.GetBufferSetLength(count / 2), bytes, static_cast<std::size_t>(count / 2) * 2);
  piece.ReleaseBuffer(-1);
  text += piece;
}

}  // namespace

SpSrvClnt::SpSrvClnt() : IpcClient(timeout, timeout, nullptr, nullptr) {}

SpSrvClnt::SpSrvClnt(const SpSrvClnt& source)
    : CriticalSection(source), IpcClient(timeout, timeout, nullptr, nullptr) {
  TakeConnection(source);
}

// NOLINTNEXTLINE(misc-unconventional-assign-operator): the interface says so
const SpSrvClnt& SpSrvClnt::operator=(const SpSrvClnt& source) {
  if (this != &source) TakeConnection(source);
  return *this;
}

SpSrvClnt::~SpSrvClnt() = default;

void SpSrvClnt::TakeConnection(const SpSrvClnt& source) {
  m_hasBuffer = false;
  m_requestBuffer.reset();
  StartTelegram();
  m_serverName = source.m_serverName;
  m_curMachine = source.m_curMachine;
  m_userLogged = source.m_userLogged;
  m_curApplication = source.m_curApplication;
  if (source.m_hasBuffer) NewBuffer();
  // What the connection does not take over from another, the service's number, is said again.
  if (source.IsOpen() && Open(m_serverName, conModeRequest)) SetService(telegram::serviceNumber);
  m_lastError = source.m_lastError.load();
}

bool SpSrvClnt::Init(const char16_t* server) {
  const CCS hold(*this);
  _DbgBackTraceSet(clientTag, clientSource, __LINE__, 1);
  _DbgBackTrace(u"SpSrvClnt::Init, server is '%s'", server);
  if (!Open(server, conModeRequest)) return report(u'E', __LINE__, u"Failed connecting to SP service!");
  if (!NewBuffer()) {
    report(u'E', __LINE__, u"Failed allocating memory for IPC request buffer!");
    Close();
    return false;
  }
  SetService(telegram::serviceNumber);
  m_serverName = server;
  return InitSysInfo() || report(u'E', __LINE__, u"Failed getting system information");
}

bool SpSrvClnt::InitSysInfo() {
  m_curApplication = AppGetSystemName();
  traceName(__LINE__, u"Application: %s", m_curApplication);

  const auto name = std::make_unique<char16_t[]>(nameRoom);
  std::uint32_t size = nameRoom;
  if (!GetComputerNameW(name.get(), &size)) {
    return report(u'E', __LINE__, u"Failed getting computer name!");
  }
  m_curMachine = name.get();
  traceName(__LINE__, u"Computer: %s", m_curMachine);

  size = nameRoom;
  if (!GetUserNameW(name.get(), &size)) {
    return report(u'E', __LINE__, u"Failed getting user currently logged onto the system!");
  }
  m_userLogged = name.get();
  traceName(__LINE__, u"User: %s", m_userLogged);
  return true;
}

bool SpSrvClnt::IsSrvLocal() const {
  return GetServerName().Compare(thisMachine) == 0;
}

// A new buffer in place of the present one, with the container bound to it. False without memory.
bool SpSrvClnt::NewBuffer() {
  m_requestBuffer.reset(new (std::nothrow) std::uint8_t[telegram::requestRoom]);
  m_hasBuffer = m_requestBuffer != nullptr;
  return m_telegram.AssignEmptyBuffer(m_requestBuffer.get(), telegram::requestRoom, false);
}

void SpSrvClnt::StartTelegram() {
  m_telegram.AssignEmptyBuffer(m_requestBuffer.get(), telegram::requestRoom, false);
}

bool SpSrvClnt::Post(telegram::Request request) {
  return Request(static_cast<std::int32_t>(request), 0, m_telegram.GetData(), m_telegram.GetDataSize());
}

const DfsBin* SpSrvClnt::Receive() {
  m_telegram.SetEmpty();
  return GetReply(m_telegram) ? &m_telegram : nullptr;
}

// The code of a rejection is told without the service's base; what a connection left that is gone, as it is.
bool SpSrvClnt::Translate(std::uint32_t* err) {
  const std::int32_t code = IpcBase::GetLastError();
  m_lastError = code;
  const bool isRejection = IsOpen() && code >= ipc::serviceErrors;
  if (err) *err = static_cast<std::uint32_t>(isRejection ? code - ipc::serviceErrors : code);
  return false;
}

void SpSrvClnt::AddCaller(DfsBin& out) const {
  add(out, key::user, m_userLogged);
  add(out, key::ws, m_curMachine);
}

bool SpSrvClnt::GetSpSrvPar(const char16_t* topic, const char16_t* par, void* value, std::uint16_t letter,
                            std::uint32_t capacity, const char16_t* workstation, const char16_t* user,
                            const char16_t* prcInstance, std::uint32_t* err, std::int32_t noErrMsg) {
  const auto fill = [&](DfsBin& out) {
    _DbgBackTraceSet(clientTag, clientSource, __LINE__, 1);
    _DbgBackTrace(
        u"GetSpSrvPar: Topic: _T('%s'), ParName: _T('%s'), WS: _T('%s'), User: _T('%s'), PrcInstanceName: "
        u"_T('%s')",
        topic, par, workstation, user, prcInstance);
    add(out, key::topic, topic);
    add(out, key::par, par);
    addLetter(out, letter);
    add(out, key::oWorkstat, workstation);
    add(out, key::oUser, user);
    add(out, key::oInstance, prcInstance);
    add(out, key::noErrMsg, noErrMsg);
  };
  const auto read = [&](const DfsBin& reply) {
    std::int32_t count = 0;
    return get(reply, key::binary, value, capacity, count);
  };
  return Exchange(telegram::Request::GetSpSrvPar, err, fill, read);
}

bool SpSrvClnt::SetSpSrvPar(const char16_t* topic, const char16_t* par, const void* value,
                            std::uint16_t letter, std::uint32_t count, const char16_t* workstation,
                            const char16_t* user, const char16_t* prcInstance, std::uint32_t* err) {
  return Exchange(telegram::Request::SetSpSrvPar, err, [&](DfsBin& out) {
    AddCaller(out);
    add(out, key::app, m_curApplication);
    add(out, key::topic, topic);
    add(out, key::par, par);
    add(out, key::oWorkstat, workstation);
    add(out, key::oUser, user);
    add(out, key::oInstance, prcInstance);
    addLetter(out, letter);
    add(out, key::binary, value, count);
  });
}

// Outside the frame: it makes its own buffer, and tells of failures by trace alone.
bool SpSrvClnt::GetMasterVersion(UnicodeString& version) {
  version.Empty();
  const CCS hold(*this);
  if (!m_requestBuffer) NewBuffer();
  StartTelegram();
  if (!Post(telegram::Request::GetMasterVersion)) {
    return report(u'W', __LINE__, u"Couldn't request version from master");
  }
  const DfsBin* const reply = Receive();
  if (!reply) return report(u'W', __LINE__, u"No reply to master version");
  UnicodeString found;
  if (!get(*reply, key::masterVersion, found)) {
    return report(u'W', __LINE__, u"Telegram doesn't contain master version");
  }
  version = std::move(found);
  return true;
}

bool SpSrvClnt::GetSpRegExport(UnicodeString& text, std::uint32_t* err) {
  return Guarded([&] {
    const LongerTimeout longer(*this);
    if (!Send(telegram::Request::GetSpRegExport, err, [](DfsBin&) {})) return false;
    const std::uint8_t* piece = nullptr;
    std::int32_t size = firstPieceSize;
    while (GetReply(piece, size) && piece && size > 0) {
      appendPiece(text, piece, size);
      if (IsSingleReply()) break;
    }
    return true;
  });
}

bool SpSrvClnt::SetSpRegImport(const UnicodeString& text, std::uint32_t* err) {
  return Guarded([&] {
    const LongerTimeout longer(*this);
    telegram::Request request = telegram::Request::ImportFirstPiece;
    std::int32_t position = 0;
    std::int32_t remaining = text.GetLength();
    for (;;) {
      const std::int32_t length = std::min(telegram::importPiece, remaining);
      const bool sent = Send(request, err, [&](DfsBin& out) {
        if (request == telegram::Request::ImportFirstPiece) add(out, key::size, text.GetLength());
        add(out, key::data, text.Mid(position, length));
      });
      if (!sent) return false;
      if (request == telegram::Request::ImportEnd) return true;
      position += length;
      remaining -= length;
      request = remaining == 0 ? telegram::Request::ImportEnd : telegram::Request::ImportFurtherPiece;
    }
  });
}
