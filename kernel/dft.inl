// The sum of a discrete Fourier transform as it is written, for some outputs at a time: X[k] adds x[n] w[k n mod N] in
// the order of n, each complex product and each sum in float64. No set gives other bits than that plain loop, which
// waits for its additions: outputs side by side take 0.5 ns a term, one at a time 1.6.

#if defined(__x86_64__)
constexpr int kDftVectors = 8;
#else  // half the registers
constexpr int kDftVectors = 4;
#endif
constexpr int kDftPairs = kDotWidth / 2, kDftOutputs = kDftVectors * kDftPairs;
using DftIndices = Vec<int32_t, 2 * kDotWidth>;
constexpr int kDftIndexVectors = kDftOutputs / (2 * kDotWidth);

// Table entries as (re, im) pairs in float64.
#if MOX_VEC_BYTES >= 32
MOX_INLINE DotVec dftRoots(const double* w, const int32_t* index) {
  return loadHalves(w + 2 * static_cast<size_t>(index[0]), w + 2 * static_cast<size_t>(index[1]));
}
MOX_INLINE DotVec dftRoots(const float* w, const int32_t* index) {
  const __m64* const low = reinterpret_cast<const __m64*>(w + 2 * static_cast<size_t>(index[0]));
  const __m64* const high = reinterpret_cast<const __m64*>(w + 2 * static_cast<size_t>(index[1]));
  return widen(_mm_loadh_pi(_mm_loadl_pi(_mm_setzero_ps(), low), high));
}
#else
template <class T>
MOX_INLINE DotVec dftRoots(const T* w, const int32_t* index) {
  return wide(w + 2 * static_cast<size_t>(*index), static_cast<DotVec*>(nullptr));
}
#endif

// One part of a sample in every lane: widened after the broadcast, which is for nothing.
MOX_INLINE DotVec dftPart(const double* p) { return broadcast<DotVec>(*p); }
#if MOX_VEC_BYTES >= 32
MOX_INLINE DotVec dftPart(const float* p) { return widen(broadcast<Vec<float, 4>>(*p)); }
#else
MOX_INLINE DotVec dftPart(const float* p) { return widenLow(broadcast<Vec<float, 4>>(*p)); }
#endif

// a w + b (the parts of w exchanged). float32 products are exact: fused or not is the same.
MOX_INLINE DotVec dftTerm(DotVec a, DotVec b, DotVec w, const float*) { return fma(a, w, b * swapParts(w)); }
MOX_INLINE DotVec dftTerm(DotVec a, DotVec b, DotVec w, const double*) { return a * w + b * swapParts(w); }

// Outputs k to k + count - 1, count <= kDftOutputs; what is beyond repeats the last.
template <class T, int D>
void dftOutputs(const T* x, T* out, const T* w, int32_t n, int32_t k, int count, double scale) {
  int32_t outputs[kDftOutputs], index[kDftOutputs];
  for (int j = 0; j < kDftOutputs; ++j) outputs[j] = k + (j < count ? j : count - 1);
  // Indices without the last turn: k n mod N - N, which a step of k brings to 0 or above once N must go.
  DftIndices at[kDftIndexVectors], steps[kDftIndexVectors];
#pragma GCC unroll 2
  for (int v = 0; v < kDftIndexVectors; ++v) {
    at[v] = DftIndices{};
    steps[v] = load<DftIndices>(outputs + v * 2 * kDotWidth) - n;
  }
  const DotVec signs = alternating<DotVec>(-D);
  DotVec sums[kDftVectors] = {};
  for (int32_t i = 0; i < n; ++i) {
#pragma GCC unroll 2
    for (int v = 0; v < kDftIndexVectors; ++v) {
      store(index + v * 2 * kDotWidth, at[v]);
      at[v] += steps[v];
      at[v] += (at[v] >> 31) & n;
    }
    asm("" : "+m"(index));  // GCC would take the lanes out of the vector one by one
    const DotVec re = dftPart(x + 2 * static_cast<size_t>(i)), im = dftPart(x + 2 * static_cast<size_t>(i) + 1);
    const DotVec a = D > 0 ? re : re * signs, b = D > 0 ? im * signs : im;
#pragma GCC unroll 8
    for (int v = 0; v < kDftVectors; ++v) sums[v] += dftTerm(a, b, dftRoots(w, index + v * kDftPairs), x);
  }
  T results[2 * kDftOutputs];
#pragma GCC unroll 8
  for (int v = 0; v < kDftVectors; ++v) narrowTo(results + v * kDotWidth, sums[v] * scale);
  __builtin_memcpy(out + 2 * static_cast<size_t>(k), results, 2 * sizeof(T) * static_cast<size_t>(count));
}

template <class T, int D>
void dft(const T* x, T* out, const T* w, int32_t n, double scale) {
  for (int32_t k = 0; k < n; k += kDftOutputs) {
    const int32_t left = n - k;
    dftOutputs<T, D>(x, out, w, n, k, left < kDftOutputs ? left : kDftOutputs, scale);
    if (left <= kDftOutputs) break;
  }
}

template <class T>
constexpr Dft<T> dftKernels() {
  return {.forward = dft<T, 1>, .inverse = dft<T, -1>};
}
