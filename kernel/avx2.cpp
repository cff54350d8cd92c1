#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>
#include "kernel/kernels.h"
#include "kernel/region.h"
#include "kernel/roots.h"

#define MOX_SET_NAME "avx2"
#define MOX_VEC_BYTES 32
#define MOX_HAS_FMA 1

MOX_REGION_BEGIN("avx2,fma")
namespace mox::kernel::avx2 {
#include "kernel/set.inl"
}
MOX_REGION_END
