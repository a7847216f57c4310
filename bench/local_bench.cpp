// The local benchmarks: the library on its own store, and its peers. scripts/bench runs it and makes the
// table; docs/benchmarks.md says what the rows are.
//
// With BENCH_ONCE in the environment the trees are small: a run that shows that the benchmarks work.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>

#include "bench/Rows.h"

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  try {
    bench::Lab lab(std::getenv("BENCH_ONCE") != nullptr);
    bench::registerReads(lab);
    bench::registerWrites(lab);
    bench::registerOpenings(lab);
    bench::registerAdministration(lab);
    bench::registerHierarchy(lab);
    const bool hasRun = benchmark::RunSpecifiedBenchmarks() > 0;
    benchmark::Shutdown();
    return hasRun ? 0 : 1;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "local_bench: %s\n", failure.what());
    return 1;
  }
}
