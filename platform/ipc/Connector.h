// From a name to a stream that its server has greeted on.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/ipc/Deadline.h"
#include "platform/ipc/Frame.h"
#include "platform/ipc/Stream.h"

namespace ipc {

struct Connected {
  std::int32_t error = 0;
  std::string detail;              // more about the error, may be empty; UTF-8
  std::unique_ptr<Stream> stream;  // null after an error
  std::string serverName;          // "127.0.0.1", or the host as named
  std::uint32_t frameLimit = maxFrameBytes;
};

// Resolves, connects, encrypts and greets. The reader, empty at the start, keeps what came behind the
// greeting.
Connected connectTo(const char16_t* server, Deadline& deadline, FrameReader& reader);

// The next frame of a stream, waiting for it. An error of Errors.h.
std::int32_t receiveFrame(Stream& stream, FrameReader& reader, Frame& frame, Deadline& deadline);

}  // namespace ipc
