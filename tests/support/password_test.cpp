#include "platform/password/Password.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

#include "tests/support/print.h"

namespace {

const UnicodeString punctuation = u"!#$%&()*+,-./:;<=>?@";

const std::u16string_view kinds[] = {u"abcdefghijklmnopqrstuvwxyz", u"ABCDEFGHIJKLMNOPQRSTUVWXYZ",
                                     u"0123456789", punctuation.View()};

TEST(PasswordTest, FollowsItsRule) {
  const UnicodeString none;
  constexpr std::int32_t limit = Password::lengthLimit;
  const struct {
    std::int32_t minLength, maxLength;
    const UnicodeString* set;
    std::int32_t minima[4];
    std::int32_t expectedMinLength, expectedMaxLength;
  } cases[] = {
      {20, 20, &punctuation, {1, 1, 1, 1}, 20, 20},
      {8, 12, &punctuation, {2, 2, 2, 2}, 8, 12},
      {4, 4, &punctuation, {1, 1, 1, 1}, 4, 4},
      {2, 3, &punctuation, {3, 3, 3, 3}, 12, 12},
      {9, 5, &punctuation, {0, 0, 0, 0}, 9, 9},
      {6, 6, &none, {1, 1, 1, 6}, 6, 6},
      {-3, 0, &none, {-1, 0, 0, 0}, 0, 0},
      {5, 5, &none, {0, 0, 5, 0}, 5, 5},
      {2000000000, 2000000000, &none, {1, 2000000000, 2000000000, 0}, limit, limit},
  };
  for (const auto& [minLength, maxLength, set, minima, atLeast, atMost] : cases) {
    SCOPED_TRACE(minLength);
    const Password password(minLength, maxLength, *set, minima[0], minima[1], minima[2], minima[3]);
    for (int round = 0; round < 50; ++round) {
      const UnicodeString text = password.Create();
      EXPECT_GE(text.GetLength(), atLeast);
      EXPECT_LE(text.GetLength(), atMost);
      if (atMost == limit) continue;
      std::int64_t known = 0;
      for (std::size_t kind = 0; kind < 4; ++kind) {
        const auto isOfKind = [&](char16_t character) {
          return kinds[kind].find(character) != kinds[kind].npos;
        };
        const auto count = std::count_if(text.View().begin(), text.View().end(), isOfKind);
        EXPECT_GE(count, kind == 3 && set->IsEmpty() ? 0 : minima[kind]) << kinds[kind].size();
        known += count;
      }
      EXPECT_EQ(known, text.GetLength());
    }
  }
}

// 82 characters at each of 20 places, 20,000 passwords: 244 expected a character and place; a fair source
// strays by more than 100 from that less than once in a million runs.
TEST(PasswordTest, NoTwoAreAlikeAndEveryCharacterComesAtEveryPlace) {
  const Password password(20, 20, punctuation, 0, 0, 0, 0);
  std::map<std::pair<int, char16_t>, int> counts;
  std::set<UnicodeString> made;
  for (int round = 0; round < 20000; ++round) {
    const UnicodeString text = password.Create();
    for (int place = 0; place < 20; ++place) ++counts[{place, text[place]}];
    made.insert(text);
  }
  EXPECT_EQ(made.size(), 20000U);
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
