#include <gmock/gmock.h>

#include "platform/regtext/RegTextReader.h"
#include "tests/regtext/Statements.h"

using regtext::Event;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

const std::u16string start = u"Windows Registry Editor Version 5.00\n\n[HKEY_USERS\\k]\n";

struct ValueCase {
  const char16_t* line;
  const char* statement;
};

TEST(Reader, ValueForms) {
  const ValueCase cases[] = {
      {u"\"a\"=\"x\"", "value <a> 1 78 00 00 00"},
      {u"@=\"\"", "value <> 1 00 00"},
      {u"\"\"=\"\"", "value <> 1 00 00"},
      {u"\"a\\\\b\\\"\"=\"\\\\\\\"\"", "value <a\\b\"> 1 5c 00 22 00 00 00"},
      {u"\"a=b;[c]\"=\";\" ; comment", "value <a=b;[c]> 1 3b 00 00 00"},
      {u"\"a\"=\"\xD83D\xDE00\xDC00\"", "value <a> 1 3d d8 00 de 00 dc 00 00"},
      {u"\"a\"=\"1\r\n2\"\r\n", "value <a> 1 31 00 0d 00 0a 00 32 00 00 00"},
      {u"\"a\nb\"=-", "delete HKEY_USERS\\k <a\nb>"},
      {u"@=-", "delete HKEY_USERS\\k <>"},
      {u" \t\"a\" = DWORD: 1f ;x", "value <a> 4 1f 00 00 00"},
      {u"@=dword:fedcba98", "value <> 4 98 ba dc fe"},
      {u"@=hex:", "value <> 3"},
      {u"@=hex(0):", "value <> 0"},
      {u"@=hex(1):41,00", "value <> 1 41 00"},
      {u"@=hex(2):25, 0 ,00", "value <> 2 25 00 00"},
      {u"@=HEX(3):fF", "value <> 3 ff"},
      {u"@=hex(4):01", "value <> 4 01"},
      {u"@=hex(7):00,00", "value <> 7 00 00"},
      {u"@=hex(B):1,2,3,4,5,6,7,8", "value <> 11 01 02 03 04 05 06 07 08"},
      {u"@=hex(ffff0012):01", "value <> 4294901778 01"},
      {u"@=hex:01,\\\r\n  02,\\ ; why\n\n ; note\n\t03", "value <> 3 01 02 03"},
      {u"@=hex:\\\n 01\\\n ,02", "value <> 3 01 02"},
  };
  for (const ValueCase& c : cases) {
    SCOPED_TRACE(support::toUtf8(c.line));
    const Statements result = read(start + c.line);
    EXPECT_EQ(result.fault.Message(), "line 0: ");
    EXPECT_THAT(result.lines, ElementsAre("key HKEY_USERS\\k", c.statement));
  }
}

TEST(Reader, KeysAndDeletions) {
  const Statements result = read(
      u"\xFEFFWindows Registry Editor Version 5.00 \r\n; [HKEY_USERS\\no]\r\n[hklm\\A b\\[c]]\r\n"
      u"\"x\"=\"y\"\r\n\r\n  [-HKCU\\Gone] ; bye\r\n[HKCR]\r\n[HKU\\a\\B");
  EXPECT_THAT(result.lines, ElementsAre("key HKEY_LOCAL_MACHINE\\A b\\[c]", "value <x> 1 79 00 00 00",
                                        "delete HKEY_CURRENT_USER\\Gone", "key HKEY_CLASSES_ROOT"));
  EXPECT_EQ(result.fault.line, 8U);
}

TEST(Reader, QuotedKeyPathHoldsLineEnds) {
  const Statements result =
      read(u"Windows Registry Editor Version 5.00\n[\"HKU\\\\a\n[-HKLM\\\\x]\\\"\"]\n@=-\n[-\"HKU\\\\a\"]");
  EXPECT_FALSE(result.fault) << result.fault.text;
  EXPECT_THAT(result.lines, ElementsAre("key HKEY_USERS\\a\n[-HKLM\\x]\"",
                                        "delete HKEY_USERS\\a\n[-HKLM\\x]\" <>", "delete HKEY_USERS\\a"));
}

TEST(Reader, EventsTellLineAndPosition) {
  const std::u16string text = start + u"\n\"a\"=\"1\n2\"\n@=hex:01,\\\n  02\n";
  std::vector<std::uint64_t> lines;
  std::size_t position = 0;
  regtext::parse(text, [&](const Event& event) {
    lines.push_back(event.line);
    EXPECT_GT(event.position, position);
    position = event.position;
    return true;
  });
  EXPECT_THAT(lines, ElementsAre(3U, 5U, 7U));
  EXPECT_EQ(position, text.size());
}

TEST(Reader, HandlerEndsTheReading) {
  int calls = 0;
  EXPECT_FALSE(regtext::parse(start + u"rubbish", [&](const Event&) { return ++calls > 1; }));
  EXPECT_EQ(calls, 1);
}

struct FaultCase {
  const char16_t* text;  // behind the header and a key, which are three lines
  std::uint64_t line;
  const char* found;
  const char* expected;
};

