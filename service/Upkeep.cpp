#include "service/Upkeep.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <filesystem>
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
  for (const fs::directory_entry& entry : fs::directory_iterator(directory, error)) {
    std::string name = entry.path().filename().string();
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

Upkeep::Upkeep(SnapshotPlan plan) : m_plan(std::move(plan)), m_thread([this] { Run(); }) {}

Upkeep::~Upkeep() {
  {
    const std::lock_guard lock(m_mutex);
    m_isEnding = true;
  }
  m_end.notify_one();
  m_thread.join();
}

void Upkeep::Run() {
  constexpr std::chrono::minutes readersEvery{1};
  auto nextReaders = Clock::now();
  auto nextSnapshot = Clock::time_point::max();
  if (!m_plan.directory.empty()) {
    const auto names = snapshotsIn(m_plan.directory);
    const auto now = Clock::now();
    nextSnapshot = names.empty() ? now : *timeOf(names.back()) + m_plan.every;
    // One of the future was made under a wrong clock.
    if (nextSnapshot > now + m_plan.every) nextSnapshot = now;
  }
  std::unique_lock lock(m_mutex);
  for (;;) {
    if (m_end.wait_until(lock, std::min(nextReaders, nextSnapshot), [this] { return m_isEnding; })) return;
    lock.unlock();
    if (Clock::now() >= nextReaders) {
      clearReaders();
      nextReaders = Clock::now() + readersEvery;
    }
    if (Clock::now() >= nextSnapshot) {
      MakeSnapshot();
      nextSnapshot = Clock::now() + m_plan.every;
    }
    lock.lock();
  }
}

// Under its final name there is only a whole copy.
void Upkeep::MakeSnapshot() const {
  const fs::path target = fs::path(m_plan.directory) / nameFor(Clock::now());
  const fs::path making = target.string() + unfinished;
  std::error_code error;
  fs::create_directories(m_plan.directory, error);
  // What a daemon left that was killed over it.
  for (const std::string& name : snapshotsIn(m_plan.directory, unfinished)) {
    fs::remove_all(fs::path(m_plan.directory) / name, error);
  }
  const LSTATUS status = registry::copyStore(making.string());
  if (status == 0) fs::rename(making, target, error);
  if (status != 0 || error) {
    warn(u"No snapshot could be made",
         target.string() + ", error " + std::to_string(status) + ' ' + error.message());
    return;
  }
  auto names = snapshotsIn(m_plan.directory);
  for (std::size_t at = 0; at + m_plan.kept < names.size(); ++at) {
    fs::remove_all(fs::path(m_plan.directory) / names[at], error);
  }
}

}  // namespace service
