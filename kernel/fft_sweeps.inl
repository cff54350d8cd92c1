// Complex transforms of N = 2^order, large orders: two sweeps over memory, whatever N is.
//
// With S = kSweepLanes, N' = N / S = Na * Nb and
//   n = j N' + r Nb + c    j < S, r < Na, c < Nb
//   k = p + S (a + Na b)   p < S, a < Na, b < Nb
// the sum over n splits into a sum over j (times w_N^(p (r Nb + c))), over r (times w_N'^(a c)) and over c.
//
// From the first sum on, the S values of p are the lanes of all vectors: an element is S complex values, real parts
// first, 128 bytes. Everything but the first sum treats all lanes alike, its twiddles are single values, and the last
// sum finds S neighbours of X in each element.
//   Sweep A: per chunk of columns c, sums over j and r. x -> buffer -> scratch, Na rows of Nb elements and padding.
//   Sweep B: per row a, sum over c. scratch row -> buffer -> X.
// The sums over r and c are passes of radix 4 or 8, decimation in frequency, in place in a buffer that stays in cache;
// digit reversal falls on the addresses of the last pass of each sweep. All sums but the first read (radix - 1)
// twiddles per butterfly, (re, im) of w^p for p = 1 .. radix - 1.
//
// S, the radices and the order of operations do not depend on the vector length: one order has one result.

template <class T>
constexpr int kSweepLanes = 64 / static_cast<int>(sizeof(T));
template <class T>
constexpr int kSweepVec = kLanes<T> < kSweepLanes<T> ? kLanes<T> : kSweepLanes<T>;
template <class T>
constexpr int kSweepElement = 2 * kSweepLanes<T>;  // reals

// c - a*b
template <class V>
MOX_INLINE V sweepFnma(V a, V b, V c) {
#if MOX_HAS_FMA
  return fma(-a, b, c);
#else
  return c - a * b;
#endif
}

// (re, im) *= (wr, wi)
template <class V>
MOX_INLINE void sweepRotate(V& re, V& im, V wr, V wi) {
  const V r = sweepFnma(im, wi, re * wr);
  im = fma(im, wr, re * wi);
  re = r;
}

// ---- Butterflies: natural order in and out. -------------------------------------------------------------------------

template <class V>
MOX_INLINE void sweepButterfly(V (&re)[4], V (&im)[4]) {
  const V ar = re[0] + re[2], ai = im[0] + im[2], br = re[0] - re[2], bi = im[0] - im[2];
  const V cr = re[1] + re[3], ci = im[1] + im[3], dr = re[1] - re[3], di = im[1] - im[3];
  re[0] = ar + cr, im[0] = ai + ci;
  re[1] = br + di, im[1] = bi - dr;
  re[2] = ar - cr, im[2] = ai - ci;
  re[3] = br - di, im[3] = bi + dr;
}

template <class V>
MOX_INLINE void sweepButterfly(V (&re)[8], V (&im)[8]) {
  using T = ElementOf<V>;
  const V half = broadcast<V>(static_cast<T>(0.70710678118654752440L));
  V evenRe[4], evenIm[4], dr[4], di[4];
#pragma GCC unroll 4
  for (int k = 0; k < 4; ++k) {
    evenRe[k] = re[k] + re[k + 4], evenIm[k] = im[k] + im[k + 4];
    dr[k] = re[k] - re[k + 4], di[k] = im[k] - im[k + 4];
  }
  sweepButterfly(evenRe, evenIm);
#pragma GCC unroll 4
  for (int k = 0; k < 4; ++k) re[2 * k] = evenRe[k], im[2 * k] = evenIm[k];
  // u, v = d0 -+ i d2;  A, B = (d1 - d3) -+ i (d1 + d3)
  const V ur = dr[0] + di[2], ui = di[0] - dr[2], vr = dr[0] - di[2], vi = di[0] + dr[2];
  const V sr = dr[1] - dr[3], si = di[1] - di[3], tr = dr[1] + dr[3], ti = di[1] + di[3];
  const V ar = sr + ti, ai = si - tr, br = sr - ti, bi = si + tr;
  re[1] = fma(half, ar, ur), im[1] = fma(half, ai, ui);
  re[5] = sweepFnma(half, ar, ur), im[5] = sweepFnma(half, ai, ui);
  re[3] = sweepFnma(half, br, vr), im[3] = sweepFnma(half, bi, vi);
  re[7] = fma(half, br, vr), im[7] = fma(half, bi, vi);
}

