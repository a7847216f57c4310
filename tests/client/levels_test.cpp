// Opening, releasing and copying the levels, and what every state of a level does to every operation.
#include <functional>
#include <memory>

#include "tests/client/SpaTest.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr const char* rootOnly = R"(HKEY_LOCAL_MACHINE\Tree   )";

TEST_F(SpaTest, ShortFormsNeedTheNamesAbove) {
  struct {
    bool (Spa::*open)(const char16_t*, bool, bool);
    std::vector<UnicodeString OpenSpa::*> names;
    std::int32_t code;
  } const cases[] = {
      {&Spa::GetPrcSpaceAcc, {&OpenSpa::m_rootName}, 1},
      {&Spa::GetTopicAcc, {&OpenSpa::m_rootName, &OpenSpa::m_prcSpaceName}, 3},
      {&Spa::GetParAcc, {&OpenSpa::m_rootName, &OpenSpa::m_prcSpaceName, &OpenSpa::m_topicName}, 4},
  };
  for (const auto& c : cases) {
    for (const auto empty : c.names) {
      OpenAll();
      (spa.*empty).Empty();
      const std::string names = spa.Names();
      ExpectFailure((spa.*c.open)(u"x", true, false), c.code);
      EXPECT_EQ(spa.Names(), names);
      EXPECT_EQ(spa.States(), "oooo") << "the level stays as it was";
    }
    OpenSpa fresh;
    EXPECT_FALSE((fresh.*c.open)(u"x", true, false));
    EXPECT_EQ(fresh.GetLastError(), c.code);
    EXPECT_EQ(fresh.States() + fresh.Names(), "----   ");
  }
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(SpaTest, LongFormsTouchTheirOwnLevelAlone) {
  EXPECT_TRUE(spa.GetParAcc(testRoot, u"p1", u"t2", u"a", false, false));
  EXPECT_EQ(spa.Names(), R"(HKEY_LOCAL_MACHINE\Tree p1 t2 a)");
  EXPECT_EQ(spa.States(), "---o");

  EXPECT_TRUE(spa.GetPrcSpaceAcc(testRoot, u"p1", false, false));
  EXPECT_TRUE(spa.GetTopicAcc(testRoot, u"p2", u"t1", false, false));
  EXPECT_EQ(spa.Names(), R"(HKEY_LOCAL_MACHINE\Tree p2 t1 a)");
  EXPECT_EQ(spa.m_pPrcSpaceNode->GetNodePath(), At(u"p1").c_str());
  EXPECT_THAT(listed(spa, &Spa::GetNextTopic), ElementsAre("t1", "t2", "t3"));
  EXPECT_TRUE(spa.GetParAcc(u"c", false, false)) << "below the names, not the keys";
}

TEST_F(SpaTest, AFailedOpeningLosesTheLevelButNoName) {
  const struct {
    const char16_t* root;
    std::int32_t code;
    std::vector<std::string> traces;
  } cases[] = {{u"HKEY_LOCAL_MACHINE\\none", 2, {openFailed(R"(HKEY_LOCAL_MACHINE\none)")}},
               {u"HKEY_LOCAL_MACHINE", 6, {}},
               {u"HKEY_NOWHERE\\Tree", 6, {}},
               {nullptr, 6, {}}};
  for (const auto& c : cases) {
    ASSERT_TRUE(spa.GetRootAcc(testRoot, false, false));
    ExpectFailure(spa.GetRootAcc(c.root, false, false), c.code);
    EXPECT_EQ(spa.States(), "f---");
    EXPECT_EQ(spa.Names(), rootOnly);
    EXPECT_EQ(Lines(), c.traces);
  }
  EXPECT_TRUE(spa.GetPrcSpaceAcc(u"p1", false, false));
  EXPECT_TRUE(spa.GetTopicAcc(u"t1", false, false));
  ExpectFailure(spa.GetTopicAcc(u"none", false, false), 2);
  EXPECT_TRUE(spa.GetParAcc(u"a", false, false)) << "below the topic of the last success";
  EXPECT_EQ(spa.GetLastError(), 2) << "a success clears nothing";

  EXPECT_TRUE(spa.GetRootAcc(testRoot, false, false));
  EXPECT_EQ(spa.States(), "oofo");
  spa.ReleaseTopicAcc();
  EXPECT_EQ(spa.States(), "oo-o");
  EXPECT_FALSE(spa.GetParAcc(std::u16string(300, u'x').c_str(), true, false));
  EXPECT_EQ(spa.m_parName, u"a");
}

TEST_F(SpaTest, AnObjectsOwnNamesMayNameTheNextOpening) {
  Make(u"t1\\p1");
  OpenAll();
  EXPECT_EQ(spa.Names(), R"(HKEY_LOCAL_MACHINE\Tree p1 t1 a)");
  EXPECT_EQ(spa.m_pParNode->GetNodePath(), At(u"p1\\t1\\a").c_str());
  EXPECT_TRUE(spa.GetTopicAcc(spa.m_rootName, spa.m_topicName, spa.m_prcSpaceName, false, false));
  EXPECT_EQ(spa.Names(), R"(HKEY_LOCAL_MACHINE\Tree t1 p1 a)");
}

TEST_F(SpaTest, CreateMakesEveryMissingKey) {
  EXPECT_TRUE(spa.GetParAcc(testRoot, u"p9", u"t9", u"x", true, false));
  EXPECT_TRUE(Exists(u"p9\\t9\\x"));
  EXPECT_TRUE(spa.m_pParNode->IsNodeCreated());
  EXPECT_TRUE(spa.GetParAcc(u"x", true, true)) << "it exists, so it stays what it is";
  EXPECT_FALSE(spa.m_pParNode->IsNodeCreated());
  EXPECT_TRUE(spa.GetTopicAcc(u"v", true, true));
  ExpectFailure(spa.GetParAcc(testRoot, u"p9", u"v", u"x", true, false), ERROR_CHILD_MUST_BE_VOLATILE);
}

TEST_F(SpaTest, AReleaseKeepsNamesAndAllElse) {
  OpenAll();
  spa.ReleaseRootAcc();
  spa.ReleaseRootAcc();
  EXPECT_EQ(spa.States(), "-ooo");
  UnicodeString name;
  ExpectFailure(spa.GetNextPrcSpace(name), 1);
  EXPECT_TRUE(spa.GetPrcSpaceAcc(u"p2", false, false));
  EXPECT_THAT(listed(spa, &Spa::GetNextPar), ElementsAre("a", "b")) << "still those of p1\\t1";
  spa.ReleasePrcSpaceAcc();
  spa.ReleaseTopicAcc();
  spa.ReleaseParAcc();
  EXPECT_EQ(spa.States(), "----");
  EXPECT_EQ(spa.Names(), R"(HKEY_LOCAL_MACHINE\Tree p2 t1 a)");
}

struct Operation {
  const char* name;
  std::int32_t closed;  // the code without a node
  std::int32_t failed;  // the code on a level whose opening failed, -1: success with 0
  std::function<bool(Spa&)> run;
};

// The code that stands before each operation.
constexpr std::int32_t stale = 1021;
constexpr std::int32_t success = -1;

std::vector<Operation> operations() {
  static UnicodeString text;
  static std::uint8_t data[8];
  static std::uint32_t count;
  static std::int32_t number;
  static double real;
  static std::int64_t large;
  static bool flag;
  static std::uint16_t letter;
  count = sizeof data;
  return {
      {"GoFirstPrcSpace", 1, stale, [](Spa& s) { return s.GoFirstPrcSpace(); }},
      {"GetNextPrcSpace", 1, 0, [](Spa& s) { return s.GetNextPrcSpace(text); }},
      {"DelPrcSpace", 1, 6, [](Spa& s) { return s.DelPrcSpace(u"p3"); }},
      {"GoFirstTopic", 3, stale, [](Spa& s) { return s.GoFirstTopic(); }},
      {"GetNextTopic", 3, 0, [](Spa& s) { return s.GetNextTopic(text); }},
      {"DelTopic", 3, 6, [](Spa& s) { return s.DelTopic(u"t3"); }},
      {"GoFirstParam", 4, stale, [](Spa& s) { return s.GoFirstParam(); }},
      {"GetNextPar", 4, 0, [](Spa& s) { return s.GetNextPar(text); }},
      {"DelParameter", 4, 6, [](Spa& s) { return s.DelParameter(u"b"); }},
      {"GoFirstParProp", 5, stale, [](Spa& s) { return s.GoFirstParProp(); }},
      {"GetNextParProp", 5, 0, [](Spa& s) { return s.GetNextParProp(text, data, count); }},
      {"GetPropCnt", 5, success, [](Spa& s) { return s.GetPropCnt(count); }},
      {"GetMaxPropData", 5, success, [](Spa& s) { return s.GetMaxPropData(count); }},
      {"GetParValue number", 5, 6, [](Spa& s) { return s.GetParValue(u"n", number); }},
      {"GetParValue float", 5, 6, [](Spa& s) { return s.GetParValue(u"n", real); }},
      {"GetParValue large", 5, 6, [](Spa& s) { return s.GetParValue(u"n", large); }},
      {"GetParValue text", 5, 6, [](Spa& s) { return s.GetParValue(u"n", text); }},
      {"GetParValue boolean", 5, 6, [](Spa& s) { return s.GetParValue(u"f", flag); }},
      {"GetParAttr letter", 5, 6, [](Spa& s) { return s.GetParAttr(u"@type", letter); }},
      {"GetParAttr text", 5, 6, [](Spa& s) { return s.GetParAttr(u"n", text); }},
      {"GetParAttr flag", 5, 6, [](Spa& s) { return s.GetParAttr(u"n", flag); }},
      {"GetParType", 5, 6, [](Spa& s) { return s.GetParType(letter); }},
      {"SetParValue text", 5, 6, [](Spa& s) { return s.SetParValue(u"v", UnicodeString(u"x")); }},
      {"SetParValue number", 5, 6, [](Spa& s) { return s.SetParValue(u"v", 1); }},
      {"SetParValue float", 5, 6, [](Spa& s) { return s.SetParValue(u"v", 1.5); }},
      {"SetParValue large", 5, 6, [](Spa& s) { return s.SetParValue(u"v", &large); }},
      {"SetParValue boolean", 5, 6, [](Spa& s) { return s.SetParValue(u"v", true); }},
      {"SetParAttr text", 5, 6, [](Spa& s) { return s.SetParAttr(u"v", UnicodeString(u"x")); }},
      {"SetParAttr letter", 5, 6, [](Spa& s) { return s.SetParAttr(u"v", u'W'); }},
      {"SetParAttr flag", 5, 6, [](Spa& s) { return s.SetParAttr(u"v", true); }},
      {"SetParAttr no flag", 5, 6, [](Spa& s) { return s.SetParAttr(u"v", false); }},
      {"DelParProperty", 5, 6, [](Spa& s) { return s.DelParProperty(u"n"); }},
  };
}

class LevelStates : public SpaTest {
protected:
  LevelStates() {
    Make(u"p3");
    OpenAll();
    EXPECT_TRUE(spa.SetParValue(u"n", 7) && spa.SetParAttr(u"@type", u'I') && spa.SetParAttr(u"f", true));
    OpenAll();
  }
  // Leaves the stale code.
  void Spoil() {
    ASSERT_TRUE(spa.GetTopicAcc(testRoot, u"p1", u"v", true, true));
    ExpectFailure(spa.GetParAcc(testRoot, u"p1", u"v", u"x", true, false), stale);
  }
};

TEST_F(LevelStates, OpenLevelsServeEveryOperation) {
  for (const Operation& operation : operations()) {
    EXPECT_TRUE(operation.run(spa)) << operation.name << " gave " << spa.GetLastError();
  }
  EXPECT_EQ(spa.GetLastError(), 0);
}

TEST_F(LevelStates, AClosedLevelGivesItsCode) {
  Spoil();
  spa.ReleaseRootAcc();
  spa.ReleasePrcSpaceAcc();
  spa.ReleaseTopicAcc();
  spa.ReleaseParAcc();
  for (const Operation& operation : operations()) {
    SCOPED_TRACE(operation.name);
    ExpectFailure(operation.run(spa), operation.closed);
  }
  EXPECT_TRUE(Exists(u"p3") && Exists(u"p1\\t3") && Exists(u"p1\\t1\\b"));
}

TEST_F(LevelStates, AFailedLevelIsFoundButHoldsNothing) {
  for (const Operation& operation : operations()) {
    SCOPED_TRACE(operation.name);
    Spoil();
    for (const auto level :
         {&OpenSpa::m_pRootNode, &OpenSpa::m_pPrcSpaceNode, &OpenSpa::m_pTopicNode, &OpenSpa::m_pParNode}) {
      spa.*level = std::make_unique<RgNode>();
    }
    const std::int32_t code = operation.failed == success ? stale : operation.failed;
    EXPECT_EQ(operation.run(spa), operation.failed == success);
    EXPECT_EQ(spa.GetLastError(), code);
  }
  std::uint32_t count = 99;
  std::uint32_t size = 99;
  EXPECT_TRUE(spa.GetPropCnt(count) && spa.GetMaxPropData(size));
  EXPECT_EQ(count + size, 0U);
}

TEST_F(SpaTest, ALevelWhoseKeyWentGivesTheRegistrysNumber) {
  OpenAll();
  deleteInAnotherProcess(testRoot, u"p1");
  UnicodeString name;
  EXPECT_TRUE(spa.GoFirstTopic()) << "the counts are those of the opening";
  ExpectFailure(spa.GetNextTopic(name), ERROR_KEY_DELETED);
  ExpectFailure(spa.SetParValue(u"x", 1), ERROR_KEY_DELETED);
  ExpectFailure(spa.DelParameter(u"a"), ERROR_KEY_DELETED);
  ExpectFailure(spa.DelTopic(u"t1"), 2);
  EXPECT_EQ(spa.States(), "oooo");
  ExpectFailure(spa.GetPrcSpaceAcc(u"p1", false, false), 2);
  EXPECT_TRUE(spa.GetTopicAcc(u"t1", true, false)) << "the names build the same path anew";
  EXPECT_TRUE(Exists(u"p1\\t1"));
}

// A copy of an object that is gone, and the same assigned to the other.
OpenSpa leftOf(OpenSpa& other) {
  OpenSpa source;
  source.SetUser(u"miller");
  EXPECT_TRUE(source.GetTopicAcc(testRoot, u"p1", u"t1", false, false));
  EXPECT_TRUE(source.GetParAcc(u"a", false, false));
  EXPECT_FALSE(source.GetPrcSpaceAcc(u"none", false, false));
  UnicodeString name;
  EXPECT_TRUE(source.GetNextPar(name));
  other = source;
  return OpenSpa(source);
}

TEST_F(SpaTest, CopiesOutliveTheirSource) {
  spa.SetUser(u"jones");
  ASSERT_TRUE(spa.GetRootAcc(testRoot, false, false));
  OpenSpa copy = leftOf(spa);
  for (OpenSpa* each : {&copy, &spa}) {
    EXPECT_EQ(each->States(), "-foo");
    EXPECT_EQ(each->Names(), R"(HKEY_LOCAL_MACHINE\Tree p1 t1 a)");
    EXPECT_EQ(each->GetLastError(), 2);
    EXPECT_THAT(listed(*each, &Spa::GetNextPar), ElementsAre("b")) << "from the source's position";
    EXPECT_TRUE(each->SetParValue(u"v", 1));
  }
  EXPECT_EQ(UnicodeString(copy.SetUser(nullptr)), u"");
  EXPECT_EQ(UnicodeString(spa.SetUser(nullptr)), u"jones") << "the Spc part stays the target's";
}

TEST_F(SpaTest, AssignmentToItselfChangesNothing) {
  OpenAll();
  Spa& same = spa;
  spa = static_cast<OpenSpa&>(same);
  EXPECT_EQ(spa.States(), "oooo");
  EXPECT_TRUE(spa.SetParValue(u"v", 1));
}

}  // namespace
