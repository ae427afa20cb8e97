// Every benchmark's main: says with what it was built before the figures.
#include <benchmark/benchmark.h>

int main(int argument_count, char** arguments) {
  benchmark::Initialize(&argument_count, arguments);
  if (benchmark::ReportUnrecognizedArguments(argument_count, arguments)) return 1;
  benchmark::AddCustomContext("compiler", __VERSION__);
  benchmark::AddCustomContext("flags", QD_COMPILER_FLAGS);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
