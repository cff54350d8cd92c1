// Finite impulse responses over blocks, in float64.
//
// Samples and taps are widened once per stretch into arrays on the stack; the loops see float64 only. Complex samples
// stay interleaved, real taps serve both parts alike; a complex tap is two real ones, the imaginary one on the signal
// times i. So every loop below is one of two, on real numbers:
//
//   slide   outputs at neighbouring places of the signal: a vector holds neighbouring outputs. Decimation by few deals
//           the signal out to as many streams, and is the sum of a filter on each.
//   pick    outputs at places far apart: a vector holds neighbouring products of one output
//
// Every output adds its products in an order that depends on the filter alone, and is the same on every set.

// Vectors of outputs at a time: as many sums as hide the latency of the additions, as far as there are registers.
constexpr int kFirRows = sizeof(void*) == 4 ? 4 : kVecBytes == 64 ? 16 : 8;
constexpr int kFirFewRows = kVecBytes == 64 ? 4 : kFirRows / 4;  // and of what is left over
constexpr int kFirLanes = kLanes<double>;
using FirVec = Vec<double, kFirLanes>;

constexpr size_t kFirTaps = 256;  // a stretch of the filter
constexpr size_t kFirSums = kFirRows * kFirLanes * (kVecBytes == 64 ? 8 : kVecBytes == 32 ? 16 : 32);
constexpr size_t kFirWindow = 2048;  // a stretch of the signal, reals
constexpr size_t kFirPad = 16;       // zeros behind it
constexpr size_t kFirStreams = 8;    // more than so many decimate output by output
static_assert(kFirSums + 2 * kFirTaps + kFirPad <= kFirWindow && 8 * kFirTaps <= kFirWindow);

// ---- slide: sums[i] = sum over k < count of taps[k] w[i - k step], i < n; step is 1 or 2

// Rows that take a window of kFirLanes values at w + kFirLanes O: row O through tap 0, the row 8 values on through the
// tap 8/step on, and so forth. One load serves them all.
// Keeps a loaded window in its register: GCC 12 would load it once per use, and unaligned loads are what limits this
// loop (16 taps with AVX-512: 32 loads for 32 products in place of 17).
MOX_INLINE void firPin(FirVec& x) {
#if MOX_VEC_BYTES == 64
  asm volatile("" : "+v"(x));
#else
  asm volatile("" : "+x"(x));
#endif
}

template <int Row, int R>
MOX_INLINE void firAdd(FirVec (&sums)[R], FirVec x, FirVec tap) {
  if constexpr (Row >= 0 && Row < R) sums[Row] = fma(x, tap, sums[Row]);
}
template <int O, int R, int... Q>
MOX_INLINE void firWindow(FirVec (&sums)[R], const FirVec (&taps)[sizeof...(Q)], const double* w,
                          std::integer_sequence<int, Q...>) {
  FirVec x = load<FirVec>(w + kFirLanes * O);
  if constexpr (sizeof...(Q) > 1) firPin(x);
  (firAdd<O + 8 / kFirLanes * Q>(sums, x, taps[Q]), ...);
}
template <int R, int Q, int... I>
MOX_INLINE void firWindows(FirVec (&sums)[R], const FirVec (&taps)[Q], const double* w,
                           std::integer_sequence<int, I...>) {
  (firWindow<R - 1 - I>(sums, taps, w, std::make_integer_sequence<int, Q>{}), ...);
}

// The phases of a group of 8 Q / step taps: taps p, p + 8/step, p + 16/step ... for p = 0, 1, 2 ...
template <int Q, int R>
MOX_INLINE void firGroup(FirVec (&sums)[R], const double* taps, const double* w, size_t step) {
  const size_t phases = 8 / step;
  for (size_t p = 0; p < phases; ++p, w -= step) {
    FirVec t[Q];
#pragma GCC unroll 4
    for (int q = 0; q < Q; ++q) t[q] = broadcast<FirVec>(taps[p + static_cast<size_t>(q) * phases]);
    firWindows(sums, t, w, std::make_integer_sequence<int, R + 8 / kFirLanes*(Q - 1)>{});
  }
}

