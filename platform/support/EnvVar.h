// One variable of the process environment.
#pragma once

#include <string>

#include "platform/support/UnicodeString.h"

class SPS_API EnvVar {
public:
  explicit EnvVar(const char16_t* name);

  // Delivers the variable's present value, read as UTF-8. False where it does not exist; the text is
  // then empty.
  bool operator>>(UnicodeString& value) const;

private:
  std::string m_name;
};
