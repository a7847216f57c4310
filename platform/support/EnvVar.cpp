#include "platform/support/EnvVar.h"

#include <cstdlib>

#include "platform/support/Utf.h"

EnvVar::EnvVar(const char16_t* name) : m_name(support::toUtf8(name ? name : u"")) {}

bool EnvVar::operator>>(UnicodeString& value) const {
  const char* const present = std::getenv(m_name.c_str());
  value = present;
  return present != nullptr;
}
