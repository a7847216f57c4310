#include "platform/ipc/SystemErrors.h"

#include <cerrno>

#include "platform/ipc/Errors.h"

namespace ipc {

std::int32_t fromErrno(int error) {
  switch (error) {
    case ENOENT:
    case ECONNREFUSED:
      return notListening;
    case EACCES:
    case EPERM:
      return accessDenied;
    case ENETUNREACH:
    case EHOSTUNREACH:
    case ENETDOWN:
    case EADDRNOTAVAIL:
    case EAFNOSUPPORT:
      return unreachable;
    case EAGAIN:
    case EINPROGRESS:
    case EALREADY:
    case ETIMEDOUT:
      return timedOut;
    case EMFILE:
    case ENFILE:
    case ENOBUFS:
    case ENOMEM:
      return systemError;
    case ENOTDIR:
    case ENAMETOOLONG:
    case ENOTSOCK:
    case EPROTOTYPE:
      return badName;
    default:
      return connectionLost;
  }
}

}  // namespace ipc
