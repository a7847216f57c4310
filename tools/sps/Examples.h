// What the help shows of each command.
#pragma once

#include <string_view>

namespace tool {

// Command lines one below the other, of the command with the words that follow "sps"; empty where the
// commands below it have their own.
std::string_view examplesOf(std::string_view command);

}  // namespace tool
