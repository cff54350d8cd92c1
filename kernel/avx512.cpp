#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>
#include "kernel/kernels.h"
#include "kernel/region.h"
#include "kernel/roots.h"

// GCC 12 takes the undefined upper operands of its own intrinsics for a fault.
#if !defined(__clang__)
#  pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#define MOX_SET_NAME "avx512"
#define MOX_VEC_BYTES 64
#define MOX_HAS_FMA 1

MOX_REGION_BEGIN("avx512f,avx512bw,avx512dq,avx512vl,avx2,fma")
namespace mox::kernel::avx512 {
#include "kernel/set.inl"
}
MOX_REGION_END
