// The library's version as people write it.
#pragma once

#include <string>

namespace tool {

std::string versionText();  // "4.3.1900"

}  // namespace tool
