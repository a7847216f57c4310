// What the registry's tests share: a store of one's own, short forms of the functions, child processes.
#pragma once

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/registry/RegistryStore.h"
#include "platform/registry/RegistryTransaction.h"
#include "platform/registry/registry.h"
#include "platform/support/Trace.h"
#include "platform/support/Utf.h"

namespace regtest {

namespace fs = std::filesystem;

// TMPDIR where it is set, else memory where there is some: durable writes are then cheap.
inline fs::path scratchRoot() {
  if (std::getenv("TMPDIR") == nullptr && ::access("/dev/shm", W_OK) == 0) return "/dev/shm";
  return fs::temp_directory_path();
}

// A directory that goes at the end of the scope.
class TempDirectory {
public:
  TempDirectory() : m_path((scratchRoot() / "registry-XXXXXX").string()) {
    if (::mkdtemp(m_path.data()) == nullptr) throw fs::filesystem_error("mkdtemp", {});
  }
  ~TempDirectory() {
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
  }
  TempDirectory(const TempDirectory&) = delete;
  TempDirectory& operator=(const TempDirectory&) = delete;
  std::string operator/(const std::string& name) const { return m_path + "/" + name; }

private:
  std::string m_path;
};

// A store of one's own, in use until the end of the scope.
class TempStore {
public:
  TempStore() { use(); }
  ~TempStore() { registry::useStore(""); }
  TempStore(const TempStore&) = delete;
  TempStore& operator=(const TempStore&) = delete;

  std::string directory() const { return m_root / "store"; }
  std::string file() const { return directory() + "/data.mdb"; }
  std::string beside(const std::string& name) const { return m_root / name; }
  // Closes the store and opens it anew at the next access.
  void use() const { registry::useStore(directory()); }

private:
  TempDirectory m_root;
};

// An open key. What went wrong stands in status().
class Key {
public:
  static Key open(HKEY parent, const std::u16string& path, REGSAM rights = MAXIMUM_ALLOWED) {
    Key key;
    key.m_status = RegOpenKeyExW(parent, path.c_str(), 0, rights, &key.m_handle);
    return key;
  }
  static Key create(HKEY parent, const std::u16string& path, DWORD options = REG_OPTION_NON_VOLATILE) {
    Key key;
    key.m_status = RegCreateKeyExW(parent, path.c_str(), 0, nullptr, options, MAXIMUM_ALLOWED, nullptr,
                                   &key.m_handle, &key.m_disposition);
    return key;
  }
  Key(Key&& other) noexcept
      : m_handle(std::exchange(other.m_handle, 0)),
        m_status(other.m_status),
        m_disposition(other.m_disposition) {}
  Key& operator=(Key&& other) noexcept {
    std::swap(m_handle, other.m_handle);
    m_status = other.m_status;
    m_disposition = other.m_disposition;
    return *this;
  }
  ~Key() { close(); }

  LSTATUS close() { return m_handle != 0 ? RegCloseKey(std::exchange(m_handle, 0)) : ERROR_INVALID_HANDLE; }
  operator HKEY() const { return m_handle; }  // NOLINT(google-explicit-constructor): stands for its handle
  LSTATUS status() const { return m_status; }
  DWORD disposition() const { return m_disposition; }

private:
  Key() = default;
  HKEY m_handle = 0;
  LSTATUS m_status = 0;
  DWORD m_disposition = 0;
};

inline LSTATUS setValue(HKEY key, const std::u16string& name, const std::string& data,
                        DWORD type = REG_BINARY) {
  return RegSetValueExW(key, name.c_str(), 0, type, reinterpret_cast<const BYTE*>(data.data()),
                        static_cast<DWORD>(data.size()));
}

struct Value {
  LSTATUS status = 0;
  std::string data;
  DWORD type = 0;
  bool operator==(const Value&) const = default;
};
inline void PrintTo(const Value& value, std::ostream* out) {
  *out << "status " << value.status << ", type " << value.type << ", " << value.data.size() << " bytes \""
       << value.data.substr(0, 40) << '"';
}

inline Value getValue(HKEY key, const std::u16string& name) {
  Value value;
  DWORD size = 0;
  value.status = RegQueryValueExW(key, name.c_str(), nullptr, &value.type, nullptr, &size);
  while (value.status == 0) {
    value.data.resize(size);
    value.status = RegQueryValueExW(key, name.c_str(), nullptr, &value.type,
                                    reinterpret_cast<BYTE*>(value.data.data()), &size);
    if (value.status != ERROR_MORE_DATA) break;  // it grew meanwhile
    value.status = 0;
  }
  return value;
}

// Counts and maxima.
struct Info {
  DWORD subKeys = 0;
  DWORD maxSubKey = 0;
  DWORD values = 0;
  DWORD maxName = 0;
  DWORD maxData = 0;
  bool operator==(const Info&) const = default;
};
inline void PrintTo(const Info& info, std::ostream* out) {
  *out << info.subKeys << " sub keys of up to " << info.maxSubKey << ", " << info.values
       << " values of up to " << info.maxName << ", data of up to " << info.maxData;
}

inline Info infoOf(HKEY key) {
  Info info;
  EXPECT_EQ(RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &info.subKeys, &info.maxSubKey, nullptr,
                             &info.values, &info.maxName, &info.maxData, nullptr, nullptr),
            0);
  return info;
}

