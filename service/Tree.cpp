#include "service/Tree.h"

#include <algorithm>

#include "src/spcForms.h"

namespace service {
namespace {

char16_t upper(char16_t c) {
  return c >= u'a' && c <= u'z' ? static_cast<char16_t>(c - u'a' + u'A') : c;
}

bool sameName(std::u16string_view left, std::u16string_view right) {
  return std::ranges::equal(left, right, {}, upper, upper);
}

// Takes the first name off a path, with the backslashes behind it.
std::u16string_view takeName(std::u16string_view& path) {
  const std::u16string_view name = path.substr(0, path.find(u'\\'));
  path.remove_prefix(name.size());
  path.remove_prefix(std::min(path.find_first_not_of(u'\\'), path.size()));
  return name;
}

}  // namespace

bool Node::Has(const char16_t* name) {
  bool exists = false;
  return GetValue(name, exists) && exists;
}

std::uint16_t Node::TypeLetter() {
  std::uint16_t letter = 0;
  const bool found = GetValue(Spc::m_pTYPE, reinterpret_cast<std::uint8_t*>(&letter), sizeof letter);
  return found ? letter : std::uint16_t{0};
}

Tree::Tree(const UnicodeString& space) {
  SetPrcSpace(space);
}

// Most callers of a thread go by the same names, and the setters keep the former ones for who asks.
void Tree::Select(const OverrideNames& names) {
  if (m_oWorkstation != names.workstation) SetWorkstation(names.workstation);
  if (m_oUser != names.user) SetUser(names.user);
  if (m_oPrcInstance != names.instance) SetPrcInstance(names.instance);
}

UnicodeString Tree::PathOf(const UnicodeString& topic, const UnicodeString& par) {
  UnicodeString path;
  GetParPath(path, topic, par);
  return path;
}

std::optional<UnicodeString> Tree::Within(const UnicodeString& path) const {
  std::u16string_view rest = path.View();
  std::u16string_view root = m_root.View();
  while (!root.empty()) {
    if (!sameName(takeName(rest), takeName(root))) return std::nullopt;
  }
  UnicodeString own = m_root;
  while (!rest.empty()) {
    own += u'\\';
    own += UnicodeString(takeName(rest));
  }
  return own;
}

Code Tree::OpenParameter(Node& node, const UnicodeString& path) {
  if (node.Init(path, false, false)) return accepted;
  const Code code = node.GetRetCode() == nodeMissing ? parameterMissing : node.GetRetCode();
  Report(code, path);
  return code;
}

Code Tree::CheckType(Node& node, std::uint16_t letter) {
  std::uint32_t code = 0;
  return IsValidDataType(node, nullptr, letter, code, 0) ? accepted : static_cast<Code>(code);
}

// Code 14, a notice that the override value is new, is no refusal.
Code Tree::Write(Node& node, const client::WriteForm& form, UnicodeString& name) {
  std::uint32_t code = 0;
  return WriteValue(node, form, name, code) ? accepted : static_cast<Code>(code);
}

void Tree::Report(Code code, const UnicodeString& name) {
  SendDbgError(code, name, 0);
}

}  // namespace service
