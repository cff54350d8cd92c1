// Recursive filters. Everything runs in float64; the delay line is widened at the beginning of a call and rounded at
// its end. A call for one sample and a call for many do the same operations in the same order on float64 samples.
//
// With float32 samples and real coefficients, sections with both poles inside the unit circle take four samples at once
// (see lookAhead); that differs from one sample at a time by roundings in float64.

// Samples that pass through all sections before the next ones do. Looking ahead costs at the beginning of every run.
constexpr size_t kIirRun = 256, kAheadRun = 1024;
constexpr size_t kIirKept = 128;  // more delay values than that do not stay in float64 over a call

using Two = Vec<double, 2>;

// x f + sum
MOX_INLINE double accumulate(double f, double x, double sum) { return fma(f, x, sum); }
MOX_INLINE Two accumulate(double f, Two x, Two sum) { return fma(broadcast<Two>(f), x, sum); }
struct ComplexFactor {
  Two re, im;  // (re, re), (-im, im)
  MOX_INLINE ComplexFactor operator-() const { return {-re, -im}; }
};
MOX_INLINE Two accumulate(const ComplexFactor& f, Two x, Two sum) { return fma(f.re, x, fma(f.im, swapParts(x), sum)); }

// What samples, delay line and taps of type R stand for.
template <class R>
struct RealForm {
  using Real = R;
  using Value = double;
  using Factor = double;
  static constexpr size_t kIn = 1, kOut = 1, kTap = 1;
  MOX_INLINE static double sample(const R* p) { return *p; }
  MOX_INLINE static double value(const R* p) { return *p; }
  MOX_INLINE static double factor(const R* p) { return *p; }
  MOX_INLINE static void put(R* p, double v) { *p = static_cast<R>(v); }
};
template <class R>
struct RealTapsForm {
  using Real = R;
  using Value = Two;
  using Factor = double;
  static constexpr size_t kIn = 2, kOut = 2, kTap = 1;
  MOX_INLINE static Two sample(const R* p) { return wide(p, static_cast<Two*>(nullptr)); }
  MOX_INLINE static Two value(const R* p) { return wide(p, static_cast<Two*>(nullptr)); }
  MOX_INLINE static double factor(const R* p) { return *p; }
  MOX_INLINE static void put(R* p, Two v) { narrowTo(p, v); }
};
template <class R>
struct ComplexForm : RealTapsForm<R> {
  using Factor = ComplexFactor;
  static constexpr size_t kTap = 2;
  MOX_INLINE static ComplexFactor factor(const R* p) {
    const double re = p[0], im = p[1];
    return {Two{re, re}, Two{-im, im}};
  }
};
template <class R>
struct RealSamplesForm : ComplexForm<R> {
  static constexpr size_t kIn = 1;
  MOX_INLINE static Two sample(const R* p) { return Two{static_cast<double>(*p), 0}; }
};

// The delay line during a call: in float64, or where the caller has it.
template <class Form>
struct DelayLine {
  using Value = typename Form::Value;
  typename Form::Real* stored;
  Value* kept;  // or null
  MOX_INLINE Value get(size_t i) const { return kept ? kept[i] : Form::value(stored + i * Form::kOut); }
  MOX_INLINE void set(size_t i, Value v) const {
    if (kept) {
      kept[i] = v;
    } else {
      Form::put(stored + i * Form::kOut, v);
    }
  }
};

