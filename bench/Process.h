// Programs that a benchmark starts.
#pragma once

#include <string>

namespace bench {

// Runs a shell command and returns what it wrote to its standard output. Throws std::runtime_error when
// it fails.
std::string outputOf(const std::string& command);

// The text as one word of a shell command.
std::string quoted(const std::string& word);

}  // namespace bench
