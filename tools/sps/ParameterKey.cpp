#include "tools/sps/ParameterKey.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <ctime>
#include <nlohmann/json.hpp>

#include "platform/registry/registry.h"
#include "tools/sps/Attributes.h"
#include "tools/sps/Failure.h"
#include "tools/sps/Text.h"

namespace tool {

namespace {

constexpr std::size_t shownBytes = 32;

struct RegistryType {
  std::uint32_t number;
  const char* name;
};
constexpr RegistryType registryTypes[] = {
    {REG_NONE, "REG_NONE"},           {REG_SZ, "REG_SZ"},
    {REG_EXPAND_SZ, "REG_EXPAND_SZ"}, {REG_BINARY, "REG_BINARY"},
    {REG_DWORD, "REG_DWORD"},         {REG_DWORD_BIG_ENDIAN, "REG_DWORD_BIG_ENDIAN"},
    {REG_LINK, "REG_LINK"},           {REG_MULTI_SZ, "REG_MULTI_SZ"},
    {REG_QWORD, "REG_QWORD"},
};

template <class Number>
bool numberOf(const std::vector<std::uint8_t>& data, Number& number) {
  if (data.size() != sizeof number) return false;
  std::memcpy(&number, data.data(), sizeof number);
  return true;
}

bool isText(const StoredValue& stored) {
  return stored.type == REG_SZ || stored.type == REG_EXPAND_SZ;
}

std::u16string textOf(const std::vector<std::uint8_t>& data) {
  std::u16string text(data.size() / 2, u'\0');
  std::copy_n(data.begin(), text.size() * 2, reinterpret_cast<std::uint8_t*>(text.data()));
  return text.substr(0, text.find(u'\0'));
}

bool takeInto(const StoredValue& stored, std::u16string& text) {
  text = textOf(stored.data);
  return true;
}
// The bytes that are not there are 0.
template <class Number>
bool takeInto(const StoredValue& stored, Number& number) {
  std::array<std::uint8_t, sizeof number> bytes{};
  if (stored.data.size() > bytes.size()) return false;
  std::copy(stored.data.begin(), stored.data.end(), bytes.begin());
  std::memcpy(&number, bytes.data(), bytes.size());
  return true;
}
bool takeInto(const StoredValue& stored, bool& flag) {
  std::uint8_t byte = 0;
  const bool taken = takeInto(stored, byte);
  flag = byte != 0;
  return taken;
}

// The value as a read takes it, before its text is unscrambled or expanded.
std::optional<Value> takenValue(char16_t letter, const StoredValue& stored) {
  if (!isTypeLetter(letter)) return std::nullopt;
  Value value = emptyValue(letter);
  if (!std::visit([&](auto& content) { return takeInto(stored, content); }, value)) return std::nullopt;
  return value;
}

bool hasForm(const StoredValue& stored, const std::u16string& /*text*/) {
  return isText(stored);
}
template <class Number>
bool hasForm(const StoredValue& stored, const Number& number) {
  return stored.data.size() == sizeof number;
}

// Whether it was a text that is stored scrambled.
bool unscramble(Client& client, const ParameterKey& key, Value& value) {
  auto* text = std::get_if<std::u16string>(&value);
  if (text == nullptr || !key.scrambled) return false;
  *text = client.Plain(*text);
  return true;
}

Content contentOf(Client& client, const ParameterKey& key, const StoredValue& stored) {
  Content content{stored.name, decodedValue(key.letter, stored), false, stored.type == REG_EXPAND_SZ, stored};
  if (content.value) content.scrambled = unscramble(client, key, *content.value);
  return content;
}

// What has to be known before the values can be decoded.
void takeHead(ParameterKey& key, const std::vector<StoredValue>& values) {
  const StoredValue* type = findStored(values, Spc::m_pTYPE);
  const StoredValue* override = findStored(values, Spc::m_pOVERRIDE);
  key.hasType = type != nullptr;
  key.hasOverride = override != nullptr;
  if (key.hasType) key.letter = storedLetter(*type);
  if (key.hasOverride) key.override = storedLetter(*override);
  key.scrambled = findStored(values, Spc::m_pDECRYPT) != nullptr;
}

void sortAttribute(ParameterKey& key, const Attribute& attribute, const StoredValue& stored) {
  if (attribute.kind == AttributeKind::Flag) key.flags.emplace_back(attribute.name);
  if (attribute.kind == AttributeKind::Text) key.notes.emplace_back(attribute.name, stored);
}

void sortIn(Client& client, ParameterKey& key, const StoredValue& stored) {
  if (sameName(stored.name, Spc::m_pVAL)) {
    key.value = contentOf(client, key, stored);
  } else if (sameName(stored.name, Spc::m_pSUPERVAL)) {
    key.super = contentOf(client, key, stored);
  } else if (!stored.name.starts_with(u'@')) {
    key.overrides.push_back(contentOf(client, key, stored));
  } else if (const Attribute* attribute = findAttribute(toUtf8(stored.name))) {
    sortAttribute(key, *attribute, stored);
  } else {
    key.others.push_back(stored);
  }
}

std::optional<std::string> lastWrite(const RgNode& node) {
  constexpr std::int64_t ticksASecond = 10'000'000;
  constexpr std::int64_t secondsTo1970 = 11'644'473'600;
  HKEY key = 0;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, node.GetNodeName(), 0, KEY_READ, &key) != ERROR_SUCCESS) return {};
  FILETIME time{};
  const LSTATUS status = RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                          nullptr, nullptr, nullptr, &time);
  RegCloseKey(key);
  if (status != ERROR_SUCCESS) return {};
  const std::int64_t ticks = static_cast<std::int64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
  const std::time_t seconds = ticks / ticksASecond - secondsTo1970;
  std::tm parts{};
  if (gmtime_r(&seconds, &parts) == nullptr) return {};
  char text[40];
  return std::string(text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts));
}

