// The administration of the parameter tree: a walk through its levels, raw values, deletion.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <type_traits>

#include "platform/support/UnicodeString.h"
#include "platform/support/api.h"
#include "spc.h"

class RgNode;

// As in spc.h: no object is to be deleted through a pointer to its base.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// Holds one open key for each level of a tree of this machine (root, process space, topic, parameter). A
// level is opened by name, lists what lies below it, and deletes there; the parameter level reads and writes
// values as they are stored. Nothing of what Spc does with a value applies: no override, type, "@readonly",
// scrambling, and never the master.
//
//   Spa spa;
//   UnicodeString topic;
//   if (!spa.GetPrcSpaceAcc(Spc::m_pRootName, u"Default", false, false)) return spa.GetLastError();
//   while (spa.GetNextTopic(topic)) ...
//   if (spa.GetLastError() != 0) ...
//
// Results: a boolean, true on success. After false GetLastError has the reason: a code of this class,
//    1 no root level     3 no process-space level     4 no topic level     5 no parameter level
// or a registry number (2 no such key or value, 6 the level is not open or a root is no full path, 234 larger
// than the buffer, ...). It
// is not reset by a success; only the end of a list sets it to 0. Out arguments are undefined after false.
//
// Levels are independent of each other: each has a key of its own, stays on it whatever happens to the
// others, and is closed by its next opening, by its release, by a deletion that meets its name, or by the
// destructor. The names of the last openings outlast all that. A level whose last opening failed lists
// nothing and counts 0; its values and deletions fail with 6, that of a process space or topic after what the
// names lead to was emptied.
//
// Names are not checked, and a null name is an empty one. One object belongs to one thread at a time.
class SPS_API Spa : public Spc {
public:
  Spa();
  // Works on the same open keys as the source, each from the source's position in its list, and keeps them
  // when the source goes. Its Spc part is that of a new object, without overrides and connection.
  Spa(const Spa& source);
  // The same, but the Spc part stays the target's.
  Spa& operator=(const Spa& source);
  ~Spa();

  // Open a level. With create, the key and whatever is missing above it are made; those keys are volatile,
  // gone with the machine's next boot, if isVolatile says so. The long forms keep all names given; the short
  // ones work below the names kept, and fail with the code of the level above (1, 3 or 4), leaving the level
  // alone, if one of those is empty. Any other failure closes the level. No failure changes a name.
  //
  // The root is a full path that begins with a hive name, such as Spc::m_pRootName.
  bool GetRootAcc(const char16_t* root, bool create, bool isVolatile);
  bool GetPrcSpaceAcc(const char16_t* root, const char16_t* prcSpace, bool create, bool isVolatile);
  bool GetPrcSpaceAcc(const char16_t* prcSpace, bool create, bool isVolatile);
  bool GetTopicAcc(const char16_t* root, const char16_t* prcSpace, const char16_t* topic, bool create,
                   bool isVolatile);
  bool GetTopicAcc(const char16_t* topic, bool create, bool isVolatile);
  bool GetParAcc(const char16_t* root, const char16_t* prcSpace, const char16_t* topic, const char16_t* par,
                 bool create, bool isVolatile);
  bool GetParAcc(const char16_t* par, bool create, bool isVolatile);

  // Close a level, if it is open; no name changes.
  void ReleaseRootAcc();
  void ReleasePrcSpaceAcc();
  void ReleaseTopicAcc();
  void ReleaseParAcc();

  std::int32_t GetLastError() const { return m_lastError; }
  // The text of such a code; constant, in English.
  static const char16_t* GetErrString(std::uint32_t code);

  // Lists. Each level has one position, at the start when the level is opened. GoFirst sets it back to the
  // start; false from it on an open level means an empty list, and GetLastError is as before. GetNext gives
  // false with GetLastError() 0 at the end; after any other failure the same call may be repeated. What was
  // added after the opening or the last deletion there does not show.
  bool GoFirstPrcSpace();
  bool GetNextPrcSpace(UnicodeString& name);
  bool GoFirstTopic();
  bool GetNextTopic(UnicodeString& name);
  bool GoFirstParam();
  bool GetNextPar(UnicodeString& name);
  // The properties of a parameter: every value of its key with its bytes as stored. The length goes in as the
  // size of data, 1 at least, and comes out as the value's, both in bytes. A flag has length 0 and sets the
  // first byte of data to 1. What does not fit gives 234, and the next call delivers the same property.
  bool GoFirstParProp();
  bool GetNextParProp(UnicodeString& name, std::uint8_t* data, std::uint32_t& dataLen);

  // How many properties, and the bytes of the largest: as of the opening or of the last property deleted
  // through this object, whatever was written since.
  bool GetPropCnt(std::uint32_t& count);
  bool GetMaxPropData(std::uint32_t& size);

