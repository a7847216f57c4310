#include "bench/Process.h"

#include <array>
#include <cstdio>
#include <stdexcept>

namespace bench {

std::string outputOf(const std::string& command) {
  std::FILE* pipe = popen(command.c_str(), "r");
  std::string output;
  std::array<char, 256> part{};
  while (pipe && std::fgets(part.data(), static_cast<int>(part.size()), pipe)) output += part.data();
  if (!pipe || pclose(pipe) != 0) throw std::runtime_error("failed: " + command);
  return output;
}

std::string quoted(const std::string& word) {
  std::string text = "'";
  for (const char character : word) text += character == '\'' ? "'\\''" : std::string(1, character);
  return text + "'";
}

}  // namespace bench
