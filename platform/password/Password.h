// Random passwords by rule.
#pragma once

#include <cstdint>

#include "platform/support/UnicodeString.h"
#include "platform/support/api.h"

// A rule for passwords and the making of them. The characters are lower case and upper case letters,
// digits (all ASCII) and a set of the caller's, punctuation as a rule. Each password is drawn from the
// system's cryptographic random source; within the rule's minima every character and every place is
// equally likely. An object is not changed by Create: any thread may call it.
class SPS_API Password {
public:
  // Bound on a password's length, in characters; greater lengths are cut to it.
  static constexpr std::int32_t lengthLimit = 1024;

  // A password has between minLength and maxLength characters, each length equally likely, and of each
  // kind at least as many as told. Numbers below 0 count as 0; a greatest length below the least one
  // counts as the least one; a length too short for the minima is raised to their sum. Without
  // punctuation characters, minPunctuation counts as 0. The set is copied.
  Password(std::int32_t minLength, std::int32_t maxLength, const UnicodeString& punctuation,
           std::int32_t minLower, std::int32_t minUpper, std::int32_t minDigits, std::int32_t minPunctuation);

  // A new password. Throws std::system_error where the system has no random source: a weak password is
  // never made.
  UnicodeString Create() const;

private:
  static constexpr int kinds = 4;

  std::u16string m_kinds[kinds];
  std::int32_t m_minima[kinds];
  std::int32_t m_minLength;
  std::int32_t m_maxLength;
  std::u16string m_all;
};
