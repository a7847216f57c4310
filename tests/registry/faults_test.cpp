// The world around a store: rights, media that cannot be written, disks that fill up.
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <fstream>

#include "tests/registry/RegistryTest.h"

namespace regtest {
namespace {

// Skipped where mounting is not allowed, as in most containers.
constexpr int cannotMount = 77;

// In a child, whose mounts end with it. True where it now has its own.
bool ownMounts() {
  return ::unshare(CLONE_NEWNS) == 0 && ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

int fail(const std::string& what) {
  std::fprintf(stderr, "%s\n", what.c_str());
  return 1;
}

// Writes until the store has no room, checks that everything acknowledged is there, makes room, goes on.
int fillUp(const std::function<void()>& makeRoom) {
  const Key key = Key::create(HKEY_USERS, u"full");
  if (key.status() != 0) return fail("cannot begin");
  const Capture trace;
  int written = 0;
  LSTATUS status = 0;
  const auto name = [](int number) { return u"value " + digits(number); };
  const auto data = [](int number) {
    return std::string(static_cast<std::size_t>(100 + number * 97 % 9000), 'x');
  };
  while ((status = setValue(key, name(written), data(written))) == 0) ++written;
  if (status != ERROR_DISK_FULL) return fail("number " + std::to_string(status));
  if (trace.text().find("the disk is full (112") == std::string::npos) return fail("trace: " + trace.text());
  RegistryTransaction group;
  for (int number = 0; number < 100; ++number) (void)setValue(key, u"group " + name(number), data(number));
  if (group.Commit() != ERROR_DISK_FULL) return fail("a transaction found room");
  for (int number = 0; number < written; ++number) {
    if (getValue(key, name(number)).data != data(number)) return fail("lost " + std::to_string(number));
  }
  if (infoOf(key).values != static_cast<DWORD>(written)) return fail("what was refused is there");
  makeRoom();
  for (int number = written; number < written + 20; ++number) {
    if (setValue(key, name(number), data(number)) != 0) return fail("no writing with room");
  }
  if (const std::string finding = verifyFinding(); !finding.empty()) return fail(finding);
  return infoOf(key).values == static_cast<DWORD>(written + 20) ? 0 : fail("miscounted");
}

class RegistryFaults : public ::testing::Test {
protected:
  void SetUp() override { fs::permissions(m_root / "", fs::perms::all); }
  // In a child: a store on a disk of that size, beside a ballast. The result is where the disk is mounted.
  std::string smallDisk(const char* size, std::size_t ballast) const {
    const std::string directory = m_root / "disk";
    fs::create_directories(directory);
    if (!ownMounts() || ::mount("none", directory.c_str(), "tmpfs", 0, size) != 0) ::_exit(cannotMount);
    std::ofstream(directory + "/ballast") << std::string(ballast, 'b');
    registry::useStore(directory + "/store");
    return directory;
  }
  // A store with a value, which is not in use any more.
  std::string closedStore() const {
    const std::string directory = m_root / "store";
    registry::useStore(directory);
    EXPECT_EQ(setValue(HKEY_USERS, u"v", "x"), 0);
    registry::useStore("");
    return directory;
  }
  void expectClean(const std::string& outcome) {
    if (outcome == "exit " + std::to_string(cannotMount)) GTEST_SKIP() << "mounting is not allowed here";
    EXPECT_EQ(outcome, "exit 0");
  }
  TempDirectory m_root;
};

}  // namespace

TEST_F(RegistryFaults, WithoutTheRightsAccessIsDenied) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can become somebody else";
  const std::string directory = closedStore();
  const auto asNobody = [&] {
    return inChild([&] {
      if (::setegid(65534) != 0 || ::seteuid(65534) != 0) return 1;
      registry::useStore(directory);
      const Capture trace;
      if (getValue(HKEY_USERS, u"v").status != ERROR_ACCESS_DENIED) return 2;
      return trace.text().find("access is denied (5") != std::string::npos ? 0 : 3;
    });
  };
  EXPECT_EQ(asNobody(), "exit 0") << "the directory is closed to others";
  ASSERT_EQ(::chmod(directory.c_str(), 0755), 0);
  EXPECT_EQ(asNobody(), "exit 0") << "and so are the files";
  fs::remove_all(directory);
  ASSERT_EQ(::mkdir(directory.c_str(), 0755), 0);
  EXPECT_EQ(asNobody(), "exit 0") << "no store can be made in a directory that cannot be written";
  EXPECT_TRUE(fs::is_empty(directory));
}

TEST_F(RegistryFaults, TheModeBitsLetTheGroupIn) {
  const mode_t before = ::umask(0077);
  registry::useStore(m_root / "made/store");
  EXPECT_EQ(setValue(HKEY_USERS, u"v", "x"), 0);
  ::umask(before);
  registry::useStore("");
  EXPECT_EQ(fs::status(m_root / "made/store").permissions(), fs::perms{0770});
  for (const char* name : {"data.mdb", "lock.mdb"}) {
    EXPECT_EQ(fs::status(m_root / "made/store/" + name).permissions(), fs::perms{0660}) << name;
  }
}

TEST_F(RegistryFaults, OnAReadOnlyMountTheStoreCanBeRead) {
  const std::string directory = closedStore();
  expectClean(inChild([&] {
    const char* const at = directory.c_str();
    if (!ownMounts() || ::mount(at, at, nullptr, MS_BIND, nullptr) != 0 ||
        ::mount(nullptr, at, nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) != 0) {
      return cannotMount;
    }
    registry::useStore(directory);
    if (getValue(HKEY_USERS, u"v").data != "x") return fail("cannot read");
    registry::StoreInfo info;
    if (registry::storeInfo(info) != 0 || !info.readOnly) return fail("is not read-only");
    const Key key = Key::open(HKEY_USERS, u"");
    for (const LSTATUS status :
         {setValue(key, u"v", "y"), RegDeleteValueW(key, u"v"), RegDeleteKeyW(key, u"none"),
          Key::create(key, u"new").status(), RegistryTransaction().Status()}) {
      if (status != ERROR_ACCESS_DENIED) return fail("a write gave " + std::to_string(status));
    }
    if (registry::copyStore(m_root / "copy") != 0) return fail("cannot be copied");
    return getValue(HKEY_USERS, u"v").data == "x" && verifyFinding().empty() ? 0 : 1;
  }));
}

TEST_F(RegistryFaults, AFullDiskLosesNothingThatWasAcknowledged) {
  expectClean(inChild([&] {
    const std::string disk = smallDisk("size=3m", 1'000'000);
    return fillUp([&] { fs::remove(disk + "/ballast"); });
  }));
}

TEST_F(RegistryFaults, AFileSizeLimitIsAFullDisk) {
  EXPECT_EQ(inChild([&] {
              std::signal(SIGXFSZ, SIG_IGN);
              const auto limit = [](rlim_t bytes) {
                const rlimit both{bytes, RLIM_INFINITY};
                EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &both), 0);
              };
              registry::useStore(m_root / "limited");
              limit(1'000'000);
              return fillUp([&] { limit(RLIM_INFINITY); });
            }),
            "exit 0");
}

TEST_F(RegistryFaults, ADiskThatIsFullFromTheStartGivesTheNumber) {
  expectClean(inChild([&] {
    const std::string disk = smallDisk("size=16k", 100'000);
    const Capture trace;
    const LSTATUS status = setValue(HKEY_USERS, u"v", "x");
    if (status != ERROR_DISK_FULL) return fail("number " + std::to_string(status));
    if (trace.text().find("cannot be used: the disk is full (112") == std::string::npos)
      return fail(trace.text());
    fs::remove(disk + "/ballast");
    if (::mount("none", disk.c_str(), "tmpfs", MS_REMOUNT, "size=3m") != 0) return cannotMount;
    return setValue(HKEY_USERS, u"v", "x");
  }));
}

}  // namespace regtest
