// Values: what goes in comes out; sizes, names, counts and maxima. Environment references.
#include <algorithm>
#include <thread>

#include "platform/registry/RegistryGlance.h"
#include "platform/registry/RegistryView.h"
#include "tests/registry/RegistryTest.h"

namespace regtest {

namespace {

constexpr std::size_t maxSize = 16U << 20;

std::string bytes(std::size_t size, char first = 'a') {
  std::string data(size, '\0');
  for (std::size_t at = 0; at < size; ++at) data[at] = static_cast<char>(first + static_cast<char>(at % 23));
  return data;
}

// What counts and maxima must be, found by walking.
Info walked(HKEY key) {
  Info info;
  for (const std::u16string& name : valueNamesOf(key)) {
    ++info.values;
    info.maxName = std::max(info.maxName, static_cast<DWORD>(name.size()));
    info.maxData = std::max(info.maxData, static_cast<DWORD>(getValue(key, name).data.size()));
  }
  for (const std::u16string& name : subKeysOf(key)) {
    ++info.subKeys;
    info.maxSubKey = std::max(info.maxSubKey, static_cast<DWORD>(name.size()));
  }
  return info;
}

}  // namespace

TEST_P(RegistryContract, ValuesComeBackExactly) {
  const std::size_t sizes[] = {0, 1, 2, 3, 4, 255, 256, 257, 1000, 4000, 4096, 1U << 20, maxSize};
  const DWORD types[] = {REG_NONE, REG_SZ, REG_BINARY, REG_DWORD, REG_QWORD, 0xFFFFFFFFU};
  for (const std::size_t size : sizes) {
    const DWORD type = types[size % std::size(types)];
    const std::string data = bytes(size);
    EXPECT_EQ(setValue(key(), u"v", data, type), 0) << size;
    EXPECT_EQ(getValue(key(), u"V"), (Value{0, data, type}));
    EXPECT_EQ(infoOf(key()), (Info{0, 0, 1, 1, static_cast<DWORD>(size)}));
  }
  EXPECT_EQ(setValue(key(), u"v", std::string(maxSize + 1, 'x')), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(getValue(key(), u"v").data.size(), maxSize) << "a refused write changes nothing";
}

TEST_P(RegistryContract, SizesOfAQuery) {
  for (const std::size_t stored : {4U, 300U, 5000U}) {
    const std::string data = bytes(stored);
    ASSERT_EQ(setValue(key(), u"v", data, REG_SZ), 0);
    std::string buffer(stored, '#');
    auto* const out = reinterpret_cast<BYTE*>(buffer.data());
    DWORD type = 99;
    DWORD size = static_cast<DWORD>(stored) - 1;
    EXPECT_EQ(RegQueryValueExW(key(), u"v", nullptr, &type, out, &size), ERROR_MORE_DATA);
    EXPECT_EQ(size, stored);
    EXPECT_EQ(type, REG_SZ);
    EXPECT_EQ(buffer, std::string(stored, '#'));
    size = 0;
    EXPECT_EQ(RegQueryValueExW(key(), u"v", nullptr, nullptr, out, &size), ERROR_MORE_DATA);
    EXPECT_EQ(RegQueryValueExW(key(), u"v", nullptr, nullptr, nullptr, &size), 0);
    EXPECT_EQ(size, stored);
    EXPECT_EQ(RegQueryValueExW(key(), u"v", nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(RegQueryValueExW(key(), u"v", nullptr, nullptr, out, &size), 0);
    EXPECT_EQ(buffer, data);
  }
  DWORD type = 99;
  DWORD size = 98;
  EXPECT_EQ(RegQueryValueExW(key(), u"none", nullptr, &type, nullptr, &size), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(type, 99U);
  EXPECT_EQ(size, 98U);
}

TEST_P(RegistryContract, ValueArgumentsThatAreWrong) {
  BYTE byte = 1;
  DWORD number = 1;
  char16_t name[4];
  EXPECT_EQ(RegQueryValueExW(key(), u"v", &number, nullptr, nullptr, nullptr), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegQueryValueExW(key(), u"v", nullptr, nullptr, &byte, nullptr), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegSetValueExW(key(), u"v", 1, REG_BINARY, &byte, 1), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegSetValueExW(key(), u"v", 0, REG_BINARY, nullptr, 1), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegEnumValueW(key(), 0, nullptr, &number, nullptr, nullptr, nullptr, nullptr),
            ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegEnumValueW(key(), 0, name, nullptr, nullptr, nullptr, nullptr, nullptr),
            ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegEnumValueW(key(), 0, name, &number, &number, nullptr, nullptr, nullptr),
            ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegEnumValueW(key(), 0, name, &number, nullptr, nullptr, &byte, nullptr),
            ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegEnumKeyExW(key(), 0, nullptr, &number, nullptr, nullptr, nullptr, nullptr),
            ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegEnumKeyExW(key(), 0, name, nullptr, nullptr, nullptr, nullptr, nullptr),
            ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegEnumKeyExW(key(), 0, name, &number, &number, nullptr, nullptr, nullptr),
            ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegEnumKeyExW(key(), 0, name, &number, nullptr, name, nullptr, nullptr), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(infoOf(key()), Info{});
  EXPECT_EQ(RegDeleteValueW(key(), u"v"), ERROR_FILE_NOT_FOUND);
}

TEST_P(RegistryContract, NullAndEmptyNameAreTheDefaultValue) {
  const BYTE data[] = {1, 2};
  EXPECT_EQ(RegSetValueExW(key(), nullptr, 0, REG_BINARY, data, 2), 0);
  EXPECT_EQ(getValue(key(), u"").data, std::string("\1\2"));
  EXPECT_EQ(setValue(key(), u"", "three"), 0);
  DWORD size = 0;
  EXPECT_EQ(RegQueryValueExW(key(), nullptr, nullptr, nullptr, nullptr, &size), 0);
  EXPECT_EQ(size, 5U);
  EXPECT_EQ(valueNamesOf(key()), (std::vector<std::u16string>{u""}));
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
      EXPECT_EQ(valueNamesOf(key()), (std::vector<std::u16string>{name}));
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

TEST_P(RegistryContract, CountsAndMaximaAreExactAfterEachChange) {
  const std::u16string longName(200, u'L');
  const struct {
    std::u16string name;
    int size;  // -1 deletes
    Info expected;
  } steps[] = {
      {u"a", 10, {0, 0, 1, 1, 10}},
      {u"bb", 300, {0, 0, 2, 2, 300}},
      {u"ccc", 256, {0, 0, 3, 3, 300}},
      {u"BB", 257, {0, 0, 3, 3, 257}},
      {u"bb", 2, {0, 0, 3, 3, 256}},
      {longName, 1, {0, 0, 4, 200, 256}},
      {longName, 5000, {0, 0, 4, 200, 5000}},
      {u"ccc", -1, {0, 0, 3, 200, 5000}},
      {longName, 3, {0, 0, 3, 200, 10}},
      {longName, -1, {0, 0, 2, 2, 10}},
      {u"a", 5000, {0, 0, 2, 2, 5000}},
      {u"b2", 5000, {0, 0, 3, 2, 5000}},
      {u"a", -1, {0, 0, 2, 2, 5000}},
      {u"b2", -1, {0, 0, 1, 2, 2}},
      {u"bb", 0, {0, 0, 1, 2, 0}},
      {u"BB", -1, {}},
  };
  for (const auto& [name, size, expected] : steps) {
    if (size < 0) {
      EXPECT_EQ(RegDeleteValueW(key(), name.c_str()), 0);
    } else {
      EXPECT_EQ(setValue(key(), name, bytes(static_cast<std::size_t>(size))), 0);
    }
    EXPECT_EQ(infoOf(key()), expected) << support::toUtf8(name) << " " << size;
  }
}

TEST_P(RegistryContract, ManyValuesInsideAndOutsideOfTheRecord) {
  // More than the record of a key takes, mixed with values that it never takes.
  for (int round = 0; round < 2; ++round) {
    for (int number = 0; number < 60; ++number) {
      const std::u16string name = u"value " + support::toUtf16(std::to_string(number * 7 % 60));
      const std::size_t size = number % 5 == 0 ? 400U : static_cast<unsigned>(number + round);
      ASSERT_EQ(setValue(key(), name, bytes(size, 'A')), 0);
      ASSERT_EQ(getValue(key(), name).data, bytes(size, 'A'));
    }
    EXPECT_EQ(infoOf(key()), walked(key()));
    EXPECT_EQ(infoOf(key()).values, 60U);
  }
  while (!valueNamesOf(key()).empty()) {
    const auto names = valueNamesOf(key());
    for (std::size_t at = 0; at < names.size(); at += 3)
      ASSERT_EQ(RegDeleteValueW(key(), names[at].c_str()), 0);
    EXPECT_EQ(infoOf(key()), walked(key()));
  }
}

TEST_P(RegistryContract, SubKeyCountsFollowTheTree) {
  ASSERT_EQ(Key::create(key(), u"short").status(), 0);
  ASSERT_EQ(Key::create(key(), std::u16string(100, u'l')).status(), 0);
  ASSERT_EQ(Key::create(key(), std::u16string(100, u'\u4E00')).status(), 0);
  ASSERT_EQ(Key::create(key(), u"\U0001F600\U0001F600\U0001F600").status(), 0);  // six characters of 16 bits
  EXPECT_EQ(infoOf(key()), (Info{4, 100, 0, 0, 0}));
  ASSERT_EQ(RegDeleteKeyW(key(), std::u16string(100, u'L').c_str()), 0);
  EXPECT_EQ(infoOf(key()), (Info{3, 100, 0, 0, 0}));
  ASSERT_EQ(RegDeleteKeyW(key(), std::u16string(100, u'\u4E00').c_str()), 0);
  EXPECT_EQ(infoOf(key()), (Info{2, 6, 0, 0, 0}));
  EXPECT_EQ(infoOf(key()), walked(key()));
}

TEST_P(RegistryContract, AKeyTakesItsValuesAlong) {
  const Key sub = Key::create(key(), u"sub");
  ASSERT_EQ(setValue(sub, u"inside", "x"), 0);
  ASSERT_EQ(setValue(sub, u"outside", bytes(5000)), 0);
  ASSERT_EQ(RegDeleteKeyW(key(), u"sub"), 0);
  const Key again = Key::create(key(), u"sub");
  EXPECT_EQ(infoOf(again), Info{});
  EXPECT_EQ(getValue(again, u"outside").status, ERROR_FILE_NOT_FOUND);
}

TEST(ExpandEnvironmentStrings, ReplacesReferences) {
  ASSERT_EQ(::setenv("REGTEST_A", "alpha", 1), 0);
  ASSERT_EQ(::setenv("REGTEST_EMPTY", "", 1), 0);
  ASSERT_EQ(::setenv("REGTEST_NEST", "%REGTEST_A%", 1), 0);
  ASSERT_EQ(::setenv("REGTEST_Ü", "ü\xF0\x9F\x98\x80", 1), 0);
  ::unsetenv("REGTEST_NONE");
  const struct {
    const char16_t* text;
    const char16_t* expected;
  } cases[] = {
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
  for (const auto& [text, expected] : cases) {
    const std::u16string wanted = expected;
    const auto needed = static_cast<DWORD>(wanted.size() + 1);
    std::u16string buffer(needed, u'#');
    EXPECT_EQ(ExpandEnvironmentStringsW(text, nullptr, 0), needed) << support::toUtf8(text);
    EXPECT_EQ(ExpandEnvironmentStringsW(text, buffer.data(), needed), needed);
    EXPECT_EQ(buffer.c_str(), wanted) << support::toUtf8(text);
    buffer.assign(needed, u'#');
    EXPECT_EQ(ExpandEnvironmentStringsW(text, buffer.data(), needed - 1), needed);
    EXPECT_EQ(buffer[0], needed > 1 ? u'\0' : u'#') << "what does not fit leaves the buffer empty";
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
  ASSERT_EQ(setValue(key, u"v", "data", REG_BINARY), 0);
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
    std::thread([&key] { EXPECT_EQ(setValue(key, u"v", "new", REG_SZ), 0); }).join();
    EXPECT_EQ(look(), "1other") << "the view's state";
  }
  EXPECT_EQ(look(), "1new");
  ASSERT_EQ(setValue(key, u"large", bytes(5000), REG_BINARY), 0);
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
    ASSERT_EQ(setValue(key, std::u16string(20, number), bytes(20), REG_BINARY), 0);
  }
  EXPECT_EQ(look(), "no key") << "its values are many";
  EXPECT_FALSE(RegistryGlance(HKEY_USERS, std::u16string(300, u'x')).IsKey());
  EXPECT_FALSE(RegistryGlance(0, u"k").IsKey());
}

// The place that a key has in a thread's memory is given to the next key of that path.
TEST(RegistryGlanceTest, AnOldHandleIsNeverTheNewKeys) {
  const TempStore store;
  const auto make = [](const std::string& data) {
    std::thread([&data] {
      RegDeleteKeyW(HKEY_USERS, u"k");
      EXPECT_EQ(setValue(Key::create(HKEY_USERS, u"k"), u"v", data), 0);
    }).join();
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

}  // namespace regtest
