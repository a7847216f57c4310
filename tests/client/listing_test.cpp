// Lists of the levels, and the values of a parameter as they are stored.
#include <stdlib.h>

#include <cstring>

#include "platform/support/Utf.h"
#include "tests/client/SpaTest.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

TEST_F(SpaTest, ListsEachLevel) {
  OpenAll();
  EXPECT_THAT(listed(spa, &Spa::GetNextPrcSpace), ElementsAre("p1", "p2"));
  EXPECT_THAT(listed(spa, &Spa::GetNextTopic), ElementsAre("t1", "t2", "t3"));
  EXPECT_THAT(listed(spa, &Spa::GetNextPar), ElementsAre("a", "b"));
  EXPECT_THAT(listed(spa, &Spa::GetNextPar), IsEmpty()) << "it stays at its end";
  EXPECT_TRUE(spa.GoFirstParam());
  EXPECT_THAT(listed(spa, &Spa::GetNextPar), ElementsAre("a", "b"));
  EXPECT_TRUE(spa.GetTopicAcc(u"t1", false, false));
  EXPECT_THAT(listed(spa, &Spa::GetNextPar), ElementsAre("a", "b")) << "opened anew, it begins anew";
}

TEST_F(SpaTest, TheEndOfAListIsTheOnlyThingThatClearsAFailure) {
  OpenAll();
  ExpectFailure(spa.DelTopic(u"none"), 2);
  UnicodeString name;
  EXPECT_TRUE(spa.GoFirstTopic() && spa.GetNextTopic(name) && spa.SetParValue(u"v", 1));
  EXPECT_EQ(spa.GetLastError(), 2);
  EXPECT_THAT(listed(spa, &Spa::GetNextTopic), ElementsAre("t2", "t3"));
}

TEST_F(SpaTest, AnEmptyLevelIsNoFailure) {
  OpenAll();
  ExpectFailure(spa.DelTopic(u"none"), 2);
  ASSERT_TRUE(spa.GetTopicAcc(u"t3", false, false));
  Lines();
  ExpectFailure(spa.GoFirstParam(), 2);
  ExpectFailure(spa.GoFirstParProp(), 2);
  EXPECT_THAT(Lines(), ElementsAre(nodeTrace(2, "Node key contains no keys"),
                                   nodeTrace(2, "Node key contains no values")));
  UnicodeString name;
  std::uint8_t data[1];
  std::uint32_t length = 1;
  ExpectFailure(spa.GetNextParProp(name, data, length), 0);
}

TEST_F(SpaTest, AListShowsTheLevelAsItWasOpened) {
  OpenAll();
  Make(u"p1\\t4");
  EXPECT_THAT(listed(spa, &Spa::GetNextTopic), ElementsAre("t1", "t2", "t3"));
  EXPECT_TRUE(spa.GoFirstTopic());
  deleteInAnotherProcess(At(u"p1"), u"t4");
  deleteInAnotherProcess(At(u"p1"), u"t2");
  UnicodeString name;
  EXPECT_TRUE(spa.GetNextTopic(name) && spa.GetNextTopic(name));
  EXPECT_EQ(name, u"t3");
  for (int i = 0; i < 2; ++i) ExpectFailure(spa.GetNextTopic(name), ERROR_NO_MORE_ITEMS);
  Make(u"p1\\t5");
  EXPECT_TRUE(spa.GetNextTopic(name)) << "a failure leaves the position where it was";
  EXPECT_EQ(name, u"t5");
}

TEST_F(SpaTest, DeliversPropertiesAsStored) {
  ::setenv("SPS_TEST_X", "there", 1);
  Par par(u'S');
  par.Flag(u"@flag").Expandable(u"@value", u"%SPS_TEST_X%").Number(u"WS", 7).Text(u"empty", u"");
  ASSERT_TRUE(spa.GetParAcc(Spc::m_pRootName, u"Default", u"T", u"P", false, false));
  std::uint32_t size = 0;
  std::uint32_t count = 0;
  EXPECT_TRUE(spa.GetPropCnt(count) && spa.GetMaxPropData(size));
  EXPECT_EQ(count, 5U);
  EXPECT_EQ(size, 26U);

  std::vector<std::string> names;
  UnicodeString name;
  std::vector<std::uint8_t> data(size, 0xAA);
  std::uint32_t length = size;
  for (; spa.GetNextParProp(name, data.data(), length); length = size) {
    names.push_back(support::toUtf8(name.View()));
    Par::Stored stored = par.Value(name);
    EXPECT_EQ(length, stored.bytes.size());
    if (stored.type == REG_NONE) stored.bytes = {1};
    EXPECT_TRUE(std::equal(stored.bytes.begin(), stored.bytes.end(), data.begin()));
  }
  EXPECT_EQ(spa.GetLastError(), 0);
  EXPECT_THAT(names, testing::UnorderedElementsAre("@type", "@flag", "@value", "WS", "empty"));
}

class Values : public SpaTest {
protected:
  Values() : par(u'S') { Reopen(); }
  void Reopen() { ASSERT_TRUE(spa.GetParAcc(Spc::m_pRootName, u"Default", u"T", u"P", false, false)); }

  Par par;
};

