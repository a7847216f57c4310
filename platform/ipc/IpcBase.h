// What every end of a connection has: the code of its last failure.
#pragma once

#include <cstdint>

#include "platform/support/api.h"

// Not meant to be held or deleted by this class.
class SPS_API IpcBase {
public:
  // The code of the last operation that failed, 0 before the first. A success leaves it. Below
  // ipc::serviceErrors it is one of ipc::Error (Errors.h); from there on, ipc::serviceErrors plus the
  // code with which the service rejected the request.
  std::int32_t GetLastError() const { return m_lastError; }

  IpcBase(const IpcBase&) = delete;
  IpcBase& operator=(const IpcBase&) = delete;

protected:
  IpcBase() = default;
  ~IpcBase() = default;

  // Keeps the code of a failure; the result is false, for the caller to return.
  bool fail(std::int32_t code) {
    m_lastError = code;
    return false;
  }

private:
  std::int32_t m_lastError = 0;
};
