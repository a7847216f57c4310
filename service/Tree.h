// The service's own tree, as its handlers use it: the library's classes with their inner operations open.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/support/UnicodeString.h"
#include "src/RgNode.h"
#include "src/spc.h"

namespace service {

// What a client is told: 0, or why the service refuses. Codes of the parameter client and numbers of the
// registry stand in one space; these are the ones that the service gives by itself.
using Code = std::int32_t;
inline constexpr Code accepted = 0;
inline constexpr Code nodeMissing = 2;        // a node or property of the tree telegrams
inline constexpr Code accessDenied = 5;       // not allowed, or a claim against what is proved
inline constexpr Code parameterMissing = 11;  // a parameter, named by topic and name
inline constexpr Code typeUnknown = 13;       // a letter that is none
inline constexpr Code isReadOnly = 15;        // the parameter has "@readonly"
inline constexpr Code wrongType = 16;         // "@type" differs
inline constexpr Code badTelegram = 87;       // a field is missing, mistyped or makes no sense
inline constexpr Code outsideTree = 161;      // a path that does not lie below the root of the store
inline constexpr Code alreadyExists = 183;    // a property that was not to be replaced
inline constexpr Code tooLarge = 234;         // an answer or a text beyond what is sent or taken
inline constexpr Code noRoom = 1450;          // the service has no room for what it would have to keep
inline constexpr Code shuttingDown = 1115;    // the service ends and takes no more changes

// A registry key whose typed access is open to the handlers.
class Node : public RgNode {
public:
  using RgNode::GetValue;
  using RgNode::SetValue;

  // Whether the value is there, whatever it holds.
  bool Has(const char16_t* name);
  // "@type" as a letter, 0 where there is none.
  std::uint16_t TypeLetter();
};

// Whose override values a request means.
struct OverrideNames {
  UnicodeString workstation;
  UnicodeString user;
  UnicodeString instance;
};

// A client of the service's own tree. It has no connection, so every operation is local. One object
// belongs to one thread.
class Tree final : public Spc {
public:
  // The name of the process space whose parameters the requests by topic and name mean.
  explicit Tree(const UnicodeString& space);

  void Select(const OverrideNames& names);
  UnicodeString PathOf(const UnicodeString& topic, const UnicodeString& par);

  // The path as this tree spells it: the root's own name in front, single backslashes. Nothing where the
  // path does not lie in the tree. The root itself does.
  std::optional<UnicodeString> Within(const UnicodeString& path) const;

  // Opens the node of a parameter or refuses: 11 where it is missing, else the registry's number. A
  // refusal is traced.
  Code OpenParameter(Node& node, const UnicodeString& path);

  // Whether that letter is the parameter's type: 2 where it has none, 16 where it is another. A refusal is
  // traced.
  Code CheckType(Node& node, std::uint16_t letter);

  // Writes the value of a parameter of that type, the one that applies to the names selected, as SetPar does,
  // and delivers its name.
  Code Write(Node& node, const client::WriteForm& form, UnicodeString& name);

  // Traces a refusal as the library traces its own.
  void Report(Code code, const UnicodeString& name);

  using Spc::SendDbgError;
};

}  // namespace service
