// What commands ask for and answer with, the same whether the store of this machine or a master has it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/sps/Attributes.h"
#include "tools/sps/ParameterKey.h"
#include "tools/sps/Value.h"

namespace tool {

struct SetArguments {
  std::string value;
  bool hasValue = false;
  bool fromStdin = false;
  bool encrypt = false;
  bool super = false;
  bool force = false;
  bool expand = false;
  bool plain = false;
};

struct Written {
  Value value;
  std::u16string where;  // name of the stored value
  bool scrambled = false;
  bool expandable = false;  // a read expands the text's environment references
  std::vector<std::string> notices;
};

// All that a new parameter's key is to hold, checked and in its stored form.
struct NewParameter {
  char16_t letter = 0;
  std::optional<Value> value;
  std::optional<Value> super;
  char16_t override = 0;
  std::vector<const char16_t*> flags;
  std::vector<std::pair<const char16_t*, std::u16string>> texts;
};

// An attribute as it is, or as it shall be: nothing where it is not set.
struct AttributeState {
  const Attribute* attribute = nullptr;
  bool present = false;
  char16_t letter = 0;
  std::u16string text;
};

struct ListedParameter {
  std::u16string name;
  char16_t letter = 0;
  std::optional<Value> value;  // what a read gives
  bool masked = false;
};

struct ListedTopic {
  std::u16string name;
  std::vector<ListedParameter> parameters;
};

// A key to be removed, below its parent.
struct Target {
  std::u16string parent;
  std::u16string name;
  std::string label;   // parameter "Topic/Name" in space "Space"
  std::string detail;  // what goes with it
};

// What an import did. A master does not tell what it found and what it deleted.
struct ImportCounts {
  std::uint64_t keys = 0;
  std::uint64_t values = 0;
  std::optional<std::uint64_t> newKeys;
  std::optional<std::uint64_t> deletedKeys;
  std::optional<std::uint64_t> deletedValues;
};

struct ExportedText {
  std::u16string text;
  std::uint64_t keys = 0;
  std::uint64_t values = 0;
};

}  // namespace tool
