// Streams of frames from any bytes. In whatever pieces they come, the same frames are delivered, and each,
// written again, gives the bytes it was read from; what is refused stays refused.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "fuzz/Fuzz.h"
#include "platform/ipc/Frame.h"

namespace {

using ipc::Frame;
using ipc::FrameReader;

constexpr std::uint32_t limit = 4096;

struct Result {
  std::vector<std::uint8_t> frames;  // written again
  FrameReader::State end = FrameReader::State::Idle;
  bool operator==(const Result&) const = default;
};

void append(std::vector<std::uint8_t>& bytes, const Frame& frame) {
  require(frame.payload.size() + ipc::headerBytes <= limit);
  const ipc::HeaderBytes header = ipc::encodeHeader(frame);
  bytes.insert(bytes.end(), header.begin(), header.end());
  bytes.insert(bytes.end(), frame.payload.begin(), frame.payload.end());
}

bool isRefused(FrameReader::State state) {
  return state == FrameReader::State::Malformed || state == FrameReader::State::Version;
}

Result read(const std::uint8_t* data, std::size_t size, std::size_t piece) {
  FrameReader reader(limit, piece);
  Result result;
  while (size > 0 && !isRefused(result.end)) {
    const auto room = reader.room();
    const std::size_t count = std::min({piece, room.size(), size});
    std::copy_n(data, count, room.begin());
    reader.received(count);
    data += count;
    size -= count;
    Frame frame;
    while ((result.end = reader.next(frame)) == FrameReader::State::Frame) append(result.frames, frame);
  }
  if (isRefused(result.end)) {
    Frame frame;
    require(reader.next(frame) == result.end);
  }
  return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Result whole = read(data, size, std::max<std::size_t>(size, 1));
  require(whole.frames.size() <= size && std::equal(whole.frames.begin(), whole.frames.end(), data));
  require(whole.end != FrameReader::State::Idle || whole.frames.size() == size);
  require(read(data, size, 1) == whole);
  require(read(data, size, 17) == whole);
  return 0;
}
