// One connection of the server, from its acceptance to its end.
#pragma once

#include <asio/basic_waitable_timer.hpp>
#include <chrono>
#include <cstdint>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "platform/ipc/Endpoint.h"
#include "platform/ipc/Frame.h"
#include "platform/ipc/IpcServer.h"
#include "platform/ipc/ServerState.h"
#include "platform/ipc/Transport.h"
#include "platform/ipc/Worker.h"

namespace ipc {

// Everything runs on the worker's thread, but what says otherwise. Nothing is read while an exchange is
// open: a peer that sends on has to wait, and the request's bytes stay where they are.
class Session : public std::enable_shared_from_this<Session> {
public:
  // On any thread; the socket must belong to the worker's context.
  Session(std::shared_ptr<ServerState> state, std::shared_ptr<Worker> worker, IoSocket socket,
          Endpoint::Kind kind);

  // Says why it is not started, where that can be said at once.
  void turnAway(std::int32_t code);
  void start();
  void close();
  // Closes at once where no exchange is open, else behind its answer.
  void drain();
  // Ends the connection at once; what says why, for the log.
  void fail(const char* what);

  // On any thread.
  SessionId id() const { return m_id; }
  const Peer& peer() const { return m_peer; }  // constant once a request was handed on
  Worker& worker() { return *m_worker; }

  // The answers to the request of that number.
  void accept(std::uint32_t requestId, std::span<const std::uint8_t> reply);
  void acceptEach(std::uint32_t requestId, Exchange::NextReply next);
  void answer(std::uint32_t requestId, std::int32_t code);  // the verdict alone: 0, or the client's error

private:
  enum class Phase : std::uint8_t {
    Greeting,   // up to the welcome, handshake included
    Reading,    // waits for a request
    Serving,    // an exchange is open
    Answering,  // its answer is going out
    Leaving,    // said why it ends, lets the peer read that
    Closed
  };
  enum class Pulled : std::uint8_t { Reply, End, Failure };
  using Timer = asio::basic_waitable_timer<std::chrono::steady_clock,
                                           asio::wait_traits<std::chrono::steady_clock>, IoExecutor>;

  // Coming in: Session.cpp.
  void shakeHands();
  void prove();
  void read();
  void onRead(std::error_code error, std::size_t count);
  void proceed();
  void proceedLater();
  void wait(bool partial);
  void takeFrames();
  void handle(const Frame& frame);
  void greet(const Frame& frame);
  void serve(const Frame& frame);
  void refuse(std::int32_t code, const std::string& reason);
  void leave();
  void discard();
  void arm(std::chrono::milliseconds limit);
  void disarm();
  void timeUp();
  void tellEnd(Service& service) const;

  // Going out: SessionOutput.cpp.
  void append(FrameKind kind, std::uint32_t requestId, std::int32_t code, bool last,
              std::span<const std::uint8_t> payload = {});
  bool isCurrent(std::uint32_t requestId) const {
    return m_phase == Phase::Serving && requestId == m_requestId;
  }
  Pulled pull(Bytes& reply);
  void fill();
  void flush();
  void onWritten(std::error_code error);
  void answered();

  const std::shared_ptr<ServerState> m_state;
  const std::shared_ptr<Worker> m_worker;  // before what belongs to its context
  const SessionId m_id;
  const Endpoint::Kind m_kind;
  Transport m_transport;
  Timer m_timer;
  std::uint64_t m_timerUse = 0;
  bool m_armed = false;
  Peer m_peer;
  Phase m_phase = Phase::Greeting;
  bool m_proceeding = false;  // proceed is on the stack
  bool m_draining = false;
  FrameReader m_reader;
  std::uint32_t m_requestId = 0;
  std::set<Service*> m_used;

  std::vector<std::uint8_t> m_output;  // frames on their way, from m_written on
  std::size_t m_written = 0;
  Exchange::NextReply m_next;  // the rest of an answer
  Bytes m_held;                // its next reply, kept back until it is known whether it is the last
  bool m_hasHeld = false;
};

}  // namespace ipc
