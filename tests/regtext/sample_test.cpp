// The sample installation, read as its applications would read it.
#include <gmock/gmock.h>

#include <fstream>
#include <map>
#include <sstream>

#include "platform/regtext/RegTextEncoding.h"
#include "platform/regtext/RegTextImport.h"
#include "platform/regtext/RegTextReader.h"
#include "platform/support/Utf.h"
#include "src/spc.h"
#include "tests/TempStore.h"

namespace {

std::u16string sampleText() {
  std::ifstream file(SPS_SAMPLE, std::ios::binary);
  std::stringstream bytes;
  bytes << file.rdbuf();
  const regtext::Decoded decoded = regtext::decode(bytes.str());
  EXPECT_EQ(decoded.fault.line, 0U) << decoded.fault.Message();
  return decoded.text;
}

struct Stored {
  std::uint32_t type = 0;
  std::vector<std::uint8_t> data;
};
using Values = std::map<std::u16string, Stored>;

// Keys with values, by path.
std::map<std::u16string, Values> sampleKeys() {
  std::map<std::u16string, Values> keys;
  regtext::parse(sampleText(), [&](const regtext::Event& event) {
    Values& values = keys[std::u16string(event.key)];
    if (event.kind == regtext::Kind::Value) {
      values[std::u16string(event.name)] = {event.type, {event.data.begin(), event.data.end()}};
    }
    return true;
  });
  return keys;
}

bool hasForm(char letter, const Stored& value) {
  const std::size_t size = value.data.size();
  if (letter == 'B') return value.type == REG_BINARY && size == 1 && value.data[0] <= 1;
  if (letter == 'D' || letter == 'T') return value.type == REG_BINARY && size == 8;
  if (letter == 'I') return value.type == REG_DWORD && size == 4;
  return letter == 'S' && (value.type == REG_SZ || value.type == REG_EXPAND_SZ) && size >= 2 &&
         size % 2 == 0 && value.data[size - 2] == 0 && value.data[size - 1] == 0;
}

// Every parameter has a type, and every value, override values included, the form of that type.
TEST(Sample, ParametersAreWellFormed) {
  const auto keys = sampleKeys();
  std::map<char, int> types;
  for (const auto& [path, values] : keys) {
    const std::string where = support::toUtf8(path);
    ASSERT_TRUE(values.contains(u"@type")) << where;
    const auto& type = values.at(u"@type").data;
    ASSERT_EQ(type.size(), 2U) << where;
    ++types[static_cast<char>(type[0])];
    EXPECT_TRUE(values.contains(u"@value") || values.contains(u"@superValue")) << where;
    for (const auto& [name, value] : values) {
      const bool isValue = name[0] != u'@' || name == u"@value" || name == u"@superValue";
      EXPECT_TRUE(!isValue || hasForm(static_cast<char>(type[0]), value)) << where;
      EXPECT_TRUE(name != u"@override" || value.data.size() == 2) << where;
    }
  }
  EXPECT_EQ(types.size(), 5U);
}

class SampleStore : public testing::Test {
protected:
  SampleStore() {
    setenv("HOME", "/home/marten", 1);
    unsetenv("PROCESS_SPACE");
    const auto result = regtext::importText(sampleText());
    EXPECT_TRUE(result.Done()) << result.Message();
    spc.Init();
  }

  std::string Text(Spc& from, const char16_t* topic, const char16_t* par) {
    UnicodeString value;
    return from.GetPar(topic, par, value) ? support::toUtf8(value.View()) : "not read";
  }
  std::string Directory(bool (Spc::*get)(UnicodeString&, std::uint32_t*)) {
    UnicodeString value;
    return (spc.*get)(value, nullptr) ? support::toUtf8(value.View()) : "not read";
  }
  template <class Value>
  Value Number(Spc& from, const char16_t* topic, const char16_t* par) {
    Value value{};
    EXPECT_TRUE(from.GetPar(topic, par, &value));
    return value;
  }
  void UseTraining() {
    setenv("PROCESS_SPACE", "Training", 1);
    spc.Init();
  }

