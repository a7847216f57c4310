// Memory of long answers, from their making until their peers have taken them, shared out among the peers.
#pragma once

#include <atomic>
#include <cstddef>
#include <map>
#include <string>
#include <utility>

#include "platform/support/CriticalSection.h"
#include "service/Tree.h"

namespace service {

// A peer may hold no more than stays free for the others: half of the room where nobody else holds any, a
// third each where two grow alike, and there is always something left for who comes next. Any thread.
class AnswerRoom {
public:
  explicit AnswerRoom(std::size_t bytes) : m_free(bytes) {}

  // What is being made is refused from now on (1115).
  void Close() { m_isClosed = true; }

  // The memory of one answer, which goes back at its end. One thread at a time; the room must outlive it.
  class Share {
  public:
    // For a peer by the name that its connections are counted by.
    Share(AnswerRoom& room, std::string peer) : m_room(room), m_peer(std::move(peer)) {}
    ~Share() { Give(m_bytes); }
    Share(const Share&) = delete;
    Share& operator=(const Share&) = delete;

    // Before that much more is used: 1450 where there is no room for it.
    Code Take(std::size_t bytes);
    void Give(std::size_t bytes);
    // Whether the answer may go on at all.
    Code Check() const { return m_room.m_isClosed ? shuttingDown : accepted; }

  private:
    AnswerRoom& m_room;
    const std::string m_peer;
    std::size_t m_bytes = 0;
  };

private:
  std::atomic<bool> m_isClosed{false};
  CriticalSection m_lock;
  std::size_t m_free SPS_GUARDED_BY(m_lock);
  std::map<std::string, std::size_t> m_held SPS_GUARDED_BY(m_lock);  // by peer
};

}  // namespace service