// 4 x 4. The inner twiddles with equal parts enter the second stage as sums, the factor inside its last fma.
template <class V>
MOX_INLINE void sweepButterfly(V (&re)[16], V (&im)[16]) {
  using T = ElementOf<V>;
  const V half = broadcast<V>(static_cast<T>(0.70710678118654752440L));
  const V c1 = broadcast<V>(static_cast<T>(0.92387953251128675613L));
  const V s1 = broadcast<V>(static_cast<T>(0.38268343236508977173L));
  V yr[4][4], yi[4][4];  // [output of stage 1][column]
#pragma GCC unroll 4
  for (int k = 0; k < 4; ++k) {
    V r[4], i[4];
#pragma GCC unroll 4
    for (int j = 0; j < 4; ++j) r[j] = re[k + 4 * j], i[j] = im[k + 4 * j];
    sweepButterfly(r, i);
#pragma GCC unroll 4
    for (int p = 0; p < 4; ++p) yr[p][k] = r[p], yi[p][k] = i[p];
  }
  sweepRotate(yr[1][1], yi[1][1], c1, -s1);
  sweepRotate(yr[1][3], yi[1][3], s1, -c1);
  sweepRotate(yr[3][1], yi[3][1], s1, -c1);
  sweepRotate(yr[3][3], yi[3][3], -c1, s1);
  {
    V r[4], i[4];
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) r[k] = yr[0][k], i[k] = yi[0][k];
    sweepButterfly(r, i);
#pragma GCC unroll 4
    for (int q = 0; q < 4; ++q) re[4 * q] = r[q], im[4 * q] = i[q];
  }
  {  // y2 half (1 - i)
    const V tr = yr[1][2] + yi[1][2], ti = yi[1][2] - yr[1][2];
    const V ar = fma(half, tr, yr[1][0]), ai = fma(half, ti, yi[1][0]);
    const V br = sweepFnma(half, tr, yr[1][0]), bi = sweepFnma(half, ti, yi[1][0]);
    const V cr = yr[1][1] + yr[1][3], ci = yi[1][1] + yi[1][3], dr = yr[1][1] - yr[1][3], di = yi[1][1] - yi[1][3];
    re[1] = ar + cr, im[1] = ai + ci;
    re[5] = br + di, im[5] = bi - dr;
    re[9] = ar - cr, im[9] = ai - ci;
    re[13] = br - di, im[13] = bi + dr;
  }
  {  // y2 (-i), y1 half (1 - i), y3 half (-1 - i)
    const V ar = yr[2][0] + yi[2][2], ai = yi[2][0] - yr[2][2], br = yr[2][0] - yi[2][2], bi = yi[2][0] + yr[2][2];
    const V er = yr[2][1] + yi[2][1], ei = yi[2][1] - yr[2][1];
    const V fr = yi[2][3] - yr[2][3], fi = yi[2][3] + yr[2][3];  // conj of the third product
    const V cr = er + fr, ci = ei - fi, dr = er - fr, di = ei + fi;
    re[2] = fma(half, cr, ar), im[2] = fma(half, ci, ai);
    re[6] = fma(half, di, br), im[6] = sweepFnma(half, dr, bi);
    re[10] = sweepFnma(half, cr, ar), im[10] = sweepFnma(half, ci, ai);
    re[14] = sweepFnma(half, di, br), im[14] = fma(half, dr, bi);
  }
  {  // y2 half (-1 - i)
    const V tr = yi[3][2] - yr[3][2], ti = yr[3][2] + yi[3][2];
    const V ar = fma(half, tr, yr[3][0]), ai = sweepFnma(half, ti, yi[3][0]);
    const V br = sweepFnma(half, tr, yr[3][0]), bi = fma(half, ti, yi[3][0]);
    const V cr = yr[3][1] + yr[3][3], ci = yi[3][1] + yi[3][3], dr = yr[3][1] - yr[3][3], di = yi[3][1] - yi[3][3];
    re[3] = ar + cr, im[3] = ai + ci;
    re[7] = br + di, im[7] = bi - dr;
    re[11] = ar - cr, im[11] = ai - ci;
    re[15] = br - di, im[15] = bi + dr;
  }
}

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
  return __builtin_shufflevector(a, b, Index::at(I)...);
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
      const V t = v1;
      v1 = v2;
      v2 = t;
    }
  }
  // Then inside the blocks.
