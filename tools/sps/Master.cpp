#include "tools/sps/Master.h"

#include <algorithm>

#include "platform/ipc/Errors.h"
#include "platform/registry/registry.h"
#include "tools/sps/Failure.h"
#include "tools/sps/Text.h"

namespace tool {

namespace {

// The reply to a request that was not answered to its end.
constexpr Master::Code incomplete = 0x20000000;
// More than a frame of the protocol takes.
constexpr std::size_t largestValue = 1U << 20U;

struct Meaning {
  std::int64_t code;
  const char* text;  // null: the connection's own
  const char* advice;
};

constexpr const char* grant =
    "whoever runs the master grants it: spsd --allow-read, --allow-write or --admin";
constexpr const char* otherServer =
    "start the parameter service there (spsd), or name another server with --server";
constexpr const char* otherName =
    "--server takes a host, unix:/PATH, tls://HOST:PORT, tcp://127.0.0.1:PORT or SYSPARSERVICE";
constexpr const char* certificates = "look at the files that SPS_TLS_CERT, SPS_TLS_KEY and SPS_TLS_CA name";
constexpr const char* ownCertificate = "the master's administrator tells what certificate it expects";
constexpr const char* again = "try again";
constexpr const char* later = "try again later";

constexpr Meaning meanings[] = {
    {ERROR_ACCESS_DENIED, "the service does not allow it", grant},
    {ERROR_INVALID_PARAMETER, "the service takes the request for malformed", ""},
    {183, "it exists already", ""},
    {1115, "the service is ending", later},
    {ERROR_NO_SYSTEM_RESOURCES, "the service has no room for it now", later},
    {1502, "the service cannot write its trail of changes and takes none", "make room on the master's disk"},
    {incomplete, "no complete answer came", again},
    {ipc::badName, nullptr, otherName},
    {ipc::unknownHost, nullptr, otherName},
    {ipc::notListening, nullptr, otherServer},
    {ipc::accessDenied, nullptr,
     "the socket's owner lets you connect by its permissions (spsd --socket-mode)"},
    {ipc::unreachable, nullptr, otherServer},
    {ipc::tlsFiles, nullptr, certificates},
    {ipc::untrustedCertificate, nullptr, certificates},
    {ipc::expiredCertificate, nullptr, "renew the server's certificate"},
    {ipc::wrongCertificateName, nullptr, "name the server as its certificate does"},
    {ipc::refusedCertificate, nullptr, ownCertificate},
    {ipc::tlsFailed, nullptr, certificates},
    {ipc::unknownVersion, nullptr, "use tool and service of one version"},
    {ipc::tooManyConnections, nullptr, later},
    {ipc::connectionLost, nullptr, again},
    {ipc::timedOut, nullptr, later},
    {ipc::emptyTelegram, "it is more than one request to a master takes", ""},
    {ipc::telegramTooLarge, "it is more than one request to a master takes", ""},
    {ipc::unknownService, nullptr, otherServer},
    {ipc::stopping, nullptr, later},
};

const Meaning* findMeaning(std::int64_t code) {
  for (const Meaning& meaning : meanings) {
    if (meaning.code == code) return &meaning;
  }
  return nullptr;
}

bool isConnectionCode(std::int64_t code) {
  return code > incomplete && code < ipc::serviceErrors;
}

// The library tells of a failed connection by its trace alone, in the words of the code.
std::int64_t codeOfTrace(const std::string& line) {
  for (const Meaning& meaning : meanings) {
    if (!isConnectionCode(meaning.code)) continue;
    const std::string words = toUtf8(ipc::errorText(static_cast<std::int32_t>(meaning.code)));
    if (line.find(words) != std::string::npos) return meaning.code;
  }
  return 0;
}

[[noreturn]] void refuseConnection(const std::string& server, const TraceLog& log) {
  const std::string line = log.LastOf(u"platform\\ipc", trace::Channel::Plain);
  const std::int64_t code = codeOfTrace(line);
  throw Refused{"reach the master " + inQuotes(toUtf16(server, "server")), line.empty() ? log.Reason() : line,
                code, masterAdvice(code)};
}

StoredValue storedOf(const PropertyFeatures& property) {
  StoredValue stored{
      std::u16string(property.propname.View()), static_cast<std::uint32_t>(property.regtype), {}};
  const std::uint8_t* bytes = property.data.get();
  if (bytes != nullptr) stored.data.assign(bytes, bytes + property.size);
  return stored;
}

std::size_t roomFor(const Value& value) {
  return std::holds_alternative<std::u16string>(value) ? largestValue : valueBytes(value).size();
}

// What has no code has failed in the reply: it did not come, or lacks what it should have.
Master::Code codeOf(bool done, std::uint32_t err) {
  if (done) return 0;
  return err != 0 ? err : incomplete;
}

}  // namespace

Master::Master(const std::string& server, TraceLog& log) : m_server(server) {
  const std::u16string name = toUtf16(server, "server");
  log.Clear();
  if (!m_client.Init(name.c_str())) refuseConnection(server, log);
}

Master::Code Master::Version(std::u16string& version) {
  UnicodeString text;
  const bool done = m_client.GetMasterVersion(text);
  version = text.View();
  return codeOf(done, 0);
}

Master::Code Master::Space(std::u16string& space) {
  UnicodeString text;
  std::uint32_t err = 0;
  const bool done = m_client.GetPrcSpace(text, &err);
  space = text.View();
  return codeOf(done, err);
}

Master::Code Master::Children(const std::u16string& path, std::vector<std::u16string>& names) {
  std::uint32_t err = 0;
  const SpSrvClntEx::NodeVec* nodes = m_client.GetChildNodes(UnicodeString(path), &err);
  if (nodes == nullptr) return codeOf(false, err);
  m_listed = true;
  names.clear();
  for (const auto& node : *nodes) names.emplace_back(node->nodename.View());
  return 0;
}

Master::Code Master::Values(const std::u16string& path, std::vector<StoredValue>& values) {
  std::uint32_t err = 0;
  const SpSrvClntEx::PropertyVec* properties = m_client.GetProperties(UnicodeString(path), &err);
  if (properties == nullptr) return codeOf(false, err);
  m_listed = true;
  values.clear();
  for (const auto& property : *properties) values.push_back(storedOf(*property));
  return 0;
}

Master::Code Master::Confirm() {
  std::u16string space;
  m_listed = false;
  return Space(space);
}

Master::Code Master::Read(const std::u16string& topic, const std::u16string& par, const Client& identity,
                          Value& value) {
  StoredValue stored{{}, REG_SZ, std::vector<std::uint8_t>(roomFor(value))};
  std::uint32_t err = 0;
  const bool done =
      m_client.GetSpSrvPar(topic.c_str(), par.c_str(), stored.data.data(), letterOf(value),
                           static_cast<std::uint32_t>(stored.data.size()), *identity.NameForOverride(u'W'),
                           *identity.NameForOverride(u'U'), *identity.NameForOverride(u'P'), &err, 0);
  if (done) value = *decodedValue(letterOf(value), stored);
  return codeOf(done, err);
}

Master::Code Master::Write(const std::u16string& topic, const std::u16string& par, const Client& identity,
                           const Value& value) {
  const std::vector<std::uint8_t> bytes = valueBytes(value);
  std::uint32_t err = 0;
  const bool done =
      m_client.SetSpSrvPar(topic.c_str(), par.c_str(), bytes.data(), letterOf(value),
                           static_cast<std::uint32_t>(bytes.size()), *identity.NameForOverride(u'W'),
                           *identity.NameForOverride(u'U'), *identity.NameForOverride(u'P'), &err);
  return codeOf(done, err);
}

Master::Code Master::MakeKey(const std::u16string& path, bool& existed) {
  std::int16_t exists = 0;
  std::uint32_t err = 0;
  const bool done = m_client.SetNode(UnicodeString(path), &exists, &err);
  existed = exists != 0;
  return codeOf(done, err);
}

Master::Code Master::RemoveKey(const std::u16string& parent, const std::u16string& name) {
  std::uint32_t err = 0;
  const bool done = m_client.DeleteNode(UnicodeString(parent), UnicodeString(name), &err);
  return codeOf(done, err);
}

Master::Code Master::Put(const std::u16string& path, const std::u16string& name, char16_t letter,
                         const std::vector<std::uint8_t>& bytes) {
  PropertyFeatures property;
  property.propname = UnicodeString(name);
  property.type = letter;
  property.size = static_cast<std::int32_t>(bytes.size());
  property.data = std::make_unique<std::uint8_t[]>(bytes.size());
  std::copy(bytes.begin(), bytes.end(), property.data.get());
  std::uint32_t err = 0;
  const bool done = m_client.SetProperty(UnicodeString(path), property, true, &err);
  return codeOf(done, err);
}

Master::Code Master::PutValue(const std::u16string& path, const std::u16string& name, const Value& value) {
  return Put(path, name, letterOf(value), valueBytes(value));
}

Master::Code Master::PutLetter(const std::u16string& path, const std::u16string& name, char16_t letter) {
  const std::vector<std::uint8_t> bytes = {static_cast<std::uint8_t>(letter & 0xFF),
                                           static_cast<std::uint8_t>(letter >> 8)};
  return Put(path, name, u'B', bytes);
}

Master::Code Master::PutFlag(const std::u16string& path, const std::u16string& name) {
  return Put(path, name, u'N', {});
}

Master::Code Master::RemoveValue(const std::u16string& path, const std::u16string& name) {
  std::uint32_t err = 0;
  const bool done = m_client.DeleteProperty(UnicodeString(path), UnicodeString(name), &err);
  return codeOf(done, err);
}

Master::Code Master::Export(std::u16string& text) {
  UnicodeString exported;
  std::uint32_t err = 0;
  const bool done = m_client.GetSpRegExport(exported, &err);
  m_listed = true;
  text = exported.View();
  return codeOf(done, err);
}

Master::Code Master::Import(const std::u16string& text) {
  std::uint32_t err = 0;
  const bool done = m_client.SetSpRegImport(UnicodeString(text), &err);
  return codeOf(done, err);
}

std::string masterText(std::int64_t code) {
  const Meaning* meaning = findMeaning(code);
  if (meaning != nullptr && meaning->text != nullptr) return meaning->text;
  return isConnectionCode(code) ? toUtf8(ipc::errorText(static_cast<std::int32_t>(code))) : std::string();
}

std::string masterAdvice(std::int64_t code) {
  const Meaning* meaning = findMeaning(code);
  if (meaning != nullptr) return meaning->advice;
  return isConnectionCode(code) ? again : std::string();
}

}  // namespace tool
