// Checking a store from end to end.
#pragma once

#include <string>

#include "platform/registry/Store.h"

namespace registry {

// 0, or ERROR_REGISTRY_CORRUPT with the first thing that is wrong.
LSTATUS verify(const Store& store, std::string& finding);

}  // namespace registry
