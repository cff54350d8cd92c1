// Random numbers. Of the generator only the borrows are a chain: they run in scalar registers, everything else in
// vectors behind them.

constexpr size_t kDrawBlock = 512;
constexpr size_t kWordLanes = kLanes<uint32_t>;

// ---- draws

// One step of the subtraction: returns h1 - borrowed, less 18 where h1 <= borrowed. `borrowed` is the oldest word with
// the borrow added, and becomes that of the next step: two cycles a draw. From a condition in the language compilers
// make a branch, half of which would be predicted wrong.
MOX_INLINE uint32_t subtracted(uint32_t h1, uint32_t& borrowed) {
  uint32_t d = h1, other;
  asm("subl %[borrowed], %[d]\n\t"
      "leal 1(%[h1]), %[other]\n\t"
      "movl %[h1], %[borrowed]\n\t"
      "cmovlel %[other], %[borrowed]\n\t"
      "leal -18(%[d]), %[other]\n\t"
      "cmovlel %[other], %[d]"
      : [d] "+&r"(d), [borrowed] "+&r"(borrowed), [other] "=&r"(other)
      : [h1] "r"(h1)
      : "cc");
  return d;
}

struct LcgJump {
  uint32_t factor, term;
};
constexpr LcgJump kLcg = {69069, 1013904243};
// n steps at once.
constexpr LcgJump lcgJump(size_t n) {
  LcgJump all = {1, 0}, power = kLcg;
  for (; n > 0; n /= 2) {
    if (n % 2) all = {all.factor * power.factor, all.term * power.factor + power.term};
    power = {power.factor * power.factor, power.term * power.factor + power.term};
  }
  return all;
}
struct LcgLanes {
  uint32_t factor[kWordLanes], term[kWordLanes];
};
consteval LcgLanes lcgLanes() {
  LcgLanes lanes = {};
  for (size_t i = 0; i < kWordLanes; ++i) {
    lanes.factor[i] = lcgJump(i + 1).factor;
    lanes.term[i] = lcgJump(i + 1).term;
  }
  return lanes;
}
constexpr LcgLanes kLcgLanes = lcgLanes();

// The subtraction's part of draws.
struct Subtraction {
  uint32_t h0, h1, h2, borrowed;  // borrowed = h2 + borrow
  MOX_INLINE uint32_t next() {
    const uint32_t d = subtracted(h1, borrowed);
    h2 = h1;
    h1 = h0;
    h0 = d;
    return d;
  }
};
MOX_INLINE Subtraction subtractionOf(const DrawState& state) {
  return {state.hist[0], state.hist[1], state.hist[2], state.hist[2] + state.borrow};
}
MOX_INLINE DrawState stateOf(uint32_t lcg, const Subtraction& chain) {
  return {lcg, chain.borrowed - chain.h2, {chain.h0, chain.h1, chain.h2}};
}

struct SingleDraws {
  Subtraction chain;
  uint32_t lcg;
  MOX_INLINE int32_t next() {
    lcg = lcg * kLcg.factor + kLcg.term;
    return static_cast<int32_t>(chain.next() + lcg);
  }
  MOX_INLINE DrawState state() const { return stateOf(lcg, chain); }
};
MOX_INLINE SingleDraws singleDrawsOf(const DrawState& state) { return {subtractionOf(state), state.lcg}; }

// Makes n draws, kDrawBlock at most: sink.take(draws) of every vector, sink.takeFew(draws, count) of what remains.
template <class Sink>
MOX_INLINE void draw(DrawState& state, size_t n, Sink& sink) {
  // The sink works at this distance behind the chain: it fills the gaps that the chain leaves, and finds the words in
  // the cache, not on their way to it.
  constexpr size_t kBehind = 4 * kWordLanes;
  constexpr LcgJump kJump = lcgJump(kWordLanes);
  uint32_t words[kDrawBlock + kWordLanes];
  Subtraction chain = subtractionOf(state);
  Words lcg = load<Words>(kLcgLanes.factor) * state.lcg + load<Words>(kLcgLanes.term);
  size_t made = 0, taken = 0;
  for (; made + kWordLanes <= n; made += kWordLanes) {
#pragma GCC unroll 16
    for (size_t i = 0; i < kWordLanes; ++i) words[made + i] = chain.next();
    if (made < kBehind) continue;
    sink.take(load<Words>(words + taken) + lcg);
    lcg = lcg * kJump.factor + kJump.term;
    taken += kWordLanes;
  }
  for (; made < n; ++made) words[made] = chain.next();
  for (; taken + kWordLanes <= n; taken += kWordLanes) {
    sink.take(load<Words>(words + taken) + lcg);
    lcg = lcg * kJump.factor + kJump.term;
  }
  if (taken < n) sink.takeFew(load<Words>(words + taken) + lcg, n - taken);
  const LcgJump jump = lcgJump(n);
  state = stateOf(state.lcg * jump.factor + jump.term, chain);
}

// ---- uniform

