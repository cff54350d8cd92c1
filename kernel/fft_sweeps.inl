// Complex transforms of N = 2^order, large orders: two sweeps over memory, whatever N is.
//
// With S = kSweepLanes, N / S = Na * Nb and
//   n = j N/S + r Nb + c    j < S, r < Na, c < Nb
//   k = p + S (a + Na b)    p < S, a < Na, b < Nb
// the sum over n splits into one over j (outputs p), one over r (outputs a) and one over c (outputs b), with twiddles
// between them. From the first sum on the S values of p stay together as an element of S complex values, 128 bytes, in
// vector lanes: all other sums treat all lanes alike, so that their twiddles are single values, and the last one finds
// S neighbours of X in each element.
//   Sweep A, per chunk of columns c: sums over j and r. x -> buffer -> middle values, Na rows of Nb elements.
//   Sweep B, per row a or two: sum over c. Rows of middle values -> buffer -> X.
// The middle values are in scratch, row after row; or, where cache is what counts, in X itself, row beside row: then
// those of a row lie where the row's X will.
// The sums over r and c are passes of radix 4 or 8, decimation in frequency, in a buffer that stays in cache; digit
// reversal falls on the addresses of each sweep's last pass.
//
// S, the radices and the order of operations do not depend on the vector length: one order has one result.

template <class T>
constexpr int kSweepLanes = 64 / static_cast<int>(sizeof(T));
// Reals of an element: per vector of W lanes the real parts, then the imaginary parts.
template <class T>
constexpr int kSweepElement = 2 * kSweepLanes<T>;
template <class T>
constexpr int kSweepVec = kLanes<T> < kSweepLanes<T> ? kLanes<T> : kSweepLanes<T>;

// Whether the registers hold a butterfly of radix 8 (16 vectors) and its temporaries.
#if MOX_VEC_BYTES == 64 && defined(__x86_64__)
constexpr bool kSweepRoomy = true;
#else
constexpr bool kSweepRoomy = false;
#endif

// ---- Butterflies: natural order in and out. -------------------------------------------------------------------------

// (re, im) *= (wr, wi), rounded alike when both are conjugated: inverse transforms exchange the parts.
template <class V>
MOX_INLINE void sweepRotate(V& re, V& im, V wr, V wi) {
  const V r = fnma(im, wi, re * wr);
  im = fma(re, wi, im * wr);
  re = r;
}

template <class V>
MOX_INLINE void sweepButterfly(V (&re)[4], V (&im)[4]) {
  const V ar = re[0] + re[2], ai = im[0] + im[2], br = re[0] - re[2], bi = im[0] - im[2];
  const V cr = re[1] + re[3], ci = im[1] + im[3], dr = re[1] - re[3], di = im[1] - im[3];
  re[0] = ar + cr, im[0] = ai + ci;
  re[1] = br + di, im[1] = bi - dr;
  re[2] = ar - cr, im[2] = ai - ci;
  re[3] = br - di, im[3] = bi + dr;
}

// Outputs 1, 3, 5, 7 of radix 8 from the differences d[k] = x[k] - x[k+4].
template <class V>
MOX_INLINE void sweepOdd(V (&re)[4], V (&im)[4]) {
  using T = ElementOf<V>;
  const V half = broadcast<V>(static_cast<T>(0.70710678118654752440L));
  // u, v = d0 -+ i d2;  a, b = (d1 - d3) -+ i (d1 + d3)
  const V sr = re[1] - re[3], si = im[1] - im[3], tr = re[1] + re[3], ti = im[1] + im[3];
  const V ar = sr + ti, ai = si - tr, br = sr - ti, bi = si + tr;
  const V ur = re[0] + im[2], ui = im[0] - re[2], vr = re[0] - im[2], vi = im[0] + re[2];
  re[0] = fma(half, ar, ur), im[0] = fma(half, ai, ui);
  re[1] = fnma(br, half, vr), im[1] = fnma(bi, half, vi);
  re[2] = fnma(ar, half, ur), im[2] = fnma(ai, half, ui);
  re[3] = fma(half, br, vr), im[3] = fma(half, bi, vi);
}

// Keeps v in memory when registers are short. Left alone, GCC spills and reloads three times as much.
template <class V>
MOX_INLINE void sweepPark([[maybe_unused]] V& v) {
  if constexpr (!kSweepRoomy) asm volatile("" : "+m"(v));
}

// One butterfly, inputs from source(j, re, im), outputs to sink(p, re, im). `apart` says that no output overwrites an
// input.
template <int R, bool apart>
struct SweepRadix;

template <bool apart>
struct SweepRadix<4, apart> {
  template <class V, class Source, class Sink>
  static MOX_INLINE void run(const Source& source, const Sink& sink) {
    V re[4], im[4];
#pragma GCC unroll 4
    for (int j = 0; j < 4; ++j) source(j, re[j], im[j]);
    sweepButterfly(re, im);
#pragma GCC unroll 4
    for (int p = 0; p < 4; ++p) sink(p, re[p], im[p]);
  }
};

template <bool apart>
struct SweepRadix<8, apart> {
  template <class V, class Source, class Sink>
  static MOX_INLINE void run(const Source& source, const Sink& sink) {
    constexpr bool again = apart && !kSweepRoomy;  // reading the inputs twice beats parking the differences
    V re[4], im[4], difference[4][2];
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) {
      V ar, ai, br, bi;
      source(k, ar, ai);
      source(k + 4, br, bi);
      re[k] = ar + br, im[k] = ai + bi;
      if constexpr (!again) difference[k][0] = ar - br, difference[k][1] = ai - bi;
    }
    if constexpr (!again) sweepPark(difference);
    sweepButterfly(re, im);
#pragma GCC unroll 4
    for (int p = 0; p < 4; ++p) sink(2 * p, re[p], im[p]);
    if constexpr (again) asm volatile("" : : : "memory");
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) {
      if constexpr (again) {
        V ar, ai, br, bi;
        source(k, ar, ai);
        source(k + 4, br, bi);
        re[k] = ar - br, im[k] = ai - bi;
      } else {
        re[k] = difference[k][0], im[k] = difference[k][1];
      }
    }
    sweepOdd(re, im);
