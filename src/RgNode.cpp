#include "src/RgNode.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "platform/registry/RegistryView.h"
#include "platform/support/Scan.h"
#include "platform/support/SecurityAttributes.h"
#include "platform/support/Trace.h"
#include "src/hives.h"

namespace {

constexpr const char16_t* nodeTag = u"SPC-RgNode";
constexpr const char16_t* nodeSource = u"src\\RgNode";

// Texts up to this many characters are read without an allocation of their own.
constexpr std::uint32_t stackCharacters = 512;

bool ExpandEnvStr(const char16_t* text, UnicodeString& expanded) {
  const DWORD needed = ExpandEnvironmentStringsW(text, nullptr, 0);
  if (needed == 0) return false;
  const DWORD room = needed + 1;
  char16_t* buffer = expanded.GetBuffer(static_cast<std::int32_t>(room));
  const DWORD made = ExpandEnvironmentStringsW(text, buffer, room);
  expanded.ReleaseBuffer(-1);
  return made != 0;
}

void copyCut(std::u16string_view text, char16_t* buffer, std::uint32_t capacity) {
  const std::size_t length = text.copy(buffer, capacity - 1);
  buffer[length] = 0;
}

std::uint8_t* asBytes(void* data) {
  return static_cast<std::uint8_t*>(data);
}
const std::uint8_t* asBytes(const void* data) {
  return static_cast<const std::uint8_t*>(data);
}

}  // namespace

// An open key that several nodes hold.
struct RgNode::SharedKey {
  explicit SharedKey(HKEY key) : handle(key) {}
  SharedKey(const SharedKey&) = delete;
  SharedKey& operator=(const SharedKey&) = delete;
  ~SharedKey() { RegCloseKey(handle); }
  HKEY handle;
};

RgNode::RgNode(const RgNode& source) {
  *this = source;
}

RgNode& RgNode::operator=(const RgNode& source) {
  if (this == &source) return *this;
  UnicodeString name = source.m_nodeName;
  UnicodeString path = source.m_nodePath;
  if (source.m_hNode != 0 && !source.m_shared) {
    source.m_shared = std::make_shared<const SharedKey>(source.m_hNode);
  }
  Release();
  m_shared = source.m_shared;
  m_hHive = source.m_hHive;
  m_hNode = source.m_hNode;
  m_enumIdx = source.m_enumIdx;
  m_subNodeCnt = source.m_subNodeCnt;
  m_valCnt = source.m_valCnt;
  m_maxSubNodeNameLen = source.m_maxSubNodeNameLen;
  m_maxValNameLen = source.m_maxValNameLen;
  m_maxValDataLen = source.m_maxValDataLen;
  m_disposition = source.m_disposition;
  m_nodeName = std::move(name);
  m_nameAt = source.m_nameAt;
  m_nodePath = std::move(path);
  m_volatile = source.m_volatile;
  m_retCode = source.m_retCode;
  return *this;
}

RgNode::~RgNode() {
  Release();
}

void RgNode::Release() {
  if (m_shared) {
    m_shared.reset();
  } else if (m_hNode != 0) {
    RegCloseKey(m_hNode);
  }
  m_hNode = 0;
}

bool RgNode::Record(std::int32_t retCode) {
  m_retCode = retCode;
  return retCode == ERROR_SUCCESS;
}

bool RgNode::Init(const char16_t* path, bool create, bool isVolatile) {
  return Init(UnicodeString(path), create, isVolatile);
}

bool RgNode::Init(const UnicodeString& path, bool create, bool isVolatile) {
  return Init(UnicodeString(path), create, isVolatile);
}

bool RgNode::Init(UnicodeString&& path, bool create, bool isVolatile) {
  Release();
  const std::size_t slash = support::indexOf(path.View(), u'\\');
  const std::size_t nameAt = slash == std::u16string_view::npos ? 0 : slash + 1;
  const char16_t* const name = static_cast<const char16_t*>(path) + nameAt;
  const std::u16string_view hive = path.View().substr(0, nameAt == 0 ? 0 : slash);
  if (!SetPredefinedHandle(hive) || !InitAt(path.View(), name, create, isVolatile)) {
    m_nodeName = path.View().substr(nameAt);
    m_nameAt = noName;
    return false;
  }
  m_nodePath = std::move(path);
  m_nameAt = nameAt;
  return true;
}

