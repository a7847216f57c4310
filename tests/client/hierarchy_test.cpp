// The hierarchy of domains, subdomains and hosts: loading it, and asking it.
#include <stdlib.h>

#include "platform/ipc/Errors.h"
#include "platform/recordset/DslExc.h"
#include "platform/support/Utf.h"
#include "src/shc.h"
#include "src/telegrams.h"
#include "tests/client/Master.h"

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

namespace {

namespace key = telegram::key;

class OpenShc : public Shc {
public:
  using Shc::AddDomainData;
  using Shc::GetTopicPath;
  using Shc::m_colDsc;
  using Shc::m_colHost;
  using Shc::m_localAccess;
  using Shc::m_localDomain;
  using Shc::m_localSubDomain;
  using Shc::RefreshFromLocalSP;
  using Shc::RefreshFromRemoteSP;
  using Shc::Shc;
  using Spc::SetPrcSpace;
};

void domainText(const char16_t* name, const UnicodeString& text) {
  Par(u"DOMAINS", name, u'S').Text(u"@value", text);
}

void place(std::int32_t domain, std::int32_t subdomain) {
  Par(u"Global", u"DOMAIN", u'I').Number(u"@value", domain);
  Par(u"Global", u"SUBDOMAIN", u'I').Number(u"@value", subdomain);
}

// A top, and a domain of a head and two subdomains, out of order.
void plant() {
  domainText(u"D1234", u"1236;PS2;Intake;pump2;1;1234;FS1;Filtration;filter0;7;1235;PS1;Gerät;pump1;;");
  domainText(u"D0000", u"0;CC1;Control;control;4;");
}

// The rows with their fields between bars. The selection is kept.
std::vector<std::string> rowsOf(Shc& shc) {
  std::vector<std::string> rows;
  const std::int32_t selected = shc.GetSelectedRow();
  for (std::int32_t row = 0; row < shc.GetNumRows(); ++row) {
    shc.SelectRow(row, false);
    std::string text;
    for (std::int32_t column = 0; column < shc.GetNumColumns(); ++column) {
      text += (column > 0 ? "|" : "") + support::toUtf8(shc.GetColumn(column).Get());
    }
    rows.push_back(text);
  }
  shc.SelectRow(selected, false);
  return rows;
}

class HierarchyTest : public ClientTest {
protected:
  HierarchyTest() { unsetenv("PROCESS_SPACE"); }

