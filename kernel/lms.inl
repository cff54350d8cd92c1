// Filters that adapt their taps by the leaky least-mean-squares rule, an update and a sum in one pass over the taps.
//
// Sums run in 16 lanes of float64, real products in turn, complex ones as pairs, folded by halves: the same order
// whatever the width of the vectors. float32 taps are updated in float64 and rounded when stored; the sum takes the
// rounded ones. Real ones with little or no leakage stay in float32, with step * error rounded to it.

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

// step * error, for the form's vectors.
struct RealGain {
  LmsVec g;
  MOX_INLINE explicit RealGain(const double* error, double step) : g(broadcast<LmsVec>(step * error[0])) {}
};
// g conj(d) = Re d (re, im) + Im d (im, -re)
struct ComplexGain {
  LmsVec plain, turned;
  MOX_INLINE explicit ComplexGain(const double* error, double step) {
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
// Real float32 taps in float32. With leakage they are h + (g d - leak h): for small leaks the roundings inside are far
// below that of the sum.
using LmsFloats = Vec<float, kLanes<float>>;
template <bool Leaky>
struct LmsFloatPass {
  LmsFloats gain, leak;
  MOX_INLINE void group(float* h, const float* past, const double* now, LmsSums& sums) const {
#pragma GCC unroll 4
    for (int v = 0; v < kLmsVectors; v += 2) {
      const int lane = v * kLmsWidth;
      const LmsFloats before = load<LmsFloats>(h + lane), d = load<LmsFloats>(past + lane);
      const LmsFloats tap = Leaky ? before + fma(gain, d, -(leak * before)) : fma(gain, d, before);
      store(h + lane, tap);
      if (!now) continue;
      sums.equal[v] = fma(widenedLow(tap), load<LmsVec>(now + lane), sums.equal[v]);
      sums.equal[v + 1] = fma(widenedHigh(tap), load<LmsVec>(now + lane + kLmsWidth), sums.equal[v + 1]);
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
MOX_INLINE void lmsResult(LmsSums& sums, double* y) {
  const Vec<double, 2> equal = lanesFolded(sums.equal);
  if constexpr (Form::kTap == 1) {
    y[0] = equal[0] + equal[1];
  } else if constexpr (Form::kSample == 1) {
    y[0] = equal[0];
    y[1] = equal[1];
  } else {
    const Vec<double, 2> crossed = lanesFolded(sums.crossed);
    y[0] = equal[0] - equal[1];
    y[1] = crossed[0] + crossed[1];
  }
}

constexpr double kSmallLeak = 0.0625;

// One update and, where `now` is not null, one sum.
template <class Form, class P>
MOX_INLINE void lmsStep(const LmsShape& shape, const double* error, typename Form::Real* h, const P* past,
                        const double* now, size_t n, double* y) {
  const typename Form::Gain gain(error, shape.step);
  LmsSums sums = {};
  const auto generally = LmsPass<Form>{gain, broadcast<LmsVec>(1 - shape.leak)};
  if constexpr (std::is_same_v<Form, LmsReal<float>>) {
    const LmsFloats g = broadcast<LmsFloats>(static_cast<float>(gain.g[0]));
    const LmsFloats leak = broadcast<LmsFloats>(static_cast<float>(shape.leak));
    if (shape.leak == 0) {
      lmsGroups<Form>(LmsFloatPass<false>{g, leak}, h, past, now, n, sums);
    } else if (shape.leak > -kSmallLeak && shape.leak < kSmallLeak) {
      lmsGroups<Form>(LmsFloatPass<true>{g, leak}, h, past, now, n, sums);
    } else {
      lmsGroups<Form>(generally, h, past, now, n, sums);
    }
  } else if (shape.leak == 0) {
    lmsGroups<Form>(LmsKeepingPass<Form>{gain}, h, past, now, n, sums);
  } else {
    lmsGroups<Form>(generally, h, past, now, n, sums);
  }
  if (now) lmsResult<Form>(sums, y);
}

// The result and the error of one period.
template <class Form>
MOX_INLINE void lmsPut(const double* y, typename Form::Real*& out, const typename Form::Real*& desired, double* error) {
#pragma GCC unroll 2
  for (size_t part = 0; part < Form::kTap; ++part) {
    if (desired) error[part] = *desired++ - y[part];
    *out++ = static_cast<typename Form::Real>(y[part]);
  }
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
  for (; periods; --periods, in += down * S) {
    double y[2] = {};
    lmsStep<Form>(shape, error, taps, static_cast<const R*>(dlyl + shape.past * S), nullptr, adapted, y);
    for (size_t i = adapted; i < shape.taps; i += N) {
      lmsStep<Form>(shape, error, taps + i * T, silence, nullptr, shape.taps - i < N ? shape.taps - i : N, y);
    }
    if (length > down) __builtin_memmove(dlyl + down * S, dlyl, (length - down) * S * sizeof(R));
    for (size_t k = 0; k < down && k < length; ++k) {
      for (size_t part = 0; part < S; ++part) dlyl[k * S + part] = in[(down - 1 - k) * S + part];
    }
    const R* const now = dlyl + shape.first * S;
    if constexpr (T == 1) {
      y[0] = dotReal(taps, now, summed);
    } else if constexpr (S == 1) {
      dotRealComplex(now, taps, summed, y);
    } else {
      dotComplex(taps, now, summed, y);
    }
    lmsPut<Form>(y, out, desired, error);
  }
}

// A float64 view of a window of n.
MOX_INLINE const double* inFloat64(const double* window, size_t, double*) { return window; }
MOX_INLINE const double* inFloat64(const float* window, size_t n, double* copy) {
  for (size_t k = 0; k < n; ++k) copy[k] = window[k];
  return copy;
}

template <class Form>
void lmsRun(const LmsShape& shape, typename Form::Real* taps, typename Form::Real* dlyl, const typename Form::Real* in,
            const typename Form::Real* desired, typename Form::Real* out, double* error, size_t periods) {
  using R = typename Form::Real;
  constexpr size_t S = Form::kSample, kRoom = 2048 / S;  // samples of a window on the stack
  const size_t length = shape.length, down = shape.down;
  if (shape.taps > length || shape.past > length - shape.taps || shape.first > length - shape.taps ||
      length > kRoom / 2 || down > kRoom / 2) {
    return lmsInPlace<Form>(shape, taps, dlyl, in, desired, out, error, periods);
  }
  double latest[2] = {error[0], Form::kTap == 2 ? error[1] : 0};
  while (periods) {
    // The delay line at the end of a window; it moves to the front by `down` samples a period.
    const size_t room = (kRoom - length) / down, run = periods < room ? periods : room, samples = run * down;
    R window[kRoom * S];
    double copy[sizeof(R) == sizeof(float) ? kRoom * S : 1];
    R* const before = window + samples * S;
    for (size_t k = 0; k < length * S; ++k) before[k] = dlyl[k];
    for (size_t k = 0; k < samples; ++k) {
      for (size_t part = 0; part < S; ++part) window[(samples - 1 - k) * S + part] = in[k * S + part];
    }
    const double* const wide64 = inFloat64(window, (samples + length) * S, copy);
    for (size_t at = samples * S; at;) {
      const size_t past = at + shape.past * S;
      at -= down * S;
      double y[2] = {};
      const double* const now = wide64 + at + shape.first * S;
      if constexpr (std::is_same_v<Form, LmsReal<float>>) {
        lmsStep<Form>(shape, latest, taps, window + past, now, shape.taps, y);
      } else {
        lmsStep<Form>(shape, latest, taps, wide64 + past, now, shape.taps, y);
      }
      lmsPut<Form>(y, out, desired, latest);
    }
    for (size_t k = 0; k < length * S; ++k) dlyl[k] = window[k];
    in += samples * S;
    periods -= run;
  }
  for (size_t part = 0; part < Form::kTap; ++part) error[part] = latest[part];
}

template <class R>
constexpr Lms<R> lmsKernels() {
  return {.real = lmsRun<LmsReal<R>>, .complex = lmsRun<LmsComplex<R>>, .realSamples = lmsRun<LmsRealSamples<R>>};
}