// K sections on n samples in place; `taps` at the first one's a1.
//   w = x - a1 d1 - a2 d2, y = w + b1 d1 + b2 d2, then d2 = d1, d1 = w
template <class Form, size_t K>
void sectionsInPlace(const typename Form::Real* taps, DelayLine<Form> delay, size_t first, typename Form::Value* x,
                     size_t n) {
  using Value = typename Form::Value;
  typename Form::Factor a1[K], a2[K], b1[K], b2[K];
  Value d1[K], d2[K];
#pragma GCC unroll 4
  for (size_t k = 0; k < K; ++k) {
    const typename Form::Real* const t = taps + 4 * k * Form::kTap;
    a1[k] = -Form::factor(t);
    a2[k] = -Form::factor(t + Form::kTap);
    b1[k] = Form::factor(t + 2 * Form::kTap);
    b2[k] = Form::factor(t + 3 * Form::kTap);
    d1[k] = delay.get(first + 2 * k);
    d2[k] = delay.get(first + 2 * k + 1);
  }
  for (size_t i = 0; i < n; ++i) {
    Value v = x[i];
#pragma GCC unroll 4
    for (size_t k = 0; k < K; ++k) {
      const Value w = accumulate(a1[k], d1[k], accumulate(a2[k], d2[k], v));
      v = accumulate(b1[k], d1[k], accumulate(b2[k], d2[k], w));
      d2[k] = d1[k];
      d1[k] = w;
    }
    x[i] = v;
  }
#pragma GCC unroll 4
  for (size_t k = 0; k < K; ++k) {
    delay.set(first + 2 * k, d1[k]);
    delay.set(first + 2 * k + 1, d2[k]);
  }
}

template <class Form>
MOX_INLINE void allSections(const typename Form::Real* taps, size_t sections, DelayLine<Form> delay,
                            typename Form::Value* x, size_t n) {
  const typename Form::Real* t = taps + Form::kTap;
  size_t k = 0;
  for (; k + 4 <= sections; k += 4, t += 16 * Form::kTap) sectionsInPlace<Form, 4>(t, delay, 2 * k, x, n);
  switch (sections - k) {
    case 3:
      return sectionsInPlace<Form, 3>(t, delay, 2 * k, x, n);
    case 2:
      return sectionsInPlace<Form, 2>(t, delay, 2 * k, x, n);
    case 1:
      return sectionsInPlace<Form, 1>(t, delay, 2 * k, x, n);
    default:
      return;
  }
}

template <class Form>
void biquads(const typename Form::Real* taps, size_t sections, typename Form::Real* stored,
             const typename Form::Real* in, typename Form::Real* out, size_t n) {
  using Value = typename Form::Value;
  Value x[kIirRun], kept[kIirKept];
  DelayLine<Form> delay{stored, nullptr};
  const bool keep = n > kIirRun && 2 * sections <= kIirKept;
  if (keep) {
    for (size_t i = 0; i < 2 * sections; ++i) kept[i] = delay.get(i);
    delay.kept = kept;
  }
  const auto gain = Form::factor(taps);
  while (n) {
    const size_t run = n < kIirRun ? n : kIirRun;
    for (size_t i = 0; i < run; ++i) x[i] = accumulate(gain, Form::sample(in + i * Form::kIn), Value{});
    allSections(taps, sections, delay, x, run);
    for (size_t i = 0; i < run; ++i) Form::put(out + i * Form::kOut, x[i]);
    in += run * Form::kIn;
    out += run * Form::kOut;
    n -= run;
  }
  if (keep) {
    for (size_t i = 0; i < 2 * sections; ++i) Form::put(stored + i * Form::kOut, kept[i]);
  }
}

// ---- four samples at once

