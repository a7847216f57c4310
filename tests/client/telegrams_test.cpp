// Every telegram as a service gets it, and what becomes of the answers.
#include <bit>
#include <future>
#include <limits>
#include <thread>

#include "platform/ipc/Errors.h"
#include "platform/support/AppName.h"
#include "platform/support/Utf.h"
#include "src/telegrams.h"
#include "tests/client/Master.h"

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

namespace key = telegram::key;
using telegram::add;

constexpr std::uint32_t untouched = 4711;
constexpr std::uint8_t bytes[] = {1, 2, 0xAB, 4};

std::string ofClient(int level, const std::string& text) {
  return std::to_string(level) + R"(|SPC-SrvClnt|src\SpSrvClnt|)" + text;
}

std::string ofClient(char level, const std::string& text) {
  return std::string(1, level) + R"(|src\SpSrvClnt|)" + text;
}

PropertyFeatures property(std::int32_t size) {
  PropertyFeatures made;
  made.propname = u"@value";
  made.type = u'I';
  made.size = size;
  made.regtype = 4;
  made.data = std::make_unique<std::uint8_t[]>(4);
  std::copy_n(bytes, 4, made.data.get());
  return made;
}

bool getPar(SpSrvClnt& client, std::uint32_t* err, void* value = nullptr, std::uint32_t capacity = 0) {
  return client.GetSpSrvPar(u"T", u"P", value, u'S', capacity, u"W", u"", u"I", err, 12);
}

bool setPar(SpSrvClnt& client, std::uint32_t* err, const void* value = bytes, std::uint32_t count = 4) {
  return client.SetSpSrvPar(u"T", u"P", value, u'S', count, u"W", u"", u"I", err);
}

// The source of a replication, with room for its fields.
struct Source {
  explicit Source(const Fields& fields) : room(container(fields)) {
    EXPECT_TRUE(telegram.Assign(room.data(), room.size()));
  }
  ipc::Bytes room;
  DfsBin telegram;
};

void addChange(DfsBin& out) {
  add(out, key::topic, u"T");
  add(out, key::par, u"P");
  add(out, key::msId, 77);
  add(out, key::user, u"origin");
  add(out, key::app, u"editor");
  add(out, key::ws, u"WS07");
  add(out, key::propName, u"@value");
  add(out, key::type, u'I');
  add(out, key::size, 6);  // more than there is
  add(out, key::replace, 0);
  add(out, key::binary, bytes, 4);
}

// All telegrams that go by the frame. C is the caller: user and machine.
struct Case {
  const char* name;
  bool (*call)(SpSrvClntEx&, std::uint32_t*);
  std::string sent;
  bool wantsReply = false;
};

const UnicodeString path = u"HKEY\\A";

void PrintTo(const Case& c, std::ostream* out) {
  *out << c.name;
}

