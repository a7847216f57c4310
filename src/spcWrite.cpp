// The SetPar family: one write, to which each form brings its value.
#include "platform/support/Trace.h"
#include "src/RgNode.h"
#include "src/spc.h"
#include "src/spcForms.h"
#include "src/spcPlacement.h"
#include "src/spcTrace.h"

namespace {

using client::letterOf;
using client::Placement;
using client::TextForm;
using client::WriteForm;
using client::WrittenNumber;

constexpr std::int32_t overrideCreated = 14;

}  // namespace

bool Spc::SetPar(const char16_t* topic, const char16_t* par, const char16_t* value, std::uint32_t /*size*/,
                 std::uint32_t* err, bool encrypt) {
  std::uint32_t scratch;
  std::uint32_t& code = client::startCode(err, scratch);
  UnicodeString text(value);
  if (!encrypt) return WritePar(topic, par, TextForm(text), code);
  // Copies: a name may be that of the property written last, which the flag replaces.
  const UnicodeString ownTopic(topic);
  const UnicodeString ownPar(par);
  if (!SetParAttrDecrypt(ownTopic, ownPar, true, &code)) return false;
  text = EncryptStr(text);
  return WritePar(ownTopic, ownPar, TextForm(text), code);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the interface is by value
bool Spc::SetPar(const char16_t* topic, const char16_t* par, UnicodeString value, std::uint32_t* err,
                 bool encrypt) {
  const char16_t* text = value;
  return SetPar(topic, par, text, static_cast<std::uint32_t>(value.GetLength()) + 1, err, encrypt);
}

bool Spc::SetPar(const char16_t* topic, const char16_t* par, std::int32_t value, std::uint32_t* err) {
  std::uint32_t scratch;
  return WritePar(topic, par, WrittenNumber(value), client::startCode(err, scratch));
}

bool Spc::SetPar(const char16_t* topic, const char16_t* par, double value, std::uint32_t* err) {
  std::uint32_t scratch;
  return WritePar(topic, par, WrittenNumber(value), client::startCode(err, scratch));
}

bool Spc::SetPar(const char16_t* topic, const char16_t* par, const std::int64_t* value, std::uint32_t* err) {
  std::uint32_t scratch;
  std::uint32_t& code = client::startCode(err, scratch);
  if (!value) return Fail(code, ERROR_INVALID_PARAMETER, par, 0);
  return WritePar(topic, par, WrittenNumber(*value), code);
}

bool Spc::SetPar(const char16_t* topic, const char16_t* par, bool value, std::uint32_t* err) {
  std::uint32_t scratch;
  return WritePar(topic, par, WrittenNumber(value), client::startCode(err, scratch));
}

bool Spc::WritePar(const char16_t* topic, const char16_t* par, const WriteForm& form, std::uint32_t& code) {
  RgNode node;
  const bool asText = form.letter == letterOf<UnicodeString>;
  switch (PlaceWrite(node, topic, par, asText, code)) {
    case Placement::Failed:
      return false;
    case Placement::Remote:
      return SetRemotePar(topic, par, form.data, form.letter, form.count, &code);
    default:
      return IsValidDataType(node, par, form.letter, code, 0) && WriteLocal(node, form, code);
  }
}

Placement Spc::OpenPar(RgNode& node, const char16_t* topic, const char16_t* par, std::uint32_t& code,
                       std::int32_t noErrMsg) {
  client::Situation now{.localAccess = m_localAccess, .connected = IsConnected()};
  UnicodeString path;
  if (m_localAccess) {
    GetParPath(path, topic, par);
    now.keyPresent = node.Init(std::move(path), false, false);
    if (!now.keyPresent && node.GetRetCode() != ERROR_FILE_NOT_FOUND) {
      // NOLINTNEXTLINE(bugprone-use-after-move): where Init fails, it leaves the path alone
      Fail(code, node.GetRetCode(), path, noErrMsg);
      return Placement::Failed;
    }
  }
  const Placement placement = client::placeRead(now);
  if (placement != Placement::Missing) return placement;
  Fail(code, 11, path, noErrMsg);
  return Placement::Failed;
}

Placement Spc::PlaceWrite(RgNode& node, const char16_t* topic, const char16_t* par, bool asText,
                          std::uint32_t& code) {
  const Placement opened = OpenPar(node, topic, par, code, 0);
  if (opened != Placement::Local || !IsConnected()) return opened;

  client::Situation now{.localAccess = true, .keyPresent = true, .connected = true};
  now.masterLocal = asText && IsMasterLocal();
  now.disableLog = IsAttrDisableLog(node, 0);
  const Placement placement = client::placeWrite(now, asText);
  if (placement == Placement::LocalAfterTrace) {
    _DbgBackTraceSet(client::traceTag, client::traceSource, __LINE__, 1);
    _DbgBackTrace(u"AttrDisableLog not set, but local override found! Topc:Par=%s:%s", topic, par);
  }
  return placement;
}

bool Spc::WriteLocal(RgNode& node, const WriteForm& form, std::uint32_t& code) {
  UnicodeString name;
  if (!WriteValue(node, form, name, code)) return false;
  KeepOutcome(node, name);
  return true;
}

bool Spc::WriteValue(RgNode& node, const WriteForm& form, UnicodeString& name, std::uint32_t& code) {
  const std::int32_t found = GetOverrideName(node, name, 0);
  if (found == 0) {
    if (!PrepareOverride(node, name, form, code)) return false;
  } else if (client::hasNoOverride(found)) {
    name = m_pVAL;
  } else {
    return Fail(code, found, node.GetNodePath(), 0);
  }
  return form.Write(node, name) || Fail(code, node.GetRetCode(), node.GetNodePath(), 0);
}

bool Spc::PrepareOverride(RgNode& node, const UnicodeString& name, const WriteForm& form,
                          std::uint32_t& code) {
  if (form.Probe(node, name)) return true;
  if (node.GetRetCode() != ERROR_FILE_NOT_FOUND) return Fail(code, node.GetRetCode(), node.GetNodePath(), 0);
  Fail(code, overrideCreated, node.GetNodePath(), 0);  // a notice; the write goes on
  return true;
}

void Spc::KeepOutcome(RgNode& node, const char16_t* written) {
  m_updPropName = written;
  m_replicate = IsAttrReplicate(node, 0);
  m_disableLog = IsAttrDisableLog(node, 0);
}
