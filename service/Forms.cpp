#include "service/Forms.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "src/spcForms.h"

namespace service {
namespace {

using client::letterOf;

constexpr const char16_t* const* flags[] = {&Spc::m_pREADONLY, &Spc::m_pREPLICATE, &Spc::m_pDISABLELOG,
                                            &Spc::m_pENCRYPT, &Spc::m_pDECRYPT};

template <class Value>
bool fits(View value) {
  return value.size() == sizeof(Value);
}

// A text ends with the one zero character that it has.
template <>
bool fits<UnicodeString>(View value) {
  if (value.size() < 2 || value.size() % 2 != 0) return false;
  for (std::size_t at = 0; at < value.size(); at += 2) {
    if (value[at] == 0 && value[at + 1] == 0) return at + 2 == value.size();
  }
  return false;
}

bool isEmpty(View value) {
  return value.empty();
}

template <class Value>
Code readForm(Tree& tree, const ParameterName& name, std::int32_t noErrMsg, Bytes& value) {
  Value read{};
  std::uint32_t code = 0;
  if constexpr (std::same_as<Value, UnicodeString>) {
    if (!tree.GetPar(name.topic, name.par, read, &code, noErrMsg)) return static_cast<Code>(code);
    const std::size_t size = (static_cast<std::size_t>(read.GetLength()) + 1) * sizeof(char16_t);
    value.resize(size);
    std::memcpy(value.data(), static_cast<const char16_t*>(read), size);
  } else {
    if (!tree.GetPar(name.topic, name.par, &read, &code, noErrMsg)) return static_cast<Code>(code);
    value.resize(sizeof read);
    std::memcpy(value.data(), &read, sizeof read);
  }
  return accepted;
}

// The bytes are known to fit.
template <class Value>
Code writeForm(Tree& tree, Node& node, View value, UnicodeString& name) {
  if constexpr (std::same_as<Value, UnicodeString>) {
    std::u16string text(value.size() / 2 - 1, u'\0');
    std::memcpy(text.data(), value.data(), text.size() * sizeof(char16_t));
    return tree.Write(node, client::TextForm(UnicodeString(std::move(text))), name);
  } else {
    Value number{};
    std::memcpy(&number, value.data(), sizeof number);
    client::normalise(number);
    return tree.Write(node, client::WrittenNumber(number), name);
  }
}

template <class Value>
constexpr Form formFor(std::uint32_t registryType) {
  return {letterOf<Value>, registryType, fits<Value>, readForm<Value>, writeForm<Value>};
}

constexpr std::array forms = {
    formFor<bool>(REG_BINARY),         formFor<double>(REG_BINARY),
    formFor<std::int32_t>(REG_DWORD),  formFor<UnicodeString>(REG_SZ),
    formFor<std::int64_t>(REG_BINARY), Form{client::letterNone, REG_NONE, isEmpty, nullptr, nullptr}};

std::uint16_t letterByRegistryType(std::uint32_t registryType) {
  switch (registryType) {
    case REG_NONE:
      return client::letterNone;
    case REG_SZ:
    case REG_EXPAND_SZ:
    case REG_MULTI_SZ:
      return letterOf<UnicodeString>;
    case REG_DWORD:
      return letterOf<std::int32_t>;
    case REG_QWORD:
      return letterOf<std::int64_t>;
    default:
      return letterOf<bool>;
  }
}

// As the store folds names: there are two characters beyond ASCII that fold into it.
char16_t lower(char16_t c) {
  constexpr char16_t longS = 0x017F;
  constexpr char16_t kelvin = 0x212A;
  if (c == longS) return u's';
  if (c == kelvin) return u'k';
  return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c - u'A' + u'a') : c;
}

}  // namespace

const Form* findForm(std::int32_t letter) {
  const auto* const found =
      std::ranges::find_if(forms, [letter](const Form& form) { return form.letter == letter; });
  return found == forms.end() ? nullptr : &*found;
}

bool isNamed(const UnicodeString& name, const char16_t* other) {
  return std::ranges::equal(name.View(), std::u16string_view(other), {}, lower, lower);
}

Part partOf(const UnicodeString& name) {
  if (!name.View().starts_with(u'@')) return Part::Value;
  if (isNamed(name, Spc::m_pVAL) || isNamed(name, Spc::m_pSUPERVAL)) return Part::Value;
  if (isNamed(name, Spc::m_pTYPE) || isNamed(name, Spc::m_pOVERRIDE)) return Part::Letter;
  const bool isFlag =
      std::ranges::any_of(flags, [&name](const char16_t* const* flag) { return isNamed(name, *flag); });
  return isFlag ? Part::Flag : Part::Other;
}

std::uint16_t propertyLetter(std::uint16_t nodeLetter, const UnicodeString& name,
                             std::uint32_t registryType) {
  switch (partOf(name)) {
    case Part::Value:
      return nodeLetter != 0 ? nodeLetter : letterByRegistryType(registryType);
    case Part::Flag:
      return client::letterNone;
    default:
      return letterByRegistryType(registryType);
  }
}

}  // namespace service
