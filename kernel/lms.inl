// Filters that adapt their taps by the leaky least-mean-squares rule, an update and a sum in one pass over the taps.
//
// Sums run in 16 lanes of float64, real products in turn, complex ones as pairs, folded by halves: the same order
// whatever the width of the vectors. float32 taps with much leakage are updated in float64 and rounded when stored; the
// sum takes the rounded ones. With little or none they stay in float32, with step * error rounded to it.

// The widest vectors, also where float32 is converted: arithmetic dominates.
constexpr int kLmsWidth = kLanes<double>;
using LmsVec = Vec<double, kLmsWidth>;
template <class T>
MOX_INLINE LmsVec lmsWide(const T* p) {
  return wide(p, static_cast<LmsVec*>(nullptr));
}

// What a group of taps adds to: vectors of 16 lanes.
constexpr int kLmsVectors = 16 / kLmsWidth;
struct LmsSums {
  LmsVec equal[kLmsVectors], crossed[kLmsVectors];
};

// A rounded tap vector as it is stored.
MOX_INLINE LmsVec storeTaps(float* h, LmsVec v) {
  narrowTo(h, v);
#if MOX_VEC_BYTES >= 32
  return widen(narrow(v));
#else
  return widenLow(narrow(v));
#endif
}
MOX_INLINE LmsVec storeTaps(double* h, LmsVec v) {
  store(h, v);
  return v;
}

// An error or a result: its parts, or a real one and 0.
using LmsPair = Vec<double, 2>;

// step * error, for the form's vectors.
struct RealGain {
  LmsVec g;
  MOX_INLINE RealGain(LmsPair error, double step) : g(broadcast<LmsVec>(step * error[0])) {}
};
// g conj(d) = Re d (re, im) + Im d (im, -re)
struct ComplexGain {
  LmsVec plain, turned;
  MOX_INLINE ComplexGain(LmsPair error, double step) {
    const double re = step * error[0], im = step * error[1];
    plain = Alternating<double>(re, im).template vector<LmsVec>();
    turned = Alternating<double>(im, -re).template vector<LmsVec>();
  }
};

// Samples and taps of type R: kSample and kTap reals each, kTaps of them in a group of 16 lanes.
template <class R>
struct LmsReal {
  using Real = R;
  using Gain = RealGain;
  static constexpr size_t kSample = 1, kTap = 1, kTaps = 16;
  template <class P>
  MOX_INLINE static LmsVec sample(const P* p, size_t lane) {
    return lmsWide(p + lane);
  }
  template <class P>
  MOX_INLINE static LmsVec update(const Gain& gain, const P* past, size_t lane, LmsVec h) {
    return fma(gain.g, sample(past, lane), h);
  }
  MOX_INLINE static void add(LmsSums& s, int v, LmsVec h, LmsVec x) { s.equal[v] = fma(h, x, s.equal[v]); }
};
template <class R>
struct LmsComplex {
  using Real = R;
  using Gain = ComplexGain;
  static constexpr size_t kSample = 2, kTap = 2, kTaps = 8;
  template <class P>
  MOX_INLINE static LmsVec sample(const P* p, size_t lane) {
    return lmsWide(p + lane);
  }
  MOX_INLINE static LmsVec update(const Gain& gain, const float* past, size_t lane, LmsVec h) {
    const LmsVec d = sample(past, lane);
    return fma(realParts(d), gain.plain, fma(imagParts(d), gain.turned, h));
  }
  MOX_INLINE static LmsVec update(const Gain& gain, const double* past, size_t lane, LmsVec h) {
    const LmsVec im = imagParts(sample(past, lane));
    return fma(realPartsAt<LmsVec>(past + lane), gain.plain, fma(im, gain.turned, h));
  }
  MOX_INLINE static void add(LmsSums& s, int v, LmsVec h, LmsVec x) {
    s.equal[v] = fma(h, x, s.equal[v]);
    s.crossed[v] = fma(h, swapParts(x), s.crossed[v]);
  }
};
template <class R>
struct LmsRealSamples {
  using Real = R;
  using Gain = ComplexGain;
  static constexpr size_t kSample = 1, kTap = 2, kTaps = 8;
  template <class P>
  MOX_INLINE static LmsVec sample(const P* p, size_t lane) {
    return twice(p + lane / 2, static_cast<LmsVec*>(nullptr));
  }
  template <class P>
  MOX_INLINE static LmsVec update(const Gain& gain, const P* past, size_t lane, LmsVec h) {
    return fma(sample(past, lane), gain.plain, h);
  }
  MOX_INLINE static void add(LmsSums& s, int v, LmsVec h, LmsVec x) { s.equal[v] = fma(h, x, s.equal[v]); }
};

