#include <gtest/gtest.h>

#include <string>

#include "platform/support/StrCrypt.h"

namespace {

bool isPrintable(char16_t character) {
  return character >= 0x20 && character <= 0x7E;
}

// Every character at 300 neighbouring places, which see every shift of the low byte many times over.
TEST(StrCryptTest, RestoresEveryCharacterAndKeepsItsKind) {
  for (std::uint32_t code = 1; code <= 0xFFFF; ++code) {
    const auto character = static_cast<char16_t>(code);
    const std::u16string plain(300, character);
    std::u16string text = plain;
    StrCrypt(text.data());
    for (const char16_t scrambled : text) {
      ASSERT_NE(scrambled, 0) << code;
      ASSERT_EQ(scrambled & 0xFF00, character & 0xFF00) << code;
      ASSERT_EQ(isPrintable(scrambled), isPrintable(character)) << code;
      ASSERT_EQ(scrambled >= 0xFFFE, character >= 0xFFFE) << code;
    }
    StrCrypt(text.data());
    ASSERT_EQ(text, plain) << code;
  }
}

// What one version stored, the next must restore. Equal characters come out differently.
TEST(StrCryptTest, TheScramblingIsFixed) {
  std::u16string text = u"          Secret-1 \u20AC\U0001F600          ";
  StrCrypt(text.data());
  EXPECT_EQ(text, u"R>$n\\%Z`ZL{AIF3f_=`\u20E5\U0002CA1Ad0|IyLr\"HM");
}

TEST(StrCryptTest, StopsAtTheTerminator) {
  std::u16string text(u"\0abc", 4);
  StrCrypt(text.data());
  EXPECT_EQ(text, std::u16string(u"\0abc", 4));
  StrCrypt(nullptr);
}

}  // namespace
