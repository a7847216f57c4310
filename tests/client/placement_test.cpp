#include "src/spcPlacement.h"

#include <algorithm>

#include "tests/client/ClientTest.h"

using testing::ElementsAre;

namespace {

using client::Placement;
using client::Situation;

constexpr Placement here = Placement::Local;
constexpr Placement master = Placement::Remote;

TEST(Placement, EverySituationHasItsPlace) {
  const struct {
    const char* facts;  // in their order: local access, key, connection, local master, "@disableLog"
    Placement read;
    Placement writeText;
    Placement writeNumber;
  } rows[] = {{"0****", master, master, master},
              {"100**", Placement::Missing, Placement::Missing, Placement::Missing},
              {"101**", master, master, master},
              {"110**", here, here, here},
              {"111*1", here, here, here},
              {"11110", here, master, master},
              {"11100", here, Placement::LocalAfterTrace, master}};
  for (unsigned bits = 0; bits < 32; ++bits) {
    std::string facts;
    for (unsigned bit = 16; bit != 0; bit >>= 1) facts += (bits & bit) != 0 ? '1' : '0';
    SCOPED_TRACE(facts);
    const auto* const row = std::ranges::find_if(rows, [&](const auto& each) {
      return std::ranges::equal(facts, std::string_view(each.facts),
                                [](char fact, char wanted) { return wanted == '*' || fact == wanted; });
    });
    ASSERT_NE(row, std::end(rows));
    const Situation now{facts[0] == '1', facts[1] == '1', facts[2] == '1', facts[3] == '1', facts[4] == '1'};
    EXPECT_EQ(placeRead(now), row->read);
    EXPECT_EQ(placeWrite(now, true), row->writeText);
    EXPECT_EQ(placeWrite(now, false), row->writeNumber);
  }
}

TEST_F(ClientTest, WithoutAConnectionEveryTelegramIsCode19) {
  OpenSpc spc;
  std::int32_t value = 5;
  std::uint32_t err = 99;
  EXPECT_FALSE(spc.GetRemotePar(u"T", u"P", &value, u'I', 4, &err, 0));
  EXPECT_EQ(err, 19U);
  EXPECT_FALSE(spc.GetRemotePar(u"T", u"P", &value, u'I', 4, nullptr, 19));
  EXPECT_THAT(Lines(), ElementsAre(noLocalAccess));
  err = 99;
  EXPECT_FALSE(spc.SetRemotePar(u"T", u"P", &value, u'I', 4, &err));
  EXPECT_EQ(err, 19U);
  err = 99;
  EXPECT_FALSE(spc.SetRemoteParAttr(u"T", u"P", u"@decrypt", &value, u'N', 0, &err));
  EXPECT_EQ(err, 19U);
  EXPECT_FALSE(spc.SetRemoteParAttr(u"T", u"P", u"@decrypt", nullptr, u'N', 0, nullptr));
  EXPECT_THAT(Lines(), ElementsAre(noLocalAccess, noLocalAccess, noLocalAccess));
  EXPECT_EQ(value, 5);
}

}  // namespace
