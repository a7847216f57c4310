// The connection of a parameter client to the parameter service, and the telegrams that read and write
// parameters and carry the registry's text.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "platform/ipc/IpcClient.h"
#include "platform/support/CriticalSection.h"
#include "platform/support/Dfs.h"
#include "platform/support/UnicodeString.h"
#include "platform/support/api.h"

namespace telegram {
enum class Request : std::int32_t;
}  // namespace telegram

// One connection to a master, with who its owner is: machine, user and application.
//
// Telegrams give true where the service accepted them and, where one is read, the reply holds what was asked
// for. After false the optional err has
//   the service's own code, where it rejected the request: 11 no such parameter, 15 read-only, 16 another
//     type, or the number of the registry of the master;
//   a code of the connection (platform/ipc/Errors.h), where the request did not get there and back; a
//     telegram that does not fit its 8,192 bytes is such a case, and nothing of it is sent;
//   what it had before, where nothing was sent because Init never succeeded, or where a reply is missing
//     or incomplete.
// Nothing is retried, and a connection that was lost stays lost.
//
// Threads may share an object: its lock makes a request and all its replies one unit. Copying, assignment
// and the simple accessors take no lock, and neither do they wait for one: while an object is copied,
// assigned, assigned to or in Init, no other thread may use it.
class SPS_API SpSrvClnt : public CriticalSection, private IpcClient {
public:
  // Opens nothing.
  SpSrvClnt();
  // The copy has a connection of its own to the same server, where the source has one, and is not connected
  // where that can't be had: its telegrams fail then.
  SpSrvClnt(const SpSrvClnt& source);
  // As the copy; a connection that the target has is replaced only where the source has one.
  // NOLINTNEXTLINE(misc-unconventional-assign-operator): the interface says so
  const SpSrvClnt& operator=(const SpSrvClnt& source);
  ~SpSrvClnt() override;

  // Connects to a server by name (see IpcClient::Open) and finds out who this process is. False, with a
  // trace of why; the object then is of no use but for another Init.
  bool Init(const char16_t* server);

  // Whether the server that was reached is this machine. A server opened by a host name other than
  // localhost is not taken for it.
  bool IsSrvLocal() const;
  // Who Init found this process to be; empty before.
  UnicodeString GetCurApplication() const { return m_curApplication; }
  UnicodeString GetCurMachine() const { return m_curMachine; }
  UnicodeString GetUserLogged() const { return m_userLogged; }
  // Of the last request that failed, as the connection gave it: from 0x30000000 on it is a rejection. 0
  // before the first; a success leaves it.
  std::int32_t GetLastError() const { return m_lastError; }

  // Reads a parameter into the buffer, whose capacity is in bytes; the type letter must be the parameter's.
  // How long the value is shows in the value only; one that is longer than the capacity is a false, with
  // err as it was. The three names select an override value. noErrMsg tells the service which code not to
  // trace.
  bool GetSpSrvPar(const char16_t* topic, const char16_t* par, void* value, std::uint16_t letter,
                   std::uint32_t capacity, const char16_t* workstation, const char16_t* user,
                   const char16_t* prcInstance, std::uint32_t* err, std::int32_t noErrMsg);
  // Writes a parameter; the count is in bytes, for a text with its terminator.
  bool SetSpSrvPar(const char16_t* topic, const char16_t* par, const void* value, std::uint16_t letter,
                   std::uint32_t count, const char16_t* workstation, const char16_t* user,
                   const char16_t* prcInstance, std::uint32_t* err);

  // The master's version as a text; empty after false, which is traced. Sends also where Init never
  // succeeded, which fails.
  bool GetMasterVersion(UnicodeString& version);
  // Appends the registry text of the master's tree. A connection that ends between two pieces is not
  // noticed: true, with the text so far. The request waits up to five minutes, as does each piece.
  bool GetSpRegExport(UnicodeString& text, std::uint32_t* err);
  // Sends a registry text into the master's tree, up to five minutes for each piece. After false nothing of
  // it was applied, unless the answer to the last piece was lost or late: then all of it may have been.
  bool SetSpRegImport(const UnicodeString& text, std::uint32_t* err);

protected:
  // Finds machine, user and application. Only under the lock.
  bool InitSysInfo();

  // The frame of all telegrams, for this class and the one derived from it (SpSrvClntFrame.h).

  // Runs the body under the lock, or gives the result's null or false where there is no buffer.
  template <class Body>
  auto Guarded(Body body) -> decltype(body());
  // Only within Guarded: fills the empty container and sends it. A failure is kept and translated.
  template <class Fill>
  bool Send(telegram::Request request, std::uint32_t* err, Fill fill);
  // Only within Guarded: the next reply; null where there is none. Good until the next Receive or Send.
  const DfsBin* Receive();
  // A whole exchange, without a reply or with the one that read is given.
  template <class Fill>
  bool Exchange(telegram::Request request, std::uint32_t* err, Fill fill);
  template <class Fill, class Read>
  bool Exchange(telegram::Request request, std::uint32_t* err, Fill fill, Read read);

  // Appends who asks.
  void AddCaller(DfsBin& out) const;

private:
  bool NewBuffer();
  void TakeConnection(const SpSrvClnt& source);
  void StartTelegram();
  bool Post(telegram::Request request);
  bool Translate(std::uint32_t* err);

  // The lock guards these two, and the connection.
  DfsBin m_telegram;                                // the request, then each reply
  std::unique_ptr<std::uint8_t[]> m_requestBuffer;  // null until Init

  UnicodeString m_serverName;  // as Init was given it
  std::atomic<std::int32_t> m_lastError{0};
  UnicodeString m_curMachine;
  UnicodeString m_userLogged;
  UnicodeString m_curApplication;
  std::atomic<bool> m_hasBuffer{false};  // what may be asked without the lock
};
