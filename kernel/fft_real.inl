// Transforms of N = 2M real values through the complex transform of M = 2^Order.
//
// With z[n] = x[2n] + i x[2n+1] and Z its transform:
//   s = Z[k] + conj Z[M-k],  t = Z[k] - conj Z[M-k],  q = v[k] t,  v[k] = -i e^(-i pi k / M) / 2
//   X[k] = s/2 + q,  X[M-k] = conj(s/2 - q)
// where Z[M] = Z[0]: k = 0 gives X[0] = Re Z[0] + Im Z[0] and X[M] = Re Z[0] - Im Z[0], without rounding of q; k = M/2
// gives conj Z[k] both times. The same with conj v[k] leads from X back to Z/2.

// ---- Vectors. -------------------------------------------------------------------------------------------------------

template <class V>
using IndicesOf = std::make_integer_sequence<int, sizeof(V) / sizeof(ElementOf<V>)>;

// Of n complex values each: a[0], b[n-1] ... b[1].
template <class V, int... I>
MOX_INLINE V mirrored(V a, V b, std::integer_sequence<int, I...>) {
  constexpr int n = sizeof...(I);
  return __builtin_shufflevector(a, b, (I < 2 ? I : 2 * n - I / 2 * 2 + I % 2)...);
}
template <class V>
MOX_INLINE V mirrored(V a, V b) {
  return mirrored(a, b, IndicesOf<V>());
}
#if MOX_VEC_BYTES >= 32
template <>
MOX_INLINE Vec<double, 4> mirrored(Vec<double, 4> a, Vec<double, 4> b) {
  return _mm256_blend_pd(a, b, 12);  // GCC's choice takes the one port of shuffles between halves
}
#endif

// b[n-1] ... b[0].
template <class V, int... I>
MOX_INLINE V backwards(V b, std::integer_sequence<int, I...>) {
  constexpr int n = sizeof...(I);
  return __builtin_shufflevector(b, b, (n - 2 - I / 2 * 2 + I % 2)...);
}
template <class V>
MOX_INLINE V backwards(V b) {
  return backwards(b, IndicesOf<V>());
}

// a[0], b[0] ... b[n-2].
template <class V, int... I>
MOX_INLINE V delayed(V a, V b, std::integer_sequence<int, I...>) {
  constexpr int n = sizeof...(I);
  return __builtin_shufflevector(a, b, (I < 2 ? I : n + I - 2)...);
}

// a with b's first element for its second.
template <class V, int... I>
MOX_INLINE V withSecond(V a, V b, std::integer_sequence<int, I...>) {
  return __builtin_shufflevector(a, b, (I == 1 ? static_cast<int>(sizeof...(I)) : I)...);
}

// (re, im), (re, im) ...
template <class V>
MOX_INLINE V repeated(ElementOf<V> re, ElementOf<V> im) {
  V v{};
#pragma GCC unroll 16
  for (size_t i = 0; i < sizeof(V) / sizeof(re); i += 2) v[i] = re, v[i + 1] = im;
  return v;
}

// ---- Table: v[0 .. M/2], behind the complex transform's part. -----------------------------------------------------

// Large orders, whose arrays fill the cache as it is, keep the first kFineRoots of them, and e^(-i pi k / M) for every
// multiple k of that number: each root is a product. (float64 with AVX2, back from the spectrum: 145 to 133 us in order
// 16; smaller ones lose up to 5 %.)
constexpr size_t kFineRoots = 128;
template <class T>
constexpr bool hasRootProducts(int order) {
  return (2 * sizeof(T)) << order >= 512 << 10;
}

template <class T>
constexpr uint64_t realTableBytes(int order) {
  const uint64_t roots = uint64_t{1} << order >> 1;
  const uint64_t kept = hasRootProducts<T>(order) ? kFineRoots + roots / kFineRoots : roots;
  return 2 * sizeof(T) * kept + 64;  // room for v[M/2], beyond which one more element may be loaded
}
constexpr uint64_t afterComplex(uint64_t bytes) { return (bytes + 63) / 64 * 64; }

// from<V>(k): a piece that has all roots from v[k] on that lie before v[end]. Its at(k): v[k], v[k+1] ... as parts,
// twice each.
template <class T>
struct RootTable {
  const T* v;
  static constexpr size_t end = SIZE_MAX;

  template <class V>
  MOX_INLINE const RootTable& from(size_t) const {
    return *this;
  }
  template <class V>
  MOX_INLINE void at(size_t k, V& re, V& im) const {
    re = realPartsAt<V>(v + 2 * k);
    im = imagPartsAt<V>(v + 2 * k);
  }
};
template <class T>
struct RootProducts {
  const T* v;