template <int R>
MOX_INLINE void firRows(FirVec (&sums)[R], const double* taps, size_t count, const double* w, size_t step) {
  const size_t phases = 8 / step;
  for (; count >= 4 * phases; count -= 4 * phases, taps += 4 * phases, w -= 32) firGroup<4>(sums, taps, w, step);
  if (count >= 3 * phases) {
    firGroup<3>(sums, taps, w, step);
    count -= 3 * phases, taps += 3 * phases, w -= 24;
  } else if (count >= 2 * phases) {
    firGroup<2>(sums, taps, w, step);
    count -= 2 * phases, taps += 2 * phases, w -= 16;
  }
  for (; count > 0; --count, ++taps, w -= step) {
    const FirVec t[1] = {broadcast<FirVec>(*taps)};
    firWindows(sums, t, w, std::make_integer_sequence<int, R>{});
  }
}

MOX_INLINE void firStore(double* p, FirVec v) { store(p, v); }
#if MOX_VEC_BYTES == 16
MOX_INLINE void firStore(float* p, FirVec v) { _mm_storel_pi(reinterpret_cast<__m64*>(p), narrow(v)); }
#else
MOX_INLINE void firStore(float* p, FirVec v) { store(p, narrow(v)); }
#endif

template <int R, class Out>
MOX_INLINE void firTile(const double* taps, size_t count, const double* w, size_t step, const double* before,
                        Out* out) {
  FirVec sums[R] = {};
  if (before) {
#pragma GCC unroll 16
    for (int r = 0; r < R; ++r) sums[r] = load<FirVec>(before + r * kFirLanes);
  }
  firRows(sums, taps, count, w, step);
#pragma GCC unroll 16
  for (int r = 0; r < R; ++r) firStore(out + r * kFirLanes, sums[r]);
}

// Adds to `before` unless that is null, and may store there; w may be read up to the end of n's last vector.
template <class Out>
MOX_NOINLINE void firSlide(const double* taps, size_t count, const double* w, size_t step, const double* before,
                           Out* out, size_t n) {
  constexpr size_t kTile = kFirRows * kFirLanes, kSmall = kFirFewRows * kFirLanes;
  size_t i = 0;
  for (; i + kTile <= n; i += kTile) {
    firTile<kFirRows>(taps, count, w + i, step, before ? before + i : nullptr, out + i);
  }
  if constexpr (kFirRows > 4) {
    for (; i + kSmall <= n; i += kSmall) {
      firTile<kFirFewRows>(taps, count, w + i, step, before ? before + i : nullptr, out + i);
    }
  }
  for (; i < n; i += kFirLanes) {
    if (i + kFirLanes <= n) {
      firTile<1>(taps, count, w + i, step, before ? before + i : nullptr, out + i);
    } else {
      double start[kFirLanes] = {};
      Out last[kFirLanes];
      for (size_t k = i; before && k < n; ++k) start[k - i] = before[k];
      firTile<1>(taps, count, w + i, step, start, last);
      for (size_t k = i; k < n; ++k) out[k] = last[k - i];
    }
  }
}

// ---- pick: sums[m] = sum over j < count of taps[j] w[m apart + j], m < n, on 8 lanes that are folded by halves; with
// step 2 to two neighbours sums[2 m], sums[2 m + 1]. taps are followed by zeros up to a multiple of 8.

