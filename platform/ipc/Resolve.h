// From the name that a caller gives to the endpoint that it stands for.
#pragma once

#include <optional>

#include "platform/ipc/Endpoint.h"

namespace ipc {

// The one logical name.
inline constexpr const char16_t* parameterService = u"SYSPARSERVICE";

struct Target {
  Endpoint endpoint;
  bool isLogical = false;  // found by the logical name, not named by the caller
};

// The logical name stands for what the environment variable of that name says, else the value "Endpoint" of
// HKEY_LOCAL_MACHINE\Software\Velor\IPC\Services\SYSPARSERVICE, else defaultEndpoint. Every other text, also
// one found so, is an endpoint or a host. Nothing where it is neither.
std::optional<Target> resolve(const char16_t* name);

}  // namespace ipc
