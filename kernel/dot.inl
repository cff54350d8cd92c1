// Dot products. float32 values are widened, so that their products are exact and the sums run in float64.
//
// Up to 16 elements are added in their order; longer ones run on 16 lanes, element i in lane i mod 16, which are then
// folded by halves: the same tree whatever the width of the vectors.

constexpr size_t kDotLanes = 16;

MOX_INLINE double fma(double a, double b, double c) { return kHasFma ? __builtin_fma(a, b, c) : a * b + c; }

// W doubles from W values.
constexpr int kDotWidth = kVecBytes >= 32 ? 4 : 2;  // wider conversions are slower than two of 32 bytes
using DotVec = Vec<double, kDotWidth>;
MOX_INLINE DotVec widened(const float* p) { return wide(p, static_cast<DotVec*>(nullptr)); }
MOX_INLINE DotVec widened(const double* p) { return load<DotVec>(p); }

// N lanes, folded by halves to Keep neighbours.
template <int N, int Keep>
MOX_INLINE void fold(double* lanes) {
#pragma GCC unroll 8
  for (int half = N / 2; half >= Keep; half /= 2) {
#pragma GCC unroll 32
    for (int k = 0; k < half; ++k) lanes[k] += lanes[k + half];
  }
}

template <class T>
double dotReal(const T* a, const T* b, size_t n) {
  if (n <= kDotLanes) {
    double sum = 0;
    for (size_t i = 0; i < n; ++i) sum = fma(double{a[i]}, double{b[i]}, sum);
    return sum;
  }
  constexpr int kVectors = kDotLanes / kDotWidth;
  DotVec sums[kVectors] = {};
  size_t i = 0;
  for (; i + kDotLanes <= n; i += kDotLanes) {
#pragma GCC unroll 8
    for (int v = 0; v < kVectors; ++v) {
      sums[v] = fma(widened(a + i + v * kDotWidth), widened(b + i + v * kDotWidth), sums[v]);
    }
  }
  double lanes[kDotLanes];
#pragma GCC unroll 8
  for (int v = 0; v < kVectors; ++v) store(lanes + v * kDotWidth, sums[v]);
  for (size_t k = 0; i < n; ++i, ++k) lanes[k] = fma(double{a[i]}, double{b[i]}, lanes[k]);
  fold<kDotLanes, 1>(lanes);
  return lanes[0];
}

// In a lane two complex products each: of equal parts (re re, im im) and of crossed ones (re im, im re).
template <class T>
void dotComplex(const T* a, const T* b, size_t n, double* reIm) {
  if (n <= kDotLanes) {
    double re = 0, im = 0;
    for (size_t i = 0; i < 2 * n; i += 2) {
      const double ar = a[i], ai = a[i + 1], br = b[i], bi = b[i + 1];
      re += fma(ar, br, -(ai * bi));
      im += fma(ar, bi, ai * br);
    }
    reIm[0] = re;
    reIm[1] = im;
    return;
  }
  constexpr int kVectors = 2 * kDotLanes / kDotWidth;
  DotVec equal[kVectors] = {}, crossed[kVectors] = {};
  size_t i = 0;
  for (; i + 2 * kDotLanes <= 2 * n; i += 2 * kDotLanes) {
#pragma GCC unroll 16
    for (int v = 0; v < kVectors; ++v) {
      const DotVec x = widened(a + i + v * kDotWidth), y = widened(b + i + v * kDotWidth);
      equal[v] = fma(x, y, equal[v]);
      crossed[v] = fma(x, swapParts(y), crossed[v]);
    }
  }
  double e[2 * kDotLanes], c[2 * kDotLanes];
#pragma GCC unroll 16
  for (int v = 0; v < kVectors; ++v) {
    store(e + v * kDotWidth, equal[v]);
    store(c + v * kDotWidth, crossed[v]);
  }
  for (size_t k = 0; i < 2 * n; i += 2, k += 2) {
    const double ar = a[i], ai = a[i + 1], br = b[i], bi = b[i + 1];
    e[k] = fma(ar, br, e[k]);
    e[k + 1] = fma(ai, bi, e[k + 1]);
    c[k] = fma(ar, bi, c[k]);
    c[k + 1] = fma(ai, br, c[k + 1]);
  }
  fold<2 * kDotLanes, 2>(e);
  fold<2 * kDotLanes, 2>(c);
  reIm[0] = e[0] - e[1];
  reIm[1] = c[0] + c[1];
}

// Every value twice, next to itself.
MOX_INLINE Vec<double, 2> twice(const float* p, Vec<double, 2>*) {
  return broadcast<Vec<double, 2>>(static_cast<double>(*p));
}
MOX_INLINE Vec<double, 2> twice(const double* p, Vec<double, 2>*) { return broadcast<Vec<double, 2>>(*p); }
#if MOX_VEC_BYTES >= 32
MOX_INLINE Vec<double, 4> spread(Vec<double, 2> v) { return __builtin_shufflevector(v, v, 0, 0, 1, 1); }
template <class T>
MOX_INLINE Vec<double, 4> twice(const T* p, Vec<double, 4>*) {
  return spread(wide(p, static_cast<Vec<double, 2>*>(nullptr)));
}
#endif

