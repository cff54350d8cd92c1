// Correlation: r[k] = sum of conj(a[n]) b[n + k].
//
// Neighbouring lags are neighbouring outputs of a filter whose taps are a, the last one first: they slide (fir.inl).
// Through spectra, they are the inverse transform of conj(A) B.

// ---- sums of products

// Reals from b[from] on, n samples, zeros where there is no b.
template <size_t S, class T>
void lagWindow(const T* b, size_t lenB, ptrdiff_t from, size_t n, double* x) {
  for (; n > 0 && from < 0; --n, ++from) {
    for (size_t s = 0; s < S; ++s) *x++ = 0;
  }
  const size_t start = static_cast<size_t>(from);
  size_t there = start < lenB ? lenB - start : 0;
  if (there > n) there = n;
  firWiden(b + start * S, there * S, x);
  for (size_t i = there * S; i < n * S; ++i) x[i] = 0;
}

// Few outputs: sums[i] = sum over t < count of taps[t] w[i + t step], i < n, a multiple of 8; count is one of 32 /
// step. A single sum would wait for itself at every tap, so there are four for an output: tap t goes to that of number
// t step / 8 mod 4.
constexpr size_t kFewLags = 24;
constexpr int kFewRows = sizeof(void*) == 4 ? 1 : kVecBytes == 64 ? 3 : 2;

template <int Q, int Row, int R>
MOX_INLINE void fewAdd(FirVec (&sums)[4 * R], FirVec x, FirVec tap) {
  if constexpr (Row >= 0 && Row < R) sums[Q * R + Row] = fma(x, tap, sums[Q * R + Row]);
}
template <int R, int O>
MOX_INLINE void fewWindow(FirVec (&sums)[4 * R], const FirVec (&taps)[4], const double* w) {
  constexpr int kApart = 8 / kFirLanes;
  FirVec x = load<FirVec>(w + kFirLanes * O);
  firPin(x);
  fewAdd<0, O, R>(sums, x, taps[0]);
  fewAdd<1, O - kApart, R>(sums, x, taps[1]);
  fewAdd<2, O - 2 * kApart, R>(sums, x, taps[2]);
  fewAdd<3, O - 3 * kApart, R>(sums, x, taps[3]);
}
template <int R, int... O>
MOX_INLINE void fewWindows(FirVec (&sums)[4 * R], const FirVec (&taps)[4], const double* w,
                           std::integer_sequence<int, O...>) {
  (fewWindow<R, O>(sums, taps, w), ...);
}
template <int R>
MOX_INLINE void fewTile(const double* taps, size_t count, const double* w, size_t step, double* out, bool add) {
  const size_t phases = 8 / step;
  FirVec sums[4 * R] = {};
  for (size_t t = 0; t < count; t += 4 * phases, w += 32) {
    for (size_t p = 0; p < phases; ++p) {
      const double* const tap = taps + t + p;
      const FirVec four[4] = {broadcast<FirVec>(tap[0]), broadcast<FirVec>(tap[phases]),
                              broadcast<FirVec>(tap[2 * phases]), broadcast<FirVec>(tap[3 * phases])};
      fewWindows<R>(sums, four, w + p * step, std::make_integer_sequence<int, R + 3 * 8 / kFirLanes>{});
    }
  }
#pragma GCC unroll 4
  for (int r = 0; r < R; ++r) {
    FirVec sum = (sums[r] + sums[R + r]) + (sums[2 * R + r] + sums[3 * R + r]);
    if (add) sum = load<FirVec>(out + r * kFirLanes) + sum;
    store(out + r * kFirLanes, sum);
  }
}
MOX_NOINLINE void fewSlide(const double* taps, size_t count, const double* w, size_t step, double* sums, size_t n,
                           bool add) {
  size_t i = 0;
  for (; i + kFewRows * kFirLanes <= n; i += kFewRows * kFirLanes) {
    fewTile<kFewRows>(taps, count, w + i, step, sums + i, add);
  }
  if constexpr (kFewRows == 3) {
    if (i + 2 * kFirLanes <= n) {
      fewTile<2>(taps, count, w + i, step, sums + i, add);
    } else if (i < n) {
      fewTile<1>(taps, count, w + i, step, sums + i, add);
    }
  }
}

constexpr size_t roundedUp(size_t n, size_t unit) { return (n + unit - 1) / unit * unit; }

// Lags by the whole tile of firSlide.
constexpr size_t kLagTile = 32;
static_assert(kLagSums <= kFirSums && kLagSums % kLagTile == 0);

