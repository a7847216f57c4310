// What the registry's tests share: short forms of the functions, threads, child processes.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/registry/RegistryTransaction.h"
#include "platform/registry/registry.h"
#include "platform/support/Utf.h"
#include "tests/TempStore.h"
#include "tests/support/Capture.h"

namespace regtest {

namespace fs = std::filesystem;
using Names = std::vector<std::u16string>;

// A number from the environment.
inline unsigned setting(const char* name, unsigned otherwise) {
  const char* const value = std::getenv(name);
  return value != nullptr ? static_cast<unsigned>(std::strtoul(value, nullptr, 10)) : otherwise;
}

inline std::u16string digits(int number) {
  return support::toUtf16(std::to_string(number));
}

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

inline LSTATUS queryInfo(HKEY key, Info& info, std::uint64_t* lastWrite = nullptr) {
  FILETIME time{};
  const LSTATUS status =
      RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &info.subKeys, &info.maxSubKey, nullptr, &info.values,
                       &info.maxName, &info.maxData, nullptr, lastWrite != nullptr ? &time : nullptr);
  if (lastWrite != nullptr) *lastWrite = std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
  return status;
}
inline Info infoOf(HKEY key) {
  Info info;
  EXPECT_EQ(queryInfo(key, info), 0);
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
Names namesOf(HKEY key, At at) {
  Names names;
  for (;;) {
    auto [status, name] = at(key, static_cast<DWORD>(names.size()));
    if (status != 0) {
      EXPECT_EQ(status, ERROR_NO_MORE_ITEMS);
      return names;
    }
    names.push_back(std::move(name));
  }
}
inline Names subKeysOf(HKEY key) {
  return namesOf(key, subKeyAt);
}
inline Names valueNamesOf(HKEY key) {
  return namesOf(key, valueNameAt);
}

// 0 and no finding, or what is wrong with the store.
inline std::string verifyFinding() {
  std::string finding;
  const LSTATUS status = registry::verifyStore(finding);
  return status == 0 ? finding : "error " + std::to_string(status) + ": " + finding;
}

// Runs the body in as many threads, each with a number of its own, until all have ended.
inline void inThreads(int count, const std::function<void(int)>& body) {
  std::vector<std::thread> threads;
  for (int number = 0; number < count; ++number) threads.emplace_back(body, number);
  for (std::thread& thread : threads) thread.join();
}
inline void inThread(const std::function<void()>& body) {
  std::thread(body).join();
}

// One byte at a time between processes.
class Pipe {
public:
  Pipe() {
    if (::pipe2(m_ends.data(), O_CLOEXEC) != 0) throw fs::filesystem_error("pipe", {});
  }
  ~Pipe() {
    for (const int end : m_ends) ::close(end);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  void give(char byte = '.') const { EXPECT_EQ(::write(m_ends[1], &byte, 1), 1); }
  char take() const {
    char byte = 0;
    return ::read(m_ends[0], &byte, 1) == 1 ? byte : '\0';
  }

private:
  std::array<int, 2> m_ends{};
};

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