  template <class V>
  struct Piece {
    const T* fine;
    V re, im;
    size_t first, end;

    MOX_INLINE void at(size_t k, V& toRe, V& toIm) const {
      const V a = realPartsAt<V>(fine + 2 * (k - first)), b = imagPartsAt<V>(fine + 2 * (k - first));
      toRe = fms(a, re, b * im);
      toIm = fma(a, im, b * re);
    }
  };
  template <class V>
  MOX_INLINE Piece<V> from(size_t k) const {
    const size_t first = k / kFineRoots * kFineRoots;
    const T* const coarse = v + 2 * (kFineRoots + k / kFineRoots);
    return {v, broadcast<V>(coarse[0]), broadcast<V>(coarse[1]), first, first + kFineRoots};
  }
};
template <class T, int Order>
using RealRoots = std::conditional_t<hasRootProducts<T>(Order), RootProducts<T>, RootTable<T>>;
template <class T, int Order>
MOX_INLINE RealRoots<T, Order> realRoots(const T* table) {
  constexpr uint64_t at = afterComplex(complexTableBytesOf<T, Order>()) / sizeof(T);
  return {table + static_cast<size_t>(at)};
}

template <class T>
void realBuild(int order, const Roots& roots, T* table) {
  // `roots` has the even multiples of pi / M; the odd ones are turned by one step.
  const uint64_t M = uint64_t{1} << order;
  const double step = 1 / static_cast<double>(M);
  const SinCos turn = sinCos(DoubleDouble{3.14159265358979311600 * step, 1.22464679914735320717e-16 * step});
  const uint64_t fine = hasRootProducts<T>(order) ? kFineRoots : M / 2;
  for (uint64_t k = 0; k < fine; ++k, table += 2) {
    Root r = roots.at(k / 2);
    if (k % 2 != 0) r = {r.re * turn.cos + r.im * turn.sin, r.im * turn.cos + -(r.re * turn.sin)};
    table[0] = rounded<T>(r.im) / 2;
    table[1] = rounded<T>(-r.re) / 2;
  }
  if (hasRootProducts<T>(order)) {
    for (uint64_t k = 0; k < M / 2; k += kFineRoots, table += 2) roots.store<T>(k / 2, table);
  } else {
    table[0] = T(-0.5);
    table[1] = 0;
  }
}

// ---- The separation. ------------------------------------------------------------------------------------------------

// a = Z[k], b = Z[M-k] to X[k], X[M-k], with v[k] (D = 1) or its conjugate (D = -1), parts twice each.
template <int D, class V>
MOX_INLINE void separateBy(V& a, V& b, V re, V im) {
  using T = ElementOf<V>;
  const V one = broadcast<V>(1), half = broadcast<V>(T(0.5));
  const V s = fmaAlternating<-1>(a, one, b), t = fmaAlternating<1>(a, one, b);
  const V q = fmaAlternating<D>(t, re, swapParts(t) * im);
  a = fma(s, half, q);
  b = fmaAlternating<1>(s, repeated<V>(T(0.5), T(-0.5)), q);
}
template <int D, class V, class Roots>
MOX_INLINE void separate(V& a, V& b, const Roots& roots, size_t k) {
  V re, im;
  roots.at(k, re, im);
  separateBy<D>(a, b, re, im);
}

// Rows: values k = Lj .. Lj + L-1, in registers or in memory; L is a vector's number of them.
template <class V>
struct RegisterRows {
  V* rows;
  MOX_INLINE V get(size_t j) const { return rows[j]; }
  MOX_INLINE void put(size_t j, V v) const { rows[j] = v; }
};
template <class V>
struct MemoryRows {
  ElementOf<V>* values;
  MOX_INLINE V get(size_t j) const { return load<V>(values + sizeof(V) / sizeof(*values) * j); }
  MOX_INLINE void put(size_t j, V v) const { store(values + sizeof(V) / sizeof(*values) * j, v); }
};
template <class V>
struct BinRows {  // from value 1 on
  const ElementOf<V>* bins;
  MOX_INLINE V get(size_t j) const { return load<V>(bins + sizeof(V) / sizeof(*bins) * j - 2); }
};

// Row 0 of a spectrum, and the value of k = M in the first place of a vector.
template <class V>
MOX_INLINE V rowZero(ElementOf<V> first, const ElementOf<V>* bins) {
  return delayed(repeated<V>(first, 0), load<V>(bins), IndicesOf<V>());
}

