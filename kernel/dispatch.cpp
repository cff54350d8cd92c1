#include "kernel/kernels.h"

#include <initializer_list>

namespace mox::kernel {

namespace sse2 {
extern const Kernels table;
}
namespace avx2 {
extern const Kernels table;
}
namespace avx512 {
#if defined(_WIN32) && defined(__i386__)
constexpr const Kernels* available = nullptr;  // not built: with eight vector registers it gains nothing
#else
extern const Kernels table;
constexpr const Kernels* available = &table;
#endif
}  // namespace avx512

const Kernels* at(Level level) {
  // These tests ask the system, too, whether it saves the wide registers.
  __builtin_cpu_init();
  switch (level) {
    case Level::avx512:
      return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                     __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl") &&
                     __builtin_cpu_supports("fma")
                 ? avx512::available
                 : nullptr;
    case Level::avx2:
      return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") ? &avx2::table : nullptr;
    case Level::sse2:
      return &sse2::table;
  }
  return nullptr;
}

constinit const Kernels* active = &sse2::table;

// Before every constructor that could call the library.
[[gnu::constructor(101)]] static void choose() {
  for (const Level level : {Level::avx512, Level::avx2}) {
    if (const Kernels* const best = at(level)) {
      active = best;
      return;
    }
  }
}

}  // namespace mox::kernel