bool RgNode::InitAt(std::u16string_view path, const char16_t* name, bool create, bool isVolatile) {
  std::optional<RegistryView> view;  // one look at the store for both steps of an opening
  if (!create) view.emplace(RegistryView::Extent::Key);
  if (create) {
    m_volatile = isVolatile;
    if (!CreateNode(name)) return InitFailed(u" Creating node %s failed", path, __LINE__);
  } else if (!OpenNode(name)) {
    view.reset();  // a trace can take long, and the store keeps what is looked at
    return InitFailed(u" Open node for %s failed", path, __LINE__);
  }
  if (GetNodeInfo()) return true;
  view.reset();
  return InitFailed(u" GetNodeInfo  for %s failed", path, __LINE__);
}

UnicodeString RgNode::GetNodeName() const {
  return m_nameAt == noName ? m_nodeName : UnicodeString(m_nodePath.View().substr(m_nameAt));
}

bool RgNode::InitFailed(const char16_t* message, std::u16string_view path, std::int32_t line) {
  _DbgBackTraceSet(nodeTag, nodeSource, line, 1);
  _DbgBackTrace(message, path);
  return false;
}

bool RgNode::SetPredefinedHandle(std::u16string_view hive) {
  const HKEY found = client::hiveNamed(hive);
  if (found == 0) return Record(ERROR_INVALID_HANDLE);
  m_hHive = found;
  return true;
}

bool RgNode::CreateNode(const char16_t* name) {
  const DWORD options = m_volatile ? REG_OPTION_VOLATILE : REG_OPTION_NON_VOLATILE;
  return Record(RegCreateKeyExW(m_hHive, name, 0, nullptr, options, MAXIMUM_ALLOWED,
                                GetPSecurityAttributesAllAccess(), &m_hNode, &m_disposition));
}

bool RgNode::OpenNode(const char16_t* name) {
  return Record(RegOpenKeyExW(m_hHive, name, 0, MAXIMUM_ALLOWED, &m_hNode));
}

bool RgNode::GetNodeInfo() {
  return Record(RegQueryInfoKeyW(m_hNode, nullptr, nullptr, nullptr, &m_subNodeCnt, &m_maxSubNodeNameLen,
                                 nullptr, &m_valCnt, &m_maxValNameLen, &m_maxValDataLen, nullptr, nullptr));
}

bool RgNode::GetValue(const char16_t* name, std::uint8_t* data, std::uint32_t* size, std::uint32_t& type) {
  return Record(RegQueryValueExW(m_hNode, name, nullptr, &type, data, size));
}

bool RgNode::GetValue(const char16_t* name, UnicodeString& value) {
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): the registry fills what is read of it
  std::array<char16_t, stackCharacters> room;
  std::unique_ptr<char16_t[]> large;
  std::uint32_t size = m_maxValDataLen + 1;
  const std::uint32_t characters = size / 2 + 1;
  if (characters > stackCharacters) large = std::make_unique_for_overwrite<char16_t[]>(characters);
  char16_t* text = large ? large.get() : room.data();

  std::uint32_t type = REG_NONE;
  if (!GetValue(name, asBytes(text), &size, type)) return false;
  value = support::upToZero({text, size / 2});
  if (type != REG_EXPAND_SZ) return true;

  UnicodeString expanded;
  if (!ExpandEnvStr(value, expanded)) return false;
  value = std::move(expanded);
  return true;
}

bool RgNode::GetValue(const char16_t* name, char16_t* buffer, std::uint32_t capacity) {
  if (!buffer) return Record(ERROR_INVALID_PARAMETER);
  std::uint32_t size = std::min(capacity, 0x7FFFFFFFU) * 2;
  std::uint32_t type = REG_NONE;
  if (!GetValue(name, asBytes(buffer), &size, type)) return false;
  if (capacity == 0) return Record(ERROR_MORE_DATA);
  const std::uint32_t stored = size / 2;
  if (stored < capacity) buffer[stored] = 0;
  if (type != REG_EXPAND_SZ) return true;

  UnicodeString expanded;
  if (!ExpandEnvStr(UnicodeString(std::u16string_view(buffer, stored)), expanded)) return false;
  copyCut(expanded.View(), buffer, capacity);
  return true;
}

bool RgNode::GetValue(const char16_t* name, std::int32_t& value) {
  return GetValue(name, asBytes(&value), sizeof value);
}

bool RgNode::GetValue(const char16_t* name, std::uint8_t* data, std::uint32_t capacity) {
  if (!data) return Record(ERROR_INVALID_PARAMETER);
  std::uint32_t type = REG_NONE;
  return GetValue(name, data, &capacity, type);
}

bool RgNode::GetValue(const char16_t* name, bool& value) {
  std::uint32_t type = REG_NONE;
  const bool exists = GetValue(name, nullptr, nullptr, type);
  if (!exists && m_retCode != ERROR_FILE_NOT_FOUND) return false;
  value = exists;
  return true;
}

