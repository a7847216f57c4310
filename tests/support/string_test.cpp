#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <set>
#include <tuple>

#include "platform/support/UnicodeString.h"
#include "tests/support/print.h"

namespace {

const UnicodeString abc = u"abcdef";

TEST(UnicodeStringTest, Parts) {
  constexpr std::int32_t most = std::numeric_limits<std::int32_t>::max();
  constexpr std::int32_t least = std::numeric_limits<std::int32_t>::min();
  const std::pair<std::int32_t, const char16_t*> lefts[] = {
      {0, u""}, {2, u"ab"}, {6, u"abcdef"}, {most, u"abcdef"}, {least, u""}};
  for (const auto& [count, part] : lefts) EXPECT_EQ(abc.Left(count), part) << count;
  const std::pair<std::int32_t, const char16_t*> rights[] = {{0, u""}, {2, u"ef"}, {7, u"abcdef"}, {-1, u""}};
  for (const auto& [count, part] : rights) EXPECT_EQ(abc.Right(count), part) << count;
  const std::pair<std::int32_t, const char16_t*> rests[] = {
      {0, u"abcdef"}, {4, u"ef"}, {6, u""}, {most, u""}, {-3, u"abcdef"}};
  for (const auto& [start, part] : rests) EXPECT_EQ(abc.Mid(start), part) << start;
  const std::tuple<std::int32_t, std::int32_t, const char16_t*> parts[] = {
      {4, 4, u"ef"}, {1, 2, u"bc"}, {2, 0, u""},         {2, -1, u""},
      {6, 1, u""},   {9, 1, u""},   {1, most, u"bcdef"}, {least, most, abc}};
  for (const auto& [start, count, part] : parts)
    EXPECT_EQ(abc.Mid(start, count), part) << start << ' ' << count;
  EXPECT_TRUE(UnicodeString().Left(1).IsEmpty() && UnicodeString().Mid(0, 1).IsEmpty());
}

TEST(UnicodeStringTest, Find) {
  const UnicodeString path = u"a\\b\\c";
  const std::tuple<char16_t, std::int32_t, std::int32_t> cases[] = {
      {u'\\', 0, 1}, {u'\\', 1, 1}, {u'\\', 2, 3}, {u'\\', 4, -1},
      {u'x', 0, -1}, {u'a', -5, 0}, {u'c', 99, -1}};
  for (const auto& [character, start, expected] : cases)
    EXPECT_EQ(path.Find(character, start), expected) << start;
  EXPECT_EQ(path.Find(u'b'), 2);
}

TEST(UnicodeStringTest, Trim) {
  const std::tuple<const char16_t*, const char16_t*, const char16_t*> cases[] = {
      {u"  a b\t\r\n", u" \t\r\n", u"a b"},
      {u" \t ", u" \t", u""},
      {u"abc", u" ", u"abc"},
      {u"xabcx", u"xc", u"ab"},
      {u"", u" ", u""},
      {u" a ", u"", u" a "},
      {u" a ", nullptr, u" a "}};
  for (const auto& [text, set, expected] : cases) {
    UnicodeString trimmed = text;
    trimmed.Trim(set);
    EXPECT_EQ(trimmed, expected);
  }
}

TEST(UnicodeStringTest, Construction) {
  EXPECT_EQ(UnicodeString("Größe"), u"Größe");
  EXPECT_EQ(UnicodeString(static_cast<const char*>(nullptr)), u"");
  EXPECT_EQ(UnicodeString(static_cast<const char16_t*>(nullptr)), u"");
  EXPECT_EQ(UnicodeString(nullptr), u"");
  EXPECT_EQ(UnicodeString(0), u"0");
  EXPECT_EQ(UnicodeString(-7), u"-7");
  EXPECT_EQ(UnicodeString(std::numeric_limits<std::int32_t>::min()), u"-2147483648");
}

template <class Type>
concept Appendable = requires(UnicodeString text, Type value) {
  text += value;
};

TEST(UnicodeStringTest, CharactersAndNumbersAreNotTakenForEachOther) {
  static_assert(!std::is_constructible_v<UnicodeString, char16_t>);
  static_assert(!std::is_constructible_v<UnicodeString, char>);
  static_assert(!std::is_assignable_v<UnicodeString&, char16_t>);
  static_assert(!std::is_assignable_v<UnicodeString&, char>);
  static_assert(Appendable<char16_t> && Appendable<UnicodeString> && Appendable<const char16_t*>);
  static_assert(!Appendable<std::int32_t> && !Appendable<std::uint32_t> && !Appendable<char>);
}

TEST(UnicodeStringTest, Sums) {
  UnicodeString text = u"a";
  text = text + u"b" + UnicodeString(u"c") + (u"d" + text);
  EXPECT_EQ(text, u"abcda");
  text += text;
  text += u'-';
  text += u"x";
  text += nullptr;
  EXPECT_EQ(text, u"abcdaabcda-x");
  const char16_t* const inside = text;
  text += inside + 10;
  EXPECT_EQ(text, u"abcdaabcda-x-x");
  text = static_cast<const char16_t*>(text) + 12;
  EXPECT_EQ(text, u"-x");
  text = 0;
  EXPECT_EQ(text, u"0");
  text = nullptr;
  EXPECT_TRUE(text.IsEmpty());
}

TEST(UnicodeStringTest, ComparesTextsAndNotAddresses) {
  const UnicodeString lower = u"abc";
  const std::u16string same = u"abc";
  EXPECT_TRUE(lower == same.c_str() && same.c_str() == lower && lower == UnicodeString(same));
  EXPECT_TRUE(lower != u"abd" && lower < u"abd" && u"abb" < lower && lower > UnicodeString(u"ABC"));
  EXPECT_EQ(lower.Compare(u"abc"), 0);
  EXPECT_LT(lower.Compare(u"abd"), 0);
  EXPECT_GT(lower.Compare(u"ABC"), 0);
  EXPECT_GT(lower.Compare(nullptr), 0);
  const UnicodeString withZero(std::u16string_view(u"a\0b", 3));
  EXPECT_EQ(withZero.Compare(UnicodeString(withZero)), 0);
  EXPECT_NE(withZero.Compare(u"a"), 0);
  EXPECT_LT(UnicodeString(u"\xD83D").Compare(u"\xFFFD"), 0);
  EXPECT_EQ((std::set<UnicodeString>{u"b", u"a", u"b"}.size()), 2U);
}

TEST(UnicodeStringTest, BufferKeepsTheTextAndEndsAtTheFirstZero) {
  UnicodeString text = u"abc";
  char16_t* buffer = text.GetBuffer(10);
  EXPECT_EQ(std::u16string_view(buffer), u"abc");
  std::fill_n(buffer + 3, 7, u'x');
  text.ReleaseBuffer(-1);
  EXPECT_EQ(text, u"abcxxxxxxx");

  buffer = text.GetBuffer();
  buffer[2] = 0;
  text.ReleaseBuffer();
  EXPECT_EQ(text.GetLength(), 2);

  text.GetBuffer(100);
  text.ReleaseBuffer(-1);
  EXPECT_EQ(text, u"ab");

  text.GetBufferSetLength(4)[2] = u'z';
  text.ReleaseBuffer(3);
  EXPECT_EQ(text, u"abz");
  text.GetBufferSetLength(1);
  text.ReleaseBuffer(50);
  EXPECT_EQ(text, u"a");
}

TEST(UnicodeStringTest, FormatsFromItself) {
  UnicodeString text = u"x";
  text.Format(u"<%s>%d", text, 5);
  EXPECT_EQ(text, u"<x>5");
  text.Format(nullptr);
  EXPECT_EQ(text, u"");
}

}  // namespace