  TempStore m_store;
  Spc spc;
};

TEST_F(SampleStore, EachTypeReads) {
  EXPECT_TRUE(Number<bool>(spc, u"Filtration", u"BackwashAutomatic"));
  EXPECT_EQ(Number<double>(spc, u"Filtration", u"TurbidityLimit"), 0.35);
  EXPECT_EQ(Number<std::int32_t>(spc, u"Filtration", u"BackwashInterval"), 24);
  EXPECT_EQ(Number<std::int32_t>(spc, u"Filtration", u"FrostAlarm"), -4);
  EXPECT_EQ(Number<std::int64_t>(spc, u"Filtration", u"MeterReading"), 9876543210123);
  EXPECT_EQ(Text(spc, u"Filtration", u"HallName"), "Filter hall \"North\"");
}

TEST_F(SampleStore, OverridesApply) {
  Spc own(u"FILTER1", u"hollis", u"TREND");
  EXPECT_EQ(Text(spc, u"Operating", u"ScreenLayout"), "one screen");
  EXPECT_EQ(Text(own, u"Operating", u"ScreenLayout"), "two screens");
  EXPECT_EQ(Text(own, u"Operating", u"StartPicture"), "Laboratory");
  EXPECT_EQ(Number<std::int32_t>(spc, u"Operating", u"RefreshInterval"), 1000);
  EXPECT_EQ(Number<std::int32_t>(own, u"Operating", u"RefreshInterval"), 5000);
}

// The texts are stored scrambled: they come out plain only while the scrambling is what it was.
TEST_F(SampleStore, ScrambledTextsComeOutPlain) {
  EXPECT_EQ(Text(spc, u"Archive", u"Password"), "brook-trout 7");
  EXPECT_EQ(spc.GetDMSLogMode(), 1);
  EXPECT_EQ(spc.GetDlgMgrLogMode(), 2);
  EXPECT_EQ(spc.GetMACLogMode(3), 1);
  UseTraining();
  EXPECT_EQ(spc.GetDMSLogMode(), 2);
}

TEST_F(SampleStore, DirectoriesOfBothSpaces) {
  EXPECT_EQ(Directory(&Spc::GetRootDir), "/opt/brindle");
  EXPECT_EQ(Directory(&Spc::GetBinDir), "/opt/brindle/bin");
  EXPECT_EQ(Directory(&Spc::GetInstDir), "/opt/brindle/install");
  EXPECT_EQ(Directory(&Spc::GetTmpDir), "/home/marten/.cache/brindle");
  UseTraining();
  for (const auto get : {&Spc::GetRootDir, &Spc::GetBinDir, &Spc::GetCfgDir, &Spc::GetHlpDir,
                         &Spc::GetInstDir, &Spc::GetSysLogDir, &Spc::GetTmpDir}) {
    EXPECT_THAT(Directory(get), testing::StartsWith("/"));
  }
  EXPECT_EQ(Directory(&Spc::GetLogDir), "/home/marten/brindle-training/log");
}

// This computer's host stands in the text of its domain, and each domain but the top has its head first.
TEST_F(SampleStore, DomainTextsHoldFiveFieldsAHost) {
  EXPECT_EQ(Number<std::int32_t>(spc, u"Global", u"DOMAIN"), 1100);
  EXPECT_EQ(Number<std::int32_t>(spc, u"Global", u"SUBDOMAIN"), 1101);
  for (const char16_t* domain : {u"D0000", u"D1100", u"D1200"}) {
    const std::string text = Text(spc, u"DOMAINS", domain);
    EXPECT_EQ(std::count(text.begin(), text.end(), ';') % 5, 0);
    EXPECT_GE(std::count(text.begin(), text.end(), ';'), 10);
    EXPECT_EQ(text.back(), ';');
    EXPECT_EQ(std::stoi(text), std::stoi(support::toUtf8(domain).substr(1)));
  }
  EXPECT_THAT(Text(spc, u"DOMAINS", u"D1100"), testing::HasSubstr(";1101;FS2;Filter hall North;filter1;3;"));
}

}  // namespace