#if MOX_VEC_BYTES == 64
MOX_INLINE Pair<Full<double>> toDoubles(Words w) {
  const __m512i v = reinterpret_cast<__m512i>(w);
  return {_mm512_maskz_cvtepi32_pd(0xff, _mm512_castsi512_si256(v)),
          _mm512_maskz_cvtepi32_pd(0xff, _mm512_maskz_extracti32x8_epi32(0xff, v, 1))};
}
#elif MOX_VEC_BYTES == 32
MOX_INLINE Pair<Full<double>> toDoubles(Words w) {
  const __m256i v = reinterpret_cast<__m256i>(w);
  return {_mm256_cvtepi32_pd(_mm256_castsi256_si128(v)), _mm256_cvtepi32_pd(_mm256_extracti128_si256(v, 1))};
}
#else
MOX_INLINE Pair<Full<double>> toDoubles(Words w) {
  const __m128i v = reinterpret_cast<__m128i>(w);
  return {_mm_cvtepi32_pd(v), _mm_cvtepi32_pd(_mm_unpackhi_epi64(v, v))};
}
#endif

MOX_INLINE void putDoubles(double* dst, Pair<Full<double>> v) {
  store(dst, v.a);
  store(dst + kLanes<double>, v.b);
}
MOX_INLINE void putDoubles(float* dst, Pair<Full<double>> v) { store(dst, narrowed(v.a, v.b)); }

template <class T>
struct UniformSink {
  T* dst;
  double mid, scale;
  MOX_INLINE void put(T* to, Words draws) const {
    const Pair<Full<double>> v = toDoubles(draws);
    putDoubles(to, {v.a * scale + mid, v.b * scale + mid});
  }
  MOX_INLINE void take(Words draws) {
    put(dst, draws);
    dst += kWordLanes;
  }
  MOX_INLINE void takeFew(Words draws, size_t n) const {
    T values[kWordLanes];
    put(values, draws);
    __builtin_memcpy(dst, values, n * sizeof(T));
  }
};

template <class T>
void uniform(DrawState& state, double mid, double scale, T* dst, size_t n) {
  if (n == 1) {  // 5 ns in place of 20
    SingleDraws draws = singleDrawsOf(state);
    *dst = static_cast<T>(draws.next() * scale + mid);
    state = draws.state();
    return;
  }
  while (n > 0) {
    const size_t m = n < kDrawBlock ? n : kDrawBlock;
    UniformSink<T> sink = {dst, mid, scale};
    draw(state, m, sink);
    dst += m;
    n -= m;
  }
}

// ---- Gaussian

constexpr size_t kPairLanes = kLanes<uint64_t>;
using DrawPairs = Vec<uint64_t, kPairLanes>;  // the first draw is the lower half

// In units of 2^31: the bits of 2^52 + 2^31 + draw, less that offset.
MOX_INLINE Full<double> unitDraw(DrawPairs low) {
  return (reinterpret_cast<Full<double>>(low ^ 0x4330000080000000) - (0x1p52 + 0x1p31)) * 0x1p-31;
}
MOX_INLINE Pair<Full<double>> unitDraws(DrawPairs p) { return {unitDraw(p & 0xffffffff), unitDraw(p >> 32)}; }
MOX_INLINE Full<double> sumOfSquares(Pair<Full<double>> p) { return p.a * p.a + p.b * p.b; }

// Writes the pairs with 0 < s < 1 first, and anything behind them, a vector in all; returns how many these are.
#if MOX_VEC_BYTES == 64
MOX_INLINE size_t putAccepted(uint64_t* dst, DrawPairs p) {
  constexpr uint8_t kCount[16] = {0, 1, 1, 2, 1, 2, 2, 3, 1, 2, 2, 3, 2, 3, 3, 4};
  const __m512i v = reinterpret_cast<__m512i>(p);
  const Full<double> s = sumOfSquares(unitDraws(p)), one = broadcast<Full<double>>(1);
  const unsigned accepted = _mm512_mask_cmp_pd_mask(_mm512_test_epi64_mask(v, v), s, one, _CMP_LT_OQ);
  _mm512_storeu_si512(dst, _mm512_maskz_compress_epi64(static_cast<__mmask8>(accepted), v));
  return size_t{kCount[accepted & 15]} + kCount[accepted >> 4];
}
#elif MOX_VEC_BYTES == 32
struct Acceptance {
  uint32_t from[16][8];
  uint8_t count[16];
};
consteval Acceptance acceptance() {
  Acceptance t = {};
  for (unsigned mask = 0; mask < 16; ++mask) {
    for (uint32_t i = 0; i < 4; ++i) {
      if (!(mask >> i & 1)) continue;
      t.from[mask][2 * t.count[mask]] = 2 * i;
      t.from[mask][2 * t.count[mask] + 1] = 2 * i + 1;
      ++t.count[mask];
    }
  }
  return t;
}
constexpr Acceptance kAcceptance = acceptance();
MOX_INLINE size_t putAccepted(uint64_t* dst, DrawPairs p) {
  const Full<double> s = sumOfSquares(unitDraws(p));
  const auto mask = static_cast<unsigned>(_mm256_movemask_pd(reinterpret_cast<__m256d>((s < 1) & (p != 0))));
  const __m256i from = reinterpret_cast<__m256i>(load<Words>(kAcceptance.from[mask]));
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst), _mm256_permutevar8x32_epi32(reinterpret_cast<__m256i>(p), from));
  return kAcceptance.count[mask];
}
#else
MOX_INLINE size_t putAccepted(uint64_t* dst, DrawPairs p) {
  const Full<double> s = sumOfSquares(unitDraws(p));
  size_t count = 0;
  for (int i = 0; i < 2; ++i) {
    dst[count] = p[i];
    count += static_cast<size_t>(static_cast<int>(s[i] < 1) & static_cast<int>(s[i] > 0));
  }
  return count;
}
#endif

