// What the environment asks of the trace. For Trace.cpp alone.
#pragma once

#include <vector>

#include "platform/support/Trace.h"

namespace trace {

// The sinks that SPS_TRACE names. What can't be followed is reported on standard error and left out.
std::vector<Sink> sinksFromEnvironment();

// The levels of SPS_TRACE_LEVEL, reported likewise; the default where it is absent or wrong.
Levels levelsFromEnvironment();

}  // namespace trace