#pragma GCC unroll 4
  for (int i = 0; i < W; i += K) {
    if constexpr (K == 2) {
      sweepExchange<typename Shuffle::template Zip<1, 0>, typename Shuffle::template Zip<1, 1>>(v[i], v[i + 1]);
    } else {
      sweepExchange<typename Shuffle::template Zip<1, 0>, typename Shuffle::template Zip<1, 1>>(v[i], v[i + 1]);
      sweepExchange<typename Shuffle::template Zip<1, 0>, typename Shuffle::template Zip<1, 1>>(v[i + 2], v[i + 3]);
      sweepExchange<typename Shuffle::template Zip<2, 0>, typename Shuffle::template Zip<2, 1>>(v[i], v[i + 2]);
      sweepExchange<typename Shuffle::template Zip<2, 0>, typename Shuffle::template Zip<2, 1>>(v[i + 1], v[i + 3]);
      const V t = v[i + 1];
      v[i + 1] = v[i + 2];
      v[i + 2] = t;
    }
  }
}

// ---- Where x comes from and X goes to: W values at index i, lanes in the order of sweepLane. ------------------------

template <class T>
struct SweepForward {
  const T* in;
  T* out;

  template <class V>
  MOX_INLINE void read(size_t i, V& re, V& im) const {
    const V a = load<V>(in + 2 * i), b = load<V>(in + 2 * i + kSweepVec<T>);
    re = sweepShuffle<typename SweepShuffle<T>::template Unzip<0>>(a, b);
    im = sweepShuffle<typename SweepShuffle<T>::template Unzip<1>>(a, b);
  }
  template <class V>
  MOX_INLINE void write(size_t i, V re, V im) const {
    store(out + 2 * i, sweepShuffle<typename SweepShuffle<T>::template Zip<1, 0>>(re, im));
    store(out + 2 * i + kSweepVec<T>, sweepShuffle<typename SweepShuffle<T>::template Zip<1, 1>>(re, im));
  }
};

// Real and imaginary parts exchanged on both sides: the conjugate map, scaled.
template <class T>
struct SweepInverse {
  SweepForward<T> io;
  T scale;

  template <class V>
  MOX_INLINE void read(size_t i, V& re, V& im) const {
    io.read(i, im, re);
  }
  template <class V>
  MOX_INLINE void write(size_t i, V re, V im) const {
    const V factor = broadcast<V>(scale);
    io.write(i, im * factor, re * factor);
  }
};

template <class T>
struct SweepSplit {
  const T *inRe, *inIm;
  T *outRe, *outIm;
  T scale;

  template <class V>
  MOX_INLINE void read(size_t i, V& re, V& im) const {
    using Order = typename SweepShuffle<T>::Permute;
    const V a = load<V>(inRe + i), b = load<V>(inIm + i);
    re = sweepShuffle<Order>(a, a);
    im = sweepShuffle<Order>(b, b);
  }
  template <class V>
  MOX_INLINE void write(size_t i, V re, V im) const {
    using Order = typename SweepShuffle<T>::Restore;
    const V factor = broadcast<V>(scale);
    store(outRe + i, sweepShuffle<Order>(re, re) * factor);
    store(outIm + i, sweepShuffle<Order>(im, im) * factor);
  }
};

