// Walking over sub keys and values, in order and out of order, with changes in between.
#include <algorithm>
#include <random>
#include <set>

#include "tests/registry/RegistryTest.h"

namespace regtest {
namespace {

// Some values of each kind: inside the key's record, and outside for their data or their name.
Names makeValues(HKEY key, int count) {
  Names names;
  for (int n = 0; n < count; ++n) {
    names.push_back(digits(100 + n * 37 % count) + (n % 7 == 0 ? std::u16string(70, u'l') : u""));
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
    keys.push_back(digits(100 + n));
    ASSERT_EQ(Key::create(key(), keys.back()).status(), 0);
  }
  const Key other = Key::open(key(), keys[7]);
  const Names theirs = makeValues(other, 25);
  std::vector<DWORD> order;
  for (DWORD at = 0; at < 60; ++at) order.insert(order.end(), {at, at, 59 - at});
  std::shuffle(order.begin(), order.end(), std::mt19937(11));
  for (DWORD at = 0; at < 60; ++at) order.push_back(at);
  for (const DWORD at : order) {
    EXPECT_EQ(valueNameAt(key(), at), std::pair(0, values[at]));
    EXPECT_EQ(subKeyAt(key(), at), std::pair(0, keys[at]));
    EXPECT_EQ(valueNameAt(other, at % 25), std::pair(0, theirs[at % 25]));
  }
  for (const DWORD past : {60U, 61U, 0xFFFFFFFFU}) {
    EXPECT_EQ(valueNameAt(key(), past).first, ERROR_NO_MORE_ITEMS);
    EXPECT_EQ(subKeyAt(key(), past).first, ERROR_NO_MORE_ITEMS);
  }
}

TEST_P(RegistryContract, AWalkFollowsChangesInBetween) {
  std::mt19937 random(12);
  const Names made = makeValues(key(), 40);
  for (const std::u16string& name : made) ASSERT_EQ(Key::create(key(), name).status(), 0);
  const auto walk = [&](auto nameAt, auto make, auto remove) {
    std::set<std::u16string> names(made.begin(), made.end());
    for (DWORD at = 0; at < names.size(); ++at) {
      ASSERT_EQ(nameAt(key(), at), std::pair(0, *std::next(names.begin(), at)));
      if (random() % 2 == 0) {
        const auto victim = std::next(names.begin(), static_cast<std::ptrdiff_t>(random() % names.size()));
        ASSERT_EQ(remove(key(), victim->c_str()), 0);
        names.erase(victim);
      } else {
        const auto added = names.insert(digits(static_cast<int>(random() % 900) + 1000)).first;
        ASSERT_EQ(make(key(), *added), 0);
      }
    }
    EXPECT_EQ(namesOf(key(), nameAt), Names(names.begin(), names.end()));
  };
  walk(
      valueNameAt, [](HKEY at, const std::u16string& name) { return setValue(at, name, "y"); },
      RegDeleteValueW);
  walk(
      subKeyAt, [](HKEY at, const std::u16string& name) { return Key::create(at, name).status(); },
      RegDeleteKeyW);
}

TEST_P(RegistryContract, BuffersOfAnEnumeration) {
  ASSERT_EQ(setValue(key(), u"name", std::string(300, 'd'), REG_SZ), 0);
  ASSERT_EQ(Key::create(key(), u"name").status(), 0);
  char16_t name[8];
  BYTE data[300];
  DWORD nameSize = 0;
  DWORD size = 0;
  DWORD type = 99;
  const auto keyWith = [&](DWORD room) {
    nameSize = room;
    return RegEnumKeyExW(key(), 0, name, &nameSize, nullptr, nullptr, nullptr, nullptr);
  };
  const auto valueWith = [&](DWORD nameRoom, DWORD room, BYTE* to) {
    nameSize = nameRoom;
    size = room;
    return RegEnumValueW(key(), 0, name, &nameSize, nullptr, &type, to, &size);
  };
  EXPECT_EQ(keyWith(4), ERROR_MORE_DATA);
  EXPECT_EQ(keyWith(5), 0);
  EXPECT_EQ(nameSize, 4U);
  EXPECT_EQ(std::u16string(name), u"name");
  EXPECT_EQ(valueWith(4, 300, data), ERROR_MORE_DATA);
  EXPECT_EQ(valueWith(5, 299, data), ERROR_MORE_DATA);
  EXPECT_EQ(size, 300U);
  EXPECT_EQ(type, REG_SZ);
  EXPECT_EQ(nameSize, 5U) << "so that the call can be repeated with a larger buffer";
  EXPECT_EQ(valueWith(5, 300, data), 0);
  EXPECT_EQ(nameSize, 4U);
  EXPECT_EQ(std::string(data, data + size), std::string(300, 'd'));
  EXPECT_EQ(valueWith(5, 0, nullptr), 0);
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
