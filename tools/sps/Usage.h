// What is wrong with a command line that could not be read.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

namespace tool {

// Names the first word that is no command or no option, and the nearest one that is; else what the parser
// says. After a parse that failed with the error.
std::string usageFault(const CLI::App& app, const CLI::ParseError& error);

// Of the known words the one that differs least, by characters that are missing, added, changed or swapped
// with their neighbour; empty where none is close.
std::string nearest(std::string_view word, const std::vector<std::string>& known);

}  // namespace tool