// Four float64 values, and the vectors one and two places back: (p3, c0, c1, c2) and (p2, p3, c0, c1).
#if MOX_VEC_BYTES >= 32
using Four = Vec<double, 4>;
MOX_INLINE Four four(double x) { return broadcast<Four>(x); }
MOX_INLINE Four loadFour(const double* p) { return load<Four>(p); }
MOX_INLINE void storeFour(double* p, Four v) { store(p, v); }
MOX_INLINE Four twoBack(Four past, Four v) { return _mm256_permute2f128_pd(past, v, 0x21); }
MOX_INLINE Four oneBack(Four past, Four v) { return _mm256_shuffle_pd(twoBack(past, v), v, 0x5); }
#else
struct Four {
  Two low, high;
};
MOX_INLINE Four four(double x) { return {broadcast<Two>(x), broadcast<Two>(x)}; }
MOX_INLINE Four loadFour(const double* p) { return {load<Two>(p), load<Two>(p + 2)}; }
MOX_INLINE void storeFour(double* p, Four v) {
  store(p, v.low);
  store(p + 2, v.high);
}
MOX_INLINE Four fma(Four a, Four b, Four c) { return {fma(a.low, b.low, c.low), fma(a.high, b.high, c.high)}; }
MOX_INLINE Four operator-(Four v) { return {-v.low, -v.high}; }
MOX_INLINE Four twoBack(Four past, Four v) { return {past.high, v.low}; }
MOX_INLINE Four oneBack(Four past, Four v) {
  return {_mm_shuffle_pd(past.high, v.low, 1), _mm_shuffle_pd(v.low, v.high, 1)};
}
#endif

// One section: w = x + p d1 + q d2, y = w + b1 d1 + b2 d2.
struct Section {
  double p, q, b1, b2, d1, d2;
  MOX_INLINE double next(double x) {
    const double w = accumulate(p, d1, accumulate(q, d2, x));
    const double y = accumulate(b1, d1, accumulate(b2, d2, w));
    d2 = d1;
    d1 = w;
    return y;
  }
  // No pole outside the unit circle. (p and q came as float32: exact sums.)
  MOX_INLINE bool isStable() const { return q >= -1 && p <= 1 - q && -p <= 1 - q; }
};

// The same on n samples in place, n >= 8. The recursion is w = x + p z w + q z^2 w, z the delay by one sample. A
// polynomial times its mirror image is one in z^2:
//   (1 - p z - q z^2)(1 + p z - q z^2) = 1 - (p^2 + 2 q) z^2 + q^2 z^4
// so that two such factors in front of the recursion leave one in z^4, which runs in four independent lanes. The poles
// that the factors cancel lie as far inside the unit circle as the section's own: no recursion becomes less stable.
void lookAhead(Section& section, double* x, size_t n) {
  const double p = section.p, q = section.q;
  double v[8], u[8], w[8];
  for (size_t i = 0; i < 8; ++i) {
    v[i] = x[i];
    x[i] = section.next(v[i]);
    w[i] = section.d1;
  }
  for (size_t i = 4; i < 8; ++i) u[i] = accumulate(p, v[i - 1], accumulate(-q, v[i - 2], v[i]));

  const double p2 = p * p + 2 * q, q2 = -q * q;
  const Four b1 = four(section.b1), b2 = four(section.b2);
  const Four first1 = four(p), second1 = four(-q), first2 = four(p2), second2 = four(-q2);
  const Four first4 = four(p2 * p2 + 2 * q2), second4 = four(-q2 * q2);
  Four pastV = loadFour(v + 4), pastU = loadFour(u + 4), pastW = loadFour(w + 4), olderW = loadFour(w);
  size_t i = 8;
  for (; i + 4 <= n; i += 4) {
    const Four nowV = loadFour(x + i);
    const Four nowU = fma(first1, oneBack(pastV, nowV), fma(second1, twoBack(pastV, nowV), nowV));
    const Four driven = fma(first2, twoBack(pastU, nowU), fma(second2, pastU, nowU));
    const Four nowW = fma(first4, pastW, fma(second4, olderW, driven));
    storeFour(x + i, fma(b1, oneBack(pastW, nowW), fma(b2, twoBack(pastW, nowW), nowW)));
    pastV = nowV;
    pastU = nowU;
    olderW = pastW;
    pastW = nowW;
  }
  storeFour(w, pastW);
  section.d1 = w[3];
  section.d2 = w[2];
  for (; i < n; ++i) x[i] = section.next(x[i]);
}