// All rows of Z to those of X (kToSpectrum), or the reverse. D = -1 is the inverse: X is conjugated and multiplied by
// scale after the forward separation; D = 1 the forward transform: X is conjugated, by scale = 1, on its way to Z.
template <bool kToSpectrum, int D, class V>
struct Separation {
  static constexpr bool kConjugated = kToSpectrum ? D < 0 : D > 0;
  V factor;  // (scale, -scale)
  V next;    // row j
  V above;   // its first value is value M - k of the first k of row j
  V before;  // the separated values M - k of row j - 1

  template <bool kFirst, class In, class Out, class Roots>
  MOX_INLINE void row(In in, Out out, const Roots& roots, size_t count, size_t j) {
    const V mirror = in.get(count - 1 - j);
    V low = next, high = mirrored(above, mirror);
    next = in.get(j + 1);
    above = mirror;
    separate<kToSpectrum ? 1 : D>(low, high, roots, sizeof(V) / sizeof(low[0]) / 2 * j);
    if (kConjugated) {
      low *= factor;
      high *= factor;
    }
    if (kFirst && kToSpectrum) low = withSecond(low, high, IndicesOf<V>());
    if (!kFirst) out.put(count - j, mirrored(high, before));
    out.put(j, low);
    before = high;
  }
};

// Row 0 and the value of k = M, in the first place of a vector, come as `zero` and `end`. in and out may be the same
// rows, or out's values one element above in's: row j+1 is read before row j is stored.
template <bool kToSpectrum, int D, class In, class Out, class V, class Roots>
MOX_INLINE void separateRows(In in, Out out, size_t count, V zero, V end, Roots roots, ElementOf<V> scale) {
  constexpr size_t L = sizeof(V) / sizeof(scale) / 2;
  Separation<kToSpectrum, D, V> s{repeated<V>(scale, -scale), zero, end, zero};
  s.template row<true>(in, out, roots.template from<V>(0), count, 0);
  for (size_t j = 1; j < count / 2;) {
    const auto& piece = roots.template from<V>(L * j);
    const size_t stop = count / 2 < piece.end / L ? count / 2 : piece.end / L;
#pragma GCC unroll 8
    for (; j < stop; ++j) s.template row<false>(in, out, piece, count, j);
  }
  V middle = s.next * repeated<V>(1, -1);  // k = M/2
  if (s.kConjugated) middle *= s.factor;
  out.put(count / 2, mirrored(middle, s.before));
}

template <class T>
using RealVec = Vec<T, kLanes<T>>;

template <class T, int D, class Roots>
MOX_NOINLINE void separateSpectrum(T* z, size_t M, Roots roots, T scale) {
  using V = RealVec<T>;
  const MemoryRows<V> rows{z};
  const V zero = rows.get(0);
  separateRows<true, D>(rows, rows, 2 * M * sizeof(T) / sizeof(V), zero, zero, roots, scale);
}

template <class T, int D, class Out, class Roots>
MOX_NOINLINE void separateSignal(T first, T middle, const T* bins, Out z, size_t M, Roots roots) {
  using V = RealVec<T>;
  separateRows<false, D>(BinRows<V>{bins}, z, 2 * M * sizeof(T) / sizeof(V), rowZero<V>(first, bins),
                         repeated<V>(middle, 0), roots, T(1));
}

// ---- The transforms. ------------------------------------------------------------------------------------------------

// Vectors of the complex kernel of an order when it works in registers, else 0.
constexpr int registerRows(const void*) { return 0; }
constexpr int registerRows(const Order2*) { return 2; }
#if MOX_VEC_BYTES >= 32
constexpr int registerRows(const Order3*) { return 2; }
template <int L>
constexpr int registerRows(const HalvedOrder3<L>*) {
  return 8 / L;
}
#endif
#if MOX_VEC_BYTES == 64
template <int C>
constexpr int registerRows(const Halved<C>*) {
  return C;
}
#endif
template <class T, int R, int C>
constexpr int registerRows(const Small<T, R, C>*) {
  return R * Small<T, R, C>::K;
}
template <class T, int Order>
constexpr int kRegisterRows = registerRows(static_cast<Kernel<T, Order>*>(nullptr));

// The kernel that a spectrum goes to, after its separation.
template <class T, int Order>
struct SignalKernel : Kernel<T, Order> {};
#if MOX_VEC_BYTES == 64
template <>
struct SignalKernel<double, 3> : HalvedOrder3<2> {};  // 8.0 ns in four rows, 9.4 ns in two
#endif