// One group: h = keep h + gain conj(past), sums += h now. `now` may be null: no sums.
template <class Form>
struct LmsPass {
  using R = typename Form::Real;
  typename Form::Gain gain;
  LmsVec keep;
  template <class P>
  MOX_INLINE void group(R* h, const P* past, const double* now, LmsSums& sums) const {
#pragma GCC unroll 8
    for (int v = 0; v < kLmsVectors; ++v) {
      const size_t lane = static_cast<size_t>(v) * kLmsWidth;
      const LmsVec updated = Form::update(gain, past, lane, keep * lmsWide(h + lane));
      const LmsVec tap = storeTaps(h + lane, updated);
      if (now) Form::add(sums, v, tap, Form::sample(now, lane));
    }
  }
};

// Without leakage.
template <class Form>
struct LmsKeepingPass {
  using R = typename Form::Real;
  typename Form::Gain gain;
  template <class P>
  MOX_INLINE void group(R* h, const P* past, const double* now, LmsSums& sums) const {
#pragma GCC unroll 8
    for (int v = 0; v < kLmsVectors; ++v) {
      const size_t lane = static_cast<size_t>(v) * kLmsWidth;
      const LmsVec tap = storeTaps(h + lane, Form::update(gain, past, lane, lmsWide(h + lane)));
      if (now) Form::add(sums, v, tap, Form::sample(now, lane));
    }
  }
};
// n taps; what is left over by whole groups goes through arrays with zeros behind it.
template <class Form, class Pass, class P>
MOX_INLINE void lmsGroups(const Pass& pass, typename Form::Real* h, const P* past, const double* now, size_t n,
                          LmsSums& sums) {
  using R = typename Form::Real;
  constexpr size_t N = Form::kTaps, S = Form::kSample, T = Form::kTap;
  size_t i = 0;
  for (; i + N <= n; i += N) pass.group(h + i * T, past + i * S, now ? now + i * S : nullptr, sums);
  if (i == n) return;
  R fewTaps[N * T] = {};
  P fewPast[N * S] = {};
  double fewNow[N * S] = {};
  const size_t left = n - i;
  for (size_t k = 0; k < left * T; ++k) fewTaps[k] = h[i * T + k];
  for (size_t k = 0; k < left * S; ++k) {
    fewPast[k] = past[i * S + k];
    if (now) fewNow[k] = now[i * S + k];
  }
  pass.group(fewTaps, fewPast, now ? fewNow : nullptr, sums);
  for (size_t k = 0; k < left * T; ++k) h[i * T + k] = fewTaps[k];
}

template <class Form>
MOX_INLINE LmsPair lmsPair(const double* p) {
  return Form::kTap == 2 ? load<LmsPair>(p) : LmsPair{*p, 0};
}
template <class Form>
MOX_INLINE LmsPair lmsPair(const float* p) {
  return Form::kTap == 2 ? wide(p, static_cast<LmsPair*>(nullptr)) : LmsPair{*p, 0};
}
template <class Form, class R>
MOX_INLINE void lmsStore(R* p, LmsPair v) {
  if constexpr (Form::kTap == 2) {
    narrowTo(p, v);
  } else {
    *p = static_cast<R>(v[0]);
  }
}

template <class Form>
MOX_INLINE LmsPair lmsResult(LmsSums& sums) {
  const LmsPair equal = lanesFolded(sums.equal);
  if constexpr (Form::kTap == 1) {
    return LmsPair{equal[0] + equal[1], 0};
  } else if constexpr (Form::kSample == 1) {
    return equal;
  } else {
    const LmsPair crossed = lanesFolded(sums.crossed);
    return _mm_unpacklo_pd(equal, crossed) + _mm_xor_pd(_mm_unpackhi_pd(equal, crossed), LmsPair{-0.0, 0});
  }
}

// One update and, where `now` is not null, one sum.
template <class Form, class P>
MOX_INLINE LmsPair lmsStep(const LmsShape& shape, LmsPair error, typename Form::Real* h, const P* past,
                           const double* now, size_t n) {
  const typename Form::Gain gain(error, shape.step);
  LmsSums sums = {};
  if (shape.leak == 0) {
    lmsGroups<Form>(LmsKeepingPass<Form>{gain}, h, past, now, n, sums);
  } else {
    lmsGroups<Form>(LmsPass<Form>{gain, broadcast<LmsVec>(1 - shape.leak)}, h, past, now, n, sums);
  }
  return lmsResult<Form>(sums);
}