// The samples as float64 in separate channels, times the gain, and back.
template <size_t Channels>
MOX_INLINE void spreadSamples(const float* in, double gain, double (*x)[kAheadRun], size_t n) {
  size_t i = 0;
  if constexpr (Channels == 1) {
    const DotVec gains = broadcast<DotVec>(gain);
    for (; i + kDotWidth <= n; i += kDotWidth) store(x[0] + i, widened(in + i) * gains);
  }
  for (; i < n; ++i) {
    for (size_t c = 0; c < Channels; ++c) x[c][i] = in[Channels * i + c] * gain;
  }
}
template <size_t Channels>
MOX_INLINE void gatherSamples(const double (*x)[kAheadRun], float* out, size_t n) {
  size_t i = 0;
  if constexpr (Channels == 1) {
    for (; i + kDotWidth <= n; i += kDotWidth) narrowTo(out + i, load<DotVec>(x[0] + i));
  }
  for (; i < n; ++i) {
    for (size_t c = 0; c < Channels; ++c) out[Channels * i + c] = static_cast<float>(x[c][i]);
  }
}

// Real coefficients; each part of a sample is a channel of its own.
template <class Form>
void biquadsAhead(const float* taps, size_t sections, float* stored, const float* in, float* out, size_t n) {
  constexpr size_t kChannels = Form::kOut;
  constexpr size_t kShort = 24;
  if (n < kShort) return biquads<Form>(taps, sections, stored, in, out, n);
  double x[kChannels][kAheadRun], kept[kIirKept * kChannels];
  const size_t values = 2 * sections * kChannels;
  const bool keep = n > kAheadRun && 2 * sections <= kIirKept;
  const DelayLine<RealForm<float>> delay{stored, keep ? kept : nullptr};
  if (keep) {
    for (size_t i = 0; i < values; ++i) kept[i] = stored[i];
  }
  while (n) {
    // No run is left that is too short to look ahead.
    const size_t run = n <= kAheadRun ? n : n < kAheadRun + kShort ? kAheadRun - kShort : kAheadRun;
    spreadSamples<kChannels>(in, *taps, x, run);
    for (size_t k = 0; k < sections; ++k) {
      const float* const t = taps + 1 + 4 * k;
      for (size_t c = 0; c < kChannels; ++c) {
        const size_t place = 2 * k * kChannels + c;
        Section section = {-double{t[0]}, -double{t[1]}, t[2], t[3], delay.get(place), delay.get(place + kChannels)};
        if (section.isStable()) {
          lookAhead(section, x[c], run);
        } else {
          for (size_t i = 0; i < run; ++i) x[c][i] = section.next(x[c][i]);
        }
        delay.set(place, section.d1);
        delay.set(place + kChannels, section.d2);
      }
    }
    gatherSamples<kChannels>(x, out, run);
    in += run * kChannels;
    out += run * kChannels;
    n -= run;
  }
  if (keep) {
    for (size_t i = 0; i < values; ++i) stored[i] = static_cast<float>(kept[i]);
  }
}

// ---- direct form: y = b0 x + d[0], d[i-1] = d[i] + b_i x - a_i y with d[N] = 0

template <class Form, int N>
void directFew(const typename Form::Real* taps, typename Form::Real* stored, const typename Form::Real* in,
               typename Form::Real* out, size_t n) {
  using Value = typename Form::Value;
  typename Form::Factor b[N + 1], a[N + 1];
  Value d[N + 1];
  b[0] = Form::factor(taps);
#pragma GCC unroll 8
  for (int i = 1; i <= N; ++i) {
    b[i] = Form::factor(taps + static_cast<size_t>(i) * Form::kTap);
    a[i] = -Form::factor(taps + static_cast<size_t>(N + i) * Form::kTap);
    d[i - 1] = Form::value(stored + static_cast<size_t>(i - 1) * Form::kOut);
  }
  d[N] = Value{};
  for (; n; --n, in += Form::kIn, out += Form::kOut) {
    const Value x = Form::sample(in), y = accumulate(b[0], x, d[0]);
#pragma GCC unroll 8
    for (int i = 1; i <= N; ++i) d[i - 1] = accumulate(a[i], y, accumulate(b[i], x, d[i]));
    Form::put(out, y);
  }
#pragma GCC unroll 8
  for (int i = 0; i < N; ++i) Form::put(stored + static_cast<size_t>(i) * Form::kOut, d[i]);
}

