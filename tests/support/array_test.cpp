#include "platform/collections/CArray.h"

#include <gmock/gmock.h>

#include <limits>
#include <type_traits>

#include "tests/support/print.h"

namespace {

using Words = CArray<UnicodeString, UnicodeString>;

TEST(CArrayTest, GrowsToTheIndex) {
  Words words;
  words.SetAtGrow(words.GetSize(), u"zero");
  words.SetAtGrow(3, u"three");
  ASSERT_EQ(words.GetSize(), 4);
  EXPECT_EQ(words.GetAt(0), u"zero");
  EXPECT_EQ(words[1], u"");
  EXPECT_EQ(words[3], u"three");
  words.SetAtGrow(0, u"again");
  words[1] = u"one";
  EXPECT_EQ(words.Add(u"four"), 4);
  EXPECT_TRUE(words[0] == u"again" && words.GetAt(1) == u"one" && words.GetSize() == 5);
  words.RemoveAll();
  EXPECT_TRUE(words.IsEmpty());
}

TEST(CArrayTest, ABadIndexRaisesInvalidArgument) {
  Words words;
  words.Add(u"a");
  const Words& constant = words;
  for (const std::int32_t index :
       {-1, 1, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()}) {
    EXPECT_THROW(static_cast<void>(words.GetAt(index)), std::invalid_argument);
    EXPECT_THROW(static_cast<void>(words[index]), collections::InvalidIndex);
    EXPECT_THROW(static_cast<void>(constant[index]), collections::InvalidIndex);
  }
  EXPECT_THROW(words.SetAtGrow(-1, u"x"), std::invalid_argument);
  EXPECT_EQ(words.GetSize(), 1);
  EXPECT_THAT([&] { words.GetAt(7); },
              testing::ThrowsMessage<std::invalid_argument>("index 7 in an array of 1"));
}

TEST(CArrayTest, TakesItsOwnElementsWhileItGrows) {
  CArray<UnicodeString> words;
  words.Add(u"a text that is too long to lie in the object itself");
  for (int round = 0; round < 20; ++round) words.SetAtGrow(words.GetSize() + 1, words[0]);
  EXPECT_EQ(words[words.GetSize() - 1], words[0]);
}

TEST(CArrayTest, MovesButDoesNotCopy) {
  static_assert(!std::is_copy_constructible_v<Words> && !std::is_copy_assignable_v<Words>);
  Words words;
  words.Add(u"a");
  const Words moved = std::move(words);
  EXPECT_EQ(moved.GetAt(0), u"a");
}

}  // namespace