// b of S reals a value.
template <size_t S, bool ComplexA, class T>
void slideLags(const T* a, size_t lenA, const T* b, size_t lenB, ptrdiff_t at, double* sums, size_t count) {
  constexpr bool kPlanes = S == 1 && ComplexA;  // real and imaginary parts of the sums apart
  constexpr bool kTurned = S == 2 && ComplexA;
  constexpr size_t kTapReals = ComplexA ? 2 : 1;
  constexpr size_t kWindow = kFirTaps * S + kLagSums + 32;
  alignas(64) double values[kFirTaps * kTapReals], re[kFirTaps + 32], im[ComplexA ? kFirTaps + 32 : 1];
  alignas(64) double x[kWindow], ix[kTurned ? kWindow : 1];
  alignas(64) double first[kLagSums], second[kPlanes ? kLagSums : 1];
  const bool few = count * S <= kFewLags;
  const size_t n = roundedUp(count * S, few ? 8 : kLagTile);
  for (size_t done = 0; done < lenA; done += kFirTaps) {
    const size_t k = lenA - done < kFirTaps ? lenA - done : kFirTaps;
    // Few lags take the taps in order, the others the last one first.
    firWiden(a + done * kTapReals, k * kTapReals, few && !ComplexA ? re : values);
    if (!few) {
      for (size_t j = 0; j < k; ++j) {
        re[j] = values[(k - 1 - j) * kTapReals];
        if constexpr (ComplexA) im[j] = -values[2 * (k - 1 - j) + 1];
      }
    } else if constexpr (ComplexA) {
      for (size_t j = 0; j < k; ++j) {
        re[j] = values[2 * j];
        im[j] = -values[2 * j + 1];
      }
    }
    size_t samples = k + n / S - 1;
    lagWindow<S>(b, lenB, at + static_cast<ptrdiff_t>(done), samples, x);
    const bool add = done > 0;
    if (few) {
      // Zeros up to a whole group of taps.
      const size_t taps = roundedUp(k, 32 / S);
      for (size_t j = k; j < taps; ++j) {
        re[j] = 0;
        if constexpr (ComplexA) im[j] = 0;
      }
      for (size_t i = samples * S; i < taps * S + n; ++i) x[i] = 0;
      samples = taps + n / S;
      fewSlide(re, taps, x, S, first, n, add);
      if constexpr (kTurned) {
        firTimesI(x, samples, ix);
        fewSlide(im, taps, ix, S, first, n, true);
      } else if constexpr (kPlanes) {
        fewSlide(im, taps, x, S, second, n, add);
      }
      continue;
    }
    const size_t newest = (k - 1) * S;
    firSlide<double>(re, k, x + newest, S, add ? first : nullptr, first, n);
    if constexpr (kTurned) {
      firTimesI(x, samples, ix);
      firSlide<double>(im, k, ix + newest, S, first, first, n);
    } else if constexpr (kPlanes) {
      firSlide<double>(im, k, x + newest, S, add ? second : nullptr, second, n);
    }
  }
  for (size_t i = 0; i < count * S; ++i) {
    if constexpr (kPlanes) {
      sums[2 * i] = first[i];
      sums[2 * i + 1] = second[i];
    } else {
      sums[i] = first[i];
    }
  }
}

// ---- spectra: whole vectors of complex values; those of real signals keep X[0] and X[N/2] in value 0

MOX_INLINE void addProducts(double* sums, Vec<double, kLanes<double>> v) {
  store(sums, load<Vec<double, kLanes<double>>>(sums) + v);
}
MOX_INLINE void addProducts(double* sums, Vec<float, kLanes<float>> v) {
  addProducts(sums, widenedLow(v));
  addProducts(sums + kLanes<double>, widenedHigh(v));
}

template <class T>
void spectrumProducts(const T* a, const T* b, T* dst, size_t n, bool real) {
  using V = Vec<T, kLanes<T>>;
  const T zero = a[0] * b[0], middle = a[1] * b[1];
  for (size_t i = 0; i < 2 * n; i += kLanes<T>) store(dst + i, timesRoot<-1>(load<V>(b + i), load<V>(a + i)));
  if (real) {
    dst[0] = zero;
    dst[1] = middle;
  }
}

