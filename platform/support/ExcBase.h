// The exceptions of our own components.
#pragma once

#include <cstdint>
#include <exception>
#include <string>

#include "platform/support/UnicodeString.h"
#include "platform/support/api.h"

// What components of ours throw; caught as ExcBase by reference. Components derive their own from it.
// For every type but Information, making one keeps the stack of the calling thread for
// DbgLastStoredStackDump. Copies keep nothing.
class SPS_API ExcBase : public std::exception {
public:
  // How bad it is, and so the level of the trace that reports it: I, W, E.
  static constexpr std::int32_t Information = 0;
  static constexpr std::int32_t Warning = 1;
  static constexpr std::int32_t Error = 2;

  // errType says which component's exception it is, errTypeString the same for people; errorId is that
  // component's own number of the failure, info its explanation.
  ExcBase(std::int32_t excType, std::int32_t errType, const UnicodeString& errTypeString,
          std::int32_t errorId, const UnicodeString& info);
  ExcBase(const ExcBase&) = default;
  ExcBase(ExcBase&&) = default;
  ExcBase& operator=(const ExcBase&) = default;
  ExcBase& operator=(ExcBase&&) = default;
  ~ExcBase() override;

  std::int32_t GetExcType() const { return m_excType; }
  std::int32_t GetErrType() const { return m_errType; }
  UnicodeString GetErrTypeString() const { return m_errTypeString; }
  std::int32_t GetErrorId() const { return m_errorId; }
  UnicodeString GetInfo() const { return m_info; }

  // "errTypeString: errorId info" as UTF-8; valid as long as this object.
  const char* what() const noexcept override { return m_what.c_str(); }

private:
  std::int32_t m_excType;
  std::int32_t m_errType;
  UnicodeString m_errTypeString;
  std::int32_t m_errorId;
  UnicodeString m_info;
  std::string m_what;
};

// Traces the stack that the calling thread's last ExcBase kept, innermost call first, a line a call, on
// the plain channel with level I. Nothing where none is kept; what was traced is kept no longer.
SPS_API void DbgLastStoredStackDump();
