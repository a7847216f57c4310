#include "platform/support/Utf.h"

#include <gtest/gtest.h>

namespace {

using support::toUtf16;
using support::toUtf8;

TEST(UtfTest, Forms) {
  EXPECT_EQ(toUtf8(u"a\u00DF\u20AC\U0001F600"), "a\xC3\x9F\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_EQ(toUtf16("a\xC3\x9F\xE2\x82\xAC\xF0\x9F\x98\x80"), u"a\u00DF\u20AC\U0001F600");
  EXPECT_EQ(toUtf8(std::u16string{0xD800}), "\xED\xA0\x80");
  EXPECT_EQ(toUtf8(std::u16string_view(u"a\0b", 3)).size(), 3U);
}

TEST(UtfTest, EveryCharacterAndEveryPairOfKindsSurvives) {
  for (std::uint32_t unit = 0; unit <= 0xFFFF; ++unit) {
    const std::u16string text(1, static_cast<char16_t>(unit));
    ASSERT_EQ(toUtf16(toUtf8(text)), text) << unit;
  }
  const char16_t kinds[] = {u'a', u'\u20AC', 0xD800, 0xDBFF, 0xDC00, 0xDFFF};
  for (const char16_t first : kinds) {
    for (const char16_t second : kinds) {
      for (const char16_t third : kinds) {
        const std::u16string text{first, second, third};
        ASSERT_EQ(toUtf16(toUtf8(text)), text);
      }
    }
  }
}

TEST(UtfTest, AMalformedByteCostsOneByte) {
  const std::pair<const char*, const char16_t*> cases[] = {{"\x80", u"\uFFFD"},
                                                           {"a\xFF\x62", u"a\uFFFDb"},
                                                           {"\xC3", u"\uFFFD"},
                                                           {"\xC3(", u"\uFFFD("},
                                                           {"\xC0\xAF", u"\uFFFD\uFFFD"},
                                                           {"\xC1\xBF", u"\uFFFD\uFFFD"},
                                                           {"\xE0\x80\xAF", u"\uFFFD\uFFFD\uFFFD"},
                                                           {"\xE2\x82", u"\uFFFD\uFFFD"},
                                                           {"\xE2\x82x", u"\uFFFD\uFFFDx"},
                                                           {"\xF0\x80\x80\xAF", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
                                                           {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
                                                           {"\xF5\x80\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
                                                           {"\xF0\x9F\x98", u"\uFFFD\uFFFD\uFFFD"}};
  for (const auto& [bytes, expected] : cases) EXPECT_EQ(toUtf16(bytes), expected) << bytes;
}

}  // namespace
