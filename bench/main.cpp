#include "bench/support.h"

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  // A failure shows as a wrong result.
  moxSetErrMode(MOX_ErrModeSilent);
  moxbench::registerArithmetic();
  moxbench::registerFft();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