// Lanes k and k + 4 together, then k and k + 2.
#if MOX_VEC_BYTES == 64
MOX_INLINE Vec<double, 2> firFold(const FirVec (&lanes)[1]) {
  const Vec<double, 4> half =
      _mm256_add_pd(_mm512_castpd512_pd256(lanes[0]), _mm512_maskz_extractf64x4_pd(0xf, lanes[0], 1));
  return _mm_add_pd(_mm256_castpd256_pd128(half), _mm256_extractf128_pd(half, 1));
}
#elif MOX_VEC_BYTES == 32
MOX_INLINE Vec<double, 2> firFold(const FirVec (&lanes)[2]) {
  const Vec<double, 4> half = lanes[0] + lanes[1];
  return _mm_add_pd(_mm256_castpd256_pd128(half), _mm256_extractf128_pd(half, 1));
}
#else
MOX_INLINE Vec<double, 2> firFold(const FirVec (&lanes)[4]) { return (lanes[0] + lanes[2]) + (lanes[1] + lanes[3]); }
#endif

template <int N>
MOX_INLINE void firPickSome(const double* taps, size_t count, const double* w, size_t apart, size_t step, double* sums,
                            bool add) {
  constexpr int kVectors = 8 / kFirLanes;
  FirVec lanes[N][kVectors] = {};
  size_t j = 0;
  for (; j + 8 <= count; j += 8) {
#pragma GCC unroll 4
    for (int v = 0; v < kVectors; ++v) {
      const FirVec t = load<FirVec>(taps + j + static_cast<size_t>(v * kFirLanes));
#pragma GCC unroll 4
      for (int o = 0; o < N; ++o) {
        const double* const x = w + static_cast<size_t>(o) * apart + j + static_cast<size_t>(v * kFirLanes);
        lanes[o][v] = fma(load<FirVec>(x), t, lanes[o][v]);
      }
    }
  }
#pragma GCC unroll 4
  for (int v = 0; v < kVectors; ++v) {
    const size_t at = j + static_cast<size_t>(v * kFirLanes);
    if (at >= count) break;
    const FirVec t = load<FirVec>(taps + at);
#pragma GCC unroll 4
    for (int o = 0; o < N; ++o) {
      const double* const x = w + static_cast<size_t>(o) * apart + at;
      lanes[o][v] = fma(at + kFirLanes <= count ? load<FirVec>(x) : loadFew(x, count - at), t, lanes[o][v]);
    }
  }
#pragma GCC unroll 8
  for (int o = 0; o < N; ++o) {
    const Vec<double, 2> sum = firFold(lanes[o]);
    double* const to = sums + static_cast<size_t>(o) * step;
    if (step == 2) {
      to[0] = (add ? to[0] : 0) + sum[0];
      to[1] = (add ? to[1] : 0) + sum[1];
    } else {
      to[0] = (add ? to[0] : 0) + (sum[0] + sum[1]);
    }
  }
}

void firPick(const double* taps, size_t count, const double* w, size_t apart, size_t step, double* sums, size_t n,
             bool add) {
  size_t m = 0;
  for (; m + 4 <= n; m += 4) firPickSome<4>(taps, count, w + m * apart, apart, step, sums + m * step, add);
  for (; m < n; ++m) firPickSome<1>(taps, count, w + m * apart, apart, step, sums + m * step, add);
}

// ---- the signal and the taps in float64

// n reals from a contiguous array
MOX_INLINE void firWiden(const int16_t* from, size_t n, double* to) {
  for (size_t i = 0; i < n; ++i) to[i] = from[i];
}
template <class T>
MOX_INLINE void firWiden(const T* from, size_t n, double* to) {
  size_t i = 0;
  for (; i + kFirLanes <= n; i += kFirLanes) store(to + i, wide(from + i, static_cast<FirVec*>(nullptr)));
  for (; i < n; ++i) to[i] = from[i];
}

// Samples `from` to from + n - 1, of S reals.
template <size_t S, class T>
void firSamples(const FirSignal<T>& signal, ptrdiff_t from, size_t n, double* to) {
  for (; from < 0 && n > 0; ++from, --n, to += S) {
    const T* const p = signal.newest + (-1 - from) * signal.step * static_cast<ptrdiff_t>(S);
    for (size_t k = 0; k < S; ++k) to[k] = p[k];
  }
  if (n > 0) firWiden(signal.input + from * static_cast<ptrdiff_t>(S), n * S, to);
}

