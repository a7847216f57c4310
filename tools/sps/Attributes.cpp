#include "tools/sps/Attributes.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "src/spc.h"
#include "tools/sps/Failure.h"
#include "tools/sps/Text.h"
#include "tools/sps/Value.h"

namespace tool {

namespace {

struct OverrideKind {
  char16_t letter;
  const char* word;  // on the command line
  const char* text;
};

constexpr OverrideKind overrideKinds[] = {
    {u'W', "workstation", "workstation"}, {u'U', "user", "user"}, {u'P', "instance", "process instance"}};

std::string lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char byte) { return static_cast<char>(std::tolower(byte)); });
  return text;
}

char16_t upperLetter(const std::string& text) {
  if (text.size() != 1) return 0;
  return static_cast<char16_t>(std::toupper(static_cast<unsigned char>(text[0])));
}

using LetterBytes = std::array<std::uint8_t, 2>;

// What stands for the bytes that are not there.
LetterBytes missingLetter(std::u16string_view name) {
  if (sameName(name, Spc::m_pOVERRIDE)) return {0xFF, 0xFF};
  return {};
}

char16_t letterFrom(const LetterBytes& bytes) {
  return static_cast<char16_t>(bytes[0] | bytes[1] << 8);
}

}  // namespace

const std::vector<Attribute>& attributes() {
  static const std::vector<Attribute> all = {
      {"type", Spc::m_pTYPE, AttributeKind::Type},
      {"override", Spc::m_pOVERRIDE, AttributeKind::Override},
      {"readonly", Spc::m_pREADONLY, AttributeKind::Flag},
      {"replicate", Spc::m_pREPLICATE, AttributeKind::Flag},
      {"disableLog", Spc::m_pDISABLELOG, AttributeKind::Flag},
      {"encrypt", Spc::m_pENCRYPT, AttributeKind::Flag},
      {"decrypt", Spc::m_pDECRYPT, AttributeKind::Flag},
      {"unit", Spc::m_pUNIT, AttributeKind::Text},
      {"description", Spc::m_pDSC, AttributeKind::Text},
      {"functional", Spc::m_pFUNCTIONAL, AttributeKind::Text},
  };
  return all;
}

const Attribute* findAttribute(const std::string& name) {
  const std::string wanted = lower(name.starts_with('@') ? name.substr(1) : name);
  const auto& all = attributes();
  const auto found =
      std::find_if(all.begin(), all.end(), [&](const Attribute& one) { return lower(one.name) == wanted; });
  return found == all.end() ? nullptr : &*found;
}

char16_t typeLetter(const std::string& text) {
  const char16_t letter = upperLetter(text);
  if (isTypeLetter(letter)) return letter;
  throw WrongUsage(inQuotes(toUtf16(text, "type")) +
                   " is no type: expected S (text), I (32-bit integer), D (float), T (64-bit integer) or "
                   "B (boolean)");
}

char16_t overrideLetter(const std::string& text) {
  const char16_t letter = upperLetter(text);
  for (const OverrideKind& kind : overrideKinds) {
    if (kind.letter == letter || kind.word == lower(text)) return kind.letter;
  }
  throw WrongUsage(inQuotes(toUtf16(text, "override")) +
                   " is no kind of override: expected W (workstation), U (user) or P (process instance)");
}

const char* overrideKind(char16_t letter) {
  for (const OverrideKind& kind : overrideKinds) {
    if (kind.letter == letter) return kind.text;
  }
  return nullptr;
}

char16_t letterOfBytes(std::u16string_view name, std::span<const std::uint8_t> bytes) {
  LetterBytes letter = missingLetter(name);
  std::copy_n(bytes.begin(), std::min(bytes.size(), letter.size()), letter.begin());
  return letterFrom(letter);
}

bool writeLetter(RgNode& node, const char16_t* name, char16_t letter) {
  const std::uint8_t bytes[2] = {static_cast<std::uint8_t>(letter & 0xFF),
                                 static_cast<std::uint8_t>(letter >> 8)};
  return node.SetValue(name, bytes, std::uint32_t{sizeof bytes});
}

std::int32_t readLetter(RgNode& node, const char16_t* name, char16_t& letter) {
  LetterBytes bytes = missingLetter(name);
  if (!node.GetValue(name, bytes.data(), std::uint32_t{bytes.size()})) return node.GetRetCode();
  letter = letterFrom(bytes);
  return 0;
}

}  // namespace tool
