// The types of parameters on their way between a telegram and the tree. What a letter means stands here
// once, in a table.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "service/Tree.h"

namespace service {

using Bytes = std::vector<std::uint8_t>;
using View = std::span<const std::uint8_t>;

struct ParameterName {
  UnicodeString topic;
  UnicodeString par;
};

// How the values of one type letter are read, written, stored and tested.
struct Form {
  std::uint16_t letter;
  std::uint32_t registryType;
  // Whether the bytes are a value of this type as a telegram carries it.
  bool (*fits)(View value);
  // Through the tree's own GetPar, and into the node that is open on the parameter, with the name of what was
  // written. Null for the letter N, which is no parameter's.
  Code (*read)(Tree& tree, const ParameterName& name, std::int32_t noErrMsg, Bytes& value);
  Code (*write)(Tree& tree, Node& node, View value, UnicodeString& name);
};

// Null where the letter is none.
const Form* findForm(std::int32_t letter);

// The letter under which a property of a node is shown. A parameter's values have its letter, its flags
// have N; any other property goes by its registry type.
std::uint16_t propertyLetter(std::uint16_t nodeLetter, const UnicodeString& name, std::uint32_t registryType);

// The parts a property can play for a parameter, by its name.
enum class Part : std::uint8_t {
  Value,   // "@value", "@superValue" and override values
  Letter,  // "@type" and "@override", one letter in two bytes
  Flag,    // "@readonly" and its kin, whose existence is what counts
  Other    // "@unit", "@description" and whatever else begins with @
};
Part partOf(const UnicodeString& name);

// Registry names are case-insensitive, by the folding of Unicode; the other one is ASCII.
bool isNamed(const UnicodeString& name, const char16_t* other);

}  // namespace service
