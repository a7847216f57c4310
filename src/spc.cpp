#include "src/spc.h"

#include <new>
#include <string>

#include "platform/support/EnvVar.h"
#include "platform/support/StrCrypt.h"
#include "platform/support/Trace.h"
#include "src/SpSrvClntEx.h"
#include "src/spcPath.h"
#include "src/spcTrace.h"

const char16_t* const Spc::m_pRootName = u"HKEY_LOCAL_MACHINE\\Software\\Velor\\SPS";
const char16_t* const Spc::m_pEnvVarName = u"PROCESS_SPACE";
const char16_t* const Spc::m_pDefPrcSpaceName = u"Default";
const char16_t* const Spc::m_pMaster = u"Master";

const char16_t* const Spc::m_pTYPE = u"@type";
const char16_t* const Spc::m_pVAL = u"@value";
const char16_t* const Spc::m_pSUPERVAL = u"@superValue";
const char16_t* const Spc::m_pOVERRIDE = u"@override";
const char16_t* const Spc::m_pREADONLY = u"@readonly";
const char16_t* const Spc::m_pREPLICATE = u"@replicate";
const char16_t* const Spc::m_pDISABLELOG = u"@disableLog";
const char16_t* const Spc::m_pENCRYPT = u"@encrypt";
const char16_t* const Spc::m_pDECRYPT = u"@decrypt";
const char16_t* const Spc::m_pUNIT = u"@unit";
const char16_t* const Spc::m_pDSC = u"@description";
const char16_t* const Spc::m_pFUNCTIONAL = u"@functional";

const char16_t* const Spc::m_pParRootDir = u"PS_ROOT_DIR";
const char16_t* const Spc::m_pParBinDir = u"PS_BIN_DIR";
const char16_t* const Spc::m_pParHlpDir = u"PS_HLP_DIR";
const char16_t* const Spc::m_pParHlpLang = u"PS_HLP_LANG";
const char16_t* const Spc::m_pParCfgDir = u"PS_CFG_DIR";
const char16_t* const Spc::m_pParConfigDir = u"PS_CONFIG_DIR";
const char16_t* const Spc::m_pParLogDir = u"PS_LOG_DIR";
const char16_t* const Spc::m_pPARSYSLOGDIR = u"PS_SYSLOG_DIR";
const char16_t* const Spc::m_pParTmpDir = u"PS_TMP_DIR";
const char16_t* const Spc::m_pParInstDir = u"PS_INSTALL_DIR";

namespace {

constexpr const char16_t* padding = u"          ";
constexpr const char16_t* trimmed = u" \t\r\n";

// Without memory for it the copy is not connected.
std::unique_ptr<SpSrvClntEx> copyOf(const std::unique_ptr<SpSrvClntEx>& source) {
  if (!source) return nullptr;
  try {
    return std::make_unique<SpSrvClntEx>(*source);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

const char16_t* exchange(UnicodeString& field, UnicodeString& previous, const char16_t* name) {
  // The new name may be the text that the last call returned.
  UnicodeString next(name);
  previous = std::move(field);
  field = std::move(next);
  return previous;
}

}  // namespace

std::uint32_t SpcGetVersion() {
  return SPS_VERSION_MAJOR << 24 | SPS_VERSION_MINOR << 16 | SPS_VERSION_BUILD;
}

Spc::Spc() : Spc(nullptr, nullptr, nullptr) {}

Spc::Spc(const char16_t* workstation, const char16_t* user, const char16_t* prcInstance)
    : m_root(m_pRootName),
      m_prcSpace(m_pDefPrcSpaceName),
      m_oWorkstation(workstation),
      m_oUser(user),
      m_oPrcInstance(prcInstance) {
  AppendLogModeWords();
}

Spc::Spc(const Spc& source) : m_pSpSrvClnt(copyOf(source.m_pSpSrvClnt)) {
  TakeSettings(source);
}

Spc& Spc::operator=(const Spc& source) {
  if (this == &source) return *this;
  m_pSpSrvClnt.reset();
  m_pSpSrvClnt = copyOf(source.m_pSpSrvClnt);
  TakeSettings(source);
  return *this;
}

Spc::~Spc() = default;

void Spc::TakeSettings(const Spc& source) {
  m_root = source.m_root;
  m_prcSpace = source.m_prcSpace;
  m_oWorkstation = source.m_oWorkstation;
  m_oUser = source.m_oUser;
  m_oPrcInstance = source.m_oPrcInstance;
  m_replicate = source.m_replicate;
  m_disableLog = source.m_disableLog;
  m_localAccess = source.m_localAccess;
}

UnicodeString Spc::EncryptStr(const UnicodeString& value) {
  UnicodeString scrambled = padding + value + padding;
  StrCrypt(scrambled.GetBuffer(scrambled.GetLength()));
  scrambled.ReleaseBuffer(-1);
  return scrambled;
}

UnicodeString Spc::DecryptStr(const UnicodeString& value) {
  UnicodeString plain = value;
  StrCrypt(plain.GetBuffer(plain.GetLength()));
  plain.ReleaseBuffer(-1);
  plain.Trim(trimmed);
  return plain;
}

bool Spc::Init() {
  EnvVar(m_pEnvVarName) >> m_prcSpace;
  if (m_prcSpace.IsEmpty() || m_prcSpace.Compare(u"0") == 0) m_prcSpace = m_pDefPrcSpaceName;
  _DbgBackTraceSet(client::traceTag, client::traceSource, __LINE__, 1);
  _DbgBackTrace(u"Process space currently valid: %s", m_prcSpace);
  return true;
}

const char16_t* Spc::SetWorkstation(const char16_t* name) {
  return exchange(m_oWorkstation, m_previousWorkstation, name);
}

const char16_t* Spc::SetUser(const char16_t* name) {
  return exchange(m_oUser, m_previousUser, name);
}

const char16_t* Spc::SetPrcInstance(const char16_t* name) {
  return exchange(m_oPrcInstance, m_previousPrcInstance, name);
}

void Spc::SetPrcSpace(const char16_t* name) {
  m_prcSpace = name;
}

bool Spc::GetParPath(UnicodeString& path, const char16_t* topic, const char16_t* par) {
  const client::ParameterPath parts(m_root.View(), m_prcSpace.View(), topic, par);
  std::u16string built(parts.Length(), u'\0');
  parts.Write(built.data());
  path = UnicodeString(std::move(built));
  return true;
}