template <class T>
void addSpectrumProducts(const T* a, const T* b, double* sums, size_t n, bool real) {
  using V = Vec<T, kLanes<T>>;
  const double zero = sums[0] + double{a[0]} * double{b[0]}, middle = sums[1] + double{a[1]} * double{b[1]};
  for (size_t i = 0; i < 2 * n; i += kLanes<T>) {
    addProducts(sums + i, timesRoot<-1>(load<V>(b + i), load<V>(a + i)));
  }
  if (real) {
    sums[0] = zero;
    sums[1] = middle;
  }
}

// 1 where an even value of a vector of complex ones stands, else -1; single values take turns.
template <class T>
MOX_INLINE Vec<T, kLanes<T>> turns() {
  Vec<T, kLanes<T>> v{};
#pragma GCC unroll 16
  for (int i = 0; i < kLanes<T>; ++i) v[i] = i / 2 % 2 == 0 ? T(1) : T(-1);
  return v;
}

template <class T>
void addNeighbourProducts(const T* a, const T* next, double* sums, size_t n, bool real) {
  using V = Vec<T, kLanes<T>>;
  const double zero = sums[0] + double{a[0]} * (double{a[0]} + double{next[0]});
  const double middle = sums[1] + double{a[1]} * (double{a[1]} + double{next[1]});
  V sign = turns<T>();
  for (size_t i = 0; i < 2 * n; i += kLanes<T>) {
    const V x = load<V>(a + i), y = fma(load<V>(next + i), sign, x);
    addProducts(sums + i, timesRoot<-1>(y, x));
    if constexpr (kLanes<T> == 2) sign = -sign;
  }
  if (real) {
    sums[0] = zero;
    sums[1] = middle;
  }
}

// ---- results

using FirLongs = Vec<int64_t, kFirLanes>;
MOX_INLINE bool noLane(FirLongs mask) {
  int64_t any = 0;
  for (int i = 0; i < kFirLanes; ++i) any |= mask[i];
  return any == 0;
}

// dst[i] = sums[i] * factor, rounded.
template <class T>
bool roundedSums(const double* sums, T* dst, size_t n, double factor) {
  const FirVec factors = broadcast<FirVec>(factor);
  FirLongs undefined{};
  size_t i = 0;
  for (; i + kFirLanes <= n; i += kFirLanes) {
    const FirVec v = load<FirVec>(sums + i) * factors;
    undefined |= reinterpret_cast<FirLongs>(v != v);
    firStore(dst + i, v);
  }
  bool defined = noLane(undefined);
  for (; i < n; ++i) {
    const double v = sums[i] * factor;
    defined &= v == v;
    dst[i] = static_cast<T>(v);
  }
  return defined;
}

// dst[k] = src[k] * (1 / (len - k)) in every part of a value.
template <int Parts, class From, class T>
MOX_INLINE bool unbiasedParts(const From* src, T* dst, size_t n, double len) {
  FirVec rest = broadcast<FirVec>(len);
#pragma GCC unroll 8
  for (int i = 0; i < kFirLanes; ++i) rest[i] -= i / Parts;
  FirLongs undefined{};
  size_t i = 0;
  for (; i + kFirLanes <= n; i += kFirLanes) {
    const FirVec v = wide(src + i, static_cast<FirVec*>(nullptr)) * (broadcast<FirVec>(1) / rest);
    rest -= broadcast<FirVec>(kFirLanes / Parts);
    undefined |= reinterpret_cast<FirLongs>(v != v);
    firStore(dst + i, v);
  }
  bool defined = noLane(undefined);
  for (int k = 0; i < n; ++i, ++k) {
    const double v = double{src[i]} * (1 / rest[k]);
    defined &= v == v;
    dst[i] = static_cast<T>(v);
  }
  return defined;
}
template <class From, class T>
bool unbiased(const From* src, T* dst, size_t n, size_t parts, double len) {
  return parts == 1 ? unbiasedParts<1>(src, dst, n, len) : unbiasedParts<2>(src, dst, 2 * n, len);
}

template <class T>
constexpr Correlation<T> correlationKernels() {
  return {.real = slideLags<1, false, T>,
          .realComplex = slideLags<2, false, T>,
          .complexReal = slideLags<1, true, T>,
          .complex = slideLags<2, true, T>,
          .products = spectrumProducts<T>,
          .addProducts = addSpectrumProducts<T>,
          .addNeighbourProducts = addNeighbourProducts<T>,
          .round = roundedSums<T>,
          .unbiasSums = unbiased<double, T>,
          .unbias = unbiased<T, T>};
}
