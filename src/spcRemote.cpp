// The seam between the parameter client and the service client.
#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "platform/support/Trace.h"
#include "src/SpSrvClntEx.h"
#include "src/spc.h"
#include "src/spcForms.h"
#include "src/spcTrace.h"
#include "src/telegrams.h"

namespace {

constexpr std::int32_t noMaster = 19;

void fillEmpty(UnicodeString& field, const UnicodeString& found) {
  if (field.IsEmpty()) field = found;
}

bool report(std::int32_t line, const char16_t* message) {
  _DbgSetLine(client::traceSource, line, u'E');
  _DbgOut(message);
  return false;
}

// The bytes of a value in a buffer of their own; none without a value.
std::unique_ptr<std::uint8_t[]> copyOf(const void* value, std::size_t count) {
  if (!value) return nullptr;
  auto data = std::make_unique<std::uint8_t[]>((count + 1) * 2);
  std::memcpy(data.get(), value, count);
  return data;
}

}  // namespace

bool Spc::ConnectSpService(const char16_t* server, bool localAccess) {
  m_pSpSrvClnt.reset();
  // Ours when it is ready: an exception on the way leaves the object without a connection.
  std::unique_ptr<SpSrvClntEx> client(new (std::nothrow) SpSrvClntEx);
  if (!client || !client->Init(server)) return false;
  fillEmpty(m_oWorkstation, client->GetCurMachine());
  fillEmpty(m_oUser, client->GetUserLogged());
  fillEmpty(m_oPrcInstance, client->GetCurApplication());
  m_localAccess = localAccess;
  m_pSpSrvClnt = std::move(client);
  return true;
}

bool Spc::IsMasterLocal() const {
  return m_pSpSrvClnt->IsSrvLocal();
}

bool Spc::GetRemotePar(const char16_t* topic, const char16_t* par, void* value, std::uint16_t letter,
                       std::uint32_t capacity, std::uint32_t* err, std::int32_t noErrMsg) {
  std::uint32_t scratch;
  std::uint32_t& code = client::startCode(err, scratch);
  if (!m_pSpSrvClnt) return Fail(code, noMaster, par, noErrMsg);
  if (m_pSpSrvClnt->GetSpSrvPar(topic, par, value, letter, capacity, m_oWorkstation, m_oUser, m_oPrcInstance,
                                &code, noErrMsg)) {
    return true;
  }
  SendDbgError(static_cast<std::int32_t>(code), par, noErrMsg);
  return false;
}

bool Spc::SetRemotePar(const char16_t* topic, const char16_t* par, const void* value, std::uint16_t letter,
                       std::uint32_t count, std::uint32_t* err) {
  std::uint32_t scratch;
  std::uint32_t& code = client::startCode(err, scratch);
  if (!m_pSpSrvClnt) return Fail(code, noMaster, par, 0);
  if (m_pSpSrvClnt->SetSpSrvPar(topic, par, value, letter, count, m_oWorkstation, m_oUser, m_oPrcInstance,
                                &code)) {
    return true;
  }
  SendDbgError(static_cast<std::int32_t>(code), par, 0);
  return false;
}

bool Spc::SetRemoteParAttr(const char16_t* topic, const char16_t* par, const char16_t* attr,
                           const void* value, std::int32_t letter, std::int32_t count, std::uint32_t* err) {
  std::uint32_t scratch;
  std::uint32_t& code = client::startCode(err, scratch);
  if (!m_pSpSrvClnt) return Fail(code, noMaster, par, 0);

  UnicodeString path;
  GetParPath(path, topic, par);
  PropertyFeatures property;
  property.propname = attr;
  property.type = letter;
  property.size = std::max(count, 0);
  property.data = copyOf(value, static_cast<std::size_t>(property.size));
  return m_pSpSrvClnt->SetProperty(path, property, true, &code);
}

bool Spc::GetMasterVersion(UnicodeString& version) {
  version.Empty();
  if (!m_pSpSrvClnt && !ConnectSpService(telegram::serviceName, true)) {
    return report(__LINE__, u"Couldn't connect to SYSPARSERVICE to get master version");
  }
  // A derived class may have connected to nothing.
  return m_pSpSrvClnt && m_pSpSrvClnt->GetMasterVersion(version);
}

bool Spc::ExportReg(UnicodeString& text, std::uint32_t* err) {
  std::uint32_t scratch;
  std::uint32_t& code = client::startCode(err, scratch);
  if (m_pSpSrvClnt) return m_pSpSrvClnt->GetSpRegExport(text, &code);
  code = noMaster;
  return false;
}

bool Spc::ImportReg(const UnicodeString& text, std::uint32_t* err) {
  std::uint32_t scratch;
  std::uint32_t& code = client::startCode(err, scratch);
  if (m_pSpSrvClnt) return m_pSpSrvClnt->SetSpRegImport(text, &code);
  code = noMaster;
  return false;
}

bool Spc::ReplicatePar(const DfsBin* source, const UnicodeString& replicator, std::uint32_t* err) {
  std::uint32_t scratch;
  std::uint32_t& code = client::startCode(err, scratch);
  if (!m_pSpSrvClnt) {
    code = noMaster;
    return false;
  }
  UnicodeString topic;
  UnicodeString par;
  if (source) {
    get(*source, telegram::key::topic, topic);
    get(*source, telegram::key::par, par);
  }
  UnicodeString path;
  GetParPath(path, topic, par);
  return m_pSpSrvClnt->ReplicateSpSrvPar(path, source, replicator, &code) ||
         report(__LINE__, u"Replication failed");
}
