#include <cfenv>
#include <cmath>
#include <limits>

#include "tests/support/support.h"

using namespace moxtest;

namespace {

using Strings = std::vector<std::string>;

// Samples of type T, P parts of type R each, from arguments of type Real.
template <class T_, class R_, size_t P_, class Real_, class ToneState, class TrnglState>
struct FormOf {
  using T = T_;
  using R = R_;
  using Real = Real_;
  using Tone = ToneState;
  using Trngl = TrnglState;
  static constexpr size_t P = P_;
  // How far an output may be off because it is rounded.
  static constexpr long double rounding(long double mag) {
    return std::is_same_v<R, int16_t> ? 0.5L : mag * (std::is_same_v<R, float> ? 0x1p-24L : 0x1p-53L);
  }
};
#define MOX_GENERATOR_FORM(name, l, T, R, P, Real, k)                                                                  \
  struct name : FormOf<T, R, P, Real, Mox##k##ToneState, Mox##k##TrnglState> {                                         \
    static constexpr char kLetter = #l[0];                                                                             \
    static void init(Real f, Real phase, Real mag, Real, Tone* s) { mox##l##ToneInit(f, phase, mag, s); }              \
    static void init(Real f, Real phase, Real mag, Real asym, Trngl* s) { mox##l##TrnglInit(f, phase, mag, asym, s); } \
    static T next(Tone* s) { return mox##l##Tone(s); }                                                                 \
    static T next(Trngl* s) { return mox##l##Trngl(s); }                                                               \
    static void block(Tone* s, T* dst, int32_t n) { mox##l##bTone(s, dst, n); }                                        \
    static void block(Trngl* s, T* dst, int32_t n) { mox##l##bTrngl(s, dst, n); }                                      \
  };
MOX_GENERATOR_FORM(Float, s, float, float, 1, float, s)
MOX_GENERATOR_FORM(Double, d, double, double, 1, double, d)
MOX_GENERATOR_FORM(ComplexFloat, c, MoxC, float, 2, float, c)
MOX_GENERATOR_FORM(ComplexDouble, z, MoxZ, double, 2, double, z)
MOX_GENERATOR_FORM(Short, w, int16_t, int16_t, 1, float, s)
MOX_GENERATOR_FORM(ComplexShort, v, MoxV, int16_t, 2, float, c)

template <class F>
class Generators : public ::testing::Test {};
using Forms = ::testing::Types<Float, Double, ComplexFloat, ComplexDouble, Short, ComplexShort>;
TYPED_TEST_SUITE(Generators, Forms);

constexpr long double kPi = 3.14159265358979323846264338327950288L;

// Single samples and blocks in turn: on both sides of the shortest block that is evaluated directly, of the arcs of 32
// and the stretches of 256 values.
constexpr int32_t kBlocks[] = {1, 48, 0, 47, 255, 2, 0, 256, 257, 0, 95, 97, 64, 600, 0, 49};
constexpr size_t kTotal = 1 + 48 + 1 + 47 + 255 + 2 + 1 + 256 + 257 + 1 + 95 + 97 + 64 + 600 + 1 + 49;

// Parts of all outputs; 0 stands for a single sample.
template <class F, class State>
std::vector<typename F::R> inTurn(State* state, Flush flush) {
  using T = typename F::T;
  std::vector<T> all;
  for (const int32_t n : kBlocks) {
    if (n == 0) {
      all.push_back(F::next(state));
      continue;
    }
    const Guarded<T> dst(static_cast<size_t>(n), flush);
    F::block(state, dst.data(), n);
    all.insert(all.end(), dst.data(), dst.data() + n);
  }
  const auto* const parts = reinterpret_cast<const typename F::R*>(all.data());
  return {parts, parts + F::P * all.size()};
}

// Where the period is at sample n, in turns.
template <class Real>
long double turns(Real f, Real phase, size_t n) {
  return std::fmod(static_cast<long double>(f) * static_cast<long double>(n), 1.0L) + phase / (2 * kPi);
}

struct Wave {
  double f, phase, mag, asym;
};
std::ostream& operator<<(std::ostream& out, const Wave& w) {
  return out << "f " << w.f << ", phase " << w.phase << ", mag " << w.mag << ", asym " << w.asym;
}
// Frequencies on both sides of where the sine of a step vanishes.
constexpr Wave kTones[] = {{0, 1, 100, 0},        {1e-40, 2, 1000, 0}, {1e-7, 0.3, 30000, 0}, {1e-3, 6.28, 1, 0},
                           {0.0123, 0, 20000, 0}, {0.25, 0, 3000, 0},  {0.31, 4, 0, 0},       {0.33333333, 3, 32000, 0},
                           {0.4987, 5, 12345, 0}, {0.4999999, 1, 1, 0}};

TYPED_TEST(Generators, TonesStayWithinTheirBound) {
  using F = TypeParam;
  using Real = typename F::Real;
  for (const Wave& wave : kTones) {
    SCOPED_TRACE(::testing::Message() << wave);
    const Real f = static_cast<Real>(wave.f), phase = static_cast<Real>(wave.phase), mag = static_cast<Real>(wave.mag);
    const long double sine = std::sin(2 * kPi * f);
    std::vector<typename F::R> first;
    forEachLevel([&] {
      typename F::Tone state;
      F::init(f, phase, mag, 0, &state);
      const auto y = inTurn<F>(&state, wave.mag > 1000 ? Flush::AtStart : Flush::AtEnd);
      ASSERT_EQ(y.size(), F::P * kTotal);
      if (first.empty()) first = y;
      ASSERT_TRUE(sameBits(first, y));
      for (size_t i = 0; i < y.size(); ++i) {
        const size_t n = i / F::P;
        const long double angle = 2 * kPi * turns(f, phase, n), count = static_cast<long double>(n) + 4;
        const long double exact = mag * (i % F::P ? std::sin(angle) : std::cos(angle));
        // A block takes its place of n samples, at most.
        const long double off = mag * count * std::min(count, 1 / sine) * 0x1p-52L;
        ASSERT_NEAR(static_cast<double>(y[i]), static_cast<double>(exact), static_cast<double>(off + F::rounding(mag)))
            << "part " << i;
      }
      if constexpr (std::is_same_v<typename F::R, double>) {
        // The record holds the last two outputs; the block of 49 has just ended.
        EXPECT_EQ(std::memcmp(&state.prev1, &y[F::P * (kTotal - 1)], F::P * sizeof(double)), 0);
        EXPECT_EQ(std::memcmp(&state.prev2, &y[F::P * (kTotal - 2)], F::P * sizeof(double)), 0);
      }
    });
  }
}

// Blocks do not wander: one of more than two million samples ends where it should, to a few roundings.
TEST(GeneratorsLong, ToneBlockKeepsItsPhase) {
  const size_t n = (size_t{1} << 21) + 777;
  const double f = 0.4871234567890123, phase = 2;
  forEachLevel([&] {
    std::vector<double> y(n);
    MoxdToneState state;
    moxdToneInit(f, phase, 1, &state);
    moxdbTone(&state, y.data(), static_cast<int32_t>(n));
    // f i exactly: 29 bits of f at a time.
    const double high = std::floor(f * 0x1p29) * 0x1p-29, low = f - high;
    for (size_t i = 0; i < n; i += i + 2000 < n ? 997 : 1) {
      const long double k = static_cast<long double>(i);
      const long double angle = 2 * kPi * (std::fmod(high * k, 1.0L) + std::fmod(low * k, 1.0L)) + phase;
      ASSERT_NEAR(y[i], static_cast<double>(std::cos(angle)), 0x1p-49) << i;
    }
    EXPECT_EQ(state.prev1, y[n - 1]);
    EXPECT_EQ(state.prev2, y[n - 2]);
  });
}

// No step covers a whole slope: else the definition lets an output go over the peak.
constexpr Wave kTriangles[] = {
    {0, 1, 5, 0},        {1e-4, 0, 30000, 0.5}, {0.01, 3.3, 1, -2},   {0.0371, 6.2, 999, 2.9},
    {0.25, 0, 20000, 0}, {0.123, 2, 0, 1},      {0.31, 5, 32000, -1}, {0.49, 1.5, 100, 0.05}};

TYPED_TEST(Generators, TrianglesFollowTheirShape) {
  using F = TypeParam;
  using Real = typename F::Real;
  for (const Wave& wave : kTriangles) {
    SCOPED_TRACE(::testing::Message() << wave);
    const Real f = static_cast<Real>(wave.f), phase = static_cast<Real>(wave.phase), mag = static_cast<Real>(wave.mag),
               asym = static_cast<Real>(wave.asym);
    const long double down = (kPi + asym) / (2 * kPi), up = 1 - down, steepest = 2 / std::min(up, down);
    forEachLevel([&] {
      typename F::Trngl state, same;
      F::init(f, phase, mag, asym, &state);
      same = state;
      const auto y = inTurn<F>(&state, Flush::AtEnd);
      for (size_t i = 0; i < y.size(); ++i) {
        const size_t n = i / F::P;
        const long double at = turns(f, phase, n) + (i % F::P ? 0.75L : 0), place = at - std::floor(at);
        const long double exact = mag * (place < down ? 1 - 2 * place / down : 2 * (place - down) / up - 1);
        // A rounding of each step, which a turn makes steeper or flatter.
        const long double off = mag * static_cast<long double>(n + 8) * steepest * steepest * 0x1p-52L;
        ASSERT_NEAR(static_cast<double>(y[i]), static_cast<double>(exact), static_cast<double>(off + F::rounding(mag)))
            << "part " << i;
      }
      for (size_t n = 0; n < kTotal; ++n) {
        const auto one = F::next(&same);
        ASSERT_EQ(std::memcmp(&one, &y[F::P * n], sizeof one), 0) << n;
      }
      EXPECT_EQ(std::memcmp(&same.value, &state.value, sizeof same.value), 0);
      EXPECT_EQ(std::memcmp(&same.step, &state.step, sizeof same.step), 0);
    });
  }
}

TEST(GeneratorsKnown, QuarterOfTheRate) {
  forEachLevel([] {
    MoxdToneState tone;
    moxdToneInit(0.25, 0, 1, &tone);
    for (const double y : {1, 0, -1, 0, 1, 0, -1}) EXPECT_NEAR(moxdTone(&tone), y, 1e-15);
    moxdToneInit(-0.0, -0.0, 1, &tone);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(moxdTone(&tone), 1);
    MoxcTrnglState triangle;
    moxcTrnglInit(0.25f, 0, 1, 0, &triangle);
    for (const MoxC y : {MoxC{1, 0}, {0, 1}, {-1, 0}, {0, -1}, {1, 0}}) EXPECT_TRUE(sameBits(moxcTrngl(&triangle), y));
  });
}

// To nearest, ties to even, saturating, whatever the thread's rounding mode.
TEST(GeneratorsKnown, Int16Rounding) {
  forEachLevel([] {
    for (const int mode : {FE_TONEAREST, FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
      for (const float v : {0.5f, 1.5f, 2.5f, 2.4999f, 2.5001f, 32766.5f, 32767.5f, 1e9f}) {
        MoxsToneState tone;
        MoxcTrnglState triangle;
        moxwToneInit(0, 0, v, &tone);
        moxvTrnglInit(0, 0, v, 0, &triangle);
        int16_t y[60];
        MoxV z[5];
        std::fesetround(mode);
        const int16_t one = moxwTone(&tone);
        moxwbTone(&tone, y, 60);
        moxvbTrngl(&triangle, z, 5);
        std::fesetround(FE_TONEAREST);
        const int16_t expected = static_cast<int16_t>(std::min(std::nearbyint(v), 32767.0f));
        EXPECT_EQ(one, expected) << v;
        EXPECT_EQ(y[59], expected) << v;
        EXPECT_EQ(z[4].re, expected) << v;
      }
      MoxsTrnglState low;
      moxwTrnglInit(0, static_cast<float>(kPi), 40000, 0, &low);
      EXPECT_EQ(moxwTrngl(&low), -32768);
    }
  });
}

TYPED_TEST(Generators, BadArguments) {
  using F = TypeParam;
  using Real = typename F::Real;
  const Real nan = std::numeric_limits<Real>::quiet_NaN(), twoPi = static_cast<Real>(6.283185307179586),
             pi = static_cast<Real>(3.141592653589793);
  const std::string prefix = std::string("mox") + F::kLetter;
  const char* const toneFile = F::kLetter == 'w' || F::kLetter == 'v' ? "moxtonew" : "moxtone";
  Reports reports;
  const auto reportedAll = [&](const std::string& name, const Strings& texts, const char* file) {
    for (const Report& r : reports.all()) EXPECT_EQ(r.file, file);
    Strings expected;
    for (const auto& text : texts) expected.push_back(prefix + name + ": " + text + " (-5)");
    EXPECT_EQ(reports.take(), expected);
  };
  const auto reported = [&](const std::string& name, const char* text, const char* file) {
    reportedAll(name, {text}, file);
  };
  struct Bad {
    Real f, phase, mag, asym;
    const char *tone, *triangle;
  };
  const char *const mag = "Invalid magnitude value", *const phase = "Invalid phase value",
                    *const asym = "Invalid asymmetry value";
  const Bad bad[] = {{1, 9, -1, 9, mag, mag},
                     {1, 9, nan, 9, mag, mag},
                     {Real(0.5), twoPi, 1, pi, "Invalid freq value", "Invalid frequence value"},
                     {Real(-1e-30), 0, 1, 0, "Invalid freq value", "Invalid frequence value"},
                     {nan, 0, 1, 0, "Invalid freq value", "Invalid frequence value"},
                     {0, twoPi, 1, pi, phase, phase},
                     {0, Real(-1e-30), 1, 0, phase, phase},
                     {0, nan, 1, 0, phase, phase},
                     {0, 0, 1, pi, nullptr, asym},
                     {0, 0, 1, -pi, nullptr, asym},
                     {0, 0, 1, nan, nullptr, asym}};
  typename F::Tone tone = {}, toneBefore = tone;
  typename F::Trngl triangle = {}, triangleBefore = triangle;
  for (const Bad& b : bad) {
    if (b.tone) {
      F::init(b.f, b.phase, b.mag, 0, &tone);
      reported("ToneInit", b.tone, toneFile);
    }
    F::init(b.f, b.phase, b.mag, b.asym, &triangle);
    reported("TrnglInit", b.triangle, "moxtrngl");
  }
  F::init(0, 0, 1, 0, static_cast<typename F::Tone*>(nullptr));
  reported("ToneInit", "Null pointer to state", toneFile);
  F::init(0, 0, 1, 0, static_cast<typename F::Trngl*>(nullptr));
  reported("TrnglInit", "Null pointer to state", "moxtrngl");
  EXPECT_TRUE(sameBits(tone, toneBefore));
  EXPECT_TRUE(sameBits(triangle, triangleBefore));

  const typename F::T zero = {};
  typename F::T y = zero;
  EXPECT_TRUE(sameBits(F::next(static_cast<typename F::Tone*>(nullptr)), zero));
  reported("Tone", "Null pointer to state", toneFile);
  EXPECT_TRUE(sameBits(F::next(&tone), zero));
  reported("Tone", "Structure initialization need", toneFile);
  EXPECT_TRUE(sameBits(F::next(static_cast<typename F::Trngl*>(nullptr)), zero));
  reported("Trngl", "Null pointer to state", "moxtrngl");
  const char *const noBuffer = "Null input buffer pointer", *const noItems = "Bad number of items";
  F::block(static_cast<typename F::Tone*>(nullptr), nullptr, 0);
  reportedAll("bTone", {"Null pointer to state", noBuffer, noItems}, toneFile);
  F::block(&tone, nullptr, 0);
  reportedAll("bTone", {"Structure initialization need", noBuffer, noItems}, toneFile);
  F::block(static_cast<typename F::Trngl*>(nullptr), nullptr, 0);
  reportedAll("bTrngl", {"Null pointer to state", "Null pointer to buffer", "Invalid number of items"}, "moxtrngl");
  F::init(0, 0, 1, 0, &tone);
  F::init(0, 0, 1, 0, &triangle);
  toneBefore = tone;
  triangleBefore = triangle;
  F::block(&tone, nullptr, 1);
  reported("bTone", noBuffer, toneFile);
  F::block(&tone, &y, 0);
  reported("bTone", noItems, toneFile);
  F::block(&triangle, nullptr, 1);
  reported("bTrngl", "Null pointer to buffer", "moxtrngl");
  F::block(&triangle, &y, -1);
  reported("bTrngl", "Invalid number of items", "moxtrngl");
  moxSetErrStatus(MOX_StsNoMem);  // sticky
  F::init(Real(0.1), 1, 2, 0, &tone);
  F::init(Real(0.1), 1, 2, 0, &triangle);
  F::block(&tone, &y, 1);
  F::block(&triangle, &y, 1);
  EXPECT_TRUE(sameBits(F::next(&tone), zero));
  EXPECT_TRUE(sameBits(F::next(&triangle), zero));
  EXPECT_TRUE(sameBits(y, zero));
  EXPECT_TRUE(sameBits(tone, toneBefore));
  EXPECT_TRUE(sameBits(triangle, triangleBefore));
}

}  // namespace
