// Who may use a new key. Access to the store is decided by the mode bits of its directory, so the
// attributes carry nothing; they keep the place in the signature.
#pragma once

#include <cstdint>

#include "platform/support/api.h"

struct SECURITY_ATTRIBUTES {
  std::uint32_t nLength;
  void* lpSecurityDescriptor;
  std::int32_t bInheritHandle;
};

// All-access attributes; static, never null.
SPS_API const SECURITY_ATTRIBUTES* GetPSecurityAttributesAllAccess();