const Case cases[] = {
    {"GetSpSrvPar", [](SpSrvClntEx& c, std::uint32_t* err) { return getPar(c, err); },
     "0 topic:Str=T par:Str=P type:Bin=5300 oWorkstat:Str=W oUser:Str= "
     "oInstance:Str=I noerrmsg:I4=12",
     true},
    {"SetSpSrvPar", [](SpSrvClntEx& c, std::uint32_t* err) { return setPar(c, err); },
     "1 C app:Str=APP topic:Str=T par:Str=P oWorkstat:Str=W oUser:Str= "
     "oInstance:Str=I type:Bin=5300 "
     "binary:Bin=0102ab04"},
    {"GetChildNodes",
     [](SpSrvClntEx& c, std::uint32_t* err) { return c.GetChildNodes(path, err) != nullptr; },
     "2 nodepath:Str=HKEY\\A"},
    {"GetProperties",
     [](SpSrvClntEx& c, std::uint32_t* err) { return c.GetProperties(path, err) != nullptr; },
     "3 nodepath:Str=HKEY\\A"},
    {"SetNode", [](SpSrvClntEx& c, std::uint32_t* err) { return c.SetNode(path, nullptr, err); },
     "4 nodepath:Str=HKEY\\A C"},
    {"SetNodeAsking",
     [](SpSrvClntEx& c, std::uint32_t* err) {
       std::int16_t exists = 0;
       return c.SetNode(path, &exists, err);
     },
     "4 nodepath:Str=HKEY\\A C", true},
    {"DeleteNode", [](SpSrvClntEx& c, std::uint32_t* err) { return c.DeleteNode(path, u"N", err); },
     "5 nodepath:Str=HKEY\\A nodename:Str=N C"},
    {"SetProperty",
     [](SpSrvClntEx& c, std::uint32_t* err) { return c.SetProperty(path, property(4), true, err); },
     "6 nodepath:Str=HKEY\\A propname:Str=@value size:I4=4 type:I4=73 "
     "replace:I2=1 binary:Bin=0102ab04 C"},
    {"SetPropertyEmpty",
     [](SpSrvClntEx& c, std::uint32_t* err) { return c.SetProperty(path, PropertyFeatures(), false, err); },
     "6 nodepath:Str=HKEY\\A propname:Str= size:I4=0 type:I4=0 replace:I2=0 "
     "binary:Bin= C"},
    {"DeleteProperty",
     [](SpSrvClntEx& c, std::uint32_t* err) { return c.DeleteProperty(path, u"@unit", err); },
     "7 nodepath:Str=HKEY\\A propname:Str=@unit C"},
    {"GetPrcSpace",
     [](SpSrvClntEx& c, std::uint32_t* err) {
       UnicodeString space;
       return c.GetPrcSpace(space, err);
     },
     "8", true},
    {"ReplicateSpSrvPar",
     [](SpSrvClntEx& c, std::uint32_t* err) {
       const Source source(addChange);
       return c.ReplicateSpSrvPar(path, &source.telegram, u"R", err);
     },
     "9 msid:I4=77 nodepath:Str=HKEY\\A user:Str=origin ws:Str=WS07 "
     "app:Str=editor replicator:Str=R "
     "propname:Str=@value type:I4=73 size:I4=4 replace:I2=1 "
     "binary:Bin=0102ab04"},
    {"ReplicateNothing",
     [](SpSrvClntEx& c, std::uint32_t* err) {
       const Source source([](DfsBin&) {});
       return c.ReplicateSpSrvPar(path, &source.telegram, u"", err);
     },
     "9 msid:I4=0 nodepath:Str=HKEY\\A user:Str= ws:Str= app:Str= "
     "replicator:Str= propname:Str= type:I4=0 "
     "size:I4=0 replace:I2=1 binary:Bin="},
    {"GetSpRegExport",
     [](SpSrvClntEx& c, std::uint32_t* err) {
       UnicodeString text;
       return c.GetSpRegExport(text, err);
     },
     "10"},
    {"SetSpRegImport", [](SpSrvClntEx& c, std::uint32_t* err) { return c.SetSpRegImport(u"text", err); },
     "11 size:I4=4 data:Str=text"}};

class TelegramTest : public MasterTest, public testing::WithParamInterface<Case> {
protected:
  std::string Expected() const {
    std::string sent = GetParam().sent;
    if (const auto at = sent.find(" C"); at != std::string::npos) sent.replace(at + 1, 1, Caller());
    const auto at = sent.find("APP");
    if (at != std::string::npos) sent.replace(at, 3, support::toUtf8(AppGetSystemName().View()));
    return sent;
  }
};

TEST_P(TelegramTest, CarriesItsFieldsInOrder) {
  std::uint32_t err = untouched;
  // Without a reply it is a failure for those who read one, and that has no code.
  EXPECT_EQ(GetParam().call(client, &err), !GetParam().wantsReply);
  EXPECT_EQ(err, untouched);
  EXPECT_EQ(client.GetLastError(), 0);
  const auto seen = master.Seen();
  ASSERT_FALSE(seen.empty());
  EXPECT_EQ(seen.front(), Expected());
}