// Name and status of the sub key or value at a number.
template <class Enumerate>
std::pair<LSTATUS, std::u16string> nameAt(HKEY key, DWORD index, Enumerate enumerate) {
  std::u16string name(16384, u'\0');
  auto size = static_cast<DWORD>(name.size());
  const LSTATUS status = enumerate(key, index, name.data(), &size);
  name.resize(status == 0 ? size : 0);
  return {status, name};
}
inline std::pair<LSTATUS, std::u16string> subKeyAt(HKEY key, DWORD index) {
  return nameAt(key, index, [](HKEY k, DWORD i, char16_t* name, DWORD* size) {
    return RegEnumKeyExW(k, i, name, size, nullptr, nullptr, nullptr, nullptr);
  });
}
inline std::pair<LSTATUS, std::u16string> valueNameAt(HKEY key, DWORD index) {
  return nameAt(key, index, [](HKEY k, DWORD i, char16_t* name, DWORD* size) {
    return RegEnumValueW(k, i, name, size, nullptr, nullptr, nullptr, nullptr);
  });
}

template <class At>
std::vector<std::u16string> namesOf(HKEY key, At at) {
  std::vector<std::u16string> names;
  for (;;) {
    auto [status, name] = at(key, static_cast<DWORD>(names.size()));
    if (status != 0) {
      EXPECT_EQ(status, ERROR_NO_MORE_ITEMS);
      return names;
    }
    names.push_back(std::move(name));
  }
}
inline std::vector<std::u16string> subKeysOf(HKEY key) {
  return namesOf(key, subKeyAt);
}
inline std::vector<std::u16string> valueNamesOf(HKEY key) {
  return namesOf(key, valueNameAt);
}

// 0 and no finding, or what is wrong with the store.
inline std::string verifyFinding() {
  std::string finding;
  const LSTATUS status = registry::verifyStore(finding);
  return status == 0 ? finding : "error " + std::to_string(status) + ": " + finding;
}

// Waits for a child; how it ended, "exit 0" where all is well.
inline std::string ending(pid_t child) {
  int status = 0;
  if (::waitpid(child, &status, 0) != child) return "no such child";
  if (WIFEXITED(status)) return "exit " + std::to_string(WEXITSTATUS(status));
  return "signal " + std::to_string(WTERMSIG(status));
}

// Runs the body in a child process; its result is the exit status. A child that hangs is ended, and one
// whose parent is gone.
inline pid_t startChild(const std::function<int()>& body) {
  const pid_t child = ::fork();
  if (child != 0) return child;
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  ::alarm(100);
  int result = 99;
  try {
    result = body();
  } catch (...) {
  }
  ::_exit(result);
}
inline std::string inChild(const std::function<int()>& body) {
  return ending(startChild(body));
}

// The lines of the plain channel while it lives.
class Trace {
public:
  Trace()
      : m_sink(trace::addSink([this](const trace::Line& line) { m_text += trace::render(line) + "\n"; },
                              trace::Levels{u'I', 0})) {}
  ~Trace() { trace::removeSink(m_sink); }
  Trace(const Trace&) = delete;
  Trace& operator=(const Trace&) = delete;
  const std::string& text() const { return m_text; }

private:
  std::string m_text;
  trace::SinkId m_sink;
};

// The contract holds outside of a RegistryTransaction and inside of one. At the end of each case the
// store must be sound, and the transaction, where there is one, still whole.
class RegistryContract : public ::testing::TestWithParam<bool> {
protected:
  void SetUp() override {
    if (GetParam()) m_transaction.emplace();
    m_key = Key::create(HKEY_LOCAL_MACHINE, u"Software\\Test");
    ASSERT_EQ(m_key.status(), 0);
  }
  void TearDown() override {
    if (m_transaction) {
      EXPECT_EQ(m_transaction->Commit(), 0);
      m_transaction.reset();
    }
    EXPECT_EQ(verifyFinding(), "");
  }
  // A place that no case before has touched.
  const Key& key() const { return m_key; }

private:
  TempStore m_store;
  std::optional<RegistryTransaction> m_transaction;
  Key m_key = Key::open(0, u"");
};

}  // namespace regtest
