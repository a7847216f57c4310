// The connection to the parameter service with the telegrams that walk and change the master's tree.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "SpSrvClnt.h"
#include "platform/support/UnicodeString.h"
#include "platform/support/api.h"

// A node of the master's tree, as a listing of its parent shows it.
struct NodeFeatures {
  UnicodeString nodename;
  std::int32_t subnodecnt = 0;  // child nodes
  std::int32_t valuecnt = 0;    // values
  std::int16_t readonly = 0;    // the marks of a parameter
  std::int16_t replicate = 0;
};

// A property, which is one value of a node. Copies have bytes of their own; a record that was moved from has
// none.
struct SPS_API PropertyFeatures {
  PropertyFeatures() = default;
  PropertyFeatures(const PropertyFeatures& source);
  PropertyFeatures(PropertyFeatures&& source) noexcept = default;
  PropertyFeatures& operator=(const PropertyFeatures& source);
  PropertyFeatures& operator=(PropertyFeatures&& source) noexcept = default;
  ~PropertyFeatures() = default;

  UnicodeString propname;
  std::int32_t size = 0;                 // bytes of the value; data has as many at least
  std::int32_t type = 0;                 // type letter
  std::unique_ptr<std::uint8_t[]> data;  // may be null where the size is 0
  std::int32_t regtype = 0;              // of the registry; comes with a listing, is never sent
};

// Paths of nodes are full, with the root name first, as in
// "HKEY_LOCAL_MACHINE\Software\Velor\SPS\Default\Alarms". Results and err are those of SpSrvClnt.
//
// The lists belong to the client. One that a listing returned is good until the same operation is called
// again or the client goes, so threads that share a client keep listings and their use apart.
class SPS_API SpSrvClntEx : public SpSrvClnt {
public:
  using NodeVec = std::vector<std::unique_ptr<NodeFeatures>>;
  using PropertyVec = std::vector<std::unique_ptr<PropertyFeatures>>;

  SpSrvClntEx();
  // Copies and assignments are those of SpSrvClnt; the lists are not among what is copied, and an assignment
  // releases the target's.
  SpSrvClntEx(const SpSrvClntEx& source);
  SpSrvClntEx& operator=(const SpSrvClntEx& source);
  ~SpSrvClntEx() override;

  // The children of a node, and its properties; null on failure, empty where there are none. A connection
  // that ends between two of them is not noticed: the list has those that came.
  const NodeVec* GetChildNodes(const UnicodeString& path, std::uint32_t* err);
  const PropertyVec* GetProperties(const UnicodeString& path, std::uint32_t* err);

  // Makes the node where it is missing. Where wanted (it may be null), exists says what the service found;
  // it is untouched on failure.
  bool SetNode(const UnicodeString& path, std::int16_t* exists, std::uint32_t* err);
  // Writes a property; with replace over one that exists.
  bool SetProperty(const UnicodeString& path, const PropertyFeatures& property, bool replace,
                   std::uint32_t* err);
  // Delete a child of the node by its name, or a property.
  bool DeleteNode(const UnicodeString& path, const UnicodeString& name, std::uint32_t* err);
  bool DeleteProperty(const UnicodeString& path, const UnicodeString& name, std::uint32_t* err);

  // The process space of the service.
  bool GetPrcSpace(UnicodeString& prcSpace, std::uint32_t* err);

  // Passes on a change that the source telegram tells of: who changed which property to what goes out as it
  // says, with the path and the name of who passes it on. A field that the source lacks is empty or 0. A null
  // source fails with 87, and so does one that has overflowed, whose value is longer than its "size" says, or
  // missing though there is a size. The source is the caller's alone until the return.
  bool ReplicateSpSrvPar(const UnicodeString& path, const DfsBin* source, const UnicodeString& replicator,
                         std::uint32_t* err);

private:
  template <class Record, class Read>
  const std::vector<std::unique_ptr<Record>>* List(
      std::unique_ptr<std::vector<std::unique_ptr<Record>>>& list, telegram::Request request,
      const UnicodeString& path, std::uint32_t* err, Read read);
  void DelNodeVec();
  void DelPropertyVec();

  std::unique_ptr<NodeVec> m_pNodeVec;
  std::unique_ptr<PropertyVec> m_pPropertyVec;
};
