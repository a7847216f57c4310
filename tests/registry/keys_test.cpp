// Keys: opening, making, deleting, naming, handles.
#include <gmock/gmock.h>

#include "tests/registry/RegistryTest.h"

namespace regtest {

// For the cases of all files.
INSTANTIATE_TEST_SUITE_P(Registry, RegistryContract, ::testing::Bool(), [](const auto& mode) {
  return std::string(mode.param ? "InTransaction" : "Alone");
});

namespace {

std::u16string levels(std::size_t count) {
  std::u16string path = u"d";
  for (std::size_t level = 1; level < count; ++level) path += u"\\d";
  return path;
}

struct Call {
  const char* name;
  std::function<LSTATUS(HKEY)> run;
  REGSAM need = 0;  // the right without which it gives ERROR_ACCESS_DENIED
};

// Each function on a handle, with arguments that are right.
std::vector<Call> everyFunction() {
  static Info info;
  return {
      {"open itself", [](HKEY key) { return Key::open(key, u"").status(); }},
      {"open", [](HKEY key) { return Key::open(key, u"sub").status(); }},
      {"create", [](HKEY key) { return Key::create(key, u"made").status(); }, KEY_CREATE_SUB_KEY},
      {"info", [](HKEY key) { return queryInfo(key, info); }, KEY_QUERY_VALUE},
      {"set", [](HKEY key) { return RegSetValueExW(key, u"value", 0, REG_NONE, nullptr, 0); }, KEY_SET_VALUE},
      {"query", [](HKEY key) { return getValue(key, u"value").status; }, KEY_QUERY_VALUE},
      {"enumerate values", [](HKEY key) { return valueNameAt(key, 0).first; }, KEY_QUERY_VALUE},
      {"enumerate keys", [](HKEY key) { return subKeyAt(key, 0).first; }, KEY_ENUMERATE_SUB_KEYS},
      {"delete value", [](HKEY key) { return RegDeleteValueW(key, u"value"); }, KEY_SET_VALUE},
      {"delete key", [](HKEY key) { return RegDeleteKeyW(key, u"sub"); }},
  };
}

void expectFromEach(HKEY key, LSTATUS expected) {
  for (const Call& call : everyFunction()) EXPECT_EQ(call.run(key), expected) << call.name;
  EXPECT_EQ(RegDeleteKeyW(key, u""), expected);
}

}  // namespace

TEST_P(RegistryContract, PathsInEveryForm) {
  ASSERT_EQ(Key::create(key(), u"a\\b").status(), 0);
  const std::u16string name256(256, u'n');
  const std::u16string many(600, u'\\');  // however long the path is, it is its levels that count
  const std::pair<LSTATUS, Names> cases[] = {
      {0, {u"", u"a", u"A\\B", u"a\\b\\", u"a\\\\b\\\\\\", u"a" + many + u"B" + many}},
      {ERROR_FILE_NOT_FOUND,
       {u"a\\x", u"x\\b", u"y\\b\\c\\d", u"z" + many + u"b" + many, u"x\\" + name256.substr(1), u"a/b",
        u" a"}},
      {ERROR_BAD_PATHNAME, {u"\\", u"\\a", u"\\\\a\\b", u"\\" + levels(600)}},
      {ERROR_INVALID_PARAMETER, {name256, u"a\\" + name256, name256 + u"\\a", u"not there\\" + name256}}};
  for (const auto& [open, paths] : cases) {
    const LSTATUS create = open == ERROR_FILE_NOT_FOUND ? 0 : open;
    for (const std::u16string& path : paths) {
      SCOPED_TRACE(support::toUtf8(path.substr(0, 40)));
      HKEY handle = 77;
      EXPECT_EQ(RegOpenKeyExW(key(), path.c_str(), 0, KEY_READ, &handle), open);
      EXPECT_EQ(RegCloseKey(handle), open == 0 ? 0 : ERROR_INVALID_HANDLE);
      const Key made = Key::create(key(), path);
      EXPECT_EQ(made.status(), create);
      EXPECT_EQ(made.disposition() == REG_CREATED_NEW_KEY, open == ERROR_FILE_NOT_FOUND);
      EXPECT_EQ(Key::open(key(), path).status(), create);
    }
  }
  EXPECT_EQ(subKeysOf(Key::open(key(), u"a")), (Names{u"b", u"x"}));
  EXPECT_EQ(subKeysOf(Key::open(key(), u"Z")), Names{u"b"});
}

TEST_P(RegistryContract, KeysLieUpTo512LevelsDeep) {
  // "Software" and "Test" are two levels.
  EXPECT_EQ(Key::create(key(), levels(511)).status(), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(Key::open(key(), u"d").status(), ERROR_FILE_NOT_FOUND) << "a refused key was made in part";
  EXPECT_EQ(Key::create(key(), levels(510)).status(), 0);
  const Key deepest = Key::open(key(), levels(510));
  EXPECT_EQ(deepest.status(), 0);
  EXPECT_EQ(setValue(deepest, u"v", "x"), 0);
  EXPECT_EQ(getValue(deepest, u"V").data, "x");
  EXPECT_EQ(Key::create(deepest, u"e").status(), ERROR_INVALID_PARAMETER);
  EXPECT_NE(Key::open(key(), levels(700)).status(), 0);
}

TEST_P(RegistryContract, NamesFoldAndKeepTheirCase) {
  const auto check = [&](const char16_t* made, const char16_t* asked, bool same) {
    SCOPED_TRACE(support::toUtf8(made));
    ASSERT_EQ(Key::create(key(), made).status(), 0);
    EXPECT_EQ(Key::open(key(), asked).status(), same ? 0 : ERROR_FILE_NOT_FOUND);
    ASSERT_EQ(setValue(key(), made, "1"), 0);
    EXPECT_EQ(getValue(key(), asked).status, same ? 0 : ERROR_FILE_NOT_FOUND);
    if (same) {
      EXPECT_EQ(setValue(key(), asked, "2"), 0);
      EXPECT_EQ(Key::create(key(), asked).disposition(), REG_OPENED_EXISTING_KEY);
    }
    EXPECT_EQ(subKeysOf(key()), Names{made});
    EXPECT_EQ(valueNamesOf(key()), Names{made});
    EXPECT_EQ(RegDeleteValueW(key(), same ? asked : made), 0);
    EXPECT_EQ(RegDeleteKeyW(key(), same ? asked : made), 0);
  };
  check(u"Limit", u"LIMIT", true);
  check(u"Größe", u"GRÖSSE", false);  // simple folding keeps the length
  check(u"Größe", u"GRÖẞE", true);
  check(u"ΣΊΣΥΦΟΣ", u"σίσυφος", true);
  check(u"Ёлка", u"ёЛКА", true);
  check(u"\u212Aelvin", u"kelvin", true);
  check(u"\U00010400x", u"\U00010428X", true);
  check(u"I\u0130", u"ii", false);  // folds to two characters, so only to itself
  check(u"\u00E9", u"e\u0301", false);
  check(u"\u1F88", u"\u1F80", true);
  check(u"\uFB01", u"fi", false);
}

TEST_P(RegistryContract, AnySixteenBitContentIsAName) {
  const Names names = {u"\u0001",       u"%*?\"",         u"\xD800",
                       u"\xD801",       u"\xD800-\xDC00", u"\xDC00",
                       u"\xDC00\xD800", u"\uFFFE",        std::u16string(255, 0xDBFF)};
  for (const std::u16string& name : names) {
    ASSERT_EQ(Key::create(key(), name).disposition(), REG_CREATED_NEW_KEY);
    ASSERT_EQ(setValue(Key::open(key(), name), name, support::toUtf8(name)), 0);
  }
  EXPECT_THAT(subKeysOf(key()), testing::UnorderedElementsAreArray(names));
  for (const std::u16string& name : names) {
    const Key sub = Key::open(key(), name);
    EXPECT_EQ(getValue(sub, name).data, support::toUtf8(name));
    EXPECT_EQ(valueNamesOf(sub), Names{name});
  }
}

TEST_P(RegistryContract, LongNamesThatBeginAlikeAreDifferentKeys) {
  // Beyond what the store can index, with three bytes a character.
  const std::u16string start(254, u'\u4E00');
  for (const char16_t last : {u'x', u'Y', u'z'}) {
    const Key sub = Key::create(key(), start + last);
    EXPECT_EQ(sub.disposition(), REG_CREATED_NEW_KEY);
    EXPECT_EQ(setValue(sub, u"which", {static_cast<char>(last)}), 0);
    EXPECT_EQ(getValue(sub, u"which").data, std::string(1, static_cast<char>(last)))
        << "through the new handle";
  }
  for (const char16_t last : {u'X', u'y', u'Z'}) {
    EXPECT_NE(getValue(Key::open(key(), start + last), u"which").data, "");
  }
  EXPECT_EQ(Key::open(key(), start + u'w').status(), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegDeleteKeyW(key(), (start + u'y').c_str()), 0);
  EXPECT_EQ(Key::open(key(), start + u'Y').status(), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(infoOf(key()).subKeys, 2U);
}

TEST_P(RegistryContract, LongValueNamesThatBeginAlikeAreDifferentValues) {
  const std::u16string start(1000, u'n');
  for (const char16_t last : {u'x', u'Y'}) {
    EXPECT_EQ(setValue(key(), start + last, {static_cast<char>(last)}), 0);
  }
  EXPECT_EQ(getValue(key(), start + u'X').data, "x");
  EXPECT_EQ(getValue(key(), start + u'y').data, "Y");
  EXPECT_EQ(getValue(key(), start + u'w').data, "");
  EXPECT_EQ(RegDeleteValueW(key(), (start + u'w').c_str()), ERROR_FILE_NOT_FOUND);
}

TEST_P(RegistryContract, DeletingKeys) {
  ASSERT_EQ(Key::create(key(), u"a\\b\\c").status(), 0);
  const std::pair<LSTATUS, Names> cases[] = {{ERROR_FILE_NOT_FOUND, {u"x", u"x\\y"}},
                                             {ERROR_ACCESS_DENIED, {u"a", u"a\\b", u""}},
                                             {ERROR_BAD_PATHNAME, {u"\\a"}},
                                             {ERROR_INVALID_PARAMETER, {std::u16string(256, u'x')}},
                                             {0, {u"A\\B\\\\C\\"}},
                                             {ERROR_FILE_NOT_FOUND, {u"a\\b\\c"}},
                                             {0, {u"a\\b", u"a"}}};
  for (const auto& [expected, paths] : cases) {
    for (const std::u16string& path : paths) {
      EXPECT_EQ(RegDeleteKeyW(key(), path.c_str()), expected) << support::toUtf8(path);
    }
  }
  EXPECT_EQ(infoOf(key()), Info{});
  EXPECT_EQ(RegDeleteKeyW(Key::create(key(), u"self"), u""), 0);
  EXPECT_EQ(infoOf(key()), Info{});
  EXPECT_EQ(RegDeleteKeyW(HKEY_LOCAL_MACHINE, u""), ERROR_ACCESS_DENIED);
  EXPECT_EQ(RegDeleteKeyW(HKEY_USERS, u""), ERROR_ACCESS_DENIED);
}

TEST_P(RegistryContract, ADeletedKeyIsNoticedByItsHandle) {
  const Key parent = Key::create(key(), u"p");
  const Key gone = Key::create(parent, u"q");
  ASSERT_EQ(setValue(gone, u"value", "old"), 0);
  ASSERT_EQ(getValue(gone, u"value").data, "old");
  ASSERT_EQ(RegDeleteKeyW(key(), u"p\\q"), 0);
  expectFromEach(gone, ERROR_KEY_DELETED);
  const Key again = Key::create(parent, u"q\\sub");
  expectFromEach(gone, ERROR_KEY_DELETED);
  EXPECT_EQ(getValue(Key::open(parent, u"q"), u"value").status, ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(infoOf(parent).subKeys, 1U);
  ASSERT_EQ(RegDeleteKeyW(parent, u"q\\sub"), 0);
  ASSERT_EQ(RegDeleteKeyW(parent, u"q"), 0);
  ASSERT_EQ(RegDeleteKeyW(key(), u"p"), 0);
  expectFromEach(gone, ERROR_KEY_DELETED);
  expectFromEach(again, ERROR_KEY_DELETED);
}

TEST_P(RegistryContract, HandlesThatAreNotOpen) {
  Key closed = Key::create(key(), u"sub");
  const HKEY number = closed;
  EXPECT_EQ(closed.close(), 0);
  for (const HKEY handle : {number, HKEY{0}, HKEY{1}, HKEY{0x7FFFFFFF}, HKEY{0x80000004}, HKEY{0xFFFFFFFF}}) {
    expectFromEach(handle, ERROR_INVALID_HANDLE);
    EXPECT_EQ(RegCloseKey(handle), ERROR_INVALID_HANDLE);
  }
  const Key other = Key::open(key(), u"sub");  // may have the same place, not the same number
  expectFromEach(number, ERROR_INVALID_HANDLE);
}

TEST_P(RegistryContract, HivesAreAlwaysOpen) {
  for (const HKEY hive : {HKEY_CLASSES_ROOT, HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE, HKEY_USERS}) {
    EXPECT_EQ(RegCloseKey(hive), 0);
    EXPECT_EQ(Key::create(hive, u"only here").disposition(), REG_CREATED_NEW_KEY);
    EXPECT_EQ(setValue(hive, u"v", "hive value"), 0);
    EXPECT_EQ(getValue(Key::open(hive, u""), u"v").data, "hive value");
    EXPECT_EQ(RegDeleteValueW(hive, u"v"), 0);
    EXPECT_EQ(RegDeleteKeyW(hive, u"only here"), 0);
  }
}

TEST_P(RegistryContract, RightsAreThoseOfTheOpening) {
  ASSERT_EQ(Key::create(key(), u"k\\sub").status(), 0);
  for (const REGSAM rights : {REGSAM{0}, KEY_QUERY_VALUE, KEY_SET_VALUE, KEY_CREATE_SUB_KEY,
                              KEY_ENUMERATE_SUB_KEYS, KEY_READ, KEY_WRITE, KEY_ALL_ACCESS, MAXIMUM_ALLOWED}) {
    const Key made = Key::create(key(), u"k\\sub");
    const Key open = Key::open(key(), u"k", rights);
    const REGSAM has = rights == MAXIMUM_ALLOWED ? KEY_ALL_ACCESS : rights;
    ASSERT_EQ(setValue(Key::open(key(), u"k"), u"value", ""), 0);
    for (const Call& call : everyFunction()) {
      EXPECT_EQ(call.run(open), (call.need & ~has) == 0 ? 0 : ERROR_ACCESS_DENIED)
          << call.name << " with rights " << rights;
    }
    RegDeleteKeyW(key(), u"k\\made");
  }
}

TEST_P(RegistryContract, ArgumentsThatAreWrong) {
  HKEY out = 5;
  DWORD disposition = 7;
  DWORD number = 4;
  DWORD size = 4;
  BYTE byte = 1;
  char16_t name[4];
  const auto create = [&](const char16_t* path, DWORD reserved, DWORD options, HKEY* result) {
    return RegCreateKeyExW(key(), path, reserved, nullptr, options, KEY_READ, nullptr, result, &disposition);
  };
  const auto info = [&](DWORD* classSize, DWORD* reserved) {
    return RegQueryInfoKeyW(key(), name, classSize, reserved, nullptr, nullptr, nullptr, nullptr, nullptr,
                            nullptr, nullptr, nullptr);
  };
  const auto enumKey = [&](char16_t* to, DWORD* nameSize, DWORD* reserved, char16_t* keyClass) {
    return RegEnumKeyExW(key(), 0, to, nameSize, reserved, keyClass, nullptr, nullptr);
  };
  const auto enumValue = [&](char16_t* to, DWORD* nameSize, DWORD* reserved, BYTE* data) {
    return RegEnumValueW(key(), 0, to, nameSize, reserved, nullptr, data, nullptr);
  };
  const std::pair<const char*, LSTATUS> wrong[] = {
      {"open: no result", RegOpenKeyExW(key(), u"x", 0, KEY_READ, nullptr)},
      {"open: options", RegOpenKeyExW(key(), u"x", 1, KEY_READ, &out)},
      {"create: no path", create(nullptr, 0, 0, &out)},
      {"create: reserved", create(u"x", 1, 0, &out)},
      {"create: options", create(u"x", 0, 2, &out)},
      {"create: no result", create(u"x", 0, 0, nullptr)},
      {"delete: no path", RegDeleteKeyW(key(), nullptr)},
      {"info: class without size", info(nullptr, nullptr)},
      {"info: reserved", info(&number, &size)},
      {"query: reserved", RegQueryValueExW(key(), u"v", &number, nullptr, nullptr, nullptr)},
      {"query: data without size", RegQueryValueExW(key(), u"v", nullptr, nullptr, &byte, nullptr)},
      {"set: reserved", RegSetValueExW(key(), u"v", 1, REG_BINARY, &byte, 1)},
      {"set: no data", RegSetValueExW(key(), u"v", 0, REG_BINARY, nullptr, 1)},
      {"enumerate keys: no name", enumKey(nullptr, &number, nullptr, nullptr)},
      {"enumerate keys: no size", enumKey(name, nullptr, nullptr, nullptr)},
      {"enumerate keys: reserved", enumKey(name, &number, &number, nullptr)},
      {"enumerate keys: class without size", enumKey(name, &number, nullptr, name)},
      {"enumerate values: no name", enumValue(nullptr, &number, nullptr, nullptr)},
      {"enumerate values: no size", enumValue(name, nullptr, nullptr, nullptr)},
      {"enumerate values: reserved", enumValue(name, &number, &number, nullptr)},
      {"enumerate values: data without size", enumValue(name, &number, nullptr, &byte)},
  };
  for (const auto& [what, status] : wrong) EXPECT_EQ(status, ERROR_INVALID_PARAMETER) << what;
  EXPECT_EQ(out, 0U);
  EXPECT_EQ(disposition, 7U);
  EXPECT_EQ(infoOf(key()), Info{});
  EXPECT_EQ(RegOpenKeyExW(key(), nullptr, 0, KEY_READ, &out), 0) << "a null path is the key itself";
  EXPECT_EQ(RegCloseKey(out), 0);
  EXPECT_EQ(info(&size, nullptr), 0);
  EXPECT_EQ(name[0], u'\0');
  EXPECT_EQ(size, 0U);
}

TEST_P(RegistryContract, EveryChangeMovesTheLastWriteTime) {
  const auto time = [&] {
    Info info;
    std::uint64_t last = 0;
    EXPECT_EQ(queryInfo(key(), info, &last), 0);
    return last;
  };
  const auto next = [&](std::uint64_t before) {  // the clock may stand still for some calls
    std::uint64_t now = time();
    for (; now == before; now = time()) EXPECT_EQ(setValue(key(), u"tick", ""), 0);
    return now;
  };
  const std::uint64_t made = time();
  EXPECT_GT(made, 133'000'000'000'000'000U) << "100-nanosecond steps since 1601";
  const std::uint64_t written = next(made);
  EXPECT_GT(written, made);
  Key::create(key(), u"sub");
  const std::uint64_t withSub = time();
  EXPECT_GE(withSub, written);
  EXPECT_EQ(setValue(Key::open(key(), u"sub"), u"inner", "x"), 0);
  EXPECT_EQ(time(), withSub) << "a change below is not a change of the key";
  EXPECT_EQ(getValue(key(), u"tick").status, 0);
  EXPECT_EQ(RegDeleteValueW(key(), u"not there"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(time(), withSub) << "neither is reading or a write that was refused";
  FILETIME listed{};
  char16_t name[8];
  DWORD size = 8;
  EXPECT_EQ(RegEnumKeyExW(key(), 0, name, &size, nullptr, nullptr, nullptr, &listed), 0);
  EXPECT_GE((std::uint64_t{listed.dwHighDateTime} << 32) | listed.dwLowDateTime, withSub);
}

TEST(RegistryHandles, AnotherStoreClosesAll) {
  const TempStore store;
  const Key here = Key::create(HKEY_LOCAL_MACHINE, u"Software\\sub");
  ASSERT_EQ(here.status(), 0);
  const TempStore other;
  expectFromEach(here, ERROR_INVALID_HANDLE);
  EXPECT_EQ(Key::open(HKEY_LOCAL_MACHINE, u"Software").status(), ERROR_FILE_NOT_FOUND);
}

TEST_P(RegistryContract, HandlesRunOutAndComeBack) {
  ASSERT_EQ(Key::create(key(), u"sub").status(), 0);
  std::vector<Key> open;
  while (open.size() < 70'000) {
    open.push_back(Key::open(key(), u"sub"));
    if (open.back().status() != 0) break;
  }
  EXPECT_EQ(open.back().status(), ERROR_NO_SYSTEM_RESOURCES);
  EXPECT_GT(open.size(), 60'000U);
  EXPECT_EQ(Key::create(key(), u"made").status(), ERROR_NO_SYSTEM_RESOURCES);
  EXPECT_EQ(infoOf(key()).subKeys, 1U) << "nothing is made on failure";
  open.clear();
  EXPECT_EQ(Key::create(key(), u"made").status(), 0);
}

}  // namespace regtest
