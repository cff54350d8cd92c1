// Transforms of N = 2M real values through the complex transform of M = 2^Order.
//
// With z[n] = x[2n] + i x[2n+1] and Z its transform:
//   s = Z[k] + conj Z[M-k],  t = Z[k] - conj Z[M-k],  q = v[k] t,  v[k] = i e^(-i pi k / M) / 2
//   X[k] = s/2 - q,  X[M-k] = conj(s/2 + q)                     k = 1 .. M/2
//   X[0], X[M] = Re Z[0] +- Im Z[0]
// and the same with conj v[k] leads from X back to Z/2. At k = M/2 both lines give conj Z[k].

// Vectors of k..., on which every part of the loops below depends: 32 bytes win over 64 up to M = 512 because of the
// loads and stores of k = 1 mod L.
template <class T, int Order>
constexpr int kRealLanes = Order >= 3 || sizeof(T) == 8 ? (kVecBytes < 32 ? 16 : 32) / static_cast<int>(sizeof(T))
                                                        : 16 / static_cast<int>(sizeof(T));

// The values in reverse order.
MOX_INLINE Vec<float, 4> reversedValues(Vec<float, 4> v) { return __builtin_shufflevector(v, v, 2, 3, 0, 1); }
MOX_INLINE Vec<double, 2> reversedValues(Vec<double, 2> v) { return v; }
#if MOX_VEC_BYTES >= 32
MOX_INLINE Vec<float, 8> reversedValues(Vec<float, 8> v) {
  return __builtin_shufflevector(v, v, 6, 7, 4, 5, 2, 3, 0, 1);
}
MOX_INLINE Vec<double, 4> reversedValues(Vec<double, 4> v) { return __builtin_shufflevector(v, v, 2, 3, 0, 1); }
#endif

// (re, im), (re, im) ...
template <class V>
MOX_INLINE V repeated(ElementOf<V> re, ElementOf<V> im) {
  V v{};
#pragma GCC unroll 8
  for (size_t i = 0; i < sizeof(V) / sizeof(re); i += 2) v[i] = re, v[i + 1] = im;
  return v;
}

// a = Z[k], b = Z[M-k], v = v[k] (D = 1) or its conjugate (D = -1): both lines above.
template <int D, class V>
MOX_INLINE void separate(V& a, V& b, V v) {
  const V one = broadcast<V>(1), half = one / 2;
  const V s = fmaAlternating<-1>(a, one, b), t = fmaAlternating<1>(a, one, b);
  const V q = timesRoot<D>(t, v);
  a = fma(s, half, -q);
  b = fmaAlternating<-1>(s, repeated<V>(ElementOf<V>(0.5), ElementOf<V>(-0.5)), q);
}

// k = 1 .. M/2 of in to those of out, the same, one after the other or `out` one real above `in`.
// Finish: multiplied by (re, im).
template <class T, int Order, int D, bool Finish>
MOX_INLINE void separateAll(const T* in, T* out, const T* roots, T re, T im) {
  constexpr size_t M = size_t{1} << Order, L = kRealLanes<T, Order> / 2;
  using V = Vec<T, kRealLanes<T, Order>>;
  const V finish = repeated<V>(re, im);
  V a = load<V>(in + 2), b = load<V>(in + 2 * (M - L));
  for (size_t k = 1;; k += L) {
    V low = a, high = reversedValues(b);
    separate<D>(low, high, load<V>(roots + 2 * (k - 1)));
    if (Finish) low *= finish, high *= finish;
    const bool last = k + L > M / 2;
    if (!last) {
      a = load<V>(in + 2 * (k + L));
      b = load<V>(in + 2 * (M - k - 2 * L + 1));
    }
    store(out + 2 * k, low);
    store(out + 2 * (M - k - L + 1), reversedValues(high));
    if (last) break;
  }
}

// The real transform's part of the table of a complex order: v[1 .. M/2].
constexpr uint64_t afterComplex(uint64_t bytes) { return (bytes + 63) / 64 * 64; }
template <class T>
constexpr uint64_t realTableBytes(int order) {
  return sizeof(T) << order;
}
template <class T, int Order>
MOX_INLINE const T* realRoots(const T* table) {
  constexpr uint64_t at = afterComplex(complexTableBytesOf<T, Order>()) / sizeof(T);
  return table + static_cast<size_t>(at);
}

template <class T>
void realBuild(int order, const Roots& roots, T* table) {
  // The root of half of the angle, for the odd multiples.
  const uint64_t M = uint64_t{1} << order;
  const double step = 1 / static_cast<double>(M);
  const SinCos half = sinCos(DoubleDouble{3.14159265358979311600 * step, 1.22464679914735320717e-16 * step});
  for (uint64_t k = 1; k <= M / 2; ++k, table += 2) {
    Root r = roots.at(k / 2);
    if (k % 2 != 0) {
      r = {r.re * half.cos + r.im * half.sin, r.im * half.cos + -(r.re * half.sin)};
    }
    table[0] = rounded<T>(-r.im) / 2;
    table[1] = rounded<T>(r.re) / 2;
  }
}

// D = 1: forward; D = -1: its conjugate, scaled.
template <class T, int Order, int D>
void realToSpectrum(const T* x, T* spectrum, T* table, T scale) {
  if constexpr (D > 0) scale = 1;
  if constexpr (Order < 2) {
    T re = x[0], im = x[1];
    if constexpr (Order == 1) {
      const T a = x[2], b = x[3];
      spectrum[2] = (re - a) * scale;
      spectrum[3] = (D > 0 ? b - im : im - b) * scale;
      re = re + a, im = im + b;
    }
    spectrum[0] = (re + im) * scale;
    spectrum[1] = (re - im) * scale;
  } else {
    kComplexFft<T>.forward[Order](x, spectrum, table, 1);
    const T re = spectrum[0], im = spectrum[1];
    spectrum[0] = (re + im) * scale;
    spectrum[1] = (re - im) * scale;
    separateAll<T, Order, 1, (D < 0)>(spectrum, spectrum, realRoots<T, Order>(table), scale, -scale);
  }
}

template <class T, int Order, int D>
void realToSignal(T first, T middle, const T* bins, T* x, T* table, T scale) {
  if constexpr (D > 0) scale = 1;
  T re = first + middle, im = first - middle;
  if constexpr (Order == 0) {
    x[0] = re * scale;
    x[1] = im * scale;
  } else if constexpr (Order == 1) {
    const T a = 2 * bins[0], b = D > 0 ? 2 * bins[1] : -2 * bins[1];
    x[0] = (re + a) * scale;
    x[1] = (im + b) * scale;
    x[2] = (re - a) * scale;
    x[3] = (im - b) * scale;
  } else {
    separateAll<T, Order, D, (D > 0)>(bins - 2, x, realRoots<T, Order>(table), 1, -1);
    x[0] = re / 2;
    x[1] = im / 2;
    kComplexFft<T>.inverse[Order](x, x, table, 2 * scale);
  }
}

// The real transform of order Order + 1.
template <class T, int Order>
constexpr void setReal(Fft<T>& fft) {
  fft.toSpectrum[0][Order + 1] = realToSpectrum<T, Order, 1>;
  fft.toSpectrum[1][Order + 1] = realToSpectrum<T, Order, -1>;
  fft.toSignal[0][Order + 1] = realToSignal<T, Order, 1>;
  fft.toSignal[1][Order + 1] = realToSignal<T, Order, -1>;
}

template <class T, int... Orders>
constexpr void setReals(Fft<T>& fft, std::integer_sequence<int, Orders...>) {
  (setReal<T, Orders>(fft), ...);
}