#pragma GCC unroll 4
    for (int p = 0; p < 4; ++p) sink(2 * p + 1, re[p], im[p]);
  }
};

// 4 x 4. The inner twiddles with equal parts enter the second stage as sums, their factor inside its last fma.
template <bool apart>
struct SweepRadix<16, apart> {
  template <class V, class Source, class Sink>
  static MOX_INLINE void run(const Source& source, const Sink& sink) {
    using T = ElementOf<V>;
    V y[4][4][2];  // [output of the first stage][column][re, im]
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) {
      V re[4], im[4];
#pragma GCC unroll 4
      for (int j = 0; j < 4; ++j) source(k + 4 * j, re[j], im[j]);
      sweepButterfly(re, im);
      const V c = broadcast<V>(static_cast<T>(0.92387953251128675613L));
      const V s = broadcast<V>(static_cast<T>(0.38268343236508977173L));
      if (k == 1) {
        sweepRotate(re[1], im[1], c, -s);
        sweepRotate(re[3], im[3], s, -c);
      } else if (k == 3) {
        sweepRotate(re[1], im[1], s, -c);
        sweepRotate(re[3], im[3], -c, s);
      }
#pragma GCC unroll 4
      for (int p = 0; p < 4; ++p) y[p][k][0] = re[p], y[p][k][1] = im[p];
    }
    sweepPark(y);
    const V half = broadcast<V>(static_cast<T>(0.70710678118654752440L));
#pragma GCC unroll 4
    for (int p = 0; p < 4; ++p) {
      V re[4], im[4];
#pragma GCC unroll 4
      for (int k = 0; k < 4; ++k) re[k] = y[p][k][0], im[k] = y[p][k][1];
      if (p == 0) {
        sweepButterfly(re, im);
      } else if (p == 2) {  // y1 half (1 - i), y2 (-i), y3 half (-1 - i)
        const V ar = re[0] + im[2], ai = im[0] - re[2], br = re[0] - im[2], bi = im[0] + re[2];
        const V er = re[1] + im[1], ei = im[1] - re[1], fr = im[3] - re[3], fi = im[3] + re[3];
        const V cr = er + fr, ci = ei - fi, dr = er - fr, di = ei + fi;
        re[0] = fma(half, cr, ar), im[0] = fma(half, ci, ai);
        re[1] = fma(half, di, br), im[1] = fnma(dr, half, bi);
        re[2] = fnma(cr, half, ar), im[2] = fnma(ci, half, ai);
        re[3] = fnma(di, half, br), im[3] = fma(half, dr, bi);
      } else {  // y2 half (1 - i) for p = 1, half (-1 - i) for p = 3
        const V tr = p == 1 ? re[2] + im[2] : im[2] - re[2], ti = p == 1 ? im[2] - re[2] : -(re[2] + im[2]);
        const V ar = fma(half, tr, re[0]), ai = fma(half, ti, im[0]);
        const V br = fnma(tr, half, re[0]), bi = fnma(ti, half, im[0]);
        const V cr = re[1] + re[3], ci = im[1] + im[3], dr = re[1] - re[3], di = im[1] - im[3];
        re[0] = ar + cr, im[0] = ai + ci;
        re[1] = br + di, im[1] = bi - dr;
        re[2] = ar - cr, im[2] = ai - ci;
        re[3] = br - di, im[3] = bi + dr;
      }
#pragma GCC unroll 4
      for (int q = 0; q < 4; ++q) sink(p + 4 * q, re[q], im[q]);
    }
  }
};

// ---- Shuffles. ------------------------------------------------------------------------------------------------------

// The value that lane `lane` holds of W consecutive ones: the order in which shuffles inside 128-bit blocks part a pair
// of vectors into real and imaginary ones, and join them again.
template <class T>
constexpr int sweepLane(int lane) {
  constexpr int W = kSweepVec<T>, unit = 8 / static_cast<int>(sizeof(T));
  return lane / (2 * unit) * unit + lane % unit + (lane / unit % 2) * (W / 2);
}

// Element i of the result as an index into the vectors a, b one after the other; blocks are of 128 bits.
template <class T>
struct SweepShuffle {
  static constexpr int W = kSweepVec<T>, kBlock = 16 / static_cast<int>(sizeof(T));

  // Inside each block `unit` elements of a, `unit` of b, and so on, from the lower (0) or upper (1) half of the block.
  template <int unit, int upper>
  struct Zip {
    static constexpr int at(int i) {
      return i / kBlock * kBlock + upper * kBlock / 2 + i % kBlock / (2 * unit) * unit + i % unit + i / unit % 2 * W;
    }
  };
  // In the lower half of each block the elements of a's block with that parity, in the upper half those of b's.
  template <int parity>
  struct Unzip {
    static constexpr int at(int i) {
      return i / kBlock * kBlock + i % (kBlock / 2) * 2 + parity + i / (kBlock / 2) % 2 * W;
    }
  };
  // The lower or upper half of a, then of b.
  template <int upper>
  struct Halves {
    static constexpr int at(int i) { return i % (W / 2) + upper * W / 2 + i / (W / 2) * W; }
  };
  // The blocks of a with that parity, then those of b.
  template <int parity>
  struct Blocks {
    static constexpr int at(int i) {
      return i % kBlock + (i % (W / 2) / kBlock * 2 + parity) * kBlock + i / (W / 2) * W;
    }
  };
  // From natural order to that of sweepLane, and back.
  struct Permute {
    static constexpr int at(int i) { return sweepLane<T>(i); }
  };
  struct Restore {
    static constexpr int at(int i) {
      int lane = 0;
      while (sweepLane<T>(lane) != i) ++lane;
      return lane;
    }
  };
};

template <class Index, class V, int... I>
MOX_INLINE V sweepShuffle(V a, V b, std::integer_sequence<int, I...>) {
  if constexpr (sizeof(a[0]) == 8 && sizeof(V) <= 32) {  // integer shuffles have more ports than those of doubles
    using Bits = Vec<int64_t, sizeof...(I)>;
    return (V)__builtin_shufflevector((Bits)a, (Bits)b, Index::at(I)...);
  } else {
    return __builtin_shufflevector(a, b, Index::at(I)...);
  }
}
template <class Index, class V>
MOX_INLINE V sweepShuffle(V a, V b) {
  return sweepShuffle<Index>(a, b, std::make_integer_sequence<int, sizeof(V) / sizeof(a[0])>());
}

