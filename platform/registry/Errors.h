// How failures travel inside the registry: as one exception, turned into a number at the boundary.
#pragma once

#include <exception>
#include <new>
#include <string>

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
  // Whether the trace has it already.
  bool isReported() const { return m_isReported; }
  void setReported() { m_isReported = true; }

private:
  LSTATUS m_number;
  int m_cause;
  bool m_isReported = false;
};

// The registry's number for a result of LMDB or for errno: the one place where they meet.
LSTATUS toRegistryNumber(int cause);

// Throws for everything but success.
inline void check(int cause) {
  if (cause != 0) [[unlikely]]
    throw Failure(toRegistryNumber(cause), cause);
}

// What a number means to an operator.
const char16_t* describe(LSTATUS number);
// Why, in the words of the layer below where it knows.
const char* reasonOf(const Failure& failure);
// Writes the trace line for a failure that concerns the store in use and not the caller alone.
void report(const Failure& failure) noexcept;
// The same for the store in that directory.
void report(const Failure& failure, const std::string& directory, const std::string& reason) noexcept;

// Runs a registry function's body. Nothing escapes.
template <class Body>
LSTATUS guarded(Body&& body) noexcept {
  try {
    return body();
  } catch (const Failure& failure) {
    report(failure);
    return failure.number();
  } catch (const std::bad_alloc&) {
    return ERROR_NOT_ENOUGH_MEMORY;
  } catch (...) {
    return ERROR_REGISTRY_IO_FAILED;
  }
}

}  // namespace registry
