// What a parameter's key tells besides its value, and the flags that say how a text is stored.
#include <algorithm>
#include <iterator>

#include "src/RgNode.h"
#include "src/spc.h"
#include "src/spcForms.h"
#include "src/spcPlacement.h"

namespace {

constexpr std::int32_t typeMissing = 250;

bool readLetter(RgNode& node, const char16_t* name, std::uint16_t& letter) {
  return node.GetValue(name, reinterpret_cast<std::uint8_t*>(&letter), sizeof letter);
}

}  // namespace

struct Spc::OverrideKind {
  std::uint16_t letter;
  UnicodeString Spc::*field;
  std::int32_t whenEmpty;
};

const Spc::OverrideKind* Spc::OverrideKindOf(std::uint16_t letter) {
  static constexpr OverrideKind kinds[] = {
      {u'P', &Spc::m_oPrcInstance, 10}, {u'U', &Spc::m_oUser, 9}, {u'W', &Spc::m_oWorkstation, 8}};
  const auto* const kind = std::ranges::find(kinds, letter, &OverrideKind::letter);
  return kind == std::end(kinds) ? nullptr : kind;
}

const UnicodeString* Spc::OverrideNameFor(std::uint16_t letter) const {
  const OverrideKind* const kind = OverrideKindOf(letter);
  return kind && !(this->*kind->field).IsEmpty() ? &(this->*kind->field) : nullptr;
}

std::int32_t Spc::GetOverrideName(RgNode& node, UnicodeString& name, std::int32_t noErrMsg) {
  std::uint16_t letter = 0xFFFF;  // no letter, also where a stored byte fills only half of it
  if (!readLetter(node, m_pOVERRIDE, letter)) return node.GetRetCode();
  if (const UnicodeString* const field = OverrideNameFor(letter)) {
    name = *field;
    return 0;
  }
  const OverrideKind* const kind = OverrideKindOf(letter);
  const std::int32_t code = kind ? kind->whenEmpty : 7;
  SendDbgError(code, node.GetNodeName(), noErrMsg);
  return code;
}

bool Spc::IsValidDataType(RgNode& node, const char16_t* /*parName*/, std::uint16_t letter,
                          std::uint32_t& code, std::int32_t noErrMsg) {
  std::uint16_t stored = 0;
  const bool read = readLetter(node, m_pTYPE, stored);
  if (read && stored == letter) return true;

  const std::int32_t failure = read ? 16 : node.GetRetCode();
  code = static_cast<std::uint32_t>(failure);
  const UnicodeString name = node.GetNodePath() + u"\\" + m_pTYPE;
  SendDbgError(failure == ERROR_FILE_NOT_FOUND ? typeMissing : failure, name, noErrMsg);
  return false;
}

bool Spc::IsAttrOverride(RgNode& node, std::uint16_t& letter, std::int32_t noErrMsg) {
  if (readLetter(node, m_pOVERRIDE, letter)) return true;
  if (node.GetRetCode() != ERROR_FILE_NOT_FOUND) {
    SendDbgError(node.GetRetCode(), node.GetNodeName(), noErrMsg);
  }
  return false;
}

bool Spc::ReadFlag(RgNode& node, const char16_t* name, std::int32_t noErrMsg) {
  bool flag = false;
  if (node.GetValue(name, flag)) return flag;
  SendDbgError(node.GetRetCode(), node.GetNodeName(), noErrMsg);
  return false;
}

bool Spc::IsAttrDecrypt(RgNode& node, std::int32_t noErrMsg) {
  return ReadFlag(node, m_pDECRYPT, noErrMsg);
}

bool Spc::IsAttrDisableLog(RgNode& node, std::int32_t noErrMsg) {
  return ReadFlag(node, m_pDISABLELOG, noErrMsg);
}

bool Spc::IsAttrEncrypt(RgNode& node, std::int32_t noErrMsg) {
  return ReadFlag(node, m_pENCRYPT, noErrMsg);
}

bool Spc::IsAttrReadOnly(RgNode& node, std::int32_t noErrMsg) {
  return ReadFlag(node, m_pREADONLY, noErrMsg);
}

bool Spc::IsAttrReplicate(RgNode& node, std::int32_t noErrMsg) {
  return ReadFlag(node, m_pREPLICATE, noErrMsg);
}

bool Spc::SetParAttrEncrypt(const char16_t* topic, const char16_t* par, bool flag, std::uint32_t* err) {
  return WriteAttr(topic, par, m_pENCRYPT, flag, err);
}

bool Spc::SetParAttrDecrypt(const char16_t* topic, const char16_t* par, bool flag, std::uint32_t* err) {
  return WriteAttr(topic, par, m_pDECRYPT, flag, err);
}

bool Spc::WriteAttr(const char16_t* topic, const char16_t* par, const char16_t* attr, bool flag,
                    std::uint32_t* err) {
  std::uint32_t scratch;
  std::uint32_t& code = client::startCode(err, scratch);
  RgNode node;
  switch (PlaceWrite(node, topic, par, true, code)) {
    case client::Placement::Failed:
      return false;
    case client::Placement::Remote:
      return SetRemoteParAttr(topic, par, attr, &flag, client::letterNone, 0, &code);
    default:
      return WriteLocalAttr(node, attr, flag, code);
  }
}

bool Spc::WriteLocalAttr(RgNode& node, const char16_t* attr, bool flag, std::uint32_t& code) {
  if (!IsValidDataType(node, nullptr, client::letterOf<UnicodeString>, code, 0)) return false;
  if (!node.SetValue(attr, flag)) return Fail(code, node.GetRetCode(), node.GetNodePath(), 0);
  KeepOutcome(node, attr);
  return true;
}
