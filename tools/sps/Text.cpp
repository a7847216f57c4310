#include "tools/sps/Text.h"

#include <algorithm>

#include "platform/registry/RegistryGlance.h"
#include "platform/support/Utf.h"
#include "tools/sps/Failure.h"

namespace tool {

namespace {

constexpr std::size_t maxKeyName = 255;

bool isControl(char16_t character) {
  return character < 0x20 || (character >= 0x7F && character < 0xA0);
}

std::string controlEscape(char16_t character) {
  switch (character) {
    case u'\n':
      return "\\n";
    case u'\r':
      return "\\r";
    case u'\t':
      return "\\t";
    default: {
      constexpr char digits[] = "0123456789abcdef";
      return std::string("\\u00") + digits[character >> 4] + digits[character & 15];
    }
  }
}

std::string hexEscape(char byte) {
  constexpr char digits[] = "0123456789abcdef";
  const auto number = static_cast<unsigned char>(byte);
  return std::string("\\x") + digits[number >> 4] + digits[number & 15];
}

std::string escaped(std::u16string_view text, std::u16string_view alsoEscaped) {
  std::string result;
  std::u16string plain;
  const auto flush = [&] {
    result += support::toUtf8(plain);
    plain.clear();
  };
  for (const char16_t character : text) {
    if (isControl(character)) {
      flush();
      result += controlEscape(character);
    } else {
      if (alsoEscaped.find(character) != std::u16string_view::npos) plain += u'\\';
      plain += character;
    }
  }
  flush();
  return result;
}

std::size_t width(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(
      text.begin(), text.end(), [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; }));
}

std::vector<std::size_t> columnWidths(const std::vector<Row>& rows) {
  std::vector<std::size_t> widths;
  for (const Row& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], width(row[i]));
  }
  return widths;
}

}  // namespace

std::u16string toUtf16(const std::string& argument, std::string_view what) {
  std::u16string text = support::toUtf16(argument);
  if (support::toUtf8(text) != argument) throw WrongUsage("the " + std::string(what) + " is not UTF-8 text");
  if (text.find(u'\0') != std::u16string::npos) {
    throw WrongUsage("the " + std::string(what) + " contains a zero character");
  }
  return text;
}

std::u16string keyName(const std::string& argument, std::string_view what) {
  std::u16string name = toUtf16(argument, what);
  const std::string subject = "the " + std::string(what) + " name";
  if (name.empty()) throw WrongUsage(subject + " is empty");
  if (name.size() > maxKeyName) {
    throw WrongUsage(subject + " has " + std::to_string(name.size()) + " characters, at most " +
                     std::to_string(maxKeyName) + " are allowed");
  }
  if (name.find(u'\\') != std::u16string::npos) throw WrongUsage(subject + " contains a backslash");
  return name;
}

std::string toUtf8(std::u16string_view text) {
  return support::toUtf8(text);
}

std::string inQuotes(std::u16string_view text) {
  return '"' + escaped(text, u"\"\\") + '"';
}

std::string oneLine(std::u16string_view text) {
  return escaped(text, u"");
}

bool sameName(std::u16string_view left, std::u16string_view right) {
  return RegistryName(left) == RegistryName(right);
}

std::string shellWord(const std::string& text) {
  constexpr std::string_view safe =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-./:@%+=,";
  if (!text.empty() && text.find_first_not_of(safe) == std::string::npos) return text;
  const bool isPlain = std::ranges::none_of(support::toUtf16(text), isControl);
  std::string word = isPlain ? "'" : "$'";
  for (const char byte : text) {
    if (byte == '\'') {
      word += isPlain ? "'\\''" : "\\'";
    } else if (!isPlain && byte == '\\') {
      word += "\\\\";
    } else if (!isPlain && (byte < ' ' || byte > '~')) {
      word += hexEscape(byte);
    } else {
      word += byte;
    }
  }
  return word + "'";
}

std::string columns(const std::vector<Row>& rows, std::string_view indent) {
  const std::vector<std::size_t> widths = columnWidths(rows);
  std::string result;
  for (Row row : rows) {
    while (!row.empty() && row.back().empty()) row.pop_back();
    result += indent;
    for (std::size_t i = 0; i < row.size(); ++i) {
      result += row[i];
      if (i + 1 < row.size()) result.append(widths[i] - width(row[i]) + 2, ' ');
    }
    result += '\n';
  }
  return result;
}

std::string counted(std::size_t count, std::string_view noun) {
  return std::to_string(count) + ' ' + std::string(noun) + (count == 1 ? "" : "s");
}

}  // namespace tool
