// What an administrator's program does with a whole tree: walking it and deleting it. The times are those of
// one parameter.
#include <chrono>
#include <optional>

#include "bench/Rows.h"
#include "platform/registry/RegistryTransaction.h"
#include "src/Spa.h"

namespace bench {

namespace {

constexpr std::uint32_t tenThousand = 10'000;

// Reads name and bytes of every value of every parameter, and counts the parameters.
class Walker {
public:
  std::uint32_t walk(const UnicodeString& space) {
    m_count = 0;
    UnicodeString topic;
    bool isWhole = m_spa.GetPrcSpaceAcc(Spc::m_pRootName, space, false, false);
    while (isWhole && m_spa.GetNextTopic(topic)) isWhole = walkTopic(topic);
    return isWhole && m_spa.GetLastError() == 0 ? m_count : 0;
  }

private:
  bool walkTopic(const UnicodeString& topic) {
    if (!m_spa.GetTopicAcc(topic, false, false)) return false;
    while (m_spa.GetNextPar(m_name)) {
      if (!walkParameter()) return false;
    }
    return m_spa.GetLastError() == 0;
  }

  bool walkParameter() {
    ++m_count;
    if (!m_spa.GetParAcc(m_name, false, false)) return false;
    std::uint32_t length = sizeof m_data;
    for (; m_spa.GetNextParProp(m_name, m_data, length); length = sizeof m_data)
      benchmark::DoNotOptimize(m_data);
    return m_spa.GetLastError() == 0;
  }

  Spa m_spa;
  UnicodeString m_name;
  std::uint8_t m_data[256] = {};
  std::uint32_t m_count = 0;
};

UnicodeString spaceInUse() {
  Spc spc;
  spc.Init();
  return spc.GetPrcSpaceName();
}

void addSpaWalk(Lab& lab) {
  addRow("sps/spa-walk/100k", [&lab](benchmark::State& state, const std::string&) {
    lab.useTree(Shape::Strings, hundredThousand);
    const UnicodeString space = spaceInUse();
    const std::uint32_t size = lab.scaled(hundredThousand);
    const std::uint32_t whole = size + size / topicSize;  // with the counters
    Walker walker;
    bool isRight = true;
    while (state.KeepRunningBatch(whole)) isRight &= walker.walk(space) == whole;
    if (!isRight) state.SkipWithError("the walk is not whole");
  });
}

bool deleteSpace(const UnicodeString& space, bool inTransaction) {
  std::optional<RegistryTransaction> transaction;
  if (inTransaction) transaction.emplace();
  Spa spa;
  return spa.GetRootAcc(Spc::m_pRootName, false, false) && spa.DelPrcSpace(space) &&
         (!transaction || transaction->Commit() == ERROR_SUCCESS);
}

double secondsOf(const auto& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// A tree goes once, so each run makes its own, which is not measured. Outside a transaction a run waits for
// the disk ten thousand times and needs no repetition.
void addDeletion(Lab& lab, const std::string& load, bool inTransaction) {
  const std::uint32_t size = lab.scaled(tenThousand);
  benchmark::internal::Benchmark* row =
      addRow("sps/spa-delete/" + load,
             [&lab, size, inTransaction](benchmark::State& state, const std::string&) {
               lab.useEmptyStore();
               const UnicodeString space = spaceInUse();
               bool isGone = true;
               while (state.KeepRunningBatch(size)) {
                 makeTree(Shape::Mixed, size);
                 state.SetIterationTime(secondsOf([&] { isGone &= deleteSpace(space, inTransaction); }));
               }
               if (!isGone) state.SkipWithError("the space is not gone");
             })
          ->UseManualTime()
          ->Iterations(size);
  if (!inTransaction) row->Repetitions(1);
}

}  // namespace

void registerAdministration(Lab& lab) {
  addSpaWalk(lab);
  addDeletion(lab, "10k", false);
  addDeletion(lab, "10k-transaction", true);
}

}  // namespace bench
