#include <xmmintrin.h>

#include <cmath>
#include <complex>
#include <limits>

#include "tests/support/support.h"

using namespace moxtest;

namespace {

using Strings = std::vector<std::string>;

template <class T>
struct Api;
#define MOX_GOERTZEL_API(letter, type, state, result, module_) \
  template <>                                                  \
  struct Api<type> {                                           \
    using State = state;                                       \
    using Result = result;                                     \
    static constexpr const char* kName = "mox" #letter;        \
    static constexpr const char* kModule = module_;            \
    static constexpr auto init = mox##letter##GoertzInit;      \
    static constexpr auto reset = mox##letter##GoertzReset;    \
    static constexpr auto sample = mox##letter##Goertz;        \
    static constexpr auto block = mox##letter##bGoertz;        \
  };
MOX_GOERTZEL_API(s, float, MoxsGoertzState, MoxC, "moxgrtzl")
MOX_GOERTZEL_API(c, MoxC, MoxsGoertzState, MoxC, "moxgrtzl")
MOX_GOERTZEL_API(d, double, MoxdGoertzState, MoxZ, "moxgrtzl")
MOX_GOERTZEL_API(z, MoxZ, MoxdGoertzState, MoxZ, "moxgrtzl")
MOX_GOERTZEL_API(w, int16_t, MoxsGoertzState, MoxV, "moxgrtzw")
MOX_GOERTZEL_API(v, MoxV, MoxsGoertzState, MoxV, "moxgrtzw")

std::complex<double> value(double x) { return x; }
std::complex<double> value(MoxC x) { return {x.re, x.im}; }
std::complex<double> value(MoxZ x) { return {x.re, x.im}; }

// The step as it is written, in double, part by part. Rounds where the thread's rounding mode says.
template <class T>
auto step(typename Api<T>::State& state, T x) {
  using Real = typename Traits<T>::Real;
  const double c = state.twoCosW, xr = value(x).real(), xi = value(x).imag();
  const double re = xr + c * static_cast<double>(state.delay1.re) - static_cast<double>(state.delay2.re);
  const double im = xi + c * static_cast<double>(state.delay1.im) - static_cast<double>(state.delay2.im);
  const double cosW = state.cosW, sinW = state.sinW;
  typename Api<T>::Result y;
  if (Traits<T>::complex) {
    y.re = static_cast<Real>(cosW * re - sinW * im - static_cast<double>(state.delay1.re));
    y.im = static_cast<Real>(cosW * im + sinW * re - static_cast<double>(state.delay1.im));
  } else {
    y.re = static_cast<Real>(cosW * re - static_cast<double>(state.delay1.re));
    y.im = static_cast<Real>(sinW * re);
  }
  state.delay2 = state.delay1;
  state.delay1.re = static_cast<Real>(re);
  if (Traits<T>::complex) state.delay1.im = static_cast<Real>(im);
  return y;
}

template <class T>
class Goertzel : public ::testing::Test {};
using SampleTypes = ::testing::Types<float, MoxC, double, MoxZ>;
TYPED_TEST_SUITE(Goertzel, SampleTypes);

template <class T>
void scaleBy(std::vector<T>& v, double factor) {
  using Real = typename Traits<T>::Real;
  Real* const parts = reinterpret_cast<Real*>(v.data());
  for (size_t i = 0; i < v.size() * (sizeof(T) / sizeof(Real)); ++i) parts[i] = static_cast<Real>(parts[i] * factor);
}

// Signals that are hard on a rounding which looks at ranges of values: small numbers, where ties are frequent; a tone
// at the bin's own frequency; pauses; values near the ends of float32; what is no number.
template <class T>
std::vector<std::vector<T>> signals(size_t n, double freq) {
  using Real = typename Traits<T>::Real;
  const auto all = noise<T>(n, 7);
  std::vector<std::vector<T>> v(6, all);
  for (size_t i = 0; i < n; ++i) {
    const auto part = [&](double x) { return static_cast<Real>(x); };
    v[1][i] = makeValue<T>(part(std::floor(3 * value(all[i]).real())), 0);
    const double phase = 6.283185307179586 * freq * static_cast<double>(i);
    v[2][i] = makeValue<T>(part(1e-3 * std::cos(phase)), part(1e-3 * std::sin(phase)));
    if (i / 50 % 2 == 1) v[3][i] = makeValue<T>(0, 0);
  }
  scaleBy(v[4], 1e-41);
  scaleBy(v[5], 3e37);
  v.push_back(all);
  v[6][n / 2] = makeValue<T>(std::numeric_limits<Real>::infinity(), 1);
  v.emplace_back(n, makeValue<T>(0, 0));
  v[7][0] = v[7][2] = makeValue<T>(1, 1);
  return v;
}

TYPED_TEST(Goertzel, EveryFormTakesTheWrittenStep) {
  using T = TypeParam;
  using State = typename Api<T>::State;
  constexpr size_t n = 700;
  for (const double freq : {0.25, 1e-4, 0.0123, 0.1, 0.2501, 0.37, 0.4999}) {
    SCOPED_TRACE(freq);
    int number = 0;
    for (const auto& x : signals<T>(n, freq)) {
      SCOPED_TRACE(number++);
      // One sample after another, as written.
      State expected = {};
      Api<T>::init(static_cast<typename Traits<T>::Real>(freq), &expected);
      std::vector<typename Api<T>::Result> results;
      std::vector<State> states;
      for (const T& sample : x) {
        results.push_back(step(expected, sample));
        states.push_back(expected);
      }
      forEachLevel([&] {
        State single = {}, whole = {}, pieces = {};
        for (State* state : {&single, &whole, &pieces}) {
          Api<T>::init(static_cast<typename Traits<T>::Real>(freq), state);
        }
        // Not a number has no bits of its own.
        const auto same = [](const auto& a, const auto& b) {
          const auto equal = [](auto p, auto q) { return sameBits(p, q) || (std::isnan(p) && std::isnan(q)); };
          return equal(a.re, b.re) && equal(a.im, b.im);
        };
        for (size_t i = 0; i < n; ++i) {
          ASSERT_TRUE(same(Api<T>::sample(&single, x[i]), results[i])) << i;
          ASSERT_TRUE(same(single.delay1, states[i].delay1) && same(single.delay2, states[i].delay2)) << i;
        }
        Guarded<T> samples(x, Flush::AtEnd);
        samples.makeReadOnly();
        EXPECT_TRUE(same(Api<T>::block(&whole, samples.data(), n), results.back()));
        EXPECT_TRUE(same(whole.delay1, expected.delay1) && same(whole.delay2, expected.delay2));
        size_t at = 0;
        for (size_t length = 1; at < n; length = (length + 38) % 101) {
          const size_t count = std::min(length, n - at);
          const auto y = Api<T>::block(&pieces, samples.data() + at, static_cast<int32_t>(count));
          at += count;
          ASSERT_TRUE(same(y, results[at - 1])) << at;
          ASSERT_TRUE(same(pieces.delay1, states[at - 1].delay1)) << at;
        }
      });
    }
  }
}

// Blocks that are rounded in another mode are those samples, too.
TEST(GoertzelFloat, FollowsTheRoundingMode) {
  const auto x = noise<float>(300);
  forEachLevel([&] {
    MoxsGoertzState single, block;
    moxsGoertzInit(0.1f, &single);
    moxsGoertzInit(0.1f, &block);
    const MoxsGoertzState started = block;
    const unsigned before = _mm_getcsr();
    _mm_setcsr((before & ~0x6000u) | 0x2000u);  // down
    for (const float sample : x) moxsGoertz(&single, sample);
    moxsbGoertz(&block, x.data(), 300);
    _mm_setcsr(before);
    EXPECT_TRUE(sameBits(single.delay1.re, block.delay1.re));
    MoxsGoertzState nearest = started;
    moxsbGoertz(&nearest, x.data(), 300);
    EXPECT_FALSE(sameBits(nearest.delay1.re, block.delay1.re));
  });
}

// Coefficients that no frequency has: beyond 2, and short ones, with which every second value of 25 bits is a tie.
TEST(GoertzelFloat, TakesAnyCoefficient) {
  auto x = noise<float>(640);
  for (size_t i = 320; i < x.size(); ++i) x[i] = std::floor(x[i] * 0x1p24f);
  for (const float c : {2.5f, -3.0f, std::numeric_limits<float>::quiet_NaN(), 1.5f, -0.75f, 0.5f}) {
    const MoxsGoertzState state = {0, 1, 0, c, {0, 0}, {0, 0}};
    MoxsGoertzState expected = state;
    for (const float sample : x) step(expected, sample);
    forEachLevel([&] {
      MoxsGoertzState s = state;
      moxsbGoertz(&s, x.data(), 640);
      EXPECT_TRUE(sameBits(s.delay1.re, expected.delay1.re) || std::isnan(expected.delay1.re)) << c;
    });
  }
}

// Small sums of large terms that round on the two sides of a boundary, as the order of the additions decides: with
// x = delay2 = 1 the step leaves c delay1, rounded at 2^-52.
TEST(GoertzelFloat, AddsInTheWrittenOrder) {
  std::mt19937 bits(1);
  const auto significand = [&] { return 1 + static_cast<float>(bits() >> 9) * 0x1p-23f; };
  for (const float size : {0x1p-10f, 0x1p-20f}) {
    for (int found = 0; found < 3;) {
      const float c = size * significand(), d1 = significand();
      const double product = static_cast<double>(c) * static_cast<double>(d1);
      if (static_cast<float>(product) == static_cast<float>(1 + product - 1)) continue;
      ++found;
      // Afterwards nothing but that small value, and one of its size, go round.
      std::vector<float> x(40);
      x[0] = 1;
      x[1] = d1 + 2 * size;
      const MoxsGoertzState state = {0, 1, 0, c, {1, 0}, {d1, 0}};
      MoxsGoertzState expected = state;
      for (const float sample : x) step(expected, sample);
      forEachLevel([&] {
        MoxsGoertzState s = state;
        moxsbGoertz(&s, x.data(), 40);
        EXPECT_TRUE(sameBits(s.delay1.re, expected.delay1.re) && sameBits(s.delay2.re, expected.delay2.re)) << c;
      });
    }
  }
}

// y is the sum of the samples times the powers of e^(i 2 pi f).
TYPED_TEST(Goertzel, IsTheComponent) {
  using T = TypeParam;
  using Real = typename Traits<T>::Real;
  constexpr int n = 205;
  const auto x = noise<T>(n, 3);
  for (const Real freq : {Real(0.05), Real(0.21), Real(0.45)}) {
    typename Api<T>::State state;
    Api<T>::init(freq, &state);
    const auto y = value(Api<T>::block(&state, x.data(), n));
    std::complex<long double> sum = 0;
    for (int k = 0; k < n; ++k) {
      const std::complex<double> v = value(x[static_cast<size_t>(k)]);
      sum += std::complex<long double>(v) *
             std::polar(1.0L, 6.283185307179586476925286766559L * static_cast<long double>(freq) * (n - k));
    }
    // n steps, each with its rounding, in a resonator that keeps up to 1/sin of each; the coefficient's error grows
    // with the square of n.
    const double unit = std::numeric_limits<Real>::epsilon();
    EXPECT_LT(std::abs(y - std::complex<double>(sum)), unit * n * n / std::sin(6.28 * static_cast<double>(freq)));
  }
}

TYPED_TEST(Goertzel, InitAndReset) {
  using T = TypeParam;
  using Real = typename Traits<T>::Real;
  using State = typename Api<T>::State;
  const Real c = Traits<T>::complex ? Real(0) : Real(7);
  for (const Real freq : {Real(0.25), Real(0.1), Real(1e-5), Real(0.499)}) {
    State state = {1, 1, 1, 1, {7, 7}, {7, 7}};
    Api<T>::init(freq, &state);
    const double angle = static_cast<double>(freq) * 6.283185307179586;
    // Next to pi / 2 the cosine of some C libraries for 32 bits is good to 15 bits.
    const double cosine = freq == Real(0.25) ? 6.123233995736766e-17 : std::cos(angle);
    EXPECT_EQ(state.freq, freq);
    EXPECT_EQ(state.cosW, static_cast<Real>(cosine));
    EXPECT_EQ(state.sinW, static_cast<Real>(std::sin(angle)));
    EXPECT_EQ(state.twoCosW, static_cast<Real>(2.0 * cosine));
    EXPECT_TRUE(state.delay1.re == 0 && state.delay2.re == 0 && state.delay1.im == c && state.delay2.im == c);
    state.delay1 = state.delay2 = {7, 7};
    const State before = state;
    Api<T>::reset(&state);
    EXPECT_TRUE(state.delay1.re == 0 && state.delay2.re == 0 && state.delay1.im == c && state.delay2.im == c);
    EXPECT_EQ(state.cosW, before.cosW);
  }
}

TEST(GoertzelInit, FrequenciesByTheirBits) {
  Reports reports;
  const auto floats = [&](float freq) {
    MoxsGoertzState state = {9, 9, 9, 9, {9, 9}, {9, 9}};
    moxvGoertzInit(freq, &state);
    const Strings all = reports.take();
    EXPECT_EQ(state.freq, all.empty() ? freq : 9);
    EXPECT_TRUE(all.empty() || all == Strings{"moxvGoertzInit: Invalid frequency value (-5)"});
    return all.empty();
  };
  const auto doubles = [&](double freq) {
    MoxdGoertzState state = {9, 9, 9, 9, {9, 9}, {9, 9}};
    moxdGoertzInit(freq, &state);
    EXPECT_EQ(state.delay1.re, reports.all().empty() ? 0 : 9);
    return reports.take().empty();
  };
  for (const float good : {0x1p-149f, 0x1p-126f, 0.1f, std::nextafter(0.5f, 0.0f)}) EXPECT_TRUE(floats(good)) << good;
  for (const float bad : {0.0f, -0.0f, -0.1f, 0.5f, 1.0f, INFINITY, -INFINITY, NAN}) EXPECT_FALSE(floats(bad)) << bad;
  for (const double good : {0x1p-1042, 0.3, std::nextafter(0.5, 0.0)}) EXPECT_TRUE(doubles(good)) << good;
  for (const double bad : {0.0, -0.0, 0x1p-1074, std::nextafter(0x1p-1042, 0.0), -0.1, 0.5, 3.0}) {
    EXPECT_FALSE(doubles(bad)) << bad;
  }
  for (const double bad : {std::numeric_limits<double>::quiet_NaN(), HUGE_VAL}) EXPECT_FALSE(doubles(bad)) << bad;
}

// The float32 recurrence on the same numbers, truncated.
template <class Int, class Float>
void checkInt16() {
  forEachLevel([] {
    std::vector<Int> x;
    std::vector<Float> wide;
    for (const Float& v : noise<Float>(333, 5)) {
      const auto part = [](double p) { return static_cast<int16_t>(p * 30000); };
      if constexpr (Traits<Float>::complex) {
        x.push_back({part(v.re), part(v.im)});
        wide.push_back({static_cast<float>(x.back().re), static_cast<float>(x.back().im)});
      } else {
        x.push_back(part(v));
        wide.push_back(x.back());
      }
    }
    const Guarded<Int> samples(x, Flush::AtEnd);
    MoxsGoertzState state, expected;
    Api<Int>::init(0.2f, &state);
    Api<Float>::init(0.2f, &expected);
    const MoxC y = Api<Float>::block(&expected, wide.data(), 333);
    int32_t factor = 99;
    const MoxV scaled = Api<Int>::block(&state, samples.data(), 333, MOX_AutoScale, &factor);
    // One factor for both parts, such that the larger has 15 bits.
    const float largest = std::max(std::abs(y.re), std::abs(y.im)), unit = std::ldexp(1.0f, -factor);
    EXPECT_TRUE(factor > 0 && largest * unit >= 16384 && largest * unit < 32768);
    EXPECT_EQ(scaled.re, static_cast<int16_t>(y.re * unit));
    EXPECT_EQ(scaled.im, static_cast<int16_t>(y.im * unit));
    EXPECT_TRUE(sameBits(state.delay1.re, expected.delay1.re) && sameBits(state.delay2.re, expected.delay2.re));

    factor = 3;
    const MoxC next = Api<Float>::sample(&expected, wide[9]);
    const MoxV one = Api<Int>::sample(&state, x[9], MOX_FixScaleSat, &factor);
    EXPECT_EQ(one.re, static_cast<int16_t>(std::clamp(next.re / 8, -32768.0f, 32767.0f)));
    EXPECT_EQ(one.im, static_cast<int16_t>(std::clamp(next.im / 8, -32768.0f, 32767.0f)));
  });
}
TEST(GoertzelInt16, IsTheFloatRecurrenceScaled) {
  checkInt16<int16_t, float>();
  checkInt16<MoxV, MoxC>();
}

TEST(GoertzelInt16, ARefusedScaleModeChangesNothing) {
  Reports reports;
  MoxsGoertzState state;
  moxwGoertzInit(0.1f, &state);
  const int16_t x[] = {100, 200, 300};
  moxwbGoertz(&state, x, 3, MOX_NoScale, nullptr);
  const MoxsGoertzState before = state;
  EXPECT_TRUE(sameBits(moxwGoertz(&state, 5, MOX_AutoScale, nullptr), MoxV{0, 0}));
  EXPECT_TRUE(sameBits(moxwbGoertz(&state, x, 3, 7, nullptr), MoxV{0, 0}));
  EXPECT_TRUE(sameBits(state.delay1.re, before.delay1.re));
  ASSERT_EQ(reports.all().size(), 1u);  // the second call found the first one's status
  EXPECT_EQ(reports.take(), Strings{"moxsbUndScaling: NULL==scalePtr (-5)"});
}

template <class T, class... Scale>
void checkReports(Scale... scale) {
  using State = typename Api<T>::State;
  Reports reports;
  const std::string name = Api<T>::kName,
                    init = name + "GoertzInit: ", one = name + "Goertz: ", block = name + "bGoertz: ";
  State state = {};
  const T x[2] = {};
  const auto last = [&] {
    EXPECT_TRUE(std::all_of(reports.all().begin(), reports.all().end(),
                            [](const Report& r) { return r.file == Api<T>::kModule; }));
    return reports.take();
  };
  const decltype(Api<T>::sample(&state, x[0], scale...)) zero = {0, 0};
  Api<T>::init(0.5f, nullptr);
  EXPECT_EQ(last(), (Strings{init + "Null state pointer (-5)", init + "Invalid frequency value (-5)"}));
  Api<T>::init(0.25f, &state);
  const State good = state;
  Api<T>::reset(nullptr);
  EXPECT_EQ(last(), Strings{name + "GoertzReset: Null state pointer (-5)"});
  EXPECT_TRUE(sameBits(Api<T>::sample(nullptr, x[0], scale...), zero));
  EXPECT_EQ(last(), Strings{one + "Null state pointer (-5)"});
  EXPECT_TRUE(sameBits(Api<T>::block(nullptr, nullptr, 0, scale...), zero));
  EXPECT_EQ(last(), Strings{block + "Null state pointer (-5)"});
  EXPECT_TRUE(sameBits(Api<T>::block(&state, nullptr, 0, scale...), zero));
  EXPECT_EQ(last(), Strings{block + "Null buffer pointer (-5)"});
  for (const int32_t length : {0, -3}) {
    EXPECT_TRUE(sameBits(Api<T>::block(&state, x, length, scale...), zero));
    EXPECT_EQ(last(), Strings{block + "Invalid array length (-5)"});
  }
  // A failure from before.
  state.delay1.re = 5;
  moxSetErrStatus(MOX_StsNoMem);
  Api<T>::init(0.1f, &state);
  Api<T>::reset(&state);
  EXPECT_TRUE(sameBits(Api<T>::sample(&state, x[0], scale...), zero));
  EXPECT_TRUE(sameBits(Api<T>::block(&state, x, 2, scale...), zero));
  EXPECT_EQ(moxGetErrStatus(), MOX_StsNoMem);
  EXPECT_EQ(last(), Strings{});
  EXPECT_TRUE(state.freq == good.freq && state.delay1.re == 5);
}
TEST(GoertzelReports, AreThoseOfTheContract) {
  checkReports<float>();
  checkReports<MoxC>();
  checkReports<double>();
  checkReports<MoxZ>();
  checkReports<int16_t>(MOX_NoScale, static_cast<int32_t*>(nullptr));
  checkReports<MoxV>(MOX_NoScale, static_cast<int32_t*>(nullptr));
}

}  // namespace
