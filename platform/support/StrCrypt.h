// Obfuscation of texts at rest.
#pragma once

#include "platform/support/api.h"

// Scrambles a zero-terminated text in place; the second call restores it. For every 16-bit content the
// length is kept and no zero is made. Only the low byte of a character changes, and only within its
// kind: surrogate pairs stay pairs, printable ASCII stays printable ASCII, control characters stay
// control characters. Null is left alone. Any thread may call; the buffer is the caller's.
//
// This keeps a word from the casual eye and nothing more. There is no key: whoever has this library, or
// this file, has the text. Protect what must stay secret by who may read the store.
SPS_API void StrCrypt(char16_t* text);
