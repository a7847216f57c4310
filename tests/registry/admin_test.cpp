// Care for the store as a whole: its place, copies, restoring.
#include <sys/file.h>

#include <atomic>
#include <fstream>

#include "tests/registry/RegistryTest.h"

namespace regtest {
namespace {

class RegistryAdmin : public ::testing::Test {
protected:
  void write(const std::string& data) const {
    EXPECT_EQ(setValue(HKEY_USERS, u"v", data), 0);
    EXPECT_EQ(setValue(Key::create(HKEY_USERS, u"k"), u"large", data + std::string(10'000, '.')), 0);
  }
  std::string read() const {
    const std::string value = getValue(HKEY_USERS, u"v").data;
    EXPECT_EQ(getValue(Key::open(HKEY_USERS, u"k"), u"large").data, value + std::string(10'000, '.'));
    return value;
  }
  // A copy of the store with "old", which then has "new".
  std::string copyOfOld() const {
    write("old");
    EXPECT_EQ(registry::copyStore(m_store.beside("copy")), 0);
    write("new");
    return m_store.beside("copy");
  }
  void useAnother() const {
    registry::useStore(m_store.beside("elsewhere"));
    EXPECT_EQ(getValue(HKEY_USERS, u"v").status, ERROR_FILE_NOT_FOUND);
  }
  TempStore m_store;
};

}  // namespace

TEST_F(RegistryAdmin, InfoTellsWhatIsThere) {
  write("x");
  registry::StoreInfo info;
  ASSERT_EQ(registry::storeInfo(info), 0);
  EXPECT_EQ(info.directory, m_store.directory());
  EXPECT_EQ(info.storeId.size(), 32U);
  EXPECT_EQ(info.keys, 5U) << "the hives and one";
  EXPECT_EQ(info.values, 1U);
  EXPECT_GE(info.usedBytes, 10'000U);
  EXPECT_LE(info.usedBytes, fs::file_size(m_store.file()) + 4096);
  EXPECT_GE(info.readers, 1U);
  EXPECT_FALSE(info.readOnly);
  const std::uint64_t before = info.lastTransaction;
  write("y");
  ASSERT_EQ(registry::storeInfo(info), 0);
  EXPECT_GT(info.lastTransaction, before);
  const std::string id = info.storeId;
  const TempStore other;
  ASSERT_EQ(registry::storeInfo(info), 0);
  EXPECT_NE(info.storeId, id);
}

// As an import makes them: the rows grow after they are made.
TEST(RegistryRoom, KeysMadeInOrderFillTheirPages) {
  constexpr int count = 3000;
  const auto usedBy = [](auto nameOf) {
    const TempStore store;
    RegistryTransaction transaction;
    const Key parent = Key::create(HKEY_USERS, u"parent");
    for (int i = 0; i < count; ++i) {
      const Key key = Key::create(parent, nameOf(i));
      EXPECT_EQ(setValue(key, u"type", "x") + setValue(key, u"value", std::string(80, '.')), 0);
    }
    EXPECT_EQ(transaction.Commit(), 0);
    registry::StoreInfo info;
    EXPECT_EQ(registry::storeInfo(info), 0);
    std::string finding;
    EXPECT_EQ(registry::verifyStore(finding), 0) << finding;
    EXPECT_EQ(infoOf(Key::open(HKEY_USERS, u"parent")).subKeys, static_cast<DWORD>(count));
    return info.usedBytes;
  };
  const std::uint64_t inOrder = usedBy([](int i) { return digits(10'000 + i); });
  const std::uint64_t backwards = usedBy([](int i) { return digits(10'000 + count - i); });
  EXPECT_LT(inOrder, backwards * 4 / 5);
}

TEST_F(RegistryAdmin, TheEnvironmentNamesTheStore) {
  const std::string named = m_store.beside("named");
  ASSERT_EQ(::setenv("SPS_REGISTRY", named.c_str(), 1), 0);
  registry::useStore("");
  EXPECT_EQ(registry::storeDirectory(), named);
  EXPECT_EQ(setValue(HKEY_USERS, u"v", "there"), 0);
  EXPECT_TRUE(fs::exists(named + "/data.mdb"));
  ::unsetenv("SPS_REGISTRY");
  EXPECT_EQ(registry::storeDirectory(), named) << "until the next useStore";
  m_store.use();
  EXPECT_EQ(registry::storeDirectory(), m_store.directory());
  EXPECT_EQ(getValue(HKEY_USERS, u"v").status, ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistryAdmin, ACopyMadeWhileOthersWriteIsAStore) {
  write("0");
  std::atomic<bool> done{false};
  std::thread writer([&] {
    for (int number = 1; !done; ++number) {
      RegistryTransaction transaction;
      setValue(HKEY_USERS, u"v", std::to_string(number));
      setValue(Key::open(HKEY_USERS, u"k"), u"large", std::to_string(number) + std::string(10'000, '.'));
      EXPECT_EQ(transaction.Commit(), 0);
    }
  });
  for (int copy = 0; copy < 10; ++copy) {
    EXPECT_EQ(registry::copyStore(m_store.beside("copy" + std::to_string(copy))), 0);
  }
  done = true;
  writer.join();
  for (int copy = 0; copy < 10; ++copy) {
    registry::useStore(m_store.beside("copy" + std::to_string(copy)));
    EXPECT_NE(read(), "");
    EXPECT_EQ(verifyFinding(), "");
  }
  m_store.use();
  EXPECT_EQ(registry::copyStore(m_store.beside("copy0")), ERROR_ACCESS_DENIED) << "it is not empty";
  const Capture trace;
  const std::string target = m_store.file() + "/below a file";
  EXPECT_EQ(registry::copyStore(target), ERROR_REGISTRY_IO_FAILED);
  EXPECT_NE(trace.text().find('"' + target + "\" failed"), std::string::npos) << trace.text();
}

TEST_F(RegistryAdmin, RestoringPutsACopyBackAndKeepsTheOldFile) {
  const std::string copy = copyOfOld();
  EXPECT_EQ(registry::restoreStore(copy, m_store.directory()), ERROR_ACCESS_DENIED)
      << "this process has it open";
  EXPECT_EQ(read(), "new");
  useAnother();
  ASSERT_EQ(registry::restoreStore(copy, m_store.directory()), 0);
  m_store.use();
  EXPECT_EQ(read(), "old");
  EXPECT_EQ(verifyFinding(), "");
  write("newer");

  const std::string kept = m_store.beside("kept");
  fs::create_directories(kept);
  fs::copy_file(m_store.file() + ".before-restore", kept + "/data.mdb");
  registry::useStore(kept);
  EXPECT_EQ(read(), "new");
  EXPECT_EQ(registry::restoreStore(copy, m_store.directory()), 0) << "a second time";
  m_store.use();
  EXPECT_EQ(read(), "old");
}

TEST_F(RegistryAdmin, ProcessesThatUseAStoreKeepItFromBeingRestoredOrTakenForACopy) {
  const std::string copy = copyOfOld();
  useAnother();
  for (const std::string& used : {m_store.directory(), copy}) {
    const Pipe ready;
    const Pipe stop;
    const pid_t user = startChild([&] {
      registry::useStore(used);
      const std::string before = getValue(HKEY_USERS, u"v").data;
      ready.give(before == "new" || before == "old" ? 'r' : 'f');
      stop.take();
      return getValue(HKEY_USERS, u"v").data == before ? 0 : 1;
    });
    ASSERT_EQ(ready.take(), 'r');
    EXPECT_EQ(registry::restoreStore(copy, m_store.directory()), ERROR_ACCESS_DENIED) << used;
    stop.give();
    EXPECT_EQ(ending(user), "exit 0");
  }
  // Who opens a store holds its directory like this, before the store's own lock.
  const int opening = ::open(m_store.directory().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  EXPECT_EQ(::flock(opening, LOCK_SH | LOCK_NB), 0);
  EXPECT_EQ(registry::restoreStore(copy, m_store.directory()), ERROR_ACCESS_DENIED);
  ::close(opening);
  EXPECT_FALSE(fs::exists(m_store.file() + ".restoring"));
  EXPECT_EQ(registry::restoreStore(copy, m_store.directory()), 0);
  m_store.use();
  EXPECT_EQ(read(), "old");
}

TEST_F(RegistryAdmin, WhatIsNoSoundCopyIsNotRestored) {
  write("here");
  useAnother();
  const std::string copy = m_store.beside("copy");
  EXPECT_EQ(registry::restoreStore(copy, m_store.directory()), ERROR_FILE_NOT_FOUND);
  fs::create_directories(copy);
  std::ofstream(copy + "/data.mdb") << std::string(20'000, 'x');
  EXPECT_EQ(registry::restoreStore(copy, m_store.directory()), ERROR_NOT_REGISTRY_FILE);
  m_store.use();
  EXPECT_EQ(read(), "here");
  EXPECT_FALSE(fs::exists(m_store.file() + ".before-restore"));
}

}  // namespace regtest