#if MOX_VEC_BYTES >= 32
MOX_INLINE Four lanesOf(Four v, const double* mask) { return _mm256_and_pd(v, load<Four>(mask)); }
MOX_INLINE void lanes(Four v, double (&x)[4]) {
#  pragma GCC unroll 4
  for (int i = 0; i < 4; ++i) x[i] = v[i];
}
#else
MOX_INLINE Four lanesOf(Four v, const double* mask) {
  return {_mm_and_pd(v.low, load<Two>(mask)), _mm_and_pd(v.high, load<Two>(mask + 2))};
}
MOX_INLINE void lanes(Four v, double (&x)[4]) {
#  pragma GCC unroll 2
  for (int i = 0; i < 2; ++i) x[i] = v.low[i], x[i + 2] = v.high[i];
}
#endif

// d[i] is what result i has from earlier samples, in vectors of four results. These stay where they are while four
// samples go by, and the coefficients move past them; each result adds its products in the order of the direct form.
// The coefficients have zeros behind them, which no result may take: they could meet an infinity.
//
// For real values of orders up to this all stays in registers; beyond, the loop below is faster. Complex ones gain as
// far as it was measured (with AVX-512, 4096 samples of order 32: real taps 90 to 40 us, complex ones 102 to 68), but
// not with SSE2, which has too few registers, nor where little is to do.
template <class Form>
constexpr size_t kMostGrouped = Form::kOut == 1   ? (kVecBytes == 64   ? 64
                                                     : kVecBytes == 32 ? 40
                                                                       : 24)
                                : kVecBytes >= 32 ? 32
                                                  : 0;
template <class Form>
constexpr size_t kLeastGrouped = Form::kTap == 1 ? 9 : 13;
template <class Form>
constexpr size_t kFewGrouped = Form::kOut == 1 ? 2 : 32;  // samples
template <class Form>
using DirectWide = std::conditional_t<Form::kTap == 1, RealTapsForm<double>, ComplexForm<double>>;
template <size_t Taps, class Factor, size_t Most>
struct DirectCoefficients {
  double b[Taps][Most + 8], a[Taps][Most + 8];  // parts apart; a[i] = -a_i
  double mask[Most + 8];                        // all bits of i <= order
  Factor firstB[4], firstA[4];
};
template <class Form>
using DirectTaps = DirectCoefficients<Form::kTap, typename Form::Factor, kMostGrouped<Form>>;
template <class Form>
using DirectLine = double[kMostGrouped<Form> + 4];
template <class Form>
void directTaps(const typename Form::Real* taps, size_t order, DirectTaps<Form>& t) {
  if (order > kMostGrouped<Form>) __builtin_unreachable();
  for (size_t i = 0; i < order + 8; ++i) {
    const bool there = i <= order;
    for (size_t c = 0; c < Form::kTap; ++c) {
      t.b[c][i] = there ? double{taps[i * Form::kTap + c]} : 0;
      t.a[c][i] = there && i > 0 ? -double{taps[(order + i) * Form::kTap + c]} : 0;
    }
    const uint64_t bits = there ? ~uint64_t{0} : 0;
    __builtin_memcpy(t.mask + i, &bits, sizeof bits);
  }
  t.firstB[0] = Form::factor(taps);
  for (size_t i = 1; i < 4; ++i) {
    t.firstB[i] = Form::factor(taps + i * Form::kTap);
    t.firstA[i] = -Form::factor(taps + (order + i) * Form::kTap);
  }
}

