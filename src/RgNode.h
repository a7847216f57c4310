// One key of the registry as an object.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "platform/registry/registry.h"
#include "platform/support/UnicodeString.h"
#include "platform/support/api.h"

// A node is given a full path that begins with a hive name, opens or creates that key, and then reads,
// writes, enumerates and deletes the key's values and sub nodes. The key is closed by the next Init or
// by the destructor.
//
//   RgNode node;
//   UnicodeString text;
//   if (node.Init(u"HKEY_LOCAL_MACHINE\\Software\\Plant", false, false) && node.GetValue(u"name", text)) ...
//
// Every operation that returns a boolean returns true on success. On false, GetRetCode tells why: it
// holds the registry's number of the last registry call (2: key or value not found, 234: the data is
// larger than the buffer, 6: no open key or an unknown hive). Nothing throws. Unless an operation says
// otherwise, its out arguments are untouched after a failure.
//
// Names are those of the registry: case-insensitive, case-preserving. A null name is the key's default
// value.
//
// A copy works on the same open key as its source; the key closes when the last of them lets go of it.
// Node objects have no lock: one object, and a source together with its copies while they are made or
// destroyed, belong to one thread at a time.
class SPS_API RgNode {
public:
  RgNode() = default;
  RgNode(const RgNode& source);
  RgNode& operator=(const RgNode& source);
  ~RgNode();

  // Opens the key, or with create makes it and every missing level above it; a key that exists is opened
  // in either case. A new key is volatile, gone with the machine's next boot, if both booleans are true.
  // A key that the node held before is closed first, also when the call fails. A failure leaves a back
  // trace, except for a path that begins with none of the four hive names (6).
  bool Init(const char16_t* path, bool create, bool isVolatile);
  bool Init(const UnicodeString& path, bool create, bool isVolatile);
  // Takes the path over where it succeeds, and leaves it alone where it fails.
  bool Init(UnicodeString&& path, bool create, bool isVolatile);

  // Whether the last Init of this object that was to create its key really made a new one.
  bool IsNodeCreated() const { return m_disposition == REG_CREATED_NEW_KEY; }
  // The path below the hive, of the last Init.
  UnicodeString GetNodeName() const;
  // The full path, of the last Init that succeeded.
  UnicodeString GetNodePath() const { return m_nodePath; }
  // The result of the last registry call: 0 or an error number.
  std::int32_t GetRetCode() const { return m_retCode; }

  // Counts and maxima as of Init, or of the last deletion through this node: what is written later does
  // not change them. Name lengths are characters without terminator, the data length is bytes.
  std::uint32_t GetSubNodeCnt() const { return m_subNodeCnt; }
  std::uint32_t GetValCnt() const { return m_valCnt; }
  std::uint32_t GetMaxSubNodeNameLen() const { return m_maxSubNodeNameLen; }
  std::uint32_t GetMaxValNameLen() const { return m_maxValNameLen; }
  std::uint32_t GetMaxValDataLen() const { return m_maxValDataLen; }

  // Reads. None of them tests the registry type of the value, except that the two text forms expand the
  // environment references of an expandable text (type 2). If that fails the result is false and the
  // text is delivered unexpanded.

  // The text up to its first zero. A value that has grown beyond GetMaxValDataLen() + 1 bytes since the
  // node's counts were taken gives 234.
  bool GetValue(const char16_t* name, UnicodeString& value);
  // Capacity in characters, terminator included. A stored text that does not fit gives 234, as does no
  // capacity at all; an expansion that does not fit is cut. What was stored without a terminator, as a
  // letter in two bytes is, may fill the buffer: it then has none. A null buffer gives 87.
  bool GetValue(const char16_t* name, char16_t* buffer, std::uint32_t capacity);
  // A value of more than 4 bytes gives 234, one of fewer fills only those bytes of the number.
  bool GetValue(const char16_t* name, std::int32_t& value);
  // Capacity in bytes. A larger value gives 234, a smaller one fills only its bytes; a null buffer gives
  // 87.
  bool GetValue(const char16_t* name, std::uint8_t* data, std::uint32_t capacity);
  // A flag: true if the value exists, whatever it holds. A value that does not exist is a success.
  bool GetValue(const char16_t* name, bool& value);

  // Writes, which create the value or replace it.