TEST_P(TelegramTest, DeliversTheServicesCode) {
  for (const std::int32_t code : {0x15, 15, 0, 1018}) {
    master.Then(reject(code));
    std::uint32_t err = untouched;
    EXPECT_FALSE(GetParam().call(client, &err));
    EXPECT_EQ(err, std::uint32_t(code));
    EXPECT_EQ(client.GetLastError(), 0x30000000 + code);
    EXPECT_THAT(master.Seen(), SizeIs(1));
  }
  master.Then(reject(5));
  EXPECT_FALSE(GetParam().call(client, nullptr));
}

// Only codes at or above the base, compared as signed numbers, are the service's.
TEST_P(TelegramTest, PassesOtherCodesOn) {
  for (const std::int32_t code : {-1, std::numeric_limits<std::int32_t>::max()}) {
    master.Then(reject(code));
    std::uint32_t err = untouched;
    EXPECT_FALSE(GetParam().call(client, &err));
    EXPECT_LT(client.GetLastError(), 0x30000000);
    EXPECT_EQ(err, static_cast<std::uint32_t>(client.GetLastError()));
  }
}

TEST_P(TelegramTest, FailsWithTheConnectionsCodeOnceItIsLost) {
  EXPECT_EQ(client.GetLastError(), 0);
  master.Stop();
  for (int i = 0; i < 2; ++i) {
    std::uint32_t err = untouched;
    EXPECT_FALSE(GetParam().call(client, &err));
    EXPECT_NE(err, untouched);
    EXPECT_EQ(err, static_cast<std::uint32_t>(client.GetLastError()));
    EXPECT_LT(err, 0x30000000U);
  }
  Lines();
}

