#include "platform/ipc/SessionExchange.h"

#include <algorithm>
#include <exception>
#include <functional>
#include <utility>
#include <vector>

#include "platform/ipc/Errors.h"

namespace ipc {

// Answers by the thread that they go to.
struct JointAnswers::Kept {
  std::vector<std::pair<Worker*, Worker::Tasks>> answers;

  void add(Worker& worker, std::function<void()> answer) {
    const auto isFor = [&worker](const auto& entry) { return entry.first == &worker; };
    auto place = std::find_if(answers.begin(), answers.end(), isFor);
    if (place == answers.end()) place = answers.insert(place, {&worker, {}});
    place->second.push_back(std::move(answer));
  }
};

namespace {

thread_local JointAnswers::Kept* t_kept = nullptr;

}  // namespace

JointAnswers::JointAnswers() : m_kept(std::make_unique<Kept>()) {
  t_kept = m_kept.get();
}

// Each answer holds its session, and that its worker.
JointAnswers::~JointAnswers() {
  t_kept = nullptr;
  for (auto& [worker, answers] : m_kept->answers) worker->postAll(std::move(answers));
}

// An answer that fails half way, for want of memory, leaves nothing that the peer could go on with.
template <class Task>
void SessionExchange::perform(Session& session, Task& task) {
  try {
    task(session);
  } catch (const std::exception& problem) {
    session.fail(problem.what());
  }
}

// On the session's thread at once, from any other one behind what is going on there. What can't be handed
// over there, for want of memory, was no answer: a rejection may still become one.
template <class Task>
void SessionExchange::run(Task&& task) {
  Worker& worker = m_session->worker();
  if (worker.isThisThread()) return perform(*m_session, task);
  try {
    auto answer = [session = m_session, task = std::forward<Task>(task)]() mutable {
      perform(*session, task);
    };
    if (t_kept != nullptr) return t_kept->add(worker, std::move(answer));
    worker.post(std::move(answer));
  } catch (...) {
    m_answered = false;
    throw;
  }
}

void SessionExchange::accept() {
  if (!takeTurn()) return;
  run([id = m_frame.id](Session& session) { session.answer(id, noError); });
}

void SessionExchange::accept(std::span<const std::uint8_t> reply) {
  if (m_session->worker().isThisThread()) {
    if (takeTurn()) run([id = m_frame.id, reply](Session& session) { session.accept(id, reply); });
    return;
  }
  Bytes copy(reply.begin(), reply.end());
  if (!takeTurn()) return;
  run([id = m_frame.id, copy = std::move(copy)](Session& session) { session.accept(id, copy); });
}

void SessionExchange::accept(std::vector<Bytes> replies) {
  acceptEach([replies = std::move(replies), at = std::size_t{0}](Bytes& reply) mutable {
    if (at == replies.size()) return false;
    reply = std::move(replies[at++]);
    return true;
  });
}

void SessionExchange::acceptEach(NextReply next) {
  if (!takeTurn()) return;
  run([id = m_frame.id, next = std::move(next)](Session& session) mutable {
    session.acceptEach(id, std::move(next));
  });
}

void SessionExchange::reject(std::int32_t code) {
  if (!takeTurn()) return;
  const auto sum = static_cast<std::uint32_t>(serviceErrors) + static_cast<std::uint32_t>(code);
  run([id = m_frame.id, sum](Session& session) { session.answer(id, static_cast<std::int32_t>(sum)); });
}

}  // namespace ipc