// n complex values times i
void firTimesI(const double* from, size_t n, double* to) {
  for (size_t i = 0; i < 2 * n; i += 2) {
    const double re = from[i];
    to[i] = -from[i + 1];
    to[i + 1] = re;
  }
}

// Results: rounded once, or integers modulo 2^32, which 1.5 2^52 leaves in the low half of a float64 below 2^51.
MOX_INLINE void firResult(double sum, float* to) { *to = static_cast<float>(sum); }
MOX_INLINE void firResult(double sum, double* to) { *to = sum; }
MOX_INLINE void firResult(double sum, int32_t* to) {
  const double shifted = sum + 0x1.8p52;
  uint64_t bits;
  __builtin_memcpy(&bits, &shifted, sizeof bits);
  const uint32_t low = static_cast<uint32_t>(bits);
  __builtin_memcpy(to, &low, sizeof low);
}

// Between stretches of taps: 256 products of int16 on top of an int32 stay far below 2^51.
void firWrap(double* sums, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    int32_t low;
    firResult(sums[i], &low);
    sums[i] = low;
  }
}

// ---- blocks

template <class T>
MOX_INLINE const T* firTap(const FirShape& f, const T* taps, size_t branch, size_t k, size_t reals) {
  if (!f.grouped) return taps + (branch + k * f.up) * reals;
  const size_t least = f.taps / f.up, longer = f.taps % f.up;  // taps of a branch; branches with one more
  const size_t count = least + (branch < longer);
  const size_t start = branch * least + (branch < longer ? branch : longer);
  return taps + (start + count - 1 - k) * reals;
}

// The window that is in the arrays: samples lo to hi - 1, dealt out to `streams`: sample lo + d + i streams at
// x[d stride + i S].
template <size_t S, bool ComplexTaps>
struct FirWindow {
  static constexpr bool kTurned = S == 2 && ComplexTaps;
  ptrdiff_t lo, hi;
  size_t streams, stride;
  alignas(64) double x[kFirWindow + kFirPad];
  alignas(64) double ix[kTurned ? kFirWindow + kFirPad : 1];  // i x

  // n reals are in x; zeros behind them, for the last vector of a slide reads on.
  MOX_INLINE void finish(size_t n) {
    for (size_t k = 0; k < kFirPad; ++k) x[n + k] = 0;
    if constexpr (kTurned) firTimesI(x, n / 2 + kFirPad / 2, ix);
  }
  template <class T>
  MOX_INLINE void hold(const FirSignal<T>& signal, ptrdiff_t from, ptrdiff_t to) {
    if (from >= lo && to <= hi) return;
    lo = from, hi = to;
    const size_t n = static_cast<size_t>(to - from);
    if (streams == 1) {
      firSamples<S>(signal, from, n, x);
      return finish(n * S);
    }
    double line[kFirWindow];
    firSamples<S>(signal, from, n, line);
    const size_t most = (n + streams - 1) / streams;
    stride = most * S + kFirPad;
    for (size_t d = 0; d < streams; ++d) {
      double* p = x + d * stride;
      double* const end = p + stride;
      for (size_t j = d; j < n; j += streams, p += S) {
        for (size_t s = 0; s < S; ++s) p[s] = line[j * S + s];
      }
      for (; p < end; ++p) *p = 0;
    }
    if constexpr (kTurned) firTimesI(x, streams * stride / 2, ix);
  }
  // Of the sample at x[0], or in ix.
  MOX_INLINE size_t place(ptrdiff_t sample) const {
    const size_t at = static_cast<size_t>(sample - lo);
    return streams == 1 ? at * S : at % streams * stride + at / streams * S;
  }
};

