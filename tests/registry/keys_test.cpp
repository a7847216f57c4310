// Keys: opening, making, deleting, naming, handles.
#include <algorithm>

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
  REGSAM need;  // the right without which it gives ERROR_ACCESS_DENIED
};

// Each function on a handle, with arguments that are right.
std::vector<Call> everyFunction() {
  static HKEY out;
  static char16_t name[300];
  static DWORD size;
  return {
      {"open itself", [](HKEY key) { return RegOpenKeyExW(key, u"", 0, KEY_READ, &out); }, 0},
      {"open", [](HKEY key) { return RegOpenKeyExW(key, u"sub", 0, KEY_READ, &out); }, 0},
      {"create",
       [](HKEY key) {
         return RegCreateKeyExW(key, u"made", 0, nullptr, 0, KEY_READ, nullptr, &out, nullptr);
       },
       KEY_CREATE_SUB_KEY},
      {"info",
       [](HKEY key) {
         return RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                 nullptr, nullptr, nullptr);
       },
       KEY_QUERY_VALUE},
      {"set", [](HKEY key) { return RegSetValueExW(key, u"value", 0, REG_NONE, nullptr, 0); }, KEY_SET_VALUE},
      {"query", [](HKEY key) { return RegQueryValueExW(key, u"value", nullptr, nullptr, nullptr, nullptr); },
       KEY_QUERY_VALUE},
      {"enumerate values",
       [](HKEY key) {
         size = 300;
         return RegEnumValueW(key, 0, name, &size, nullptr, nullptr, nullptr, nullptr);
       },
       KEY_QUERY_VALUE},
      {"enumerate keys",
       [](HKEY key) {
         size = 300;
         return RegEnumKeyExW(key, 0, name, &size, nullptr, nullptr, nullptr, nullptr);
       },
       KEY_ENUMERATE_SUB_KEYS},
      {"delete value", [](HKEY key) { return RegDeleteValueW(key, u"value"); }, KEY_SET_VALUE},
      {"delete key", [](HKEY key) { return RegDeleteKeyW(key, u"sub"); }, 0},
  };
}

void expectFromEach(HKEY key, LSTATUS expected) {
  for (const Call& call : everyFunction()) EXPECT_EQ(call.run(key), expected) << call.name;
  EXPECT_EQ(RegDeleteKeyW(key, u""), expected);
}

}  // namespace

TEST_P(RegistryContract, CreateMakesEveryLevelAndSaysSo) {
  const Key made = Key::create(key(), u"a\\b\\c");
  EXPECT_EQ(made.status(), 0);
  EXPECT_EQ(made.disposition(), REG_CREATED_NEW_KEY);
  EXPECT_EQ(Key::create(key(), u"A\\B\\C").disposition(), REG_OPENED_EXISTING_KEY);
  EXPECT_EQ(Key::create(key(), u"a\\b").disposition(), REG_OPENED_EXISTING_KEY);
  EXPECT_EQ(Key::create(key(), u"").disposition(), REG_OPENED_EXISTING_KEY);
  EXPECT_EQ(subKeysOf(Key::open(key(), u"a")), (std::vector<std::u16string>{u"b"}));
}

TEST_P(RegistryContract, PathsInEveryForm) {
  ASSERT_EQ(Key::create(key(), u"a\\b").status(), 0);
  const std::u16string name255(255, u'n');
  const std::u16string name256(256, u'n');
  const struct {
    std::u16string path;
    LSTATUS open;
    LSTATUS create;
  } cases[] = {
      {u"", 0, 0},
      {u"a", 0, 0},
      {u"A\\B", 0, 0},
      {u"a\\b\\", 0, 0},
      {u"a\\\\b\\\\\\", 0, 0},
      {u"a\\x", ERROR_FILE_NOT_FOUND, 0},
      {u"x\\b", ERROR_FILE_NOT_FOUND, 0},
      {u"\\", ERROR_BAD_PATHNAME, ERROR_BAD_PATHNAME},
      {u"\\a", ERROR_BAD_PATHNAME, ERROR_BAD_PATHNAME},
      {u"\\\\a\\b", ERROR_BAD_PATHNAME, ERROR_BAD_PATHNAME},
      {u"x\\" + name255, ERROR_FILE_NOT_FOUND, 0},
      {name256, ERROR_INVALID_PARAMETER, ERROR_INVALID_PARAMETER},
      {u"a\\" + name256, ERROR_INVALID_PARAMETER, ERROR_INVALID_PARAMETER},
      {name256 + u"\\a", ERROR_INVALID_PARAMETER, ERROR_INVALID_PARAMETER},
      {u"not there\\" + name256, ERROR_INVALID_PARAMETER, ERROR_INVALID_PARAMETER},
      {u"a/b", ERROR_FILE_NOT_FOUND, 0},
      {u" a", ERROR_FILE_NOT_FOUND, 0},
  };
  for (const auto& [path, open, create] : cases) {
    const std::string shown = support::toUtf8(path.substr(0, 40));
    HKEY handle = 77;
    EXPECT_EQ(RegOpenKeyExW(key(), path.c_str(), 0, KEY_READ, &handle), open) << shown;
    EXPECT_EQ(handle != 0, open == 0) << shown;
    EXPECT_EQ(RegCloseKey(handle), open == 0 ? 0 : ERROR_INVALID_HANDLE);
    EXPECT_EQ(Key::create(key(), path).status(), create) << shown;
    EXPECT_EQ(Key::open(key(), path).status(), create) << shown;
  }
}

