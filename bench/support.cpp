#include "bench/support.h"

#include <cstdlib>
#include <random>

namespace moxbench {

std::vector<const mox::kernel::Kernels*> kernelSets() {
  using mox::kernel::Level;
  std::vector<const mox::kernel::Kernels*> sets;
  for (const Level level : {Level::sse2, Level::avx2, Level::avx512}) {
    if (const auto* const kernels = mox::kernel::at(level)) sets.push_back(kernels);
  }
  return sets;
}

bool hasAvx2() { return mox::kernel::at(mox::kernel::Level::avx2) != nullptr; }

void use(const mox::kernel::Kernels* kernels) {
  if (mox::kernel::active == kernels) return;
  // A table belongs to the set that built it.
  moxcFreeTwdTbls();
  moxzFreeTwdTbls();
  mox::kernel::active = kernels;
}

std::string caseName(const char* family, const char* name, int size, const char* contender) {
  return std::string(family) + "/" + name + "/" + std::to_string(size) + "/" + contender;
}

template <class T>
T* array(int which) {
  constexpr size_t kPage = 4096, kShift = 1344;
  static char* const memory = static_cast<char*>(std::aligned_alloc(kPage, 3 * (kArrayBytes + kPage)));
  return reinterpret_cast<T*>(memory + static_cast<size_t>(which) * (kArrayBytes + kShift));
}
template float* array<float>(int);
template double* array<double>(int);
template int16_t* array<int16_t>(int);
template uint8_t* array<uint8_t>(int);

template <class T>
void fillNoise(T* values, size_t n) {
  std::minstd_rand bits;
  for (size_t i = 0; i < n; ++i) values[i] = static_cast<T>((static_cast<double>(bits()) - 1073741823.5) / 1073741824);
}
template void fillNoise<float>(float*, size_t);
template void fillNoise<double>(double*, size_t);

}  // namespace moxbench