// Whether a complex kernel comes to its output at once: with Z between them as well there would be too much for the
// first-level cache.
constexpr bool readsSpectrum(const void*) { return false; }
template <class T, int R0, int R1, int R2, int kLast>
constexpr bool readsSpectrum(const BackPasses<T, R0, R1, R2, kLast>*) {
  return R0 * R1 * R2 * kLast * sizeof(T) >= 8192;
}
template <class T, int Order>
constexpr bool kReadsSpectrum = readsSpectrum(static_cast<Kernel<T, Order>*>(nullptr));

// A kernel from memory to rows, and from rows to memory, scaled.
template <class T, class V>
struct IntoRows {
  const T* in;
  V* rows;
  template <class U>
  MOX_INLINE U get(size_t i) const {
    return load<U>(in + 2 * i);
  }
  template <class U>
  MOX_INLINE U getTwice(size_t i) const {
    return loadTwice<U>(in + 2 * i);
  }
  template <class U>
  MOX_INLINE void put(size_t i, U v) const {
    rows[2 * i * sizeof(T) / sizeof(V)] = v;
  }
};
template <class T, class V>
struct FromRows {
  const V* rows;
  T* out;
  T scale;
  template <class U>
  MOX_INLINE U get(size_t i) const {
    return rows[2 * i * sizeof(T) / sizeof(V)];
  }
  template <class U>
  MOX_INLINE void put(size_t i, U v) const {
    store(out + 2 * i, v * broadcast<U>(scale));
  }
};

// Whether M - 1 complex bins and M complex values of the signal lie apart.
template <class T>
MOX_INLINE bool liesApart(const T* bins, const T* out, size_t M) {
  const uintptr_t from = reinterpret_cast<uintptr_t>(bins), to = reinterpret_cast<uintptr_t>(out);
  return to + 2 * M * sizeof(T) <= from || from + 2 * (M - 1) * sizeof(T) <= to;
}

// A kernel that gets Z from X on its way. D as in Separation.
template <class T, size_t M, int D>
struct SpectrumIo {
  static constexpr bool kMirrored = true;
  T first, middle;
  const T* bins;
  T* out;
  const T* roots;
  T scale;

  // a = X[k] .. X[k+L-1], b = X[M-k] .. X[M-k-L+1] to what Z has there. v[k] is conj v[M-k].
  template <class V>
  MOX_INLINE void separate(size_t k, V& a, V& b) const {
    constexpr size_t L = sizeof(V) / sizeof(T) / 2;
    if (k < M / 2) {
      separateBy<D>(a, b, realPartsAt<V>(roots + 2 * k), imagPartsAt<V>(roots + 2 * k));
    } else {
      const V v = backwards(load<V>(roots + 2 * (M - k - L + 1)));
      separateBy<-D>(a, b, realParts(v), imagParts(v));
    }
    if constexpr (D > 0) {
      a *= repeated<V>(1, -1);
      b *= repeated<V>(1, -1);
    }
  }

  template <class V>
  MOX_INLINE V get(size_t k) const {
    constexpr size_t L = sizeof(V) / sizeof(T) / 2;
    V a, b;
    if (k == 0) {
      a = rowZero<V>(first, bins);
      b = mirrored(repeated<V>(middle, 0), load<V>(bins + 2 * (M - L - 1)));
    } else {
      a = load<V>(bins + 2 * k - 2);
      b = backwards(load<V>(bins + 2 * (M - k - L)));
    }
    separate(k, a, b);
    return a;
  }
  template <class V>
  MOX_INLINE void getMirrored(size_t k, V& a, V& b) const {
    constexpr size_t L = sizeof(V) / sizeof(T) / 2;
    a = load<V>(bins + 2 * k - 2);
    b = backwards(load<V>(bins + 2 * (M - k - L)));
    separate(k, a, b);
  }
  template <class V>
  MOX_INLINE void put(size_t i, V v) const {
    store(out + 2 * i, v * broadcast<V>(scale));
  }
  MOX_INLINE void prefetch(size_t i) const { __builtin_prefetch(out + 2 * i, 1); }
  template <bool kAtLine>
  MOX_INLINE T* work(T* scratch) const {
    return workIn<kAtLine>(out, liesApart(bins, out, M), scratch);
  }
};

