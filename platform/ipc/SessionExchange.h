// The exchange that a session hands to a service.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "platform/ipc/Frame.h"
#include "platform/ipc/IpcServer.h"
#include "platform/ipc/Session.h"

namespace ipc {

// The service's code where it gave none.
inline constexpr std::int32_t generalFailure = 1;

inline bool fitsFrame(std::size_t payloadBytes) {
  return payloadBytes <= maxFrameBytes - headerBytes;
}

class SessionExchange : public Exchange {
public:
  SessionExchange(std::shared_ptr<Session> session, const Frame& frame)
      : m_session(std::move(session)), m_frame(frame) {}
  SessionExchange(const SessionExchange&) = delete;
  SessionExchange& operator=(const SessionExchange&) = delete;
  // A verdict that finds no memory to be handed over ends the process.
  // NOLINTNEXTLINE(bugprone-exception-escape)
  ~SessionExchange() override { reject(generalFailure); }

  const Peer& peer() const override { return m_session->peer(); }
  SessionId session() const override { return m_session->id(); }
  std::int32_t number() const override { return m_frame.code; }
  std::int32_t value() const override { return m_frame.value; }
  std::span<const std::uint8_t> data() const override { return m_frame.payload; }

  void accept() override;
  void accept(std::span<const std::uint8_t> reply) override;
  void accept(std::vector<Bytes> replies) override;
  void acceptEach(NextReply next) override;
  void reject(std::int32_t code) override;

private:
  template <class Task>
  static void perform(Session& session, Task& task);
  template <class Task>
  void run(Task&& task);
  bool takeTurn() { return !m_answered.exchange(true, std::memory_order_relaxed); }

  const std::shared_ptr<Session> m_session;
  const Frame m_frame;  // the payload stays in the session's reader
  std::atomic<bool> m_answered{false};
};

}  // namespace ipc
