// Deletion: what goes, what is closed on the way, and what a failure leaves.
#include "platform/registry/RegistryTransaction.h"
#include "tests/client/SpaTest.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string noKeys = nodeTrace(2, "Node key contains no keys");

TEST_F(SpaTest, DeletesAProcessSpaceWithAllBelow) {
  OpenAll();
  EXPECT_TRUE(spa.DelPrcSpace(u"p1"));
  EXPECT_FALSE(Exists(u"p1"));
  EXPECT_TRUE(Exists(u"p2\\t1\\c"));
  EXPECT_EQ(spa.States(), "o---");
  EXPECT_EQ(spa.Names(), R"(HKEY_LOCAL_MACHINE\Tree p1 t1 a)") << "the names stay";
  EXPECT_EQ(spa.GetLastError(), 0);
  EXPECT_THAT(Lines(), ElementsAre(noKeys, noKeys, noKeys, noKeys)) << "t1, t2, t3 and p1 are empty";
  ExpectFailure(spa.GoFirstTopic(), 3);
  ExpectFailure(spa.GetTopicAcc(u"t1", false, false), 2);
}

TEST_F(SpaTest, DeletesATopicWithItsParameters) {
  OpenAll();
  EXPECT_TRUE(spa.DelTopic(u"t1"));
  EXPECT_FALSE(Exists(u"p1\\t1"));
  EXPECT_TRUE(Exists(u"p1\\t2\\a"));
  EXPECT_EQ(spa.States(), "oo--");
  EXPECT_THAT(Lines(), ElementsAre(noKeys));
  EXPECT_TRUE(spa.DelTopic(u"t3")) << "it has no parameters";
  EXPECT_THAT(Lines(), ElementsAre(noKeys));
  EXPECT_THAT(listed(spa, &Spa::GetNextTopic), ElementsAre("t2"));
}

TEST_F(SpaTest, DeletesAParameterUnderItsOpenLevel) {
  OpenAll();
  EXPECT_TRUE(spa.DelParameter(u"a"));
  EXPECT_FALSE(Exists(u"p1\\t1\\a"));
  EXPECT_EQ(spa.States(), "oooo") << "the parameter level is not looked at";
  ExpectFailure(spa.SetParValue(u"v", 1), ERROR_KEY_DELETED);
  EXPECT_THAT(listed(spa, &Spa::GetNextPar), ElementsAre("b"));
  EXPECT_TRUE(spa.DelParameter(u"B")) << "the registry's names respect no case";
  ExpectFailure(spa.GoFirstParam(), 0);
}

TEST_F(SpaTest, AWalkThatDeletesBeginsAnewEachTime) {
  Make(u"p1\\t1\\c");
  OpenAll();
  UnicodeString name;
  int deleted = 0;
  while (spa.GetNextPar(name)) {
    EXPECT_TRUE(spa.DelParameter(name));
    ++deleted;
    spa.GoFirstParam();
  }
  EXPECT_EQ(spa.GetLastError(), 0);
  EXPECT_EQ(deleted, 3);
}