// ---- Plan and table. ------------------------------------------------------------------------------------------------

struct SweepPlan {
  int order;
  int rowBits, columnBits;  // Na = 2^rowBits, Nb = 2^columnBits
  int chunk;                // columns of a chunk of sweep A
  int group;                // rows that sweep B finishes together
  int padding;              // elements between the rows of the scratch
  bool product;             // first twiddles as the product of one value per S columns and one per lane
  // Offsets into the table, in reals.
  uint64_t lanes, first, rows, columns, rowDigits, columnDigits, buffer, scratch, total;

  constexpr size_t rowCount() const { return size_t{1} << rowBits; }
  constexpr size_t columnCount() const { return size_t{1} << columnBits; }
  constexpr uint64_t pitch() const { return (uint64_t{1} << columnBits) + static_cast<uint64_t>(padding); }

  // Room for that many reals, a whole number of cache lines.
  constexpr uint64_t take(uint64_t reals, uint64_t perLine) {
    const uint64_t at = total;
    total += (reals + perLine - 1) / perLine * perLine;
    return at;
  }
};

// Radix, as its logarithm, of the next pass when `bits` are left: 8, after as many 4 as it takes. `bits` is not 1.
constexpr int sweepRadixBits(int bits) { return bits % 3 == 0 ? 3 : 2; }

template <class T>
constexpr SweepPlan sweepPlan(int order) {
  constexpr uint64_t lanes = kSweepLanes<T>, element = kSweepElement<T>;
  SweepPlan plan{};
  const int bits = order - (lanes == 16 ? 4 : 3);
  plan.order = order;
  plan.rowBits = bits < 8 ? 0 : bits / 2;
  plan.columnBits = bits - plan.rowBits;
  plan.chunk = 16;
  plan.group = 1;
  plan.padding = 1;
  plan.product = order >= 18;  // the full table leaves the cache and costs more than the products

  const uint64_t rows = uint64_t{1} << plan.rowBits, columns = uint64_t{1} << plan.columnBits;
  uint64_t rowTwiddles = 0, columnTwiddles = 0;
  for (int left = plan.rowBits; left > 0; left -= sweepRadixBits(left)) {
    rowTwiddles += ((uint64_t{1} << left) - (uint64_t{1} << (left - sweepRadixBits(left)))) * columns;
  }
  for (int left = plan.columnBits; left > sweepRadixBits(left); left -= sweepRadixBits(left)) {
    columnTwiddles += (uint64_t{1} << left) - (uint64_t{1} << (left - sweepRadixBits(left)));
  }
  const uint64_t perChunk = rows * static_cast<uint64_t>(plan.chunk),
                 perGroup = columns * static_cast<uint64_t>(plan.group);
  const uint64_t line = 64 / sizeof(T);
  plan.lanes = plan.take(plan.product ? element * (lanes - 1) : 0, line);
  plan.first = plan.take(2 * (lanes - 1) * rows * columns / (plan.product ? lanes : 1), line);
  plan.rows = plan.take(2 * rowTwiddles, line);
  plan.columns = plan.take(2 * columnTwiddles, line);
  plan.rowDigits = plan.take(rows, line);
  plan.columnDigits = plan.take(columns, line);
  plan.buffer = plan.take(element * (perChunk > perGroup ? perChunk : perGroup), line);
  plan.scratch = plan.take(element * rows * plan.pitch(), line);
  return plan;
}

// X index of each group of elements that the last pass over 2^bits elements takes together: the digits reversed.
inline void sweepDigits(int bits, uint32_t* digits) {
  digits[0] = 0;
  uint32_t count = 1;
  int done = 0;
  for (int left = bits; left > sweepRadixBits(left); left -= sweepRadixBits(left)) {
    // Digit t of this pass has weight 2^done in the result and comes below all earlier ones in the position.
    const uint32_t radix = uint32_t{1} << sweepRadixBits(left);
    for (uint32_t k = count; k-- > 0;) {
      const uint32_t high = digits[k];
      for (uint32_t t = 0; t < radix; ++t) digits[k * radix + t] = high + (t << done);
    }
    count *= radix;
    done += sweepRadixBits(left);
  }
}

