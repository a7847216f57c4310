#include "platform/support/Dfs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string_view>
#include <vector>

#include "tests/support/print.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

const std::uint8_t blob[] = {0, 1, 0xFF};

class DfsTest : public testing::Test {
protected:
  DfsTest() { out.AssignEmptyBuffer(buffer, sizeof buffer, false); }

  Bytes sent() const { return {out.GetData(), out.GetData() + out.GetDataSize()}; }

  void addOneOfEach() {
    EXPECT_TRUE(out.AddValueStr(u"Gr\u00F6\u00DFe \u20AC", u"topic"));
    EXPECT_TRUE(out.AddValueI4(-2, u"size"));
    EXPECT_TRUE(out.AddValueI2(-3, u"replace"));
    EXPECT_TRUE(out.AddValueBin(blob, sizeof blob, u"binary"));
    EXPECT_TRUE(out.AddValueStr(u"", u"\u20ACkey"));
  }

  std::uint8_t buffer[8192];
  DfsBin out;
};

void expectOneOfEach(const Dfs& in) {
  UnicodeString text;
  EXPECT_TRUE(in.GetCurStr(u"\u20ACkey", text));
  EXPECT_EQ(text, u"");
  std::uint8_t bytes[sizeof blob] = {};
  std::int32_t count = sizeof bytes;
  EXPECT_TRUE(in.GetCurBin(u"binary", bytes, count, count));
  EXPECT_EQ(Bytes(bytes, bytes + count), Bytes(blob, blob + sizeof blob));
  std::int16_t shortNumber = 0;
  EXPECT_TRUE(in.GetCurI2(u"replace", shortNumber));
  EXPECT_EQ(shortNumber, -3);
  std::int32_t number = 0;
  EXPECT_TRUE(in.GetCurI4(u"size", number));
  EXPECT_EQ(number, -2);
  EXPECT_TRUE(in.GetCurStr(u"topic", text));
  EXPECT_EQ(text, u"Gr\u00F6\u00DFe \u20AC");
}

TEST_F(DfsTest, ReadsByKeyInAnyOrderFromEitherEnd) {
  addOneOfEach();
  expectOneOfEach(out);
  const Bytes bytes = sent();
  DfsBin in;
  ASSERT_TRUE(in.Assign(bytes.data(), bytes.size()));
  expectOneOfEach(in);
  EXPECT_EQ(in.GetData(), bytes.data());
}

TEST_F(DfsTest, BytesAreThoseOfTheDocument) {
  out.AddValueStr(u"@value", u"propname");
  out.AddValueI2(1, u"replace");
  const std::string_view expected(
      "\xDF\1\x28\0\0\0"
      "\1\10propname\6@\0v\0a\0l\0u\0e\0"
      "\3\7replace\1\0",
      40);
  EXPECT_EQ(sent(), Bytes(expected.begin(), expected.end()));
}

TEST_F(DfsTest, AbsentOrOfAnotherTypeLeavesOutUntouched) {
  addOneOfEach();
  out.AddValueI2(3, u"size");  // the first of a key counts
  out.AddValueBin(nullptr, 0, u"flag");
  UnicodeString text = u"before";
  std::int32_t number = 77;
  std::int16_t shortNumber = 78;
  std::uint8_t bytes[8] = {9};
  for (const char16_t* key : {u"Topic", u"topi", u"topicc", u"", u"nothing", u"size"}) {
    EXPECT_FALSE(out.GetCurStr(key, text));
  }
  EXPECT_FALSE(out.GetCurStr(nullptr, text));
  EXPECT_FALSE(out.GetCurI4(u"replace", number));
  EXPECT_FALSE(out.GetCurI2(u"size", shortNumber));
  EXPECT_FALSE(out.GetCurBin(u"topic", bytes, sizeof bytes, number));
  // A binary value is read whole or not at all.
  EXPECT_FALSE(out.GetCurBin(u"binary", bytes, sizeof blob - 1, number));
  EXPECT_FALSE(out.GetCurBin(u"binary", bytes, -1, number));
  EXPECT_FALSE(out.GetCurBin(u"binary", nullptr, 8, number));
  EXPECT_FALSE(out.GetCurBin(u"flag", nullptr, -1, number));
  EXPECT_TRUE(text == u"before" && number == 77 && shortNumber == 78 && bytes[0] == 9);
  EXPECT_TRUE(out.GetCurBin(u"flag", nullptr, 0, number));
  EXPECT_EQ(number, 0);
}

