// Which value a read of a parameter takes, and why each candidate before it did not apply: the steps of
// a read, one by one, with what each found.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/sps/Client.h"

namespace tool {

enum class Outcome : std::uint8_t {
  Passed,   // a test that the read goes past
  Absent,   // nothing there: the read goes on
  Ignored,  // there, but it cannot apply: the read goes on
  Taken,    // the value comes from here
  Failed,   // the read ends here
  NotAsked  // an earlier step has decided
};
const char* outcomeWord(Outcome outcome);

struct Step {
  std::string name;  // "key", or the name of the stored value that the step looks at
  Outcome outcome = Outcome::NotAsked;
  std::string detail;
  std::int32_t code = 0;  // the number that a read gives or traces for it; 0 for none
};

struct Explanation {
  std::vector<Step> steps;
  char16_t letter = 0;         // of the type that the read asks for
  std::optional<Value> value;  // none where the read fails
  std::u16string takenFrom;    // name of the stored value
  bool scrambled = false;      // the value was unscrambled
  std::uint32_t err = 0;       // what the read delivers as its code

  bool Succeeds() const { return value.has_value(); }
};

// As a process with the client's identity reads the parameter. The letter is the type that it asks for; 0
// asks for the declared one.
Explanation explainRead(Client& client, const std::u16string& topic, const std::u16string& par,
                        char16_t letter);

}  // namespace tool
