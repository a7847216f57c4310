#include "platform/recordset/DslRecSet.h"

#include <gmock/gmock.h>

#include <optional>
#include <string>
#include <vector>

#include "platform/recordset/DslExc.h"
#include "platform/support/Utf.h"

using testing::ElementsAre;

namespace {

// Which failure the work throws; nothing where it throws none.
std::optional<DslExc::Failure> failureOf(const auto& work) {
  try {
    work();
  } catch (const ExcBase& failure) {
    EXPECT_EQ(failure.GetErrType(), 101);
    EXPECT_EQ(failure.GetExcType(), ExcBase::Error);
    return static_cast<DslExc::Failure>(failure.GetErrorId());
  }
  return std::nullopt;
}

// The columns "number" and "name".
DslRecSet tableOf(const std::vector<std::pair<const char16_t*, const char16_t*>>& rows) {
  DslRecSet table;
  table.AddColumn(u"number", DslField::Int, 0);
  table.AddColumn(u"name", DslField::Text, 0);
  for (const auto& [number, name] : rows) {
    table.AddRow();
    table.GetColumn(0) = number;
    table.GetColumn(1) = name;
  }
  return table;
}

std::vector<std::string> rowsOf(DslRecSet table) {
  std::vector<std::string> rows;
  for (std::int32_t row = 0; table.SelectRow(row, false); ++row) {
    rows.push_back(support::toUtf8(table.GetColumn(0).Get()) + support::toUtf8(table.GetColumn(1).Get()));
  }
  return rows;
}

TEST(RecSetTest, NumbersAreTakenFromText) {
  using enum DslExc::Failure;
  using Failed = std::optional<DslExc::Failure>;
  const auto check = [](const UnicodeString& content, Failed failure, std::int32_t expected) {
    SCOPED_TRACE(support::toUtf8(content.View()));
    DslRecSet table;
    table.AddColumn(u"int", DslField::Int, 0);
    table.AddColumn(u"short", DslField::Short, 0);
    table.AddColumn(u"text", DslField::Text, 0);
    table.AddRow();
    DslCol& number = table.GetColumn(u"int");
    DslCol& text = table.GetColumn(u"text");
    text = content;
    number = u"77";
    EXPECT_EQ(failureOf([&] { number = content; }), failure);
    EXPECT_EQ(failureOf([&] { text.GetInt(); }), failure);
    EXPECT_EQ(number.GetInt(), expected);
    // What a column of 32 bits holds need not fit the caller's 16.
    const bool fitsShort = expected >= -32768 && expected <= 32767;
    const Failed shortFailure = failure || fitsShort ? failure : Failed(OutOfRange);
    EXPECT_EQ(failureOf([&] { table.GetColumn(u"short") = content; }), shortFailure);
    if (!failure) {
      EXPECT_EQ(failureOf([&] { number.GetShort(); }), shortFailure);
    }
  };
  for (const std::int32_t number : {1234, -1, 32767, 32768, -32768, -32769, 2147483647, -2147483647 - 1}) {
    check(number, {}, number);
  }
  check(u"", {}, 0);
  check(u"0000", {}, 0);
  check(u"D12", {}, 12);
  check(u"D-12", {}, -12);
  for (const char16_t* text :
       {u"2147483648", u"99999999999999999999999999", u"-99999999999999999999999999"}) {
    check(text, OutOfRange, 77);
  }
  for (const char16_t* text : {u"D", u" ", u"-", u"12a", u"1 2", u"\u0661\u0662", u"Gerät"})
    check(text, NoNumber, 77);
}

TEST(RecSetTest, TextIsKeptWholeOrRefused) {
  DslRecSet table;
  table.AddColumn(u"code", DslField::Code, 3);
  table.AddColumn(u"text", DslField::Text, 0);
  table.AddColumn(u"number", DslField::Int, 0);
  table.AddRow();
  table.GetColumn(u"code") = u"äöü";
  EXPECT_EQ(failureOf([&] { table.GetColumn(u"code") = u"äöüß"; }), DslExc::TooLong);
  EXPECT_EQ(UnicodeString(table.GetColumn(u"code").Get()), u"äöü");
  const UnicodeString large(std::u16string(100'000, u'x'));
  table.GetColumn(u"text") = large;
  EXPECT_EQ(UnicodeString(table.GetColumn(u"text").Get()), large);
  table.GetColumn(u"number") = -15;
  EXPECT_EQ(UnicodeString(table.GetColumn(u"number").Get()), u"-15");
}

TEST(RecSetTest, ColumnsAreFoundByNameAndNumber) {
  DslRecSet table = tableOf({{u"1", u"a"}});
  EXPECT_EQ(&table.GetColumn(u"name"), &table.GetColumn(1));
  EXPECT_EQ(table.GetColumn(1).GetName(), u"name");
  EXPECT_EQ(failureOf([&] { table.GetColumn(u"Name"); }), DslExc::UnknownColumn);
  EXPECT_EQ(failureOf([&] { table.GetColumn(2); }), DslExc::UnknownColumn);
  EXPECT_EQ(failureOf([&] { table.GetColumn(-1); }), DslExc::UnknownColumn);
  EXPECT_FALSE(table.AddColumn(u"name", DslField::Int, 0));
  EXPECT_EQ(failureOf([&] { table.AddColumn(u"more", DslField::Type{5}, 0); }), DslExc::WrongType);
  EXPECT_EQ(table.GetNumColumns(), 2);
  EXPECT_TRUE(table.AddColumn(u"more", DslField::Short, 0));
  EXPECT_EQ(table.GetColumn(2).GetShort(), 0);
}

TEST(RecSetTest, OneRowAtATimeIsSelected) {
  DslRecSet table = tableOf({{u"1", u"a"}, {u"2", u"b"}, {u"3", u"c"}});
  EXPECT_EQ(table.GetSelectedRow(), 2);
  EXPECT_TRUE(table.SelectRow(0, false));
  EXPECT_TRUE(table.SelectRow(1, true));
  EXPECT_EQ(table.GetColumn(0).GetInt(), 2);
  EXPECT_FALSE(table.SelectRow(3, false));
  EXPECT_FALSE(table.SelectRow(-1, false));
  EXPECT_FALSE(table.SelectRow(2, true));
  EXPECT_EQ(table.GetSelectedRow(), 1);
  EXPECT_TRUE(table.DeleteAllRows());
  EXPECT_EQ(table.GetSelectedRow(), -1);
  EXPECT_FALSE(table.SelectRow(0, false));
  EXPECT_EQ(failureOf([&] { table.GetColumn(0).GetInt(); }), DslExc::NoRow);
  EXPECT_EQ(failureOf([&] { table.GetColumn(1).Get(); }), DslExc::NoRow);
  EXPECT_EQ(failureOf([&] { table.GetColumn(0) = u"1"; }), DslExc::NoRow);
}

TEST(RecSetTest, SortsBySeveralColumns) {
  DslRecSet table = tableOf({{u"10", u"b"}, {u"9", u"z"}, {u"10", u"a"}, {u"-1", u"y"}, {u"9", u"c"}});
  table.SelectRow(2, false);
  EXPECT_TRUE(table.SortBy(0, 1, -1, -1, -1));
  const auto byNumber = ElementsAre("-1y", "9c", "9z", "10a", "10b");
  EXPECT_THAT(rowsOf(table), byNumber);
  EXPECT_EQ(table.GetSelectedRow(), 3);
  table.SortBy(1, -1, 0, 0, 0);
  EXPECT_THAT(rowsOf(table), ElementsAre("10a", "10b", "9c", "-1y", "9z"));
  table.SortBy(0, -1, -1, -1, -1);
  EXPECT_THAT(rowsOf(table), byNumber);
  EXPECT_EQ(failureOf([&] { table.SortBy(1, 2, -1, -1, -1); }), DslExc::UnknownColumn);
  table.SortBy(-1, 1, -1, -1, -1);
  EXPECT_THAT(rowsOf(table), byNumber);
  table.DeleteAllRows();
  EXPECT_TRUE(table.SortBy(0, 1, -1, -1, -1));
  EXPECT_EQ(table.GetSelectedRow(), -1);
}

TEST(RecSetTest, FindsTheFirstRowWithANumber) {
  DslRecSet table = tableOf({{u"7", u"a"}, {u"3", u"b"}, {u"5", u"c"}, {u"3", u"d"}, {u"-2", u"e"}});
  EXPECT_TRUE(table.FindI4(u"number", 3));
  EXPECT_EQ(table.GetSelectedRow(), 1);
  EXPECT_FALSE(table.FindI4(u"number", 4));
  EXPECT_EQ(table.GetSelectedRow(), 1);
  // What was found before must not outlast a change.
  table.GetColumn(0) = 4;
  EXPECT_TRUE(table.FindI4(u"number", 3));
  EXPECT_EQ(table.GetSelectedRow(), 3);
  table.AddRow();
  table.GetColumn(0) = 100;
  EXPECT_TRUE(table.FindI4(u"number", 100));
  EXPECT_EQ(table.GetSelectedRow(), 5);
  table.SortBy(0, -1, -1, -1, -1);
  EXPECT_TRUE(table.FindI4(u"number", -2));
  EXPECT_EQ(table.GetSelectedRow(), 0);
  table.DeleteAllRows();
  EXPECT_FALSE(table.FindI4(u"number", -2));
  EXPECT_EQ(failureOf([&] { table.FindI4(u"name", 1); }), DslExc::WrongType);
  EXPECT_EQ(failureOf([&] { table.FindI4(u"none", 1); }), DslExc::UnknownColumn);
}

TEST(RecSetTest, CopiesReadTheirOwnTable) {
  DslRecSet table = tableOf({{u"2", u"b"}, {u"1", u"a"}});
  table.SortBy(0, -1, -1, -1, -1);
  table.FindI4(u"number", 2);
  DslRecSet copy(table);
  DslCol& name = copy.GetColumn(u"name");
  EXPECT_NE(&name, &table.GetColumn(u"name"));
  EXPECT_EQ(UnicodeString(name.Get()), u"b");
  name = u"changed";
  EXPECT_THAT(rowsOf(table), ElementsAre("1a", "2b"));
  table.DeleteAllRows();
  EXPECT_TRUE(copy.FindI4(u"number", 1));
  EXPECT_EQ(UnicodeString(name.Get()), u"a");
  // An assignment leaves references to columns that both have valid.
  DslRecSet other;
  other.AddColumn(u"name", DslField::Text, 0);
  DslCol& ofOther = other.GetColumn(u"name");
  other = copy;
  EXPECT_EQ(&other.GetColumn(1), &ofOther);
  EXPECT_EQ(UnicodeString(ofOther.Get()), u"a");
  EXPECT_TRUE(other.FindI4(u"number", 2));
  EXPECT_EQ(UnicodeString(ofOther.Get()), u"changed");
}

TEST(RecSetTest, FailuresSayWhatTheyAreAbout) {
  EXPECT_THAT(
      [] {
        tableOf({{u"x", u""}});
      },
      testing::Throws<DslExc>(testing::AllOf(
          testing::Property(&DslExc::GetError, u"no number"),
          testing::Property(&DslExc::GetMsg, u"Column \"number\" takes no number from \"x\""))));
}

}  // namespace
