// How parameters of each type are kept, and the two sides of the GetPar and SetPar families.
//
//   type            letter   in the key                    read and written as
//   bool            B        type 3, 1 byte, 0 or 1        bytes
//   double          D        type 3, 8 bytes               bytes
//   std::int32_t    I        type 4, 4 bytes               number
//   UnicodeString   S        type 1, with terminator       text
//   std::int64_t    T        type 3, 8 bytes               bytes
#pragma once

#include <bit>
#include <concepts>
#include <cstdint>
#include <cstring>

#include "platform/registry/RegistryGlance.h"
#include "platform/support/UnicodeString.h"
#include "src/RgNode.h"

namespace client {

// Values are stored and sent least significant byte first, which is how they lie in memory.
static_assert(std::endian::native == std::endian::little && sizeof(bool) == 1);

template <class Value>
inline constexpr std::uint16_t letterOf = 0;
template <>
inline constexpr std::uint16_t letterOf<bool> = u'B';
template <>
inline constexpr std::uint16_t letterOf<double> = u'D';
template <>
inline constexpr std::uint16_t letterOf<std::int32_t> = u'I';
template <>
inline constexpr std::uint16_t letterOf<UnicodeString> = u'S';
template <>
inline constexpr std::uint16_t letterOf<std::int64_t> = u'T';

// The letter of an attribute telegram that carries no value.
inline constexpr std::uint16_t letterNone = u'N';

// The types that a node has a form of its own for; the others go through it as bytes.
template <class Value>
concept NodeValue = std::same_as<Value, UnicodeString> || std::same_as<Value, std::int32_t>;

// Any byte but 0 counts as true; a boolean of another byte would be none.
template <class Value>
void normalise(Value& value) {
  if constexpr (std::same_as<Value, bool>) value = reinterpret_cast<const std::uint8_t&>(value) != 0;
}

template <class Value>
bool readStored(RgNode& node, const char16_t* name, Value& value) {
  if constexpr (NodeValue<Value>) {
    return node.GetValue(name, value);
  } else {
    const bool done = node.GetValue(name, reinterpret_cast<std::uint8_t*>(&value), sizeof value);
    normalise(value);
    return done;
  }
}

template <class Value>
bool writeStored(RgNode& node, const char16_t* name, const Value& value) {
  if constexpr (NodeValue<Value>) {
    return node.SetValue(name, value);
  } else {
    return node.SetValue(name, reinterpret_cast<const std::uint8_t*>(&value), sizeof value);
  }
}

template <class Value>
bool takeStored(const RegistryGlance::Value& stored, Value& value) {
  if (stored.bytes.size() > sizeof value) return false;
  std::memcpy(&value, stored.bytes.data(), stored.bytes.size());
  normalise(value);
  return true;
}

// Where a form of GetPar puts its value, and in what it differs from the others.
class ReadForm {
public:
  struct Traits {
    std::uint16_t letter;
    std::uint32_t remoteLimit;  // bytes that it takes from the master
    bool isText = false;        // unscrambled where the parameter says so
    bool alwaysReports = false;
    bool namesParWhenMissing = false;  // in place of the key path
  };

  ReadForm(const ReadForm&) = delete;
  ReadForm& operator=(const ReadForm&) = delete;

  virtual bool IsNull() const = 0;
  virtual bool Read(RgNode& node, const char16_t* name) = 0;
  // The same of a value that lies open, where its bytes are the whole answer; else nothing, and false.
  virtual bool Take(const RegistryGlance::Value& stored) = 0;
  // The master's reply is written to the first and complete at the second.
  virtual void* OpenBuffer() = 0;
  virtual void CloseBuffer() = 0;
  // Texts only. False if the text does not fit.
  virtual UnicodeString Text() const { return {}; }
  virtual bool SetText(UnicodeString&&) { return false; }

  const Traits traits;

protected:
  explicit ReadForm(const Traits& own) : traits(own) {}
  ~ReadForm() = default;
};

// What a form of SetPar writes.
class WriteForm {
public:
  WriteForm(const WriteForm&) = delete;
  WriteForm& operator=(const WriteForm&) = delete;

  // Whether the value of that name can be read as this form's type; the node's code says why not.
  virtual bool Probe(RgNode& node, const char16_t* name) const = 0;
  virtual bool Write(RgNode& node, const char16_t* name) const = 0;

  const std::uint16_t letter;
  const void* const data;     // for the master
  const std::uint32_t count;  // bytes

protected:
  WriteForm(std::uint16_t ownLetter, const void* ownData, std::uint32_t ownCount)
      : letter(ownLetter), data(ownData), count(ownCount) {}
  ~WriteForm() = default;
};

// These refer to the value that they are made of.
class TextForm : public WriteForm {
public:
  explicit TextForm(const UnicodeString& value)
      : WriteForm(letterOf<UnicodeString>, static_cast<const char16_t*>(value),
                  (static_cast<std::uint32_t>(value.GetLength()) + 1) * sizeof(char16_t)),
        m_value(value) {}
  bool Probe(RgNode& node, const char16_t* name) const override {
    UnicodeString scratch;
    return node.GetValue(name, scratch);
  }
  bool Write(RgNode& node, const char16_t* name) const override { return node.SetValue(name, m_value); }

private:
  const UnicodeString& m_value;
};

template <class Value>
class WrittenNumber : public WriteForm {
public:
  explicit WrittenNumber(const Value& value)
      : WriteForm(letterOf<Value>, &value, sizeof value), m_value(value) {}
  bool Probe(RgNode& node, const char16_t* name) const override {
    Value scratch{};
    return readStored(node, name, scratch);
  }
  bool Write(RgNode& node, const char16_t* name) const override { return writeStored(node, name, m_value); }

private:
  const Value& m_value;
};

// What GetOverrideName says of a parameter that has no override, or one that does not apply to the object:
// its plain value counts.
inline bool hasNoOverride(std::int32_t code) {
  return code == ERROR_FILE_NOT_FOUND || (code >= 7 && code <= 10);
}

// The code that an operation delivers: the caller's, or a scratch one if the caller wants none; 0 to
// begin with.
// NOLINTNEXTLINE(readability-non-const-parameter): what comes back writes through it
inline std::uint32_t& startCode(std::uint32_t* err, std::uint32_t& scratch) {
  std::uint32_t& code = err ? *err : scratch;
  code = 0;
  return code;
}

}  // namespace client
