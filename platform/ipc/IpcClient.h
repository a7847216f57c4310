// The client's end of a connection to a service: requests, verdicts, replies.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/ipc/IpcBase.h"
#include "platform/support/Dfs.h"
#include "platform/support/UnicodeString.h"
#include "platform/support/api.h"

namespace ipc {
class Connection;
}

// A caller's own text for a failure. A table of them ends with an entry whose text is null.
struct IpcErrDescrT {
  std::int32_t code;
  const char16_t* text;
};

// How a connection is used: one request at a time, each with its verdict, is the only way there is.
enum ConModeE : std::int32_t { conModeRequest = 1 };

// One connection to one server. In the order of use: Open, SetService, then any number of exchanges, each
// one Request and as many GetReply as the caller wants; replies left unread are dropped by the next
// Request.
//
// Results are booleans; after false GetLastError says why. Nothing throws but for want of memory, no
// signal is raised or needed, and no operation but the look-up of a host's name takes longer than its
// time-out. There is no reconnecting: a connection that was lost stays lost until the next Open. The
// child of a fork has no part in its parent's connection: there, it is not open. It keeps the descriptor, so
// that the server hears of an end when both have closed it.
//
// One object belongs to one thread at a time. Names given to Open are described in docs/protocol.md,
// as are the environment variables SYSPARSERVICE, SPS_TLS_CERT, SPS_TLS_KEY and SPS_TLS_CA.
class SPS_API IpcClient : public IpcBase {
public:
  // Time-outs in milliseconds: of Open, all its steps together, and of requests until SetRequestTO. Below
  // 1 means without limit. The tables (may be null, not owned, must outlive the object) give texts for the
  // traces of failed Opens that go before those of Errors.h: the first for the codes of ipc::Error, the
  // second for what services answer.
  IpcClient(std::int32_t openTimeout, std::int32_t requestTimeout, const IpcErrDescrT* ipcErrors,
            const IpcErrDescrT* serviceErrors);
  IpcClient(const IpcClient&) = delete;
  IpcClient& operator=(const IpcClient&) = delete;
  // Closes. NotifyClose is not called.
  virtual ~IpcClient();

  // Called at the end of an Open that succeeded, and where an open connection ended: by Close, by the
  // next Open, or by a loss that an operation met.
  virtual void NotifyOpen();
  virtual void NotifyClose();
  // A slot for clients that turn failures into exceptions. No operation of this class calls it.
  virtual void ThrowException(DfsBin& details);

  // Connects to the server of that name: "SYSPARSERVICE", a host, or an endpoint such as
  // "unix:/run/sps/master.sock", "tls://host:port", "tcp://127.0.0.1:port". True once the server has
  // greeted: it has accepted our certificate by then. A connection that was open is closed first in any
  // case. Every failure is traced with its reason, level W.
  bool Open(const char16_t* server, ConModeE mode);
  // Ends the connection. False where none was open.
  bool Close();
  // Whether the connection stands, as far as this machine has heard. Replies that came before a loss can
  // still be read.
  bool IsOpen() const;

  // Selects the service that later requests are for; it is kept over a further Open. Asks nothing of the
  // server: a number that it does not know fails the request. The result is 0, ipc::notOpen or, in the child
  // of a fork, ipc::otherProcess.
  std::int32_t SetService(std::int32_t service);

  // The server that the connection reached: "127.0.0.1" where a logical or local name led to this
  // machine, else the host as named. Stays after a loss; empty before the first Open that succeeded.
  UnicodeString GetServerName() const;

  // Sends the data (bytes) as request of that number and waits for the service's verdict. The data may
  // be changed as soon as it returns. False without sending anything where data is null or size below 1.
  bool Request(std::int32_t number, std::int32_t value, const void* data, std::int32_t size);

  // Delivers the next reply of the last request; waits for it, up to the request time-out. False where
  // there is none left or none comes, and behind a request that failed, whatever it failed of. A reply that
  // is due and does not come in time ends the connection, and so does one that is no container where one is
  // asked for: replies cut short must not pass for all of them. The container reads from memory of this
  // object: both forms' results are valid until the next Request, GetReply, Open or Close.
  bool GetReply(Dfs& reply);
  // The raw form. The size goes out as the reply's bytes; what goes in does not matter: a reply is
  // delivered whole whatever its size. On false the data is null and the size 0.
  bool GetReply(const std::uint8_t*& data, std::int32_t& size);
  // After a reply was read: whether it was the last one of its request.
  bool IsSingleReply() const;

  // The time that a request, and each wait for a reply, may take; milliseconds, below 1 without limit.
  std::int32_t GetRequestTO() const;
  void SetRequestTO(std::int32_t timeout);

private:
  bool end();
  bool settle(std::int32_t code);

  const std::unique_ptr<ipc::Connection> m_connection;
  const std::int32_t m_openTimeout;  // milliseconds
  const IpcErrDescrT* const m_ipcErrors;
  const IpcErrDescrT* const m_serviceErrors;
  UnicodeString m_serverName;
};
