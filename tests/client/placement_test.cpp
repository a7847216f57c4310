#include "src/spcPlacement.h"

#include "tests/client/ClientTest.h"

using testing::ElementsAre;

namespace {

using client::Placement;
using client::Situation;

constexpr bool any[] = {false, true};

template <class Check>
void forEverySituation(Check check) {
  for (unsigned bits = 0; bits < 32; ++bits) {
    const Situation now{(bits & 1) != 0, (bits & 2) != 0, (bits & 4) != 0, (bits & 8) != 0, (bits & 16) != 0};
    SCOPED_TRACE(bits);
    check(now);
  }
}

TEST(Placement, WithoutLocalAccessEverythingIsRemote) {
  forEverySituation([](const Situation& now) {
    if (now.localAccess) return;
    EXPECT_EQ(placeRead(now), Placement::Remote);
    for (const bool asText : any) EXPECT_EQ(placeWrite(now, asText), Placement::Remote);
  });
}

TEST(Placement, AMissingKeyNeedsAMaster) {
  forEverySituation([](const Situation& now) {
    if (!now.localAccess || now.keyPresent) return;
    const Placement expected = now.connected ? Placement::Remote : Placement::Missing;
    EXPECT_EQ(placeRead(now), expected);
    for (const bool asText : any) EXPECT_EQ(placeWrite(now, asText), expected);
  });
}

TEST(Placement, AKeyThatExistsIsReadHere) {
  forEverySituation([](const Situation& now) {
    if (!now.localAccess || !now.keyPresent) return;
    EXPECT_EQ(placeRead(now), Placement::Local);
    if (now.connected) return;
    for (const bool asText : any) EXPECT_EQ(placeWrite(now, asText), Placement::Local);
  });
}

TEST(Placement, WritesWithAConnectionGoByTheTable) {
  const struct {
    bool masterLocal;
    bool disableLog;
    Placement text;
    Placement number;
  } cases[] = {{true, true, Placement::Local, Placement::Local},
               {true, false, Placement::Remote, Placement::Remote},
               {false, true, Placement::Local, Placement::Local},
               {false, false, Placement::LocalAfterTrace, Placement::Remote}};
  for (const auto& c : cases) {
    const Situation now{true, true, true, c.masterLocal, c.disableLog};
    EXPECT_EQ(placeWrite(now, true), c.text);
    EXPECT_EQ(placeWrite(now, false), c.number);
  }
}

TEST_F(ClientTest, WithoutAConnectionEveryTelegramIsCode19) {
  OpenSpc spc;
  std::int32_t value = 5;
  std::uint32_t err = 99;
  const std::string line =
      plain('E', "Parameter \"P\": Local access disabled without being connected to any master!");
  EXPECT_FALSE(spc.GetRemotePar(u"T", u"P", &value, u'I', 4, &err, 0));
  EXPECT_EQ(err, 19U);
  EXPECT_FALSE(spc.GetRemotePar(u"T", u"P", &value, u'I', 4, nullptr, 19));
  EXPECT_THAT(Lines(), ElementsAre(line));
  err = 99;
  EXPECT_FALSE(spc.SetRemotePar(u"T", u"P", &value, u'I', 4, &err));
  EXPECT_EQ(err, 19U);
  err = 99;
  EXPECT_FALSE(spc.SetRemoteParAttr(u"T", u"P", u"@decrypt", &value, u'N', 0, &err));
  EXPECT_EQ(err, 19U);
  EXPECT_FALSE(spc.SetRemoteParAttr(u"T", u"P", u"@decrypt", nullptr, u'N', 0, nullptr));
  EXPECT_THAT(Lines(), ElementsAre(line, line, line));
  EXPECT_EQ(value, 5);
}

}  // namespace
