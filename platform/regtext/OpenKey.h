// A registry key as long as its scope lasts.
#pragma once

#include <string>
#include <utility>

#include "platform/registry/registry.h"

namespace regtext {

class OpenKey {
public:
  OpenKey() = default;
  // Opens the key at the path below another one; an empty path opens that one. Status tells the outcome.
  OpenKey(HKEY parent, const std::u16string& path)
      : m_status(RegOpenKeyExW(parent, path.c_str(), 0, MAXIMUM_ALLOWED, &m_key)) {}
  // Takes over an open key, whose making ended with that status.
  OpenKey(HKEY key, LSTATUS status) : m_key(key), m_status(status) {}
  OpenKey(OpenKey&& other) noexcept : m_key(std::exchange(other.m_key, 0)), m_status(other.m_status) {}
  OpenKey& operator=(OpenKey&& other) noexcept {
    std::swap(m_key, other.m_key);
    std::swap(m_status, other.m_status);
    return *this;
  }
  OpenKey(const OpenKey&) = delete;
  OpenKey& operator=(const OpenKey&) = delete;
  ~OpenKey() {
    if (m_key != 0) RegCloseKey(m_key);
  }

  HKEY Get() const { return m_key; }
  LSTATUS Status() const { return m_status; }

private:
  HKEY m_key = 0;
  LSTATUS m_status = ERROR_INVALID_HANDLE;
};

}  // namespace regtext
