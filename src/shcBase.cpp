#include "src/shcBase.h"

#include "src/SpSrvClntEx.h"
#include "src/shcGuard.h"

namespace {

constexpr const char16_t* tableSource = u"src\\shcBase";

}  // namespace

const char16_t* const ShcBase::m_pDomain = u"domain";
const char16_t* const ShcBase::m_pSubDomain = u"subdomain";
const char16_t* const ShcBase::m_pDevId = u"devid";
const char16_t* const ShcBase::m_pDsc = u"description";
const char16_t* const ShcBase::m_pHost = u"hostname";
const char16_t* const ShcBase::m_pNoMacs = u"noMacs";

ShcBase::ShcBase() {
  client::guarded(tableSource, false, [this] {
    AddColumns();
    return true;
  });
}

ShcBase::ShcBase(const ShcBase&) = default;
ShcBase& ShcBase::operator=(const ShcBase&) = default;
ShcBase::~ShcBase() = default;

void ShcBase::AddColumns() {
  AddColumn(m_pDomain, DslField::Int, 0);
  AddColumn(m_pSubDomain, DslField::Int, 0);
  AddColumn(m_pDevId, DslField::Code, 0);
  AddColumn(m_pDsc, DslField::Text, 0);
  AddColumn(m_pHost, DslField::Text, 0);
  AddColumn(m_pNoMacs, DslField::Short, 0);
}

bool ShcBase::Init() {
  return Spc::Init();
}

bool ShcBase::ConnectSpService(const char16_t* server, bool localAccess) {
  return Spc::ConnectSpService(server, localAccess);
}

bool ShcBase::Refresh() {
  return client::guarded(tableSource, false, [this] {
    DeleteAllRows();
    return true;
  });
}

UnicodeString ShcBase::GetTopicPath(const char16_t* topic, bool local) {
  UnicodeString prcSpace = m_prcSpace;
  if (!local && m_pSpSrvClnt) m_pSpSrvClnt->GetPrcSpace(prcSpace, nullptr);
  return UnicodeString(m_pRootName) + u"\\" + prcSpace + u"\\" + topic;
}
