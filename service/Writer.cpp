#include "service/Writer.h"

#include <algorithm>
#include <exception>
#include <iterator>

#include "platform/registry/RegistryTransaction.h"
#include "platform/support/Trace.h"

namespace service {
namespace {

// Changes of one commit at most: beyond, what the commit costs is spread thin enough.
constexpr std::size_t mostInGroup = 256;

constexpr Code noMemory = 8;
constexpr Code noTrail = 1502;  // the audit file takes no more lines

}  // namespace

Writer::Writer(const UnicodeString& space, AuditLog& audit)
    : m_tree(space), m_audit(audit), m_thread([this] { Run(); }) {}

Writer::~Writer() {
  Stop();
}

bool Writer::Submit(Pending& pending) {
  bool isWanted = false;
  {
    const std::lock_guard lock(m_mutex);
    if (m_isStopping) return false;
    m_queue.push_back(std::move(pending));
    isWanted = m_queue.size() == m_wanted;
  }
  if (isWanted) m_arrived.notify_one();
  return true;
}

void Writer::Stop() {
  {
    const std::lock_guard lock(m_mutex);
    m_isStopping = true;
  }
  m_arrived.notify_one();
  if (m_thread.joinable()) m_thread.join();
}

void Writer::Run() {
  for (Group group = TakeGroup(); !group.empty(); group = TakeGroup()) {
    const auto begin = Clock::now();
    Process(group);
    m_lastDuration = Clock::now() - begin;
    const std::lock_guard lock(m_mutex);
    m_expected = std::min(m_queue.size() + group.size(), mostInGroup);
  }
}

// Whoever was answered may be about to ask again, and a commit costs nearly the same for many as for one. So
// a group waits until as many have come as were under way when the last one ended, as long as they keep
// coming and it is little against what the commit takes.
void Writer::Gather(std::unique_lock<std::mutex>& lock) {
  const auto end = Clock::now() + m_lastDuration / 3;
  const auto pause = m_lastDuration / 8;
  m_wanted = m_expected;
  const auto isDone = [this] { return m_isStopping || m_queue.size() >= m_wanted; };
  for (std::size_t before = 0; !isDone() && m_queue.size() > before && Clock::now() < end;) {
    before = m_queue.size();
    m_arrived.wait_until(lock, std::min(end, Clock::now() + pause), isDone);
  }
  m_wanted = 1;
}

// What came first, up to a full group. A large change goes alone. Nothing at the end.
Writer::Group Writer::TakeGroup() {
  std::unique_lock lock(m_mutex);
  m_arrived.wait(lock, [this] { return m_isStopping || !m_queue.empty(); });
  Gather(lock);
  const auto isLarge = [](const Pending& pending) { return pending.change->IsLarge(); };
  const auto most = m_queue.begin() + static_cast<std::ptrdiff_t>(std::min(m_queue.size(), mostInGroup));
  auto end = std::find_if(m_queue.begin(), most, isLarge);
  if (end == m_queue.begin() && end != most) ++end;
  Group group(std::make_move_iterator(m_queue.begin()), std::make_move_iterator(end));
  m_queue.erase(m_queue.begin(), end);
  return group;
}

void Writer::Process(std::span<Pending> group) {
  if (!m_audit.IsReady()) {
    for (Pending& pending : group) pending.verdict = noTrail;
  } else if (Keep(group) != accepted && group.size() > 1) {
    // What one of them asks for is too much for the store: the others shall not fail with it.
    for (Pending& pending : group) Keep({&pending, 1});
  }
  Record(group);
  const ipc::JointAnswers together;
  for (Pending& pending : group) Answer(pending);
}

// Applies and commits a group, and leaves each verdict. The result is that of the commit. An inner
// transaction costs as much as a change itself, and what is refused is so before it writes, but for a store
// that fails and the like. So the group is applied without first.
Code Writer::Keep(std::span<Pending> group) {
  if (const auto status = KeepAll(group, Inner::None)) return *status;
  return KeepAll(group, Inner::Each).value_or(noMemory);
}

// Nothing where a change failed that may have written, and the others must not be kept with it.
std::optional<Code> Writer::KeepAll(std::span<Pending> group, Inner inner) {
  RegistryTransaction transaction;
  Code status = transaction.Status();
  bool isChanged = false;
  for (Pending& pending : group) {
    if (status != accepted) {
      pending.verdict = status;
    } else if (!Apply(pending, inner) && group.size() > 1) {
      return std::nullopt;
    }
    isChanged = isChanged || pending.verdict == accepted;
  }
  if (!isChanged) return status;
  status = transaction.Commit();
  if (status == accepted) return status;
  for (Pending& pending : group) {
    if (pending.verdict != accepted) continue;
    pending.verdict = status;
    pending.change->deed.outcome.clear();  // it did not come to be
  }
  return status;
}

// False where it failed and may have left something in the transaction of the group.
bool Writer::Apply(Pending& pending, Inner inner) {
  Code& verdict = pending.verdict;
  try {
    std::optional<RegistryTransaction> own;
    if (inner == Inner::Each) own.emplace();
    Node node;
    verdict = own ? own->Status() : accepted;
    if (verdict == accepted) verdict = pending.change->Check(m_tree, node);
    if (verdict != accepted) return true;
    verdict = pending.change->Make(m_tree, node);
    if (verdict == accepted && own) verdict = own->Commit();
  } catch (const std::exception& problem) {
    _DbgSetLine(u"service\\Writer", __LINE__, u'E');
    _DbgOut(u"A change failed: %s", UnicodeString(problem.what()));
    verdict = noMemory;
  }
  return verdict == accepted || inner == Inner::Each;
}

void Writer::Record(std::span<Pending> group) {
  std::string lines;
  bool isMade = false;
  for (const Pending& pending : group) {
    lines += auditLine(pending.change->deed, pending.exchange->peer(), pending.verdict);
    isMade = isMade || pending.verdict == accepted;
  }
  if (isMade ? m_audit.Append(lines) : m_audit.AppendRefused(lines)) return;
  // They are made and may be written down later, but nobody is told that all is well.
  for (Pending& pending : group) {
    if (pending.verdict == accepted) pending.verdict = noTrail;
  }
}

void Writer::Answer(Pending& pending) {
  if (pending.verdict != accepted) {
    pending.exchange->reject(pending.verdict);
  } else {
    accept(*pending.exchange, std::move(pending.change->replies));
  }
  pending = {};
}

}  // namespace service
