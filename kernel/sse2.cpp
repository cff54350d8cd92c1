#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>
#include "kernel/kernels.h"
#include "kernel/region.h"
#include "kernel/roots.h"

#define MOX_SET_NAME "sse2"
#define MOX_VEC_BYTES 16
#define MOX_HAS_FMA 0

MOX_REGION_BEGIN("sse2")
namespace mox::kernel::sse2 {
#include "kernel/set.inl"
}
MOX_REGION_END
