#include "tests/client/ClientTest.h"

#include <map>

#include "platform/support/Utf.h"

void PrintTo(const UnicodeString& text, std::ostream* out) {
  *out << '"' << support::toUtf8(text.View()) << '"';
}

ClientTest::ClientTest() {
  m_sink = trace::addSink(
      [this](const trace::Line& line) {
        if (!line.source.starts_with(u"src\\")) return;
        const bool isBack = line.channel == trace::Channel::BackTrace;
        const std::string level = isBack ? std::to_string(line.level) : std::string(1, char(line.level));
        const std::string tag = isBack ? support::toUtf8(line.tag) + "|" : "";
        EXPECT_GT(line.sourceLine, 0);
        m_lines.push_back(level + "|" + tag + support::toUtf8(line.source) + "|" +
                          support::toUtf8(line.text));
      },
      trace::allLevels);
}

ClientTest::~ClientTest() {
  trace::removeSink(m_sink);
}

std::vector<std::string> ClientTest::Lines() {
  return std::exchange(m_lines, {});
}

std::string plain(char level, const std::string& text) {
  return std::string(1, level) + R"(|src\spc|)" + text;
}

std::string back(int level, const std::string& text) {
  return std::to_string(level) + R"(|SPC-SPC1|src\spc|)" + text;
}

std::string nodeTrace(int level, const std::string& text) {
  return std::to_string(level) + R"(|SPC-RgNode|src\RgNode|)" + text;
}

std::string reported(std::int32_t code, const std::string& name) {
  const auto of = [&](const char* text) { return "Parameter \"" + name + "\": " + text; };
  const std::map<std::int32_t, std::string> lines = {
      {1, plain('E', "The root node is not specified!")},
      {2, plain('W', "Node or parameter value name cannot be found!")},
      {3, plain('E', "The process space node is not specified!")},
      {4, plain('E', "The topic node is not specified!")},
      {5, plain('E', "The parameter node is not specified!")},
      {6, plain('E', of("Invalid registry key handle!"))},
      {7, plain('W', of("Invalid override type detected!"))},
      {8, back(1, "Override " + of("The override <workstation> is not specified!"))},
      {9, back(1, "Override " + of("The override <user> is not specified!"))},
      {10, back(1, "Override " + of("The override <process instance> is not specified!"))},
      {11, plain('W', of("The parameter node cannot be found!"))},
      {12, plain('W', of("The parameter value cannot be found!"))},
      {13, plain('E', of("The parameter data type is not specified!"))},
      {14, back(1, of("The override doesn't exist, so it is created!"))},
      {15, plain('E', of("The parameter is readonly and not allowed to be changed!"))},
      {16, plain('E', of("Invalid data type!"))},
      {19, plain('E', of("Local access disabled without being connected to any master!"))},
      {20, plain('W', "Not connected to any master!")},
      {21, plain('W', "Topic \"" + name + "\": The topic node cannot be found!")},
      {161, plain('E', "Invalid path specification!")},
      {234, plain('E', of("The parameter value buffer size is too small!"))},
      {250, plain('W', of("The parameter attribute cannot be found!"))},
  };
  const auto line = lines.find(code);
  return line == lines.end() ? plain('E', "Invalid error code: " + std::to_string(code)) : line->second;
}

std::string openFailed(const std::string& path) {
  return nodeTrace(1, " Open node for " + path + " failed");
}

std::u16string keyPath(const std::u16string& topic, const std::u16string& par) {
  return u"HKEY_LOCAL_MACHINE\\Software\\Velor\\SPS\\Default\\" + topic + u"\\" + par;
}

Par::Par(const char16_t* topic, const char16_t* par, char16_t letter) {
  EXPECT_TRUE(m_node.Init(keyPath(topic, par).c_str(), true, false));
  Raw(u"@type", REG_BINARY, &letter, sizeof letter);
}

Par& Par::Raw(const char16_t* name, std::uint32_t type, const void* data, std::size_t size) {
  EXPECT_TRUE(m_node.SetValue(name, static_cast<const std::uint8_t*>(data), std::uint32_t(size), type));
  return *this;
}

Par& Par::Override(char16_t letter) {
  return Raw(u"@override", REG_BINARY, &letter, sizeof letter);
}

Par& Par::Flag(const char16_t* name) {
  return Raw(name, REG_NONE, nullptr, 0);
}

Par& Par::Text(const char16_t* name, const UnicodeString& text) {
  EXPECT_TRUE(m_node.SetValue(name, text));
  return *this;
}

Par& Par::Expandable(const char16_t* name, const std::u16string& text) {
  return Raw(name, REG_EXPAND_SZ, text.c_str(), (text.size() + 1) * 2);
}

Par& Par::Number(const char16_t* name, std::int32_t number) {
  return Raw(name, REG_DWORD, &number, sizeof number);
}

Par& Par::Bytes(const char16_t* name, const std::vector<std::uint8_t>& bytes) {
  return Raw(name, REG_BINARY, bytes.data(), bytes.size());
}

Par& Par::Without(const char16_t* name) {
  EXPECT_TRUE(m_node.DelValue(name));
  return *this;
}

Par::Stored Par::Value(const char16_t* name) {
  std::vector<std::uint8_t> room(1 << 16);
  std::uint32_t size = std::uint32_t(room.size());
  std::uint32_t type = 0;
  if (!m_node.GetValue(name, room.data(), &size, type)) return {};
  room.resize(size);
  return {type, room};
}

UnicodeString Par::TextOf(const char16_t* name) {
  const Stored stored = Value(name);
  if (stored.type < 0) return u"(none)";
  std::u16string text(stored.bytes.size() / 2, u'\0');
  std::copy(stored.bytes.begin(), stored.bytes.end(), reinterpret_cast<std::uint8_t*>(text.data()));
  return UnicodeString(text.c_str());
}
