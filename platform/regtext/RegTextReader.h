// Reads a registry text: characters in, statements out. Knows no file and no store.
#pragma once

#include <string_view>

#include "platform/regtext/RegText.h"

namespace regtext {

// Hands the statements of the text to the handler, in their order, in one pass whose memory is that of
// the longest statement. The result is the first fault, where reading ends: the handler has then had the
// statements before it. A handler that ended the reading leaves no fault. A byte order mark in front of
// the header is passed over. Any number of threads may read at the same time.
Fault parse(std::u16string_view text, const Handler& handler);

// The same without a use for the statements: is the text one that can be imported?
Fault check(std::u16string_view text);

}  // namespace regtext
