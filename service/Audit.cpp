#include "service/Audit.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstring>
#include <ctime>

#include "platform/support/Trace.h"
#include "service/Json.h"
#include "src/spcForms.h"

namespace service {
namespace {

constexpr std::size_t shownBytes = 512;         // of a value
constexpr std::size_t mostWaiting = 4U << 20U;  // bytes
// Characters of a path and of any other text: who may change nothing shall not fill the disk either.
constexpr std::size_t longestPath = 4096;
constexpr std::size_t longestText = 512;

// A time in letters. Many lines have the second in common, which costs more than all else of it.
class TimeText {
public:
  std::string_view At(std::chrono::system_clock::time_point time) {
    const auto milli = std::chrono::time_point_cast<std::chrono::milliseconds>(time).time_since_epoch();
    const auto second = std::chrono::floor<std::chrono::seconds>(milli);
    if (m_second != second.count()) Set(second.count());
    auto rest = static_cast<unsigned>((milli - second).count());
    for (std::size_t at = m_text.size() - 2; at > m_text.size() - 5; --at, rest /= 10) {
      m_text[at] = static_cast<char>('0' + rest % 10);
    }
    return {m_text.data(), m_text.size()};
  }

private:
  void Set(std::time_t second) {
    std::tm parts{};
    ::gmtime_r(&second, &parts);
    std::array<char, 32> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S.000Z", &parts);
    std::copy_n(text.begin(), m_text.size(), m_text.begin());
    m_second = second;
  }

  std::time_t m_second = -1;
  std::array<char, 24> m_text{};
};

std::string_view timeNow() {
  thread_local TimeText text;
  return text.At(std::chrono::system_clock::now());
}

const char* kindName(ipc::Peer::Kind kind) {
  switch (kind) {
    case ipc::Peer::Kind::Unix:
      return "unix";
    case ipc::Peer::Kind::Tls:
      return "tls";
    default:
      return "loopback";
  }
}

template <class Value>
Value take(const Bytes& bytes) {
  Value value{};
  std::memcpy(&value, bytes.data(), std::min(bytes.size(), sizeof value));
  return value;
}

// JSON has no numbers for infinities and what is none.
void addFloat(JsonLine& line, double number) {
  std::array<char, 40> text{};
  const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), number);
  const std::string_view digits(text.data(), static_cast<std::size_t>(end - text.data()));
  if (std::isfinite(number)) {
    line.Raw("value", digits);
  } else {
    line.Text("value", digits);
  }
}

std::string hexText(View bytes) {
  constexpr const char* digits = "0123456789abcdef";
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += digits[byte >> 4U];
    text += digits[byte & 0xFU];
  }
  return text;
}

void addText(JsonLine& line, View bytes) {
  std::u16string text(bytes.size() / sizeof(char16_t), u'\0');
  std::memcpy(text.data(), bytes.data(), text.size() * sizeof(char16_t));
  line.Text("value", std::u16string_view(text).substr(0, text.find(u'\0')));
}

void addValue(JsonLine& line, std::uint16_t letter, const Bytes& value) {
  const View shown = View(value).first(std::min(value.size(), shownBytes));
  const Form* const form = findForm(letter);
  const bool fits = form && form->fits(value);
  if (letter == client::letterOf<UnicodeString>) {
    addText(line, shown);
  } else if (fits && letter == client::letterOf<std::int32_t>) {
    line.Number("value", take<std::int32_t>(value));
  } else if (fits && letter == client::letterOf<std::int64_t>) {
    line.Number("value", take<std::int64_t>(value));
  } else if (fits && letter == client::letterOf<bool>) {
    line.Raw("value", value[0] != 0 ? "true" : "false");
  } else if (fits && letter == client::letterOf<double>) {
    addFloat(line, take<double>(value));
  } else {
    line.Text("value", hexText(shown));
  }
  if (shown.size() < value.size()) line.Number("bytes", static_cast<std::int64_t>(value.size()));
}

void addUnlessEmpty(JsonLine& line, std::string_view name, const UnicodeString& text,
                    std::size_t longest = longestText) {
  const std::u16string_view whole = text.View();
  if (whole.size() <= longest) {
    if (!whole.empty()) line.Text(name, whole);
  } else {
    line.Text(name, std::u16string(whole.substr(0, longest)) + u'\u2026');
  }
}

void addUnlessEmpty(JsonLine& line, std::string_view name, const std::string& text) {
  if (text.size() <= longestText) {
    if (!text.empty()) line.Text(name, text);
  } else {
    addUnlessEmpty(line, name, UnicodeString(text.c_str()));
  }
}

