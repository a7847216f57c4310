// Tracing on two channels. A line is made by a pair of calls: the first says where, the second what.
// The pair of one thread stays together whatever other threads do. Nothing is formatted while no sink
// wants the line.
//
// Where lines go: sinks are added by addSink or named in the environment variable SPS_TRACE, a comma
// separated list of "stderr", "syslog" and "file:PATH". SPS_TRACE_LEVEL sets what they get: a letter of
// E, W, I, S for the plain channel (each includes those before it in the order S, E, W, I) and a digit
// for the back trace (0 none, 1, 2), such as "W1", the default. Both are read at the first line; what
// they hold that can't be followed is reported on standard error, once. Without them there is no sink.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "platform/support/Format.h"
#include "platform/support/api.h"

namespace trace {

enum class Channel : std::uint8_t { Plain, BackTrace };

// One line as a sink gets it. The views are valid during the call only.
struct Line {
  Channel channel;
  char16_t level;           // 'E', 'W', 'I' or 'S' on the plain channel, 1 or 2 on the back trace
  std::u16string_view tag;  // the module on the back trace, empty on the plain channel
  std::u16string_view source;
  std::int32_t sourceLine;
  std::u16string_view text;
};

using Sink = std::function<void(const Line&)>;
using SinkId = std::uint64_t;

// What a sink wants to see.
struct Levels {
  char16_t plain = u'W';       // least important letter, in the order S, E, W, I; 0 for none
  std::int32_t backTrace = 1;  // highest level; 0 for none
};

// Everything on both channels.
inline constexpr Levels allLevels{u'I', 2};

// Adds a sink; its calls come one at a time, from the thread that traces. A sink must not throw and may
// trace itself: such lines reach no sink. Any thread may call.
// An empty sink is not added, and 0 is returned. Not to be called by a sink.
SPS_API SinkId addSink(Sink sink, Levels levels = {});
// After the return the sink runs no more. Not to be called by a sink.
SPS_API void removeSink(SinkId id);

SPS_API Sink stderrSink();
SPS_API Sink syslogSink();
// Appends to the file, a line each. An empty sink where the file cannot be opened, with errno set.
SPS_API Sink fileSink(const std::string& path);

// One line as the ready-made sinks write it, UTF-8, without a line end; control characters and broken
// surrogates in it are escaped, so that one line stays one line:
//   E src\spc:120: text            the plain channel
//   1 SPC-SPC1 src\spc:120: text   the back trace
// Standard error and files get the UTC time, the process and the thread in front of it.
SPS_API std::string render(const Line& line);

// Behind the pairs below. A place is kept for the calling thread until the next output on its channel;
// its texts are not copied and must live until then. Output without a place has no source, line 0 and
// the least important level.
SPS_API void setPlace(Channel channel, const char16_t* tag, const char16_t* source, std::int32_t line,
                      std::int32_t level);
// Whether a sink may want the line at the place that is set. Where none does, the place is used up.
SPS_API bool isWanted(Channel channel);
SPS_API void emit(Channel channel, const char16_t* format, std::span<const support::FormatArg> args);

template <class... Args>
void out(Channel channel, const char16_t* format, const Args&... args) {
  if (!isWanted(channel)) return;
  if constexpr (sizeof...(Args) == 0) {
    emit(channel, format, {});
  } else {
    const support::FormatArg list[] = {support::formatArg(args)...};
    emit(channel, format, list);
  }
}

}  // namespace trace

// The plain channel. The level is one of the letters E, W, I, S.
inline void _DbgSetLine(const char16_t* source, std::int32_t line, char16_t level) {
  trace::setPlace(trace::Channel::Plain, u"", source, line, level);
}
template <class... Args>
void _DbgOut(const char16_t* format, const Args&... args) {
  trace::out(trace::Channel::Plain, format, args...);
}

// The back trace. The level is 1 or 2.
inline void _DbgBackTraceSet(const char16_t* tag, const char16_t* source, std::int32_t line,
                             std::int32_t level) {
  trace::setPlace(trace::Channel::BackTrace, tag, source, line, level);
}
template <class... Args>
void _DbgBackTrace(const char16_t* format, const Args&... args) {
  trace::out(trace::Channel::BackTrace, format, args...);
}
