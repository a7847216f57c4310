// The parameter client as the tool uses it: the library's, opened up for administration.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "src/RgNode.h"
#include "src/spc.h"
#include "tools/sps/Value.h"

namespace tool {

// Whose override values apply. Empty names select none.
struct Identity {
  std::u16string workstation;
  std::u16string user;
  std::u16string instance;
};

class Client final : public Spc {
public:
  // An empty space leaves that of the environment.
  Client(const Identity& identity, const std::u16string& space);

  std::u16string RootPath() const { return std::u16string(GetRootName().View()); }
  std::u16string SpacePath() const;
  std::u16string TopicPath(const std::u16string& topic) const;
  std::u16string ParPath(const std::u16string& topic, const std::u16string& par) const;

  // Opens the parameter's key. A missing one is reported as the parameter operations do: 11.
  bool Open(RgNode& node, const std::u16string& topic, const std::u16string& par, std::uint32_t& err);

  // The letter in "@type". False with 11 or, as a read gives it, 2 or the registry's number; reported.
  bool DeclaredType(const std::u16string& topic, const std::u16string& par, char16_t& letter,
                    std::uint32_t& err);

  // The typed read and write: the value's alternative chooses the form.
  bool Read(const std::u16string& topic, const std::u16string& par, Value& value, std::uint32_t& err,
            std::int32_t noErrMsg = 0);
  bool Write(const std::u16string& topic, const std::u16string& par, const Value& value, bool scramble,
             std::uint32_t& err);

  // The stored form of a text, for writes past Write.
  Value Scrambled(const Value& value);
  std::u16string Plain(const std::u16string& stored);

  // The name under this identity for an override letter; null for an unknown letter.
  const UnicodeString* NameForOverride(char16_t letter) const;

  // The name of the value that this identity writes, by the key's override.
  std::u16string WrittenName(RgNode& node);

  // Traces the library's message of a code.
  void Report(std::int32_t code, const std::u16string& name) { SendDbgError(code, name.c_str(), 0); }

  bool IsReadOnly(RgNode& node) { return IsAttrReadOnly(node, 0); }
  bool IsScrambled(RgNode& node) { return IsAttrDecrypt(node, 0); }
};

// The names of the sub keys, in the store's order. Refused where the listing breaks off.
std::vector<std::u16string> subKeyNames(RgNode& node);

}  // namespace tool
