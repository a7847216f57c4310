#include "platform/ipc/Resolve.h"

#include <string>
#include <string_view>

#include "platform/registry/registry.h"
#include "platform/support/EnvVar.h"
#include "platform/support/UnicodeString.h"
#include "platform/support/Utf.h"

namespace ipc {

namespace {

constexpr const char16_t* servicesKey = u"Software\\Velor\\IPC\\Services\\";
constexpr const char16_t* endpointValue = u"Endpoint";

std::u16string readText(HKEY key, const char16_t* name) {
  char16_t text[512] = {};
  DWORD type = REG_NONE;
  DWORD size = sizeof text - sizeof(char16_t);  // the last character stays the terminator
  if (RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(text), &size) != 0) return {};
  if (type != REG_EXPAND_SZ) return type == REG_SZ ? text : std::u16string();
  char16_t expanded[1024] = {};
  ExpandEnvironmentStringsW(text, expanded, static_cast<DWORD>(std::size(expanded)));
  return expanded;
}

std::u16string fromRegistry(const char16_t* service) {
  const std::u16string path = std::u16string(servicesKey) + service;
  HKEY key = 0;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key) != 0) return {};
  std::u16string text = readText(key, endpointValue);
  RegCloseKey(key);
  return text;
}

std::string lookUp(const char16_t* service) {
  UnicodeString variable;
  if (EnvVar(service) >> variable && !variable.IsEmpty()) return support::toUtf8(variable.View());
  const std::u16string registered = fromRegistry(service);
  return registered.empty() ? std::string(defaultEndpoint) : support::toUtf8(registered);
}

}  // namespace

std::optional<Target> resolve(const char16_t* name) {
  const std::u16string_view wanted = name != nullptr ? name : u"";
  const bool isLogical = wanted == parameterService;
  const std::string text = isLogical ? lookUp(parameterService) : support::toUtf8(wanted);
  auto endpoint = parseEndpoint(text);
  if (!endpoint && text.find('/') == std::string::npos) endpoint = parseHost(text);
  if (!endpoint) return {};
  return Target{*endpoint, isLogical};
}

}  // namespace ipc
