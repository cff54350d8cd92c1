// Delay lines of any element type.
#pragma once
#include <cstddef>
#include <cstring>

namespace mox {

// dlyl[0 ... len-1], newest first, after one more sample and after n of them.
template <class Sample>
void shiftIn(Sample sample, Sample* dlyl, size_t len) {
  std::memmove(dlyl + 1, dlyl, (len - 1) * sizeof(Sample));
  dlyl[0] = sample;
}
template <class Sample>
void shiftIn(const Sample* block, size_t n, Sample* dlyl, size_t len) {
  if (n < len) {
    std::memmove(dlyl + n, dlyl, (len - n) * sizeof(Sample));
  } else {
    block += n - len;
    n = len;
  }
  for (size_t k = 0; k < n; ++k) dlyl[k] = block[n - 1 - k];
}

}  // namespace mox
