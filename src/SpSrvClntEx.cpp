#include "src/SpSrvClntEx.h"

#include <algorithm>

#include "src/SpSrvClntFrame.h"
#include "src/telegrams.h"

namespace {

using telegram::add;
using telegram::get;
namespace key = telegram::key;

constexpr std::uint32_t invalidParameter = 87;  // ERROR_INVALID_PARAMETER of the registry

// How many bytes a value may have that came in this telegram and is said to have so many.
std::int32_t bounded(std::int32_t size, const DfsBin& telegram) {
  return std::clamp(size, 0, telegram.GetDataSize());
}

std::unique_ptr<std::uint8_t[]> roomFor(std::int32_t size) {
  return std::make_unique<std::uint8_t[]>(static_cast<std::size_t>(size) * 2);
}

// A field that is missing leaves the record's default.
NodeFeatures readNode(const DfsBin& reply) {
  NodeFeatures node;
  get(reply, key::nodeName, node.nodename);
  get(reply, key::subNodeCnt, node.subnodecnt);
  get(reply, key::valueCnt, node.valuecnt);
  get(reply, key::readOnly, node.readonly);
  get(reply, key::replicate, node.replicate);
  return node;
}

PropertyFeatures readProperty(const DfsBin& reply) {
  PropertyFeatures property;
  get(reply, key::propName, property.propname);
  get(reply, key::size, property.size);
  get(reply, key::regType, property.regtype);
  get(reply, key::type, property.type);
  property.size = bounded(property.size, reply);
  property.data = roomFor(property.size);
  get(reply, key::binary, property.data.get(), property.size, property.size);
  return property;
}

// A change that somebody made, as the source of a replication tells it. One that does not have the value
// whole would replace what is there by part of it.
struct Change {
  explicit Change(const DfsBin* source) {
    if (source && !source->HasOverflow()) Read(*source);
  }

  void Read(const DfsBin& source) {
    get(source, key::msId, msId);
    get(source, key::user, user);
    get(source, key::app, app);
    get(source, key::ws, ws);
    get(source, key::propName, propName);
    get(source, key::type, type);
    std::int32_t said = 0;
    get(source, key::size, said);
    const std::int32_t most = source.GetDataSize();
    data = std::make_unique<std::uint8_t[]>(static_cast<std::size_t>(most));
    isWhole = get(source, key::binary, data.get(), most, size) ? size <= std::max(said, 0) : said <= 0;
  }

  bool isWhole = false;
  std::int32_t msId = 0;
  UnicodeString user;
  UnicodeString app;
  UnicodeString ws;
  UnicodeString propName;
  std::int32_t type = 0;
  std::int32_t size = 0;  // bytes that were really there
  std::unique_ptr<std::uint8_t[]> data;
};

}  // namespace

PropertyFeatures::PropertyFeatures(const PropertyFeatures& source)
    : propname(source.propname), size(source.size), type(source.type), regtype(source.regtype) {
  if (!source.data) return;
  const auto count = static_cast<std::size_t>(std::max(size, 0));
  data = std::make_unique<std::uint8_t[]>(count);
  std::copy_n(source.data.get(), count, data.get());
}

PropertyFeatures& PropertyFeatures::operator=(const PropertyFeatures& source) {
  if (this != &source) *this = PropertyFeatures(source);
  return *this;
}

SpSrvClntEx::SpSrvClntEx() = default;

SpSrvClntEx::SpSrvClntEx(const SpSrvClntEx& source) : SpSrvClnt(source) {}

SpSrvClntEx& SpSrvClntEx::operator=(const SpSrvClntEx& source) {
  if (this == &source) return *this;
  DelNodeVec();
  DelPropertyVec();
  SpSrvClnt::operator=(source);
  return *this;
}

SpSrvClntEx::~SpSrvClntEx() {
  DelNodeVec();
  DelPropertyVec();
}

void SpSrvClntEx::DelNodeVec() {
  m_pNodeVec.reset();
}

void SpSrvClntEx::DelPropertyVec() {
  m_pPropertyVec.reset();
}

