// Walking over sub keys and values, in order and out of order, with changes in between.
#include <algorithm>
#include <random>

#include "tests/registry/RegistryTest.h"

namespace regtest {

namespace {

using Names = std::vector<std::u16string>;

std::u16string number(int n) {
  return support::toUtf16(std::to_string(n));
}

// Some values of each kind: inside the key's record, and outside for their data or their name.
Names makeValues(HKEY key, int count) {
  Names names;
  for (int n = 0; n < count; ++n) {
    names.push_back(number(100 + n * 37 % count) + (n % 7 == 0 ? std::u16string(70, u'l') : u""));
    EXPECT_EQ(setValue(key, names.back(), std::string(n % 5 == 0 ? 300 : 3, 'x')), 0);
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace

TEST_P(RegistryContract, WalksGoByTheFoldedName) {
  for (const char16_t* name :
       {u"b", u"A", u"\u00C4", u"a1", u"C", u"\u00E0", u"Z", u"\U00010400", u"\uFF21"}) {
    ASSERT_EQ(Key::create(key(), name).status(), 0);
    ASSERT_EQ(setValue(key(), name, ""), 0);
  }
  const Names expected = {u"A", u"a1", u"b", u"C", u"Z", u"\u00E0", u"\u00C4", u"\uFF21", u"\U00010400"};
  EXPECT_EQ(subKeysOf(key()), expected);
  EXPECT_EQ(valueNamesOf(key()), expected);
}

TEST_P(RegistryContract, AnyOrderOfNumbersGivesTheSame) {
  const Names values = makeValues(key(), 60);
  Names keys;
  for (int n = 0; n < 60; ++n) {
    keys.push_back(number(100 + n));
    ASSERT_EQ(Key::create(key(), keys.back()).status(), 0);
  }
  std::vector<DWORD> order;
  for (DWORD at = 0; at < 60; ++at) order.insert(order.end(), {at, at, 59 - at});
  std::shuffle(order.begin(), order.end(), std::mt19937(11));
  for (const DWORD at : order) {
    EXPECT_EQ(valueNameAt(key(), at), std::pair(0, values[at]));
    EXPECT_EQ(subKeyAt(key(), at), std::pair(0, keys[at]));
  }
  for (const DWORD past : {60U, 61U, 0xFFFFFFFFU}) {
    EXPECT_EQ(valueNameAt(key(), past).first, ERROR_NO_MORE_ITEMS);
    EXPECT_EQ(subKeyAt(key(), past).first, ERROR_NO_MORE_ITEMS);
  }
}

TEST_P(RegistryContract, AWalkFollowsChangesInBetween) {
  Names names = makeValues(key(), 40);
  std::mt19937 random(12);
  for (DWORD at = 0; at < names.size(); ++at) {
    ASSERT_EQ(valueNameAt(key(), at), std::pair(0, names[at]));
    const std::size_t victim = random() % names.size();
    if (random() % 2 == 0) {
      ASSERT_EQ(RegDeleteValueW(key(), names[victim].c_str()), 0);
      names.erase(names.begin() + static_cast<std::ptrdiff_t>(victim));
    } else {
      names.push_back(number(static_cast<int>(random() % 900) + 1000));
      ASSERT_EQ(setValue(key(), names.back(), "y"), 0);
      std::sort(names.begin(), names.end());
      names.erase(std::unique(names.begin(), names.end()), names.end());
    }
  }
  EXPECT_EQ(valueNamesOf(key()), names);
}

TEST_P(RegistryContract, DeletingTheFirstUntilNoneIsLeft) {
  for (int n = 0; n < 30; ++n) ASSERT_EQ(Key::create(key(), number(n)).status(), 0);
  for (int left = 30; left > 0; --left) {
    ASSERT_EQ(infoOf(key()).subKeys, static_cast<DWORD>(left));
    const auto [status, name] = subKeyAt(key(), 0);
    ASSERT_EQ(status, 0);
    ASSERT_EQ(RegDeleteKeyW(key(), name.c_str()), 0);
  }
  EXPECT_EQ(subKeyAt(key(), 0).first, ERROR_NO_MORE_ITEMS);
}

TEST_P(RegistryContract, TwoWalksAtOnceDoNotDisturbEachOther) {
  const Key other = Key::create(key(), u"other");
  const Names mine = makeValues(key(), 20);
  const Names theirs = makeValues(other, 25);
  for (DWORD at = 0; at < 20; ++at) {
    EXPECT_EQ(valueNameAt(key(), at).second, mine[at]);
    EXPECT_EQ(valueNameAt(other, at).second, theirs[at]);
  }
}

TEST_P(RegistryContract, BuffersOfAnEnumeration) {
  ASSERT_EQ(setValue(key(), u"name", std::string(300, 'd'), REG_SZ), 0);
  ASSERT_EQ(Key::create(key(), u"name").status(), 0);
  char16_t name[8];
  BYTE data[300];
  DWORD type = 99;
  DWORD nameSize = 4;
  DWORD size = 300;
  EXPECT_EQ(RegEnumKeyExW(key(), 0, name, &nameSize, nullptr, nullptr, nullptr, nullptr), ERROR_MORE_DATA);
  nameSize = 4;
  EXPECT_EQ(RegEnumValueW(key(), 0, name, &nameSize, nullptr, nullptr, nullptr, nullptr), ERROR_MORE_DATA);
  nameSize = 5;
  EXPECT_EQ(RegEnumKeyExW(key(), 0, name, &nameSize, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(nameSize, 4U);
  EXPECT_EQ(std::u16string(name), u"name");
  nameSize = 5;
  size = 299;
  EXPECT_EQ(RegEnumValueW(key(), 0, name, &nameSize, nullptr, &type, data, &size), ERROR_MORE_DATA);
  EXPECT_EQ(size, 300U);
  EXPECT_EQ(type, REG_SZ);
  EXPECT_EQ(nameSize, 5U) << "so that the call can be repeated with a larger buffer";
  EXPECT_EQ(RegEnumValueW(key(), 0, name, &nameSize, nullptr, &type, data, &size), 0);
  EXPECT_EQ(nameSize, 4U);
  EXPECT_EQ(std::string(data, data + size), std::string(300, 'd'));
  nameSize = 5;
  size = 0;
  EXPECT_EQ(RegEnumValueW(key(), 0, name, &nameSize, nullptr, nullptr, nullptr, &size), 0);
  EXPECT_EQ(size, 300U) << "a null buffer only asks";
}

// What a thread remembers of one store means nothing in another. A child makes the second one, from the
// same start, so that the keys of both have the same numbers and revisions.
TEST(RegistryEnumeration, AWalkDoesNotGoOnInAnotherStore) {
  const TempStore store;
  const auto fill = [](char16_t letter) {
    const Key key = Key::create(HKEY_USERS, u"k");
    for (const char16_t digit : {u'1', u'2', u'3'}) {
      if (setValue(key, {letter, digit}, "") != 0 || Key::create(key, {letter, digit}).status() != 0)
        return 1;
    }
    return 0;
  };
  ASSERT_EQ(inChild([&] {
              registry::useStore(store.beside("other"));
              return fill(u'a');
            }),
            "exit 0");
  ASSERT_EQ(fill(u'x'), 0);
  EXPECT_EQ(subKeyAt(Key::open(HKEY_USERS, u"k"), 0).second, u"x1");
  EXPECT_EQ(valueNameAt(Key::open(HKEY_USERS, u"k"), 0).second, u"x1");
  registry::useStore(store.beside("other"));
  EXPECT_EQ(subKeyAt(Key::open(HKEY_USERS, u"k"), 1).second, u"a2");
  EXPECT_EQ(valueNameAt(Key::open(HKEY_USERS, u"k"), 1).second, u"a2");
}

TEST(RegistryEnumeration, AWalkDoesNotGoOnInWhatWasTakenBack) {
  const TempStore store;
  const Key key = Key::create(HKEY_USERS, u"k");
  ASSERT_EQ(setValue(key, u"m", ""), 0);
  {
    const RegistryTransaction transaction;
    ASSERT_EQ(setValue(key, u"x", ""), 0);
    EXPECT_EQ(valueNameAt(key, 1).second, u"x");
  }
  ASSERT_EQ(setValue(key, u"a", ""), 0);  // the revision that the key had in the transaction
  EXPECT_EQ(valueNameAt(key, 1).second, u"m");
}

}  // namespace regtest
