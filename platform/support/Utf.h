// Conversions between the 16-bit text of our interfaces and the 8-bit text of the system.
#pragma once

#include <string>
#include <string_view>

#include "platform/support/api.h"

namespace support {

// UTF-16 to UTF-8. A surrogate without its partner comes out as its own three bytes, so that any
// 16-bit content survives the way there and back.
SPS_API std::string toUtf8(std::u16string_view text);

// UTF-8 to UTF-16. A byte that begins no valid sequence comes out as U+FFFD and costs one byte.
SPS_API std::u16string toUtf16(std::string_view text);

}  // namespace support
