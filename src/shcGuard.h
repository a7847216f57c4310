// How operations of the hierarchy end where the table beneath them throws.
#pragma once

#include "platform/support/ExcBase.h"

namespace client {

// Traces the failure with the level that its type asks for, and the stack it came from.
void traceException(const ExcBase& failure, const char16_t* source);

// The result of the work, or the failure value after the trace of what it threw.
template <class Value, class Work>
Value guarded(const char16_t* source, const Value& failureValue, const Work& work) {
  try {
    return work();
  } catch (const ExcBase& failure) {
    traceException(failure, source);
    return failureValue;
  }
}

}  // namespace client
