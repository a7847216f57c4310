// Stores that are not what they should be. What can crash runs in a child process.
#include <gmock/gmock.h>
#include <sys/resource.h>

#include <csignal>
#include <fstream>
#include <random>
#include <sstream>

#include "platform/registry/Record.h"
#include "platform/registry/Store.h"
#include "tests/registry/RegistryTest.h"

using testing::AllOf;
using testing::AnyOf;
using testing::HasSubstr;

namespace regtest {
namespace {

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}
void writeFile(const std::string& path, std::string_view bytes) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream(path, std::ios::binary | std::ios::trunc)
      .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

constexpr int keyCount = 40;
std::u16string keyName(int number) {
  return u"key " + digits(number) + u"\\sub";
}
std::string small(int number) {
  return "small value " + std::to_string(number);
}
std::string large(int number) {
  return "large value " + std::to_string(number) + std::string(700, '.');
}
std::string huge() {
  return "huge value" + std::string(20'000, '+');
}

void fill() {
  RegistryTransaction transaction;
  for (int number = 0; number < keyCount; ++number) {
    const Key key = Key::create(HKEY_USERS, keyName(number));
    ASSERT_EQ(setValue(key, u"small", small(number)), 0);
    ASSERT_EQ(setValue(key, u"large", large(number)), 0);
  }
  ASSERT_EQ(setValue(HKEY_USERS, u"huge", huge()), 0);
  ASSERT_EQ(transaction.Commit(), 0);
}

// How a child found the store. Anything else is the crash of that child.
enum Verdict : int { Whole = 40, Refused, DamageSeen, Missing, WrongValue, OtherError };

int judge(const Value& value, const std::string& expected) {
  if (value.status == 0) return value.data == expected ? Whole : WrongValue;
  if (value.status == ERROR_FILE_NOT_FOUND || value.status == ERROR_KEY_DELETED) return Missing;
  return value.status == ERROR_REGISTRY_CORRUPT ? DamageSeen : OtherError;
}

// Reads everything, writes something, walks, and verifies; the worst of it.
int inspect() {
  registry::StoreInfo info;
  const LSTATUS opened = registry::storeInfo(info);
  if (opened != 0) return opened == ERROR_FILE_NOT_FOUND ? Missing : Refused;
  int worst = judge(getValue(HKEY_USERS, u"huge"), huge());
  for (int number = 0; number < keyCount; ++number) {
    const Key key = Key::open(HKEY_USERS, keyName(number));
    const auto through = [&](const std::u16string& name) {
      return key.status() != 0 ? Value{key.status(), {}, 0} : getValue(key, name);
    };
    worst =
        std::max({worst, judge(through(u"small"), small(number)), judge(through(u"large"), large(number))});
  }
  for (DWORD index = 0; subKeyAt(HKEY_USERS, index).first == 0; ++index) continue;
  (void)setValue(HKEY_USERS, u"new", "x");
  std::string finding;
  if (registry::verifyStore(finding) != 0) worst = std::max<int>(worst, DamageSeen);
  return worst;
}

std::string inspectInChild(const std::string& directory) {
  return inChild([&] {
    for (const int crash : {SIGSEGV, SIGBUS, SIGABRT})
      std::signal(crash, SIG_DFL);  // a sanitizer may have them
    const rlimit noCore{};
    ::setrlimit(RLIMIT_CORE, &noCore);
    registry::useStore(directory);
    return inspect();
  });
}

std::string shown(Verdict verdict) {
  return "exit " + std::to_string(verdict);
}

// A store that was filled, and copies of its file to be damaged. The copies hold live pages only.
class RegistryDamage : public ::testing::Test {
protected:
  void SetUp() override {
    fill();
    ASSERT_EQ(registry::copyStore(m_store.beside("copy")), 0);
    m_file = readFile(m_store.beside("copy") + "/data.mdb");
    ASSERT_GT(m_file.size(), 20U * page);
  }
  std::string damagedDirectory(const std::string& bytes) {
    const std::string directory = m_store.beside("damaged");
    fs::remove_all(directory);
    writeFile(directory + "/data.mdb", bytes);
    return directory;
  }
  // The file with another byte there.
  std::string changed(std::size_t at, int difference) const {
    std::string bytes = m_file;
    bytes[at] = static_cast<char>(bytes[at] ^ difference);
    return bytes;
  }
  std::string inspected(const std::string& bytes) { return inspectInChild(damagedDirectory(bytes)); }
  // The number that the first access gives, and the line that it leaves.
  LSTATUS refusal(const std::string& directory) {
    registry::useStore(directory);
    const Capture trace;
    HKEY key = 0;
    const LSTATUS status = RegOpenKeyExW(HKEY_USERS, u"key 1", 0, KEY_READ, &key);
    m_line = trace.text();
    m_store.use();
    return status;
  }

  static constexpr std::size_t page = 4096;
  TempStore m_store;
  std::string m_file;
  std::string m_line;
};

// Changes a record of the open store, past everything that guards it.
void overwrite(MDB_dbi registry::Tables::*table, std::string_view key, std::string_view record) {
  const auto store = registry::currentStore();
  registry::TxnPtr transaction = store->begin(nullptr, 0);
  registry::store(transaction.get(), store->tables().*table, key, record);
  store->commit(std::move(transaction));
}

}  // namespace

TEST_F(RegistryDamage, WhatIsNoStoreIsRefusedWithItsNumber) {
  std::string noise(10 * page, '\0');
  std::mt19937 random(5);
  for (char& byte : noise) byte = static_cast<char>(random());
  const char* const damaged = "it is damaged (1015";
  const char* const foreign = "it is not a registry store (1017";
  const struct {
    const char* what;
    std::string bytes;
    LSTATUS expected;
    const char* words;
  } cases[] = {
      {"zero length", "", ERROR_REGISTRY_CORRUPT, damaged},
      {"a short text", "not a store", ERROR_REGISTRY_CORRUPT, damaged},
      {"noise", noise, ERROR_NOT_REGISTRY_FILE, foreign},
      {"zeros", std::string(10 * page, '\0'), ERROR_NOT_REGISTRY_FILE, foreign},
  };
  for (const auto& [what, bytes, expected, words] : cases) {
    const std::string directory = damagedDirectory(bytes);
    for (int time = 0; time < 2; ++time) {
      EXPECT_EQ(refusal(directory), expected) << what;
      EXPECT_NE(m_line.find(words), std::string::npos) << m_line;
      EXPECT_NE(m_line.find(directory), std::string::npos) << m_line;
      EXPECT_EQ(std::count(m_line.begin(), m_line.end(), '\n'), 1) << m_line;
    }
    EXPECT_EQ(readFile(directory + "/data.mdb"), bytes) << what << " was changed";
  }
}

TEST_F(RegistryDamage, AnUnusableStoreIsReportedOnceUntilThatChanges) {
  registry::useStore(damagedDirectory(""));
  const Capture trace;
  for (int time = 0; time < 3; ++time)
    EXPECT_EQ(Key::open(HKEY_USERS, u"x").status(), ERROR_REGISTRY_CORRUPT);
  EXPECT_EQ(trace.lines.size(), 1U) << trace.text();
  m_store.use();
}

TEST_F(RegistryDamage, AnotherDatabaseAndAnotherVersionAreRefused) {
  const std::string empty = m_store.beside("empty");
  fs::create_directories(empty);
  MDB_env* env = nullptr;
  ASSERT_EQ(mdb_env_create(&env), 0);
  ASSERT_EQ(mdb_env_open(env, empty.c_str(), 0, 0600), 0);
  mdb_env_close(env);
  EXPECT_EQ(refusal(empty), ERROR_NOT_REGISTRY_FILE);

  const std::pair<std::string, LSTATUS> cases[] = {
      {registry::sealed("OTHER-MARKER" + std::string("\1\0\0\0", 4)), ERROR_NOT_REGISTRY_FILE},
      {registry::sealed("SPS-REGISTRY" + std::string("\1\0\0\0", 4)), ERROR_REVISION_MISMATCH},
      {registry::sealed("SPS-REGISTRY"), ERROR_REGISTRY_CORRUPT},
      {"SPS-REGISTRY" + std::string("\2\0\0\0", 4), ERROR_REGISTRY_CORRUPT},
      {"", ERROR_REGISTRY_CORRUPT},
  };
  for (const auto& [marker, expected] : cases) {
    const std::string directory = damagedDirectory(m_file);
    registry::useStore(directory);
    overwrite(&registry::Tables::meta, "marker", marker);
    registry::useStore("");
    EXPECT_EQ(refusal(directory), expected) << marker;
    EXPECT_NE(m_line, "");
  }
}

// A file that lost its end is refused, each time, and is left as it is; or what it lost was of no use.
TEST_F(RegistryDamage, TruncatedFilesNeverMisleadAndNeverCrash) {
  const std::string grown = readFile(m_store.file());
  int refused = 0;
  for (const std::string* file : {&std::as_const(m_file), &grown}) {
    std::vector<std::size_t> lengths = {0, 1, 100, page - 1, page, 2 * page - 1, 2 * page, 2 * page + 1};
    for (std::size_t length = 3 * page; length < file->size(); length += page) {
      lengths.insert(lengths.end(), {length, length + 1, std::min(length + page / 2, file->size() - 1)});
    }
    for (const std::size_t length : lengths) {
      const std::string directory = damagedDirectory(file->substr(0, length));
      for (int time = 0; time < 2; ++time) {
        const std::string outcome = inspectInChild(directory);
        EXPECT_THAT(outcome, AnyOf(shown(Refused), shown(Whole))) << "at length " << length;
        if (outcome == shown(Whole)) continue;
        EXPECT_EQ(fs::file_size(directory + "/data.mdb"), length);
        ++refused;
      }
    }
  }
  EXPECT_GT(refused, 20);
}

TEST_F(RegistryDamage, ALostEndThatHeldNothingIsMadeUp) {
  // Pages that were never written lie beyond the end, as after a delete of what came last.
  ASSERT_EQ(setValue(HKEY_USERS, u"last", std::string(200'000, 'l')), 0);
  ASSERT_EQ(RegDeleteValueW(HKEY_USERS, u"last"), 0);
  for (int round = 0; round < 3; ++round) {  // writes every table anew, in pages further ahead
    ASSERT_EQ(setValue(HKEY_USERS, u"a", std::string(1000, 'a')), 0);
    ASSERT_EQ(RegDeleteValueW(HKEY_USERS, u"a"), 0);
  }
  const std::string whole = readFile(m_store.file());
  EXPECT_EQ(inspected(whole.substr(0, whole.size() - 10 * page)), shown(Whole));
}

// Wherever a byte of a record is wrong, reading gives the error or the right value.
TEST_F(RegistryDamage, AWrongByteInARecordIsNoticed) {
  int seen = 0;
  // Each of these stands in one live record: an inside value, an outside value, a key's name, a large value.
  const std::string marks[] = {small(7), large(7).substr(0, 40), "key 7", huge().substr(0, 40)};
  for (const std::string& mark : marks) {
    const std::size_t at = m_file.find(mark);
    ASSERT_NE(at, std::string::npos) << mark;
    for (std::size_t offset = 0; offset < mark.size(); ++offset) {
      const std::string outcome = inspected(changed(at + offset, 1 << (offset % 8)));
      seen += outcome == shown(DamageSeen) ? 1 : 0;
      EXPECT_THAT(outcome, AnyOf(shown(DamageSeen), shown(Refused), shown(Missing)))
          << "after a change of " << mark << " at " << offset;
    }
  }
  EXPECT_GT(seen, 80);
}

TEST_F(RegistryDamage, ADamagedRecordIsTraced) {
  const std::size_t at = m_file.find(large(3).substr(0, 15));
  ASSERT_NE(at, std::string::npos);
  const std::string directory = damagedDirectory(changed(at, 1));
  registry::useStore(directory);
  {
    const Key key = Key::open(HKEY_USERS, keyName(3));
    const Capture trace;
    EXPECT_EQ(getValue(key, u"large").status, ERROR_REGISTRY_CORRUPT);
    EXPECT_NE(trace.text().find("it is damaged (1015"), std::string::npos) << trace.text();
    EXPECT_EQ(getValue(key, u"small").data, small(3)) << "what is whole can be read";
    EXPECT_EQ(getValue(Key::open(HKEY_USERS, keyName(4)), u"large").data, large(4));
    std::string finding;
    EXPECT_EQ(registry::verifyStore(finding), ERROR_REGISTRY_CORRUPT);
    EXPECT_NE(finding.find("is damaged"), std::string::npos) << finding;
    m_store.use();
    EXPECT_EQ(registry::restoreStore(directory, m_store.beside("restored")), ERROR_REGISTRY_CORRUPT);
    EXPECT_THAT(trace.lines.back(), AllOf(HasSubstr('"' + directory + "\" failed"), HasSubstr(finding)));
  }
}

// LMDB has no check sums of its own pages, so a wrong byte in a page's head or in its table of entries may
// do much. The one thing that is never right is another value than the one written.
TEST_F(RegistryDamage, AWrongByteInAPageHead) {
  std::mt19937 random(6);
  for (std::size_t start = 0; start < m_file.size(); start += page) {
    for (std::size_t offset = 0; offset < 32; offset += 1 + random() % 3) {
      EXPECT_NE(inspected(changed(start + offset, 1 << (random() % 8))), shown(WrongValue))
          << "page " << start / page << ", byte " << offset;
    }
  }
}

// Every byte of a record, and every shorter record: decoding ends in the record or in the error.
TEST(RegistryRecord, DecodingSurvivesAnyBytes) {
  registry::NodeRecord record;
  record.header.id = 17;
  record.name = "name";
  record.values = {{REG_SZ, "a", "A", "data"}, {REG_BINARY, "b", "b", std::string(256, 'x')}};
  const std::string small = record.encode();
  record.header.subKeys = 1;
  const std::string whole = record.encode();
  ASSERT_LT(small.size(), whole.size());
  const auto accepts = [](const std::string& bytes) {
    try {
      registry::NodeView view;
      view.decode(bytes);
      std::size_t size = view.name().size();
      for (const registry::InlineValue value : view)
        size += value.folded.size() + value.name.size() + value.data.size();
      return size <= bytes.size();
    } catch (const registry::Failure& failure) {
      EXPECT_EQ(failure.number(), ERROR_REGISTRY_CORRUPT);
      return false;
    }
  };
  for (const std::string& good : {small, whole}) {
    EXPECT_TRUE(accepts(good));
    for (std::size_t length = 0; length < good.size(); ++length) {
      EXPECT_FALSE(accepts(good.substr(0, length))) << length;
      if (length > 4) (void)accepts(registry::sealed(good.substr(4, length - 4)));
    }
    for (std::size_t at = 0; at < good.size(); ++at) {
      std::string bytes = good;
      bytes[at] ^= 0x40;
      EXPECT_FALSE(accepts(bytes)) << at;
      // With the sum put right, the lengths must still hold the reader back.
      (void)accepts(registry::sealed(std::string_view(bytes).substr(4)));
    }
  }
  const registry::OutsideValue value{REG_SZ, "name", "data"};
  const std::string outside = value.encode();
  EXPECT_EQ(registry::OutsideValue::decode(outside).data, "data");
  for (std::size_t length = 0; length < outside.size(); ++length) {
    EXPECT_THROW(registry::OutsideValue::decode(outside.substr(0, length)), registry::Failure) << length;
  }
}

}  // namespace regtest
