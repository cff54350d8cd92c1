// Random numbers against the recurrence in 64-bit integers and the polar method in extended precision.
#include <algorithm>
#include <cfloat>
#include <cmath>

#include "tests/support/support.h"

using namespace moxtest;

namespace {

template <class T>
struct Api;
#define MOX_RANDOM_API(letter_, type, part, record, uniformModule)   \
  template <>                                                        \
  struct Api<type> {                                                 \
    using Real = part;                                               \
    using Uniform = Mox##record##RandUniState;                       \
    using Gaussian = Mox##record##RandGausState;                     \
    using Bound = decltype(Uniform::mid);                            \
    static constexpr const char* letter = #letter_;                  \
    static constexpr const char* module = uniformModule;             \
    static constexpr auto initUniform = mox##letter_##RandUniInit;   \
    static constexpr auto uniform = mox##letter_##RandUni;           \
    static constexpr auto uniforms = mox##letter_##bRandUni;         \
    static constexpr auto initGaussian = mox##letter_##RandGausInit; \
    static constexpr auto gaussian = mox##letter_##RandGaus;         \
    static constexpr auto gaussians = mox##letter_##bRandGaus;       \
  };
MOX_RANDOM_API(s, float, float, s, "moxrand")
MOX_RANDOM_API(d, double, double, d, "moxrand")
MOX_RANDOM_API(c, MoxC, float, s, "moxrand")
MOX_RANDOM_API(z, MoxZ, double, d, "moxrand")
MOX_RANDOM_API(w, int16_t, int16_t, s, "moxrandw")
MOX_RANDOM_API(v, MoxV, int16_t, s, "moxrandw")

template <class T>
constexpr size_t kParts = sizeof(T) / sizeof(typename Api<T>::Real);

// ---- the model

int64_t wrapped(int64_t v) {
  const int64_t turn = int64_t{1} << 32, half = turn / 2, m = (v + half) % turn;
  return (m < 0 ? m + turn : m) - half;
}

struct Model {
  int64_t hist[3], borrow;
  uint64_t lcg, seeding;

  Model(int64_t seed, int64_t firstBorrow) : borrow(firstBorrow), lcg(0x436CBAE9), seeding(uint64_t(seed)) {
    hist[0] = seed;
    for (int i : {1, 2}) {
      seeding = (seeding * 214013 + 2531011) % 0x100000000;
      hist[i] = int64_t(seeding / 65536 % 32768);
    }
  }
  template <class State>
  explicit Model(const State& s)
      : hist{s.hist0, s.hist1, s.hist2}, borrow(s.borrow), lcg(s.lcg), seeding(uint32_t(s.seedState)) {}