// Which levels a deletion closes, by the names that it meets.
TEST_F(SpaTest, ClosesTheLevelsWhoseNamesItMeets) {
  const struct {
    const char* what;
    const char16_t* prcSpace;  // the names of the levels
    const char16_t* topic;
    const char16_t* par;
    const char16_t* branch;  // where topic and parameter are
    const char* states;      // after the deletion of p1
  } cases[] = {
      {"its own branch", u"p1", u"t1", u"a", u"p1", "o---"},
      {"a namesake in another branch", u"p2", u"t1", u"c", u"p2", "oo-o"},
      {"a parameter's namesake", u"p2", u"t9", u"a", u"p2", "ooo-"},
      {"the space alone", u"p1", u"t9", u"x", u"p2", "o-oo"},
      {"no name in common", u"p2", u"t9", u"x", u"p2", "oooo"},
      {"another case", u"P1", u"T1", u"A", u"p1", "oooo"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    for (const char16_t* key : {u"p1\\t1\\a", u"p1\\t3"}) Make(key);
    ASSERT_TRUE(spa.GetParAcc(testRoot, c.branch, c.topic, c.par, true, false));
    ASSERT_TRUE(spa.GetTopicAcc(testRoot, c.branch, c.topic, false, false));
    ASSERT_TRUE(spa.GetPrcSpaceAcc(testRoot, c.prcSpace, false, false));
    ASSERT_TRUE(spa.GetRootAcc(testRoot, false, false));
    EXPECT_TRUE(spa.DelPrcSpace(u"p1"));
    EXPECT_EQ(spa.States(), c.states);
    EXPECT_FALSE(Exists(u"p1"));
  }
}

TEST_F(SpaTest, ATopicsDeletionClosesByNameAsWell) {
  ASSERT_TRUE(spa.GetParAcc(testRoot, u"p1", u"t2", u"a", false, false));
  ASSERT_TRUE(spa.GetPrcSpaceAcc(u"p1", false, false));
  EXPECT_TRUE(spa.DelTopic(u"t1"));
  EXPECT_EQ(spa.States(), "-o--") << "another topic's parameter of that name";
  EXPECT_TRUE(Exists(u"p1\\t2\\a"));
}

TEST_F(SpaTest, NamesAreEmptiedAndNodesDeleteTheLast) {
  ASSERT_TRUE(spa.GetPrcSpaceAcc(testRoot, u"p2", false, false));
  ASSERT_TRUE(spa.GetTopicAcc(testRoot, u"p1", u"t2", false, false));
  ExpectFailure(spa.DelTopic(u"t2"), 2);
  EXPECT_TRUE(Exists(u"p1\\t2"));
  EXPECT_FALSE(Exists(u"p1\\t2\\a")) << "the names led here";
  EXPECT_EQ(spa.States(), "-o--");

  ExpectFailure(spa.DelTopic(u"t1"), ERROR_ACCESS_DENIED);
  EXPECT_TRUE(Exists(u"p1\\t1") && Exists(u"p2\\t1\\c")) << "that of the node is not empty";
  EXPECT_FALSE(Exists(u"p1\\t1\\a"));
}

TEST_F(SpaTest, AFailureLeavesWhatWentBefore) {
  Make(u"p1\\t1\\b\\below");
  OpenAll();
  ExpectFailure(spa.DelParameter(u"b"), ERROR_ACCESS_DENIED);
  ExpectFailure(spa.DelPrcSpace(u"p1"), ERROR_ACCESS_DENIED);
  EXPECT_FALSE(Exists(u"p1\\t1\\a"));
  EXPECT_TRUE(Exists(u"p1\\t1\\b\\below") && Exists(u"p1\\t2\\a"));
  EXPECT_EQ(spa.States(), "ooo-") << "what was closed stays closed";
  ExpectFailure(spa.DelTopic(u"t1"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(spa.States(), "ooo-") << "a topic that is not emptied stays open";
}

TEST_F(SpaTest, AFailedLevelDeletesWhereTheNamesLeadAndThenFails) {
  ASSERT_TRUE(spa.GetPrcSpaceAcc(testRoot, u"p1", false, false));
  ASSERT_FALSE(spa.GetPrcSpaceAcc(testRoot, u"none", false, false));
  ExpectFailure(spa.DelTopic(u"t1"), ERROR_INVALID_HANDLE);
  EXPECT_FALSE(Exists(u"p1\\t1\\a"));
  EXPECT_TRUE(Exists(u"p1\\t1"));
}

TEST_F(SpaTest, ATransactionTakesAFailedDeletionBack) {
  Make(u"p1\\t1\\b\\below");
  OpenAll();
  {
    RegistryTransaction transaction;
    ASSERT_EQ(transaction.Status(), 0);
    EXPECT_FALSE(spa.DelPrcSpace(u"p1"));
    EXPECT_FALSE(Exists(u"p1\\t1\\a"));
  }
  EXPECT_TRUE(Exists(u"p1\\t1\\a"));
  RegistryTransaction transaction;
  EXPECT_TRUE(spa.DelPrcSpace(u"p2"));
  EXPECT_EQ(transaction.Commit(), 0);
  EXPECT_FALSE(Exists(u"p2"));
}

TEST_F(SpaTest, NothingIsMissedAndNothingElseGoes) {
  OpenAll();
  Lines();
  ExpectFailure(spa.DelPrcSpace(u"none"), 2);
  EXPECT_THAT(Lines(), ElementsAre(openFailed(R"(HKEY_LOCAL_MACHINE\Tree\none)")));
  ExpectFailure(spa.DelTopic(u"none"), 2);
  ExpectFailure(spa.DelParameter(u"none"), 2);
  ExpectFailure(spa.DelParProperty(u"none"), 2);
  Lines();

  // The registry takes these for the key itself, which would lose a level.
  for (const char16_t* name : {static_cast<const char16_t*>(nullptr), u"", u"\\", u"\\\\", u"\\t1"}) {
    ExpectFailure(spa.DelPrcSpace(name), 2);
    ExpectFailure(spa.DelTopic(name), 2);
    ExpectFailure(spa.DelParameter(name), 2);
  }
  EXPECT_THAT(Lines(), IsEmpty());
  EXPECT_EQ(spa.States(), "oooo");
  EXPECT_TRUE(Exists(u"p1\\t1\\a") && Exists(u"p1\\t1\\b") && Exists(u"p1\\t2\\a") && Exists(u"p2\\t1\\c"));
  EXPECT_TRUE(Exists(u"p1\\t3"));
}

TEST_F(SpaTest, MarksProtectNothing) {
  ASSERT_TRUE(spa.GetParAcc(Spc::m_pRootName, u"Default", u"T", u"P", true, false));
  EXPECT_TRUE(spa.SetParAttr(Spc::m_pREADONLY, true));
  ASSERT_TRUE(spa.GetRootAcc(Spc::m_pRootName, false, false));
  EXPECT_TRUE(spa.DelPrcSpace(u"Default"));
  EXPECT_EQ(spa.States(), "o---");
}

}  // namespace