// (a, b) = the two results of a pair of shuffles
template <class First, class Second, class V>
MOX_INLINE void sweepExchange(V& a, V& b) {
  const V t = sweepShuffle<First>(a, b);
  b = sweepShuffle<Second>(a, b);
  a = t;
}

template <class V>
MOX_INLINE void sweepSwap(V& a, V& b) {
  const V t = a;
  a = b;
  b = t;
}

// Inside blocks of 128 bits of K elements: v[k] element j <- v[j] element k.
template <class T, class V>
MOX_INLINE void sweepTransposeBlocks(V* v) {
  using Shuffle = SweepShuffle<T>;
  using Low = typename Shuffle::template Zip<1, 0>;
  using High = typename Shuffle::template Zip<1, 1>;
  sweepExchange<Low, High>(v[0], v[1]);
  if constexpr (Shuffle::kBlock == 4) {
    using LowPair = typename Shuffle::template Zip<2, 0>;
    using HighPair = typename Shuffle::template Zip<2, 1>;
    sweepExchange<Low, High>(v[2], v[3]);
    sweepExchange<LowPair, HighPair>(v[0], v[2]);
    sweepExchange<LowPair, HighPair>(v[1], v[3]);
    sweepSwap(v[1], v[2]);
  }
}

// v[i] lane j <- v[j] lane i
template <class T, class V, int W>
MOX_INLINE void sweepTranspose(V (&v)[W]) {
  using Shuffle = SweepShuffle<T>;
  constexpr int K = Shuffle::kBlock;
  // Whole blocks first: block j of v[i K + k] <-> block i of v[j K + k].
#pragma GCC unroll 4
  for (int k = 0; k < K; ++k) {
    if constexpr (W == 2 * K) {
      sweepExchange<typename Shuffle::template Halves<0>, typename Shuffle::template Halves<1>>(v[k], v[k + K]);
    } else if constexpr (W == 4 * K) {
      V &v0 = v[k], &v1 = v[k + K], &v2 = v[k + 2 * K], &v3 = v[k + 3 * K];
      sweepExchange<typename Shuffle::template Halves<0>, typename Shuffle::template Halves<1>>(v0, v1);
      sweepExchange<typename Shuffle::template Halves<0>, typename Shuffle::template Halves<1>>(v2, v3);
      sweepExchange<typename Shuffle::template Blocks<0>, typename Shuffle::template Blocks<1>>(v0, v2);
      sweepExchange<typename Shuffle::template Blocks<0>, typename Shuffle::template Blocks<1>>(v1, v3);
      sweepSwap(v1, v2);
    }
  }
  // Then inside the blocks.
#pragma GCC unroll 4
  for (int i = 0; i < W; i += K) sweepTransposeBlocks<T>(v + i);
}

// v[k] lane j <- value k of row sweepLane(j), rows in memory `pitch` reals apart, k < K. Blocks from there enter a
// vector on any port of the arithmetic units, those from registers on that of the shuffles only.
template <class T, class V, int K>
MOX_INLINE void sweepTransposeRows(const T* rows, int pitch, V (&v)[K]) {
  static_assert(K == SweepShuffle<T>::kBlock);
#pragma GCC unroll 4
  for (int k = 0; k < K; ++k) {
    const T* const row = rows + sweepLane<T>(k) * pitch;
    [[maybe_unused]] const int step = (sweepLane<T>(K) - sweepLane<T>(0)) * pitch;
    [[maybe_unused]] const auto block = [=](int b) { return (__m128i)load<Vec<T, K>>(row + b * step); };
    if constexpr (sizeof(V) == 16) {
      v[k] = load<V>(row);
#if MOX_VEC_BYTES >= 32
    } else if constexpr (sizeof(V) == 32) {
      v[k] = (V)_mm256_inserti128_si256(_mm256_castsi128_si256(block(0)), block(1), 1);
#endif
#if MOX_VEC_BYTES == 64
    } else {
      const __m512i low = _mm512_inserti32x4(_mm512_castsi128_si512(block(0)), block(1), 1);
      v[k] = (V)_mm512_inserti32x4(_mm512_inserti32x4(low, block(2), 2), block(3), 3);
#endif
    }
  }
  sweepTransposeBlocks<T>(v);
}

// ---- Where x comes from and X goes to: W values at index i, lanes in the order of sweepLane. ------------------------

// store(p, v), or past the caches: p is then a multiple of sizeof(V). Streamed values are ordered by a fence.
template <bool streamed, class V>
MOX_INLINE void sweepStore(ElementOf<V>* p, V v) {
  if constexpr (!streamed) {
    store(p, v);
  } else if constexpr (sizeof(V) == 16) {
    _mm_stream_si128(reinterpret_cast<__m128i*>(p), (__m128i)v);
#if MOX_VEC_BYTES >= 32
  } else if constexpr (sizeof(V) == 32) {
    _mm256_stream_si256(reinterpret_cast<__m256i*>(p), (__m256i)v);
#endif
#if MOX_VEC_BYTES == 64
  } else {
    _mm512_stream_si512(reinterpret_cast<__m512i*>(p), (__m512i)v);
#endif
  }
}

inline bool sweepAligned(const void* p) { return reinterpret_cast<uintptr_t>(p) % kVecBytes == 0; }

template <class T>
struct SweepForward {
  const T* in;
  T* out;

  // Whether write<true> may be called.
  bool streams() const { return sweepAligned(out); }
  MOX_INLINE SweepForward onto(T* other) const { return {in, other}; }
  // Moves what is read. GCC would compute and spill every address from the first one.
  MOX_INLINE void advance(size_t n) {
    in += 2 * n;
    asm("" : "+r"(in));
  }