// a real, b complex
template <class T>
void dotRealComplex(const T* a, const T* b, size_t n, double* reIm) {
  double lanes[2 * kDotLanes];
  size_t i = 0;
  if (n <= kDotLanes) {
    lanes[0] = lanes[1] = 0;
    for (; i < n; ++i) {
      lanes[0] = fma(double{a[i]}, double{b[2 * i]}, lanes[0]);
      lanes[1] = fma(double{a[i]}, double{b[2 * i + 1]}, lanes[1]);
    }
  } else {
    constexpr int kVectors = 2 * kDotLanes / kDotWidth;
    DotVec sums[kVectors] = {};
    for (; i + kDotLanes <= n; i += kDotLanes) {
#pragma GCC unroll 16
      for (int v = 0; v < kVectors; ++v) {
        const DotVec x = twice(a + i + v * kDotWidth / 2, static_cast<DotVec*>(nullptr));
        sums[v] = fma(x, widened(b + 2 * i + v * kDotWidth), sums[v]);
      }
    }
#pragma GCC unroll 16
    for (int v = 0; v < kVectors; ++v) store(lanes + v * kDotWidth, sums[v]);
    for (size_t k = 0; i < n; ++i, k += 2) {
      lanes[k] = fma(double{a[i]}, double{b[2 * i]}, lanes[k]);
      lanes[k + 1] = fma(double{a[i]}, double{b[2 * i + 1]}, lanes[k + 1]);
    }
    fold<2 * kDotLanes, 2>(lanes);
  }
  reIm[0] = lanes[0];
  reIm[1] = lanes[1];
}

// ---- int16: sums modulo 2^32

int32_t dot16(const int16_t* a, const int16_t* b, size_t n) {
  using V = Vec<int16_t, kLanes<int16_t>>;
  Uint32s sums{};
  size_t i = 0;
  for (; i + kLanes<int16_t> <= n; i += kLanes<int16_t>) {
    sums += reinterpret_cast<Uint32s>(sumOfProducts(load<V>(a + i), load<V>(b + i)));
  }
  uint32_t sum = 0;
  for (int k = 0; k < kWords; ++k) sum += sums[k];
  for (; i < n; ++i) sum += static_cast<uint32_t>(a[i] * b[i]);
  return static_cast<int32_t>(sum);
}

void dotComplex16(const int16_t* a, const int16_t* b, size_t n, int32_t* reIm) {
  using V = Vec<int16_t, kLanes<int16_t>>;
  const V odd = Alternating<int16_t>(0, -1).template vector<V>();
  Uint32s res{}, ims{};
  size_t i = 0;
  for (; i + kLanes<int16_t> <= 2 * n; i += kLanes<int16_t>) {
    const V x = load<V>(a + i), y = load<V>(b + i);
    const Uint32s words = reinterpret_cast<Uint32s>(y);
    // -bi = (-bi - 1) + 1, as the 16-bit -bi may not fit
    res += reinterpret_cast<Uint32s>(sumOfProducts(x, y ^ odd)) +
           reinterpret_cast<Uint32s>(reinterpret_cast<Int32s>(x) >> 16);
    ims += reinterpret_cast<Uint32s>(sumOfProducts(x, reinterpret_cast<V>(words >> 16 | words << 16)));
  }
  uint32_t re = 0, im = 0;
  for (int k = 0; k < kWords; ++k) {
    re += res[k];
    im += ims[k];
  }
  for (; i < 2 * n; i += 2) {
    re += static_cast<uint32_t>(a[i] * b[i]) - static_cast<uint32_t>(a[i + 1] * b[i + 1]);
    im += static_cast<uint32_t>(a[i] * b[i + 1]) + static_cast<uint32_t>(a[i + 1] * b[i]);
  }
  reIm[0] = static_cast<int32_t>(re);
  reIm[1] = static_cast<int32_t>(im);
}

void dotRealComplex16(const int16_t* a, const int16_t* b, size_t n, int32_t* reIm) {
  uint32_t re = 0, im = 0;
  for (size_t i = 0; i < n; ++i) {
    re += static_cast<uint32_t>(a[i] * b[2 * i]);
    im += static_cast<uint32_t>(a[i] * b[2 * i + 1]);
  }
  reIm[0] = static_cast<int32_t>(re);
  reIm[1] = static_cast<int32_t>(im);
}

template <class T>
constexpr Dot<T> dotKernels() {
  return {.real = dotReal<T>, .complex = dotComplex<T>, .realComplex = dotRealComplex<T>};
}
constexpr Dot16 dot16Kernels() { return {.real = dot16, .complex = dotComplex16, .realComplex = dotRealComplex16}; }