  // Values of the open parameter, by name, whatever their registry type. What is stored with fewer bytes than
  // the form reads fills only those. What has more gives 234; of texts, what has outgrown GetMaxPropData.
  // Expandable text is expanded.
  bool GetParValue(const char16_t* name, std::int32_t& value);
  bool GetParValue(const char16_t* name, double& value);
  bool GetParValue(const char16_t* name, std::int64_t& value);
  bool GetParValue(const char16_t* name, UnicodeString& value);
  bool GetParValue(const char16_t* name, bool& value);  // one byte of data
  // A letter, as "@type" and "@override" hold one.
  bool GetParAttr(const char16_t* name, std::uint16_t& value);
  bool GetParAttr(const char16_t* name, UnicodeString& value);
  // A flag: whether the value exists, whatever it holds. True also where it does not.
  bool GetParAttr(const char16_t* name, bool& value);
  bool GetParType(std::uint16_t& type);

  // Create a value or replace it: text with its terminator (registry type 1), a number of 32 bits (4), all
  // else as bytes (3). A null pointer to a number gives 87.
  bool SetParValue(const char16_t* name, const UnicodeString& value);
  bool SetParValue(const char16_t* name, std::int32_t value);
  bool SetParValue(const char16_t* name, double value);
  bool SetParValue(const char16_t* name, const std::int64_t* value);
  bool SetParValue(const char16_t* name, bool value);
  bool SetParAttr(const char16_t* name, const UnicodeString& value);
  bool SetParAttr(const char16_t* name, std::uint16_t value);
  bool SetParAttr(const char16_t* name, char16_t value);
  // A flag: true stores a value without data, false deletes the value; one that is not there counts as
  // deleted.
  bool SetParAttr(const char16_t* name, bool value);
  // Any other pointer would pass as a boolean. A literal goes in as UnicodeString(u"text").
  template <class Value>
  requires(!std::is_same_v<std::remove_const_t<Value>, std::int64_t>) bool SetParValue(const char16_t* name,
                                                                                       Value* value) = delete;
  template <class Value>
  bool SetParAttr(const char16_t* name, Value* value) = delete;
  bool SetParAttr(const char16_t* name, std::nullptr_t value) = delete;

  // Delete what has that name one level below the one named, which must be open. Nothing is asked and
  // nothing is exempt. A process space and a topic are emptied first, in a place that the names of the last
  // openings say, and every level whose name is met on the way is closed. A parameter with sub keys of its
  // own cannot be deleted (5). What went before a failure is gone, unless a RegistryTransaction around it
  // takes it back, which is much faster besides; levels that were closed stay closed, and the others are to
  // be opened anew for their lists. An empty name, or one that begins with a backslash, gives 2, except for a
  // property.
  bool DelPrcSpace(const char16_t* prcSpace);  // root level
  bool DelTopic(const char16_t* topic);        // process-space level
  bool DelParameter(const char16_t* par);      // topic level; an open parameter level stays
  bool DelParProperty(const char16_t* name);   // parameter level

protected:
  // Of the last opening that succeeded and named one.
  UnicodeString m_rootName;
  UnicodeString m_prcSpaceName;
  UnicodeString m_topicName;
  UnicodeString m_parName;
  std::unique_ptr<RgNode> m_pRootNode;  // null: the level is closed
  std::unique_ptr<RgNode> m_pPrcSpaceNode;
  std::unique_ptr<RgNode> m_pTopicNode;
  std::unique_ptr<RgNode> m_pParNode;
  std::int32_t m_lastError = 0;

private:
  enum Depth : std::uint8_t { Root, PrcSpace, Topic, Parameter };
  struct Level;
  static const Level levels[];

  bool Fail(std::int32_t code);
  RgNode* NodeOf(Depth depth);  // null with the level's code
  template <class Operation>
  bool Run(Depth depth, Operation operation);
  void CopyLevels(const Spa& source);

  bool OpenShort(Depth depth, const char16_t* name, bool create, bool isVolatile);
  bool Open(Depth depth, std::initializer_list<const char16_t*> names, bool create, bool isVolatile);
  bool HasNamesAbove(Depth depth) const;
  UnicodeString PathAbove(Depth depth) const;

  bool GoFirst(Depth depth, bool (RgNode::*goFirst)());
  bool GetNext(Depth depth, UnicodeString& name);
  bool GetCount(std::uint32_t (RgNode::*count)() const, std::uint32_t& value);
  template <class Value>
  bool Read(const char16_t* name, Value& value);
  template <class Value>
  bool Write(const char16_t* name, const Value& value);

  bool DelKey(Depth depth, const UnicodeString& name);
  bool EmptyPrcSpace(RgNode& prcSpace, UnicodeString path);
  bool EmptyTopic(RgNode& topic);
  template <class Prepare>
  bool EmptyKey(RgNode& walker, Depth below, Prepare prepare);
  void CloseIfNamed(Depth depth, const UnicodeString& name);
};

#pragma GCC diagnostic pop