// ---- float32 taps in float32: (h - leak h) + g conj(d), where the first term does not wait for the error. Real
// samples of complex taps stand twice in `past` and `now`; all arrays go on to a whole group.

MOX_INLINE bool hasSmallLeak(const LmsShape& shape) { return shape.leak > -0.0625 && shape.leak < 0.0625; }
using LmsFloats = Vec<float, kLanes<float>>;

// The lanes that belong to taps.
struct LmsLanes {
  int32_t floats[16];
  int64_t doubles[16];
  explicit LmsLanes(size_t n) {
    for (size_t i = 0; i < 16; ++i) {
      floats[i] = i < n ? -1 : 0;
      doubles[i] = i < n ? -1 : 0;
    }
  }
  MOX_INLINE LmsFloats of(LmsFloats v, size_t lane) const {
    using Bits = Vec<int32_t, kLanes<float>>;
    return reinterpret_cast<LmsFloats>(reinterpret_cast<Bits>(v) & load<Bits>(floats + lane));
  }
  MOX_INLINE LmsVec of(LmsVec v, size_t lane) const {
    using Bits = Vec<int64_t, kLanes<double>>;
    return reinterpret_cast<LmsVec>(reinterpret_cast<Bits>(v) & load<Bits>(doubles + lane));
  }
};

// The first two values, again and again.
#if MOX_VEC_BYTES == 64
MOX_INLINE LmsFloats firstPair(Vec<float, 4> v) {
  return _mm512_castpd_ps(_mm512_maskz_broadcastsd_pd(0xff, _mm_castps_pd(v)));
}
#elif MOX_VEC_BYTES == 32
MOX_INLINE LmsFloats firstPair(Vec<float, 4> v) { return _mm256_castpd_ps(_mm256_broadcastsd_pd(_mm_castps_pd(v))); }
#else
MOX_INLINE LmsFloats firstPair(Vec<float, 4> v) { return lowerPairs(v, v); }
#endif

template <class Form, bool Leaky>
struct LmsFloatPass {
  static constexpr bool kComplexSamples = Form::kSample == 2;
  LmsFloats plain, turned, leak;
  MOX_INLINE LmsFloatPass(LmsPair error, const LmsShape& shape)
      : leak(broadcast<LmsFloats>(static_cast<float>(shape.leak))) {
    const Vec<float, 4> g = narrow(error * broadcast<LmsPair>(shape.step));
    if constexpr (Form::kTap == 1) {
      plain = turned = broadcast<LmsFloats>(g[0]);
    } else {
      const LmsFloats pairs = firstPair(g);
      // g conj(d) = Re g (re, -im) + Im g (im, re)
      plain = kComplexSamples ? realParts(pairs) * alternating<LmsFloats>(1) : pairs;
      turned = imagParts(pairs);
    }
  }
  MOX_INLINE LmsFloats kept(LmsFloats h) const { return Leaky ? fnma(leak, h, h) : h; }
  MOX_INLINE LmsFloats updated(LmsFloats h, const float* past) const {
    if constexpr (kComplexSamples) {
      const LmsFloats d = load<LmsFloats>(past), step = fma(swapParts(d), turned, d * plain);
      return kept(h) + step;
    } else {
      const LmsFloats d = load<LmsFloats>(past);
      return fma(plain, d, kept(h));
    }
  }
  // 16 reals of taps
  MOX_INLINE void update(float* h, const float* past) const {
#pragma GCC unroll 4
    for (int i = 0; i < 16; i += kLanes<float>) store(h + i, updated(load<LmsFloats>(h + i), past + i));
  }
  // The same and their sums; `lanes` of the last ones.
  template <bool Last>
  MOX_INLINE void group(float* h, const float* past, const double* now, LmsSums& sums, const LmsLanes& lanes) const {
#pragma GCC unroll 4
    for (int v = 0; v < kLmsVectors; v += 2) {
      const size_t lane = static_cast<size_t>(v * kLmsWidth), next = lane + kLmsWidth;
      LmsFloats tap = updated(load<LmsFloats>(h + lane), past + lane);
      if constexpr (Last) tap = lanes.of(tap, lane);
      store(h + lane, tap);
      add<Last>(sums, v, widenedLow(tap), now + lane, lanes, lane);
      add<Last>(sums, v + 1, widenedHigh(tap), now + next, lanes, next);
    }
  }
  template <bool Last>
  MOX_INLINE static void add(LmsSums& sums, int v, LmsVec tap, const double* now, const LmsLanes& lanes, size_t lane) {
    LmsVec x = load<LmsVec>(now);
    if constexpr (Last) x = lanes.of(x, lane);
    sums.equal[v] = fma(tap, x, sums.equal[v]);
    if constexpr (kComplexSamples) sums.crossed[v] = fma(tap, swapParts(x), sums.crossed[v]);
  }
};

