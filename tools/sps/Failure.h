// How a command ends without having done its work.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace tool {

enum ExitCode : int { done = 0, refused = 1, wrongUsage = 2 };

// What was asked for is not there or could not be done: exit code 1. All texts are UTF-8.
struct Refused {
  std::string asked;      // what failed, as it follows "cannot "
  std::string reason;     // why, in the system's own words where it has given any
  std::int64_t code = 0;  // the system's number; 0 where there is none
  std::string next;       // a command that helps on; may be empty
};

// The command line asks for something that makes no sense: exit code 2.
class WrongUsage : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

// A short name for a number of the registry ("access denied"), empty for any other number. The numbers
// below 20 have a meaning of their own in the parameter client, so that 5 is named and 11 to 16 are not.
std::string registryText(std::int64_t code);

}  // namespace tool
