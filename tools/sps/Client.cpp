#include "tools/sps/Client.h"

#include <type_traits>

#include "platform/registry/registry.h"
#include "tools/sps/Attributes.h"
#include "tools/sps/Failure.h"
#include "tools/sps/Text.h"

namespace tool {

Client::Client(const Identity& identity, const std::u16string& space)
    : Spc(identity.workstation.c_str(), identity.user.c_str(), identity.instance.c_str()) {
  Init();
  if (!space.empty()) SetPrcSpace(space.c_str());
}

std::u16string Client::SpacePath() const {
  return RootPath() + u'\\' + std::u16string(GetPrcSpaceName().View());
}

std::u16string Client::TopicPath(const std::u16string& topic) const {
  return SpacePath() + u'\\' + topic;
}

std::u16string Client::ParPath(const std::u16string& topic, const std::u16string& par) const {
  return TopicPath(topic) + u'\\' + par;
}

bool Client::Open(RgNode& node, const std::u16string& topic, const std::u16string& par, std::uint32_t& err) {
  constexpr std::uint32_t parameterMissing = 11;
  const std::u16string path = ParPath(topic, par);
  err = 0;
  if (node.Init(path.c_str(), false, false)) return true;
  err = static_cast<std::uint32_t>(node.GetRetCode());
  if (err == ERROR_FILE_NOT_FOUND) err = parameterMissing;
  Report(static_cast<std::int32_t>(err), path);
  return false;
}

bool Client::DeclaredType(const std::u16string& topic, const std::u16string& par, char16_t& letter,
                          std::uint32_t& err) {
  constexpr std::int32_t attributeMissing = 250;
  RgNode node;
  if (!Open(node, topic, par, err)) return false;
  const std::int32_t code = readLetter(node, m_pTYPE, letter);
  if (code == ERROR_SUCCESS) return true;
  err = static_cast<std::uint32_t>(code);
  Report(code == ERROR_FILE_NOT_FOUND ? attributeMissing : code, ParPath(topic, par) + u'\\' + m_pTYPE);
  return false;
}

bool Client::Read(const std::u16string& topic, const std::u16string& par, Value& value, std::uint32_t& err,
                  std::int32_t noErrMsg) {
  if (auto* text = std::get_if<std::u16string>(&value)) {
    UnicodeString result;
    if (!GetPar(topic.c_str(), par.c_str(), result, &err, noErrMsg)) return false;
    *text = result.View();
    return true;
  }
  return std::visit(
      [&](auto& number) {
        if constexpr (std::is_same_v<decltype(number), std::u16string&>) {
          return false;
        } else {
          return GetPar(topic.c_str(), par.c_str(), &number, &err, noErrMsg);
        }
      },
      value);
}

bool Client::Write(const std::u16string& topic, const std::u16string& par, const Value& value, bool scramble,
                   std::uint32_t& err) {
  return std::visit(
      [&](const auto& content) {
        using Type = std::decay_t<decltype(content)>;
        if constexpr (std::is_same_v<Type, std::u16string>) {
          return SetPar(topic.c_str(), par.c_str(), UnicodeString(content), &err, scramble);
        } else if constexpr (std::is_same_v<Type, std::int64_t>) {
          return SetPar(topic.c_str(), par.c_str(), &content, &err);
        } else {
          return SetPar(topic.c_str(), par.c_str(), content, &err);
        }
      },
      value);
}

Value Client::Scrambled(const Value& value) {
  const auto* text = std::get_if<std::u16string>(&value);
  if (text == nullptr) return value;
  return std::u16string(EncryptStr(UnicodeString(*text)).View());
}

std::u16string Client::Plain(const std::u16string& stored) {
  return std::u16string(DecryptStr(UnicodeString(stored)).View());
}

const UnicodeString* Client::NameForOverride(char16_t letter) const {
  switch (letter) {
    case u'P':
      return &m_oPrcInstance;
    case u'U':
      return &m_oUser;
    case u'W':
      return &m_oWorkstation;
    default:
      return nullptr;
  }
}

std::u16string Client::WrittenName(RgNode& node) {
  constexpr std::int32_t silent = 240;
  UnicodeString name;
  if (GetOverrideName(node, name, silent) != ERROR_SUCCESS) return m_pVAL;
  return std::u16string(name.View());
}

std::vector<std::u16string> subKeyNames(RgNode& node) {
  std::vector<std::u16string> names;
  UnicodeString name;
  while (node.GetNextSubNode(name)) names.emplace_back(name.View());
  if (node.GetRetCode() != ERROR_SUCCESS) {
    throw Refused{"list the keys of " + oneLine(node.GetNodePath().View()),
                  registryText(node.GetRetCode()),
                  node.GetRetCode(),
                  {}};
  }
  return names;
}

}  // namespace tool
