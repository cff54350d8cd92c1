// Working arrays of float32 for functions on int16 data.
#pragma once
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace mox {

// n values; get() is null where there is no memory for them.
class FloatArray {
 public:
  explicit FloatArray(uint64_t n)
      : values_(n <= PTRDIFF_MAX / sizeof(float)
                    ? static_cast<float*>(std::malloc(std::max<size_t>(static_cast<size_t>(n), 1) * sizeof(float)))
                    : nullptr) {}
  FloatArray(const int16_t* src, uint64_t n) : FloatArray(n) {
    if (values_) std::copy_n(src, static_cast<size_t>(n), values_);
  }
  ~FloatArray() { std::free(values_); }
  FloatArray(const FloatArray&) = delete;
  FloatArray& operator=(const FloatArray&) = delete;
  float* get() const { return values_; }

 private:
  float* values_;
};

}  // namespace mox
