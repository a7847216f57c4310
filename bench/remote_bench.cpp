// The benchmarks of what goes to the parameter service, and its peers. scripts/bench runs it after
// local_bench and makes one table of both; docs/benchmarks.md says what the rows are.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>

#include "bench/RemoteRows.h"

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  try {
    bench::RemoteLab lab(std::getenv("BENCH_ONCE") != nullptr);
    bench::registerRemote(lab);
    const bool hasRun = benchmark::RunSpecifiedBenchmarks() > 0;
    benchmark::Shutdown();
    return hasRun ? 0 : 1;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "remote_bench: %s\n", failure.what());
    return 1;
  }
}