  MOX_INLINE void prefetch(size_t i) const {
    constexpr size_t line = 64 / sizeof(T);
    __builtin_prefetch(in + 2 * i);
    if (2 * kSweepVec < T >> line) __builtin_prefetch(in + 2 * i + line);
  }
  template <class V>
  MOX_INLINE void read(size_t i, V& re, V& im) const {
    const V a = load<V>(in + 2 * i), b = load<V>(in + 2 * i + kSweepVec<T>);
    re = sweepShuffle<typename SweepShuffle<T>::template Unzip<0>>(a, b);
    im = sweepShuffle<typename SweepShuffle<T>::template Unzip<1>>(a, b);
  }
  template <bool streamed, class V>
  MOX_INLINE void write(size_t i, V re, V im) const {
    sweepStore<streamed>(out + 2 * i, sweepShuffle<typename SweepShuffle<T>::template Zip<1, 0>>(re, im));
    sweepStore<streamed>(out + 2 * i + kSweepVec<T>,
                         sweepShuffle<typename SweepShuffle<T>::template Zip<1, 1>>(re, im));
  }
};

// Real and imaginary parts exchanged on both sides: the conjugate map, scaled.
template <class T>
struct SweepInverse {
  SweepForward<T> io;
  T scale;

  bool streams() const { return io.streams(); }
  MOX_INLINE SweepInverse onto(T* other) const { return {io.onto(other), scale}; }
  MOX_INLINE void advance(size_t n) { io.advance(n); }

  MOX_INLINE void prefetch(size_t i) const { io.prefetch(i); }
  template <class V>
  MOX_INLINE void read(size_t i, V& re, V& im) const {
    io.read(i, im, re);
  }
  template <bool streamed, class V>
  MOX_INLINE void write(size_t i, V re, V im) const {
    const V factor = broadcast<V>(scale);
    io.template write<streamed>(i, im * factor, re * factor);
  }
};

template <class T>
struct SweepSplit {
  const T *inRe, *inIm;
  T *outRe, *outIm;
  T scale;

  // Shorter vectors than cache lines would leave too many lines half written.
  bool streams() const { return kVecBytes == 64 && sweepAligned(outRe) && sweepAligned(outIm); }
  MOX_INLINE void advance(size_t n) {
    inRe += n;
    inIm += n;
    asm("" : "+r"(inRe), "+r"(inIm));
  }

  MOX_INLINE void prefetch(size_t i) const {
    __builtin_prefetch(inRe + i);
    __builtin_prefetch(inIm + i);
  }
  template <class V>
  MOX_INLINE void read(size_t i, V& re, V& im) const {
    using Order = typename SweepShuffle<T>::Permute;
    const V a = load<V>(inRe + i), b = load<V>(inIm + i);
    re = sweepShuffle<Order>(a, a);
    im = sweepShuffle<Order>(b, b);
  }
  template <bool streamed, class V>
  MOX_INLINE void write(size_t i, V re, V im) const {
    using Order = typename SweepShuffle<T>::Restore;
    const V factor = broadcast<V>(scale);
    sweepStore<streamed>(outRe + i, sweepShuffle<Order>(re, re) * factor);
    sweepStore<streamed>(outIm + i, sweepShuffle<Order>(im, im) * factor);
  }
};

// ---- Plan and table. ------------------------------------------------------------------------------------------------

struct SweepPlan {
  int order, rowBits, columnBits;  // Na = 2^rowBits, Nb = 2^columnBits
  int chunk;                       // columns of a chunk of sweep A
  int width;                       // rows that sweep B takes together
  // The twiddles of the first sum: one vector each; or, where those would leave the cache, the product of a value per S
  // columns and a vector of few.
  bool product;
  bool far;                       // whether x is prefetched
  bool streamScratch, streamOut;  // arrays that no cache holds until they are read again
  bool within;                    // whether X holds the middle values; in scratch they are a third array in the cache
  bool apart;                     // whether X is made elsewhere when it does not begin at a cache line
  // Offsets into the table, in reals.
  uint64_t lanes, first, rows, columns, rowDigits, columnDigits, buffer, scratch, whole, total;

  constexpr size_t rowCount() const { return size_t{1} << rowBits; }
  constexpr size_t columnCount() const { return size_t{1} << columnBits; }
  // Elements from a middle value to that of the next row, of the next column. In scratch a power of two would map whole
  // columns to few cache sets; within X rows lie side by side, so that sweep B finds and leaves some together.
  constexpr size_t rowStep() const { return within ? 1 : columnCount() + 1; }
  constexpr size_t columnStep() const { return within ? rowCount() : 1; }

  // Room for that many reals, a whole number of cache lines.
  constexpr uint64_t take(uint64_t reals, uint64_t perLine) {
    const uint64_t at = total;
    total += (reals + perLine - 1) / perLine * perLine;
    return at;
  }
};

// Radix, as its logarithm, of the next pass when `bits` are left: 8, after as many 4 as it takes. `bits` is not 1.
constexpr int sweepRadixBits(int bits) { return bits % 3 == 0 ? 3 : 2; }

// order >= 12
template <class T>
constexpr SweepPlan sweepPlan(int order) {
  constexpr uint64_t lanes = kSweepLanes<T>, element = kSweepElement<T>, line = 64 / sizeof(T);
  const uint64_t bytes = (uint64_t{1} << order) * 2 * sizeof(T);
  const int bits = order - (lanes == 16 ? 4 : 3);
  SweepPlan plan{};
  plan.order = order;
  plan.within = bytes >= 256 << 10 && bytes <= 1 << 20;
  plan.rowBits = order > 14 ? bits / 2 : bits < 10 ? 3 : lanes == 16 ? 3 : 4;
  plan.columnBits = bits - plan.rowBits;
  plan.width = plan.within ? 2 : 1;
  plan.chunk = order > 14 && !plan.within ? 16 : kSweepLanes<T>;
  plan.apart = plan.within || (kVecBytes == 32 && order <= 14);
  plan.product = bytes >= 512 << 10;
  // Nearer it costs more than it gains: 9.2 and 10.4 cycles for a line of float32.
  plan.far = bytes >= (lanes == 16 ? 1 << 20 : 512 << 10);
  plan.streamOut = bytes >= 8 << 20;
  plan.streamScratch = bytes >= 16 << 20;

  const uint64_t rows = uint64_t{1} << plan.rowBits, columns = uint64_t{1} << plan.columnBits;
  const uint64_t perChunk = rows * static_cast<uint64_t>(plan.chunk);
  const uint64_t perRows = columns * static_cast<uint64_t>(plan.width);
  uint64_t rowTwiddles = 0, columnTwiddles = 0;
  for (int left = plan.rowBits; left > 0; left -= sweepRadixBits(left)) {
    rowTwiddles += ((uint64_t{1} << left) - (uint64_t{1} << (left - sweepRadixBits(left)))) * columns;
  }
  for (int left = plan.columnBits; left > sweepRadixBits(left); left -= sweepRadixBits(left)) {
    columnTwiddles += (uint64_t{1} << left) - (uint64_t{1} << (left - sweepRadixBits(left)));
  }
  plan.lanes = plan.take(plan.product ? element * (lanes - 1) : 0, line);
  plan.first = plan.take(2 * (lanes - 1) * rows * columns / (plan.product ? lanes : 1), line);
  plan.rows = plan.take(2 * rowTwiddles, line);
  plan.columns = plan.take(2 * columnTwiddles, line);
  plan.rowDigits = plan.take(rows, line);
  plan.columnDigits = plan.take(columns, line);
  plan.buffer = plan.take(element * (perChunk > perRows ? perChunk : perRows), line);
  plan.scratch = plan.take(plan.within ? (bytes + kWorkRoom) / sizeof(T) : element * rows * plan.rowStep(), line);
  plan.whole = plan.within ? plan.scratch : plan.take(plan.apart ? (bytes + kWorkRoom) / sizeof(T) : 0, line);
  return plan;
}