template <class Record, class Read>
const std::vector<std::unique_ptr<Record>>* SpSrvClntEx::List(
    std::unique_ptr<std::vector<std::unique_ptr<Record>>>& list, telegram::Request request,
    const UnicodeString& path, std::uint32_t* err, Read read) {
  using Records = std::vector<std::unique_ptr<Record>>;
  return Guarded([&]() -> const Records* {
    if (!Send(request, err, [&](DfsBin& out) { add(out, key::nodePath, path); })) return nullptr;
    list = std::make_unique<Records>();
    while (const DfsBin* const reply = Receive()) list->push_back(std::make_unique<Record>(read(*reply)));
    return list.get();
  });
}

const SpSrvClntEx::NodeVec* SpSrvClntEx::GetChildNodes(const UnicodeString& path, std::uint32_t* err) {
  DelNodeVec();
  return List(m_pNodeVec, telegram::Request::GetChildNodes, path, err, readNode);
}

const SpSrvClntEx::PropertyVec* SpSrvClntEx::GetProperties(const UnicodeString& path, std::uint32_t* err) {
  DelPropertyVec();
  return List(m_pPropertyVec, telegram::Request::GetProperties, path, err, readProperty);
}

bool SpSrvClntEx::SetNode(const UnicodeString& path, std::int16_t* exists, std::uint32_t* err) {
  const auto fill = [&](DfsBin& out) {
    add(out, key::nodePath, path);
    AddCaller(out);
  };
  if (!exists) return Exchange(telegram::Request::SetNode, err, fill);
  return Exchange(telegram::Request::SetNode, err, fill,
                  [&](const DfsBin& reply) { return get(reply, key::chkExist, *exists); });
}

bool SpSrvClntEx::SetProperty(const UnicodeString& path, const PropertyFeatures& property, bool replace,
                              std::uint32_t* err) {
  return Exchange(telegram::Request::SetProperty, err, [&](DfsBin& out) {
    add(out, key::nodePath, path);
    add(out, key::propName, property.propname);
    add(out, key::size, property.size);
    add(out, key::type, property.type);
    add(out, key::replace, replace ? 1 : 0);
    add(out, key::binary, property.data.get(), property.size);
    AddCaller(out);
  });
}

bool SpSrvClntEx::DeleteNode(const UnicodeString& path, const UnicodeString& name, std::uint32_t* err) {
  return Exchange(telegram::Request::DeleteNode, err, [&](DfsBin& out) {
    add(out, key::nodePath, path);
    add(out, key::nodeName, name);
    AddCaller(out);
  });
}

bool SpSrvClntEx::DeleteProperty(const UnicodeString& path, const UnicodeString& name, std::uint32_t* err) {
  return Exchange(telegram::Request::DeleteProperty, err, [&](DfsBin& out) {
    add(out, key::nodePath, path);
    add(out, key::propName, name);
    AddCaller(out);
  });
}

bool SpSrvClntEx::GetPrcSpace(UnicodeString& prcSpace, std::uint32_t* err) {
  return Exchange(
      telegram::Request::GetPrcSpace, err, [](DfsBin&) {},
      [&](const DfsBin& reply) { return get(reply, key::prcSpace, prcSpace); });
}

bool SpSrvClntEx::ReplicateSpSrvPar(const UnicodeString& path, const DfsBin* source,
                                    const UnicodeString& replicator, std::uint32_t* err) {
  return Guarded([&] {
    const Change change(source);
    if (!change.isWhole) {
      if (err) *err = invalidParameter;
      return false;
    }
    return Send(telegram::Request::ReplicateSpSrvPar, err, [&](DfsBin& out) {
      add(out, key::msId, change.msId);
      add(out, key::nodePath, path);
      add(out, key::user, change.user);
      add(out, key::ws, change.ws);
      add(out, key::app, change.app);
      add(out, key::replicator, replicator);
      add(out, key::propName, change.propName);
      add(out, key::type, change.type);
      add(out, key::size, change.size);
      add(out, key::replace, 1);
      add(out, key::binary, change.data.get(), change.size);
    });
  });
}
