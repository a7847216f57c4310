// A parameter's key as it is stored, all of it, decoded as far as the system gives it a meaning.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/sps/Client.h"

namespace tool {

// One value of a key as it lies in the registry.
struct StoredValue {
  std::u16string name;
  std::uint32_t type = 0;  // the registry's number
  std::vector<std::uint8_t> data;
};

// In the store's order. Refused where the listing breaks off.
std::vector<StoredValue> storedValues(RgNode& node);
// By its name, in any case; null where there is none.
const StoredValue* findStored(const std::vector<StoredValue>& values, std::u16string_view name);
// The text of a value that is stored as one, else empty.
std::u16string storedText(const StoredValue& stored);
// The letter in "@type" or "@override"; 0 where there are more bytes than a letter has.
char16_t storedLetter(const StoredValue& stored);
// In the form of the type; nothing where the letter is none or the form is not that of the type.
std::optional<Value> decodedValue(char16_t letter, const StoredValue& stored);

// A stored value under the parameter's type.
struct Content {
  std::u16string name;
  std::optional<Value> value;  // none: what is stored has not the form of the type
  bool scrambled = false;      // the value is the plain text of a scrambled one
  bool expandable = false;     // the value still holds its environment references
  StoredValue stored;
};

struct ParameterKey {
  std::u16string path;
  char16_t letter = 0;    // "@type"; 0 where it is missing or longer than a letter
  char16_t override = 0;  // "@override", likewise
  bool hasType = false;
  bool hasOverride = false;
  bool scrambled = false;
  std::vector<std::string> flags;                          // names without "@"
  std::vector<std::pair<std::string, StoredValue>> notes;  // unit, description, functional
  std::optional<Content> value;
  std::optional<Content> super;
  std::vector<Content> overrides;      // values named after a workstation, user or process instance
  std::vector<StoredValue> others;     // values with an "@" name that the system does not know
  std::optional<std::string> changed;  // last write of the key, UTC, "2024-05-31T12:00:00Z"
};

// Of a node that is open on the parameter's key.
ParameterKey readParameterKey(Client& client, RgNode& node);
// The same from the values that a key was found to have; when it changed is not known.
ParameterKey decodeParameterKey(Client& client, const std::u16string& path,
                                const std::vector<StoredValue>& values);

// The name of the value that the client's identity writes: that of the override, or "@value". Where an
// override does not apply, the library's code for it goes into why.
std::u16string writtenName(const Client& client, const ParameterKey& key, std::int32_t& why);
// The value that the client's identity reads; null where there is none.
const Content* readContent(const Client& client, const ParameterKey& key);
// What a read makes of it, references not expanded: it takes any registry type, and numbers that lack bytes.
// Nothing where there are more bytes than the type has.
std::optional<Value> readValue(Client& client, const ParameterKey& key, const Content& content);

// All of the key's values, in that order: the value, the super value, those of overrides.
std::vector<const Content*> contentsOf(const ParameterKey& key);
// By its name, in any case; null where there is none.
const Content* findContent(const ParameterKey& key, std::u16string_view name);

// One line for people: a text in quotes, "<scrambled>" for the plain text of a scrambled value unless it is
// to be revealed, the bytes where the form is not that of the type.
std::string contentLine(const Content& content, bool reveal);
// The same for JSON: the value, or null where it is masked or malformed.
Json contentJson(const Content& content, bool reveal);

// Whatever is stored, by its registry type: texts in quotes, numbers, bytes in hexadecimal.
std::string storedLine(const StoredValue& stored);
// The same for JSON: texts as they are.
Json storedJson(const StoredValue& stored);
// "REG_SZ", "REG_BINARY", ...
std::string registryTypeName(std::uint32_t type);

}  // namespace tool
