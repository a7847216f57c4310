// Loading the hierarchy, and asking it.
#include "src/shc.h"

#include <array>
#include <string_view>
#include <utility>

#include "platform/registry/RegistryView.h"
#include "platform/support/CallerNames.h"
#include "platform/support/Scan.h"
#include "platform/support/Trace.h"
#include "src/RgNode.h"
#include "src/SpSrvClntEx.h"
#include "src/shcGuard.h"

namespace {

constexpr const char16_t* hierarchySource = u"src\\shc";
constexpr const char16_t* topicGlobal = u"Global";
constexpr std::int32_t notConnected = 20;
constexpr std::int32_t noTopic = 21;
constexpr char16_t fieldEnd = u';';

// Without local access as long as it lives.
class AtMasterOnly {
public:
  explicit AtMasterOnly(bool& localAccess)
      : m_localAccess(localAccess), m_before(std::exchange(localAccess, false)) {}
  AtMasterOnly(const AtMasterOnly&) = delete;
  AtMasterOnly& operator=(const AtMasterOnly&) = delete;
  ~AtMasterOnly() { m_localAccess = m_before; }

private:
  bool& m_localAccess;
  const bool m_before;
};

// The name of a domain's parameter.
UnicodeString parameterOf(std::int32_t domain) {
  UnicodeString name(u"D0000");
  if (domain != 0) name.Format(u"D%d", domain);
  return name;
}

bool holdsField(std::u16string_view text) {
  return support::indexOf(text, fieldEnd) != std::u16string_view::npos;
}

void warnOfRest(const UnicodeString& key, std::u16string_view rest) {
  _DbgSetLine(hierarchySource, __LINE__, u'W');
  _DbgOut(u"Parameter \"%s\": A rest of the domain text without semicolon is left out: \"%s\"", key, rest);
}

// A row of the record at the text's beginning, which is taken off the text field by field.
void addRecord(DslRecSet& table, const UnicodeString& key, std::u16string_view& text) {
  table.AddRow();
  table.GetColumn(0) = key.Right(4);
  for (std::int32_t column = 1; column < table.GetNumColumns(); ++column) {
    const std::size_t length = support::indexOf(text, fieldEnd);
    if (length == std::u16string_view::npos) return;
    table.GetColumn(column) = UnicodeString(text.substr(0, length));
    text.remove_prefix(length + 1);
  }
}

void addRecords(DslRecSet& table, const UnicodeString& key, std::u16string_view& text) {
  do {
    if (!text.empty() && !holdsField(text)) {
      warnOfRest(key, text);
      text = {};
      return;
    }
    addRecord(table, key, text);
  } while (!text.empty());
}

}  // namespace

const char16_t* const Shc::m_pTopicDomains = u"DOMAINS";
const char16_t* const Shc::m_pParDomain = u"DOMAIN";
const char16_t* const Shc::m_pParSubDomain = u"SUBDOMAIN";

Shc::Shc()
    : m_colDomain(GetColumn(m_pDomain)),
      m_colSubDomain(GetColumn(m_pSubDomain)),
      m_colDevId(GetColumn(m_pDevId)),
      m_colDsc(GetColumn(m_pDsc)),
      m_colHost(GetColumn(m_pHost)),
      m_colNoMacs(GetColumn(m_pNoMacs)) {}

// The columns are those of its own table.
Shc::Shc(const Shc& source)
    : ShcBase(source),
      m_localDomain(source.m_localDomain),
      m_localSubDomain(source.m_localSubDomain),
      m_colDomain(GetColumn(m_pDomain)),
      m_colSubDomain(GetColumn(m_pSubDomain)),
      m_colDevId(GetColumn(m_pDevId)),
      m_colDsc(GetColumn(m_pDsc)),
      m_colHost(GetColumn(m_pHost)),
      m_colNoMacs(GetColumn(m_pNoMacs)) {}

Shc::~Shc() = default;

bool Shc::ReadPlace() {
  if (!m_pSpSrvClnt) SendDbgError(notConnected, u"", 0);
  return GetPar(topicGlobal, m_pParDomain, &m_localDomain) &&
         GetPar(topicGlobal, m_pParSubDomain, &m_localSubDomain);
}

void Shc::SelectFirst() {
  SortBy(0, 1, -1, -1, -1);
  SelectRow(0, false);
}

bool Shc::Load() {
  return ReadPlace() && Refresh();
}

bool Shc::LoadDomain() {
  if (!ReadPlace()) return false;
  UnicodeString name = parameterOf(m_localDomain);
  UnicodeString text;
  if (!GetPar(m_pTopicDomains, name, text)) return false;
  DeleteAllRows();
  if (!AddDomainData(name, text)) return false;
  SelectFirst();
  return true;
}

