// The benchmarks, each a row of the table. Names are WHO/WHAT, as in "sps/get/string/1k": WHO is "sps", the
// library as its users link it, or a peer.
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <exception>
#include <string>

#include "bench/Lab.h"

namespace bench {

void registerReads(Lab& lab);
void registerWrites(Lab& lab);
void registerOpenings(Lab& lab);
void registerAdministration(Lab& lab);
void registerHierarchy(Lab& lab);

// Registers the benchmark; whatever it throws becomes its error.
template <class Run>
benchmark::internal::Benchmark* addRow(const std::string& name, Run run) {
  return benchmark::RegisterBenchmark(name.c_str(), [name, run](benchmark::State& state) {
    try {
      run(state, name);
    } catch (const std::exception& failure) {
      state.SkipWithError(failure.what());
    }
  });
}

// Repeats the step with an index that runs through 0 to count - 1 and then begins anew. False from the
// step is a failure.
template <class Step>
void measure(benchmark::State& state, std::size_t count, const Step& step) {
  std::size_t index = 0;
  bool isRight = true;
  for ([[maybe_unused]] auto iteration : state) {
    isRight &= step(index);
    if (++index == count) index = 0;
  }
  if (!isRight) state.SkipWithError("a call failed");
}

}  // namespace bench
