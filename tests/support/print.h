// How GoogleTest shows our texts.
#pragma once

#include <ostream>

#include "platform/support/UnicodeString.h"
#include "platform/support/Utf.h"

inline void PrintTo(const UnicodeString& text, std::ostream* out) {
  *out << '"' << support::toUtf8(text.View()) << '"';
}
