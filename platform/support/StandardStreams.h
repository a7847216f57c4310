// Care for the three standard streams.
#pragma once

#include "platform/support/api.h"

namespace support {

// Fills what is closed of the descriptors 0, 1 and 2, so that no file that is opened afterwards gets one of
// these numbers: what the program prints would go into that file. Reading and writing there fail as before.
// The registry does this before it opens a store; a program had better do it first of all. Any thread.
SPS_API void reserveStandardStreams();

}  // namespace support