template <class T>
constexpr uint64_t sweepTableBytes(int order) {
  return sweepPlan<T>(order).total * sizeof(T);
}

template <class T>
MOX_INLINE T* sweepAt(T* table, uint64_t offset) {
  return table + static_cast<size_t>(offset);
}

template <class T>
MOX_INLINE uint32_t* sweepDigitsAt(T* table, uint64_t offset) {
  return reinterpret_cast<uint32_t*>(sweepAt(table, offset));
}

// Output index of the first of the elements that the last pass over 2^bits elements takes together, for each such
// group: its digits reversed.
inline void sweepDigits(int bits, uint32_t* digits) {
  digits[0] = 0;
  uint32_t count = 1;
  int done = 0;
  for (int left = bits; left > sweepRadixBits(left); left -= sweepRadixBits(left)) {
    const uint32_t radix = uint32_t{1} << sweepRadixBits(left);
    for (uint32_t k = count; k-- > 0;) {
      const uint32_t earlier = digits[k];
      for (uint32_t t = 0; t < radix; ++t) digits[k * radix + t] = earlier + (t << done);
    }
    count *= radix;
    done += sweepRadixBits(left);
  }
}

// to[part][re, im][lane] = root^(p (n + column of the lane)), p = 1 .. S - 1
template <class T>
void sweepLaneTwiddles(const Roots& roots, uint64_t n, T* to) {
  constexpr int S = kSweepLanes<T>, W = kSweepVec<T>;
  for (uint64_t p = 1; p < S; ++p, to += 2 * S) {
    for (int part = 0; part < S; part += W) {
      for (int lane = 0; lane < W; ++lane) {
        T w[2];
        roots.store<T>(p * (n + static_cast<uint64_t>(part + sweepLane<T>(lane))), w);
        to[2 * part + lane] = w[0];
        to[2 * part + lane + W] = w[1];
      }
    }
  }
}

template <class T>
void sweepBuild(int order, const Roots& roots, T* table) {
  const SweepPlan plan = sweepPlan<T>(order);
  constexpr uint64_t S = kSweepLanes<T>;
  const uint64_t rows = plan.rowCount(), columns = plan.columnCount(), chunk = static_cast<uint64_t>(plan.chunk);

  // All tables stand in the order in which they are read.
  if (plan.product) sweepLaneTwiddles(roots, 0, sweepAt(table, plan.lanes));
  T* to = sweepAt(table, plan.first);
  for (uint64_t c0 = 0; c0 < columns; c0 += chunk) {
    for (uint64_t r = 0; r < rows; ++r) {
      for (uint64_t c = c0; c < c0 + chunk; c += S) {
        const uint64_t n = r * columns + c;
        if (plan.product) {
          for (uint64_t p = 1; p < S; ++p, to += 2) roots.store<T>(p * n, to);
        } else {
          sweepLaneTwiddles(roots, n, to);
          to += 2 * S * (S - 1);
        }
      }
    }
  }
  // A block of 2^left rows is a block of 2^(left + columnBits) values.
  to = sweepAt(table, plan.rows);
  for (uint64_t c0 = 0; c0 < columns; c0 += chunk) {
    for (int left = plan.rowBits; left > 0; left -= sweepRadixBits(left)) {
      const uint64_t step = uint64_t{1} << (order - left - plan.columnBits);
      const uint64_t radix = uint64_t{1} << sweepRadixBits(left);
      for (uint64_t r = 0; r < (uint64_t{1} << left) / radix; ++r) {
        for (uint64_t c = c0; c < c0 + chunk; ++c) {
          for (uint64_t p = 1; p < radix; ++p, to += 2) roots.store<T>(step * p * (r * columns + c), to);
        }
      }
    }
  }
  to = sweepAt(table, plan.columns);
  for (int left = plan.columnBits; left > sweepRadixBits(left); left -= sweepRadixBits(left)) {
    const uint64_t step = uint64_t{1} << (order - left), radix = uint64_t{1} << sweepRadixBits(left);
    for (uint64_t c = 0; c < (uint64_t{1} << left) / radix; ++c) {
      for (uint64_t p = 1; p < radix; ++p, to += 2) roots.store<T>(step * p * c, to);
    }
  }
  sweepDigits(plan.rowBits, sweepDigitsAt(table, plan.rowDigits));
  sweepDigits(plan.columnBits, sweepDigitsAt(table, plan.columnDigits));
}

// ---- The sum over j. ------------------------------------------------------------------------------------------------

template <class T, class V, bool far, class Io>
struct SweepColumnSource {
  const Io (&fours)[kSweepLanes<T> / 4];  // at every fourth input
  size_t step, step3, ahead;

  MOX_INLINE void operator()(int j, V& re, V& im) const {
    const size_t i = j % 4 == 0 ? 0 : j % 4 == 1 ? step : j % 4 == 2 ? 2 * step : step3;
    fours[j / 4].read(i, re, im);
    if (far) fours[j / 4].prefetch(i + ahead);
  }
};

