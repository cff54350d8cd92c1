// What the benchmarks of every family share.
#pragma once
#include <benchmark/benchmark.h>

#include <cstddef>
#include <string>
#include <vector>

#include "kernel/kernels.h"
#include "moxa1.h"

namespace moxbench {

// The kernel sets that this processor can run.
std::vector<const mox::kernel::Kernels*> kernelSets();

// Whether peers compiled for AVX2 can run, which stand beside those for this processor.
bool hasAvx2();

// Makes `kernels` the set behind the calls that follow.
void use(const mox::kernel::Kernels* kernels);

// One of three arrays, the same ones for every contender, with room for kArrayBytes. They begin on a cache line, at
// different places of a page: where all begin at the same place, every load waits for a store that looks like it.
constexpr size_t kArrayBytes = size_t{25} << 20;
template <class T>
T* array(int which);

// n values uniform in (-1, 1), always the same ones.
template <class T>
void fillNoise(T* values, size_t n);

// Runs once and checks the result, then times. `wrong` returns what is wrong with it, or "". `prepare` runs in between.
template <class Run, class Wrong, class Prepare>
void measure(benchmark::State& state, Run run, Wrong wrong, Prepare prepare) {
  run();
  if (const std::string fault = wrong(); !fault.empty()) {
    state.SkipWithError(fault.c_str());
    return;
  }
  prepare();
  for (auto _ : state) {
    run();
    benchmark::ClobberMemory();
  }
}

// Contenders of this library are its kernel sets.
std::string caseName(const char* family, const char* name, int size, const char* contender);

// Enters a benchmark of the current kernel set, or of `kernels`: fills the arrays, runs once and checks, then times.
template <class Fill, class Run, class Wrong>
void add(const std::string& name, const mox::kernel::Kernels* kernels, Fill fill, Run run, Wrong wrong) {
  benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
    if (kernels) use(kernels);
    fill();
    measure(state, run, wrong, [] {});
  });
}

void registerArithmetic();
void registerConvert();
void registerConvolution();
void registerCorrelation();
void registerDft();
void registerDotProd();
void registerElementwise();
void registerFft();
void registerFir();
void registerImage();
void registerIir();
void registerGenerators();
void registerInt16();
void registerLaw();
void registerLms();
void registerLnExp();
void registerRandom();
void registerSampling();

}  // namespace moxbench