// The result and the error of one period.
template <class Form>
MOX_INLINE void lmsPut(LmsPair y, typename Form::Real*& out, const typename Form::Real*& desired, LmsPair& error) {
  if (desired) {
    error = lmsPair<Form>(desired) - y;
    desired += Form::kTap;
  }
  lmsStore<Form>(out, y);
  out += Form::kTap;
}

// An update without a sum, of n taps; `past` as in the delay line.
template <class Form, bool Leaky>
MOX_INLINE void lmsFloatUpdate(const LmsShape& shape, LmsPair error, float* h, const float* past, size_t n) {
  constexpr size_t W = Form::kTap, S = Form::kSample;
  const LmsFloatPass<Form, Leaky> pass(error, shape);
  for (size_t i = 0; i < n * W; i += 16) {
    const size_t some = n * W - i < 16 ? n * W - i : 16;
    float taps[16] = {}, samples[16] = {};
    const bool direct = some == 16 && W == S;
    float* const to = direct ? h + i : taps;
    for (size_t k = 0; !direct && k < some; ++k) {
      taps[k] = h[i + k];
      samples[k] = past[W == S ? i + k : (i + k) / 2];
    }
    pass.update(to, direct ? past + i : samples);
    for (size_t k = 0; !direct && k < some; ++k) h[i + k] = taps[k];
  }
}
template <class Form>
MOX_INLINE void lmsUpdate(const LmsShape& shape, LmsPair error, typename Form::Real* h, const typename Form::Real* past,
                          size_t n) {
  if constexpr (sizeof(*h) == sizeof(float)) {
    if (shape.leak == 0) return lmsFloatUpdate<Form, false>(shape, error, h, past, n);
    if (hasSmallLeak(shape)) return lmsFloatUpdate<Form, true>(shape, error, h, past, n);
  }
  lmsStep<Form>(shape, error, h, past, nullptr, n);
}

// Long delay lines, and those too short for the filter.
template <class Form>
void lmsInPlace(const LmsShape& shape, typename Form::Real* taps, typename Form::Real* dlyl,
                const typename Form::Real* in, const typename Form::Real* desired, typename Form::Real* out,
                double* error, size_t periods) {
  using R = typename Form::Real;
  constexpr size_t N = Form::kTaps, S = Form::kSample, T = Form::kTap;
  const size_t length = shape.length, down = shape.down;
  const size_t there = shape.past < length ? length - shape.past : 0, adapted = there < shape.taps ? there : shape.taps;
  const size_t ahead = shape.first < length ? length - shape.first : 0,
               summed = ahead < shape.taps ? ahead : shape.taps;
  const R silence[N * S] = {};
  LmsPair latest = lmsPair<Form>(error);
  for (; periods; --periods, in += down * S) {
    lmsUpdate<Form>(shape, latest, taps, dlyl + shape.past * S, adapted);
    for (size_t i = adapted; i < shape.taps; i += N) {
      lmsUpdate<Form>(shape, latest, taps + i * T, silence, shape.taps - i < N ? shape.taps - i : N);
    }
    if (length > down) __builtin_memmove(dlyl + down * S, dlyl, (length - down) * S * sizeof(R));
    for (size_t k = 0; k < down && k < length; ++k) {
      for (size_t part = 0; part < S; ++part) dlyl[k * S + part] = in[(down - 1 - k) * S + part];
    }
    const R* const now = dlyl + shape.first * S;
    double y[2] = {};
    if constexpr (T == 1) {
      y[0] = dotReal(taps, now, summed);
    } else if constexpr (S == 1) {
      dotRealComplex(now, taps, summed, y);
    } else {
      dotComplex(taps, now, summed, y);
    }
    lmsPut<Form>(load<LmsPair>(y), out, desired, latest);
  }
  lmsStore<Form>(error, latest);
}

constexpr size_t kLmsRoom = 2048;  // parts of samples in a window on the stack

// A float64 view of a window of n.
MOX_INLINE const double* inFloat64(const double* window, size_t, double*) { return window; }
MOX_INLINE const double* inFloat64(const float* window, size_t n, double* copy) {
  for (size_t k = 0; k < n; ++k) copy[k] = window[k];
  return copy;
}