template <class T, class V, bool product>
struct SweepColumnSink {
  V (&tile)[2][kSweepLanes<T>];  // [re, im][p]
  const T *vectors, *values;

  MOX_INLINE void operator()(int p, V r, V i) const {
    if (p > 0) {
      const T* w = vectors + (p - 1) * kSweepElement<T>;
      sweepRotate(r, i, load<V>(w), load<V>(w + kSweepVec<T>));
      if (product) sweepRotate(r, i, broadcast<V>(values[2 * p - 2]), broadcast<V>(values[2 * p - 1]));
    }
    tile[0][p] = r;
    tile[1][p] = i;
  }
};

// Columns n .. n + count - 1, with inputs `step` values apart, to elements out[0 .. count-1]. The next call's inputs
// are `ahead` values away.
template <class T, bool product, bool far, class Io>
MOX_NOINLINE void sweepFirst(const Io& given, size_t n, size_t step, size_t count, size_t ahead, T* out,
                             const T* twiddle, const T* lanes) {
  constexpr int S = kSweepLanes<T>, W = kSweepVec<T>;
  using V = Vec<T, W>;
  size_t step3 = 3 * step;
  asm("" : "+r"(step3));
  Io fours[S / 4];
#pragma GCC unroll 4
  for (size_t i = 0; i < S / 4; ++i) {
    fours[i] = given;
    fours[i].advance(n + 4 * i * step);
  }
  for (size_t c = 0; c < count; c += W, out += W * kSweepElement<T>) {
    const size_t part = c % S;
    V tile[2][S];
    SweepRadix<S, false>::template run<V>(
        SweepColumnSource<T, V, far, Io>{fours, step, step3, ahead},
        SweepColumnSink<T, V, product>{tile, (product ? lanes : twiddle) + 2 * part, twiddle});
    if (part + W == S) twiddle += product ? 2 * (S - 1) : 2 * S * (S - 1);
#pragma GCC unroll 4
    for (Io& four : fours) four.advance(W);
    // 32 vectors pass through memory in any case (AVX-512: 8.8 cycles for two of the vectors, 7.3 with the blocks from
    // there).
    constexpr bool tiled = S == 16;
    if constexpr (tiled) asm("" : "+m"(tile));
#pragma GCC unroll 4
    for (int half = 0; half < S; half += W) {
#pragma GCC unroll 2
      for (int im = 0; im < 2; ++im) {
        T* const to = out + 2 * half + im * W;
        if constexpr (tiled) {
          constexpr int K = SweepShuffle<T>::kBlock;
#pragma GCC unroll 4
          for (int i = 0; i < W; i += K) {
            V t[K];
            sweepTransposeRows<T>(reinterpret_cast<const T*>(&tile[im][half]) + i, W, t);
#pragma GCC unroll 4
            for (int k = 0; k < K; ++k) store(to + sweepLane<T>(i + k) * kSweepElement<T>, t[k]);
          }
        } else {
          V t[W];
#pragma GCC unroll 16
          for (int i = 0; i < W; ++i) t[i] = tile[im][half + sweepLane<T>(i)];
          sweepTranspose<T>(t);
#pragma GCC unroll 16
          for (int i = 0; i < W; ++i) store(to + sweepLane<T>(i) * kSweepElement<T>, t[i]);
        }
      }
    }
  }
}

// ---- Passes over elements. ------------------------------------------------------------------------------------------

// Up to eight elements that are a run-time distance apart. Two pointers and two distances reach all of them; GCC would
// compute and spill an address for each.
template <class T>
struct SweepRow {
  T *low, *high;
  size_t step, step3;

  MOX_INLINE SweepRow(T* base, size_t distance)
      : low(base), high(base + 4 * distance), step(distance), step3(3 * distance) {
    asm("" : "+r"(high), "+r"(step3));
  }
  MOX_INLINE T* at(int j) const {
    T* const base = j < 4 ? low : high;
    return j % 4 == 0 ? base : j % 4 == 1 ? base + step : j % 4 == 2 ? base + 2 * step : base + step3;
  }
  MOX_INLINE void advance(size_t reals) {
    low += reals;
    high += reals;
    asm("" : "+r"(low), "+r"(high));
  }
};

template <class T, class V>
struct SweepElementSource {
  const SweepRow<const T>& row;

  MOX_INLINE void operator()(int j, V& re, V& im) const {
    re = load<V>(row.at(j));
    im = load<V>(row.at(j) + kSweepVec<T>);
  }
};

template <class T, class V, bool streamed>
struct SweepElementSink {
  const SweepRow<T>& row;
  const T* twiddle;

  MOX_INLINE void operator()(int p, V re, V im) const {
    if (p > 0) sweepRotate(re, im, broadcast<V>(twiddle[2 * p - 2]), broadcast<V>(twiddle[2 * p - 1]));
    sweepStore<streamed>(row.at(p), re);
    sweepStore<streamed>(row.at(p) + kSweepVec<T>, im);
  }
};

// Distances in elements. They are passed by reference: a copy on the stack, loaded while the stores before the call
// wait for their lines, takes 5 to 10 % of a transform.
struct SweepSteps {
  size_t in, out;                  // from one input or output of a butterfly to the next one
  size_t nextIn = 1, nextOut = 1;  // from butterflies to those with the next twiddles
};

// Butterflies over elements i nextIn + k + j in of `in`, i < count, k < width, with twiddles i, to elements
// i nextOut + k + p out of `out`. In place nextIn and nextOut are `width`.
template <class T, int R, int width, bool apart, bool streamed>
MOX_NOINLINE void sweepPass(const T* in, T* out, const SweepSteps& steps, size_t count, const T* twiddle) {
  constexpr int W = kSweepVec<T>;
  constexpr size_t all = width * kSweepElement<T>;
  using V = Vec<T, W>;
  SweepRow<const T> from(in, steps.in * kSweepElement<T>);
  SweepRow<T> to(out, steps.out * kSweepElement<T>);
  const size_t gapIn = steps.nextIn * kSweepElement<T> - all, gapOut = steps.nextOut * kSweepElement<T> - all;
  for (size_t i = 0; i < count; ++i, twiddle += 2 * (R - 1)) {
#pragma GCC unroll 1
    for (size_t part = 0; part < all; part += 2 * W) {
      SweepRadix<R, apart>::template run<V>(SweepElementSource<T, V>{from},
                                            SweepElementSink<T, V, streamed>{to, twiddle});
      from.advance(2 * W);
      to.advance(2 * W);
    }
    if (apart) {
      from.advance(gapIn);
      to.advance(gapOut);
    }
  }
}