void addPeer(JsonLine& line, const ipc::Peer& peer) {
  line.Begin("peer").Text("by", kindName(peer.kind)).Text("from", peer.address);
  addUnlessEmpty(line, "name", peer.name);
  if (peer.kind == ipc::Peer::Kind::Unix) line.Number("uid", peer.uid).Number("gid", peer.gid);
  line.End();
}

void addClaim(JsonLine& line, const Claim& claim) {
  if (claim.user.IsEmpty() && claim.ws.IsEmpty() && claim.app.IsEmpty()) return;
  line.Begin("claim");
  addUnlessEmpty(line, "user", claim.user);
  addUnlessEmpty(line, "ws", claim.ws);
  addUnlessEmpty(line, "app", claim.app);
  line.End();
}

void report(const std::string& path, int reason) {
  _DbgSetLine(u"service\\Audit", __LINE__, u'E');
  _DbgOut(u"The audit file %s can't be written, so no change is made: error %d", UnicodeString(path.c_str()),
          reason);
}

// Whether a line was cut short there, by a machine that went down or a disk that was full.
bool endsInALine(const std::string& path) {
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file < 0) return true;
  char last = '\n';
  const off_t size = ::lseek(file, 0, SEEK_END);
  const bool isRead = size <= 0 || ::pread(file, &last, 1, size - 1) == 1;
  ::close(file);
  return !isRead || last == '\n';
}

}  // namespace

std::string auditLine(const Deed& deed, const ipc::Peer& peer, Code verdict) {
  JsonLine line;
  line.Text("when", timeNow());
  addPeer(line, peer);
  addClaim(line, deed.claim);
  line.Text("operation", deed.operation);
  addUnlessEmpty(line, "path", deed.path, longestPath);
  addUnlessEmpty(line, "property", deed.property);
  const auto letter = static_cast<char16_t>(deed.letter);
  if (letter != 0) line.Text("type", std::u16string_view(&letter, 1));
  if (deed.value && !deed.mayShow) line.Text("value", "***");
  if (deed.value && deed.mayShow) addValue(line, deed.letter, *deed.value);
  addUnlessEmpty(line, "replicator", deed.replicator);
  if (deed.messageId) line.Number("msid", *deed.messageId);
  if (deed.characters) line.Number("characters", static_cast<std::int64_t>(*deed.characters));
  addUnlessEmpty(line, "outcome", deed.outcome);
  if (deed.omitted) line.Number("omitted", *deed.omitted);
  line.Number("code", verdict);
  return line.Take();
}

AuditLog::AuditLog(std::string path) : m_path(std::move(path)) {}

AuditLog::~AuditLog() {
  const CCS lock(m_lock);
  if (!m_waiting.empty() && !Flush()) {
    _DbgSetLine(u"service\\Audit", __LINE__, u'E');
    _DbgOut(u"The audit file %s lacks the last %i lines", UnicodeString(m_path.c_str()),
            static_cast<std::int32_t>(std::ranges::count(m_waiting, '\n')));
  }
  if (m_file >= 0) ::close(m_file);
}

bool AuditLog::Open() {
  if (m_path.empty()) return true;
  const int file = ::open(m_path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0640);
  if (file < 0) return false;
  const CCS lock(m_lock);
  if (m_file >= 0) ::close(m_file);
  m_file = file;
  m_sent = 0;  // a line that was cut short goes into the new file whole
  if (!endsInALine(m_path)) m_waiting.insert(0, 1, '\n');
  return true;
}

bool AuditLog::Append(std::string_view lines) {
  const CCS lock(m_lock);
  return Keep(lines);
}

bool AuditLog::AppendRefused(std::string_view lines) {
  const CCS lock(m_lock);
  return m_waiting.size() <= mostWaiting && Keep(lines);
}

bool AuditLog::Keep(std::string_view lines) {
  if (m_path.empty() || lines.empty()) return true;
  m_waiting += lines;
  return Flush();
}

bool AuditLog::IsReady() {
  const CCS lock(m_lock);
  return m_waiting.empty() || Flush();
}

bool AuditLog::Flush() {
  int reason = 0;
  while (reason == 0 && m_sent < m_waiting.size()) {
    const ssize_t written = ::write(m_file, m_waiting.data() + m_sent, m_waiting.size() - m_sent);
    if (written > 0) m_sent += static_cast<std::size_t>(written);
    if (written == 0) reason = ENOSPC;
    if (written < 0 && errno != EINTR) reason = errno;
  }
  const std::size_t lineEnd = m_sent == 0 ? std::string::npos : m_waiting.rfind('\n', m_sent - 1);
  if (lineEnd != std::string::npos) {
    m_waiting.erase(0, lineEnd + 1);
    m_sent -= lineEnd + 1;
  }
  const bool done = m_waiting.empty();
  if (!done && !m_failed) report(m_path, reason);
  m_failed = !done;
  return done;
}

}  // namespace service
