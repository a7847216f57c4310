// What the tests of the service share: a daemon, a client, and a view of the daemon's store.
#pragma once

#include <gmock/gmock.h>

#include <functional>
#include <string>
#include <vector>

#include "service/Tree.h"
#include "tests/service/Daemon.h"
#include "tests/tool/Json.h"

void PrintTo(const UnicodeString& text, std::ostream* out);

inline const UnicodeString root = u"HKEY_LOCAL_MACHINE\\Software\\Velor\\SPS";
// The path of a topic, or of a parameter, in the space "Default".
UnicodeString pathOf(const UnicodeString& topic, const UnicodeString& par = {});

// A property as a client sends it.
PropertyFeatures property(const UnicodeString& name, char16_t letter, const std::vector<std::uint8_t>& bytes);
std::vector<std::uint8_t> bytesOf(const std::u16string& text);  // with its terminator
std::vector<std::uint8_t> bytesOf(std::int32_t number);

// The daemon runs; the test's own process has the same store open and looks at it directly.
class ServiceTest : public testing::Test {
protected:
  explicit ServiceTest(const Arguments& arguments = {});
  ~ServiceTest() override;

  void SetUp() override;

  // Makes a parameter in the store, "@type" and further values.
  static void Make(const UnicodeString& topic, const UnicodeString& par, char16_t letter);
  static void Put(const UnicodeString& path, const char16_t* name, const UnicodeString& text);
  static void Put(const UnicodeString& path, const char16_t* name, std::int32_t number);
  static void Letter(const UnicodeString& path, const char16_t* name, char16_t letter);
  static void Flag(const UnicodeString& path, const char16_t* name);

  // What the store holds: the text or number of a value, "(none)" and -1 where it does not exist.
  static UnicodeString TextAt(const UnicodeString& path, const char16_t* name);
  static std::int32_t NumberAt(const UnicodeString& path, const char16_t* name);
  static bool Exists(const UnicodeString& path);
  static bool Has(const UnicodeString& path, const char16_t* name);

  // The code of a telegram's refusal; 0 where the service accepts.
  std::uint32_t Write(char16_t letter, const UnicodeString& topic, const UnicodeString& par,
                      const std::vector<std::uint8_t>& bytes, const UnicodeString& workstation = {});
  std::uint32_t WriteNumber(const UnicodeString& topic, const UnicodeString& par, std::int32_t number);
  std::uint32_t WriteText(const UnicodeString& topic, const UnicodeString& par, const std::u16string& text,
                          const UnicodeString& workstation = {});

  std::vector<Json> Audit() const;
  // The same where the daemon was killed, also while it wrote: such a line is cut off and left out.
  std::vector<Json> AuditBesides(std::size_t& cutOff) const;

  const Arguments m_arguments;
  TempDirectory m_directory;
  Daemon m_daemon;
  std::unique_ptr<SpSrvClntEx> m_client;
};

// Runs a body in a process of another user and gives its result. Only root can.
int asUser(unsigned uid, const std::function<int()>& body);
