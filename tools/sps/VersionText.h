// The library's version as people write it.
#pragma once

#include <string>

namespace tool {

std::string versionText();  // MAJOR.MINOR.BUILD

}  // namespace tool
