// Tells a process from the one that it was forked from.
#pragma once

#include <cstdint>

namespace ipc {

// Counts the forks between the first process that asked and this one. Costs no system call.
std::uint32_t forkCount();

}  // namespace ipc
