// The one place where numbers of the system become numbers of ours.
#pragma once

#include <cstdint>

namespace ipc {

// What an errno of a socket, its connecting or its use means.
std::int32_t fromErrno(int error);

}  // namespace ipc
