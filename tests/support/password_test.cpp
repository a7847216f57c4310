#include "platform/password/Password.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

#include "tests/support/print.h"

namespace {

const UnicodeString punctuation = u"!#$%&()*+,-./:;<=>?@";

bool isLower(char16_t character) {
  return character >= u'a' && character <= u'z';
}
bool isUpper(char16_t character) {
  return character >= u'A' && character <= u'Z';
}
bool isDigit(char16_t character) {
  return character >= u'0' && character <= u'9';
}
bool isPunctuation(char16_t character) {
  return punctuation.Find(character) >= 0;
}

struct Case {
  std::int32_t minLength, maxLength;
  const UnicodeString* set;
  std::int32_t minima[4];
  std::int32_t expectedMinLength, expectedMaxLength;
};

TEST(PasswordTest, FollowsItsRule) {
  const UnicodeString none;
  const Case cases[] = {
      {20, 20, &punctuation, {1, 1, 1, 1}, 20, 20},
      {8, 12, &punctuation, {2, 2, 2, 2}, 8, 12},
      {4, 4, &punctuation, {1, 1, 1, 1}, 4, 4},
      {2, 3, &punctuation, {3, 3, 3, 3}, 12, 12},
      {9, 5, &punctuation, {0, 0, 0, 0}, 9, 9},
      {6, 6, &none, {1, 1, 1, 6}, 6, 6},
      {-3, 0, &none, {-1, 0, 0, 0}, 0, 0},
      {5, 5, &none, {0, 0, 5, 0}, 5, 5},
      {2000000000,
       2000000000,
       &none,
       {1, 2000000000, 2000000000, 0},
       Password::lengthLimit,
       Password::lengthLimit},
  };
  for (const Case& test : cases) {
    const Password password(test.minLength, test.maxLength, *test.set, test.minima[0], test.minima[1],
                            test.minima[2], test.minima[3]);
    for (int round = 0; round < 50; ++round) {
      const UnicodeString text = password.Create();
      const auto count = [&](auto kind) {
        return std::count_if(text.View().begin(), text.View().end(), kind);
      };
      EXPECT_GE(text.GetLength(), test.expectedMinLength);
      EXPECT_LE(text.GetLength(), test.expectedMaxLength);
      if (test.expectedMaxLength == Password::lengthLimit) continue;
      EXPECT_GE(count(isLower), test.minima[0]);
      EXPECT_GE(count(isUpper), test.minima[1]);
      EXPECT_GE(count(isDigit), test.minima[2]);
      EXPECT_GE(count(isPunctuation), test.set->IsEmpty() ? 0 : test.minima[3]);
      EXPECT_EQ(count(isLower) + count(isUpper) + count(isDigit) + count(isPunctuation), text.GetLength());
    }
  }
}

TEST(PasswordTest, NoTwoAreAlike) {
  const Password password(20, 20, punctuation, 1, 1, 1, 1);
  std::set<UnicodeString> made;
  for (int round = 0; round < 2000; ++round) made.insert(password.Create());
  EXPECT_EQ(made.size(), 2000U);
}

// 82 characters at each of 20 places, 20,000 passwords: 244 expected a character and place; a fair source
// strays by more than 100 from that less than once in a million runs.
TEST(PasswordTest, EveryCharacterComesAtEveryPlace) {
  const Password password(20, 20, punctuation, 0, 0, 0, 0);
  std::map<std::pair<int, char16_t>, int> counts;
  for (int round = 0; round < 20000; ++round) {
    const UnicodeString text = password.Create();
    for (int place = 0; place < 20; ++place) ++counts[{place, text[place]}];
  }
  EXPECT_EQ(counts.size(), 20U * 82U);
  for (const auto& [at, count] : counts) EXPECT_NEAR(count, 244, 100) << at.first;
}

TEST(PasswordTest, EveryLengthOccurs) {
  const Password password(3, 5, punctuation, 0, 0, 0, 0);
  std::map<std::int32_t, int> lengths;
  for (int round = 0; round < 3000; ++round) ++lengths[password.Create().GetLength()];
  ASSERT_EQ(lengths.size(), 3U);
  for (const auto& [length, count] : lengths) EXPECT_NEAR(count, 1000, 200) << length;
}

}  // namespace
