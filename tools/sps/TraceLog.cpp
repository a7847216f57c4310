#include "tools/sps/TraceLog.h"

#include <algorithm>

#include "tools/sps/Text.h"

namespace tool {

namespace {

// The library begins some messages with blanks.
std::string trimmed(const std::string& text) {
  const std::size_t start = text.find_first_not_of(' ');
  return start == std::string::npos ? std::string() : text.substr(start);
}

// A walk that fails at every step shall not fill the memory with its complaints.
constexpr std::size_t maxEntries = 64;

}  // namespace

TraceLog::TraceLog() : m_sink(trace::addSink([this](const trace::Line& line) { Keep(line); })) {}

TraceLog::~TraceLog() {
  trace::removeSink(m_sink);
  if (m_shown != 0) trace::removeSink(m_shown);
}

void TraceLog::Show() {
  if (m_shown == 0) m_shown = trace::addSink(trace::stderrSink(), trace::allLevels);
}

void TraceLog::Clear() {
  m_entries.clear();
}

void TraceLog::Keep(const trace::Line& line) {
  if (m_entries.size() == maxEntries) m_entries.erase(m_entries.begin());
  m_entries.push_back({line.channel, std::u16string(line.source), oneLine(line.text)});
}

std::string TraceLog::Reason() const {
  std::string reason;
  for (const Entry& entry : m_entries) {
    if (entry.channel != trace::Channel::Plain) continue;
    if (!reason.empty()) reason += ' ';
    reason += entry.text;
  }
  if (reason.empty() && !m_entries.empty()) reason = m_entries.back().text;
  return trimmed(reason);
}

std::string TraceLog::LastOf(std::u16string_view source, trace::Channel channel) const {
  const auto found = std::find_if(m_entries.rbegin(), m_entries.rend(), [&](const Entry& entry) {
    return entry.source == source && entry.channel == channel;
  });
  return found == m_entries.rend() ? std::string() : trimmed(found->text);
}

std::vector<std::string> TraceLog::Notices() const {
  std::vector<std::string> notices;
  for (const Entry& entry : m_entries) {
    if (entry.source == u"src\\spc" && entry.text.find("verride ") != std::string::npos) {
      notices.push_back(entry.text);
    }
  }
  return notices;
}

}  // namespace tool