// Whether a spectrum goes to the order that two sweeps want: one array less in the cache. (Finding the places of single
// float64 values costs more.)
template <class T, int Order>
constexpr bool gathers() {
  if constexpr (Order >= kFirstSweepOrder) {
    return kVecBytes > 16 && kSweepPlan<T, Order>.within;
  } else {
    return false;
  }
}
template <class T, int Order>
constexpr bool kGathers = gathers<T, Order>();
template <class T, int Order>
struct GatheredRows {
  T* values;
  template <class V>
  MOX_INLINE void put(size_t j, V v) const {
    store(values + 2 * sweepGathered<T, Order>(sizeof(V) / sizeof(T) / 2 * j), v);
  }
};

// D = 1: forward; D = -1: its conjugate times scale.
template <class T, int Order, int D>
void realToSpectrum(const T* x, T* spectrum, T* table, T scale) {
  constexpr size_t M = size_t{1} << Order;
  if constexpr (D > 0) scale = 1;
  if constexpr (Order == 0) {
    const T a = x[0], b = x[1];
    spectrum[0] = (a + b) * scale;
    spectrum[1] = (a - b) * scale;
  } else if constexpr (Order == 1) {
    const T a = x[0] + x[2], b = x[1] + x[3], c = x[0] - x[2], d = x[1] - x[3];
    spectrum[0] = (a + b) * scale;
    spectrum[1] = (a - b) * scale;
    spectrum[2] = c * scale;
    spectrum[3] = -D * d * scale;
  } else if constexpr (kRegisterRows<T, Order> > 0) {
    constexpr size_t R = kRegisterRows<T, Order>;
    using V = Vec<T, static_cast<int>(2 * M / R)>;
    V z[R];
    Kernel<T, Order>::template run<1>(IntoRows<T, V>{x, z}, table);
    separateRows<true, D>(RegisterRows<V>{z}, RegisterRows<V>{z}, R, z[0], z[0], realRoots<T, Order>(table), scale);
#pragma GCC unroll 16
    for (size_t j = 0; j < R; ++j) MemoryRows<V>{spectrum}.put(j, z[j]);
  } else {
    kComplexFft<T>.forward[Order](x, spectrum, table, 1);
    separateSpectrum<T, D>(spectrum, M, realRoots<T, Order>(table), scale);
  }
}

// D = -1: inverse, scaled; D = 1: the forward sum, which is the inverse transform of the conjugate spectrum.
template <class T, int Order, int D>
void realToSignal(T first, T middle, const T* bins, T* x, T* table, T scale) {
  constexpr size_t M = size_t{1} << Order;
  if constexpr (D > 0) scale = 1;
  if constexpr (Order == 0) {
    x[0] = (first + middle) * scale;
    x[1] = (first - middle) * scale;
  } else if constexpr (Order == 1) {
    const T a = first + middle, b = first - middle, c = 2 * bins[0], d = D * 2 * bins[1];
    x[0] = (a + c) * scale;
    x[1] = (b + d) * scale;
    x[2] = (a - c) * scale;
    x[3] = (b - d) * scale;
  } else if constexpr (kRegisterRows<T, Order> > 0) {
    constexpr size_t R = registerRows(static_cast<SignalKernel<T, Order>*>(nullptr));
    using V = Vec<T, static_cast<int>(2 * M / R)>;
    V z[R];
    z[0] = rowZero<V>(first, bins);
#pragma GCC unroll 16
    for (size_t j = 1; j < R; ++j) z[j] = BinRows<V>{bins}.get(j);
    separateRows<false, D>(RegisterRows<V>{z}, RegisterRows<V>{z}, R, z[0], repeated<V>(middle, 0),
                           realRoots<T, Order>(table), T(1));
    SignalKernel<T, Order>::template run<-1>(FromRows<T, V>{z, x, 2 * scale}, table);
  } else if constexpr (kReadsSpectrum<T, Order>) {
    const SpectrumIo<T, M, D> io{first, middle, bins, x, realRoots<T, Order>(table).v, 2 * scale};
    Kernel<T, Order>::template run<-1>(io, table);
  } else {
    if constexpr (kGathers<T, Order>) {
      if (liesApart(bins, x, M)) {
        T* const work = sweepWork<T, Order>(x, table);
        separateSignal<T, D>(first, middle, bins, GatheredRows<T, Order>{work}, M, realRoots<T, Order>(table));
        return sweepInverseGathered<T, Order>(work, x, table, 2 * scale);
      }
    }
    separateSignal<T, D>(first, middle, bins, MemoryRows<RealVec<T>>{x}, M, realRoots<T, Order>(table));
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
