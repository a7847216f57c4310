// Several threads, several processes, forks.
#include <atomic>
#include <thread>

#include "platform/registry/RegistryView.h"
#include "tests/registry/RegistryTest.h"
#include "tests/support/Sanitized.h"

namespace regtest {
namespace {

constexpr const char16_t* path = u"Software\\Test";

std::string text(int number) {
  return std::to_string(number);
}
int number(const std::string& text) {
  return text.empty() ? -1 : std::atoi(text.c_str());
}

// One value inside the key's record, one outside.
LSTATUS writePair(HKEY key, int n) {
  RegistryTransaction transaction;
  setValue(key, u"inside", text(n));
  setValue(key, u"outside", text(n) + std::string(300, ' '));
  return transaction.Commit();
}
// Their number; -2 where they do not agree.
int readPair(HKEY key, RegistryView::Extent extent = RegistryView::Extent::Store) {
  const RegistryView view(extent);
  const int inside = number(getValue(key, u"inside").data);
  return inside == number(getValue(key, u"outside").data) ? inside : -2;
}

class RegistryConcurrency : public ::testing::Test {
protected:
  void TearDown() override { EXPECT_EQ(verifyFinding(), ""); }
  TempStore m_store;
  Key m_key = Key::create(HKEY_LOCAL_MACHINE, path);
};

}  // namespace

TEST_F(RegistryConcurrency, ThreadsSeeWholeTransactions) {
  ASSERT_EQ(writePair(m_key, 0), 0);
  std::atomic<int> writers{2};
  inThreads(5, [&](int thread) {
    if (thread < 2) {
      for (int n = 1; n <= 300; ++n) EXPECT_EQ(writePair(m_key, 2 * n + thread), 0);
      --writers;
      return;
    }
    const Key own = Key::open(HKEY_LOCAL_MACHINE, path);
    do {
      EXPECT_GE(readPair(m_key), 0);
      EXPECT_GE(readPair(own, RegistryView::Extent::Key), 0);
    } while (writers > 0);
  });
}

// What a thread remembers of the way to a key must not outlive a key on it.
TEST_F(RegistryConcurrency, ThreadsFindWhatOthersMadeAnew) {
  for (const int n : {1, 2}) {
    inThread([&] {
      for (const char16_t* way : {u"area\\unit\\gone", u"area\\unit\\stays", u"area\\unit", u"area"}) {
        RegDeleteKeyW(m_key, way);
      }
      setValue(Key::create(m_key, u"area\\unit\\stays"), u"n", text(n));
      if (n == 1) Key::create(m_key, u"area\\unit\\gone");
    });
    EXPECT_EQ(number(getValue(Key::open(m_key, u"area\\unit\\stays"), u"n").data), n);
    EXPECT_EQ(Key::open(m_key, u"area\\unit\\gone").status(), n == 1 ? 0 : ERROR_FILE_NOT_FOUND);
  }
}

TEST_F(RegistryConcurrency, ThreadsSeeWhatWasAcknowledged) {
  std::atomic<int> acknowledged{0};
  constexpr int last = 2000;
  inThreads(2, [&](int thread) {
    if (thread == 0) {
      for (int n = 1; n <= last; acknowledged = n++) EXPECT_EQ(setValue(m_key, u"n", text(n)), 0);
      return;
    }
    for (int seen = 0; seen < last;) {
      seen = acknowledged;
      EXPECT_GE(number(getValue(m_key, u"n").data), seen == 0 ? -1 : seen);
    }
  });
}

TEST_F(RegistryConcurrency, ThreadsShareHandles) {
  Key opened = Key::open(HKEY_LOCAL_MACHINE, path);
  const HKEY handle = opened;
  inThread([&] {
    EXPECT_EQ(setValue(handle, u"v", "theirs"), 0);
    EXPECT_EQ(getValue(handle, u"v").data, "theirs");
  });
  EXPECT_EQ(getValue(handle, u"v").data, "theirs");
  inThread([&] { EXPECT_EQ(opened.close(), 0); });
  EXPECT_EQ(getValue(handle, u"v").status, ERROR_INVALID_HANDLE);
}

TEST_F(RegistryConcurrency, ThreadsMeetKeysThatComeAndGo) {
  std::atomic<bool> done{false};
  inThreads(4, [&](int thread) {
    for (int round = 0; thread == 0 && round < 400; ++round) {
      EXPECT_EQ(setValue(Key::create(m_key, u"sub"), u"v", "same"), 0);
      EXPECT_EQ(RegDeleteKeyW(m_key, u"sub"), 0);
    }
    if (thread == 0) done = true;
    while (!done) {
      const Key sub = Key::open(m_key, u"sub");
      EXPECT_TRUE(sub.status() == 0 || sub.status() == ERROR_FILE_NOT_FOUND) << sub.status();
      for (int look = 0; look < 5 && sub.status() == 0; ++look) {
        const Value value = getValue(sub, u"v");
        EXPECT_TRUE(value.status == ERROR_KEY_DELETED || value.status == ERROR_FILE_NOT_FOUND ||
                    (value.status == 0 && value.data == "same"))
            << value.status;
      }
    }
  });
}

TEST_F(RegistryConcurrency, ThreadsThatWriteAllCount) {
  inThreads(4, [&](int writer) {
    for (int n = 0; n < 100; ++n) {
      const std::u16string name = digits(writer) + u"-" + digits(n);
      EXPECT_EQ(setValue(m_key, name, std::string(static_cast<std::size_t>(n * 5), 'x')), 0);
      EXPECT_EQ(Key::create(m_key, name).disposition(), REG_CREATED_NEW_KEY);
    }
  });
  EXPECT_EQ(infoOf(m_key), (Info{400, 4, 400, 4, 495}));
}

TEST_F(RegistryConcurrency, ProcessesSeeWhatWasAcknowledged) {
  const Pipe there;
  const Pipe back;
  const pid_t child = startChild([&] {
    while (there.take() == '.') {
      const int n = number(getValue(m_key, u"n").data);
      if (n < 0 || setValue(m_key, u"n", text(n + 1)) != 0) return 1;
      back.give();
    }
    return 0;
  });
  for (int n = 0; n < 400; n += 2) {
    ASSERT_EQ(setValue(m_key, u"n", text(n)), 0);
    there.give();
    ASSERT_EQ(back.take(), '.');
    ASSERT_EQ(number(getValue(m_key, u"n").data), n + 1);
  }
  there.give('!');
  EXPECT_EQ(ending(child), "exit 0");
}

TEST_F(RegistryConcurrency, ProcessesSeeWholeTransactions) {
  ASSERT_EQ(writePair(m_key, 0), 0);
  std::vector<pid_t> children;
  for (int writer = 0; writer < 3; ++writer) {
    children.push_back(startChild([&] {
      for (int n = 1; n <= 200; ++n) {
        if (writePair(m_key, n) != 0 || readPair(m_key) < 0) return 1;
      }
      return 0;
    }));
  }
  for (int look = 0; look < 2000; ++look) ASSERT_GE(readPair(m_key), 0);
  for (const pid_t child : children) EXPECT_EQ(ending(child), "exit 0");
}

TEST(RegistryFirstOpen, ProcessesCreateTheStoreAtTheSameMoment) {
  for (int round = 0; round < 10; ++round) {
    const TempStore store;
    const Pipe start;
    std::vector<pid_t> children;
    for (int number = 0; number < 12; ++number) {
      children.push_back(startChild([&] {
        start.take();
        const Key own = Key::create(HKEY_USERS, u"process " + digits(number));
        return own.disposition() == REG_CREATED_NEW_KEY && setValue(own, u"v", "x") == 0 ? 0 : 1;
      }));
    }
    for (std::size_t child = 0; child < children.size(); ++child) start.give();
    for (const pid_t child : children) ASSERT_EQ(ending(child), "exit 0");
    EXPECT_EQ(infoOf(HKEY_USERS).subKeys, children.size());
    EXPECT_EQ(verifyFinding(), "");
    for (const auto& entry : fs::directory_iterator(store.directory())) {
      const std::string name = entry.path().filename();
      EXPECT_TRUE(name == "data.mdb" || name == "lock.mdb") << name;
    }
  }
}

TEST_F(RegistryConcurrency, AForkedChildGoesOnWithTheHandles) {
  ASSERT_EQ(setValue(m_key, u"v", "parent"), 0);
  const Pipe written;
  const Pipe answered;
  const pid_t child = startChild([&] {
    if (getValue(m_key, u"v").data != "parent") return 1;
    if (setValue(m_key, u"v", "child") != 0 || Key::create(m_key, u"sub").status() != 0) return 2;
    written.give();
    answered.take();
    if (getValue(m_key, u"v").data != "parent again") return 3;
    return RegCloseKey(m_key) == 0 && getValue(m_key, u"v").status == ERROR_INVALID_HANDLE ? 0 : 4;
  });
  written.take();
  EXPECT_EQ(getValue(m_key, u"v").data, "child");
  EXPECT_EQ(setValue(m_key, u"v", "parent again"), 0);
  answered.give();
  EXPECT_EQ(ending(child), "exit 0");
  EXPECT_EQ(getValue(m_key, u"v").data, "parent again") << "the child's handle was its own";
}

TEST_F(RegistryConcurrency, AForkInsideATransactionLeavesItToTheParent) {
  ASSERT_EQ(setValue(m_key, u"v", "before"), 0);
  const Pipe looked;
  const Pipe committed;
  pid_t child = 0;
  {
    RegistryTransaction transaction;
    ASSERT_EQ(setValue(m_key, u"v", "inside"), 0);
    child = startChild([&] {
      if (transaction.Commit() != ERROR_INVALID_HANDLE) return 1;
      if (getValue(m_key, u"v").data != "before") return 2;
      looked.give();
      committed.take();
      if (getValue(m_key, u"v").data != "inside") return 3;
      return setValue(m_key, u"child", "x");
    });
    ASSERT_EQ(setValue(m_key, u"w", "too"), 0);
    looked.take();
    EXPECT_EQ(transaction.Commit(), 0);
  }
  committed.give();
  EXPECT_EQ(ending(child), "exit 0");
  EXPECT_EQ(getValue(m_key, u"w").data, "too");
  EXPECT_EQ(getValue(m_key, u"child").data, "x");
}

TEST_F(RegistryConcurrency, AForkInsideATransactionMayEndItInTheChild) {
  auto transaction = std::make_unique<RegistryTransaction>();
  ASSERT_EQ(setValue(m_key, u"v", "inside"), 0);
  EXPECT_EQ(inChild([&] {
              transaction.reset();
              return getValue(m_key, u"v").status == ERROR_FILE_NOT_FOUND ? 0 : 1;
            }),
            "exit 0");
  EXPECT_EQ(transaction->Commit(), 0);
  EXPECT_EQ(getValue(m_key, u"v").data, "inside");
}

// The child must not give up the parent's place among the readers, which is what keeps the pages of its
// view from being used again.
TEST_F(RegistryConcurrency, AForkInsideAViewLeavesItToTheParent) {
  for (int n = 0; n < 50; ++n) {
    ASSERT_EQ(setValue(Key::create(m_key, digits(n)), u"v", std::string(3000, 'a')), 0);
  }
  auto view = std::make_unique<RegistryView>();
  ASSERT_EQ(getValue(Key::open(m_key, u"0"), u"v").data, std::string(3000, 'a'));
  const auto giveUpTheView = [&] {
    view.reset();
    return 0;
  };
  const auto writeAll = [&] {
    for (int n = 0; n < 500; ++n) {
      if (setValue(Key::open(m_key, digits(n % 50)), u"v", std::string(3000, 'b')) != 0) return 1;
    }
    return 0;
  };
  EXPECT_EQ(inChild(giveUpTheView), "exit 0");
  EXPECT_EQ(inChild(writeAll), "exit 0");
  for (int n = 0; n < 50; ++n) {
    ASSERT_EQ(getValue(Key::open(m_key, digits(n)), u"v"), (Value{0, std::string(3000, 'a'), REG_BINARY}))
        << n;
  }
}

// Whatever lock another thread holds at the moment of the fork, the child must get on. The sanitizers'
// allocators do not, so they are left out.
TEST_F(RegistryConcurrency, AForkWhileOthersWork) {
  if (isSanitized) GTEST_SKIP() << "a sanitizer's allocator may stay locked in the child";
  std::atomic<bool> done{false};
  const auto openMany = [] {
    std::vector<Key> many;
    for (int n = 0; n < 200; ++n) many.push_back(Key::open(HKEY_LOCAL_MACHINE, path));
    return many.back().status();
  };
  const auto forkWhile = [&] {
    for (int round = 0; round < 60 && !HasFailure(); ++round) {
      EXPECT_EQ(inChild([&] {
                  ::alarm(20);
                  return openMany() + setValue(m_key, u"c", "x");
                }),
                "exit 0");
    }
    done = true;
  };
  inThreads(3, [&](int thread) {
    if (thread == 0) return forkWhile();
    while (!done) EXPECT_EQ(openMany() + setValue(m_key, digits(thread), "x"), 0);
  });
}

// Objects with open keys may be static, and are then destroyed after the thread's own things.
TEST_F(RegistryConcurrency, AStaticObjectMayCloseItsKeyAtTheEnd) {
  EXPECT_EQ(inChild([&] {
              static struct Late {
                HKEY key = 0;
                ~Late() {
                  const bool works = setValue(key, u"v", "late") == 0 && getValue(key, u"v").data == "late" &&
                                     subKeyAt(key, 0).first == ERROR_NO_MORE_ITEMS && RegCloseKey(key) == 0;
                  ::_exit(works ? 0 : 1);
                }
              } late;
              EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, MAXIMUM_ALLOWED, &late.key), 0);
              std::exit(2);
              return 3;
            }),
            "exit 0");
  EXPECT_EQ(getValue(m_key, u"v").data, "late");
}

