#include "service/Upkeep.h"

#include <algorithm>
#include <array>
#include <condition_variable>
#include <ctime>
#include <exception>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/registry/RegistryStore.h"
#include "platform/support/Trace.h"
#include "platform/support/UnicodeString.h"

namespace service {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::system_clock;

constexpr const char* nameForm = "snapshot-%Y%m%dT%H%M%SZ";
constexpr const char* unfinished = ".unfinished";

void warn(const char16_t* what, const std::string& detail) {
  _DbgSetLine(u"service\\Upkeep", __LINE__, u'W');
  _DbgOut(u"%s: %s", what, UnicodeString(detail.c_str()));
}

std::string nameFor(Clock::time_point time) {
  const std::time_t seconds = Clock::to_time_t(time);
  std::tm parts{};
  ::gmtime_r(&seconds, &parts);
  std::array<char, 64> name{};
  return {name.data(), std::strftime(name.data(), name.size(), nameForm, &parts)};
}

// Nothing for what is no copy of ours: one that an administrator keeps by a name of his own is his.
std::optional<Clock::time_point> timeOf(const std::string& name) {
  std::tm parts{};
  const char* const end = ::strptime(name.c_str(), nameForm, &parts);
  if (!end || *end != '\0') return std::nullopt;
  return Clock::from_time_t(::timegm(&parts));
}

// The names of the finished copies, or of those with that ending, which sort by time.
std::vector<std::string> snapshotsIn(const fs::path& directory, std::string_view ending = {}) {
  std::vector<std::string> names;
  std::error_code error;
  for (fs::directory_iterator at(directory, error), end; !error && at != end; at.increment(error)) {
    std::string name = at->path().filename().string();
    if (name.ends_with(ending) && timeOf(name.substr(0, name.size() - ending.size()))) {
      names.push_back(std::move(name));
    }
  }
  std::ranges::sort(names);
  return names;
}

void clearReaders() {
  std::uint32_t cleared = 0;
  const LSTATUS status = registry::clearDeadReaders(cleared);
  if (status != 0) warn(u"The places of dead readers can't be cleared", "error " + std::to_string(status));
}

}  // namespace

// What the thread works on.
class Upkeep::Work {
public:
  Work(SnapshotPlan plan, std::function<void()> everyMinute)
      : m_plan(std::move(plan)), m_everyMinute(std::move(everyMinute)) {}

  void Run();
  // Whether the thread ends by itself; else a copy is being made, and is taken away.
  bool End();

private:
  // Between two of these steps, and while it waits, the thread can be ended.
  void Do(void (Work::*step)());
  void EveryMinute();
  void MakeSnapshot();
  bool Copy(const fs::path& making, LSTATUS& status);
  bool SetMaking(const fs::path& making);
  Clock::time_point FirstSnapshot() const;

  const SnapshotPlan m_plan;
  const std::function<void()> m_everyMinute;
  std::mutex m_mutex;
  std::condition_variable m_end;
  bool m_isEnding = false;  // guarded by the mutex, as the next
  fs::path m_making;        // where a copy is being made; empty where none is
};

bool Upkeep::Work::End() {
  const std::lock_guard lock(m_mutex);
  m_isEnding = true;
  m_end.notify_one();
  if (m_making.empty()) return true;
  std::error_code ignored;
  fs::remove_all(m_making, ignored);
  return false;
}

// False where the end has come before.
bool Upkeep::Work::SetMaking(const fs::path& making) {
  const std::lock_guard lock(m_mutex);
  if (!m_isEnding) m_making = making;
  return !m_isEnding;
}

Clock::time_point Upkeep::Work::FirstSnapshot() const {
  if (m_plan.directory.empty()) return Clock::time_point::max();
  const auto names = snapshotsIn(m_plan.directory);
  const auto now = Clock::now();
  const auto next = names.empty() ? now : *timeOf(names.back()) + m_plan.every;
  // One of the future was made under a wrong clock.
  return next > now + m_plan.every ? now : next;
}

void Upkeep::Work::Run() {
  using Steady = std::chrono::steady_clock;  // a minute is one whatever becomes of the date
  constexpr std::chrono::minutes minute{1};
  auto nextMinute = Steady::now();
  auto nextSnapshot = FirstSnapshot();
  std::unique_lock lock(m_mutex);
  const auto untilNext = [&] {
    return std::min<std::chrono::nanoseconds>(nextMinute - Steady::now(), nextSnapshot - Clock::now());
  };
  while (!m_end.wait_for(lock, untilNext(), [this] { return m_isEnding; })) {
    lock.unlock();
    if (Steady::now() >= nextMinute) {
      Do(&Work::EveryMinute);
      nextMinute = Steady::now() + minute;
    }
    if (Clock::now() >= nextSnapshot) {
      Do(&Work::MakeSnapshot);
      nextSnapshot = Clock::now() + m_plan.every;
    }
    lock.lock();
  }
}

// What fails here, for want of memory or by a directory that can't be read on, ends no daemon.
void Upkeep::Work::Do(void (Work::*step)()) try { (this->*step)(); } catch (const std::exception& problem) {
  warn(u"The care of the store failed", problem.what());
}

void Upkeep::Work::EveryMinute() {
  clearReaders();
  m_everyMinute();
}

// False where the end came before it or over it.
bool Upkeep::Work::Copy(const fs::path& making, LSTATUS& status) {
  if (!SetMaking(making)) return false;
  try {
    status = registry::copyStore(making.string());
  } catch (...) {
    (void)SetMaking({});
    throw;
  }
  return SetMaking({});
}

// Under its final name there is only a whole copy.
void Upkeep::Work::MakeSnapshot() {
  const fs::path target = fs::path(m_plan.directory) / nameFor(Clock::now());
  const fs::path making = target.string() + unfinished;
  std::error_code error;
  fs::create_directories(m_plan.directory, error);
  // What a daemon left that was killed over it.
  for (const std::string& name : snapshotsIn(m_plan.directory, unfinished)) {
    fs::remove_all(fs::path(m_plan.directory) / name, error);
  }
  LSTATUS status = 0;
  if (!Copy(making, status)) return;
  if (status == 0) fs::rename(making, target, error);
  if (status != 0 || error) {
    warn(u"No snapshot could be made",
         target.string() + ", error " + std::to_string(status) + ' ' + error.message());
    // Half a copy would keep a disk full that it filled.
    fs::remove_all(making, error);
    return;
  }
  auto names = snapshotsIn(m_plan.directory);
  for (std::size_t at = 0; at + m_plan.kept < names.size(); ++at) {
    fs::remove_all(fs::path(m_plan.directory) / names[at], error);
  }
}

Upkeep::Upkeep(SnapshotPlan plan, std::function<void()> everyMinute)
    : m_work(std::make_shared<Work>(std::move(plan), std::move(everyMinute))),
      m_thread([work = m_work] { work->Run(); }) {}

Upkeep::~Upkeep() {
  if (!m_thread.joinable()) return;
  m_work->End();
  m_thread.join();
}

bool Upkeep::Stop() {
  if (!m_thread.joinable()) return true;
  const bool ends = m_work->End();
  if (ends) {
    m_thread.join();
  } else {
    m_thread.detach();
  }
  return ends;
}

}  // namespace service
