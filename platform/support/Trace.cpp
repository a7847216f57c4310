#include "platform/support/Trace.h"

#include <pthread.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/support/ThreadAnnotations.h"
#include "platform/support/TraceSettings.h"

namespace trace {
namespace {

constexpr std::size_t channelCount = 2;

std::size_t indexOf(Channel channel) {
  return static_cast<std::size_t>(channel);
}

// Levels of both channels as ranks: 1 is the most important, 0 none.
constexpr std::u16string_view plainLevels = u"SEWI";
constexpr std::uint8_t leastImportant[channelCount] = {4, 2};

std::uint8_t plainRank(std::int32_t letter) {
  const std::size_t at = plainLevels.find(static_cast<char16_t>(letter));
  return at == std::u16string_view::npos ? leastImportant[0] : static_cast<std::uint8_t>(at + 1);
}

std::uint8_t rankOf(Channel channel, std::int32_t level) {
  if (channel == Channel::Plain) return plainRank(level);
  return static_cast<std::uint8_t>(std::clamp<std::int32_t>(level, 1, leastImportant[1]));
}

char16_t levelOf(Channel channel, std::uint8_t rank) {
  return channel == Channel::Plain ? plainLevels[rank - 1U] : static_cast<char16_t>(rank);
}

// The last rank that is wanted, a channel each.
using Ranks = std::array<std::uint8_t, channelCount>;

Ranks ranksOf(const Levels& levels) {
  return {levels.plain ? plainRank(levels.plain) : std::uint8_t{0},
          static_cast<std::uint8_t>(std::clamp<std::int32_t>(levels.backTrace, 0, leastImportant[1]))};
}

struct Place {
  const char16_t* tag;
  const char16_t* source;
  std::int32_t line;
  std::uint8_t rank;  // 0: no place is set
};

struct Thread {
  Place places[channelCount];
  bool inSink;
};

// Initial-exec: a plain access relative to the thread's own pointer, also from a shared library.
constinit thread_local Thread t_thread __attribute__((tls_model("initial-exec"))) = {};

// While it lives, lines of this thread come from a sink and go nowhere.
struct InSink {
  InSink() { t_thread.inSink = true; }
  ~InSink() { t_thread.inSink = false; }
  InSink(const InSink&) = delete;
  InSink& operator=(const InSink&) = delete;
};

// Everything is wanted until the environment has been read, which is what the first line brings about.
constinit std::atomic<std::uint8_t> g_wanted[channelCount] = {0xFF, 0xFF};

class SPS_LOCK Mutex {
public:
  void lock() SPS_ACQUIRE() { m_mutex.lock(); }
  void unlock() SPS_RELEASE() { m_mutex.unlock(); }

private:
  std::mutex m_mutex;
};

class SPS_LOCK_HOLDER Holder {
public:
  explicit Holder(Mutex& mutex) SPS_ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.lock(); }
  ~Holder() SPS_RELEASE() { m_mutex.unlock(); }
  Holder(const Holder&) = delete;
  Holder& operator=(const Holder&) = delete;

private:
  Mutex& m_mutex;
};

// All sinks of the process. The lock is held while they run, so that lines come one at a time.
class Sinks {
public:
  // Never destroyed: other static objects may trace until the very end.
  static Sinks& instance() {
    static auto* const sinks = new Sinks;  // NOLINT(cppcoreguidelines-owning-memory)
    return *sinks;
  }

  SinkId add(Sink sink, Levels levels) {
    const Holder holder(m_mutex);
    return insert(std::move(sink), levels);
  }

  void remove(SinkId id) {
    const Holder holder(m_mutex);
    std::erase_if(m_entries, [id](const Entry& entry) { return entry.id == id; });
    publish();
  }

  void write(Channel channel, const Place& place, std::u16string_view format,
             std::span<const support::FormatArg> args) {
    const Holder holder(m_mutex);
    readSettings();
    const auto wants = [&](const Entry& entry) { return place.rank <= entry.ranks[indexOf(channel)]; };
    if (std::none_of(m_entries.begin(), m_entries.end(), wants)) return;
    const std::u16string text = support::formatText(format, args);
    const Line line{channel, levelOf(channel, place.rank), place.tag, place.source, place.line, text};
    const InSink mark;
    for (const Entry& entry : m_entries) {
      if (wants(entry)) entry.sink(line);
    }
  }

private:
  struct Entry {
    SinkId id;
    Ranks ranks;
    Sink sink;
  };

  // A child process has only the thread that forked; had another held the lock, nobody would ever
  // release it there. The thread of a sink holds it already.
  Sinks() { pthread_atfork(lockForFork, unlockAfterFork, unlockAfterFork); }
  static void lockForFork() SPS_THREAD_ANNOTATION(no_thread_safety_analysis) {
    if (!t_thread.inSink) instance().m_mutex.lock();
  }
  static void unlockAfterFork() SPS_THREAD_ANNOTATION(no_thread_safety_analysis) {
    if (!t_thread.inSink) instance().m_mutex.unlock();
  }

  void readSettings() SPS_REQUIRES(m_mutex) {
    if (std::exchange(m_settingsRead, true)) return;
    const Levels levels = levelsFromEnvironment();
    for (Sink& sink : sinksFromEnvironment()) insert(std::move(sink), levels);
    publish();
  }

  SinkId insert(Sink sink, Levels levels) SPS_REQUIRES(m_mutex) {
    if (!sink) return 0;
    m_entries.push_back({++m_lastId, ranksOf(levels), std::move(sink)});
    publish();
    return m_lastId;
  }

  void publish() SPS_REQUIRES(m_mutex) {
    if (!m_settingsRead) return;
    for (std::size_t channel = 0; channel < channelCount; ++channel) {
      std::uint8_t wanted = 0;
      for (const Entry& entry : m_entries) wanted = std::max(wanted, entry.ranks[channel]);
      g_wanted[channel].store(wanted, std::memory_order_relaxed);
    }
  }

  Mutex m_mutex;
  std::vector<Entry> m_entries SPS_GUARDED_BY(m_mutex);
  SinkId m_lastId SPS_GUARDED_BY(m_mutex) = 0;
  bool m_settingsRead SPS_GUARDED_BY(m_mutex) = false;
};

const char16_t* orEmpty(const char16_t* text) {
  return text ? text : u"";
}

}  // namespace

SinkId addSink(Sink sink, Levels levels) {
  return Sinks::instance().add(std::move(sink), levels);
}

void removeSink(SinkId id) {
  Sinks::instance().remove(id);
}

void setPlace(Channel channel, const char16_t* tag, const char16_t* source, std::int32_t line,
              std::int32_t level) {
  t_thread.places[indexOf(channel)] = {tag, source, line, rankOf(channel, level)};
}

bool isWanted(Channel channel) {
  Place& place = t_thread.places[indexOf(channel)];
  const std::uint8_t rank = place.rank ? place.rank : leastImportant[indexOf(channel)];
  if (rank <= g_wanted[indexOf(channel)].load(std::memory_order_relaxed) && !t_thread.inSink) return true;
  place = {};
  return false;
}

void emit(Channel channel, const char16_t* format, std::span<const support::FormatArg> args) {
  if (t_thread.inSink) return;
  Place place = std::exchange(t_thread.places[indexOf(channel)], Place{});
  if (!place.rank) place.rank = leastImportant[indexOf(channel)];
  place.tag = orEmpty(place.tag);
  place.source = orEmpty(place.source);
  Sinks::instance().write(channel, place, orEmpty(format), args);
}

}  // namespace trace
