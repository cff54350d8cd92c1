#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "moxa1.h"

namespace mox {
namespace {

// A block: padding, the address that malloc gave, the caller's bytes from a multiple of 8 on, 4 to 11 bytes in.
// Addresses of 8 bytes have their room, because malloc's own are multiples of 8 then: the caller's bytes start 8 bytes
// in.
constexpr size_t kAlignment = 8;
constexpr size_t kOverhead = 12;
static_assert(sizeof(void*) == 4 || alignof(std::max_align_t) >= kAlignment);

void* allocate(int64_t bytes) {
  if (bytes > static_cast<int64_t>(PTRDIFF_MAX - kOverhead)) return nullptr;
  // A negative size asks for nearly all of the address space; a block has room for its own word in any case.
  void* const raw = std::malloc(std::max(static_cast<size_t>(bytes) + kOverhead, kOverhead));
  if (!raw) return nullptr;
  const uintptr_t block = (reinterpret_cast<uintptr_t>(raw) + kOverhead - 1) & ~uintptr_t{kAlignment - 1};
  auto* const words = reinterpret_cast<void**>(block);
  words[-1] = raw;
  return words;
}

template <class T>
T* allocateArray(int32_t n) {
  return static_cast<T*>(allocate(int64_t{n} * static_cast<int64_t>(sizeof(T))));
}

}  // namespace
}  // namespace mox

extern "C" {

void* moxMalloc(int32_t length) { return mox::allocate(length); }

float* moxsMalloc(int32_t n) { return mox::allocateArray<float>(n); }
double* moxdMalloc(int32_t n) { return mox::allocateArray<double>(n); }
MoxC* moxcMalloc(int32_t n) { return mox::allocateArray<MoxC>(n); }
MoxZ* moxzMalloc(int32_t n) { return mox::allocateArray<MoxZ>(n); }
int16_t* moxwMalloc(int32_t n) { return mox::allocateArray<int16_t>(n); }
MoxV* moxvMalloc(int32_t n) { return mox::allocateArray<MoxV>(n); }
int32_t* moxiMalloc(int32_t n) { return mox::allocateArray<int32_t>(n); }
MoxJ* moxjMalloc(int32_t n) { return mox::allocateArray<MoxJ>(n); }

void moxFree(void* ptr) {
  if (ptr) std::free(static_cast<void**>(ptr)[-1]);
}

const char* moxGetLibVersion() { return "moxa1.dll, v 3.1 [3.01.02, 04/11/96], build Apr 11 1996"; }

}  // extern "C"
