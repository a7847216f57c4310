#include <stdlib.h>

#include "tests/client/ClientTest.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

TEST_F(ClientTest, LocalParametersAreMadeOnDemand) {
  OpenSpc spc;
  EXPECT_EQ(spc.GetLocalPar(u"T", u"P", 5, false), 5);
  EXPECT_THAT(Lines(), ElementsAre(openFailed(pathOfP)));
  EXPECT_EQ(spc.GetLocalPar(u"T", u"P", u"default", true), u"default");
  RgNode node;
  EXPECT_TRUE(node.Init(keyPath(u"T", u"P").c_str(), false, false));
  EXPECT_EQ(node.GetValCnt(), 0U) << "the default is not stored";

  EXPECT_TRUE(spc.SetLocalPar(u"T2", u"P2", -7));
  EXPECT_EQ(spc.GetLocalPar(u"T2", u"P2", 5, false), -7);
  EXPECT_TRUE(spc.SetLocalPar(u"T2", u"P2", u"text"));
  EXPECT_EQ(spc.GetLocalPar(u"T2", u"P2", u"", false), u"text");
  EXPECT_EQ(spc.GetLocalPar(u"T2", u"P2", 5, false), 5) << "10 bytes are no number";
  EXPECT_EQ(spc.GetUpdPropName(), u"");
  EXPECT_THAT(Lines(), IsEmpty());

  std::uint32_t err = 99;
  UnicodeString text;
  EXPECT_FALSE(spc.GetPar(u"T2", u"P2", text, &err)) << "it has no type";
  EXPECT_EQ(err, 2U);
}

TEST_F(ClientTest, LocalParametersIgnoreWhatSurroundsTheValue) {
  ::setenv("SPS_TEST_X", "there", 1);
  Par par(u'S');
  par.Override(u'W').Text(u"WS", u"override").Expandable(u"@value", u"%SPS_TEST_X%");
  OpenSpc spc(u"WS", nullptr, nullptr);
  spc.m_localAccess = false;
  EXPECT_EQ(spc.GetLocalPar(u"T", u"P", u"", false), u"there");
  EXPECT_TRUE(spc.SetLocalPar(u"T", u"P", u"new"));
  EXPECT_EQ(par.TextOf(u"@value"), u"new");
  EXPECT_EQ(par.TextOf(u"WS"), u"override");
  EXPECT_EQ(par.Value(u"@type"), (Par::Stored{REG_BINARY, {'S', 0}}));

  par.Bytes(u"@value", {0x01});
  EXPECT_EQ(spc.GetLocalPar(u"T", u"P", 0x11223344, false), 0x11223301);
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(ClientTest, LocalParametersNeedAKeyThatCanBeMade) {
  const std::u16string tooLong(300, u'x');
  OpenSpc spc;
  EXPECT_FALSE(spc.SetLocalPar(tooLong.c_str(), u"P", 1));
  EXPECT_EQ(spc.GetLocalPar(tooLong.c_str(), u"P", 3, true), 3);
  EXPECT_EQ(Lines().size(), 2U);
}

}  // namespace
