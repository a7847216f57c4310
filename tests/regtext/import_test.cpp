#include <gmock/gmock.h>

#include <thread>

#include "platform/registry/RegistryTransaction.h"
#include "platform/regtext/OpenKey.h"
#include "platform/regtext/RegTextExport.h"
#include "platform/regtext/RegTextImport.h"
#include "tests/TempStore.h"
#include "tests/regtext/Statements.h"

using regtext::ImportResult;
using regtext::importText;
using regtext::OpenKey;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

const std::u16string header = u"Windows Registry Editor Version 5.00\n\n";

class Store : public testing::Test {
protected:
  static std::u16string Export(std::u16string_view root) {
    std::u16string text;
    const auto result = regtext::exportTree(root, into(text), regtext::LineEnd::Lf);
    EXPECT_TRUE(result.Done()) << result.text;
    return text;
  }
  static bool Exists(const std::u16string& path) { return OpenKey(HKEY_LOCAL_MACHINE, path).Status() == 0; }

  TempStore m_store;
};

TEST_F(Store, ExportsWhatWasImported) {
  const ImportResult result = importText(
      header +
      u"[HKEY_LOCAL_MACHINE\\P]\n@=\"default\"\n\"a\"=dword:00000007\n\"\xD800\"=hex(1):00,d8\n\"z\n\"=hex(0)"
      u":\n\n"
      u"[HKEY_LOCAL_MACHINE\\P\\K [1]]\n\n[\"HKEY_LOCAL_MACHINE\\\\P\\\\k\n2\"]\n\"m\"=hex(7):00,00\n\n"
      u"[HKEY_LOCAL_MACHINE\\P\\K3]\n\"q\"=hex(b):01,02,03,04,05,06,07,08\n\n[HKEY_LOCAL_"
      u"MACHINE\\P\\K3\\deep]\n\n");
  ASSERT_TRUE(result.Done()) << result.Message();
  EXPECT_EQ(result.keys, 5U);
  EXPECT_EQ(result.newKeys, 5U);
  EXPECT_EQ(result.values, 6U);

  const std::u16string exported = Export(u"hklm\\P");
  EXPECT_TRUE(importText(exported).Done());
  EXPECT_EQ(Export(u"HKEY_LOCAL_MACHINE\\P"), exported);
  EXPECT_TRUE(importText(header + u"[-HKLM\\P]\n").Done());
  EXPECT_FALSE(Exists(u"P"));
  EXPECT_TRUE(importText(exported).Done());
  EXPECT_EQ(Export(u"HKEY_LOCAL_MACHINE\\P"), exported);
}

TEST_F(Store, ExportOrderIsThatOfNamesNotOfWriting) {
  ASSERT_TRUE(importText(header + u"[HKCU\\b]\n\"y\"=\"\"\n\"X\"=\"\"\n[HKCU\\A]\n").Done());
  EXPECT_EQ(Export(u"HKCU"), header +
                                 u"[HKEY_CURRENT_USER]\n\n[HKEY_CURRENT_USER\\A]\n\n"
                                 u"[HKEY_CURRENT_USER\\b]\n\"X\"=\"\"\n\"y\"=\"\"\n\n");
}

TEST_F(Store, DeletionsTakeWhatIsThere) {
  ASSERT_TRUE(
      importText(header + u"[HKLM\\P\\a\\b\\c]\n@=\"\"\n[HKLM\\P\\a\\d]\n[HKLM\\P]\n\"v\"=\"\"\n").Done());
  const ImportResult result =
      importText(header + u"[HKLM\\P]\n\"V\"=-\n\"none\"=-\n[-HKLM\\P\\A]\n[-HKLM\\none\\x]\n[HKLM\\P\\a]\n");
  ASSERT_TRUE(result.Done()) << result.Message();
  EXPECT_EQ(result.deletedKeys, 4U);
  EXPECT_EQ(result.deletedValues, 1U);
  EXPECT_EQ(result.newKeys, 1U);
  EXPECT_EQ(Export(u"HKLM\\P"), header + u"[HKEY_LOCAL_MACHINE\\P]\n\n[HKEY_LOCAL_MACHINE\\P\\a]\n\n");
}

TEST_F(Store, FaultyTextChangesNothing) {
  ASSERT_TRUE(importText(header + u"[HKLM\\P]\n\"v\"=\"old\"\n").Done());
  const std::u16string before = Export(u"");
  const ImportResult result =
      importText(header + u"[HKLM\\P]\n\"v\"=\"new\"\n[-HKLM\\P]\n[HKLM\\Q]\n\"v\"=new\n");
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.Message(), StartsWith("line 7: found \"new\", expected a text in quotation marks"));
  EXPECT_EQ(Export(u""), before);
}

// A key that lasts cannot lie below one that ends with the next boot: only the registry knows.
TEST_F(Store, RefusalOfTheRegistryNamesTheLineAndTakesAllBack) {
  HKEY key = 0;
  ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, u"Volatile", 0, nullptr, REG_OPTION_VOLATILE, MAXIMUM_ALLOWED,
                            nullptr, &key, nullptr),
            0);
  RegCloseKey(key);
  const std::u16string before = Export(u"");
  const ImportResult result =
      importText(header + u"[HKLM\\Kept]\n@=\"x\"\n[HKLM\\Volatile]\n@=\"y\"\n[HKLM\\Volatile\\k]\n");
  EXPECT_EQ(result.status, ERROR_CHILD_MUST_BE_VOLATILE);
  EXPECT_EQ(result.Message(),
            "line 7: the registry refused the key HKEY_LOCAL_MACHINE\\Volatile\\k with error 1021");
  EXPECT_EQ(Export(u""), before);
}

