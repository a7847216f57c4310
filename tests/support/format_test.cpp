#include <gtest/gtest.h>

#include <limits>

#include "platform/support/UnicodeString.h"
#include "tests/support/print.h"

namespace {

using support::format;

struct Case {
  std::u16string made;
  const char16_t* expected;
};

void check(std::initializer_list<Case> cases) {
  for (const auto& [made, expected] : cases) EXPECT_EQ(UnicodeString(made), expected);
}

const char16_t* const null = nullptr;
char16_t* const writableNull = nullptr;

TEST(FormatTest, Arguments) {
  check({
      {format(u"plain"), u"plain"},
      {format(u"%s: %i %s", u"a", -1, UnicodeString(u"b")), u"a: -1 b"},
      {format(u"%ld %lld %hd %I", 1L, std::int64_t{-5}, std::int16_t{3}), u"1 -5 3 %I"},
      {format(u"%d", std::numeric_limits<std::int64_t>::min()), u"-9223372036854775808"},
      {format(u"%u", std::numeric_limits<std::uint64_t>::max()), u"18446744073709551615"},
      {format(u"%d", std::uint32_t{0xFFFFFFFF}), u"4294967295"},
      {format(u"%x %X %#x", 255, 0xABCU, 16), u"ff ABC 0x10"},
      {format(u"%x", std::int32_t{-1}), u"ffffffff"},
      {format(u"%c%c", u'a', 98), u"ab"},
      {format(u"%d", true), u"1"},
      {format(u"%s|%s|%s", null, writableNull, nullptr), u"(null)|(null)|(null)"},
  });
}

TEST(FormatTest, FlagsWidthAndPrecision) {
  check({
      {format(u"[%5d][%-5d][%05d]", 42, 42, -42), u"[   42][42   ][-0042]"},
      {format(u"[%+d][% d][%.3d][%5.3d]", 1, 1, 7, 7), u"[+1][ 1][007][  007]"},
      {format(u"[%08X][%#06x]", 0x30000000, 5), u"[30000000][0x0005]"},
      {format(u"[%6s][%-6s][%.2s]", u"abc", u"abc", u"abc"), u"[   abc][abc   ][ab]"},
  });
  EXPECT_LT(format(u"%99999999999999d", 1).size(), 10000U);
}

TEST(FormatTest, MismatchesAreHarmless) {
  check({
      {format(u"%d%%", 50), u"50%"},
      {format(u"%d", u"text"), u"text"},
      {format(u"%.2d|%.1c", u"text", u"text"), u"text|text"},
      {format(u"%s", 12), u"12"},
      {format(u"%.1s", -12), u"-12"},
      {format(u"%s and %s", u"one"), u"one and %s"},
      {format(u"%s"), u"%s"},
      {format(u"none", 1, u"x"), u"none"},
      {format(u"100%", 1), u"100%"},
      {format(u"%", 1), u"%"},
      {format(u"%-", 1), u"%-"},
      {format(u"%n%s", u"x"), u"%nx"},
      {format(u"%y%d", 3), u"%y3"},
      {format(u"%5%d", 3), u"%53"},
      {format(u"%s", u"%d %s"), u"%d %s"},
  });
}

}  // namespace
