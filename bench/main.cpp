// SPDX-License-Identifier: MIT
// Runs the benchmarks. All of them register themselves before main().
#include <benchmark/benchmark.h>

int main(int argc, char **argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
