// Field containers from any bytes. What is accepted reads back by key and, written again, gives the same
// bytes; what is refused leaves an empty container. The second reading takes the input as a list of
// fields to write, which brings valid containers into the run.
#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/Fuzz.h"
#include "platform/support/Dfs.h"
#include "platform/support/DfsFormat.h"

namespace {

namespace dfs = support::dfs;

std::u16string keyOf(const dfs::Field& field) {
  std::u16string key;
  const std::size_t width = field.wideKey ? 2 : 1;
  for (std::size_t at = 0; at < field.key.size(); at += width) {
    key += static_cast<char16_t>(dfs::readNumber(field.key.subspan(at, width)));
  }
  return key;
}

// What the first field of the key holds, read through the container and appended to another.
void copyField(const Dfs& from, Dfs& to, const dfs::Field& field) {
  const std::u16string key = keyOf(field);
  UnicodeString text;
  std::int32_t number = 0;
  std::int16_t shortNumber = 0;
  std::vector<std::uint8_t> bytes(field.value.size() + 1);
  std::int32_t count = -1;
  switch (field.type) {
    case dfs::Type::Str:
      require(from.GetCurStr(key.c_str(), text) && to.AddValueStr(text, key.c_str()));
      break;
    case dfs::Type::I4:
      require(from.GetCurI4(key.c_str(), number) && to.AddValueI4(number, key.c_str()));
      break;
    case dfs::Type::I2:
      require(from.GetCurI2(key.c_str(), shortNumber) && to.AddValueI2(shortNumber, key.c_str()));
      break;
    case dfs::Type::Bin:
      require(
          from.GetCurBin(key.c_str(), bytes.data(), static_cast<std::int64_t>(field.value.size()), count));
      require(to.AddValueBin(bytes.data(), count, key.c_str()));
      require(count == 0 || !from.GetCurBin(key.c_str(), bytes.data(), count - 1, count));
      break;
  }
}

// Each field on its own: a container of this field alone, so that a key there twice is compared too.
void copyAlone(const dfs::Field& field, dfs::Bytes fieldBytes, Dfs& to) {
  std::vector<std::uint8_t> single(dfs::headerSize + fieldBytes.size());
  dfs::writeHeader(single, static_cast<std::uint32_t>(single.size()));
  std::copy(fieldBytes.begin(), fieldBytes.end(), single.begin() + dfs::headerSize);
  DfsBin from;
  require(from.Assign(single.data(), single.size()));
  copyField(from, to, field);
}

void readAndRewrite(const std::uint8_t* data, std::size_t size) {
  DfsBin received;
  if (!received.Assign(data, size)) {
    require(received.GetDataSize() == static_cast<std::int32_t>(dfs::headerSize));
    return;
  }
  std::vector<std::uint8_t> buffer(size);
  DfsBin written;
  require(written.AssignEmptyBuffer(buffer.data(), static_cast<std::int64_t>(size), false));
  dfs::Bytes fields = dfs::Bytes(data, size).subspan(dfs::headerSize);
  while (!fields.empty()) {
    const dfs::Bytes before = fields;
    const auto field = dfs::takeField(fields);
    require(field.has_value());
    copyAlone(*field, before.first(before.size() - fields.size()), written);
  }
  require(!written.HasOverflow() && static_cast<std::size_t>(written.GetDataSize()) == size);
  require(std::equal(data, data + size, written.GetData()));
}

// A field a round: a byte for type and key, a byte for the value's length, the value.
void writeAndRead(const std::uint8_t* data, std::size_t size) {
  std::uint8_t buffer[512];
  DfsBin written;
  written.AssignEmptyBuffer(buffer, sizeof buffer, false);
  while (size >= 2) {
    const char16_t key[] = {static_cast<char16_t>((data[0] >> 2) * 37), u'k', 0};
    const std::size_t length = std::min<std::size_t>(data[1], size - 2);
    const std::u16string text(data + 2, data + 2 + length);
    switch (data[0] & 3) {
      case 0:
        written.AddValueStr(text.c_str(), key);
        break;
      case 1:
        written.AddValueI4(static_cast<std::int32_t>(length * 0x01020304), key);
        break;
      case 2:
        written.AddValueI2(static_cast<std::int16_t>(length * 0x0102), key);
        break;
      default:
        written.AddValueBin(data + 2, static_cast<std::int64_t>(length), key);
    }
    data += 2 + length;
    size -= 2 + length;
  }
  if (written.HasOverflow()) {
    require(written.GetData() == nullptr && written.GetDataSize() == 0);
    return;
  }
  std::vector<std::uint8_t> sent(written.GetData(), written.GetData() + written.GetDataSize());
  require(DfsBin().Assign(sent.data(), sent.size()));
  readAndRewrite(sent.data(), sent.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  readAndRewrite(data, size);
  writeAndRead(data, size);
  return 0;
}
