#include "tests/service/ServiceTest.h"

#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>

#include "platform/registry/RegistryStore.h"
#include "platform/support/Utf.h"

namespace {

service::Node open(const UnicodeString& path, bool create) {
  service::Node node;
  EXPECT_TRUE(node.Init(path, create, false)) << support::toUtf8(path.View());
  return node;
}

}  // namespace

void PrintTo(const UnicodeString& text, std::ostream* out) {
  *out << '"' << support::toUtf8(text.View()) << '"';
}

UnicodeString pathOf(const UnicodeString& topic, const UnicodeString& par) {
  UnicodeString path = root + u"\\Default\\" + topic;
  return par.IsEmpty() ? path : path + u"\\" + par;
}

PropertyFeatures property(const UnicodeString& name, char16_t letter,
                          const std::vector<std::uint8_t>& bytes) {
  PropertyFeatures features;
  features.propname = name;
  features.type = letter;
  features.size = static_cast<std::int32_t>(bytes.size());
  features.data = std::make_unique<std::uint8_t[]>(bytes.size());
  std::copy(bytes.begin(), bytes.end(), features.data.get());
  return features;
}

std::vector<std::uint8_t> bytesOf(const std::u16string& text) {
  std::vector<std::uint8_t> bytes((text.size() + 1) * sizeof(char16_t));
  std::memcpy(bytes.data(), text.c_str(), bytes.size());
  return bytes;
}

std::vector<std::uint8_t> bytesOf(std::int32_t number) {
  std::vector<std::uint8_t> bytes(sizeof number);
  std::memcpy(bytes.data(), &number, sizeof number);
  return bytes;
}

ServiceTest::ServiceTest(const Arguments& arguments) : m_arguments(arguments), m_daemon(m_directory) {
  registry::useStore(m_daemon.Store());
}

ServiceTest::~ServiceTest() {
  m_client.reset();
  registry::useStore("");
}

void ServiceTest::SetUp() {
  ASSERT_TRUE(m_daemon.Start(m_arguments)) << m_daemon.Errors();
  m_client = m_daemon.Connect();
}

void ServiceTest::Make(const UnicodeString& topic, const UnicodeString& par, char16_t letter) {
  open(pathOf(topic, par), true);
  Letter(pathOf(topic, par), u"@type", letter);
}

void ServiceTest::Put(const UnicodeString& path, const char16_t* name, const UnicodeString& text) {
  EXPECT_TRUE(open(path, true).SetValue(name, text));
}

void ServiceTest::Put(const UnicodeString& path, const char16_t* name, std::int32_t number) {
  EXPECT_TRUE(open(path, true).SetValue(name, number));
}

void ServiceTest::Letter(const UnicodeString& path, const char16_t* name, char16_t letter) {
  EXPECT_TRUE(open(path, true).SetValue(name, reinterpret_cast<const std::uint8_t*>(&letter), 2U));
}

void ServiceTest::Flag(const UnicodeString& path, const char16_t* name) {
  EXPECT_TRUE(open(path, true).SetValue(name, true));
}

UnicodeString ServiceTest::TextAt(const UnicodeString& path, const char16_t* name) {
  UnicodeString text = u"(none)";
  service::Node node;
  if (node.Init(path, false, false)) node.GetValue(name, text);
  return text;
}

std::int32_t ServiceTest::NumberAt(const UnicodeString& path, const char16_t* name) {
  std::int32_t number = -1;
  service::Node node;
  if (node.Init(path, false, false)) node.GetValue(name, number);
  return number;
}

bool ServiceTest::Exists(const UnicodeString& path) {
  service::Node node;
  return node.Init(path, false, false);
}

bool ServiceTest::Has(const UnicodeString& path, const char16_t* name) {
  service::Node node;
  return node.Init(path, false, false) && node.Has(name);
}

std::uint32_t ServiceTest::Write(char16_t letter, const UnicodeString& topic, const UnicodeString& par,
                                 const std::vector<std::uint8_t>& bytes, const UnicodeString& workstation) {
  std::uint32_t code = 0;
  const bool done =
      m_client->SetSpSrvPar(topic, par, bytes.data(), letter, static_cast<std::uint32_t>(bytes.size()),
                            workstation, u"", u"", &code);
  EXPECT_EQ(done, code == 0);
  return code;
}

std::uint32_t ServiceTest::WriteNumber(const UnicodeString& topic, const UnicodeString& par,
                                       std::int32_t number) {
  return Write(u'I', topic, par, bytesOf(number));
}

std::uint32_t ServiceTest::WriteText(const UnicodeString& topic, const UnicodeString& par,
                                     const std::u16string& text, const UnicodeString& workstation) {
  return Write(u'S', topic, par, bytesOf(text), workstation);
}

std::vector<Json> ServiceTest::Audit() const {
  std::vector<Json> entries;
  for (const std::string& line : linesOf(m_daemon.AuditFile())) entries.push_back(Json::Parse(line));
  return entries;
}

std::vector<Json> ServiceTest::AuditBesides(std::size_t& cutOff) const {
  std::vector<Json> entries;
  for (const std::string& line : linesOf(m_daemon.AuditFile())) {
    try {
      entries.push_back(Json::Parse(line));
    } catch (const std::exception&) {
      ++cutOff;
    }
  }
  return entries;
}

int asUser(unsigned uid, const std::function<int()>& body) {
  const pid_t child = ::fork();
  if (child == 0) {
    if (::setgroups(0, nullptr) != 0 || ::setgid(uid) != 0 || ::setuid(uid) != 0) ::_exit(99);
    ::_exit(body());
  }
  int status = 0;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