// However long the path is, it is its levels that count.
TEST_P(RegistryContract, ManyBackslashesCountAsOne) {
  const std::u16string many(600, u'\\');
  EXPECT_EQ(Key::create(key(), u"a" + many + u"b" + many).disposition(), REG_CREATED_NEW_KEY);
  EXPECT_EQ(subKeysOf(Key::open(key(), u"a")), (std::vector<std::u16string>{u"b"}));
  EXPECT_EQ(Key::open(key(), u"a" + many + u"b").status(), 0);
  EXPECT_EQ(Key::open(key(), u"a" + many + u"c").status(), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(Key::open(key(), u"\\" + levels(600)).status(), ERROR_BAD_PATHNAME);
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
  const struct {
    const char16_t* made;
    const char16_t* asked;
    bool same;
  } cases[] = {
      {u"Limit", u"LIMIT", true},
      {u"Größe", u"GRÖSSE", false},  // simple folding keeps the length
      {u"Größe", u"GRÖẞE", true},
      {u"ΣΊΣΥΦΟΣ", u"σίσυφος", true},
      {u"Ёлка", u"ёЛКА", true},
      {u"\u212Aelvin", u"kelvin", true},
      {u"\U00010400x", u"\U00010428X", true},
      {u"I\u0130", u"ii", false},  // folds to two characters, so only to itself
      {u"\u00E9", u"e\u0301", false},
      {u"\u1F88", u"\u1F80", true},
      {u"\uFB01", u"fi", false},
  };
  for (const auto& [made, asked, same] : cases) {
    const std::string shown = support::toUtf8(made);
    ASSERT_EQ(Key::create(key(), made).status(), 0) << shown;
    EXPECT_EQ(Key::open(key(), asked).status(), same ? 0 : ERROR_FILE_NOT_FOUND) << shown;
    ASSERT_EQ(setValue(key(), made, "1"), 0);
    EXPECT_EQ(getValue(key(), asked).status, same ? 0 : ERROR_FILE_NOT_FOUND) << shown;
    if (same) {
      EXPECT_EQ(setValue(key(), asked, "2"), 0);
      EXPECT_EQ(Key::create(key(), asked).disposition(), REG_OPENED_EXISTING_KEY);
    }
    EXPECT_EQ(subKeysOf(key()), (std::vector<std::u16string>{made})) << shown;
    EXPECT_EQ(valueNamesOf(key()), (std::vector<std::u16string>{made})) << shown;
    EXPECT_EQ(RegDeleteValueW(key(), same ? asked : made), 0) << shown;
    EXPECT_EQ(RegDeleteKeyW(key(), same ? asked : made), 0) << shown;
  }
}

TEST_P(RegistryContract, AnySixteenBitContentIsAName) {
  const std::u16string high = {0xD800};
  const std::u16string low = {0xDC00};
  const std::vector<std::u16string> names = {high,
                                             low,
                                             low + high,
                                             {0xD801},
                                             high + u"a" + low,
                                             u"\uFFFE",
                                             u"\u0001",
                                             u"%*?\"",
                                             std::u16string(255, 0xDBFF)};
  for (const std::u16string& name : names) {
    ASSERT_EQ(Key::create(key(), name).disposition(), REG_CREATED_NEW_KEY);
    ASSERT_EQ(setValue(Key::open(key(), name), name, support::toUtf8(name)), 0);
  }
  for (const std::u16string& name : subKeysOf(key())) {
    EXPECT_NE(std::find(names.begin(), names.end(), name), names.end());
    const Key sub = Key::open(key(), name);
    EXPECT_EQ(getValue(sub, name).data, support::toUtf8(name));
    EXPECT_EQ(valueNamesOf(sub), (std::vector<std::u16string>{name}));
  }
  EXPECT_EQ(infoOf(key()), (Info{static_cast<DWORD>(names.size()), 255, 0, 0, 0}));
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

TEST_P(RegistryContract, DeletingKeys) {
  ASSERT_EQ(Key::create(key(), u"a\\b\\c").status(), 0);
  const struct {
    HKEY from;
    std::u16string path;
    LSTATUS expected;
  } cases[] = {
      {key(), u"x", ERROR_FILE_NOT_FOUND},
      {key(), u"x\\y", ERROR_FILE_NOT_FOUND},
      {key(), u"a", ERROR_ACCESS_DENIED},
      {key(), u"a\\b", ERROR_ACCESS_DENIED},
      {key(), u"\\a", ERROR_BAD_PATHNAME},
      {key(), std::u16string(256, u'x'), ERROR_INVALID_PARAMETER},
      {key(), u"", ERROR_ACCESS_DENIED},
      {HKEY_LOCAL_MACHINE, u"", ERROR_ACCESS_DENIED},
      {HKEY_USERS, u"", ERROR_ACCESS_DENIED},
      {key(), u"A\\B\\\\C\\", 0},
      {key(), u"a\\b\\c", ERROR_FILE_NOT_FOUND},
      {key(), u"a\\b", 0},
      {key(), u"a", 0},
  };
  for (const auto& [from, path, expected] : cases) {
    EXPECT_EQ(RegDeleteKeyW(from, path.c_str()), expected) << support::toUtf8(path);
  }
  EXPECT_EQ(infoOf(key()), Info{});
  const Key self = Key::create(key(), u"self");
  EXPECT_EQ(RegDeleteKeyW(self, u""), 0);
  EXPECT_EQ(infoOf(key()), Info{});
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

TEST_P(RegistryContract, KeyArgumentsThatAreWrong) {
  HKEY out = 5;
  DWORD disposition = 7;
  const auto create = [&](const char16_t* path, DWORD reserved, DWORD options, HKEY* result) {
    return RegCreateKeyExW(key(), path, reserved, nullptr, options, KEY_READ, nullptr, result, &disposition);
  };
  EXPECT_EQ(RegOpenKeyExW(key(), u"x", 0, KEY_READ, nullptr), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegOpenKeyExW(key(), u"x", 1, KEY_READ, &out), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(out, 0U);
  EXPECT_EQ(create(nullptr, 0, 0, &out), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(create(u"x", 1, 0, &out), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(create(u"x", 0, 2, &out), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(create(u"x", 0, 0, nullptr), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(disposition, 7U);
  EXPECT_EQ(RegDeleteKeyW(key(), nullptr), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(infoOf(key()), Info{});
  EXPECT_EQ(RegOpenKeyExW(key(), nullptr, 0, KEY_READ, &out), 0) << "a null path is the key itself";
  EXPECT_EQ(RegCloseKey(out), 0);
  char16_t buffer[4];
  DWORD size = 4;
  DWORD classSize = 4;
  EXPECT_EQ(RegQueryInfoKeyW(key(), buffer, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                             nullptr, nullptr, nullptr),
            ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegQueryInfoKeyW(key(), buffer, &classSize, &size, nullptr, nullptr, nullptr, nullptr, nullptr,
                             nullptr, nullptr, nullptr),
            ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegQueryInfoKeyW(key(), buffer, &classSize, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                             nullptr, nullptr, nullptr),
            0);
  EXPECT_EQ(buffer[0], u'\0');
  EXPECT_EQ(classSize, 0U);
}

TEST_P(RegistryContract, EveryChangeMovesTheLastWriteTime) {
  const auto time = [&] {
    FILETIME last{};
    EXPECT_EQ(RegQueryInfoKeyW(key(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                               nullptr, nullptr, &last),
              0);
    return (std::uint64_t{last.dwHighDateTime} << 32) | last.dwLowDateTime;
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

TEST_P(RegistryContract, BelowAVolatileKeyEverythingIsVolatile) {
  const Key made = Key::create(key(), u"v\\w", REG_OPTION_VOLATILE);
  EXPECT_EQ(made.disposition(), REG_CREATED_NEW_KEY);
  EXPECT_EQ(Key::create(made, u"x").status(), ERROR_CHILD_MUST_BE_VOLATILE);
  EXPECT_EQ(Key::create(key(), u"v\\other").status(), ERROR_CHILD_MUST_BE_VOLATILE);
  EXPECT_EQ(Key::create(made, u"x\\y").status(), ERROR_CHILD_MUST_BE_VOLATILE);
  EXPECT_EQ(infoOf(made), Info{});
  EXPECT_EQ(Key::create(key(), u"v\\w").status(), 0) << "the options count for a new key only";
  EXPECT_EQ(Key::create(made, u"x", REG_OPTION_VOLATILE).status(), 0);
  EXPECT_EQ(RegDeleteKeyW(made, u"x"), 0);
  EXPECT_EQ(RegDeleteKeyW(key(), u"v\\w"), 0);
  EXPECT_EQ(RegDeleteKeyW(key(), u"v"), 0);
  EXPECT_EQ(Key::create(key(), u"v\\w").status(), 0) << "made anew it is what it is made as";
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