  OpenShc shc;
};

const std::string notConnected = reported(20, "");

TEST_F(HierarchyTest, ANewTableHasItsColumnsAndNothingElse) {
  ASSERT_EQ(shc.GetNumColumns(), 6);
  const std::pair<const char16_t*, int> columns[] = {{u"domain", 7},      {u"subdomain", 7}, {u"devid", 2},
                                                     {u"description", 4}, {u"hostname", 4},  {u"noMacs", 6}};
  for (std::int32_t number = 0; number < 6; ++number) {
    EXPECT_EQ(shc.GetColumn(number).GetName(), columns[number].first);
    EXPECT_EQ(shc.GetColumn(number).GetType(), columns[number].second);
  }
  EXPECT_EQ(shc.GetNumRows(), 0);
  EXPECT_EQ(shc.GetSelectedRow(), -1);
  EXPECT_EQ(shc.GetLocalDomain(), -1);
  EXPECT_EQ(shc.GetHierarchyLevel(), -1);
  UnicodeString host(u"untouched");
  EXPECT_FALSE(shc.GetParentHost(host));
  EXPECT_EQ(host, u"untouched");
  EXPECT_FALSE(shc.GetComputerNameW().IsEmpty());
  EXPECT_EQ(shc.GetNumRows(), 0);
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(HierarchyTest, ATopicsPathIsInTheProcessSpaceOfTheSideAsked) {
  const UnicodeString path(u"HKEY_LOCAL_MACHINE\\Software\\Velor\\SPS\\Default\\DOMAINS");
  for (const bool local : {true, false}) EXPECT_EQ(shc.GetTopicPath(u"DOMAINS", local), path);
}

TEST_F(HierarchyTest, ADomainTextIsASequenceOfRecords) {
  const struct {
    const char16_t* name;  // its last four characters are the domain
    const char16_t* text;
    std::vector<std::string> rows;
  } cases[] = {
      {u"D0000", u"5;", {"0|5||||0"}},
      {u"D12", u"5;", {"12|5||||0"}},
      {u"D123456", u"5;", {"3456|5||||0"}},
      {u"D0007", u"", {"7|0||||0"}},
      {u"D0007", u"1;a;b;c;5;", {"7|1|a|b|c|5"}},
      {u"D0007", u"1;a;b;c;5;2;d;e;f;-6;", {"7|1|a|b|c|5", "7|2|d|e|f|-6"}},
      {u"D0007", u"1;a;b;c;5;2;d;", {"7|1|a|b|c|5", "7|2|d|||0"}},
      {u"D0007", u";;;;;", {"7|0||||0"}},
      {u"D0007", u"1;;Gerät \u263a;\U0001f6b0;5;", {"7|1||Gerät \u263a|\U0001f6b0|5"}},
      // What is not closed is no field, and without any field it is no record.
      {u"D0007", u"1;a;b;c;5", {"7|1|a|b|c|0"}},
      {u"D0007", u"1;a;b;c;5;rest", {"7|1|a|b|c|5"}},
      {u"D0007", u"rest", {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(support::toUtf8(c.name) + " " + support::toUtf8(c.text));
    OpenShc fresh;
    UnicodeString name(c.name);
    UnicodeString text(c.text);
    EXPECT_TRUE(fresh.AddDomainData(name, text));
    EXPECT_TRUE(text.IsEmpty());
    EXPECT_EQ(rowsOf(fresh), c.rows);
  }
  EXPECT_THAT(Lines(), Contains(R"(W|src\shc|Parameter "D0007": A rest of the domain text without )"
                                R"(semicolon is left out: "rest")")
                           .Times(2));
}

TEST_F(HierarchyTest, AFieldThatItsColumnCannotTakeEndsTheText) {
  const struct {
    const char16_t* name;
    const char16_t* text;
    std::int32_t rows;
    const char16_t* rest;
    const char* message;
  } cases[] = {
      {u"Dxyz", u"1;", 1, u"1;", R"(no number Message: Column "domain" takes no number from "Dxyz")"},
      {u"D1", u"1;;;;;two;a;", 2, u"two;a;",
       R"(no number Message: Column "subdomain" takes no number from "two")"},
      {u"D1", u"2147483648;", 1, u"2147483648;",
       R"(number out of range Message: The number 2147483648 of column "subdomain" is out of range)"},
      {u"D1", u"1;;;;40000;2;", 1, u"40000;2;",
       R"(number out of range Message: The number 40000 of column "noMacs" is out of range)"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message);
    OpenShc fresh;
    UnicodeString name(c.name);
    UnicodeString text(c.text);
    EXPECT_FALSE(fresh.AddDomainData(name, text));
    EXPECT_EQ(fresh.GetNumRows(), c.rows);
    EXPECT_EQ(text, c.rest);
    EXPECT_THAT(Lines(), ElementsAre(R"(E|src\shc|DSL Error: )" + std::string(c.message)));
  }
}

TEST_F(HierarchyTest, LoadsAllDomainsInOrder) {
  place(1234, 1235);
  plant();
  EXPECT_TRUE(shc.Load());
  EXPECT_THAT(Lines(), Contains(notConnected));
  EXPECT_THAT(rowsOf(shc), ElementsAre("0|0|CC1|Control|control|4", "1234|1234|FS1|Filtration|filter0|7",
                                       "1234|1235|PS1|Gerät|pump1|0", "1234|1236|PS2|Intake|pump2|1"));
  EXPECT_EQ(shc.GetSelectedRow(), 0);
  EXPECT_TRUE(shc.Load());
  EXPECT_EQ(shc.GetNumRows(), 4);
}

TEST_F(HierarchyTest, LoadsThisMachinesDomainByTheNameOfItsNumber) {
  const std::pair<std::int32_t, const char16_t*> domains[] = {{0, u"D0000"}, {1234, u"D1234"}, {12, u"D12"}};
  for (const auto& [domain, name] : domains) {
    place(domain, 5);
    domainText(name, u"6;b;;;;5;a;;;;");
    domainText(u"D0001", u"5;other;;;;");
    OpenShc fresh;
    EXPECT_TRUE(fresh.LoadDomain());
    EXPECT_EQ(fresh.GetNumRows(), 2);
    EXPECT_EQ(fresh.GetSelectedRow(), 0);
    EXPECT_EQ(fresh.GetDevID(), u"a");
  }
}

TEST_F(HierarchyTest, AFailedLoadLeavesWhatItDidNotReach) {
  EXPECT_FALSE(shc.Load());
  EXPECT_EQ(shc.GetLocalDomain(), -1);
  place(1234, 1235);
  plant();
  EXPECT_TRUE(shc.Load());
  Par(u"Global", u"DOMAIN", u'I').Number(u"@value", 77);
  EXPECT_FALSE(shc.LoadDomain());
  EXPECT_EQ(shc.GetLocalDomain(), 77);
  EXPECT_EQ(shc.GetNumRows(), 4);
  Par(u"Global", u"SUBDOMAIN", u'I').Without(u"@value");
  Par(u"Global", u"DOMAIN", u'I').Number(u"@value", 78);
  EXPECT_FALSE(shc.Load());
  EXPECT_EQ(shc.GetLocalDomain(), 78);
  EXPECT_EQ(shc.m_localSubDomain, 1235);
  EXPECT_EQ(shc.GetNumRows(), 4);
}

TEST_F(HierarchyTest, RefreshLeavesOutWhatCannotBeRead) {
  plant();
  Par(u"DOMAINS", u"D2000", u'I').Number(u"@value", 1);
  Par(u"DOMAINS", u"D3000", u'S');
  EXPECT_TRUE(shc.Refresh());
  EXPECT_EQ(shc.GetNumRows(), 4);
  EXPECT_THAT(Lines(), AllOf(Contains(AllOf(HasSubstr("D2000"), HasSubstr("Invalid data type!"))),
                             Contains(HasSubstr("D3000"))));
  // The numbers were not read, so there is no local row.
  EXPECT_EQ(shc.GetLocalDomain(), -1);
  EXPECT_EQ(shc.GetDomain(), -1);
  EXPECT_EQ(shc.GetHierarchyLevel(), -1);
  EXPECT_EQ(shc.GetNumRows(), 4);
  // What is read and wrong ends it, and there is no master to ask.
  domainText(u"D4000", u"x;");
  EXPECT_FALSE(shc.Refresh());
}

TEST_F(HierarchyTest, RefreshOfNoDomainsIsASuccessAndOfNoTopicNone) {
  EXPECT_FALSE(shc.Refresh());
  EXPECT_THAT(Lines(), ElementsAre(openFailed(R"(HKEY_LOCAL_MACHINE\Software\Velor\SPS\Default\DOMAINS)")));
  RgNode topic;
  ASSERT_TRUE(topic.Init(shc.GetTopicPath(u"DOMAINS", true), true, false));
  EXPECT_TRUE(shc.Refresh());
  EXPECT_EQ(shc.GetNumRows(), 0);
  shc.m_localAccess = false;
  EXPECT_FALSE(shc.Refresh());
  EXPECT_FALSE(shc.m_localAccess);
}

struct Answers {
  std::int32_t domain;
  std::int32_t subdomain;
  UnicodeString devId;
  UnicodeString dsc;
  UnicodeString host;
  std::int32_t noMacs;
  std::int32_t level;
  bool operator==(const Answers&) const = default;
};

Answers ask(Shc& shc) {
  return {shc.GetDomain(), shc.GetSubDomain(),          shc.GetDevID(), shc.GetDsc(), shc.GetHost(),
          shc.GetNoMacs(), shc.GetLocalHierarchyLevel()};
}

const Answers none{-1, -1, u"", u"", u"", -1, -1};

TEST_F(HierarchyTest, TellsWhatTheLocalRowSays) {
  plant();
  place(1234, 1235);
  EXPECT_EQ(ask(shc), (Answers{1234, 1235, u"PS1", u"Gerät", u"pump1", 0, 2}));
  EXPECT_EQ(shc.GetNumRows(), 3) << "the query loads this machine's domain alone";
  shc.SelectRow(0, false);
  EXPECT_EQ(shc.GetHost(), u"pump1");
  EXPECT_EQ(shc.GetSelectedRow(), 1);
  place(1234, 1234);
  EXPECT_EQ(shc.GetSubDomain(), 1235) << "a table that is loaded is used as it is";
  EXPECT_TRUE(shc.Load());
  EXPECT_EQ(ask(shc), (Answers{1234, 1234, u"FS1", u"Filtration", u"filter0", 7, 1}));
  place(0, 0);
  EXPECT_TRUE(shc.Load());
  EXPECT_EQ(ask(shc), (Answers{0, 0, u"CC1", u"Control", u"control", 4, 0}));
}

TEST_F(HierarchyTest, HasNoAnswersWithoutALocalRow) {
  EXPECT_EQ(ask(shc), none);
  plant();
  place(1234, 99);
  EXPECT_EQ(ask(shc), none);
  EXPECT_EQ(shc.GetLocalDomain(), 1234);
  EXPECT_EQ(shc.GetNumRows(), 3);
  domainText(u"D1234", u"x;");
  OpenShc fresh;
  EXPECT_EQ(fresh.GetDomain(), -1);
}

TEST_F(HierarchyTest, ARowsParentIsTheHeadOfItsDomainOrTheTop) {
  plant();
  place(1234, 1235);
  EXPECT_TRUE(shc.Load());
  const std::optional<UnicodeString> parents[] = {u"", u"control", u"filter0", u"filter0"};
  for (std::int32_t row = 0; row < 4; ++row) {
    shc.SelectRow(row, false);
    UnicodeString host(u"untouched");
    EXPECT_TRUE(shc.GetParentHost(host));
    EXPECT_EQ(host, parents[row]);
    EXPECT_EQ(shc.GetSelectedRow(), row);
  }
  // With this domain alone a subdomain has its parent, the head has none.
  OpenShc alone;
  EXPECT_TRUE(alone.LoadDomain());
  UnicodeString parent;
  EXPECT_FALSE(alone.GetParentHost(parent));
  alone.SelectRow(1, false);
  EXPECT_TRUE(alone.GetParentHost(parent));
  EXPECT_EQ(parent, u"filter0");
  EXPECT_TRUE(alone.ShcBase::Refresh());
  EXPECT_EQ(alone.GetNumRows(), 0);
  // Without the top, and without a head.
  domainText(u"D1234", u"1235;PS1;;pump1;;");
  domainText(u"D1300", u"1300;;;filter3;;");
  Par(u"DOMAINS", u"D0000", u'S').Text(u"@value", u"9;;;standby;;");
  EXPECT_TRUE(shc.Load());
  for (std::int32_t row = 1; row < 3; ++row) {
    shc.SelectRow(row, false);
    UnicodeString host(u"untouched");
    EXPECT_FALSE(shc.GetParentHost(host));
    EXPECT_EQ(host, u"untouched");
    EXPECT_EQ(shc.GetSelectedRow(), row);
  }
}

class Throwing : public OpenShc {
public:
  explicit Throwing(std::int32_t type) : m_type(type) {}
  std::int32_t GetHierarchyLevel() override { throw ExcBase(m_type, 5, u"Unit", 42, u"info"); }

private:
  const std::int32_t m_type;
};

TEST_F(HierarchyTest, WhatQueriesMeetIsTracedAndEndsThere) {
  plant();
  place(1234, 1235);
  const std::pair<std::int32_t, const char*> types[] = {
      {0, "I"}, {1, "W"}, {2, "E"}, {3, nullptr}, {-1, nullptr}};
  for (const auto& [type, level] : types) {
    Throwing throwing(type);
    EXPECT_TRUE(throwing.Load());
    Lines();
    EXPECT_EQ(throwing.GetLocalHierarchyLevel(), -1);
    UnicodeString host(u"emptied");
    EXPECT_FALSE(throwing.GetParentHost(host));
    EXPECT_TRUE(host.IsEmpty());
    const std::vector<std::string> lines = Lines();
    if (level) {
      EXPECT_THAT(lines, Contains(level + std::string(R"(|src\shc|Unit: 42 info)")).Times(2));
    } else {
      EXPECT_THAT(lines, Not(Contains(HasSubstr("Unit"))));
    }
  }
}

TEST_F(HierarchyTest, CopiesHaveRowsOfTheirOwn) {
  plant();
  place(1234, 1235);
  EXPECT_TRUE(shc.Load());
  OpenShc copy(shc);
  shc.m_colHost = u"changed";
  shc.Shc::DeleteAllRows();
  EXPECT_EQ(copy.GetNumRows(), 4);
  EXPECT_EQ(ask(copy), (Answers{1234, 1235, u"PS1", u"Gerät", u"pump1", 0, 2}));
  EXPECT_NE(&copy.m_colHost, &shc.m_colHost);
  // The part that can be assigned leaves references to columns valid.
  static_cast<ShcBase&>(shc) = copy;
  shc.SelectRow(2, false);
  EXPECT_EQ(UnicodeString(shc.m_colDsc.Get()), u"Gerät");
}

Master::Answer childNodes(const std::vector<const char16_t*>& names) {
  std::vector<ipc::Bytes> all;
  for (const char16_t* name : names) {
    all.push_back(container([name](DfsBin& out) { telegram::add(out, key::nodeName, name); }));
  }
  return replies(all);
}

Master::Answer text(std::u16string characters) {
  return reply([characters](DfsBin& out) {
    telegram::add(out, key::binary, reinterpret_cast<const std::uint8_t*>(characters.data()),
                  static_cast<std::int64_t>(characters.size() * sizeof(char16_t)));
  });
}

Master::Answer space(const char16_t* name) {
  return reply([name](DfsBin& out) { telegram::add(out, key::prcSpace, name); });
}

class MasterHierarchyTest : public HierarchyTest {
protected:
  MasterHierarchyTest() {
    shc.Init();
    EXPECT_TRUE(shc.ConnectSpService(master.Name(), true));
    Lines();
  }

  Master master;
};

TEST_F(MasterHierarchyTest, TheMasterIsAskedWhereTheTopicIsMissingHere) {
  master.ThenAll({space(u"Plant2"), childNodes({u"D0000", u"D0007", u"D0008"}), text(u"0;CC1;;control;;"),
                  reject(2), text(u"8;;;head;;")});
  EXPECT_TRUE(shc.Refresh());
  EXPECT_THAT(rowsOf(shc), ElementsAre("0|0|CC1||control|0", "8|8|||head|0"));
  EXPECT_TRUE(shc.m_localAccess);
  EXPECT_EQ(shc.GetSelectedRow(), 0);
  const std::vector<std::string> seen = master.Seen();
  ASSERT_THAT(seen, SizeIs(5));
  EXPECT_THAT(seen[1], HasSubstr(R"(HKEY_LOCAL_MACHINE\Software\Velor\SPS\Plant2\DOMAINS)"));
  EXPECT_THAT(seen[3], AllOf(HasSubstr("topic:Str=DOMAINS"), HasSubstr("par:Str=D0007")));
}

TEST_F(MasterHierarchyTest, AListingThatFailsEndsTheLoadWithItsCode) {
  shc.m_localAccess = false;
  master.ThenAll({reject(5), reject(2)});
  EXPECT_FALSE(shc.Refresh());
  EXPECT_FALSE(shc.m_localAccess);
  EXPECT_THAT(master.Seen()[1], HasSubstr(R"(HKEY_LOCAL_MACHINE\Software\Velor\SPS\Default\DOMAINS)"));
  EXPECT_THAT(Lines(), Contains(reported(2, "")));
}

TEST_F(MasterHierarchyTest, AFieldThatItsColumnCannotTakeEndsTheLoad) {
  master.ThenAll({space(u"Default"), childNodes({u"D0007", u"D0008"}), text(u"x;")});
  EXPECT_FALSE(shc.Refresh());
  EXPECT_TRUE(shc.m_localAccess);
  EXPECT_EQ(shc.GetNumRows(), 1);
  EXPECT_EQ(shc.GetSelectedRow(), 0);
  EXPECT_THAT(master.Seen(), SizeIs(3));
}

// A service that goes in the middle leaves what came before, and no reading ends in a time-out.
TEST_F(MasterHierarchyTest, AServiceLostOnTheWayLeavesOutTheRest) {
  master.ThenAll({space(u"Default"), childNodes({u"D0007", u"D0008", u"D0009"}), text(u"7;;;;;"),
                  breakAfter(container([](DfsBin&) {}))});
  EXPECT_TRUE(shc.Refresh());
  EXPECT_THAT(rowsOf(shc), ElementsAre("7|7||||0"));
  EXPECT_TRUE(shc.m_localAccess);
  EXPECT_FALSE(shc.Refresh());
  EXPECT_TRUE(shc.m_localAccess);
  EXPECT_EQ(shc.GetNumRows(), 0);
}

TEST_F(MasterHierarchyTest, AnEmptyTopicIsAnAnswerThereAndHere) {
  master.ThenAll({space(u"Default"), replies({})});
  EXPECT_TRUE(shc.Refresh());
  EXPECT_THAT(master.Seen(), SizeIs(2));
  RgNode topic;
  ASSERT_TRUE(topic.Init(shc.GetTopicPath(u"DOMAINS", true), true, false));
  EXPECT_TRUE(shc.Refresh());
  EXPECT_EQ(shc.GetNumRows(), 0);
  EXPECT_THAT(master.Seen(), IsEmpty());
}

TEST_F(MasterHierarchyTest, AWrongTextHereSendsTheLoadToTheMaster) {
  domainText(u"D0001", u"1;;;head;;");
  domainText(u"D0002", u"x;");
  master.ThenAll({space(u"Default"), childNodes({u"D0003"}), text(u"3;;;other;;")});
  EXPECT_TRUE(shc.Refresh());
  EXPECT_THAT(rowsOf(shc), ElementsAre("1|1|||head|0", "2|0||||0", "3|3|||other|0"));
}

TEST_F(MasterHierarchyTest, TheLocalTreeComesFirst) {
  plant();
  place(1234, 1235);
  EXPECT_TRUE(shc.Load());
  EXPECT_EQ(shc.GetHost(), u"pump1");
  EXPECT_THAT(master.Seen(), IsEmpty());
  EXPECT_THAT(Lines(), Not(Contains(notConnected)));
}

}  // namespace
