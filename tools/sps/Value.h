// A parameter's value between the command line, the parameter client, the store and JSON.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <variant>
#include <vector>

#include "src/RgNode.h"

namespace tool {

using Json = nlohmann::ordered_json;

// One alternative for each type, in the order of the letters S, I, D, T, B.
using Value = std::variant<std::u16string, std::int32_t, double, std::int64_t, bool>;

char16_t letterOf(const Value& value);
// The type's empty value; WrongUsage for a letter that is no type.
Value emptyValue(char16_t letter);
bool isTypeLetter(char16_t letter);
// "text", "32-bit integer", ...; "unknown type" for any other letter.
const char* typeName(char16_t letter);
// 1 character: a type or override letter as text, "?" for what is no letter.
std::string letterText(char16_t letter);

// The whole text must be a value of the type and in its range, else WrongUsage with what is allowed.
Value parseValue(char16_t letter, const std::string& text);

// The bare value: parseValue's inverse. Floats have as few digits as give the same number again.
std::string valueText(const Value& value);
// On one line: texts in quotes with escapes, the others bare.
std::string valueLine(const Value& value);
// Floats that JSON has no number for are the strings "nan", "inf" and "-inf".
Json valueJson(const Value& value);

// The value's bytes in the form of its type, as they are stored and sent.
std::vector<std::uint8_t> valueBytes(const Value& value);

// Reads a value in the form of its type, as a parameter read does. False leaves the number in the node
// (GetRetCode) and the value undefined.
bool readStored(RgNode& node, const char16_t* name, Value& value);
// Writes a value in the form of its type.
bool writeStored(RgNode& node, const char16_t* name, const Value& value);

// A key whose texts can be such as are expanded on reading, which is no form of a type.
class TextNode : public RgNode {
public:
  bool IsExpandable(const char16_t* name);
  bool WriteExpandable(const char16_t* name, const std::u16string& text);
};

}  // namespace tool