  // Length in characters. Stored exactly as given, so the length decides whether a terminator is stored.
  bool SetValue(const char16_t* name, const char16_t* text, std::uint32_t length);
  // Stored with its terminator.
  bool SetValue(const char16_t* name, const UnicodeString& value);
  bool SetValue(const char16_t* name, std::int32_t value);
  // Count in bytes.
  bool SetValue(const char16_t* name, const std::uint8_t* data, std::uint32_t count);
  // A flag: true stores a value without data, false deletes the value; one that does not exist counts
  // as deleted.
  bool SetValue(const char16_t* name, bool value);
  // A pointer without a count would otherwise pass as a flag.
  template <class Value>
  bool SetValue(const char16_t* name, Value* value) = delete;

  // Both refresh the counts and maxima after the deletion and fail if that fails.
  bool DelValue(const char16_t* name);
  // The sub node must have no sub nodes of its own (5).
  bool DelSubNode(const char16_t* name);
  // Deletes the sub node with everything below it and sets the enumeration to its start. It ends at the
  // first node that cannot be deleted, which stays, as do those above it; GetRetCode then is not 0. A name
  // that is none of a sub node gives 87 and deletes nothing.
  void DelSubTree(const UnicodeString& name);
  // False for an empty name and for one that begins with a backslash: in a path it may lead to the key
  // itself.
  static bool IsSubNodeName(const UnicodeString& name);

  // Enumeration. One position serves sub nodes and values alike, starts at 0 in a new node and is set
  // back by the two GoFirst operations only. They give false, with a back trace and the position where
  // it was, if there is nothing to enumerate.
  bool GoFirstSubNode();
  // False with GetRetCode() 0 is the regular end. On any other failure the position stays.
  bool GetNextSubNode(UnicodeString& name);
  bool GoFirstVal();
  // The data length goes in as the buffer's bytes and comes out as the value's. Of a value of type 0, a
  // flag, the first byte of the buffer is set to 1 besides. Ends as GetNextSubNode does; where the buffer is
  // too small (234), name, type and length are delivered all the same.
  bool GetNextVal(UnicodeString& name, std::uint32_t& type, std::uint8_t* data, std::uint32_t& length);

protected:
  // The steps of Init.
  bool SetPredefinedHandle(std::u16string_view hive);
  bool CreateNode(const char16_t* name);
  bool OpenNode(const char16_t* name);
  bool GetNodeInfo();

  // What every read goes through. Size in bytes, in and out; data and size may be null, which asks for
  // the type alone.
  bool GetValue(const char16_t* name, std::uint8_t* data, std::uint32_t* size, std::uint32_t& type);
  // What every write goes through. Size in bytes.
  bool SetValue(const char16_t* name, const std::uint8_t* data, std::uint32_t size, std::uint32_t type);

  HKEY m_hHive = 0;
  HKEY m_hNode = 0;
  std::uint32_t m_enumIdx = 0;
  std::uint32_t m_subNodeCnt = 0;
  std::uint32_t m_valCnt = 0;
  std::uint32_t m_maxSubNodeNameLen = 0;
  std::uint32_t m_maxValNameLen = 0;
  std::uint32_t m_maxValDataLen = 0;
  std::uint32_t m_disposition = 0;
  UnicodeString m_nodeName;  // where the last Init failed; else it is the end of the path and not kept twice
  UnicodeString m_nodePath;
  bool m_volatile = false;
  std::int32_t m_retCode = 0;

private:
  struct SharedKey;

  bool Record(std::int32_t retCode);
  bool InitAt(std::u16string_view path, const char16_t* name, bool create, bool isVolatile);
  bool InitFailed(const char16_t* message, std::u16string_view path, std::int32_t line);
  bool GoFirst(std::uint32_t count, const char16_t* message);
  template <class Enumerate>
  bool GetNext(std::uint32_t count, std::uint32_t maxNameLen, UnicodeString& name, Enumerate enumerate);
  void DelSubNodesOf(const UnicodeString& name);
  void Release();

  static constexpr std::size_t noName = static_cast<std::size_t>(-1);
  std::size_t m_nameAt = noName;  // where the name begins in the path

  // Made by the first copy; null while this object alone holds the key.
  mutable std::shared_ptr<const SharedKey> m_shared;
};