TEST_F(RegistryConcurrency, ThreadsThatReadAtTheirEndGiveTheirPlacesBack) {
  ASSERT_EQ(setValue(m_key, u"v", "late"), 0);
  const auto handlesLeft = [] {
    std::vector<Key> open;
    do open.push_back(Key::open(HKEY_LOCAL_MACHINE, path));
    while (open.back().status() == 0);
    return open.size();
  };
  const auto placesAfterOneMore = [] {
    std::string read;
    std::thread([&] {
      struct Late {
        std::string* read = nullptr;
        ~Late() { *read = getValue(Key::open(HKEY_LOCAL_MACHINE, path), u"v").data; }
      };
      thread_local Late late;  // made before what the registry keeps of the thread, and so gone after it
      late.read = &read;
      (void)getValue(Key::open(HKEY_LOCAL_MACHINE, path), u"v");
    }).join();
    EXPECT_EQ(read, "late");
    registry::StoreInfo info;
    EXPECT_EQ(registry::storeInfo(info), 0);
    return info.readers;
  };
  const std::size_t handles = handlesLeft();
  const std::uint32_t first = placesAfterOneMore();
  EXPECT_EQ(placesAfterOneMore(), first);
  EXPECT_EQ(placesAfterOneMore(), first);
  EXPECT_EQ(handlesLeft(), handles);
}

}  // namespace regtest