TEST_F(Store, NothingOutsideTheAllowedKeyIsTouched) {
  const regtext::ImportOptions options{u"HKLM\\Software\\S", false};
  EXPECT_TRUE(importText(header + u"[hklm\\software\\s]\n[HKLM\\Software\\S\\a]\n", options).Done());
  for (const std::u16string path : {u"HKLM\\Software\\Sx", u"HKLM\\Software", u"HKU\\Software\\S"}) {
    const ImportResult result = importText(header + u"[HKLM\\Software\\S\\new]\n[-" + path + u"]\n", options);
    EXPECT_THAT(result.Message(), StartsWith("line 4: found the key HKEY_"));
    EXPECT_FALSE(Exists(u"Software\\S\\new"));
  }
  const ImportResult noPath = importText(header + u"[HKLM\\P]\n", {u"Software", false});
  EXPECT_EQ(noPath.status, ERROR_INVALID_PARAMETER);
  EXPECT_THAT(noPath.Message(), HasSubstr("found the hive \"Software\", expected one of"));
  EXPECT_FALSE(Exists(u"P"));
}

TEST_F(Store, WhatIsNotCommittedIsNotKept) {
  const std::u16string text = header + u"[HKLM\\P]\n@=\"x\"\n";
  const ImportResult dryRun = importText(text, {{}, true});
  EXPECT_TRUE(dryRun.Done());
  EXPECT_EQ(dryRun.values, 1U);
  EXPECT_FALSE(Exists(u"P"));
  {
    const RegistryTransaction transactionOfTheCaller;
    ASSERT_TRUE(importText(text).Done());
    EXPECT_TRUE(Exists(u"P"));
  }
  EXPECT_FALSE(Exists(u"P"));
}

TEST_F(Store, ProgressReachesTheTotalAndCancelsAll) {
  std::u16string text = header + u"[HKLM\\P]\n";
  for (std::size_t i = 0; i < 1000; ++i) text += u"\"v" + std::u16string(1 + i % 50, u'x') + u"\"=\"\"\n";
  std::vector<std::uint64_t> reports;
  ASSERT_TRUE(importText(text, {}, [&](std::uint64_t done, std::uint64_t total) {
                EXPECT_EQ(total, text.size());
                reports.push_back(done);
                return true;
              }).Done());
  EXPECT_TRUE(std::is_sorted(reports.begin(), reports.end()));
  EXPECT_EQ(reports.back(), text.size());
  EXPECT_LE(reports.size(), 202U);

  const ImportResult cancelled = importText(header + u"[-HKLM\\P]\n[HKLM\\Q]\n", {},
                                            [](std::uint64_t done, std::uint64_t) { return done < 50; });
  EXPECT_EQ(cancelled.Message(), "the import was cancelled");
  EXPECT_TRUE(Exists(u"P"));
  EXPECT_FALSE(Exists(u"Q"));
}

TEST_F(Store, DeepTreesComeAndGo) {
  std::u16string path = u"HKLM\\P";
  for (std::size_t i = 1; i < regtext::maxLevels; ++i) path += u"\\k";
  const ImportResult come = importText(header + u"[" + path + u"]\n@=\"x\"\n");
  ASSERT_TRUE(come.Done()) << come.Message();
  EXPECT_NE(Export(u"HKLM\\P").find(path.substr(4) + u"]\n@=\"x\"\n"), std::u16string::npos);
  const ImportResult gone = importText(header + u"[-HKLM\\P]\n");
  EXPECT_TRUE(gone.Done()) << gone.Message();
  EXPECT_EQ(gone.deletedKeys, regtext::maxLevels);
}

// Another thread deletes and adds as soon as the first piece is out.
TEST_F(Store, ExportShowsOneMoment) {
  std::u16string text = header;
  for (int i = 0; i < 3000; ++i)
    text += u"[HKLM\\P\\k" + support::toUtf16(std::to_string(i)) + u"]\n@=\"v\"\n";
  ASSERT_TRUE(importText(text).Done());
  const std::u16string before = Export(u"HKLM\\P");
  std::u16string exported;
  regtext::exportTree(
      u"HKLM\\P",
      [&](std::u16string_view piece) {
        if (exported.empty()) {
          std::thread([] { importText(header + u"[-HKLM\\P]\n[HKLM\\P\\z]\n"); }).join();
        }
        exported += piece;
        return true;
      },
      regtext::LineEnd::Lf);
  EXPECT_GT(before.size(), 33000U);
  EXPECT_EQ(exported, before);
  EXPECT_NE(Export(u"HKLM\\P"), before);
}

TEST_F(Store, ExportSaysWhyNot) {
  const auto take = [](std::u16string_view) { return true; };
  const auto missing = regtext::exportTree(u"HKLM\\none", take);
  EXPECT_EQ(missing.status, ERROR_FILE_NOT_FOUND);
  EXPECT_THAT(missing.text, HasSubstr("HKEY_LOCAL_MACHINE\\none"));
  EXPECT_EQ(regtext::exportTree(u"HKXX\\none", take).status, ERROR_INVALID_PARAMETER);
  const auto stopped = regtext::exportTree(u"HKLM", [](std::u16string_view) { return false; });
  EXPECT_TRUE(stopped.stopped);
  EXPECT_FALSE(stopped.Done());
}

}  // namespace
