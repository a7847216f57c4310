// Which machine this is and on whose behalf the process runs.
#pragma once

#include <cstdint>

#include "platform/support/api.h"

// Both write a zero-terminated name to the buffer, whose capacity in characters goes in through size. True
// with the name's length in size. False, with the buffer untouched and the capacity that is needed in size,
// terminator included, where that capacity is too small or the buffer null; false also without a size. Any
// thread may call.

// The host's name as the system holds it; "localhost" where it has none. The length is without the
// terminator.
SPS_API bool GetComputerNameW(char16_t* buffer, std::uint32_t* size);

// The name of the effective user, or the digits of its number where nobody knows a name. The length
// includes the terminator.
SPS_API bool GetUserNameW(char16_t* buffer, std::uint32_t* size);
