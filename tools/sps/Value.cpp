#include "tools/sps/Value.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <nlohmann/json.hpp>
#include <string_view>

#include "platform/registry/registry.h"
#include "tools/sps/Failure.h"
#include "tools/sps/Text.h"

namespace tool {

namespace {

struct Type {
  char16_t letter;
  const char* name;
};

// In the order of the alternatives of Value.
constexpr Type types[] = {{u'S', "text"},
                          {u'I', "32-bit integer"},
                          {u'D', "64-bit float"},
                          {u'T', "64-bit integer"},
                          {u'B', "boolean"}};

template <class... Calls>
struct Overloaded : Calls... {
  using Calls::operator()...;
};
template <class... Calls>
Overloaded(Calls...) -> Overloaded<Calls...>;

const Type* findType(char16_t letter) {
  for (const Type& type : types) {
    if (type.letter == letter) return &type;
  }
  return nullptr;
}

[[noreturn]] void rejectValue(const std::string& text, char16_t letter, const std::string& expected) {
  throw WrongUsage(inQuotes(toUtf16(text, "value")) + " is no " + typeName(letter) + ": expected " +
                   expected);
}

template <class Number>
Number parseNumber(const std::string& text, char16_t letter, const std::string& expected) {
  Number number{};
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end) rejectValue(text, letter, expected);
  return number;
}

template <class Number>
std::string rangeText() {
  return "a whole number from " + std::to_string(std::numeric_limits<Number>::min()) + " to " +
         std::to_string(std::numeric_limits<Number>::max());
}

bool parseBoolean(const std::string& text) {
  if (text != "true" && text != "false") rejectValue(text, u'B', "true or false");
  return text == "true";
}

template <class Number>
std::string numberText(Number number) {
  char buffer[32];
  const auto [end, error] = std::to_chars(std::begin(buffer), std::end(buffer), number);
  return {buffer, end};
}

template <class Number>
bool readBytes(RgNode& node, const char16_t* name, Number& number) {
  std::uint8_t bytes[sizeof(Number)] = {};
  if (!node.GetValue(name, bytes, sizeof bytes)) return false;
  std::memcpy(&number, bytes, sizeof number);
  return true;
}

template <class Number>
bool writeBytes(RgNode& node, const char16_t* name, Number number) {
  std::uint8_t bytes[sizeof(Number)];
  std::memcpy(bytes, &number, sizeof number);
  return node.SetValue(name, bytes, std::uint32_t{sizeof bytes});
}

bool readText(RgNode& node, const char16_t* name, std::u16string& text) {
  UnicodeString stored;
  if (!node.GetValue(name, stored)) return false;
  text = stored.View();
  return true;
}

bool readBoolean(RgNode& node, const char16_t* name, bool& flag) {
  std::uint8_t byte = 0;
  if (!node.GetValue(name, &byte, 1)) return false;
  flag = byte != 0;
  return true;
}

}  // namespace

char16_t letterOf(const Value& value) {
  return types[value.index()].letter;
}

Value emptyValue(char16_t letter) {
  switch (letter) {
    case u'S':
      return std::u16string();
    case u'I':
      return std::int32_t{0};
    case u'D':
      return 0.0;
    case u'T':
      return std::int64_t{0};
    case u'B':
      return false;
    default:
      throw WrongUsage("unknown type " + letterText(letter) + ": expected S, I, D, T or B");
  }
}

bool isTypeLetter(char16_t letter) {
  return findType(letter) != nullptr;
}

const char* typeName(char16_t letter) {
  const Type* type = findType(letter);
  return type != nullptr ? type->name : "unknown type";
}

std::string letterText(char16_t letter) {
  return letter > u' ' && letter < 0x7F ? std::string(1, static_cast<char>(letter)) : "?";
}

Value parseValue(char16_t letter, const std::string& text) {
  switch (letter) {
    case u'S':
      return toUtf16(text, "value");
    case u'I':
      return parseNumber<std::int32_t>(text, letter, rangeText<std::int32_t>());
    case u'D':
      return parseNumber<double>(text, letter, "a number such as -12.5 or 1e-3 in the range of a double");
    case u'T':
      return parseNumber<std::int64_t>(text, letter, rangeText<std::int64_t>());
    case u'B':
      return parseBoolean(text);
    default:
      return emptyValue(letter);
  }
}

std::string valueText(const Value& value) {
  return std::visit(Overloaded{[](const std::u16string& text) { return toUtf8(text); },
                               [](bool flag) { return std::string(flag ? "true" : "false"); },
                               [](auto number) { return numberText(number); }},
                    value);
}

std::string valueLine(const Value& value) {
  const auto* text = std::get_if<std::u16string>(&value);
  return text != nullptr ? inQuotes(*text) : valueText(value);
}

Json valueJson(const Value& value) {
  return std::visit(Overloaded{[](const std::u16string& text) { return Json(toUtf8(text)); },
                               [](double number) {
                                 return std::isfinite(number) ? Json(number) : Json(numberText(number));
                               },
                               [](auto number) { return Json(number); }},
                    value);
}

std::vector<std::uint8_t> valueBytes(const Value& value) {
  const auto copy = [](const void* data, std::size_t size) {
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    return std::vector<std::uint8_t>(bytes, bytes + size);
  };
  return std::visit(Overloaded{[&](const std::u16string& text) {
                                 return copy(text.c_str(), (text.size() + 1) * sizeof(char16_t));
                               },
                               [&](auto number) { return copy(&number, sizeof number); }},
                    value);
}

bool readStored(RgNode& node, const char16_t* name, Value& value) {
  return std::visit(Overloaded{[&](std::u16string& text) { return readText(node, name, text); },
                               [&](bool& flag) { return readBoolean(node, name, flag); },
                               [&](std::int32_t& number) { return node.GetValue(name, number); },
                               [&](auto& number) { return readBytes(node, name, number); }},
                    value);
}

bool writeStored(RgNode& node, const char16_t* name, const Value& value) {
  return std::visit(
      Overloaded{[&](const std::u16string& text) { return node.SetValue(name, UnicodeString(text)); },
                 [&](bool flag) { return writeBytes(node, name, std::uint8_t{flag}); },
                 [&](std::int32_t number) { return node.SetValue(name, number); },
                 [&](auto number) { return writeBytes(node, name, number); }},
      value);
}

bool TextNode::IsExpandable(const char16_t* name) {
  std::uint32_t type = 0;
  return GetValue(name, nullptr, nullptr, type) && type == REG_EXPAND_SZ;
}

bool TextNode::WriteExpandable(const char16_t* name, const std::u16string& text) {
  const std::vector<std::uint8_t> bytes = valueBytes(text);
  return SetValue(name, bytes.data(), static_cast<std::uint32_t>(bytes.size()), REG_EXPAND_SZ);
}

}  // namespace tool