template <class T>
constexpr uint64_t sweepTableBytes(int order) {
  return sweepPlan<T>(order).total * sizeof(T);
}

template <class T>
void sweepBuild(int order, const Roots& roots, T* table) {
  const SweepPlan plan = sweepPlan<T>(order);
  constexpr int S = kSweepLanes<T>, W = kSweepVec<T>;
  const uint64_t rows = plan.rowCount(), columns = plan.columnCount(), chunk = static_cast<uint64_t>(plan.chunk);
  const auto at = [table](uint64_t offset) { return table + static_cast<size_t>(offset); };

  // [p - 1][re, im][lane]: w_N^(p (n + the lane's column))
  T* to = at(plan.product ? plan.lanes : plan.first);
  T* coarse = at(plan.first);
  for (uint64_t c0 = 0; c0 < columns; c0 += chunk) {
    for (uint64_t r = 0; r < rows; ++r) {
      for (uint64_t c = c0; c < c0 + chunk; c += S) {
        const uint64_t n = r * columns + c;
        for (uint64_t p = 1; p < S; ++p) {
          if (plan.product) {
            roots.store<T>(p * n, coarse);
            coarse += 2;
            if (n > 0) continue;
          }
          for (int lane = 0; lane < S; ++lane) {
            T w[2];
            roots.store<T>(p * (n + static_cast<uint64_t>(lane / W * W + sweepLane<T>(lane % W))), w);
            to[lane] = w[0];
            to[S + lane] = w[1];
          }
          to += 2 * S;
        }
      }
    }
  }
  // Block length 2^left over the rows is 2^left * columns over n'; the root of that order has step N / it.
  to = at(plan.rows);
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
  to = at(plan.columns);
  for (int left = plan.columnBits; left > sweepRadixBits(left); left -= sweepRadixBits(left)) {
    const uint64_t step = uint64_t{1} << (order - left), radix = uint64_t{1} << sweepRadixBits(left);
    for (uint64_t c = 0; c < (uint64_t{1} << left) / radix; ++c) {
      for (uint64_t p = 1; p < radix; ++p, to += 2) roots.store<T>(step * p * c, to);
    }
  }
  sweepDigits(plan.rowBits, reinterpret_cast<uint32_t*>(at(plan.rowDigits)));
  sweepDigits(plan.columnBits, reinterpret_cast<uint32_t*>(at(plan.columnDigits)));
}

// ---- The passes. ----------------------------------------------------------------------------------------------------

// Columns n .. n + count - 1 of the sum over j, N' = `step` apart: elements out[0 .. count-1].
template <class T, bool product, class Io>
MOX_NOINLINE void sweepFirst(const Io& io, size_t n, size_t step, size_t count, T* out, const T* twiddle,
                             const T* lanes) {
  constexpr int S = kSweepLanes<T>, W = kSweepVec<T>;
  using V = Vec<T, W>;
  for (size_t c = 0; c < count; c += W, n += W, out += W * kSweepElement<T>) {
    V re[S], im[S];
#pragma GCC unroll 16
    for (int j = 0; j < S; ++j) io.read(n + static_cast<size_t>(j) * step, re[j], im[j]);
    sweepButterfly(re, im);
    const size_t part = c % S;
    const T* w = product ? lanes : twiddle;
#pragma GCC unroll 16
    for (int p = 1; p < S; ++p) {
      sweepRotate(re[p], im[p], load<V>(w + (p - 1) * 2 * S + part), load<V>(w + (p - 1) * 2 * S + S + part));
      if (product) {
        sweepRotate(re[p], im[p], broadcast<V>(twiddle[2 * p - 2]), broadcast<V>(twiddle[2 * p - 1]));
      }
    }
    if (part + W == S) twiddle += product ? 2 * (S - 1) : 2 * S * (S - 1);
#pragma GCC unroll 4
    for (int half = 0; half < S; half += W) {
      V t[W];
#pragma GCC unroll 16
      for (int i = 0; i < W; ++i) t[i] = re[half + sweepLane<T>(i)];
      sweepTranspose<T>(t);
#pragma GCC unroll 16
      for (int i = 0; i < W; ++i) store(out + sweepLane<T>(i) * kSweepElement<T> + half, t[i]);
#pragma GCC unroll 16
      for (int i = 0; i < W; ++i) t[i] = im[half + sweepLane<T>(i)];
      sweepTranspose<T>(t);
#pragma GCC unroll 16
      for (int i = 0; i < W; ++i) store(out + sweepLane<T>(i) * kSweepElement<T> + S + half, t[i]);
    }
  }
}