TEST(Reader, FaultsNameLineAndCause) {
  const FaultCase cases[] = {
      {u"\nrubbish\n", 5, "\"rubbish\"", "a key in brackets"},
      {u"\"a\"\n", 4, "the end of the line", "= behind"},
      {u"\"a\"=", 4, "the end of the text", "a text in quotation marks, dword:"},
      {u"\"a\"=abc", 4, "\"abc\"", "a text in quotation marks, dword:"},
      {u"\"a\"=\"x\" y", 4, "\"y\"", "the end of the line"},
      {u"\"a\"=\"C:\\bin\"", 4, "\"\\bin\"\"", "a second backslash"},
      {u"\"a\"=\"x\\", 4, "\"\\\"", "a second backslash"},
      {u"\"a\"=\"x\n\n", 4, "a text that does not end", "a closing quotation mark"},
      // The mark that is missing in line 4 shows at the name in line 5.
      {u"\"a\"=\"x\n\"b\"=\"y\"\n", 4, "\"b\"=\"y\"\"", "the end of the line, at the end of a text"},
      {u"@=dword:", 4, "the end of the text", "1 to 8 hexadecimal digits"},
      {u"@=dword:123456789", 4, "\"123456789\"", "1 to 8 hexadecimal digits"},
      {u"@=dword:1g", 4, "\"g\"", "the end of the line"},
      {u"@=hex(:00", 4, "\":00\"", "a type of 1 to 8"},
      {u"@=hex(123456789):00", 4, "\"123456789):00\"", "a type of 1 to 8"},
      {u"@=hex 00", 4, "\" 00\"", "hex: or hex(type):"},
      {u"@=hex:0,123", 4, "\"123\"", "a byte of 1 or 2"},
      {u"@=hex:00,", 4, "the end of the text", "a byte of 1 or 2"},
      {u"@=hex:00,\\\n\n[HKEY_USERS\\l]\n", 6, "\"[HKEY_USERS\\l]\"", "a byte of 1 or 2"},
      {u"@=hex:00,\\ 01\n", 4, "\"01\"", "the end of the line"},
      {u"@=hex:00\\\n\"b\"=hex:01\n", 5, "\"\"b\"=hex:01\"", "a comma and a further byte"},
      {u"[HKEY_USERS\\l\n", 4, "\"HKEY_USERS\\l\" without an end", "a closing bracket"},
      {u"[HKEY_USERS\\l] x\n", 4, "\"x\"", "the end of the line"},
      {u"[HKEY_DYN_DATA\\l]\n", 4, "the hive \"HKEY_DYN_DATA\"", "one of HKEY_CLASSES_ROOT,"},
      {u"[]\n", 4, "the hive \"\"", "one of"},
      {u"[HKLM\\a\\\\b]\n", 4, "an empty key name", "a name on both sides"},
      {u"[HKLM\\]\n", 4, "an empty key name", "a name on both sides"},
      {u"[-HKLM]\n", 4, "a hive that is to be deleted", "a key below it"},
      {u"[-HKLM\\a]\n@=-\n", 5, "\"@=-\"", "a key in brackets, as the key above is deleted"},
      {u"\r\"a\"=-\n", 4, "\"?\"a\"=-\"", "the end of the line"}};
  for (const FaultCase& c : cases) {
    SCOPED_TRACE(support::toUtf8(c.text));
    const regtext::Fault fault = regtext::check(start + c.text);
    EXPECT_EQ(fault.line, c.line) << fault.text;
    EXPECT_THAT(fault.text, HasSubstr("found " + std::string(c.found)));
    EXPECT_THAT(fault.text, HasSubstr("expected " + std::string(c.expected)));
  }
}

TEST(Reader, ForeignHeadersAreNamed) {
  EXPECT_EQ(regtext::check(u"").Message(),
            "line 1: found the end of the text, expected \"Windows Registry Editor Version 5.00\"");
  EXPECT_THAT(regtext::check(u"\nx").Message(), HasSubstr("line 1: found the end of the line"));
  EXPECT_THAT(regtext::check(u"REGEDIT4\r\n\r\n").Message(), HasSubstr("the older format"));
  EXPECT_THAT(regtext::check(u"Windows Registry Editor Version 5.00\n@=-").Message(),
              HasSubstr("line 2: found \"@=-\", expected a key in brackets before the first value"));
}

TEST(Reader, ZeroCharacterIsFoundBeforeAnythingIsHandedOver) {
  const std::u16string text = start + u"@=\"a" + std::u16string(1, u'\0') + u"\"\n";
  const Statements result = read(text);
  EXPECT_EQ(result.fault.Message(), "line 4: found a zero character, expected text");
  EXPECT_TRUE(result.lines.empty());
}

TEST(Reader, LimitsNameTheLine) {
  const auto key = [](std::size_t length) { return u"[HKLM\\" + std::u16string(length, u'k') + u"]\n"; };
  const auto name = [](std::size_t length) { return u"\"" + std::u16string(length, u'n') + u"\"=-\n"; };
  const auto text = [](std::size_t length) { return u"@=\"" + std::u16string(length, u't') + u"\"\n"; };
  std::u16string deep = u"[HKLM";
  for (int i = 0; i < 512; ++i) deep += u"\\k";
  EXPECT_FALSE(regtext::check(start + deep + u"]\n" + key(255) + name(16383) + text((16U << 20U) / 2 - 1)));
  const std::pair<std::u16string, const char*> cases[] = {
      {key(256), "line 4: found a key name of 256 characters, expected at most 255"},
      {deep + u"\\k]", "line 4: found a key 513 levels below the hive, expected at most 512"},
      {name(16384), "line 4: found a value name of 16384 characters, expected at most 16383"},
      {text((16U << 20U) / 2), "line 4: found a value of 16777218 bytes, expected at most 16777216"}};
  for (const auto& [line, message] : cases) EXPECT_EQ(regtext::check(start + line).Message(), message);
}

}  // namespace
