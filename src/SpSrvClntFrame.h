// The one way that every telegram goes. Each telegram is its request number, what it adds to the empty
// container and what it reads from the reply.
#pragma once

#include "src/SpSrvClnt.h"
#include "src/telegrams.h"

template <class Body>
auto SpSrvClnt::Guarded(Body body) -> decltype(body()) {
  // Without a buffer nobody waits for the lock; only under it the buffer itself may be looked at.
  if (!m_hasBuffer) return {};
  const CCS hold(*this);
  if (!m_requestBuffer) return {};
  return body();
}

template <class Fill>
bool SpSrvClnt::Send(telegram::Request request, std::uint32_t* err, Fill fill) {
  StartTelegram();
  // What does not fit is remembered by the container, which then has no data to send.
  fill(m_telegram);
  return Post(request) || Translate(err);
}

template <class Fill>
bool SpSrvClnt::Exchange(telegram::Request request, std::uint32_t* err, Fill fill) {
  return Guarded([&] { return Send(request, err, fill); });
}

template <class Fill, class Read>
bool SpSrvClnt::Exchange(telegram::Request request, std::uint32_t* err, Fill fill, Read read) {
  return Guarded([&] {
    if (!Send(request, err, fill)) return false;
    const DfsBin* const reply = Receive();
    return reply && read(*reply);
  });
}
