#include <fcntl.h>
#include <sys/syscall.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <memory>
#include <string>

#include "platform/support/Trace.h"
#include "platform/support/Utf.h"

namespace trace {
namespace {

bool isHighSurrogate(char16_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}
bool isLowSurrogate(char16_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

// Characters that would break the line, steer a terminal, or make no valid UTF-8 alone.
bool mustEscape(std::u16string_view text, std::size_t at) {
  const char16_t unit = text[at];
  if (isHighSurrogate(unit)) return at + 1 == text.size() || !isLowSurrogate(text[at + 1]);
  if (isLowSurrogate(unit)) return at == 0 || !isHighSurrogate(text[at - 1]);
  return unit < 0x20 || (unit >= 0x7F && unit < 0xA0) || unit == 0x2028 || unit == 0x2029;
}

void appendEscape(std::u16string& out, char16_t unit) {
  switch (unit) {
    case u'\n':
      out += u"\\n";
      return;
    case u'\r':
      out += u"\\r";
      return;
    case u'\t':
      out += u"\\t";
      return;
    default:
      out += support::format(u"\\u%04X", unit);
  }
}

void append(std::u16string& out, std::u16string_view text) {
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (mustEscape(text, at)) {
      appendEscape(out, text[at]);
    } else {
      out += text[at];
    }
  }
}

// As "2030-01-31T08:15:00.123456Z 4711/4712 ".
std::string stamp() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm parts{};
  gmtime_r(&now.tv_sec, &parts);
  char seconds[32];
  std::strftime(seconds, sizeof seconds, "%Y-%m-%dT%H:%M:%S", &parts);
  std::string micros = std::to_string(1'000'000 + now.tv_nsec / 1000);
  micros.front() = '.';
  return seconds + micros + "Z " + std::to_string(getpid()) + "/" + std::to_string(syscall(SYS_gettid)) + " ";
}

// Where the line cannot be written there is nobody left to tell.
void writeLine(int file, const Line& line) {
  const std::string bytes = stamp() + render(line) + "\n";
  std::string_view rest = bytes;
  while (!rest.empty()) {
    const ssize_t written = write(file, rest.data(), rest.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    rest.remove_prefix(static_cast<std::size_t>(written));
  }
}

struct File {
  explicit File(int opened) : number(opened) {}
  ~File() { close(number); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  const int number;
};

int priorityOf(const Line& line) {
  if (line.channel == Channel::BackTrace) return LOG_DEBUG;
  switch (line.level) {
    case u'S':
      return LOG_CRIT;
    case u'E':
      return LOG_ERR;
    case u'W':
      return LOG_WARNING;
    default:
      return LOG_INFO;
  }
}

}  // namespace

std::string render(const Line& line) {
  std::u16string out;
  if (line.channel == Channel::Plain) {
    append(out, {&line.level, 1});
  } else {
    out += static_cast<char16_t>(u'0' + line.level);
    out += u' ';
    append(out, line.tag);
  }
  out += u' ';
  append(out, line.source);
  out += support::format(u":%d: ", line.sourceLine);
  append(out, line.text);
  return support::toUtf8(out);
}

Sink stderrSink() {
  return [](const Line& line) { writeLine(STDERR_FILENO, line); };
}

Sink syslogSink() {
  return [](const Line& line) { syslog(priorityOf(line), "%s", render(line).c_str()); };
}

Sink fileSink(const std::string& path) {
  const int file = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, 0640);
  if (file < 0) return {};
  // Shared, since sinks can be copied.
  return [owner = std::make_shared<const File>(file)](const Line& line) { writeLine(owner->number, line); };
}

}  // namespace trace
