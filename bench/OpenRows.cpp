// What comes before the first value: opening a walk, and the first read of a new process.
#include <cstdlib>

#include "bench/Process.h"
#include "bench/Rows.h"
#include "src/RgNode.h"

namespace bench {

namespace {

void addWalk(Lab& lab, const std::string& load, const char16_t* topic) {
  addRow("sps/walk/" + load, [&lab, topic](benchmark::State& state, const std::string&) {
    lab.useWideTree();
    const std::u16string path = topicPath(topic);
    UnicodeString first;
    measure(state, 1, [&](std::size_t) {
      RgNode node;
      return node.Init(path.c_str(), false, false) && node.GoFirstSubNode() && node.GetNextSubNode(first);
    });
    if (first != childAt(0).c_str()) state.SkipWithError("the walk begins elsewhere");
  });
}

// The program measures itself and checks its value; a new one each time, and no mean of several.
void addFirstRead(Lab& lab, const std::string& load, std::uint32_t size) {
  constexpr int processes = 20;
  addRow("sps/first-get/" + load,
         [&lab, size](benchmark::State& state, const std::string&) {
           const std::string store = lab.useTree(Shape::Strings, size);
           const std::string command =
               "SPS_REGISTRY=" + quoted(store) + " " + quoted(SPS_FIRST_READ) + " " + quoted(textOf(0));
           for ([[maybe_unused]] auto iteration : state) {
             constexpr double nanosecond = 1e-9;
             state.SetIterationTime(std::strtod(outputOf(command).c_str(), nullptr) * nanosecond);
           }
         })
      ->UseManualTime()
      ->Iterations(1)
      ->Repetitions(lab.isQuick() ? 1 : processes);
}

}  // namespace

void registerOpenings(Lab& lab) {
  addWalk(lab, "10", narrowWalk);
  addWalk(lab, "100k", wideWalk);
  addFirstRead(lab, "1k", thousand);
  addFirstRead(lab, "1M", million);
}

}  // namespace bench