template <class T, int width, bool apart, bool streamed = false>
MOX_INLINE void sweepPass(int radixBits, const T* in, T* out, const SweepSteps& steps, size_t count, const T* twiddle) {
  if (radixBits == 3) {
    sweepPass<T, 8, width, apart, streamed>(in, out, steps, count, twiddle);
  } else {
    sweepPass<T, 4, width, apart, streamed>(in, out, steps, count, twiddle);
  }
}

template <class T, class V, int width>
struct SweepTightSource {
  const T* in;

  MOX_INLINE void operator()(int j, V& re, V& im) const {
    re = load<V>(in + j * width * kSweepElement<T>);
    im = load<V>(in + j * width * kSweepElement<T> + kSweepVec<T>);
  }
};

template <class V, bool streamed, class Io>
struct SweepOutput {
  const Io& io;
  size_t low, high, step, step3;

  MOX_INLINE void operator()(int p, V re, V im) const {
    const size_t base = p < 4 ? low : high;
    const size_t i = p % 4 == 0 ? base : p % 4 == 1 ? base + step : p % 4 == 2 ? base + 2 * step : base + step3;
    io.template write<streamed>(i, re, im);
  }
};

// The last sum of sweep B: `width` rows, side by side, to X.
template <class T, int width, bool streamed, class Io>
MOX_NOINLINE void sweepLast(const Io& given, const SweepPlan& plan, const T* in, size_t row, const uint32_t* digits) {
  constexpr int S = kSweepLanes<T>, W = kSweepVec<T>;
  constexpr size_t all = width * kSweepElement<T>;
  using V = Vec<T, W>;
  const Io io = given;
  const size_t rows = plan.rowCount(), groups = plan.columnCount() / 8, step = groups * rows * S;
  size_t step3 = 3 * step;
  asm("" : "+r"(step3));
  for (size_t b = 0; b < groups; ++b, in += 7 * all) {
    size_t low = (row + rows * digits[b]) * S, high = low + 4 * step;
#pragma GCC unroll 1
    for (size_t part = 0; part < all; part += 2 * W) {
      asm("" : "+r"(high));
      SweepRadix<8, true>::template run<V>(SweepTightSource<T, V, width>{in},
                                           SweepOutput<V, streamed, Io>{io, low, high, step, step3});
      in += 2 * W;
      low += W;
      high += W;
    }
  }
}

// ---- The two sweeps. ------------------------------------------------------------------------------------------------

// `gathered` says that x lies as sweepGathered() has it.
template <class T, class Io>
MOX_NOINLINE void sweepRows(const Io& io, const SweepPlan& plan, T* table, T* middle, bool gathered) {
  constexpr size_t E = kSweepElement<T>, S = kSweepLanes<T>;
  const size_t rows = plan.rowCount(), columns = plan.columnCount(), chunk = static_cast<size_t>(plan.chunk);
  const size_t nextInput = gathered ? S * rows : rows * columns;
  const size_t nextRow = gathered ? S : columns, nextColumn = gathered ? S * rows : 1;
  const size_t rowStep = plan.rowStep(), columnStep = plan.columnStep();
  T* const buffer = sweepAt(table, plan.buffer);
  const T* const lanes = sweepAt(table, plan.lanes);
  const T* first = sweepAt(table, plan.first);
  const T* twiddle = sweepAt(table, plan.rows);
  const uint32_t* digits = sweepDigitsAt(table, plan.rowDigits);
  // Rows r, r + groups, r + 2 groups ... are all that a group of the first pass's butterflies wants. A chunk that
  // leaves the first-level cache goes through that pass group by group.
  const int firstBits = sweepRadixBits(plan.rowBits);
  const size_t firstStep = rows >> firstBits, firstReals = chunk * 2 * (S - 1) / (plan.product ? S : 1);
  const size_t groups = plan.within && rows * chunk * E * sizeof(T) > 32 << 10 ? firstStep : 1;

  for (size_t c = 0; c < columns; c += chunk) {
    for (size_t group = 0; group < groups; ++group) {
      for (size_t r = group; r < rows; r += groups) {
        const size_t n = r * nextRow + c * nextColumn;
        const T* const w = first + r * firstReals;
        T* const to = buffer + r * chunk * E;
        if (plan.far) {
          const size_t next = r + groups < rows ? r + groups : group + 1;
          const bool later = next >= groups && r + groups >= rows;  // in the next chunk
          const size_t ahead = (later ? (c + chunk) * nextColumn : next * nextRow + c * nextColumn) - n;
          sweepFirst<T, true, true>(io, n, nextInput, chunk, ahead, to, w, lanes);
        } else if (plan.product) {
          sweepFirst<T, true, false>(io, n, nextInput, chunk, 0, to, w, lanes);
        } else {
          sweepFirst<T, false, false>(io, n, nextInput, chunk, 0, to, w, lanes);
        }
      }
      if (plan.rowBits > firstBits) {
        T* const at = buffer + group * chunk * E;
        const size_t count = firstStep * chunk / groups;
        sweepPass<T, 1, false>(firstBits, at, at, {firstStep * chunk, firstStep * chunk}, count, twiddle);
        twiddle += count * 2 * ((size_t{1} << firstBits) - 1);
      }
    }
    first += rows * firstReals;
    int left = plan.rowBits > firstBits ? plan.rowBits - firstBits : firstBits;
    for (; left > sweepRadixBits(left); left -= sweepRadixBits(left)) {
      const int radixBits = sweepRadixBits(left);
      const size_t block = chunk << left, step = block >> radixBits;
      for (size_t b = 0; b < rows * chunk; b += block) {
        sweepPass<T, 1, false>(radixBits, buffer + b * E, buffer + b * E, {step, step}, step, twiddle);
      }
      twiddle += step * 2 * ((size_t{1} << radixBits) - 1);
    }
    const size_t blocks = rows >> left;
    for (size_t b = 0; b < blocks; ++b) {
      const T* const from = buffer + (b << left) * chunk * E;
      T* const to = middle + (digits[b] * rowStep + c * columnStep) * E;
      const SweepSteps steps = {chunk, blocks * rowStep, 1, columnStep};
      if (plan.streamScratch) {
        sweepPass<T, 1, true, true>(left, from, to, steps, chunk, twiddle);
      } else {
        sweepPass<T, 1, true>(left, from, to, steps, chunk, twiddle);
      }
    }
    twiddle += chunk * 2 * ((size_t{1} << left) - 1);
  }
}