MOX_INLINE double part(double x, size_t) { return x; }
MOX_INLINE double part(Two x, size_t c) { return x[c]; }
MOX_INLINE void fromParts(const double* re, const double*, double& x) { x = *re; }
MOX_INLINE void fromParts(const double* re, const double* im, Two& x) { x = Two{*re, *im}; }

// Part c of sum + f[i] x, and for four neighbouring i.
MOX_INLINE double factorAt(const double* f, double) { return *f; }
MOX_INLINE Four factorAt(const double* f, Four) { return loadFour(f); }
template <size_t Taps, size_t Room, class V, size_t Parts>
MOX_INLINE V accumulate(const double (&f)[Taps][Room], int i, const V (&x)[Parts], size_t c, V sum) {
  if constexpr (Taps > 1) {
    const V im = factorAt(f[1] + i, sum);
    sum = c > 0 ? fma(im, x[0], sum) : fma(-im, x[1], sum);
  }
  return fma(factorAt(f[0] + i, sum), x[c], sum);
}

// Sample k of four: q are the results of these, sums[j] those of four j places on; at most 4 Count is the order.
template <class Form, int Count>
MOX_INLINE void directStep(const DirectTaps<Form>& t, int k, typename Form::Value x, typename Form::Value (&q)[4],
                           Four (&sums)[Form::kOut][Count + 1]) {
  constexpr size_t kParts = Form::kOut;
  const typename Form::Value y = q[k] = accumulate(t.firstB[0], x, q[k]);
#pragma GCC unroll 4
  for (int v = k + 1; v < 4; ++v) q[v] = accumulate(t.firstA[v - k], y, accumulate(t.firstB[v - k], x, q[v]));
  Four fourX[kParts], fourY[kParts];
#pragma GCC unroll 2
  for (size_t c = 0; c < kParts; ++c) fourX[c] = four(part(x, c)), fourY[c] = four(part(y, c));
#pragma GCC unroll 16
  for (int j = 1; j <= Count; ++j) {
    const int at = 4 * j - k;
#pragma GCC unroll 2
    for (size_t c = 0; c < kParts; ++c) {
      const Four sum = accumulate(t.a, at, fourY, c, accumulate(t.b, at, fourX, c, sums[c][j]));
      sums[c][j] = j < Count - 1 ? sum : lanesOf(sum, t.mask + at);
    }
  }
}

// Four times `groups` samples.
template <class Form, int Count>
MOX_NOINLINE void directGroups(const DirectTaps<Form>& t, DirectLine<Form>* d, const typename Form::Real* in,
                               typename Form::Real* out, size_t groups) {
  constexpr size_t kParts = Form::kOut;
  Four sums[kParts][Count + 1];
#pragma GCC unroll 2
  for (size_t c = 0; c < kParts; ++c) {
#pragma GCC unroll 16
    for (int j = 0; j < Count; ++j) sums[c][j] = loadFour(d[c] + 4 * j);
  }
  for (; groups; --groups, in += 4 * kParts, out += 4 * kParts) {
    double parts[kParts][4];
#pragma GCC unroll 2
    for (size_t c = 0; c < kParts; ++c) {
      lanes(sums[c][0], parts[c]);
      sums[c][Count] = four(0);
    }
    typename Form::Value x[4], q[4];
#pragma GCC unroll 4
    for (size_t k = 0; k < 4; ++k) {
      x[k] = Form::sample(in + k * kParts);
      fromParts(parts[0] + k, parts[kParts - 1] + k, q[k]);
    }
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) directStep<Form, Count>(t, k, x[k], q, sums);
#pragma GCC unroll 4
    for (size_t k = 0; k < 4; ++k) Form::put(out + k * kParts, q[k]);
#pragma GCC unroll 2
    for (size_t c = 0; c < kParts; ++c) {
#pragma GCC unroll 16
      for (int j = 0; j < Count; ++j) sums[c][j] = sums[c][j + 1];
    }
  }
