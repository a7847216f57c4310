// How failures travel inside the registry: as one exception, turned into a number at the boundary.
#pragma once

#include <exception>
#include <new>

#include "platform/registry/registry.h"

namespace registry {

// Thrown by everything below the registry functions when a call cannot go on.
class Failure : public std::exception {
public:
  explicit Failure(LSTATUS number, int cause = 0) : m_number(number), m_cause(cause) {}
  LSTATUS number() const { return m_number; }
  // What the layer below said, 0 where the number is our own verdict.
  int cause() const { return m_cause; }
  const char* what() const noexcept override { return "registry failure"; }

private:
  LSTATUS m_number;
  int m_cause;
};

// The registry's number for a result of LMDB or for errno: the one place where they meet.
LSTATUS toRegistryNumber(int cause);

// Throws for everything but success.
inline void check(int cause) {
  if (cause != 0) [[unlikely]]
    throw Failure(toRegistryNumber(cause), cause);
}

// Runs a registry function's body. Nothing escapes.
template <class Body>
LSTATUS guarded(Body&& body) noexcept {
  try {
    return body();
  } catch (const Failure& failure) {
    return failure.number();
  } catch (const std::bad_alloc&) {
    return ERROR_NOT_ENOUGH_MEMORY;
  } catch (...) {
    return ERROR_REGISTRY_IO_FAILED;
  }
}

}  // namespace registry