// Butterflies over elements i + j inStep of `in`, i < count, with twiddles, to elements i + p outStep of `out`.
template <class T, int R>
MOX_NOINLINE void sweepPass(const T* in, size_t inStep, T* out, size_t outStep, size_t count, const T* twiddle) {
  constexpr int S = kSweepLanes<T>, W = kSweepVec<T>;
  using V = Vec<T, W>;
  inStep *= kSweepElement<T>, outStep *= kSweepElement<T>;
  for (size_t i = 0; i < count; ++i) {
    for (int part = 0; part < S; part += W) {
      V re[R], im[R];
#pragma GCC unroll 8
      for (size_t j = 0; j < R; ++j)
        re[j] = load<V>(in + j * inStep + part), im[j] = load<V>(in + j * inStep + S + part);
      sweepButterfly(re, im);
      store(out + part, re[0]);
      store(out + S + part, im[0]);
#pragma GCC unroll 8
      for (size_t p = 1; p < R; ++p) {
        sweepRotate(re[p], im[p], broadcast<V>(twiddle[2 * p - 2]), broadcast<V>(twiddle[2 * p - 1]));
        store(out + p * outStep + part, re[p]);
        store(out + p * outStep + S + part, im[p]);
      }
    }
    in += kSweepElement<T>, out += kSweepElement<T>, twiddle += 2 * (R - 1);
  }
}

template <class T>
MOX_INLINE void sweepPassOf(int radixBits, const T* in, size_t inStep, T* out, size_t outStep, size_t count,
                            const T* twiddle) {
  if (radixBits == 3) {
    sweepPass<T, 8>(in, inStep, out, outStep, count, twiddle);
  } else {
    sweepPass<T, 4>(in, inStep, out, outStep, count, twiddle);
  }
}

// The last sum over c for `group` rows from `row` on, which stand one after the other in `in`.
template <class T, int R, class Io>
MOX_NOINLINE void sweepLast(const Io& io, const SweepPlan& plan, const T* in, size_t row, const uint32_t* digits) {
  constexpr int S = kSweepLanes<T>, W = kSweepVec<T>;
  using V = Vec<T, W>;
  const size_t columns = plan.columnCount(), step = columns / R * plan.rowCount() * S;
  const size_t group = static_cast<size_t>(plan.group);
  for (size_t b = 0; b < columns / R; ++b) {
    for (size_t g = 0; g < group; ++g) {
      const T* from = in + (g * columns + b * R) * kSweepElement<T>;
      const size_t to = (row + g + plan.rowCount() * digits[b]) * S;
      for (size_t part = 0; part < S; part += W) {
        V re[R], im[R];
#pragma GCC unroll 8
        for (int j = 0; j < R; ++j) {
          re[j] = load<V>(from + j * kSweepElement<T> + part);
          im[j] = load<V>(from + j * kSweepElement<T> + S + part);
        }
        sweepButterfly(re, im);
#pragma GCC unroll 8
        for (size_t t = 0; t < R; ++t) io.write(to + t * step + part, re[t], im[t]);
      }
    }
  }
}