std::string hexadecimal(const std::vector<std::uint8_t>& data) {
  constexpr char digits[] = "0123456789abcdef";
  std::string text;
  for (std::size_t i = 0; i < std::min(data.size(), shownBytes); ++i) {
    if (i != 0) text += ' ';
    text += {digits[data[i] >> 4], digits[data[i] & 15]};
  }
  if (data.size() > shownBytes) text += " ... (" + counted(data.size(), "byte") + ')';
  return text.empty() ? "(no data)" : text;
}

}  // namespace

std::vector<StoredValue> storedValues(RgNode& node) {
  std::vector<StoredValue> values;
  if (node.GetValCnt() == 0 || !node.GoFirstVal()) return values;
  std::vector<std::uint8_t> buffer(std::size_t{node.GetMaxValDataLen()} + 1);
  for (;;) {
    UnicodeString name;
    std::uint32_t type = 0;
    auto length = static_cast<std::uint32_t>(buffer.size());
    if (!node.GetNextVal(name, type, buffer.data(), length)) break;
    values.push_back({std::u16string(name.View()), type, {buffer.begin(), buffer.begin() + length}});
  }
  if (node.GetRetCode() != ERROR_SUCCESS) {
    throw Refused{"list the values of " + oneLine(node.GetNodePath().View()),
                  registryText(node.GetRetCode()),
                  node.GetRetCode(),
                  {}};
  }
  return values;
}

const StoredValue* findStored(const std::vector<StoredValue>& values, std::u16string_view name) {
  const auto found = std::find_if(values.begin(), values.end(),
                                  [&](const StoredValue& stored) { return sameName(stored.name, name); });
  return found == values.end() ? nullptr : &*found;
}

std::u16string storedText(const StoredValue& stored) {
  return isText(stored) ? textOf(stored.data) : std::u16string();
}

char16_t storedLetter(const StoredValue& stored) {
  if (stored.data.size() > sizeof(char16_t)) return 0;
  return letterOfBytes(stored.name, stored.data);
}

