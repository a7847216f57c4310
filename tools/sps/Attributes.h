// The attributes of a parameter, the values with "@" names beside its value, as people name and write
// them.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "src/RgNode.h"

namespace tool {

enum class AttributeKind { Type, Override, Flag, Text };

struct Attribute {
  const char* name;  // without the "@"
  const char16_t* stored;
  AttributeKind kind;
};

const std::vector<Attribute>& attributes();
// By its name with or without "@", in any case; null where there is none.
const Attribute* findAttribute(const std::string& name);

// A letter of a type: S, I, D, T or B, in either case. WrongUsage for any other text.
char16_t typeLetter(const std::string& text);
// A letter of an override kind, W, U or P, or its word: workstation, user, instance. WrongUsage for any
// other text.
char16_t overrideLetter(const std::string& text);
// "workstation", "user", "process instance"; null for an unknown letter.
const char* overrideKind(char16_t letter);

// What the stored bytes of "@type" or "@override" mean, at most 2. Where they are fewer, a type counts by
// what is there, and an override is none that is known.
char16_t letterOfBytes(std::u16string_view name, std::span<const std::uint8_t> bytes);
// A letter in its stored form, 2 bytes.
bool writeLetter(RgNode& node, const char16_t* name, char16_t letter);
// 0 and the letter, or the registry's number; a value of more than 2 bytes is no letter: 234.
std::int32_t readLetter(RgNode& node, const char16_t* name, char16_t& letter);

}  // namespace tool