  int64_t draw() {
    const int64_t old = wrapped(hist[2] + borrow);
    borrow = hist[1] <= old;
    const int64_t d = wrapped(hist[1] - old - 18 * borrow);
    hist[2] = hist[1];
    hist[1] = hist[0];
    hist[0] = d;
    lcg = (69069 * lcg + 1013904243) % 0x100000000;
    return wrapped(d + int64_t(lcg));
  }
  struct Pair {
    long double first, second;
    long double error;  // relative, where s is rounded to float64 and the rest has a few more roundings
  };
  Pair pair() {
    for (;;) {
      const long double a = draw() * 0x1p-31L, b = draw() * 0x1p-31L, s = a * a + b * b;
      if (s == 0 || s >= 1) continue;
      const long double ln = std::log(s), f = std::sqrt(-2 * ln / s);
      return {a * f, b * f, (6 - 1 / ln) * 0x1p-53L};
    }
  }
};

template <class State>
::testing::AssertionResult isAt(const State& s, const Model& m) {
  if (s.hist0 == m.hist[0] && s.hist1 == m.hist[1] && s.hist2 == m.hist[2] && s.borrow == m.borrow && s.lcg == m.lcg &&
      uint32_t(s.seedState) == m.seeding) {
    return ::testing::AssertionSuccess();
  }
  return ::testing::AssertionFailure() << s.hist0 << " " << s.hist1 << " " << s.hist2 << " " << s.borrow << " "
                                       << s.lcg;
}

const int32_t kSizes[] = {1, 2, 3, 5, 8, 13, 16, 31, 64, 65, 127, 300, 511, 512, 513, 1030, 2500};

template <class T>
class Random : public ::testing::Test {};
using AllTypes = ::testing::Types<float, double, MoxC, MoxZ, int16_t, MoxV>;
TYPED_TEST_SUITE(Random, AllTypes);

// n values in one block, between guard pages.
template <class T, class Block, class State>
std::vector<typename Api<T>::Real> blockOf(Block block, State& state, int32_t n) {
  Guarded<T> dst(size_t(n), n % 2 ? Flush::AtEnd : Flush::AtStart);
  block(&state, dst.data(), n);
  std::vector<typename Api<T>::Real> parts(size_t(n) * kParts<T>);
  std::memcpy(parts.data(), dst.data(), size_t(n) * sizeof(T));
  return parts;
}
template <class T, class Single, class State>
std::vector<typename Api<T>::Real> singlesOf(Single single, State& state, int32_t n) {
  std::vector<typename Api<T>::Real> parts(size_t(n) * kParts<T>);
  for (size_t i = 0; i < size_t(n); ++i) {
    const T value = single(&state);
    std::memcpy(&parts[i * kParts<T>], &value, sizeof value);
  }
  return parts;
}

TEST(RandomDraws, AreTheRecurrenceForEverySeed) {
  forEachLevel([] {
    for (const double seed : {0.0, 1.0, -1.0, 1.9, -1.9, 12345.0, 2147483647.0, -2147483648.0}) {
      for (const int32_t n : kSizes) {
        MoxdRandUniState state;
        moxdRandUniInit(seed, -0x1p31, 0x1p31, &state);  // between these bounds a value is its draw
        Model model(int64_t(seed), 0);
        for (int i = 0; i < 5; ++i) model.draw();
        ASSERT_TRUE(isAt(state, model)) << seed;
        for (const double value : blockOf<double>(moxdbRandUni, state, n))
          ASSERT_EQ(value, double(model.draw())) << seed;
        ASSERT_TRUE(isAt(state, model)) << seed << " " << n;
      }
    }
  });
}

TEST(RandomDraws, BeginAsWrittenDown) {
  MoxdRandUniState state;
  moxdRandUniInit(1, -0x1p31, 0x1p31, &state);
  for (const double value : {-2067162978.0, -813024579.0, 1165206390.0, 2034381750.0, 371758464.0, 618825673.0}) {
    EXPECT_EQ(moxdRandUni(&state), value);
  }
}

TEST(RandomDraws, BorrowAndWrapAtTheEndsOfTheRange) {
  const int32_t ends[] = {INT32_MIN, INT32_MIN + 1, -1, 0, 17, 18, INT32_MAX - 1, INT32_MAX};
  forEachLevel([&] {
    for (const int32_t h0 : {0, INT32_MAX}) {
      for (const int32_t h1 : ends) {
        for (const int32_t h2 : ends) {
          for (const int32_t borrow : {0, 1}) {
            MoxdRandUniState state = {0, 1, 0xfffffff0, borrow, h0, h1, h2, 0}, single = state;
            Model model(state);
            for (const double value : blockOf<double>(moxdbRandUni, state, 40)) {
              ASSERT_EQ(value, double(model.draw())) << h1 << " " << h2 << " " << borrow;
              ASSERT_EQ(value, moxdRandUni(&single));
            }
            ASSERT_TRUE(isAt(state, model) && isAt(single, model));
          }
        }
      }
    }
  });
}

TEST(RandomDraws, SeedsBeyondTheIntegersAreTheLeastOne) {
  MoxsRandUniState least, state;
  moxsRandUniInit(-0x1p31f, 0, 1, &least);
  for (const float seed : {0x1p31f, -0x1p32f, INFINITY, -INFINITY, NAN}) {
    moxsRandUniInit(seed, 0, 1, &state);
    EXPECT_TRUE(sameBits(state, least)) << seed;
  }
}

// What becomes of value in float64 as an R.
template <class R>
R rounded(double value) {
  if constexpr (std::is_same_v<R, int16_t>) {
    return int16_t(std::clamp(std::nearbyint(value), -32768.0, 32767.0));
  } else {
    return R(value);
  }
}

TYPED_TEST(Random, UniformValuesAreTheDrawsBetweenTheBounds) {
  using A = Api<TypeParam>;
  using R = typename A::Real;
  using B = typename A::Bound;
  const std::pair<B, B> bounds[] = {
      {0, 1}, {-3, 5}, {B(1000.25), -4}, {-40000, B(4e4)}, {B(0.1), B(0.1)}, {B(-1.5), B(-2.5)}, {B(-3e38), B(3e38)}};
  forEachLevel([&] {
    for (const auto& [low, high] : bounds) {
      typename A::Uniform state;
      A::initUniform(7, low, high, &state);
      const double width = double(high) - double(low);
      ASSERT_EQ(state.mid, B(low + 0.5 * width));
      ASSERT_EQ(state.scale, B(width / 4294967296.0));
      Model model(state);
      for (const int32_t n : kSizes) {
        auto single = state;
        const std::vector<R> got = blockOf<TypeParam>(A::uniforms, state, n);
        for (const R value : got) {
          const double product = double(model.draw()) * double(state.scale);
          ASSERT_EQ(value, rounded<R>(product + double(state.mid))) << low << " " << high;
        }
        ASSERT_TRUE(isAt(state, model));
        ASSERT_TRUE(sameBits(got, singlesOf<TypeParam>(A::uniform, single, n)));
        ASSERT_TRUE(sameBits(state, single));
      }
    }
  });
}

// Within the error of float64, and of float32's last rounding.
template <class T>
void expectGaussian(T got, long double unit, long double error, double mean, double stdDev) {
  const long double want = mean + stdDev * unit, size = std::fabs(want);
  const long double inDouble = error * std::fabs(stdDev * unit) + 0x1p-53L * size;
  const long double half = sizeof(T) == 4 ? (std::nextafter(float(size), INFINITY) - float(size)) / 2 : 0;
  ASSERT_LE(std::fabs(got - want), half + inDouble) << double(want);
}

TYPED_TEST(Random, GaussianValuesAreThoseOfThePolarMethod) {
  using A = Api<TypeParam>;
  using R = typename A::Real;
  using B = typename A::Bound;
  const std::pair<B, B> shapes[] = {{0, 1}, {B(-2.5), B(0.1)}, {100, -20000}, {3, 0}};
  forEachLevel([&] {
    for (const auto& shape : shapes) {
      const B mean = shape.first, stdDev = shape.second;
      for (const int32_t n : kSizes) {
        typename A::Gaussian state;
        A::initGaussian(-5, mean, stdDev, &state);
        Model model(-5, 1);
        ASSERT_TRUE(isAt(state, model));
        ASSERT_EQ(state.hasCached, 0);
        // The float32 form says what int16 values are rounded from.
        MoxsRandGausState wide;
        moxsRandGausInit(-5, float(mean), float(stdDev), &wide);
        Model::Pair pair = {};
        bool second = false;
        const auto check = [&](R value) {
          if (!second) pair = model.pair();
          const long double unit = second ? pair.second : pair.first;
          second = !second;
          if constexpr (std::is_same_v<R, int16_t>) {
            ASSERT_EQ(value, rounded<R>(double(moxsRandGaus(&wide))));
          } else {
            expectGaussian(value, unit, pair.error, mean, stdDev);
          }
        };
        // Blocks of any size, odd ones too, with the kept value between.
        for (const int32_t size : {n, 1, 3, n, 2}) {
          auto single = state;
          const std::vector<R> got = blockOf<TypeParam>(A::gaussians, state, size);
          for (const R value : got) check(value);
          if (this->HasFatalFailure()) return;
          ASSERT_TRUE(isAt(state, model)) << n << " " << size;
          ASSERT_EQ(state.hasCached, second);
          ASSERT_TRUE(sameBits(got, singlesOf<TypeParam>(A::gaussian, single, size)));
          ASSERT_TRUE(sameBits(state, single));
        }
      }
    }
  });
}

TEST(Gaussian, HasTheSameBitsInEverySetWithFusedMultiplyAdd) {
  std::vector<double> first;
  for (const std::string& level : levels()) {
    if (level == "sse2") continue;
    const ForcedLevel forced(level);
    MoxdRandGausState state;
    moxdRandGausInit(3, 0.25, 3, &state);
    const std::vector<double> values = blockOf<double>(moxdbRandGaus, state, 20001);
    if (first.empty()) first = values;
    EXPECT_TRUE(sameBits(first, values)) << level;
  }
}

// A record whose first two draws are a and b.
MoxdRandGausState recordThatDraws(int32_t a, int32_t b) {
  const uint32_t lcg[2] = {1013904243, 69069u * 1013904243u + 1013904243u}, most = INT32_MAX;
  MoxdRandGausState state = {0, 1, 0, 0, 0, 0, 0, INT32_MAX, 0, 0};
  state.hist2 = int32_t(most + lcg[0] - uint32_t(a));       // below hist1: no borrow
  state.hist0 = int32_t(most + 18 + uint32_t(b) - lcg[1]);  // a borrow
  return state;
}

TEST(Gaussian, NeitherTheCentreNorTheCircleIsAccepted) {
  forEachLevel([] {
    for (const auto& [a, b] : {std::pair(0, 0), std::pair(INT32_MIN, 0), std::pair(0, INT32_MIN)}) {
      for (const int32_t n : {1, 2, 100}) {
        MoxdRandGausState state = recordThatDraws(a, b);
        Model model(state), look = model;
        ASSERT_EQ(look.draw(), a);
        ASSERT_EQ(look.draw(), b);
        const std::vector<double> got = blockOf<double>(moxdbRandGaus, state, n);
        const Model::Pair pair = model.pair();
        expectGaussian(got[0], pair.first, pair.error, 0, 1);
        if (n > 1) expectGaussian(got[1], pair.second, pair.error, 0, 1);
      }
    }
  });
}

TYPED_TEST(Random, BadArgumentsAreReportedAndNothingIsWritten) {
  using A = Api<TypeParam>;
  using B = typename A::Bound;
  const std::string letter = A::letter;
  const bool asserts = std::string(A::module) == "moxrandw";
  Reports reports;
  const auto expect = [&](const std::string& name, const char* module, std::vector<std::string> texts) {
    for (const Report& r : reports.all()) EXPECT_EQ(r.file, module) << name;
    for (std::string& text : texts) text = "mox" + name + ": " + text + " (-5)";
    EXPECT_EQ(reports.take(), texts);
  };
  const std::string state = "Null pointer to state structure", buffer = "Null pointer to data buffer",
                    length = "Null length of buffer";
  const TypeParam zero = {};
  typename A::Uniform* const noUniform = nullptr;
  typename A::Gaussian* const noGaussian = nullptr;
  TypeParam* const noArray = nullptr;

  A::initUniform(1, 0, 1, noUniform);
  expect(letter + "RandUniInit", A::module, {asserts ? "statePtr==0" : state});
  EXPECT_TRUE(sameBits(A::uniform(noUniform), zero));
  expect(letter + "RandUni", A::module, {asserts ? "((void*)(0))==statePtr" : state});
  A::uniforms(noUniform, noArray, 0);
  expect(letter + "bRandUni", A::module,
         asserts ? std::vector<std::string>{"statePtr==0", "samps==0", "sampsLen<=0"}
                 : std::vector<std::string>{state, buffer, length});
  A::initGaussian(1, 0, 1, noGaussian);
  expect(letter + "RandGausInit", "moxrand", {state});
  EXPECT_TRUE(sameBits(A::gaussian(noGaussian), zero));
  expect(letter + "RandGaus", "moxrand", {state});
  A::gaussians(noGaussian, noArray, -1);
  expect(letter + "bRandGaus", "moxrand", {state, buffer, length});

  typename A::Uniform uniform, uniformBefore;
  typename A::Gaussian gaussian, gaussianBefore;
  A::initUniform(1, B(2), B(3), &uniform);
  A::initGaussian(1, B(2), B(3), &gaussian);
  uniformBefore = uniform;
  gaussianBefore = gaussian;
  TypeParam value = zero;
  A::uniforms(&uniform, noArray, 3);
  A::uniforms(&uniform, &value, 0);
  A::gaussians(&gaussian, noArray, 3);
  A::gaussians(&gaussian, &value, 0);
  EXPECT_EQ(reports.take().size(), 4u);
  moxSetErrStatus(MOX_StsNoMem);  // sticky: no work, no further report
  A::initUniform(9, 0, 1, &uniform);
  A::initGaussian(9, 0, 1, &gaussian);
  EXPECT_TRUE(sameBits(A::uniform(&uniform), zero));
  EXPECT_TRUE(sameBits(A::gaussian(&gaussian), zero));
  A::uniforms(&uniform, &value, 1);
  A::gaussians(&gaussian, &value, 1);
  EXPECT_TRUE(sameBits(value, zero));
  EXPECT_TRUE(sameBits(uniform, uniformBefore) && sameBits(gaussian, gaussianBefore));
  EXPECT_EQ(reports.take(), std::vector<std::string>());
}

}  // namespace