#pragma GCC unroll 2
  for (size_t c = 0; c < kParts; ++c) {
#pragma GCC unroll 16
    for (int j = 0; j < Count; ++j) storeFour(d[c] + 4 * j, sums[c][j]);
  }
}

template <class Form>
constexpr int kFewestGroups = (kLeastGrouped<Form> + 3) / 4;
template <class Form, int... Counts>
MOX_INLINE void directGrouped(const DirectTaps<Form>& t, size_t count, DirectLine<Form>* d,
                              const typename Form::Real* in, typename Form::Real* out, size_t groups,
                              std::integer_sequence<int, Counts...>) {
  using R = typename Form::Real;
  using Run = void (*)(const DirectTaps<Form>&, DirectLine<Form>*, const R*, R*, size_t);
  static constexpr Run runs[] = {directGroups<Form, Counts + kFewestGroups<Form>>...};
  runs[count - kFewestGroups<Form>](t, d, in, out, groups);
}

template <class Form>
void directRun(const DirectTaps<Form>& t, size_t order, DirectLine<Form>* d, const typename Form::Real* in,
               typename Form::Real* out, size_t n) {
  constexpr size_t kParts = Form::kOut;
  constexpr int kCounts = static_cast<int>(kMostGrouped<Form> / 4) + 1 - kFewestGroups<Form>;
  directGrouped<Form>(t, (order + 3) / 4, d, in, out, n / 4, std::make_integer_sequence<int, kCounts>());
  for (size_t k = n / 4 * 4; k < n; ++k) {
    double x[kParts], y[kParts];
    for (size_t c = 0; c < kParts; ++c) x[c] = in[k * kParts + c];
    for (size_t c = 0; c < kParts; ++c) {
      y[c] = accumulate(t.b, 0, x, c, d[c][0]);
      out[k * kParts + c] = static_cast<typename Form::Real>(y[c]);
      d[c][order] = 0;
    }
    for (int i = 1; i <= static_cast<int>(order); ++i) {
      for (size_t c = 0; c < kParts; ++c) d[c][i - 1] = accumulate(t.a, i, y, c, accumulate(t.b, i, x, c, d[c][i]));
    }
  }
}

template <class Form>
void directMany(const typename Form::Real* taps, size_t order, typename Form::Real* stored,
                const typename Form::Real* in, typename Form::Real* out, size_t n) {
  constexpr size_t kParts = Form::kOut;
  DirectTaps<Form> t;
  directTaps<Form>(taps, order, t);
  DirectLine<Form> d[kParts] = {};
  for (size_t i = 0; i < order * kParts; ++i) d[i % kParts][i / kParts] = stored[i];
  if constexpr (kParts == 1) {
    directRun<Form>(t, order, d, in, out, n);
  } else {
    // One loop on float64 for all complex types.
    using Wide = DirectWide<Form>;
    double x[kIirRun * kParts] = {};
    while (n) {
      const size_t run = n < kIirRun ? n : kIirRun;
      for (size_t i = 0; i < run; ++i) Wide::put(x + i * kParts, Form::sample(in + i * Form::kIn));
      directRun<Wide>(t, order, d, x, x, run);
      for (size_t i = 0; i < run; ++i) Form::put(out + i * kParts, Wide::sample(x + i * kParts));
      in += run * Form::kIn;
      out += run * kParts;
      n -= run;
    }
  }
  for (size_t i = 0; i < order * kParts; ++i) stored[i] = static_cast<typename Form::Real>(d[i % kParts][i / kParts]);
}

