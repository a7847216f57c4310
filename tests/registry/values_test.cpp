// Values: what goes in comes out; sizes, names, counts and maxima. Environment references.
#include "platform/registry/RegistryGlance.h"
#include "platform/registry/RegistryView.h"
#include "tests/registry/RegistryTest.h"

namespace regtest {
namespace {

constexpr unsigned maxSize = 16U << 20;

std::string bytes(std::size_t size, char first = 'a') {
  std::string data(size, '\0');
  for (std::size_t at = 0; at < size; ++at) data[at] = static_cast<char>(first + static_cast<char>(at % 23));
  return data;
}

}  // namespace

TEST_P(RegistryContract, ValuesComeBackExactly) {
  DWORD type = 0xFFFFFFFEU;
  for (const std::size_t size : {0U, 1U, 255U, 256U, 257U, 4096U, 1U << 20U, maxSize}) {
    const std::string data = bytes(size);
    EXPECT_EQ(setValue(key(), u"v", data, ++type), 0) << size;
    EXPECT_EQ(getValue(key(), u"V"), (Value{0, data, type}));
    EXPECT_EQ(infoOf(key()), (Info{0, 0, 1, 1, static_cast<DWORD>(size)}));
  }
  EXPECT_EQ(setValue(key(), u"v", std::string(maxSize + 1, 'x')), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(getValue(key(), u"v").data.size(), maxSize) << "a refused write changes nothing";
}

TEST_P(RegistryContract, SizesOfAQuery) {
  std::string buffer;
  DWORD type = 99;
  DWORD size = 98;
  const auto query = [&](const char16_t* name, bool intoBuffer) {
    auto* const data = intoBuffer ? reinterpret_cast<BYTE*>(buffer.data()) : nullptr;
    return RegQueryValueExW(key(), name, nullptr, &type, data, &size);
  };
  EXPECT_EQ(query(u"none", false), ERROR_FILE_NOT_FOUND);
  EXPECT_TRUE(type == 99 && size == 98) << "nothing is delivered";
  for (const DWORD stored : {4U, 300U, 5000U}) {
    ASSERT_EQ(setValue(key(), u"v", bytes(stored), REG_SZ), 0);
    for (const DWORD room : {0U, stored - 1}) {
      buffer.assign(stored, '#');
      size = room;
      EXPECT_EQ(query(u"v", true), ERROR_MORE_DATA) << stored << " bytes for " << room;
      EXPECT_EQ(size, stored);
      EXPECT_EQ(buffer, std::string(stored, '#'));
    }
    EXPECT_EQ(type, REG_SZ);
    size = 0;
    EXPECT_EQ(query(u"v", false), 0);
    EXPECT_EQ(size, stored);
    EXPECT_EQ(query(u"v", true), 0);
    EXPECT_EQ(buffer, bytes(stored));
    EXPECT_EQ(RegQueryValueExW(key(), u"v", nullptr, nullptr, nullptr, nullptr), 0);
  }
}

TEST_P(RegistryContract, NullAndEmptyNameAreTheDefaultValue) {
  const BYTE data[] = {1, 2};
  EXPECT_EQ(RegSetValueExW(key(), nullptr, 0, REG_BINARY, data, 2), 0);
  EXPECT_EQ(getValue(key(), u"").data, std::string("\1\2"));
  EXPECT_EQ(setValue(key(), u"", "three"), 0);
  DWORD size = 0;
  EXPECT_EQ(RegQueryValueExW(key(), nullptr, nullptr, nullptr, nullptr, &size), 0);
  EXPECT_EQ(size, 5U);
  EXPECT_EQ(valueNamesOf(key()), Names{u""});
  EXPECT_EQ(infoOf(key()), (Info{0, 0, 1, 0, 5}));
  EXPECT_EQ(RegDeleteValueW(key(), nullptr), 0);
  EXPECT_EQ(RegDeleteValueW(key(), u""), ERROR_FILE_NOT_FOUND);
}

TEST_P(RegistryContract, ValueNamesUpTo16383Characters) {
  for (const std::size_t length : {63U, 64U, 65U, 162U, 163U, 255U, 486U, 487U, 16383U}) {
    for (const char16_t letter : {u'n', u'\u4E00'}) {
      const std::u16string name(length, letter);
      EXPECT_EQ(setValue(key(), name, "data"), 0) << length;
      EXPECT_EQ(getValue(key(), name).data, "data") << length;
      EXPECT_EQ(infoOf(key()), (Info{0, 0, 1, static_cast<DWORD>(length), 4}));
      EXPECT_EQ(valueNamesOf(key()), Names{name});
      const std::u16string other = name.substr(1) + u"x";
      EXPECT_EQ(getValue(key(), other).status, ERROR_FILE_NOT_FOUND) << length;
      EXPECT_EQ(RegDeleteValueW(key(), name.c_str()), 0) << length;
      EXPECT_EQ(infoOf(key()), Info{});
    }
  }
  const std::u16string over(16384, u'n');
  EXPECT_EQ(setValue(key(), over, ""), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(getValue(key(), over).status, ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegDeleteValueW(key(), over.c_str()), ERROR_INVALID_PARAMETER);
}

TEST(ExpandEnvironmentStrings, ReplacesReferences) {
  ASSERT_EQ(::setenv("REGTEST_A", "alpha", 1), 0);
  ASSERT_EQ(::setenv("REGTEST_EMPTY", "", 1), 0);
  ASSERT_EQ(::setenv("REGTEST_NEST", "%REGTEST_A%", 1), 0);
  ASSERT_EQ(::setenv("REGTEST_Ü", "ü\xF0\x9F\x98\x80", 1), 0);
  ::unsetenv("REGTEST_NONE");
  const std::pair<std::u16string, std::u16string> cases[] = {
      {u"", u""},
      {u"plain", u"plain"},
      {u"%REGTEST_A%", u"alpha"},
      {u"<%REGTEST_A%>%REGTEST_A%", u"<alpha>alpha"},
      {u"%REGTEST_EMPTY%|", u"|"},
      {u"%REGTEST_NONE%", u"%REGTEST_NONE%"},
      {u"%REGTEST_NONE%REGTEST_A%", u"%REGTEST_NONEalpha"},
      {u"%REGTEST_NEST%", u"%REGTEST_A%"},
      {u"%regtest_Ü%%REGTEST_Ü%", u"%regtest_Ü%ü\U0001F600"},
      {u"100%", u"100%"},
      {u"%", u"%"},
      {u"%%", u"%%"},
      {u"%%REGTEST_A%%", u"%alpha%"},
      {u"50% of %REGTEST_A%", u"50% of alpha"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(support::toUtf8(c.first));
    const auto needed = static_cast<DWORD>(c.second.size() + 1);
    std::u16string buffer(needed, u'#');
    const auto expand = [&](char16_t* to, DWORD capacity) {
      return ExpandEnvironmentStringsW(c.first.c_str(), to, capacity);
    };
    EXPECT_EQ(expand(nullptr, 0), needed);
    EXPECT_EQ(expand(buffer.data(), needed - 1), needed);
    EXPECT_EQ(buffer[0], needed > 1 ? u'\0' : u'#') << "what does not fit leaves the buffer empty";
    EXPECT_EQ(expand(buffer.data(), needed), needed);
    EXPECT_EQ(buffer.c_str(), c.second);
  }
  char16_t buffer[2];
  EXPECT_EQ(ExpandEnvironmentStringsW(nullptr, buffer, 2), 0U);
  EXPECT_EQ(ExpandEnvironmentStringsW(u"x", nullptr, 2), 0U);
}

TEST(RegistryGlanceTest, ShowsAKeyOfSmallValuesAsOfTheLastCommit) {
  const TempStore store;
  const RegistryName name(u"V");
  const auto look = [&name] {
    RegistryGlance key(HKEY_USERS, u"\u00C4rea\\k");
    RegistryGlance::Value value;
    if (!key.IsKey()) return std::string("no key");
    if (!key.Find(name, value)) return std::string("no value");
    return std::to_string(value.type) + std::string(value.bytes);
  };
  EXPECT_EQ(look(), "no key");
  const Key key = Key::create(HKEY_USERS, u"\u00E4REA\\K");
  EXPECT_EQ(look(), "no value");
  ASSERT_EQ(setValue(key, u"v", "data"), 0);
  EXPECT_EQ(look(), "3data");
  ASSERT_EQ(setValue(key, u"v", "other", REG_SZ), 0);
  EXPECT_EQ(look(), "1other");
  {
    RegistryTransaction transaction;
    ASSERT_EQ(setValue(key, u"v", "passing", REG_SZ), 0);
    EXPECT_EQ(look(), "no key");
  }
  EXPECT_EQ(look(), "1other");
  {
    const RegistryView view;
    EXPECT_EQ(look(), "1other");
    inThread([&key] { EXPECT_EQ(setValue(key, u"v", "new", REG_SZ), 0); });
    EXPECT_EQ(look(), "1other") << "the view's state";
  }
  EXPECT_EQ(look(), "1new");
  ASSERT_EQ(setValue(key, u"large", bytes(5000)), 0);
  EXPECT_EQ(look(), "no key");
  {
    const RegistryView view;
    EXPECT_EQ(look(), "1new") << "a view keeps the store at hand";
    RegistryGlance::Value value;
    RegistryGlance whole(HKEY_USERS, u"\u00C4rea\\k");
    ASSERT_TRUE(whole.Find(RegistryName(u"large"), value));
    EXPECT_EQ(value.bytes, bytes(5000));
    EXPECT_FALSE(whole.Find(RegistryName(u"none"), value));
    EXPECT_TRUE(whole.IsKey());
  }
  ASSERT_EQ(RegDeleteValueW(key, u"large"), 0);
  EXPECT_EQ(look(), "1new");
  for (char16_t number = u'a'; number <= u'z'; ++number) {
    ASSERT_EQ(setValue(key, std::u16string(20, number), bytes(20)), 0);
  }
  EXPECT_EQ(look(), "no key") << "its values are many";
  EXPECT_FALSE(RegistryGlance(HKEY_USERS, std::u16string(300, u'x')).IsKey());
  EXPECT_FALSE(RegistryGlance(0, u"k").IsKey());
}

// The place that a key has in a thread's memory is given to the next key of that path.
TEST(RegistryGlanceTest, AnOldHandleIsNeverTheNewKeys) {
  const TempStore store;
  const auto make = [](const std::string& data) {
    inThread([&data] {
      RegDeleteKeyW(HKEY_USERS, u"k");
      EXPECT_EQ(setValue(Key::create(HKEY_USERS, u"k"), u"v", data), 0);
    });
  };
  const std::function<void()> looks[] = {[] { const RegistryGlance look(HKEY_USERS, u"k"); },
                                         [] { EXPECT_NE(Key::open(HKEY_USERS, u"k\\none").status(), 0); },
                                         [] { EXPECT_EQ(Key::open(HKEY_USERS, u"k").status(), 0); }};
  for (const auto& look : looks) {
    make("old");
    const Key old = Key::open(HKEY_USERS, u"k");
    EXPECT_EQ(getValue(old, u"v").data, "old");
    make("new");
    look();
    EXPECT_EQ(getValue(old, u"v").status, ERROR_KEY_DELETED);
    EXPECT_EQ(setValue(old, u"v", "x"), ERROR_KEY_DELETED);
  }
}

// Many more parents than a thread's memory of them begins with, some of which were made anew elsewhere.
TEST(RegistryGlanceTest, KeysAreFoundBelowTheParentThatIsThereNow) {
  const TempStore store;
  constexpr int parents = 2000;
  const RegistryName name(u"v");
  const auto pathOf = [](int number) { return digits(number) + u"\\Child"; };
  const auto make = [&pathOf](int number, const std::string& data) {
    EXPECT_EQ(setValue(Key::create(HKEY_USERS, pathOf(number)), u"v", data), 0);
  };
  const auto look = [&name](const std::u16string& path) {
    const RegistryView view;
    RegistryGlance key(HKEY_USERS, path);
    RegistryGlance::Value value;
    return key.Find(name, value) ? std::string(value.bytes) : std::string("none");
  };
  {
    RegistryTransaction transaction;
    for (int number = 0; number < parents; ++number) make(number, std::to_string(number));
    ASSERT_EQ(transaction.Commit(), 0);
  }
  for (int round = 0; round < 2; ++round) {
    for (int number = 0; number < parents; ++number) {
      ASSERT_EQ(look(pathOf(number)), std::to_string(number));
      ASSERT_EQ(look(pathOf(number) + u"ren"), "none");
    }
  }
  for (const int number : {0, 999}) {
    inThread([&] {
      EXPECT_EQ(RegDeleteKeyW(HKEY_USERS, pathOf(number).c_str()), 0);
      EXPECT_EQ(RegDeleteKeyW(HKEY_USERS, pathOf(number).substr(0, pathOf(number).find(u'\\')).c_str()), 0);
    });
    EXPECT_EQ(look(pathOf(number)), "none");
    inThread([&] { make(number, "new"); });
    EXPECT_EQ(look(pathOf(number)), "new");
  }
}

}  // namespace regtest
