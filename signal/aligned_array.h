// Working arrays that begin at a cache line.
#pragma once
#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace mox {

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
