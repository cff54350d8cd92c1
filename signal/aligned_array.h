// Working arrays that begin at a cache line.
#pragma once
#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace mox {

// Whether transforms of so many bytes had better go from one array to another: in place, loads meet the stores of the
// pass before (16 to 64 KB: up to 7 % with AVX2, 18 with AVX-512), above, two arrays leave less room in the cache.
constexpr bool transformsApart(uint64_t bytes) { return bytes >= 16384 && bytes <= 65536; }

// n values; get() is null where there is no memory for them.
template <class T>
class AlignedArray {
 public:
  AlignedArray() = default;
  explicit AlignedArray(uint64_t n) { allocate(n); }
  ~AlignedArray() { std::free(memory_); }
  AlignedArray(const AlignedArray&) = delete;
  AlignedArray& operator=(const AlignedArray&) = delete;

  // Of an array that has no values yet.
  void allocate(uint64_t n) {
    if (n > (PTRDIFF_MAX - kLine) / sizeof(T)) return;
    memory_ = std::malloc(static_cast<size_t>(n) * sizeof(T) + kLine);
    if (memory_) values_ = reinterpret_cast<T*>((reinterpret_cast<uintptr_t>(memory_) + kLine - 1) / kLine * kLine);
  }
  T* get() const { return values_; }

 private:
  static constexpr size_t kLine = 64;
  void* memory_ = nullptr;
  T* values_ = nullptr;
};

}  // namespace mox