TEST_F(Values, AreStoredInTheFormOfTheirType) {
  const std::int64_t large = -2;
  EXPECT_TRUE(spa.SetParValue(u"text", UnicodeString(u"ab")) && spa.SetParValue(u"number", -2) &&
              spa.SetParValue(u"real", 1.0) && spa.SetParValue(u"large", &large) &&
              spa.SetParValue(u"bool", true) && spa.SetParAttr(u"attr", UnicodeString(u"")) &&
              spa.SetParAttr(u"letter", std::uint16_t{u'W'}) && spa.SetParAttr(u"flag", true));
  const struct {
    const char16_t* name;
    Par::Stored stored;
  } cases[] = {{u"text", {1, {'a', 0, 'b', 0, 0, 0}}},
               {u"number", {4, {0xFE, 0xFF, 0xFF, 0xFF}}},
               {u"real", {3, {0, 0, 0, 0, 0, 0, 0xF0, 0x3F}}},
               {u"large", {3, {0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}}},
               {u"bool", {3, {1}}},
               {u"attr", {1, {0, 0}}},
               {u"letter", {3, {'W', 0}}},
               {u"flag", {0, {}}}};
  for (const auto& c : cases) EXPECT_EQ(par.Value(c.name), c.stored) << support::toUtf8(c.name);
  Reopen();
  UnicodeString text;
  EXPECT_TRUE(spa.GetParValue(u"text", text));
  EXPECT_EQ(text, u"ab");
  EXPECT_TRUE(spa.GetParAttr(u"attr", text));
  EXPECT_EQ(text, u"");

  EXPECT_TRUE(spa.SetParAttr(u"flag", false) && spa.SetParAttr(u"flag", false));
  EXPECT_EQ(par.Value(u"flag").type, -1);
  ExpectFailure(spa.DelParProperty(u"flag"), 2);
  ExpectFailure(spa.SetParValue(u"null", static_cast<const std::int64_t*>(nullptr)), 87);
  EXPECT_EQ(par.Value(u"null").type, -1);
}

// Reads a value of so many bytes 0x01 into a variable that is all 0xFF.
template <class Value, class Get>
void expectBytes(Par& par, Spa& spa, std::size_t stored, Get get) {
  SCOPED_TRACE(std::to_string(stored) + " bytes for " + std::to_string(sizeof(Value)));
  par.Bytes(u"v", std::vector<std::uint8_t>(stored, 1));
  std::vector<std::uint8_t> bytes(sizeof(Value), 0xFF);
  Value value;
  std::memcpy(&value, bytes.data(), sizeof value);
  EXPECT_EQ(get(spa, value), stored <= sizeof value);
  if (stored > sizeof value) {
    EXPECT_EQ(spa.GetLastError(), 234);
  } else {
    std::fill_n(bytes.begin(), stored, std::uint8_t{1});
  }
  EXPECT_EQ(std::memcmp(&value, bytes.data(), sizeof value), 0);
}

TEST_F(Values, FillOnlyTheBytesThatAreStored) {
  const auto value = [](Spa& s, auto& out) { return s.GetParValue(u"v", out); };
  const auto attr = [](Spa& s, auto& out) { return s.GetParAttr(u"v", out); };
  for (const std::size_t stored : {0U, 1U, 2U, 3U, 4U, 8U, 9U}) {
    expectBytes<std::int32_t>(par, spa, stored, value);
    expectBytes<double>(par, spa, stored, value);
    expectBytes<std::int64_t>(par, spa, stored, value);
    expectBytes<std::uint16_t>(par, spa, stored, attr);
  }
}

TEST_F(Values, ABooleanIsAByteAndAFlagIsAnExistence) {
  bool out = true;
  EXPECT_TRUE(spa.SetParValue(u"b", false) && spa.GetParValue(u"b", out));
  EXPECT_FALSE(out);
  EXPECT_TRUE(spa.GetParAttr(u"b", out));
  EXPECT_TRUE(out) << "whatever it holds";
  EXPECT_TRUE(spa.GetParAttr(u"none", out));
  EXPECT_FALSE(out);
  ExpectFailure(spa.GetParValue(u"none", out), 2);

  for (const bool before : {false, true}) {
    out = before;
    EXPECT_TRUE(spa.SetParAttr(u"f", true) && spa.GetParValue(u"f", out)) << "a flag has no byte";
    EXPECT_EQ(out, before);
  }
  par.Bytes(u"two", {1, 1});
  ExpectFailure(spa.GetParValue(u"two", out), 234);
}

TEST_F(Values, TypeIsALetterOfTwoBytes) {
  std::uint16_t type = 0;
  EXPECT_TRUE(spa.GetParType(type));
  EXPECT_EQ(type, u'S');
  const char16_t letter = u'W';
  par.Raw(u"@type", REG_EXPAND_SZ, &letter, sizeof letter);
  EXPECT_TRUE(spa.GetParType(type));
  EXPECT_EQ(type, u'W') << "it is not expanded";
  par.Text(u"@type", u"S");
  ExpectFailure(spa.GetParType(type), 234);
  EXPECT_TRUE(spa.DelParProperty(u"@type"));
  ExpectFailure(spa.GetParType(type), 2);

  EXPECT_TRUE(spa.SetParAttr(Spc::m_pTYPE, u'I') && spa.SetParValue(Spc::m_pVAL, 7));
  std::int32_t value = 0;
  EXPECT_TRUE(spa.GetPar(u"T", u"P", &value)) << "what is made so is a parameter";
  EXPECT_EQ(value, 7);
}

TEST(SpaErrors, HaveTheirTexts) {
  const struct {
    std::uint32_t code;
    const char16_t* text;
  } cases[] = {{0, u"Method returned successfully"},
               {1, u"No valid root"},
               {2, u"Parameter value not found"},
               {3, u"No valid process space"},
               {4, u"No valid topic"},
               {5, u"No valid parameter"},
               {6, u"Invalid handle"},
               {234, u"Buffer size too small"},
               {259, u"Method returned successfully"}};
  for (const auto& c : cases) EXPECT_EQ(UnicodeString(Spa::GetErrString(c.code)), c.text);
}

}  // namespace
