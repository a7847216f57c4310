#include "platform/support/StandardStreams.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <initializer_list>

namespace support {

namespace {

bool isClosed(int descriptor) {
  return ::fcntl(descriptor, F_GETFD) == -1 && errno == EBADF;
}

}  // namespace

// The lowest free number is given, which is the one in turn, unless another thread was quicker.
void reserveStandardStreams() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (!isClosed(descriptor)) continue;
    const int given = ::open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    if (given > STDERR_FILENO) ::close(given);
  }
}

}  // namespace support
