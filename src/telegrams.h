// What the client and the parameter service say to each other: request numbers and the fields of telegrams,
// for both sides. docs/telegram.md has the bytes of a field.
#pragma once

#include <cstdint>

#include "platform/support/Dfs.h"

namespace telegram {

// The logical name under which the service is reached, and its number behind a server.
inline constexpr const char16_t* serviceName = u"SYSPARSERVICE";
inline constexpr std::int32_t serviceNumber = 11;

// Bytes that the client has for one request.
inline constexpr std::int32_t requestRoom = 8192;

// A registry text goes to the service in pieces of at most that many characters.
inline constexpr std::int32_t importPiece = 3500;

// Each is called after the client's operation. The replies are what the client reads.
enum class Request : std::int32_t {
  GetSpSrvPar = 0,        // one reply: binary
  SetSpSrvPar = 1,        // none
  GetChildNodes = 2,      // one for each child: nodeName, subNodeCnt, valueCnt, readOnly, replicate
  GetProperties = 3,      // one for each property: propName, size, regType, type, binary
  SetNode = 4,            // one, read only by a caller who wants it: chkExist
  DeleteNode = 5,         // none
  SetProperty = 6,        // none
  DeleteProperty = 7,     // none
  GetPrcSpace = 8,        // one: prcSpace
  ReplicateSpSrvPar = 9,  // none
  GetSpRegExport = 10,    // pieces of the text as 16-bit characters, no container
  ImportFirstPiece = 11,  // none; so for the other two
  ImportFurtherPiece = 12,
  ImportEnd = 13,
  GetMasterVersion = 14  // one: masterVersion
};

// The four types that a field can have on the wire.
enum class Wire : std::uint8_t { Str, I4, I2, Bin };

// A field's key and type: under it only a value of that type can be put or looked for.
template <Wire type>
struct Key {
  const char16_t* name;
};

namespace key {

// The parameter that is meant.
inline constexpr Key<Wire::Str> topic{u"topic"};
inline constexpr Key<Wire::Str> par{u"par"};
// Type letter as two bytes, low byte first, where a parameter is read or written; as a number where it
// belongs to a property.
inline constexpr Key<Wire::Bin> letter{u"type"};
inline constexpr Key<Wire::I4> type{u"type"};
// The names that select an override value; present also when empty.
inline constexpr Key<Wire::Str> oWorkstat{u"oWorkstat"};
inline constexpr Key<Wire::Str> oUser{u"oUser"};
inline constexpr Key<Wire::Str> oInstance{u"oInstance"};
// The code that the caller does not want traced.
inline constexpr Key<Wire::I4> noErrMsg{u"noerrmsg"};
// The value's bytes.
inline constexpr Key<Wire::Bin> binary{u"binary"};

// Who asks: user, machine and application as the client's system reports them. In a replicated change they
// are those of its origin, and the replicator is who passes it on.
inline constexpr Key<Wire::Str> user{u"user"};
inline constexpr Key<Wire::Str> ws{u"ws"};
inline constexpr Key<Wire::Str> app{u"app"};
inline constexpr Key<Wire::Str> replicator{u"replicator"};
inline constexpr Key<Wire::I4> msId{u"msid"};

// A node: its full path, root name first, or its own name.
inline constexpr Key<Wire::Str> nodePath{u"nodepath"};
inline constexpr Key<Wire::Str> nodeName{u"nodename"};
inline constexpr Key<Wire::I4> subNodeCnt{u"subnodecnt"};
inline constexpr Key<Wire::I4> valueCnt{u"valuecnt"};
inline constexpr Key<Wire::I2> readOnly{u"readonly"};
inline constexpr Key<Wire::I2> replicate{u"replicate"};
inline constexpr Key<Wire::I2> chkExist{u"chkexist"};

// A property, which is a registry value.
inline constexpr Key<Wire::Str> propName{u"propname"};
inline constexpr Key<Wire::I4> size{u"size"};        // bytes of binary; characters of a registry text
inline constexpr Key<Wire::I4> regType{u"regtype"};  // of the registry
inline constexpr Key<Wire::I2> replace{u"replace"};  // 1: replace what exists

inline constexpr Key<Wire::Str> prcSpace{u"prcSpace"};
inline constexpr Key<Wire::Str> masterVersion{u"masterversion"};
inline constexpr Key<Wire::Str> data{u"data"};  // a piece of a registry text

}  // namespace key

// Append a field; false where it does not fit, which the container remembers.
inline bool add(Dfs& to, Key<Wire::Str> key, const char16_t* value) {
  return to.AddValueStr(value, key.name);
}
inline bool add(Dfs& to, Key<Wire::I4> key, std::int32_t value) {
  return to.AddValueI4(value, key.name);
}
inline bool add(Dfs& to, Key<Wire::I2> key, std::int16_t value) {
  return to.AddValueI2(value, key.name);
}
inline bool add(Dfs& to, Key<Wire::Bin> key, const void* value, std::int64_t bytes) {
  return to.AddValueBin(value, bytes, key.name);
}
inline bool addLetter(Dfs& to, std::uint16_t letter) {
  const std::uint8_t bytes[] = {static_cast<std::uint8_t>(letter), static_cast<std::uint8_t>(letter >> 8)};
  return add(to, key::letter, bytes, sizeof bytes);
}

// Read a field; false, with the out arguments untouched, where it is absent or of another type, and for
// bytes also where there are more of them than the maximum.
inline bool get(const Dfs& from, Key<Wire::Str> key, UnicodeString& value) {
  return from.GetCurStr(key.name, value);
}
inline bool get(const Dfs& from, Key<Wire::I4> key, std::int32_t& value) {
  return from.GetCurI4(key.name, value);
}
inline bool get(const Dfs& from, Key<Wire::I2> key, std::int16_t& value) {
  return from.GetCurI2(key.name, value);
}
inline bool get(const Dfs& from, Key<Wire::Bin> key, void* value, std::int64_t maximum,
                std::int32_t& bytesRead) {
  return from.GetCurBin(key.name, value, maximum, bytesRead);
}
// False also where the field has not exactly two bytes.
inline bool getLetter(const Dfs& from, std::uint16_t& letter) {
  std::uint8_t bytes[2];
  std::int32_t count = 0;
  if (!get(from, key::letter, bytes, sizeof bytes, count) || count != sizeof bytes) return false;
  letter = static_cast<std::uint16_t>(bytes[0] | bytes[1] << 8);
  return true;
}

}  // namespace telegram