TEST_P(TelegramTest, SendsNothingWithoutABuffer) {
  SpSrvClntEx never;
  SpSrvClntEx copy(never);
  for (SpSrvClntEx* const each : {&never, &copy}) {
    std::uint32_t err = untouched;
    EXPECT_FALSE(GetParam().call(*each, &err));
    EXPECT_EQ(err, untouched);
    EXPECT_EQ(each->GetLastError(), 0);
  }
  EXPECT_THAT(Lines(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(All, TelegramTest, testing::ValuesIn(cases));

TEST_F(MasterTest, InitTellsWhatItFinds) {
  const std::string server = support::toUtf8(master.Name().View());
  SpSrvClntEx second;
  EXPECT_EQ(second.GetCurMachine(), u"");
  ASSERT_TRUE(second.Init(master.Name()));
  EXPECT_THAT(Lines(),
              ElementsAre(ofClient(1, "SpSrvClnt::Init, server is '" + server + "'"),
                          ofClient(2, "Application: " + support::toUtf8(second.GetCurApplication().View())),
                          ofClient(2, "Computer: " + support::toUtf8(second.GetCurMachine().View())),
                          ofClient(2, "User: " + support::toUtf8(second.GetUserLogged().View()))));
  EXPECT_EQ(second.GetCurApplication(), AppGetSystemName());
  EXPECT_TRUE(second.IsSrvLocal());

  Master other(Master::Reach::Host);
  ASSERT_TRUE(second.Init(other.Name()));
  EXPECT_FALSE(second.IsSrvLocal());
  EXPECT_TRUE(setPar(second, nullptr));
  EXPECT_THAT(other.Seen(), SizeIs(1));
  EXPECT_THAT(master.Seen(), IsEmpty());
}

TEST_F(MasterTest, InitFailsWhereNobodyListens) {
  SpSrvClntEx second;
  EXPECT_FALSE(second.Init(u"unix:/nowhere/master"));
  EXPECT_THAT(Lines(), ElementsAre(ofClient(1, "SpSrvClnt::Init, server is 'unix:/nowhere/master'"),
                                   ofClient('E', "Failed connecting to SP service!")));
  EXPECT_FALSE(second.Init(nullptr));
  std::uint32_t err = untouched;
  EXPECT_FALSE(setPar(second, &err));
  EXPECT_EQ(err, untouched);
}

TEST_F(MasterTest, AReadTakesWhatFits) {
  const auto answer = reply([](DfsBin& out) { add(out, key::binary, bytes, 4); });
  std::uint8_t value[4] = {};
  std::uint32_t err = untouched;
  master.Then(answer);
  EXPECT_TRUE(getPar(client, &err, value, 4));
  EXPECT_THAT(value, testing::ElementsAreArray(bytes));
  EXPECT_THAT(Lines(),
              ElementsAre(ofClient(1,
                                   "GetSpSrvPar: Topic: _T('T'), ParName: _T('P'), WS: _T('W'), User: "
                                   "_T(''), PrcInstanceName: _T('I')")));
  master.Then(answer);
  EXPECT_FALSE(getPar(client, &err, value, 3));
  master.Then(reply([](DfsBin& out) { add(out, key::data, u"no value"); }));
  EXPECT_FALSE(getPar(client, &err, value, 4));
  master.Then(replies({{1, 2, 3}}));
  EXPECT_FALSE(getPar(client, &err, value, 4));
  EXPECT_EQ(err, untouched);
  EXPECT_EQ(client.GetLastError(), 0);
}

TEST_F(MasterTest, ATelegramThatDoesNotFitIsNotSent) {
  std::uint32_t err = 0;
  ipc::Bytes large(8192);
  EXPECT_FALSE(setPar(client, &err, large.data(), 8192));
  EXPECT_EQ(err, std::uint32_t(ipc::emptyTelegram));
  EXPECT_FALSE(setPar(client, &err, nullptr, 1));
  EXPECT_FALSE(client.SetNode(UnicodeString(std::u16string(4100, u'a')), nullptr, nullptr));
  EXPECT_FALSE(client.SetProperty(path, property(-1), true, nullptr));
  EXPECT_THAT(master.Seen(), IsEmpty());

  // The next one starts afresh.
  EXPECT_TRUE(setPar(client, &err, large.data(), 7900));
  EXPECT_THAT(master.Seen(), ElementsAre(HasSubstr("binary:Bin=<7900>")));
}

TEST_F(MasterTest, NullTextsAreEmptyOnes) {
  EXPECT_TRUE(client.SetSpSrvPar(nullptr, nullptr, nullptr, u'N', 0, nullptr, nullptr, nullptr, nullptr));
  EXPECT_THAT(master.Seen(), ElementsAre(HasSubstr(" topic:Str= par:Str= oWorkstat:Str= "
                                                   "oUser:Str= oInstance:Str= type:Bin=4e00 "
                                                   "binary:Bin=")));
}

TEST_F(MasterTest, AReplicationNeedsAWholeSource) {
  constexpr int missing = -1;
  const struct {
    std::size_t room;
    std::int32_t size;
    int count;                                                               // of the value
  } sources[] = {{256, 3, 4}, {256, -1, 4}, {256, 4, missing}, {64, 4, 4}};  // the last one overflows
  for (const auto& c : sources) {
    ipc::Bytes room(c.room);
    DfsBin source;
    source.AssignEmptyBuffer(room.data(), static_cast<std::int64_t>(room.size()), false);
    add(source, key::size, c.size);
    if (c.count != missing) add(source, key::binary, bytes, c.count);
    add(source, key::user, UnicodeString(std::u16string(32, u'u').c_str()));
    std::uint32_t err = 0;
    EXPECT_FALSE(client.ReplicateSpSrvPar(path, &source, u"R", &err)) << c.room << ' ' << c.size;
    EXPECT_EQ(err, 87U);
  }
  std::uint32_t err = 0;
  EXPECT_FALSE(client.ReplicateSpSrvPar(path, nullptr, u"R", &err));
  EXPECT_EQ(err, 87U);
  err = untouched;
  EXPECT_FALSE(SpSrvClntEx().ReplicateSpSrvPar(path, nullptr, u"R", &err));
  EXPECT_EQ(err, untouched);
  EXPECT_THAT(master.Seen(), IsEmpty());
}

TEST_F(MasterTest, SetNodeSaysWhatTheServiceFound) {
  std::int16_t exists = 5;
  std::uint32_t err = untouched;
  master.Then(reply([](DfsBin& out) { add(out, key::prcSpace, u"other"); }));
  EXPECT_FALSE(client.SetNode(path, &exists, &err));
  EXPECT_EQ(exists, 5);
  master.Then(reply([](DfsBin& out) { add(out, key::chkExist, -1); }));
  EXPECT_TRUE(client.SetNode(path, &exists, &err));
  EXPECT_EQ(exists, -1);
  EXPECT_EQ(err, untouched);
}

TEST_F(MasterTest, GetPrcSpaceReadsItsReply) {
  UnicodeString space = u"before";
  master.Then(reply([](DfsBin& out) { add(out, key::chkExist, 1); }));
  EXPECT_FALSE(client.GetPrcSpace(space, nullptr));
  EXPECT_EQ(space, u"before");
  master.Then(reply([](DfsBin& out) { add(out, key::prcSpace, u"Default"); }));
  EXPECT_TRUE(client.GetPrcSpace(space, nullptr));
  EXPECT_EQ(space, u"Default");
}

TEST_F(MasterTest, ChildNodesComeOneAReply) {
  master.Then(replies({container([](DfsBin& out) {
                         add(out, key::nodeName, u"A");
                         add(out, key::subNodeCnt, 3);
                         add(out, key::valueCnt, 4);
                         add(out, key::readOnly, 1);
                         add(out, key::replicate, 2);
                       }),
                       container([](DfsBin& out) {
                         add(out, key::replicate, -1);
                         add(out, key::nodeName, u"B");
                       })}));
  const SpSrvClntEx::NodeVec* const nodes = client.GetChildNodes(path, nullptr);
  ASSERT_THAT(nodes, testing::Pointee(SizeIs(2)));
  const auto show = [](const NodeFeatures& node) {
    return support::toUtf8(node.nodename.View()) + " " + std::to_string(node.subnodecnt) + " " +
           std::to_string(node.valuecnt) + " " + std::to_string(node.readonly) + " " +
           std::to_string(node.replicate);
  };
  EXPECT_EQ(show(*nodes->at(0)), "A 3 4 1 2");
  EXPECT_EQ(show(*nodes->at(1)), "B 0 0 0 -1");

  // The other list is another one.
  EXPECT_THAT(client.GetProperties(path, nullptr), testing::Pointee(IsEmpty()));
  EXPECT_EQ(show(*nodes->at(0)), "A 3 4 1 2");
  EXPECT_THAT(client.GetChildNodes(path, nullptr), testing::Pointee(IsEmpty()));
}

TEST_F(MasterTest, AListEndsWithItsConnection) {
  std::uint32_t err = untouched;
  master.Then(breakAfter(container([](DfsBin& out) { add(out, key::nodeName, u"A"); })));
  EXPECT_THAT(client.GetChildNodes(path, &err), testing::Pointee(SizeIs(1)));
  EXPECT_EQ(err, untouched);
  EXPECT_EQ(client.GetLastError(), 0);
  EXPECT_EQ(client.GetChildNodes(path, &err), nullptr);
  EXPECT_EQ(err, std::uint32_t(client.GetLastError()));
}

// Whoever has to know that a list is whole asks something else behind it.
TEST_F(MasterTest, AListThatStopsComingLeavesNoConnection) {
  std::promise<void> over;
  const auto ended = over.get_future().share();
  const ipc::Bytes node =
      container([name = std::u16string(3000, u'a')](DfsBin& out) { add(out, key::nodeName, name.c_str()); });
  // Much more than is made ready ahead of what has gone out, and then nothing any more.
  constexpr std::size_t most = 100;
  master.Then([&](ipc::Exchange& exchange) {
    exchange.acceptEach([node, ended, count = std::size_t{0}](ipc::Bytes& next) mutable {
      if (++count == most) ended.wait();
      next = node;
      return count < most;
    });
  });
  ((IpcClient&)client).SetRequestTO(500);  // NOLINT(*cast*)
  std::uint32_t err = untouched;
  EXPECT_THAT(client.GetChildNodes(path, &err),
              testing::Pointee(SizeIs(AllOf(testing::Gt(0U), testing::Lt(most)))));
  EXPECT_EQ(err, untouched);
  UnicodeString space;
  EXPECT_FALSE(client.GetPrcSpace(space, &err));
  EXPECT_EQ(err, std::uint32_t(ipc::notOpen));
  over.set_value();
}

// What a reply says of its value's size against what it holds.
TEST_F(MasterTest, PropertiesAreTakenAsFarAsTheyGo) {
  struct Said {
    std::int32_t size;
    std::int32_t count;  // -1: no value
    std::int32_t got;
  };
  constexpr std::int32_t huge = std::numeric_limits<std::int32_t>::max();  // takes no memory
  const Said said[] = {{4, 4, 4}, {6, 4, 4}, {0, 0, 0}, {3, 4, 3}, {2, -1, 2}, {-5, -1, 0}, {huge, 4, 4}};
  std::vector<ipc::Bytes> all;
  for (const Said& each : said) {
    all.push_back(container([&](DfsBin& out) {
      if (each.count >= 0) add(out, key::binary, bytes, each.count);
      add(out, key::type, u'I');
      add(out, key::regType, 4);
      add(out, key::size, each.size);
      add(out, key::propName, u"@value");
    }));
  }
  master.Then(replies(all));
  const SpSrvClntEx::PropertyVec* const properties = client.GetProperties(path, nullptr);
  ASSERT_THAT(properties, testing::Pointee(SizeIs(std::size(said))));
  for (std::size_t i = 0; i < std::size(said); ++i) {
    SCOPED_TRACE(i);
    const PropertyFeatures& got = *properties->at(i);
    EXPECT_EQ(got.propname, u"@value");
    EXPECT_EQ(got.type, u'I');
    EXPECT_EQ(got.regtype, 4);
    EXPECT_EQ(got.size, said[i].got);
    ASSERT_TRUE(got.data);
    const bool whole = said[i].count == said[i].got;
    for (std::int32_t b = 0; b < got.size; ++b) EXPECT_EQ(got.data[std::size_t(b)], whole ? bytes[b] : 0);
  }
}

TEST(PropertyFeatures, CopiesOwnTheirBytes) {
  PropertyFeatures source = property(4);
  PropertyFeatures copy(source);
  source.data[0] = 99;
  EXPECT_EQ(copy.data[0], 1);
  EXPECT_EQ(copy.regtype, 4);
  copy = source;
  EXPECT_EQ(copy.data[0], 99);
  const PropertyFeatures& self = copy;
  copy = self;
  EXPECT_EQ(copy.data[0], 99);
  const PropertyFeatures moved = std::move(copy);
  EXPECT_EQ(moved.data[0], 99);
  EXPECT_EQ(copy.data, nullptr);  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(PropertyFeatures(copy).data, nullptr);
}

TEST_F(MasterTest, TheMastersVersionFailsByTraceAlone) {
  UnicodeString version = u"before";
  master.Then(reply([](DfsBin& out) { add(out, key::masterVersion, u"4.3.1900"); }));
  EXPECT_TRUE(client.GetMasterVersion(version));
  EXPECT_EQ(version, u"4.3.1900");
  EXPECT_THAT(master.Seen(), ElementsAre("14"));

  const struct {
    Master::Answer answer;
    std::string trace;
  } failures[] = {
      {reject(5), "Couldn't request version from master"},
      {replies({}), "No reply to master version"},
      {reply([](DfsBin& out) { add(out, key::data, u""); }), "Telegram doesn't contain master version"}};
  for (const auto& failure : failures) {
    version = u"before";
    master.Then(failure.answer);
    EXPECT_FALSE(client.GetMasterVersion(version));
    EXPECT_EQ(version, u"");
    EXPECT_THAT(Lines(), ElementsAre(ofClient('W', failure.trace)));
  }
  EXPECT_EQ(client.GetLastError(), 0);
}

TEST_F(MasterTest, TheVersionRequestMakesItsOwnBuffer) {
  SpSrvClntEx never;
  UnicodeString version;
  EXPECT_FALSE(never.GetMasterVersion(version));
  EXPECT_THAT(Lines(), ElementsAre(ofClient('W', "Couldn't request version from master")));
  std::uint32_t err = untouched;
  EXPECT_FALSE(setPar(never, &err));
  EXPECT_EQ(err, std::uint32_t(ipc::notOpen));
}

std::string further(int length) {
  return "12 data:Str=<" + std::to_string(length) + ">";
}

TEST_F(MasterTest, AnImportGoesInPieces) {
  const std::string end = "13 data:Str=";
  const struct {
    std::int32_t length;
    std::vector<std::string> pieces;
  } imports[] = {{0, {"11 size:I4=0 data:Str=", end}},
                 {3500, {"11 size:I4=3500 data:Str=<3500>", end}},
                 {3501, {"11 size:I4=3501 data:Str=<3500>", "12 data:Str=z", end}},
                 {7000, {"11 size:I4=7000 data:Str=<3500>", further(3500), end}},
                 {7001, {"11 size:I4=7001 data:Str=<3500>", further(3500), "12 data:Str=z", end}}};
  for (const auto& each : imports) {
    UnicodeString text(std::u16string(std::size_t(each.length), u'z'));
    std::uint32_t err = untouched;
    EXPECT_TRUE(client.SetSpRegImport(text, &err));
    EXPECT_EQ(err, untouched);
    EXPECT_EQ(text.GetLength(), each.length);
    EXPECT_EQ(master.Seen(), each.pieces);
  }
}

TEST_F(MasterTest, AnImportEndsAtTheFirstFailure) {
  master.Then(replies({}));
  master.Then(replies({}));
  master.Then(reject(87));
  std::uint32_t err = untouched;
  EXPECT_FALSE(client.SetSpRegImport(UnicodeString(std::u16string(7001, u'z')), &err));
  EXPECT_EQ(err, 87U);
  EXPECT_THAT(master.Seen(), SizeIs(3));
}

ipc::Bytes piece(std::u16string_view text) {
  const auto* const begin = reinterpret_cast<const std::uint8_t*>(text.data());
  return {begin, begin + text.size() * 2};
}

TEST_F(MasterTest, AnExportIsAppended) {
  const auto odd = [](ipc::Bytes bytesOfPiece) {
    bytesOfPiece.push_back(u'x');
    return bytesOfPiece;
  };
  const std::u16string large(300'000, u'y');
  const struct {
    std::vector<ipc::Bytes> pieces;
    UnicodeString text;
  } exports[] = {{{}, u"before "},
                 {{piece(u"one")}, u"before one"},
                 {{piece(u"one "), piece(u"two"), piece(u" three")}, u"before one two three"},
                 {{odd(piece(u"one")), piece(u"two")}, u"before onetwo"},
                 {{piece({u"one\0", 4}), piece(u"two")}, u"before onetwo"},
                 {{piece(u"one"), {}, piece(u"two")}, u"before one"},
                 {{piece(large)}, UnicodeString(u"before " + large)}};
  for (const auto& each : exports) {
    UnicodeString text = u"before ";
    std::uint32_t err = untouched;
    master.Then(replies(each.pieces));
    EXPECT_TRUE(client.GetSpRegExport(text, &err));
    EXPECT_EQ(text, each.text);
    EXPECT_EQ(err, untouched);
  }
  EXPECT_EQ(client.GetLastError(), 0);
}

TEST_F(MasterTest, AnExportCutOffIsASuccess) {
  UnicodeString text;
  std::uint32_t err = untouched;
  master.Then(breakAfter(piece(u"one")));
  EXPECT_TRUE(client.GetSpRegExport(text, &err));
  EXPECT_EQ(text, u"one");
  EXPECT_EQ(err, untouched);
}

TEST_F(MasterTest, TransfersWaitLongerAndGiveTheTimeBack) {
  // The connection is nobody's business outside, except here.
  IpcClient& connection = (IpcClient&)client;  // NOLINT(*cast*)
  connection.SetRequestTO(1234);
  std::int32_t during = 0;
  const auto look = [&](ipc::Exchange& exchange) {
    during = connection.GetRequestTO();
    exchange.accept();
  };
  const auto lookAndReject = [&](ipc::Exchange& exchange) {
    during = connection.GetRequestTO();
    exchange.reject(5);
  };
  UnicodeString text = u"text";
  for (const Master::Answer& answer : {Master::Answer(look), Master::Answer(lookAndReject)}) {
    for (const bool isExport : {true, false}) {
      master.Then(answer);
      during = 0;
      isExport ? client.GetSpRegExport(text, nullptr) : client.SetSpRegImport(text, nullptr);
      EXPECT_EQ(during, 300'000);
      EXPECT_EQ(connection.GetRequestTO(), 1234);
    }
  }
  SpSrvClntEx fresh;
  EXPECT_EQ(((IpcClient&)fresh).GetRequestTO(), 10'000);  // NOLINT(*cast*)
}

class ClientCopyTest : public MasterTest {
protected:
  void ExpectOwnConnection(SpSrvClntEx& copy) {
    EXPECT_EQ(copy.GetCurMachine(), client.GetCurMachine());
    EXPECT_EQ(copy.GetUserLogged(), client.GetUserLogged());
    EXPECT_EQ(copy.GetCurApplication(), client.GetCurApplication());
    EXPECT_EQ(copy.GetLastError(), 0x30000005);
    EXPECT_TRUE(setPar(client, nullptr));
    EXPECT_TRUE(setPar(copy, nullptr));
    EXPECT_EQ(master.Sessions(), 2U);
  }

  ClientCopyTest() {
    master.Then(reject(5));
    EXPECT_FALSE(setPar(client, nullptr));
    Lines();
  }
};

TEST_F(ClientCopyTest, ACopyHasAConnectionOfItsOwn) {
  SpSrvClntEx copy(client);
  EXPECT_THAT(Lines(), IsEmpty());
  ExpectOwnConnection(copy);
}

TEST_F(ClientCopyTest, AnAssignmentTakesTheConnectionAnew) {
  SpSrvClntEx target;
  EXPECT_EQ(&(target = client), &target);
  ExpectOwnConnection(target);
  // Over a connection that is open, and over itself.
  const SpSrvClntEx& self = target;
  target = self;
  EXPECT_TRUE(setPar(target, nullptr));
  EXPECT_EQ(master.Sessions(), 2U);
  target = client;
  EXPECT_TRUE(setPar(target, nullptr));
  EXPECT_EQ(master.Sessions(), 3U);
  // Without a buffer in the source there is none in the target.
  target = SpSrvClntEx();
  std::uint32_t err = untouched;
  EXPECT_FALSE(setPar(target, &err));
  EXPECT_EQ(err, untouched);
}

TEST_F(ClientCopyTest, ListsAreNotCopied) {
  const std::uint8_t* const none = nullptr;
  master.Then(reply([&](DfsBin& out) { add(out, key::binary, none, 0); }));
  const SpSrvClntEx::PropertyVec* const list = client.GetProperties(path, nullptr);
  SpSrvClntEx copy(client);
  copy = client;
  EXPECT_THAT(list, testing::Pointee(SizeIs(1)));
}

// One thread makes the buffer while another looks whether there is one.
TEST_F(MasterTest, ThreadsShareAClientWithoutABuffer) {
  SpSrvClntEx fresh;
  UnicodeString version;
  std::thread other([&] { EXPECT_FALSE(fresh.GetMasterVersion(version)); });
  UnicodeString space;
  EXPECT_FALSE(fresh.GetPrcSpace(space, nullptr));
  other.join();
}

// One unit under the lock: no reply may reach another thread's request.
TEST_F(MasterTest, ThreadsShareAClient) {
  constexpr int rounds = 200;
  for (int i = 0; i < 2 * rounds; ++i) {
    master.Then([](ipc::Exchange& exchange) {
      DfsBin request;
      ASSERT_TRUE(request.Assign(exchange.data().data(), exchange.data().size()));
      std::int32_t number = 0;
      ASSERT_TRUE(telegram::get(request, key::noErrMsg, number));
      exchange.accept(container([&](DfsBin& out) { add(out, key::binary, &number, 4); }));
    });
  }
  const auto ask = [&](std::int32_t number) {
    for (int i = 0; i < rounds; ++i) {
      std::int32_t value = 0;
      EXPECT_TRUE(client.GetSpSrvPar(u"T", u"P", &value, u'I', 4, u"", u"", u"", nullptr, number + i));
      EXPECT_EQ(value, number + i);
    }
  };
  std::thread other([&] { ask(1000); });
  ask(5000);
  other.join();
}

}  // namespace