template <class T, class Io>
MOX_NOINLINE void sweepTransform(const Io& io, const SweepPlan& plan, T* table) {
  constexpr size_t E = kSweepElement<T>;
  constexpr int S = kSweepLanes<T>;
  const size_t rows = plan.rowCount(), columns = plan.columnCount(), chunk = static_cast<size_t>(plan.chunk);
  const size_t pitch = static_cast<size_t>(plan.pitch());
  T* const buffer = table + static_cast<size_t>(plan.buffer);
  T* const scratch = table + static_cast<size_t>(plan.scratch);
  const T* const lanes = table + static_cast<size_t>(plan.lanes);
  const T* first = table + static_cast<size_t>(plan.first);
  const T* twiddle = table + static_cast<size_t>(plan.rows);
  const auto* digits = reinterpret_cast<const uint32_t*>(table + static_cast<size_t>(plan.rowDigits));

  for (size_t c = 0; c < columns; c += chunk) {
    for (size_t r = 0; r < rows; ++r) {
      T* to = plan.rowBits == 0 ? scratch + c * E : buffer + r * chunk * E;
      if (plan.product) {
        sweepFirst<T, true>(io, r * columns + c, rows * columns, chunk, to, first, lanes);
        first += chunk / S * 2 * (S - 1);
      } else {
        sweepFirst<T, false>(io, r * columns + c, rows * columns, chunk, to, first, lanes);
        first += chunk * 2 * (S - 1);
      }
    }
    int left = plan.rowBits;
    if (left == 0) continue;
    for (; left > sweepRadixBits(left); left -= sweepRadixBits(left)) {
      const int radixBits = sweepRadixBits(left);
      const size_t block = chunk << left, step = block >> radixBits;
      for (size_t b = 0; b < rows * chunk; b += block) {
        sweepPassOf(radixBits, buffer + b * E, step, buffer + b * E, step, step, twiddle);
      }
      twiddle += step * 2 * ((size_t{1} << radixBits) - 1);
    }
    for (size_t b = 0; b < rows >> left; ++b) {
      sweepPassOf(left, buffer + (b << left) * chunk * E, chunk, scratch + (digits[b] * pitch + c) * E,
                  (rows >> left) * pitch, chunk, twiddle);
    }
    twiddle += chunk * 2 * ((size_t{1} << left) - 1);
  }

  digits = reinterpret_cast<const uint32_t*>(table + static_cast<size_t>(plan.columnDigits));
  const size_t group = static_cast<size_t>(plan.group);
  for (size_t row = 0; row < rows; row += group) {
    int left = plan.columnBits;
    const T* source = scratch + row * pitch * E;
    for (size_t g = 0; g < group; ++g) {
      left = plan.columnBits;
      const T* from = scratch + (row + g) * pitch * E;
      T* const to = buffer + g * columns * E;
      twiddle = table + static_cast<size_t>(plan.columns);
      for (; left > sweepRadixBits(left); left -= sweepRadixBits(left)) {
        const int radixBits = sweepRadixBits(left);
        const size_t block = size_t{1} << left, step = block >> radixBits;
        for (size_t b = 0; b < columns; b += block) {
          sweepPassOf(radixBits, from + b * E, step, to + b * E, step, step, twiddle);
        }
        twiddle += step * 2 * ((size_t{1} << radixBits) - 1);
        from = to;
        source = buffer;
      }
    }
    if (left == 3) {
      sweepLast<T, 8>(io, plan, source, row, digits);
    } else {
      sweepLast<T, 4>(io, plan, source, row, digits);
    }
  }
}

template <class T, int order>
constexpr SweepPlan kSweepPlan = sweepPlan<T>(order);

template <class T, int order>
void sweepForward(const T* in, T* out, T* table, T) {
  sweepTransform<T>(SweepForward<T>{in, out}, kSweepPlan<T, order>, table);
}
template <class T, int order>
void sweepInverse(const T* in, T* out, T* table, T scale) {
  sweepTransform<T>(SweepInverse<T>{{in, out}, scale}, kSweepPlan<T, order>, table);
}
template <class T, int order>
void sweepSplit(const T* inRe, const T* inIm, T* outRe, T* outIm, T* table, T scale) {
  sweepTransform<T>(SweepSplit<T>{inRe, inIm, outRe, outIm, scale}, kSweepPlan<T, order>, table);
}
