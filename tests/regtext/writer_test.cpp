#include "platform/regtext/RegTextWriter.h"

#include <gmock/gmock.h>

#include "platform/registry/registry.h"
#include "platform/regtext/RegTextEncoding.h"
#include "tests/regtext/Statements.h"

using testing::Each;
using testing::HasSubstr;
using testing::Le;
using testing::SizeIs;

namespace {

const std::u16string start = u"Windows Registry Editor Version 5.00\n\n[HKEY_USERS\\k]\n";

std::vector<std::u16string> linesOf(std::u16string_view text) {
  std::vector<std::u16string> lines;
  for (std::size_t end = text.find(u'\n'); end != text.npos; end = text.find(u'\n')) {
    lines.emplace_back(text.substr(0, end));
    text.remove_prefix(end + 1);
  }
  return lines;
}

std::u16string written(std::uint32_t type, std::span<const std::uint8_t> data) {
  std::u16string result;
  regtext::Writer writer(into(result), regtext::LineEnd::Lf);
  writer.Key(u"HKEY_USERS\\k");
  writer.Value(u"", type, data);
  writer.Finish();
  return result.substr(start.size());
}

TEST(Writer, WritesWhatOtherToolsWrite) {
  const std::u16string text =
      u"Windows Registry Editor Version 5.00\r\n\r\n[HKEY_LOCAL_MACHINE\\A [x]]\r\n@=\"C:\\\\a "
      u"\\\"b\\\"\"\r\n"
      u"\"q\\\"\\\\\"=dword:0000001f\r\n\"gone\"=-\r\n\"list\"=hex(7):41,00,00,00,00,00\r\n"
      u"\"big\"=hex(b):01,02,03,04,05,06,07,08\r\n\"none\"=hex(0):\r\n\r\n[-HKEY_LOCAL_MACHINE\\B]\r\n\r\n";
  EXPECT_EQ(rewrite(text), text);
  EXPECT_EQ(read(rewrite(text)).lines, read(text).lines);
}

TEST(Writer, WrapsHexLinesWithin80Columns) {
  std::u16string bytes = u"00";
  for (int i = 1; i < 300; ++i) bytes += u",5a";
  for (const std::size_t nameLength : {1U, 40U, 69U, 70U, 71U, 72U, 73U, 200U}) {
    const std::u16string name(nameLength, u'n');
    const std::u16string text = start + u"\"" + name + u"\"=hex:" + bytes + u"\n\n";
    const std::u16string result = rewrite(text, regtext::LineEnd::Lf);
    EXPECT_EQ(read(result).lines, read(text).lines);
    auto lines = linesOf(result);
    if (nameLength > 69) lines[3].clear();
    EXPECT_THAT(lines, Each(SizeIs(Le(80U))));
    EXPECT_EQ(lines[4].size(), 78U);
  }
}

// Bytes that no quoted text or number stands for keep their bytes.
TEST(Writer, KeepsBytesThatAreNoText) {
  const std::tuple<std::uint32_t, std::vector<std::uint8_t>, const char16_t*> cases[] = {
      {REG_SZ, {0x41, 0, 0, 0}, u"@=\"A\"\n\n"},
      {REG_SZ, {}, u"@=hex(1):\n\n"},
      {REG_SZ, {0x41, 0}, u"@=hex(1):41,00\n\n"},
      {REG_SZ, {0x41, 0, 0}, u"@=hex(1):41,00,00\n\n"},
      {REG_SZ, {0x41, 0, 0, 0, 0, 0}, u"@=hex(1):41,00,00,00,00,00\n\n"},
      {REG_SZ, {0x0a, 0, 0, 0}, u"@=hex(1):0a,00,00,00\n\n"},
      {REG_SZ, {0x3d, 0xd8, 0, 0xde, 0, 0}, u"@=\"\xD83D\xDE00\"\n\n"},
      {REG_SZ, {0, 0xde, 0x3d, 0xd8, 0, 0}, u"@=hex(1):00,de,3d,d8,00,00\n\n"},
      {REG_EXPAND_SZ, {0x41, 0, 0, 0}, u"@=hex(2):41,00,00,00\n\n"},
      {REG_DWORD, {1, 2, 3, 0xf4}, u"@=dword:f4030201\n\n"},
      {REG_DWORD, {1, 2, 3}, u"@=hex(4):01,02,03\n\n"},
      {0xffff0012, {1}, u"@=hex(ffff0012):01\n\n"},
  };
  for (const auto& [type, data, line] : cases) EXPECT_EQ(written(type, data), line);
}

TEST(Writer, NamesWithLineEndsComeBack) {
  const std::u16string text =
      u"Windows Registry Editor Version 5.00\n\n[\"HKEY_USERS\\\\a\n[-HKLM\\\\b]\"]\n"
      u"\"x\r\n[-HKLM\\\\c]\n\"=\"v\"\n\n";
  EXPECT_EQ(read(text).lines.size(), 2U);
  EXPECT_EQ(rewrite(text, regtext::LineEnd::Lf), text);
}

TEST(Writer, PiecesEndWithALineAndTheSinkCanStop) {
  std::size_t pieces = 0;
  bool whole = true;
  regtext::Writer writer([&](std::u16string_view piece) {
    whole = whole && piece.ends_with(u'\n');
    return ++pieces < 3;
  });
  const std::vector<std::uint8_t> data(10000, 7);
  int values = 0;
  while (writer.Value(u"v", REG_BINARY, data) && values < 1000) ++values;
  EXPECT_EQ(pieces, 3U);
  EXPECT_TRUE(whole);
  EXPECT_FALSE(writer.Finish());
  EXPECT_EQ(pieces, 3U);
}

// Every 16-bit content of names and texts, in both encodings of a file.
TEST(Encoding, RoundTripsBoth) {
  const std::u16string text =
      start + u"\"\xD800 \xDC00 \xD83D\xDE00 \x00e4 \x20ac \xFFFE\"=\"\x0001\x007f\x00ff\"\n\n";
  const auto utf16 = regtext::decode(std::string(regtext::utf16Mark) + regtext::encodeUtf16(text));
  EXPECT_EQ(utf16.text, text) << utf16.fault.text;
  for (const std::string_view mark : {regtext::utf8Mark, std::string_view()}) {
    const auto utf8 = regtext::decode(std::string(mark) + regtext::encodeUtf8(text));
    EXPECT_EQ(utf8.text, text) << utf8.fault.text;
  }
}

TEST(Encoding, NamesWhatIsWrong) {
  using namespace std::string_literals;
  const std::pair<std::string, const char*> cases[] = {
      {"\xFF\xFE"s + "a\0\n\0b"s, "line 2: found half a character"},
      {"\xFE\xFF\0a"s, "line 1: found UTF-16 with the high byte first"},
      {"W\0i\0"s, "line 1: found UTF-16 without a byte order mark"},
      {"a\n\nb\xE4 c"s, "line 3: found the byte 0xE4, which is no UTF-8"},
      {"\x80"s, "line 1: found the byte 0x80"},
      {"\xC0\xAF"s, "line 1: found the byte 0xC0"},
      {"\xE0\x80\xAF"s, "line 1: found the byte 0xE0"},
      {"\xF4\x90\x80\x80"s, "line 1: found the byte 0xF4"},
      {"\xE2\x82"s, "line 1: found the byte 0xE2"},
  };
  for (const auto& [bytes, message] : cases) {
    const auto result = regtext::decode(bytes);
    EXPECT_THAT(result.fault.Message(), HasSubstr(message));
    EXPECT_TRUE(result.text.empty());
  }
  EXPECT_TRUE(regtext::check(regtext::decode("").text));
}

}  // namespace
