// The server's end: connections with proven peers, and services that their requests are handed to.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/ipc/TlsFiles.h"

namespace ipc {

// Who is at the other end. Only what the transport proved, never what a telegram claims.
struct Peer {
  enum class Kind : std::uint8_t {
    Unix,     // a process of this machine, known by its user
    Tls,      // the holder of a certificate that one of our authorities signed
    Loopback  // some process of this machine, nothing else known
  };
  Kind kind = Kind::Loopback;
  std::uint32_t uid = 0xFFFFFFFF;  // Unix only, as all ids
  std::uint32_t gid = 0xFFFFFFFF;
  std::vector<std::uint32_t> groups;  // supplementary
  std::string name;     // Unix: the user's name, empty if there is none; Tls: the certificate's first subject
                        // alternative name that is a DNS name, a mail address or a URI
  std::string address;  // for people: "unix", "192.0.2.7:41234", "[2001:db8::7]:41234"
};

// The name under which a peer's connections are counted: the same for all of a Unix user, of a certificate's
// name, of the loopback.
std::string userKey(const Peer& peer);

// One connection; numbers are never used twice in the life of a process.
using SessionId = std::uint64_t;

using Bytes = std::vector<std::uint8_t>;

// One request on its way to its answer. It may be kept and answered later, from any thread, by exactly
// one of accept, acceptEach and reject; further answers go nowhere, and so does everything once the
// connection is gone. One that is let go without an answer is rejected with code 1.
// A connection's next request is not looked at before this one is answered.
class Exchange {
public:
  Exchange() = default;
  Exchange(const Exchange&) = delete;
  Exchange& operator=(const Exchange&) = delete;
  virtual ~Exchange() = default;

  // All of this is constant; it is valid as long as the exchange lives, the data until it is answered.
  virtual const Peer& peer() const = 0;
  virtual SessionId session() const = 0;
  virtual std::int32_t number() const = 0;
  virtual std::int32_t value() const = 0;  // the second value of the request
  virtual std::span<const std::uint8_t> data() const = 0;

  // Fills with the next reply and gives true, or gives false when there is none left. Runs on the
  // connection's I/O thread, never at the same time twice, as the peer takes what came before; it must
  // not wait for anything, and is destroyed when it has given false or the connection is gone.
  using NextReply = std::function<bool(Bytes&)>;

  // The verdict "done", alone or with replies. A reply that no frame can hold ends the connection, or
  // becomes code 1 where it is the first.
  virtual void accept() = 0;
  virtual void accept(std::span<const std::uint8_t> reply) = 0;  // one reply; copied, the fastest way
  virtual void accept(std::vector<Bytes> replies) = 0;
  virtual void acceptEach(NextReply next) = 0;
  // The client's GetLastError becomes ipc::serviceErrors + code.
  virtual void reject(std::int32_t code) = 0;
};

// While one is alive, the answers that its thread gives are kept, and go to the connections' threads together
// at its end: each of those is woken once, not for every answer. One at a time in a thread.
class JointAnswers {
public:
  JointAnswers();
  ~JointAnswers();
  JointAnswers(const JointAnswers&) = delete;
  JointAnswers& operator=(const JointAnswers&) = delete;

  struct Kept;  // inner

private:
  std::unique_ptr<Kept> m_kept;
};

// What a service must do. Calls come from the I/O threads, several at a time.
class Service {
public:
  Service() = default;
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;
  virtual ~Service() = default;

  // A request. What takes long belongs on another thread: other connections wait for the return. An
  // exception is a rejection with code 1, and is traced.
  virtual void serve(std::shared_ptr<Exchange> exchange) = 0;
  // The connection is gone. Once for each session that sent this service a request, after the last serve
  // of it, though one of its exchanges may still be alive.
  virtual void ended(SessionId session);
};

// What a server allows.
struct Limits {
  std::uint32_t frameBytes = 1U << 20;  // length of a frame, header included; at most 1 MiB
  // A frame's rest must follow its first byte in this time, and a peer must take output in it.
  std::chrono::milliseconds frame{10'000};
  std::chrono::milliseconds handshake{5'000};  // from the connection to the end of the greeting
  std::chrono::milliseconds drain{5'000};      // for open exchanges at stop
  // TLS connections before the end of their handshake, loopback ones before their hello; a further one takes
  // the place of the oldest.
  std::uint32_t unauthenticated = 64;
  std::uint32_t perUser = 256;             // a Unix user, a certificate name, the loopback
  std::uint32_t connections = 2'048;       // in all
  std::uint32_t outputBytes = 256U << 10;  // of replies made ready ahead of what the peer has taken
};

struct Load {
  std::size_t connections = 0;
  std::size_t unauthenticated = 0;
  std::uint64_t accepted = 0;  // connections since start
  std::uint64_t refused = 0;   // of them, by a limit, a handshake or a malformed frame
  std::uint64_t requests = 0;
};

// A server that can't do what is asked of it; the text says what and why.
class ServerError : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

// In the order of use: addService, useTls, listen or adopt, start, stop. One thread calls these, and useTls
// again while the server runs where files were renewed; load may be called by any. Connections are spread
// over the I/O threads and stay where they are. What a refused connection did wrong is traced, level W.
class IpcServer {
public:
  IpcServer(const Limits& limits, unsigned threads);
  // Stops.
  ~IpcServer();
  IpcServer(const IpcServer&) = delete;
  IpcServer& operator=(const IpcServer&) = delete;

  // Requests for that service number go to the service, which must outlive the server.
  void addService(std::int32_t number, Service& service);

  // For tls:// endpoints and adopted TCP sockets. A further call replaces the files for connections to come.
  // Throws ServerError, and leaves those before in force.
  void useTls(const TlsFiles& files);

  // Binds an endpoint: "unix:/path" (a stale socket file is replaced, one in use is not),
  // "tls://host:port", "tcp://127.0.0.1:port" (loopback only). Port 0 is any free one. The mode is that of
  // the socket file. Throws ServerError.
  void listen(const std::string& endpoint, std::uint32_t mode = 0666);
  // Takes over a listening socket: a Unix one, or a TCP one for TLS. Owned from here on, whatever happens.
  // Throws ServerError.
  void adopt(int descriptor);
  // Sockets that the service manager has handed to this process (LISTEN_PID, LISTEN_FDS), for adopt. The
  // variables are removed, so that a child does not take them for its own.
  static std::vector<int> inheritedSockets();

  // As bound, with the real ports, in the order of listen and adopt.
  std::vector<std::string> endpoints() const;

  // Starts the I/O threads. Signals stay with the threads that there were before. Throws ServerError.
  void start();
  // Closes the listeners, then the idle connections; open exchanges may end, for Limits::drain. No call to
  // a service comes after the return. A second stop does nothing; there is no second start.
  void stop();

  Load load() const;

private:
  class Impl;
  std::unique_ptr<Impl> m_impl;
};

}  // namespace ipc
