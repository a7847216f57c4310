// RegistryTransaction and RegistryView in one thread, and their edges with others.
#include "platform/registry/RegistryView.h"
#include "tests/registry/RegistryTest.h"

namespace regtest {
namespace {

class RegistryTransactions : public ::testing::Test {
protected:
  void TearDown() override { EXPECT_EQ(verifyFinding(), ""); }

  std::string now(const std::u16string& name) const { return getValue(m_key, name).data; }
  // As another thread sees it.
  std::string outside(const std::u16string& name) const {
    std::string data;
    inThread([&] { data = now(name); });
    return data;
  }

  TempStore m_store;
  Key m_key = Key::create(HKEY_LOCAL_MACHINE, u"k");
};

}  // namespace

TEST_F(RegistryTransactions, AreSeenFromOutsideOnlyWhenCommitted) {
  ASSERT_EQ(setValue(m_key, u"v", "before"), 0);
  RegistryTransaction transaction;
  ASSERT_EQ(transaction.Status(), 0);
  ASSERT_EQ(setValue(m_key, u"v", "after"), 0);
  ASSERT_EQ(Key::create(m_key, u"sub").status(), 0);
  EXPECT_EQ(now(u"v"), "after");
  EXPECT_EQ(outside(u"v"), "before");
  // A refused write ends nothing, and another thread neither.
  EXPECT_EQ(RegDeleteKeyW(HKEY_LOCAL_MACHINE, u"none"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegDeleteValueW(m_key, u"none"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegDeleteKeyW(HKEY_LOCAL_MACHINE, u""), ERROR_ACCESS_DENIED);
  EXPECT_EQ(Key::create(m_key, std::u16string(256, u'x')).status(), ERROR_INVALID_PARAMETER);
  inThread([&] { EXPECT_EQ(transaction.Commit(), ERROR_INVALID_HANDLE); });
  EXPECT_EQ(outside(u"v"), "before");
  EXPECT_EQ(transaction.Status(), 0);
  EXPECT_EQ(transaction.Commit(), 0);
  EXPECT_EQ(now(u"v"), "after");
  EXPECT_EQ(outside(u"v"), "after");
  EXPECT_EQ(Key::open(m_key, u"sub").status(), 0);
  EXPECT_EQ(transaction.Commit(), ERROR_INVALID_HANDLE);
}

TEST_F(RegistryTransactions, TakeEverythingBackWithoutCommit) {
  ASSERT_EQ(setValue(m_key, u"v", "before"), 0);
  Key made = Key::open(0, u"");
  {
    const RegistryTransaction transaction;
    ASSERT_EQ(setValue(m_key, u"v", std::string(5000, 'x')), 0);
    made = Key::create(m_key, u"made");
    ASSERT_EQ(setValue(made, u"v", "inner"), 0);
  }
  EXPECT_EQ(now(u"v"), "before");
  EXPECT_EQ(infoOf(m_key), (Info{0, 0, 1, 1, 6}));
  EXPECT_EQ(getValue(made, u"v").status, ERROR_KEY_DELETED);
  // Nothing that is made later is to bring that handle back to life.
  ASSERT_EQ(Key::create(m_key, u"other\\child").status(), 0);
  ASSERT_EQ(Key::create(m_key, u"made\\child").status(), 0);
  EXPECT_EQ(setValue(made, u"v", "x"), ERROR_KEY_DELETED);
  EXPECT_EQ(RegDeleteKeyW(made, u"child"), ERROR_KEY_DELETED);
  EXPECT_EQ(Key::open(made, u"child").status(), ERROR_KEY_DELETED);
  EXPECT_EQ(Key::create(made, u"child").status(), ERROR_KEY_DELETED);
}

TEST_F(RegistryTransactions, InnerOnesTakeBackTheirOwnWritesAlone) {
  {
    RegistryTransaction outer;
    ASSERT_EQ(setValue(m_key, u"outer", "1"), 0);
    {
      const RegistryTransaction dropped;
      ASSERT_EQ(setValue(m_key, u"outer", "2"), 0);
      ASSERT_EQ(setValue(m_key, u"dropped", "2"), 0);
    }
    EXPECT_EQ(now(u"outer"), "1");
    {
      RegistryTransaction kept;
      ASSERT_EQ(setValue(m_key, u"kept", "3"), 0);
      EXPECT_EQ(kept.Commit(), 0);
      EXPECT_EQ(kept.Commit(), ERROR_INVALID_HANDLE) << "and the outer one goes on";
    }
    EXPECT_EQ(now(u"kept"), "3");
    EXPECT_EQ(outside(u"kept"), "") << "durable with the outermost";
    EXPECT_EQ(outer.Commit(), 0);
  }
  EXPECT_EQ(outside(u"outer") + outside(u"kept") + outside(u"dropped"), "13");
}

// What a transaction remembers of paths must not outlive the keys.
TEST_F(RegistryTransactions, FindKeysThatWereMadeAnewOnTheWay) {
  ASSERT_EQ(Key::create(m_key, u"a\\b\\old").status(), 0);
  RegistryTransaction transaction;
  ASSERT_EQ(Key::open(m_key, u"a\\b\\old").status(), 0);
  ASSERT_EQ(RegDeleteKeyW(m_key, u"a\\b\\old"), 0);
  EXPECT_EQ(Key::open(m_key, u"a\\b\\old").status(), ERROR_FILE_NOT_FOUND);
  ASSERT_EQ(RegDeleteKeyW(m_key, u"a\\b"), 0);
  ASSERT_EQ(Key::create(m_key, u"a\\b\\new").status(), 0);
  EXPECT_EQ(Key::open(m_key, u"a\\b\\new").status(), 0);
  EXPECT_EQ(Key::open(m_key, u"a\\b\\old").status(), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(Key::open(m_key, u"a\\b\\").status(), 0);
  EXPECT_EQ(Key::open(m_key, u"a\\\\b\\NEW").status(), 0);
  EXPECT_EQ(transaction.Commit(), 0);
  EXPECT_EQ(Key::open(m_key, u"a\\b\\new").status(), 0);
}

TEST_F(RegistryTransactions, AnOuterOneEndsItsInnerOnes) {
  RegistryTransaction outer;
  ASSERT_EQ(setValue(m_key, u"outer", "1"), 0);
  RegistryTransaction inner;
  ASSERT_EQ(setValue(m_key, u"inner", "2"), 0);
  EXPECT_EQ(outer.Commit(), 0);
  EXPECT_EQ(inner.Commit(), ERROR_INVALID_HANDLE);
  EXPECT_EQ(outside(u"outer") + outside(u"inner"), "1");
}

TEST_F(RegistryTransactions, AViewStandsStillUntilItsThreadWrites) {
  ASSERT_EQ(setValue(m_key, u"v", "1"), 0);
  const auto write = [&](const char* data) { inThread([&] { EXPECT_EQ(setValue(m_key, u"v", data), 0); }); };
  {
    const RegistryView view;
    write("2");
    EXPECT_EQ(now(u"v"), "2") << "as of the first read, not of the beginning";
    write("3");
    {
      const RegistryView inner;
      EXPECT_EQ(now(u"v"), "2");
    }
    EXPECT_EQ(now(u"v"), "2");
    EXPECT_EQ(infoOf(m_key), (Info{0, 0, 1, 1, 1}));
    ASSERT_EQ(setValue(m_key, u"own", ""), 0);
    EXPECT_EQ(now(u"v"), "3");
    {
      RegistryTransaction transaction;
      ASSERT_EQ(setValue(m_key, u"v", "4"), 0);
      EXPECT_EQ(now(u"v"), "4");
      EXPECT_EQ(transaction.Commit(), 0);
    }
    EXPECT_EQ(now(u"v"), "4");
    write("5");
    EXPECT_EQ(now(u"v"), "4");
  }
  EXPECT_EQ(now(u"v"), "5");
}

}  // namespace regtest
