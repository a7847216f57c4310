// How many refusals of a peer have lines of their own in the trail.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "platform/ipc/IpcServer.h"
#include "platform/support/CriticalSection.h"
#include "service/Tree.h"

namespace service {

// Who may change nothing shall not fill the disk with what he tries: of what is refused before it comes to
// the tree, a peer has so many lines between two calls of TakeOmitted; beyond, it is only counted. Any
// thread.
class Refusals {
public:
  static constexpr std::uint32_t most = 100;

  // Whether this one has a line of its own.
  bool Admit(const ipc::Peer& peer, Code code);
  // A line for each peer of which some were left out, with their number; then all begins anew.
  std::string TakeOmitted();

private:
  struct Entry {
    ipc::Peer peer;
    std::uint32_t lines = 0;
    std::int64_t omitted = 0;
    Code latest = 0;
  };
  CriticalSection m_lock;
  std::map<std::string, Entry> m_entries SPS_GUARDED_BY(m_lock);  // by who the peer is
};

}  // namespace service