// One by one.
struct Candidate {
  uint64_t words;
  double a, b, s;
  bool accepted;
};
MOX_INLINE Candidate candidateOf(SingleDraws& draws) {
  const int32_t first = draws.next(), second = draws.next();
  const double a = first * 0x1p-31, b = second * 0x1p-31, s = a * a + b * b;
  return {static_cast<uint32_t>(first) | uint64_t{static_cast<uint32_t>(second)} << 32, a, b, s, s > 0 && s < 1};
}

struct PairSink {
  uint64_t* dst;
  MOX_INLINE void take(Words draws) { dst += putAccepted(dst, reinterpret_cast<DrawPairs>(draws)); }
  MOX_INLINE void takeFew(Words draws, size_t n) {
    uint32_t all[kWordLanes], few[kWordLanes] = {};  // zeros are not accepted
    store(all, draws);
    __builtin_memcpy(few, all, n * sizeof(uint32_t));
    take(load<Words>(few));
  }
};
// n candidates; returns how many were accepted. dst has room for one more vector.
MOX_NOINLINE size_t drawPairs(DrawState& state, uint64_t* dst, size_t n) {
  if (n <= 2) {  // the end of every block
    SingleDraws draws = singleDrawsOf(state);
    size_t count = 0;
    for (size_t i = 0; i < n; ++i) {
      const Candidate c = candidateOf(draws);
      dst[count] = c.words;
      count += c.accepted;
    }
    state = draws.state();
    return count;
  }
  PairSink sink = {dst};
  draw(state, 2 * n, sink);
  return static_cast<size_t>(sink.dst - dst);
}

template <class V>
MOX_INLINE V polarFactor(V s) {
  return squareRoot(LnDouble<>::plain(s) * -2 / s);
}
template <class T>
MOX_INLINE void putGaussian(T* dst, DrawPairs p, double mean, double stdDev) {
  const Pair<Full<double>> unit = unitDraws(p);
  const Full<double> f = polarFactor(sumOfSquares(unit));
  putDoubles(dst, zipped(Pair<Full<double>>{unit.a * stdDev * f + mean, unit.b * stdDev * f + mean}));
}

// Single calls: 16 ns in place of 40.
template <class T>
MOX_NOINLINE void gaussianPair(DrawState& state, double mean, double stdDev, T* dst) {
  SingleDraws draws = singleDrawsOf(state);
  Candidate c = candidateOf(draws);
  while (!c.accepted) c = candidateOf(draws);
  state = draws.state();
  const Vec<double, 2> unit = {c.a, c.b};
  const Vec<double, 2> v = unit * stdDev * polarFactor(broadcast<Vec<double, 2>>(c.s)) + mean;
  dst[0] = static_cast<T>(v[0]);
  dst[1] = static_cast<T>(v[1]);
}

template <class T>
void gaussianPairs(DrawState& state, double mean, double stdDev, T* dst, size_t pairs) {
  if (pairs == 1) return gaussianPair(state, mean, stdDev, dst);
  constexpr size_t kMost = kDrawBlock / 2;
  uint64_t accepted[kDrawBlock + kPairLanes];
  while (pairs > 0) {
    const size_t n = pairs < kDrawBlock ? pairs : kDrawBlock;
    for (size_t have = 0; have < n;) have += drawPairs(state, accepted + have, n - have < kMost ? n - have : kMost);
    size_t i = 0;
    for (; i + kPairLanes <= n; i += kPairLanes) {
      putGaussian(dst + 2 * i, load<DrawPairs>(accepted + i), mean, stdDev);
    }
    if (i < n) {
      T values[2 * kPairLanes];
      store(accepted + n, broadcast<DrawPairs>(1));
      putGaussian(values, load<DrawPairs>(accepted + i), mean, stdDev);
      __builtin_memcpy(dst + 2 * i, values, 2 * (n - i) * sizeof(T));
    }
    dst += 2 * n;
    pairs -= n;
  }
}

template <class T>
constexpr Random<T> randomKernels() {
  return {.uniform = uniform<T>, .gaussianPairs = gaussianPairs<T>};
}