bool Shc::Refresh() {
  DeleteAllRows();
  if (!RefreshFromLocalSP() && !RefreshFromRemoteSP()) return false;
  SelectFirst();
  return true;
}

bool Shc::AddDomain(const UnicodeString& name) {
  UnicodeString key = name;
  UnicodeString text;
  return !GetPar(m_pTopicDomains, key, text) || AddDomainData(key, text);
}

bool Shc::RefreshFromLocalSP() {
  if (!m_localAccess) return false;
  const RegistryView oneState;
  RgNode node;
  if (!node.Init(GetTopicPath(m_pTopicDomains, true), false, false)) return false;
  node.GoFirstSubNode();
  UnicodeString name;
  while (node.GetNextSubNode(name)) {
    if (!AddDomain(name)) return false;
  }
  return true;
}

bool Shc::RefreshFromRemoteSP() {
  if (!m_pSpSrvClnt) return false;
  const AtMasterOnly atMaster(m_localAccess);
  std::uint32_t code = 0;
  const SpSrvClntEx::NodeVec* const domains =
      m_pSpSrvClnt->GetChildNodes(GetTopicPath(m_pTopicDomains, false), &code);
  if (!domains) {
    SendDbgError(code != 0 ? static_cast<std::int32_t>(code) : noTopic, m_pTopicDomains, 0);
    return false;
  }
  for (const auto& domain : *domains) {
    if (!AddDomain(domain->nodename)) return false;
  }
  return true;
}

bool Shc::AddDomainData(UnicodeString& key, UnicodeString& data) {
  std::u16string_view rest = data.View();
  const bool isWhole = client::guarded(hierarchySource, false, [&] {
    addRecords(*this, key, rest);
    return true;
  });
  data = rest;
  return isWhole;
}

bool Shc::HasPlace() const {
  return m_localDomain != -1 && m_localSubDomain != -1;
}

bool Shc::SelectLocalRow() {
  if (GetNumRows() == 0 && !LoadDomain()) return false;
  return HasPlace() && FindI4(m_colSubDomain.GetName(), m_localSubDomain);
}

template <class Value, class Read>
Value Shc::AskLocalRow(const Value& failureValue, const Read& read) {
  return client::guarded(hierarchySource, failureValue,
                         [&] { return SelectLocalRow() ? Value(read()) : failureValue; });
}

std::int32_t Shc::GetDomain() {
  return AskLocalRow(-1, [this] { return m_localDomain; });
}

std::int32_t Shc::GetSubDomain() {
  return AskLocalRow(-1, [this] { return m_localSubDomain; });
}

UnicodeString Shc::GetDevID() {
  return AskLocalRow(UnicodeString(), [this] { return m_colDevId.Get(); });
}

UnicodeString Shc::GetDsc() {
  return AskLocalRow(UnicodeString(), [this] { return m_colDsc.Get(); });
}

UnicodeString Shc::GetHost() {
  return AskLocalRow(UnicodeString(), [this] { return m_colHost.Get(); });
}

std::int16_t Shc::GetNoMacs() {
  return AskLocalRow(std::int16_t{-1}, [this] { return m_colNoMacs.GetShort(); });
}

std::int32_t Shc::GetLocalHierarchyLevel() {
  return AskLocalRow(-1, [this] { return GetHierarchyLevel(); });
}

std::int32_t Shc::GetHierarchyLevel() {
  if (GetNumRows() == 0 || !HasPlace() || GetSelectedRow() == -1) return -1;
  const std::int32_t domain = m_colDomain.GetInt();
  if (domain == 0) return 0;
  return m_colSubDomain.GetInt() == domain ? 1 : 2;
}

bool Shc::GetParentHost(UnicodeString& host) {
  if (GetNumRows() == 0 || !HasPlace() || GetSelectedRow() == -1) return false;
  try {
    return FindParentHost(host);
  } catch (const ExcBase& failure) {
    client::traceException(failure, hierarchySource);
    host.Empty();
    return false;
  }
}

bool Shc::FindParentHost(UnicodeString& host) {
  const std::int32_t row = GetSelectedRow();
  const std::int32_t level = GetHierarchyLevel();
  if (level < 1 || level > 2) {
    host.Empty();
    return level == 0;
  }
  const std::int32_t parent = level == 1 ? 0 : m_colDomain.GetInt();
  const bool isFound = FindI4(m_colSubDomain.GetName(), parent);
  if (isFound) host = m_colHost.Get();
  SelectRow(row, false);
  return isFound;
}

UnicodeString Shc::GetComputerNameW() const {
  std::array<char16_t, 101> name{};
  auto capacity = static_cast<std::uint32_t>(name.size());
  return ::GetComputerNameW(name.data(), &capacity) ? name.data() : u"localhost";
}