// The delay line in float64 over the call, of which there is room for kIirKept values.
template <class Form>
void directKept(const typename Form::Real* taps, size_t order, typename Form::Real* stored,
                const typename Form::Real* in, typename Form::Real* out, size_t n) {
  using Value = typename Form::Value;
  typename Form::Factor b[kIirKept + 1], a[kIirKept + 1];
  Value d[kIirKept + 1];
  b[0] = Form::factor(taps);
  for (size_t i = 1; i <= order; ++i) {
    b[i] = Form::factor(taps + i * Form::kTap);
    a[i] = -Form::factor(taps + (order + i) * Form::kTap);
    d[i - 1] = Form::value(stored + (i - 1) * Form::kOut);
  }
  d[order] = Value{};
  for (; n; --n, in += Form::kIn, out += Form::kOut) {
    const Value x = Form::sample(in), y = accumulate(b[0], x, d[0]);
    for (size_t i = 1; i <= order; ++i) d[i - 1] = accumulate(a[i], y, accumulate(b[i], x, d[i]));
    Form::put(out, y);
  }
  for (size_t i = 0; i < order; ++i) Form::put(stored + i * Form::kOut, d[i]);
}

// The delay line stays where it is.
template <class Form>
void directStored(const typename Form::Real* taps, size_t order, typename Form::Real* stored,
                  const typename Form::Real* in, typename Form::Real* out, size_t n) {
  using Value = typename Form::Value;
  constexpr size_t kTap = Form::kTap, kOut = Form::kOut;
  for (; n; --n, in += Form::kIn, out += kOut) {
    const Value x = Form::sample(in);
    const Value y = accumulate(Form::factor(taps), x, order ? Form::value(stored) : Value{});
    for (size_t i = 1; i <= order; ++i) {
      const Value next = i < order ? Form::value(stored + i * kOut) : Value{};
      const Value sum = accumulate(Form::factor(taps + i * kTap), x, next);
      Form::put(stored + (i - 1) * kOut, accumulate(-Form::factor(taps + (order + i) * kTap), y, sum));
    }
    Form::put(out, y);
  }
}

template <class Form>
void direct(const typename Form::Real* taps, size_t order, typename Form::Real* stored, const typename Form::Real* in,
            typename Form::Real* out, size_t n) {
  switch (order) {
    case 1:
      return directFew<Form, 1>(taps, stored, in, out, n);
    case 2:
      return directFew<Form, 2>(taps, stored, in, out, n);
    case 3:
      return directFew<Form, 3>(taps, stored, in, out, n);
    case 4:
      return directFew<Form, 4>(taps, stored, in, out, n);
    default:
      break;
  }
  if constexpr (Form::kOut == 1) {
    switch (order) {
      case 5:
        return directFew<Form, 5>(taps, stored, in, out, n);
      case 6:
        return directFew<Form, 6>(taps, stored, in, out, n);
      case 7:
        return directFew<Form, 7>(taps, stored, in, out, n);
      case 8:
        return directFew<Form, 8>(taps, stored, in, out, n);
      default:
        break;
    }
  }
  if (order == 0 || order > kIirKept || n == 1) return directStored<Form>(taps, order, stored, in, out, n);
  if constexpr (kMostGrouped<Form> != 0) {
    if (order >= kLeastGrouped<Form> && order <= kMostGrouped<Form> && n >= kFewGrouped<Form>) {
      return directMany<Form>(taps, order, stored, in, out, n);
    }
  }
  directKept<Form>(taps, order, stored, in, out, n);
}

template <class R>
constexpr Iir<R> iirKernels() {
  using Filter = typename Iir<R>::Filter;
  Filter real = biquads<RealForm<R>>, realTaps = biquads<RealTapsForm<R>>;
  if constexpr (sizeof(R) == sizeof(float)) {
    real = biquadsAhead<RealForm<R>>;
    realTaps = biquadsAhead<RealTapsForm<R>>;
  }
  return {
      .real = {real, direct<RealForm<R>>},
      .realTaps = {realTaps, direct<RealTapsForm<R>>},
      .complex = {biquads<ComplexForm<R>>, direct<ComplexForm<R>>},
      .realSamples = {biquads<RealSamplesForm<R>>, direct<RealSamplesForm<R>>},
  };
}