template <size_t S, bool ComplexTaps, class T, class Out>
void firBlock(const FirShape& f, const T* taps, const FirSignal<T>& signal, Out* out, size_t periods) {
  constexpr bool kIntegers = !std::is_same_v<T, Out>;
  constexpr bool kPlanes = S == 1 && ComplexTaps;  // real and imaginary parts of the output apart
  constexpr size_t kOut = S == 2 || ComplexTaps ? 2 : 1;
  constexpr size_t kTapReals = ComplexTaps ? 2 : 1;
  FirWindow<S, ComplexTaps> window;
  alignas(64) double re[2 * kFirTaps + 8], im[ComplexTaps ? 2 * kFirTaps + 8 : 1];
  alignas(64) double sums[kFirSums], imSums[kPlanes ? kFirSums : 1];
  const size_t up = f.up, down = f.down;
  const size_t most = (f.taps - 1) / up + 1;  // taps of the longest branch
  // With every `down`th sample in a stream of its own, the outputs of a branch are neighbours to each of the streams.
  const bool slide = down <= kFirStreams && most >= down;
  window.lo = window.hi = 0;
  window.streams = slide ? down : 1;
  window.stride = 0;
  const size_t atOnce = most < kFirTaps ? most : kFirTaps;
  // Outputs of one branch whose samples fit in the window: all samples, or where those between are many, each
  // output's own.
  const bool sparse = !slide && (down > up * atOnce || 5 * down + atOnce > kFirWindow / S);
  size_t chunk = kFirSums / S;
  if (sparse) {
    const size_t fit = kFirWindow / (S * atOnce);
    if (chunk > fit) chunk = fit;
  } else if (down > 1) {
    const size_t room = slide ? kFirWindow / S - (kFirPad / S + 1) * down : kFirWindow / S;
    const size_t fit = (room - atOnce) / down - 1;
    if (chunk > fit) chunk = fit;
  }

  // The first branch: downPhase - upPhase = newest up + branch, rounding down.
  size_t firstBranch = f.downPhase - f.upPhase;
  ptrdiff_t firstNewest = 0;
  if (f.downPhase < f.upPhase) {
    firstBranch += up;
    firstNewest = -1;
  } else {
    firstNewest = static_cast<ptrdiff_t>(firstBranch / up);
    firstBranch %= up;
  }
  const ptrdiff_t spread = static_cast<ptrdiff_t>(((up - 1) * uint64_t{down} + firstBranch) / up);
  size_t heldBranch = up;  // whose taps are in re and im, where they are all there

  for (size_t done = 0; done < periods; done += chunk) {
    const size_t n = periods - done < chunk ? periods - done : chunk;
    const ptrdiff_t base = static_cast<ptrdiff_t>(done * down), span = static_cast<ptrdiff_t>((n - 1) * down);
    if (!sparse && most <= kFirTaps) {
      const ptrdiff_t first = base + firstNewest;
      window.hold(signal, first - static_cast<ptrdiff_t>(most - 1), first + spread + span + 1);
    }
    size_t branch = firstBranch;
    ptrdiff_t newest = base + firstNewest;
    for (size_t e = 0; e < up; ++e) {
      const size_t count = branch < f.taps ? (f.taps - 1 - branch) / up + 1 : 0;
      Out* const to = out + (done * up + e) * kOut;
      bool delivered = false;
      for (size_t k0 = 0; k0 < count || k0 == 0; k0 += kFirTaps) {
        const size_t k = count - k0 < kFirTaps ? count - k0 : kFirTaps;
        const bool whole = k == count, add = k0 > 0;
        if (!(whole && heldBranch == branch)) {
          heldBranch = whole ? branch : up;
          if (slide) {
            // Those of one stream after those of another.
            size_t at = 0;
            for (size_t first = 0; first < down; ++first) {
              for (size_t i = first; i < k; i += down, ++at) {
                const T* const tap = firTap(f, taps, branch, k0 + i, kTapReals);
                re[at] = tap[0];
                if constexpr (ComplexTaps) im[at] = tap[1];
              }
            }
          } else {
            for (size_t i = 0; i < k; ++i) {
              const T* const tap = firTap(f, taps, branch, k0 + i, kTapReals);
              for (size_t s = 0; s < S; ++s) {
                re[(k - 1 - i) * S + s] = tap[0];
                if constexpr (ComplexTaps) im[(k - 1 - i) * S + s] = tap[1];
              }
            }
          }
          for (size_t i = 0; !slide && i < 8; ++i) {
            re[k * S + i] = 0;
            if constexpr (ComplexTaps) im[k * S + i] = 0;
          }
        }
        const ptrdiff_t oldest = newest - static_cast<ptrdiff_t>(k0 + k) + 1;
        if (slide) {
          if (k > 0) window.hold(signal, oldest, newest - static_cast<ptrdiff_t>(k0) + span + 1);
          const size_t streams = k < down ? k : down;
          size_t tap = 0;
          for (size_t first = 0; first < streams || first == 0; ++first) {
            const size_t some = k > first ? (k - first - 1) / down + 1 : 0;
            const size_t at = some > 0 ? window.place(newest - static_cast<ptrdiff_t>(k0 + first)) : 0;
            const bool begun = add || first > 0;
            if constexpr (kPlanes) {
              firSlide<double>(re + tap, some, window.x + at, S, begun ? sums : nullptr, sums, n);
              firSlide<double>(im + tap, some, window.x + at, S, begun ? imSums : nullptr, imSums, n);
            } else {
              const double* before = begun ? sums : nullptr;
              if constexpr (ComplexTaps) {
                firSlide<double>(re + tap, some, window.x + at, S, before, sums, n * S);
                before = sums;
              }
              const double* const x = ComplexTaps ? window.ix : window.x;
              const double* const t = ComplexTaps ? im : re;
              bool direct = false;
              if constexpr (!kIntegers) {
                direct = up == 1 && k0 + k == count && first + 1 >= streams;
                if (direct) firSlide<Out>(t + tap, some, x + at, S, before, to, n * S);
              }
              if (!direct) firSlide<double>(t + tap, some, x + at, S, before, sums, n * S);
              delivered = direct;
            }
            tap += some;
          }
        } else {
          size_t apart = down * S, at = 0;
          if (sparse) {
            apart = k * S;
            for (size_t m = 0; m < n; ++m) {
              firSamples<S>(signal, oldest + static_cast<ptrdiff_t>(m * down), k, window.x + m * apart);
            }
            window.finish(n * apart);
          } else {
            if (k > 0) window.hold(signal, oldest, newest - static_cast<ptrdiff_t>(k0) + span + 1);
            at = static_cast<size_t>(oldest - window.lo) * S;
          }
          firPick(re, k * S, window.x + at, apart, S, sums, n, add);
          if constexpr (kPlanes) {
            firPick(im, k, window.x + at, apart, S, imSums, n, add);
          } else if constexpr (ComplexTaps) {
            firPick(im, k * S, window.ix + at, apart, S, sums, n, true);
          }
        }
        if constexpr (kIntegers) {
          if (k0 + k < count) firWrap(sums, n);
        }
      }
      if (!delivered) {
        Out* p = to;
        for (size_t m = 0; m < n; ++m, p += up * kOut) {
          firResult(sums[m * S], p);
          if constexpr (kPlanes) {
            firResult(imSums[m], p + 1);
          } else if constexpr (S == 2) {
            firResult(sums[m * S + 1], p + 1);
          }
        }
      }
      newest += static_cast<ptrdiff_t>((branch + down) / up);
      branch = (branch + down) % up;
    }
  }
}

template <class T>
constexpr Fir<T> firKernels() {
  return {.real = firBlock<1, false, T, T>,
          .complexSamples = firBlock<2, false, T, T>,
          .complexTaps = firBlock<1, true, T, T>,
          .complex = firBlock<2, true, T, T>};
}
constexpr Fir16 fir16Kernels() { return {.real = firBlock<1, false, int16_t, int32_t>}; }
