// Volatile keys end with the boot of the machine.
#include <sys/resource.h>

#include "platform/registry/Store.h"
#include "tests/registry/RegistryTest.h"
#include "tests/support/Sanitized.h"

namespace regtest {
namespace {

// Makes the store look as if the machine had been started since.
void age() {
  const auto open = registry::currentStore();
  registry::TxnPtr transaction = open->begin(nullptr, 0);
  registry::setLastBoot(transaction.get(), open->tables(), "an earlier boot");
  open->commit(std::move(transaction));
}

// The same, and closes it.
void boot(const TempStore& store) {
  age();
  store.use();
}

}  // namespace

TEST(VolatileKeys, EndWithTheBoot) {
  const TempStore store;
  ASSERT_EQ(setValue(Key::create(HKEY_LOCAL_MACHINE, u"stays\\too"), u"v", "kept"), 0);
  const std::string large(5000, 'x');
  for (const char16_t* path :
       {u"stays\\gone\\deeper\\still", u"gone", u"stays\\gone as well", u"stays\\too\\gone"}) {
    const Key key = Key::create(HKEY_LOCAL_MACHINE, path, REG_OPTION_VOLATILE);
    ASSERT_EQ(setValue(key, u"v", "inside"), 0);
    ASSERT_EQ(setValue(key, u"large", large), 0);
  }
  ASSERT_EQ(RegDeleteKeyW(HKEY_LOCAL_MACHINE, u"stays\\gone as well"), 0);
  store.use();
  EXPECT_EQ(Key::open(HKEY_LOCAL_MACHINE, u"stays\\gone\\deeper\\still").status(), 0) << "no boot, no purge";

  boot(store);
  const Key stays = Key::open(HKEY_LOCAL_MACHINE, u"stays");
  EXPECT_EQ(subKeysOf(HKEY_LOCAL_MACHINE), Names{u"stays"});
  EXPECT_EQ(subKeysOf(stays), Names{u"too"});
  EXPECT_EQ(infoOf(stays), (Info{1, 3, 0, 0, 0}));
  EXPECT_EQ(getValue(Key::open(stays, u"too"), u"v").data, "kept");
  EXPECT_EQ(infoOf(Key::open(stays, u"too")).subKeys, 0U);
  registry::StoreInfo info;
  EXPECT_EQ(registry::storeInfo(info), 0);
  EXPECT_EQ(info.values, 0U) << "large values go with their keys";
  EXPECT_EQ(verifyFinding(), "");

  const Key again = Key::create(HKEY_LOCAL_MACHINE, u"gone", REG_OPTION_VOLATILE);
  EXPECT_EQ(again.disposition(), REG_CREATED_NEW_KEY);
  store.use();
  EXPECT_EQ(Key::open(HKEY_LOCAL_MACHINE, u"gone").status(), 0);
}

TEST(VolatileKeys, DeepOnesEndToo) {
  const TempStore store;
  std::u16string path = u"d";
  for (int level = 1; level < 512; ++level) path += u"\\d";
  ASSERT_EQ(Key::create(HKEY_USERS, path, REG_OPTION_VOLATILE).status(), 0);
  boot(store);
  EXPECT_EQ(infoOf(HKEY_USERS), Info{});
  EXPECT_EQ(verifyFinding(), "");
}

TEST(VolatileKeys, OnAFullDiskTheyGoWithTheFirstWriteThatFindsRoom) {
  const TempStore store;
  EXPECT_EQ(inChild([&] {
              std::signal(SIGXFSZ, SIG_IGN);
              const auto limit = [](rlim_t bytes) {
                const rlimit both{bytes, RLIM_INFINITY};
                EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &both), 0);
              };
              // Longer than the lock file, which has to be made.
              if (setValue(HKEY_USERS, u"v", std::string(500'000, 'x')) != 0) return 1;
              if (Key::create(HKEY_USERS, u"gone", REG_OPTION_VOLATILE).status() != 0) return 2;
              age();
              const std::string full = store.beside("full");
              if (registry::copyStore(full) != 0) return 3;  // a copy has no page that is free
              registry::useStore(full);
              limit(fs::file_size(full + "/data.mdb"));
              const Capture trace;
              if (getValue(HKEY_USERS, u"v").data.size() != 500'000) return 4;
              if (trace.text().find("keeps volatile keys of another boot") == std::string::npos) return 5;
              if (setValue(HKEY_USERS, u"v", "x") != ERROR_DISK_FULL) return 6;
              limit(RLIM_INFINITY);
              if (RegistryTransaction().Status() != 0) return 7;
              if (Key::open(HKEY_USERS, u"gone").status() != ERROR_FILE_NOT_FOUND) return 8;
              return verifyFinding().empty() ? 0 : 9;
            }),
            "exit 0");
}

TEST(VolatileKeys, WhoCannotAskForTheBootLetsThemGoBeforeTheFirstWrite) {
  if (isSanitized) GTEST_SKIP() << "a sanitizer's own checks need descriptors";
  const TempStore store;
  EXPECT_EQ(inChild([&] {
              if (Key::create(HKEY_USERS, u"gone", REG_OPTION_VOLATILE).status() != 0) return 1;
              boot(store);
              rlimit limit{};
              ::getrlimit(RLIMIT_NOFILE, &limit);
              const rlim_t all = limit.rlim_cur;
              const auto allow = [&](rlim_t descriptors) {
                limit.rlim_cur = descriptors;
                return ::setrlimit(RLIMIT_NOFILE, &limit);
              };
              // The boot is asked for once the store's files are open, so with the fewest descriptors for
              // those there is none left for that.
              rlim_t few = 0;
              do allow(++few);
              while (getValue(HKEY_USERS, u"none").status != ERROR_FILE_NOT_FOUND && few < all);
              allow(0);  // nor later
              if (RegistryTransaction().Status() != ERROR_NO_SYSTEM_RESOURCES) return 2;
              if (allow(all) != 0 || RegistryTransaction().Status() != 0) return 3;
              return Key::open(HKEY_USERS, u"gone").status() == ERROR_FILE_NOT_FOUND ? 0 : 4;
            }),
            "exit 0");
}

}  // namespace regtest