std::optional<Value> decodedValue(char16_t letter, const StoredValue& stored) {
  std::optional<Value> value = takenValue(letter, stored);
  if (!value) return value;
  const bool isOfType = std::visit([&](const auto& content) { return hasForm(stored, content); }, *value);
  return isOfType ? value : std::nullopt;
}

std::optional<Value> readValue(Client& client, const ParameterKey& key, const Content& content) {
  std::optional<Value> value = takenValue(key.letter, content.stored);
  if (value) unscramble(client, key, *value);
  return value;
}

ParameterKey decodeParameterKey(Client& client, const std::u16string& path,
                                const std::vector<StoredValue>& values) {
  ParameterKey key;
  key.path = path;
  takeHead(key, values);
  for (const StoredValue& stored : values) sortIn(client, key, stored);
  return key;
}

ParameterKey readParameterKey(Client& client, RgNode& node) {
  ParameterKey key =
      decodeParameterKey(client, std::u16string(node.GetNodePath().View()), storedValues(node));
  key.changed = lastWrite(node);
  return key;
}

std::u16string writtenName(const Client& client, const ParameterKey& key, std::int32_t& why) {
  why = 0;
  if (!key.hasOverride) return Spc::m_pVAL;
  const UnicodeString* name = client.NameForOverride(key.override);
  if (name != nullptr && !name->IsEmpty()) return std::u16string(name->View());
  constexpr std::int32_t unknownKind = 7;
  constexpr std::pair<char16_t, std::int32_t> nameMissing[] = {{u'W', 8}, {u'U', 9}, {u'P', 10}};
  why = unknownKind;
  for (const auto& [letter, code] : nameMissing) {
    if (letter == key.override) why = code;
  }
  return Spc::m_pVAL;
}

const Content* readContent(const Client& client, const ParameterKey& key) {
  std::int32_t why = 0;
  const std::u16string name = writtenName(client, key, why);
  for (const Content& content : key.overrides) {
    if (sameName(content.name, name)) return &content;
  }
  if (key.value) return &*key.value;
  return key.super ? &*key.super : nullptr;
}

std::vector<const Content*> contentsOf(const ParameterKey& key) {
  std::vector<const Content*> contents;
  if (key.value) contents.push_back(&*key.value);
  if (key.super) contents.push_back(&*key.super);
  for (const Content& content : key.overrides) contents.push_back(&content);
  return contents;
}

const Content* findContent(const ParameterKey& key, std::u16string_view name) {
  for (const Content* content : contentsOf(key)) {
    if (sameName(content->name, name)) return content;
  }
  return nullptr;
}

std::string contentLine(const Content& content, bool reveal) {
  if (!content.value) {
    return registryTypeName(content.stored.type) + ' ' + hexadecimal(content.stored.data) +
           " (not of the parameter's type)";
  }
  if (content.scrambled && !reveal) return "<scrambled>";
  return valueLine(*content.value) + (content.expandable ? " (references expanded on reading)" : "");
}

Json contentJson(const Content& content, bool reveal) {
  if (!content.value || (content.scrambled && !reveal)) return nullptr;
  return valueJson(*content.value);
}

std::string storedLine(const StoredValue& stored) {
  std::int32_t number = 0;
  if (isText(stored)) return inQuotes(storedText(stored));
  if (stored.type == REG_DWORD && numberOf(stored.data, number)) return std::to_string(number);
  return hexadecimal(stored.data);
}

Json storedJson(const StoredValue& stored) {
  std::int32_t number = 0;
  if (isText(stored)) return toUtf8(storedText(stored));
  if (stored.type == REG_DWORD && numberOf(stored.data, number)) return number;
  return hexadecimal(stored.data);
}

std::string registryTypeName(std::uint32_t type) {
  for (const RegistryType& known : registryTypes) {
    if (known.number == type) return known.name;
  }
  return "type " + std::to_string(type);
}

}  // namespace tool
