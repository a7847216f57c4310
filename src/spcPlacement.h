// Where a read or a write of a parameter takes place.
#pragma once

#include <cstdint>

namespace client {

enum class Placement : std::uint8_t {
  Local,
  LocalAfterTrace,  // local, although the master would have logged it
  Remote,
  Missing,  // the parameter is not here and there is no master to ask
  Failed    // the key could not be opened; the failure has been reported
};

// What the choice depends on. A fact that an earlier one makes needless is left false: without local
// access nobody looks for the key, and without a connection nobody asks where the master runs.
struct Situation {
  bool localAccess = false;
  bool keyPresent = false;
  bool connected = false;
  bool masterLocal = false;  // the master runs on this machine
  bool disableLog = false;   // "@disableLog" of the parameter
};

constexpr Placement placeRead(const Situation& now) {
  if (!now.localAccess) return Placement::Remote;
  if (now.keyPresent) return Placement::Local;
  return now.connected ? Placement::Remote : Placement::Missing;
}

// Texts, and the flags that say how they are stored, stay on this machine when the master is another;
// numbers go to the master wherever it runs.
constexpr Placement placeWrite(const Situation& now, bool asText) {
  const Placement placement = placeRead(now);
  if (placement != Placement::Local || !now.connected || now.disableLog) return placement;
  return asText && !now.masterLocal ? Placement::LocalAfterTrace : Placement::Remote;
}

}  // namespace client