bool RgNode::SetValue(const char16_t* name, const std::uint8_t* data, std::uint32_t size,
                      std::uint32_t type) {
  return Record(RegSetValueExW(m_hNode, name, 0, type, data, size));
}

bool RgNode::SetValue(const char16_t* name, const char16_t* text, std::uint32_t length) {
  if (length > 0x7FFFFFFFU) return Record(ERROR_INVALID_PARAMETER);
  return SetValue(name, asBytes(text), length * 2, REG_SZ);
}

bool RgNode::SetValue(const char16_t* name, const UnicodeString& value) {
  return SetValue(name, static_cast<const char16_t*>(value),
                  static_cast<std::uint32_t>(value.GetLength()) + 1);
}

bool RgNode::SetValue(const char16_t* name, std::int32_t value) {
  return SetValue(name, asBytes(&value), sizeof value, REG_DWORD);
}

bool RgNode::SetValue(const char16_t* name, const std::uint8_t* data, std::uint32_t count) {
  return SetValue(name, data, count, REG_BINARY);
}

bool RgNode::SetValue(const char16_t* name, bool value) {
  if (value) return SetValue(name, nullptr, 0, REG_NONE);
  return DelValue(name) || m_retCode == ERROR_FILE_NOT_FOUND;
}

bool RgNode::DelValue(const char16_t* name) {
  return Record(RegDeleteValueW(m_hNode, name)) && GetNodeInfo();
}

bool RgNode::DelSubNode(const char16_t* name) {
  return Record(RegDeleteKeyW(m_hNode, name)) && GetNodeInfo();
}

bool RgNode::IsSubNodeName(const UnicodeString& name) {
  return !name.IsEmpty() && !name.View().starts_with(u'\\');
}

void RgNode::DelSubTree(const UnicodeString& name) {
  if (!IsSubNodeName(name)) {
    m_retCode = ERROR_INVALID_PARAMETER;
    return;
  }
  DelSubNodesOf(name);
  DelSubNode(name);
  GoFirstSubNode();
}

void RgNode::DelSubNodesOf(const UnicodeString& name) {
  const bool isHive = m_nodePath.View().ends_with(u'\\');
  RgNode node;
  node.Init(m_nodePath + (isHive ? u"" : u"\\") + name, false, false);
  UnicodeString subName;
  // Each deletion sets the position back to the first sub node that is left, so one that stays would
  // come again for ever. One that somebody else has deleted meanwhile (2) is no reason to end.
  while (node.GetNextSubNode(subName)) {
    node.DelSubTree(subName);
    if (node.m_retCode != ERROR_SUCCESS && node.m_retCode != ERROR_FILE_NOT_FOUND) return;
  }
}

bool RgNode::GoFirst(std::uint32_t count, const char16_t* message) {
  if (count == 0) {
    _DbgBackTraceSet(nodeTag, nodeSource, __LINE__, 2);
    _DbgBackTrace(message);
    return false;
  }
  m_enumIdx = 0;
  return true;
}

bool RgNode::GoFirstSubNode() {
  return GoFirst(m_subNodeCnt, u"Node key contains no keys");
}

bool RgNode::GoFirstVal() {
  return GoFirst(m_valCnt, u"Node key contains no values");
}

template <class Enumerate>
bool RgNode::GetNext(std::uint32_t count, std::uint32_t maxNameLen, UnicodeString& name,
                     Enumerate enumerate) {
  if (m_enumIdx >= count) {
    m_retCode = ERROR_SUCCESS;
    return false;
  }
  DWORD room = maxNameLen + 1;
  char16_t* buffer = name.GetBuffer(static_cast<std::int32_t>(room));
  const bool found = Record(enumerate(buffer, &room));
  name.ReleaseBuffer(-1);
  if (found) ++m_enumIdx;
  return found;
}

bool RgNode::GetNextSubNode(UnicodeString& name) {
  return GetNext(m_subNodeCnt, m_maxSubNodeNameLen, name, [this](char16_t* buffer, DWORD* room) {
    return RegEnumKeyExW(m_hNode, m_enumIdx, buffer, room, nullptr, nullptr, nullptr, nullptr);
  });
}

bool RgNode::GetNextVal(UnicodeString& name, std::uint32_t& type, std::uint8_t* data, std::uint32_t& length) {
  const bool hasRoom = data && length > 0;
  const bool found = GetNext(m_valCnt, m_maxValNameLen, name, [&](char16_t* buffer, DWORD* room) {
    return RegEnumValueW(m_hNode, m_enumIdx, buffer, room, nullptr, &type, data, &length);
  });
  if (found && type == REG_NONE && hasRoom) *data = 1;
  return found;
}