TEST_F(DfsTest, AnOverflowIsRememberedUntilEmptied) {
  const std::u16string longText(5000, u'x');
  EXPECT_TRUE(out.AddValueI4(1, u"size"));
  EXPECT_FALSE(out.AddValueStr(longText.c_str(), u"data"));
  EXPECT_TRUE(out.HasOverflow());
  EXPECT_FALSE(out.AddValueI2(1, u"small"));
  EXPECT_EQ(out.GetData(), nullptr);
  EXPECT_EQ(out.GetDataSize(), 0);
  out.SetEmpty();
  EXPECT_FALSE(out.HasOverflow());
  std::int32_t number = 0;
  EXPECT_FALSE(out.GetCurI4(u"size", number));
  EXPECT_TRUE(out.AddValueI2(1, u"small"));
}

// Header 6, tag 2, key 1, value 4.
TEST_F(DfsTest, TheLastByteOfTheBufferIsUsedAndNoneBehindIt) {
  for (std::int64_t size = 0; size < 20; ++size) {
    std::fill_n(buffer, 32, std::uint8_t{0xEE});
    EXPECT_EQ(out.AssignEmptyBuffer(buffer, size, false), size >= 6);
    EXPECT_EQ(out.AddValueI4(1, u"k"), size >= 13);
    EXPECT_EQ(out.HasOverflow(), size < 13);
    EXPECT_EQ(buffer[size], 0xEE);
  }
}

TEST_F(DfsTest, WhatCannotBeRepresentedIsRefused) {
  const std::u16string key255(255, u'k');
  EXPECT_TRUE(out.AddValueI4(1, key255.c_str()));
  EXPECT_FALSE(out.AddValueI4(1, (key255 + u"k").c_str()));
  EXPECT_TRUE(out.HasOverflow());
  out.SetEmpty();
  EXPECT_FALSE(out.AddValueBin(nullptr, 1, u"binary"));
  out.SetEmpty();
  EXPECT_FALSE(out.AddValueBin(blob, -1, u"binary"));
  DfsBin unbound;
  EXPECT_EQ(unbound.GetDataSize(), 6);
  EXPECT_FALSE(unbound.AddValueI4(1, u"a"));
  EXPECT_FALSE(unbound.AssignEmptyBuffer(static_cast<std::uint8_t*>(nullptr), 100, false));
  EXPECT_TRUE(unbound.HasOverflow());
}

TEST_F(DfsTest, ReceivedBytesAreReadOnlyAndLetGo) {
  addOneOfEach();
  const Bytes bytes = sent();
  EXPECT_TRUE(out.Assign(bytes.data(), bytes.size()));
  EXPECT_FALSE(out.AddValueI4(1, u"more"));
  // Read-only they are also where they lie in the buffer itself.
  DfsBin in;
  in.AssignEmptyBuffer(buffer, 6, false);
  std::copy(bytes.begin(), bytes.end(), buffer);
  EXPECT_TRUE(in.Assign(buffer, bytes.size()));
  EXPECT_FALSE(in.AddValueI4(1, u"more"));
  EXPECT_EQ(Bytes(buffer, buffer + bytes.size()), bytes);
  out.SetEmpty();
  UnicodeString text;
  EXPECT_FALSE(out.GetCurStr(u"topic", text));
  EXPECT_TRUE(out.AddValueI4(1, u"more"));
  EXPECT_EQ(out.GetData(), buffer);
}

