#include <immintrin.h>
#include <sleef.h>

#include <cstring>

#include "bench/native.h"

namespace moxbench::avx2 {

#include "bench/sleef.inl"

}  // namespace moxbench::avx2