template <class T, int width, class Io>
MOX_NOINLINE void sweepColumns(const Io& io, const SweepPlan& plan, T* table, const T* middle) {
  constexpr size_t E = kSweepElement<T>;
  const size_t columns = plan.columnCount();
  const bool streamed = width == 1 && plan.streamOut && io.streams();
  T* const buffer = sweepAt(table, plan.buffer);
  const uint32_t* digits = sweepDigitsAt(table, plan.columnDigits);

  for (size_t row = 0; row < plan.rowCount(); row += width) {
    const T* const from = middle + row * plan.rowStep() * E;
    const T* twiddle = sweepAt(table, plan.columns);
    for (int left = plan.columnBits; left > 3; left -= sweepRadixBits(left)) {
      const int radixBits = sweepRadixBits(left);
      const size_t block = size_t{1} << left, step = block >> radixBits;
      if (left == plan.columnBits) {
        const SweepSteps steps = {step * plan.columnStep(), step * width, plan.columnStep(), width};
        sweepPass<T, width, true>(radixBits, from, buffer, steps, step, twiddle);
      } else {
        for (size_t b = 0; b < columns; b += block) {
          T* const at = buffer + b * width * E;
          sweepPass<T, width, false>(radixBits, at, at, {step * width, step * width}, step, twiddle);
        }
      }
      twiddle += step * 2 * ((size_t{1} << radixBits) - 1);
    }
    if (streamed) {
      sweepLast<T, width, width == 1>(io, plan, buffer, row, digits);
    } else {
      sweepLast<T, width, false>(io, plan, buffer, row, digits);
    }
  }
  if (streamed) _mm_sfence();
}

template <class T, int order>
constexpr SweepPlan kSweepPlan = sweepPlan<T>(order);

template <class T, int order, class Io>
MOX_INLINE void sweepTransform(const Io& io, T* table, T* middle, bool gathered = false) {
  constexpr const SweepPlan& plan = kSweepPlan<T, order>;
  static_assert(plan.columnBits > 4);  // the last pass is of radix 8
  sweepRows(io, plan, table, middle, gathered);
  sweepColumns<T, plan.width>(io, plan, table, middle);
}

// n reals, two vectors at least, with stores inside cache lines.
template <class T>
MOX_NOINLINE void sweepCopy(const T* from, T* to, size_t n) {
  constexpr size_t W = kLanes<T>;
  using V = Vec<T, W>;
  store(to, load<V>(from));
  const size_t edge = W - reinterpret_cast<uintptr_t>(to) / sizeof(T) % W;
  for (size_t i = edge; i < n - W; i += W) store(to + i, load<V>(from + i));
  store(to + n - W, load<V>(from + n - W));
}

// Where X is to be made for `out`.
template <class T, int order>
MOX_INLINE T* sweepWork(T* out, T* table) {
  return workIn<true>(out, true, sweepAt(table, kSweepPlan<T, order>.whole));
}

// Elements of X that lie across lines share them with elements of the next row, which has them fetched once more, and
// take two steps to store. Where the middle values are in scratch, vectors of 32 bytes are worst (order 13 of float64:
// 28.6 us, 17.6 where there is no such element, 22 with a copy); X within costs a copy only.
template <class T, int order, class Io>
MOX_INLINE void sweepPacked(const Io& io, const T* in, T* out, T* table) {
  constexpr const SweepPlan& plan = kSweepPlan<T, order>;
  T* const scratch = sweepAt(table, plan.scratch);
  T* const middle = plan.within ? workIn<true>(out, out != in, scratch) : scratch;
  if constexpr (plan.apart) {
    T* const work = sweepWork<T, order>(out, table);
    sweepTransform<T, order>(io.onto(work), table, middle);
    if (work != out) sweepCopy(work, out, size_t{2} << order);
  } else {
    sweepTransform<T, order>(io, table, middle);
  }
}

template <class T, int order>
void sweepForward(const T* in, T* out, T* table, T) {
  sweepPacked<T, order>(SweepForward<T>{in, out}, in, out, table);
}
template <class T, int order>
void sweepInverse(const T* in, T* out, T* table, T scale) {
  sweepPacked<T, order>(SweepInverse<T>{{in, out}, scale}, in, out, table);
}

// An inverse transform within X alone, where X holds middle values: x stands there in the order in which sweep A takes
// it, so that the middle values of a chunk go where its x was. Value n is at sweepGathered(n); S values stay together.
template <class T, int order>
MOX_INLINE size_t sweepGathered(size_t n) {
  constexpr const SweepPlan& plan = kSweepPlan<T, order>;
  constexpr size_t S = kSweepLanes<T>, chunks = plan.columnCount() / S;
  static_assert(plan.within && plan.chunk == S);
  return n / S % chunks * S * S * plan.rowCount() + n / plan.columnCount() * S + n % S;
}

template <class T, int order>
void sweepInverseGathered(T* work, T* out, T* table, T scale) {
  sweepTransform<T, order>(SweepInverse<T>{{work, work}, scale}, table, work, true);
  if (work != out) sweepCopy(work, out, size_t{2} << order);
}

template <class T, int order>
void sweepSplit(const T* inRe, const T* inIm, T* outRe, T* outIm, T* table, T scale) {
  T* const scratch = sweepAt(table, kSweepPlan<T, order>.scratch);
  sweepTransform<T, order>(SweepSplit<T>{inRe, inIm, outRe, outIm, scale}, table, scratch);
}
