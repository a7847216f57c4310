// The trace lines that the library gives while a command runs: an error message is made of them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/support/Trace.h"

namespace tool {

class TraceLog {
public:
  TraceLog();
  ~TraceLog();
  TraceLog(const TraceLog&) = delete;
  TraceLog& operator=(const TraceLog&) = delete;

  // Writes every line, of any level, on standard error from now on.
  void Show();

  // Begins anew: what follows belongs to another operation.
  void Clear();

  // What the library said since then, UTF-8, on one line: the messages of the plain channel in their
  // order, or the last one of the back trace where there are none. Empty where it said nothing.
  std::string Reason() const;
  // Of the last message that the source gave there.
  std::string LastOf(std::u16string_view source, trace::Channel channel) const;
  // The notices about overrides among them, of both channels.
  std::vector<std::string> Notices() const;

private:
  struct Entry {
    trace::Channel channel;
    std::u16string source;
    std::string text;
  };
  void Keep(const trace::Line& line);

  std::vector<Entry> m_entries;
  trace::SinkId m_sink;
  trace::SinkId m_shown = 0;
};

}  // namespace tool