// y = step(error, past, past in float64, now) for every period, on windows in which a sample is W values.
template <class Form, size_t W, class Step>
MOX_INLINE void lmsWindows(const LmsShape& shape, typename Form::Real* dlyl, const typename Form::Real* in,
                           const typename Form::Real* desired, typename Form::Real* out, double* error, size_t periods,
                           Step step) {
  using R = typename Form::Real;
  constexpr size_t S = Form::kSample, kRoom = kLmsRoom / S, kBehind = 16;
  const size_t length = shape.length, down = shape.down;
  R window[kRoom * W + kBehind];
  double copy[sizeof(R) == sizeof(float) ? kRoom * W + kBehind : 1];
  LmsPair latest = lmsPair<Form>(error);
  const auto place = [&](R* to, const R* sample) {
#pragma GCC unroll 2
    for (size_t part = 0; part < W; ++part) to[part] = sample[S == 2 ? part : 0];
  };
  while (periods) {
    // The delay line at the end of a window; it moves to the front by `down` samples a period.
    const size_t room = (kRoom - length) / down, run = periods < room ? periods : room, samples = run * down;
    R* const before = window + samples * W;
    for (size_t k = 0; k < length; ++k) place(before + k * W, dlyl + k * S);
    for (size_t k = 0; k < kBehind; ++k) before[length * W + k] = 0;
    for (size_t k = 0; k < samples; ++k) place(window + (samples - 1 - k) * W, in + k * S);
    const double* const wide64 = inFloat64(window, (samples + length) * W + kBehind, copy);
    for (size_t at = samples * W; at;) {
      const size_t past = at + shape.past * W;
      at -= down * W;
      const LmsPair y = step(latest, window + past, wide64 + past, wide64 + at + shape.first * W);
      lmsPut<Form>(y, out, desired, latest);
    }
    for (size_t k = 0; k < length; ++k) {
      for (size_t part = 0; part < S; ++part) dlyl[k * S + part] = window[k * W + part];
    }
    in += samples * S;
    periods -= run;
  }
  lmsStore<Form>(error, latest);
}

template <class Form, bool Leaky>
void lmsInFloats(const LmsShape& shape, float* taps, float* dlyl, const float* in, const float* desired, float* out,
                 double* error, size_t periods) {
  constexpr size_t W = Form::kTap;
  const size_t values = shape.taps * W, whole = values / 16 * 16, rest = values - whole;
  // A last group that is not full is a copy with zeros.
  float last[16] = {};
  for (size_t i = 0; i < rest; ++i) last[i] = taps[whole + i];
  const LmsLanes lanes(rest);
  const auto step = [&](LmsPair latest, const float* past, const double*, const double* now) {
    const LmsFloatPass<Form, Leaky> pass(latest, shape);
    LmsSums sums = {};
    for (size_t i = 0; i < whole; i += 16) pass.template group<false>(taps + i, past + i, now + i, sums, lanes);
    if (rest > 0) pass.template group<true>(last, past + whole, now + whole, sums, lanes);
    return lmsResult<Form>(sums);
  };
  lmsWindows<Form, W>(shape, dlyl, in, desired, out, error, periods, step);
  for (size_t i = 0; i < rest; ++i) taps[whole + i] = last[i];
}

template <class Form>
void lmsRun(const LmsShape& shape, typename Form::Real* taps, typename Form::Real* dlyl, const typename Form::Real* in,
            const typename Form::Real* desired, typename Form::Real* out, double* error, size_t periods) {
  using R = typename Form::Real;
  constexpr size_t kMost = kLmsRoom / Form::kSample / 2;
  const size_t length = shape.length;
  if (shape.taps > length || shape.past > length - shape.taps || shape.first > length - shape.taps || length > kMost ||
      shape.down > kMost) {
    return lmsInPlace<Form>(shape, taps, dlyl, in, desired, out, error, periods);
  }
  if constexpr (sizeof(R) == sizeof(float)) {
    if (shape.leak == 0) return lmsInFloats<Form, false>(shape, taps, dlyl, in, desired, out, error, periods);
    if (hasSmallLeak(shape)) {
      return lmsInFloats<Form, true>(shape, taps, dlyl, in, desired, out, error, periods);
    }
  }
  const auto step = [&](LmsPair latest, const R*, const double* past, const double* now) {
    return lmsStep<Form>(shape, latest, taps, past, now, shape.taps);
  };
  lmsWindows<Form, Form::kSample>(shape, dlyl, in, desired, out, error, periods, step);
}

template <class R>
constexpr Lms<R> lmsKernels() {
  return {.real = lmsRun<LmsReal<R>>, .complex = lmsRun<LmsComplex<R>>, .realSamples = lmsRun<LmsRealSamples<R>>};
}
