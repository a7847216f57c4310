// Any bytes as a registry text. What the reader understands must come back from the writer, in both
// encodings; and the input is tried behind a header and a key too, where most of the grammar is.
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/Fuzz.h"
#include "platform/regtext/RegTextEncoding.h"
#include "platform/regtext/RegTextReader.h"
#include "platform/regtext/RegTextWriter.h"

namespace {

struct Statement {
  regtext::Kind kind;
  std::u16string key;
  std::u16string name;
  std::uint32_t type;
  std::vector<std::uint8_t> data;

  bool operator==(const Statement&) const = default;
};

std::vector<Statement> statements(std::u16string_view text, regtext::Fault& fault) {
  std::vector<Statement> result;
  std::size_t position = 0;
  fault = regtext::parse(text, [&](const regtext::Event& event) {
    require(event.line > 0 && event.position > position && event.position <= text.size());
    position = event.position;
    const std::vector<std::uint8_t> data(event.data.begin(), event.data.end());
    result.push_back({event.kind, std::u16string(event.key), std::u16string(event.name), event.type, data});
    return true;
  });
  return result;
}

std::u16string written(const std::vector<Statement>& list, regtext::LineEnd lineEnd) {
  std::u16string text;
  const auto append = [&](std::u16string_view piece) {
    text += piece;
    return true;
  };
  regtext::Writer writer(append, lineEnd);
  for (const Statement& s : list) writer.Write({s.kind, 1, 0, s.key, s.name, s.type, s.data});
  writer.Finish();
  return text;
}

void roundTrip(std::u16string_view text) {
  regtext::Fault fault;
  const auto list = statements(text, fault);
  require(!fault || !fault.text.empty());
  for (const auto lineEnd : {regtext::LineEnd::CrLf, regtext::LineEnd::Lf}) {
    const std::u16string again = written(list, lineEnd);
    require(statements(again, fault) == list && !fault);
    require(regtext::decode(std::string(regtext::utf16Mark) + regtext::encodeUtf16(again)).text == again);
    require(regtext::decode(regtext::encodeUtf8(again)).text == again);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const regtext::Decoded decoded = regtext::decode({reinterpret_cast<const char*>(data), size});
  require(!decoded.fault || decoded.text.empty());
  roundTrip(decoded.text);
  const std::u16string start = std::u16string(regtext::header) + u"\n[HKU\\k]\n";
  roundTrip(start + decoded.text);
  roundTrip(start + textOf(data, size));
  return 0;
}
