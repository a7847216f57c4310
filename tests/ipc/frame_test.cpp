// The reader of frames, byte by byte: what it delivers does not depend on how the bytes came.
#include "platform/ipc/Frame.h"

#include <algorithm>

#include "tests/ipc/IpcTest.h"

namespace {

using namespace ipctest;
using ipc::FrameReader;

std::string readAll(const std::string& bytes, std::size_t piece, std::uint32_t limit) {
  FrameReader reader(limit, 64);
  std::string seen;
  for (std::size_t at = 0; at < bytes.size();) {
    const auto room = reader.room();
    const std::size_t count = std::min({piece, room.size(), bytes.size() - at});
    std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(at), count, room.begin());
    reader.received(count);
    at += count;
    ipc::Frame frame;
    FrameReader::State state{};
    while ((state = reader.next(frame)) == FrameReader::State::Frame) {
      seen += std::to_string(static_cast<int>(frame.kind)) + "/" + std::to_string(frame.id) + "/" +
              std::to_string(frame.code) + "/" + std::string(frame.payload.begin(), frame.payload.end()) +
              " ";
    }
    if (state == FrameReader::State::Malformed) return seen + "malformed";
    if (state == FrameReader::State::Version) return seen + "version";
    if (at == bytes.size() && state == FrameReader::State::Partial) return seen + "partial";
  }
  return seen;
}

TEST(FrameReader, DeliversTheSameInAnyPieces) {
  const std::string bytes = hello + request(7, std::string(300, 'p'), 0xFFFFFFFF).bytes() +
                            RawFrame{.kind = 4, .code = 0xFFFFFFFF}.bytes();
  const std::string expected = "1/0/0/ 3/4294967295/7/" + std::string(300, 'p') + " 4/0/-1/ ";
  for (std::size_t piece = 1; piece <= bytes.size(); ++piece)
    EXPECT_EQ(readAll(bytes, piece, 324), expected) << piece;
  EXPECT_EQ(readAll(bytes, 1000, 323), "1/0/0/ malformed");
  EXPECT_EQ(readAll(bytes.substr(0, 47), 1, 324), "1/0/0/ partial");
}

// A thousand idle connections must not keep what one large request each once took.
TEST(FrameReader, GivesBackTheRoomOfALargeFrame) {
  FrameReader reader(ipc::maxFrameBytes, 4096);
  const std::string bytes = request(7, std::string(1'000'000, 'p')).bytes();
  for (std::size_t at = 0; at < bytes.size();) {
    const auto room = reader.room();
    const std::size_t count = std::min(room.size(), bytes.size() - at);
    std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(at), count, room.begin());
    reader.received(count);
    at += count;
  }
  ipc::Frame frame;
  ASSERT_EQ(reader.next(frame), FrameReader::State::Frame);
  EXPECT_EQ(frame.payload.size(), 1'000'000U);
  EXPECT_EQ(reader.room().size(), 4096U);
  EXPECT_EQ(reader.next(frame), FrameReader::State::Idle);
}

TEST(FrameReader, HeaderComesBackAsItWas) {
  const std::uint8_t payload[] = {1, 2, 3};
  const ipc::Frame frame{ipc::FrameKind::Reply, ipc::flagLast, 1, -2, 3, -4, payload};
  const auto header = ipc::encodeHeader(frame);
  const RawFrame same{.kind = 5,
                      .id = 1,
                      .code = 0xFFFFFFFE,
                      .service = 3,
                      .value = 0xFFFFFFFC,
                      .payload = "abc",
                      .flags = 1};
  EXPECT_EQ(std::string(header.begin(), header.end()), same.bytes().substr(0, 24));
}

}  // namespace
