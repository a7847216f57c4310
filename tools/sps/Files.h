// Whole files in and out.
#pragma once

#include <string>

namespace tool {

// The bytes of a file; "-" is standard input. Refused where they cannot be read.
std::string readFile(const std::string& path);

// Puts the bytes in the file's place, so that whoever looks sees the old file or the whole new one, also
// after a power failure. What is no regular file (a device, a pipe) is written to instead. Refused where
// that fails; an old file is then untouched.
void writeFile(const std::string& path, const std::string& bytes);

}  // namespace tool