TEST_F(DfsTest, AnotherHeaderOrSizeIsRefused) {
  addOneOfEach();
  Bytes bytes = sent();
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    // A copy of its own, so that the address sanitizer sees a read past the end.
    const Bytes cut(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_FALSE(DfsBin().Assign(cut.data(), size)) << size;
  }
  for (std::size_t at = 0; at < 6; ++at) {
    Bytes changed = bytes;
    changed[at] ^= 0x10;
    EXPECT_FALSE(DfsBin().Assign(changed.data(), changed.size())) << at;
  }
  bytes.push_back(0);
  EXPECT_FALSE(DfsBin().Assign(bytes.data(), bytes.size()));
  EXPECT_FALSE(DfsBin().Assign(nullptr, 6));
}

// The header's size made to fit: only cuts between two fields leave a container.
TEST_F(DfsTest, ATruncationInsideAFieldIsRefused) {
  std::set<std::int32_t> ends = {out.GetDataSize()};
  out.AddValueStr(u"text", u"\u20ACkey");
  ends.insert(out.GetDataSize());
  const Bytes content(200, 0x81);
  out.AddValueBin(content.data(), 200, u"binary");
  ends.insert(out.GetDataSize());
  out.AddValueI4(1, u"size");
  for (std::int32_t size = 6; size < out.GetDataSize(); ++size) {
    Bytes cut(buffer, buffer + size);
    cut[2] = static_cast<std::uint8_t>(size);
    cut[3] = static_cast<std::uint8_t>(size >> 8);
    EXPECT_EQ(DfsBin().Assign(cut.data(), cut.size()), ends.contains(size)) << size;
  }
}

TEST_F(DfsTest, MalformedFieldsAreRefusedAsAWhole) {
  const struct {
    const char* what;
    Bytes field;
    bool valid;
  } cases[] = {
      {"no field", {}, true},
      {"I2", {3, 1, 'k', 1, 0}, true},
      {"type 0", {0, 1, 'k', 1, 0}, false},
      {"type 5", {5, 1, 'k', 1, 0}, false},
      {"tag without key length", {3}, false},
      {"key past the end", {3, 200, 'k', 1, 0}, false},
      {"value past the end", {2, 1, 'k', 1, 0, 0}, false},
      {"zero in the key", {3, 1, 0, 1, 0}, false},
      {"wide key", {0x83, 1, 0xAC, 0x20, 1, 0}, true},
      {"wide key without need", {0x83, 1, 'k', 0, 1, 0}, false},
      {"zero in a wide key", {0x83, 2, 0xAC, 0x20, 0, 0, 1, 0}, false},
      {"text", {1, 1, 'k', 1, 'x', 0}, true},
      {"zero in a text", {1, 1, 'k', 2, 'x', 0, 0, 0}, false},
      {"half a character", {1, 1, 'k', 1, 'x'}, false},
      {"huge count", {4, 1, 'k', 0xFF, 0xFF, 0xFF, 0xFF, 0x0F}, false},
      {"count beyond 32 bits", {4, 1, 'k', 0xFF, 0xFF, 0xFF, 0xFF, 0x1F}, false},
      {"count without end", {4, 1, 'k', 0x80, 0x80, 0x80, 0x80, 0x80, 0}, false},
      {"count longer than needed", {4, 1, 'k', 0x81, 0, 7}, false},
      {"valid, then broken", {3, 1, 'k', 1, 0, 9}, false},
  };
  for (const auto& [what, field, valid] : cases) {
    Bytes bytes = {0xDF, 1, static_cast<std::uint8_t>(6 + field.size()), 0, 0, 0};
    bytes.insert(bytes.end(), field.begin(), field.end());
    DfsBin in;
    EXPECT_EQ(in.Assign(bytes.data(), bytes.size()), valid) << what;
    EXPECT_EQ(in.GetDataSize(), valid ? static_cast<std::int32_t>(bytes.size()) : 6) << what;
  }
}

}  // namespace
