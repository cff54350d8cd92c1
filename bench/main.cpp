#include <fstream>
#include <string>

#include "bench/support.h"

namespace {

// The name that the processor gives itself.
std::string processor() {
  std::ifstream info("/proc/cpuinfo");
  for (std::string line; std::getline(info, line);) {
    if (line.rfind("model name", 0) == 0) return line.substr(line.find(':') + 2);
  }
  return "unknown";
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::AddCustomContext("processor", processor());
  // A failure shows as a wrong result.
  moxSetErrMode(MOX_ErrModeSilent);
  moxbench::registerArithmetic();
  moxbench::registerConvert();
  moxbench::registerDotProd();
  moxbench::registerElementwise();
  moxbench::registerInt16();
  moxbench::registerLnExp();
  moxbench::registerLaw();
  moxbench::registerFft();
  moxbench::registerDft();
  moxbench::registerFir();
  moxbench::registerConvolution();
  moxbench::registerIir();
  moxbench::registerLms();
  moxbench::registerCorrelation();
  moxbench::registerSampling();
  moxbench::registerRandom();
  moxbench::registerGenerators();
  moxbench::registerImage();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
