#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>

#include "tests/support/support.h"

using namespace moxtest;

namespace {

template <class T>
struct Api;
#define MOX_VEC_API(letter, type)                              \
  template <>                                                  \
  struct Api<type> {                                           \
    static constexpr char kLetter = #letter[0];                \
    static constexpr auto sqr1 = mox##letter##bSqr1;           \
    static constexpr auto sqr2 = mox##letter##bSqr2;           \
    static constexpr auto sqrt1 = mox##letter##bSqrt1;         \
    static constexpr auto sqrt2 = mox##letter##bSqrt2;         \
    static constexpr auto thresh1 = mox##letter##bThresh1;     \
    static constexpr auto thresh2 = mox##letter##bThresh2;     \
    static constexpr auto inverse1 = mox##letter##bInvThresh1; \
    static constexpr auto inverse2 = mox##letter##bInvThresh2; \
  };
MOX_VEC_API(s, float)
MOX_VEC_API(d, double)
MOX_VEC_API(c, MoxC)
MOX_VEC_API(z, MoxZ)

template <class T>
using RealOf = typename Traits<T>::Real;

const int kLengths[] = {1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 33, 64, 100, 257};

// Values of every size, zeros of both signs among them.
template <class T>
std::vector<T> samples(size_t n, uint32_t seed) {
  std::vector<T> v = noise<T>(n, seed);
  std::mt19937 bits(seed);
  for (T& x : v) {
    const auto scale = static_cast<RealOf<T>>(std::ldexp(1.0, static_cast<int>(bits() % 9) - 4));
    if constexpr (Traits<T>::complex) {
      x = {x.re * scale, x.im * scale};
      if (bits() % 8 == 0) x = {0, bits() % 2 ? RealOf<T>(-0.0) : 0};
      if (bits() % 8 == 0) x.im = bits() % 2 ? RealOf<T>(-0.0) : 0;
    } else {
      x *= scale;
      if (bits() % 8 == 0) x = bits() % 2 ? T(-0.0) : 0;
    }
  }
  return v;
}

// Runs the 1 form and the 2 form on guarded arrays and hands both results to check.
template <class T, class One, class Two, class Check>
void bothForms(const std::vector<T>& values, One one, Two two, Check check) {
  for (const Flush flush : {Flush::AtStart, Flush::AtEnd}) {
    Guarded<T> vec(values, flush), src(values, flush), dst(values.size(), flush);
    src.makeReadOnly();
    one(vec.data());
    check(vec.values());
    two(src.data(), dst.data());
    check(dst.values());
  }
}

template <class T>
class RealVector : public ::testing::Test {};
using RealTypes = ::testing::Types<float, double>;
TYPED_TEST_SUITE(RealVector, RealTypes);

TYPED_TEST(RealVector, SquaresRootsAndMagnitudes) {
  using T = TypeParam;
  forEachLevel([] {
    for (const int n : kLengths) {
      SCOPED_TRACE(n);
      Reports reports;
      std::vector<T> values = samples<T>(static_cast<size_t>(n), 1);
      bothForms(
          values, [&](T* v) { Api<T>::sqr1(v, n); }, [&](const T* s, T* d) { Api<T>::sqr2(s, d, n); },
          [&](const std::vector<T>& got) {
            for (size_t i = 0; i < got.size(); ++i) ASSERT_TRUE(sameBits(got[i], values[i] * values[i]));
          });
      const auto abs = [](T x) { return std::copysign(x, T(1)); };
      if constexpr (sizeof(T) == 4) {
        bothForms(
            values, [&](T* v) { moxsbAbs1(v, n); }, [&](const T* s, T* d) { moxsbAbs2(s, d, n); },
            [&](const std::vector<T>& got) {
              for (size_t i = 0; i < got.size(); ++i) ASSERT_TRUE(sameBits(got[i], abs(values[i])));
            });
      } else {
        bothForms(
            values, [&](T* v) { moxdbAbs1(v, n); }, [&](const T* s, T* d) { moxdbAbs2(s, d, n); },
            [&](const std::vector<T>& got) {
              for (size_t i = 0; i < got.size(); ++i) ASSERT_TRUE(sameBits(got[i], abs(values[i])));
            });
      }
      EXPECT_EQ(reports.take(), std::vector<std::string>());

      const bool anyNegative = std::any_of(values.begin(), values.end(), [](T x) { return x < 0; });
      bothForms(
          values,
          [&](T* v) {
            Api<T>::sqrt1(v, n);
            EXPECT_EQ(moxGetErrStatus(), anyNegative ? MOX_StsBadArg : MOX_StsOk);
            moxSetErrStatus(MOX_StsOk);
          },
          [&](const T* s, T* d) {
            Api<T>::sqrt2(s, d, n);
            moxSetErrStatus(MOX_StsOk);
          },
          [&](const std::vector<T>& got) {
            for (size_t i = 0; i < got.size(); ++i) {
              const T x = values[i];
              ASSERT_TRUE(sameBits(got[i], x < 0 ? x : std::sqrt(x))) << x;
            }
          });
    }
  });
  Reports reports;
  T v[] = {4, -1, 9};
  Api<T>::sqrt1(v, 3);
  EXPECT_EQ(v[0], 2);
  EXPECT_EQ(v[1], -1);
  EXPECT_EQ(v[2], 3);
  EXPECT_EQ(reports.take(), std::vector<std::string>{std::string("mox") + Api<T>::kLetter +
                                                     "bSqrt1: Element of input vector is negative (-5)"});
}

TYPED_TEST(RealVector, OneNegativeElementIsFoundWhereverItStands) {
  using T = TypeParam;
  forEachLevel([] {
    Reports reports;
    for (const size_t n : {size_t{3}, size_t{40}, size_t{150}}) {
      std::vector<T> x(n, T(-0.0)), roots(n);
      Api<T>::sqrt2(x.data(), roots.data(), static_cast<int32_t>(n));
      EXPECT_EQ(reports.take(), std::vector<std::string>());
      for (size_t at = 0; at < n; ++at) {
        x[at] = -std::numeric_limits<T>::denorm_min();
        Api<T>::sqrt2(x.data(), roots.data(), static_cast<int32_t>(n));
        ASSERT_EQ(reports.take().size(), 1u) << at << " of " << n;
        x[at] = T(-0.0);
      }
    }
  });
}

// The order of the bit patterns.
template <class T>
bool below(T a, T b) {
  return a < b || (a == b && std::signbit(a) && !std::signbit(b));
}

TYPED_TEST(RealVector, Thresholds) {
  using T = TypeParam;
  forEachLevel([] {
    for (const int n : kLengths) {
      const std::vector<T> values = samples<T>(static_cast<size_t>(n), 2);
      for (const T thresh : {T(0), T(-0.0), T(0.5), T(-0.25), T(1000)}) {
        for (const int32_t relOp : {int32_t{MOX_LT}, int32_t{MOX_GT}, 7}) {
          bothForms(
              values, [&](T* v) { Api<T>::thresh1(v, n, thresh, relOp); },
              [&](const T* s, T* d) { Api<T>::thresh2(s, d, n, thresh, relOp); },
              [&](const std::vector<T>& got) {
                for (size_t i = 0; i < got.size(); ++i) {
                  const bool replaced = relOp == MOX_LT ? below(values[i], thresh) : below(thresh, values[i]);
                  ASSERT_TRUE(sameBits(got[i], replaced ? thresh : values[i])) << values[i] << " " << thresh;
                }
              });
        }
      }
    }
  });
}

TYPED_TEST(RealVector, InverseThresholds) {
  using T = TypeParam;
  constexpr T most = std::numeric_limits<T>::max();
  const std::string prefix = std::string("mox") + Api<T>::kLetter + "bInvThresh";
  forEachLevel([&] {
    for (const int n : kLengths) {
      const std::vector<T> values = samples<T>(static_cast<size_t>(n), 3);
      const bool zeros = std::any_of(values.begin(), values.end(), [](T x) { return x == 0; });
      for (const T thresh : {T(0), T(-0.0), T(0.3), T(3)}) {
        Reports reports;
        bothForms(
            values, [&](T* v) { Api<T>::inverse1(v, n, thresh); },
            [&](const T* s, T* d) {
              moxSetErrStatus(MOX_StsOk);
              Api<T>::inverse2(s, d, n, thresh);
              moxSetErrStatus(MOX_StsOk);
            },
            [&](const std::vector<T>& got) {
              for (size_t i = 0; i < got.size(); ++i) {
                const T x = values[i];
                const T want = thresh == 0             ? (x == 0 ? most : 1 / x)
                               : std::fabs(x) > thresh ? 1 / x
                                                       : std::copysign(1 / thresh, x);
                ASSERT_TRUE(sameBits(got[i], want)) << x << " " << thresh;
              }
            });
        std::vector<std::string> want;
        if (zeros && thresh == 0) {
          for (const char* form : {"1", "2", "1", "2"})
            want.push_back(prefix + form + ": zero element and zero thresh (-5)");
        }
        EXPECT_EQ(reports.take(), want);
      }
    }
  });
}

TYPED_TEST(RealVector, Statistics) {
  using T = TypeParam;
  const auto mean = [](const std::vector<T>& v) {
    const int32_t n = static_cast<int32_t>(v.size());
    if constexpr (sizeof(T) == 4) {
      return moxsMean(v.data(), n);
    } else {
      return moxdMean(v.data(), n);
    }
  };
  const auto power = [](const std::vector<T>& v) {
    const int32_t n = static_cast<int32_t>(v.size());
    if constexpr (sizeof(T) == 4) {
      return moxsStdDev(v.data(), n);
    } else {
      return moxdStdDev(v.data(), n);
    }
  };
  const auto extremes = [](const std::vector<T>& v) {
    const int32_t n = static_cast<int32_t>(v.size());
    if constexpr (sizeof(T) == 4) {
      return std::pair{moxsMin(v.data(), n), moxsMax(v.data(), n)};
    } else {
      return std::pair{moxdMin(v.data(), n), moxdMax(v.data(), n)};
    }
  };
  forEachLevel([&] {
    for (const int n : kLengths) {
      SCOPED_TRACE(n);
      for (uint32_t seed = 4; seed < 8; ++seed) {
        std::vector<T> v = samples<T>(static_cast<size_t>(n), seed);
        if (seed == 5) std::for_each(v.begin(), v.end(), [](T& x) { x = -std::fabs(x); });
        if (seed == 6) std::for_each(v.begin(), v.end(), [](T& x) { x = std::fabs(x); });
        long double sum = 0, squares = 0;
        for (const T x : v) {
          sum += x;
          squares += static_cast<long double>(x) * x;
        }
        // Exact to the last place: the long double sum of these values is off by far less.
        const long double exact = sum / n;
        EXPECT_NEAR(static_cast<double>(mean(v)), static_cast<double>(exact),
                    static_cast<double>(std::fabs(exact)) * std::numeric_limits<T>::epsilon() * 0.5001 + 1e-19);
        EXPECT_NEAR(static_cast<double>(power(v)), static_cast<double>(squares / n),
                    static_cast<double>(squares / n) * (std::numeric_limits<T>::epsilon() / 2 + (n + 4) * 0x1p-53));
        const auto [low, high] = extremes(v);
        EXPECT_TRUE(sameBits(low, *std::min_element(v.begin(), v.end(), below<T>)));
        EXPECT_TRUE(sameBits(high, *std::max_element(v.begin(), v.end(), below<T>)));
      }
    }
    EXPECT_TRUE(sameBits(extremes({T(-0.0), T(0)}).second, T(0)));
    EXPECT_TRUE(sameBits(extremes({T(0), T(-0.0)}).first, T(-0.0)));
    EXPECT_EQ(extremes({-3, -1, -2}).second, -1);
    // Cancellation: the sum in plain float64 would lose the ones.
    std::vector<T> large(301, 1);
    large[7] = static_cast<T>(0x1p60);
    large[260] = static_cast<T>(-0x1p60);
    EXPECT_EQ(mean(large), static_cast<T>(299.0 / 301));
    // On either side of the middle of two values; with four zeros where a quick look would take the vector for silent.
    constexpr T unit = std::numeric_limits<T>::epsilon();
    for (const int more : {-1, 0, 1}) {
      std::vector<T> close(5000, 1);
      std::fill_n(close.begin() + 10, 2500 + more, 1 + unit);
      const T rounded = more > 0 ? 1 + unit : 1;
      EXPECT_EQ(mean(close), rounded) << more;
      for (const size_t i : {size_t{0}, size_t{1250}, size_t{2500}, size_t{3749}}) {
        close[i + 1] += close[i];
        close[i] = 0;
      }
      EXPECT_EQ(mean(close), rounded) << more;
    }
    const std::vector<T> huge(100, std::numeric_limits<T>::max());
    EXPECT_EQ(mean(huge), std::numeric_limits<T>::max());
    EXPECT_EQ(mean({INFINITY, 1}), INFINITY);
    EXPECT_TRUE(std::isnan(mean({INFINITY, -INFINITY})));
    EXPECT_EQ(power({1, -1, 1, -1}), 1);
  });
}

template <class T>
class ComplexVector : public ::testing::Test {};
using ComplexTypes = ::testing::Types<MoxC, MoxZ>;
TYPED_TEST_SUITE(ComplexVector, ComplexTypes);

using Wide = std::complex<long double>;
template <class T>
Wide wide(T x) {
  return {static_cast<long double>(x.re), static_cast<long double>(x.im)};
}
// Within a few units of float64 per part (relative to the whole for what cancels), and one rounding to the type.
template <class T>
void expectNear(T got, Wide want, long double scale) {
  const long double unit = std::numeric_limits<RealOf<T>>::epsilon(), slack = 8 * 0x1p-53L * scale;
  ASSERT_NEAR(got.re, static_cast<double>(want.real()), static_cast<double>(unit * std::fabs(want.real()) + slack));
  ASSERT_NEAR(got.im, static_cast<double>(want.imag()), static_cast<double>(unit * std::fabs(want.imag()) + slack));
}

template <class T>
void expectRoots(const std::vector<T>& values) {
  const auto n = static_cast<int32_t>(values.size());
  bothForms(
      values, [&](T* v) { Api<T>::sqrt1(v, n); }, [&](const T* s, T* d) { Api<T>::sqrt2(s, d, n); },
      [&](const std::vector<T>& got) {
        constexpr auto least = std::numeric_limits<long double>::min();
        for (size_t i = 0; i < got.size(); ++i) {
          const T x = values[i];
          const long double m = std::abs(wide(x)), re = std::sqrt((m + x.re) / 2);
          const long double im = std::sqrt((m - x.re) / 2) * (x.im < 0 ? -1 : 1);
          // m - re cancels: its root is good to the root of what float64 leaves of it.
          const long double slack = std::sqrt(4 * 0x1p-53L * m);
          ASSERT_NEAR(got[i].re, static_cast<double>(re),
                      static_cast<double>(std::min(slack, 4 * 0x1p-53L * m / (re + least)) +
                                          std::numeric_limits<RealOf<T>>::epsilon() * re));
          ASSERT_NEAR(got[i].im, static_cast<double>(im),
                      static_cast<double>(std::min(slack, 4 * 0x1p-53L * m / (std::fabs(im) + least)) +
                                          std::numeric_limits<RealOf<T>>::epsilon() * std::fabs(im)));
          ASSERT_FALSE(std::signbit(got[i].im) && !(x.im < 0)) << "-0.0 is not negative";
        }
      });
}

template <class T>
void expectThresholds(const std::vector<T>& values, RealOf<T> thresh) {
  using R = RealOf<T>;
  const auto n = static_cast<int32_t>(values.size());
  for (const int32_t relOp : {MOX_LT, MOX_GT}) {
    bothForms(
        values, [&](T* v) { Api<T>::thresh1(v, n, thresh, relOp); },
        [&](const T* s, T* d) { Api<T>::thresh2(s, d, n, thresh, relOp); },
        [&](const std::vector<T>& got) {
          for (size_t i = 0; i < got.size(); ++i) {
            const T x = values[i];
            const long double m = std::abs(wide(x));
            const bool replaced = relOp == MOX_LT ? m < thresh : m > thresh;
            if (!replaced) {
              ASSERT_TRUE(sameBits(got[i], x));
            } else if (m == 0) {
              ASSERT_TRUE(sameBits(got[i], T{thresh, x.im}));
            } else {
              expectNear(got[i], wide(x) * (static_cast<long double>(thresh) / m), thresh);
            }
          }
        });
  }
  Reports reports;
  bothForms(
      values, [&](T* v) { Api<T>::inverse1(v, n, thresh); },
      [&](const T* s, T* d) {
        moxSetErrStatus(MOX_StsOk);
        Api<T>::inverse2(s, d, n, thresh);
        moxSetErrStatus(MOX_StsOk);
      },
      [&](const std::vector<T>& got) {
        for (size_t i = 0; i < got.size(); ++i) {
          const T x = values[i];
          const long double m = std::abs(wide(x));
          if (m == 0) {
            ASSERT_EQ(got[i].re, thresh == 0 ? std::numeric_limits<R>::max() : 1 / thresh);
            ASSERT_EQ(got[i].im, 0);
          } else {
            const Wide inverse = Wide{1} / wide(x);
            expectNear(got[i], m > thresh ? inverse : inverse * (m / static_cast<long double>(thresh)),
                       1 / std::max<long double>(m, thresh));
          }
        }
      });
  const bool zeros = std::any_of(values.begin(), values.end(), [](T x) { return x.re == 0 && x.im == 0; });
  EXPECT_EQ(reports.take().size(), zeros && thresh == 0 ? 4u : 0u);
}

TYPED_TEST(ComplexVector, SquaresAndRoots) {
  using T = TypeParam;
  forEachLevel([] {
    for (const int n : kLengths) {
      SCOPED_TRACE(n);
      const std::vector<T> values = samples<T>(static_cast<size_t>(n), 1);
      bothForms(
          values, [&](T* v) { Api<T>::sqr1(v, n); }, [&](const T* s, T* d) { Api<T>::sqr2(s, d, n); },
          [&](const std::vector<T>& got) {
            for (size_t i = 0; i < got.size(); ++i)
              expectNear(got[i], wide(values[i]) * wide(values[i]), std::norm(wide(values[i])));
          });
      expectRoots(values);
    }
  });
}

TYPED_TEST(ComplexVector, Thresholds) {
  using T = TypeParam;
  using R = RealOf<T>;
  forEachLevel([] {
    for (const int n : kLengths) {
      const std::vector<T> values = samples<T>(static_cast<size_t>(n), 2);
      for (const R thresh : {R(0), R(0.5), R(3)}) expectThresholds(values, thresh);
    }
  });
}

// |x| is in the range of float64, |x|^2 is not. Ordinary neighbours come out as they do alone.
TEST(ComplexFloat64, BeyondTheRangeOfSquares) {
  const MoxZ cycle[] = {{3e-200, -4e-200}, {1.7, -2.3},       {0, -0.0},       {3e200, 4e200},
                        {-2e-308, 0},      {1e300, -1e-3},    {-1e160, 1e160}, {0.25, 3.1},
                        {1e-170, 2e-160},  {-1e-140, 1e-160}, {0, 1e-300},     {1e-130, 0}};
  forEachLevel([&] {
    for (size_t n = 1; n < 30; ++n) {
      SCOPED_TRACE(n);
      std::vector<MoxZ> values(n);
      for (size_t i = 0; i < n; ++i) values[i] = cycle[(i + n) % std::size(cycle)];
      expectRoots(values);
      for (const double thresh : {0.0, 1e-190, 2.9, 1e250}) {
        expectThresholds(values, thresh);
        std::vector<MoxZ> together(n);
        moxzbThresh2(values.data(), together.data(), static_cast<int32_t>(n), thresh, MOX_GT);
        for (size_t i = 0; i < n; ++i) {
          MoxZ alone = values[i];
          moxzbThresh1(&alone, 1, thresh, MOX_GT);
          ASSERT_TRUE(sameBits(together[i], alone));
        }
      }
    }
  });
}

TEST(VectorReports, InOrderAndNothingWritten) {
  Reports reports;
  std::vector<std::string> want;
  const auto expect = [&](const std::string& name, std::vector<const char*> conditions) {
    for (const Report& r : reports.all()) EXPECT_EQ(r.file, "moxvec");
    for (const char* c : conditions) want.push_back(name + ": " + c + " (-5)");
    EXPECT_EQ(reports.take(), want);
    want.clear();
  };
  const auto families = [&](auto type, const char* negative) {
    using T = decltype(type);
    using A = Api<T>;
    T* const null = nullptr;
    const std::string prefix = std::string("mox") + A::kLetter + "b";
    A::sqr1(null, 0);
    expect(prefix + "Sqr1", {"len<=0", "vec==0"});
    A::sqr2(null, null, 0);
    expect(prefix + "Sqr2", {"len<=0", "src==0", "dst==0"});
    A::sqrt1(null, 0);
    expect(prefix + "Sqrt1", {"len<=0", "vec==0"});
    A::sqrt2(null, null, -1);
    expect(prefix + "Sqrt2", {"len<=0", "src==0", "dst==0"});
    A::inverse1(null, 0, -1);
    expect(prefix + "InvThresh1", {"len<=0", "vec==0", negative});
    A::inverse2(null, null, 0, -1);
    expect(prefix + "InvThresh2", {"len<=0", "src==0", "dst==0", negative});
    A::thresh1(null, 0, -1, MOX_LT);
    A::thresh2(null, null, 0, -1, MOX_LT);
    for (const char* c : {"len<=0", "vec==0"}) want.push_back(prefix + "Thresh1: " + c + " (-5)");
    if (Traits<T>::complex) want.push_back(prefix + "Thresh1: " + negative + " (-5)");
    for (const char* c : {"len<=0", "src==0", "dst==0"}) want.push_back(prefix + "Thresh2: " + c + " (-5)");
    if (Traits<T>::complex) want.push_back(prefix + "Thresh2: " + negative + " (-5)");
    expect("", {});
    T value = makeValue<T>(3, 3), before = value;
    A::inverse1(&value, 1, -1);
    expect(prefix + "InvThresh1", {negative});
    moxSetErrStatus(MOX_StsNoMem);
    A::sqr1(&value, 1);
    EXPECT_TRUE(sameBits(value, before));
    moxSetErrStatus(MOX_StsOk);
  };
  families(float{}, "thresh<0.0f");
  families(double{}, "thresh<0.0");
  families(MoxC{}, "thresh<0.0f");
  families(MoxZ{}, "thresh<0.0");

  EXPECT_EQ(moxsMean(nullptr, 0) + moxsStdDev(nullptr, 0) + moxsMax(nullptr, 0) + moxsMin(nullptr, 0), 0);
  EXPECT_EQ(moxdMean(nullptr, 0) + moxdStdDev(nullptr, 0) + moxdMax(nullptr, 0) + moxdMin(nullptr, 0), 0);
  EXPECT_EQ(moxwMean(nullptr, 0) + moxwStdDev(nullptr, 0, 4, nullptr) + moxwMax(nullptr, 0) + moxwMin(nullptr, 0), 0);
  for (const char* letter : {"s", "d", "w"}) {
    for (const char* name : {"Mean", "StdDev", "Max", "Min"}) {
      for (const char* c : {"len<=0", "vec==0"})
        want.push_back(std::string("mox") + letter + name + ": " + c + " (-5)");
    }
  }
  expect("", {});
  moxsbAbs1(nullptr, 0);
  moxdbAbs2(nullptr, nullptr, 1);
  moxwbAbs1(nullptr, 1);
  moxwbAbs2(nullptr, nullptr, 1);
  want = {"moxsbAbs1: len<=0 (-5)", "moxsbAbs1: vec==0 (-5)", "moxdbAbs2: src==0 (-5)", "moxdbAbs2: dst==0 (-5)",
          "moxwbAbs1: vec==0 (-5)", "moxwbAbs2: src==0 (-5)", "moxwbAbs2: dst==0 (-5)"};
  expect("", {});
  int16_t w = 5;
  MoxV v = {1, 1};
  moxwbSqr1(&w, 1, MOX_AutoScale, nullptr);
  expect("moxwbSqr1", {"scaleFactor==0"});
  moxvbSqr2(&v, &v, 1, 7, nullptr);
  expect("moxvbSqr2", {"scaleFactor==0"});
  EXPECT_EQ(moxwStdDev(&w, 1, MOX_AutoScale, nullptr), 0);
  expect("moxwStdDev", {"scaleFactor==0"});
  moxvbThresh1(nullptr, 0, -1, MOX_GT);
  moxvbThresh2(&v, &v, 1, -1, MOX_GT);
  moxwbThresh1(&w, 0, -1, MOX_GT);
  moxwbSqrt2(nullptr, &w, 1);
  moxvbSqrt1(nullptr, 1);
  want = {"moxvbThresh1: len<=0 (-5)",   "moxvbThresh1: vec==0 (-5)", "moxvbThresh1: thresh<0 (-5)",
          "moxvbThresh2: thresh<0 (-5)", "moxwbThresh1: len<=0 (-5)", "moxwbSqrt2: src==0 (-5)",
          "moxvbSqrt1: vec==0 (-5)"};
  expect("", {});
  EXPECT_EQ(w, 5);
}

// ---- int16

std::vector<int16_t> every16() {
  std::vector<int16_t> v(65536);
  for (size_t i = 0; i < v.size(); ++i) v[i] = static_cast<int16_t>(static_cast<int>(i) - 32768);
  return v;
}

TEST(Vector16, EveryValue) {
  const std::vector<int16_t> every = every16();
  forEachLevel([&] {
    Reports reports;
    std::vector<int16_t> got = every;
    moxwbSqrt2(every.data(), got.data(), 65536);
    for (size_t i = 0; i < every.size(); ++i) {
      ASSERT_EQ(got[i], every[i] < 0 ? every[i] : static_cast<int>(std::sqrt(static_cast<double>(every[i]))));
    }
    EXPECT_EQ(reports.take(), std::vector<std::string>{"moxwbSqrt2: Element of input vector is negative (-5)"});
    got = every;
    moxwbAbs1(got.data(), 65536);
    for (size_t i = 0; i < every.size(); ++i) ASSERT_EQ(got[i], std::min(std::abs(every[i]), 32767));
    for (const int16_t thresh : {int16_t{-300}, int16_t{0}, int16_t{32767}}) {
      moxwbThresh2(every.data(), got.data(), 65536, thresh, MOX_LT);
      for (size_t i = 0; i < every.size(); ++i) ASSERT_EQ(got[i], std::max(every[i], thresh));
      moxwbThresh2(every.data(), got.data(), 65536, thresh, MOX_GT);
      for (size_t i = 0; i < every.size(); ++i) ASSERT_EQ(got[i], std::min(every[i], thresh));
    }
    struct {
      int32_t mode, factor;
    } const modes[] = {{0, 3}, {1, 3}, {2, 0}, {3, 0}, {2, 4}, {3, 4}, {2, -2}, {3, -2}};
    for (const auto& [mode, given] : modes) {
      int32_t factor = given;
      moxwbSqr2(every.data(), got.data(), 65536, mode, &factor);
      for (size_t i = 0; i < every.size(); ++i) {
        const int64_t square = int64_t{every[i]} * every[i];
        const int f = mode & 2 ? given : 0;
        const int64_t v = f >= 0 ? square >> f : square << -f;
        const int16_t want = mode == 2 ? static_cast<int16_t>(static_cast<uint16_t>(v))
                                       : static_cast<int16_t>(std::min<int64_t>(v, 32767));
        ASSERT_EQ(got[i], want) << every[i] << " mode " << mode << " factor " << f;
      }
    }
    int32_t factor = -1;
    moxwbSqr2(every.data(), got.data(), 65536, MOX_AutoScale, &factor);
    EXPECT_EQ(factor, 16);
    for (size_t i = 0; i < every.size(); ++i) ASSERT_EQ(got[i], int64_t{every[i]} * every[i] >> 16);
    int16_t fits[] = {181, -181};
    moxwbSqr1(fits, 2, MOX_AutoScale, &factor);
    EXPECT_EQ(factor, 0);
    EXPECT_EQ(fits[1], 32761);
  });
}

TEST(Vector16, ComplexForms) {
  MoxV v[] = {{3, 4}, {-3, -4}, {0, -9}, {-32768, -32768}, {100, 0}};
  MoxV root[5], raised[5], lowered[5], square[5];
  moxvbSqrt2(v, root, 5);
  const MoxV roots[] = {{2, 1}, {1, -2}, {2, -2}, {82, -198}, {10, 0}};
  EXPECT_EQ(std::memcmp(root, roots, sizeof roots), 0);
  moxvbThresh2(v, raised, 5, 10, MOX_LT);
  const MoxV up[] = {{6, 8}, {-6, -8}, {0, -10}, {-32768, -32768}, {100, 0}};
  EXPECT_EQ(std::memcmp(raised, up, sizeof up), 0);
  moxvbThresh2(v, lowered, 5, 10, MOX_GT);
  const MoxV down[] = {{3, 4}, {-3, -4}, {0, -9}, {-7, -7}, {10, 0}};
  EXPECT_EQ(std::memcmp(lowered, down, sizeof down), 0);
  MoxV zero = {0, 0};
  moxvbThresh1(&zero, 1, 6, MOX_LT);
  EXPECT_EQ(zero.re, 6);
  EXPECT_EQ(zero.im, 0);
  int32_t factor = 0;
  moxvbSqr2(v, square, 3, MOX_NoScaleSat, nullptr);
  EXPECT_TRUE(sameBits(square[0], MoxV{-7, 24}) && sameBits(square[2], MoxV{-81, 0}));
  moxvbSqr1(v, 5, MOX_AutoScale, &factor);
  EXPECT_EQ(factor, 17);
  EXPECT_TRUE(sameBits(v[3], MoxV{0, 16384}));
}

// A form in place and one with a destination, of int16 or complex int16.
template <class T>
struct Forms16 {
  const char* name;
  void (*one)(T* vec, int32_t n);
  void (*two)(const T* src, T* dst, int32_t n);
};
constexpr Forms16<int16_t> kRealForms[] = {
    {"sqrt",
     [](int16_t* v, int32_t n) {
       moxwbSqrt1(v, n);
       moxSetErrStatus(MOX_StsOk);  // after a negative element
     },
     [](const int16_t* src, int16_t* dst, int32_t n) {
       moxwbSqrt2(src, dst, n);
       moxSetErrStatus(MOX_StsOk);
     }},
    {"abs", moxwbAbs1, moxwbAbs2},
    {"raise", [](int16_t* v, int32_t n) { moxwbThresh1(v, n, -77, MOX_LT); },
     [](const int16_t* src, int16_t* dst, int32_t n) { moxwbThresh2(src, dst, n, -77, MOX_LT); }},
    {"lower", [](int16_t* v, int32_t n) { moxwbThresh1(v, n, 100, 7); },
     [](const int16_t* src, int16_t* dst, int32_t n) { moxwbThresh2(src, dst, n, 100, MOX_GT); }},
    {"square", [](int16_t* v, int32_t n) { moxwbSqr1(v, n, MOX_NoScaleSat, nullptr); },
     [](const int16_t* src, int16_t* dst, int32_t n) { moxwbSqr2(src, dst, n, MOX_NoScaleSat, nullptr); }},
};
constexpr Forms16<MoxV> kComplexForms[] = {
    {"sqrt", moxvbSqrt1, moxvbSqrt2},
    {"raise", [](MoxV* v, int32_t n) { moxvbThresh1(v, n, 20000, MOX_LT); },
     [](const MoxV* src, MoxV* dst, int32_t n) { moxvbThresh2(src, dst, n, 20000, MOX_LT); }},
    {"lower", [](MoxV* v, int32_t n) { moxvbThresh1(v, n, 1000, -1); },
     [](const MoxV* src, MoxV* dst, int32_t n) { moxvbThresh2(src, dst, n, 1000, MOX_GT); }},
    {"square", [](MoxV* v, int32_t n) { moxvbSqr1(v, n, MOX_NoScale, nullptr); },
     [](const MoxV* src, MoxV* dst, int32_t n) { moxvbSqr2(src, dst, n, MOX_NoScale, nullptr); }},
};

template <class T, size_t N>
void expectBothFormsAtEveryLength(const Forms16<T> (&forms)[N]) {
  const Reports reports;  // of negative elements
  for (const Forms16<T>& f : forms) {
    for (size_t n = 1; n < 100; ++n) {
      SCOPED_TRACE(f.name + std::to_string(n));
      std::mt19937 bits(static_cast<uint32_t>(n));
      std::vector<T> values(n);
      std::generate_n(reinterpret_cast<int16_t*>(values.data()), n * sizeof(T) / 2,
                      [&] { return static_cast<int16_t>(static_cast<int16_t>(bits()) >> bits() % 16); });
      std::vector<T> want = values;
      for (T& x : want) f.one(&x, 1);
      for (const Flush flush : {Flush::AtStart, Flush::AtEnd}) {
        Guarded<T> vec(values, flush), src(values, flush), dst(n, flush);
        src.makeReadOnly();
        f.one(vec.data(), static_cast<int32_t>(n));
        f.two(src.data(), dst.data(), static_cast<int32_t>(n));
        ASSERT_TRUE(sameBits(vec.values(), want));
        ASSERT_TRUE(sameBits(dst.values(), want));
      }
    }
  }
}

TEST(Vector16, BothFormsAtEveryLength) {
  forEachLevel([] {
    expectBothFormsAtEveryLength(kRealForms);
    expectBothFormsAtEveryLength(kComplexForms);
  });
}

// Truncated parts: those that are no integers lie further from them than long double errs.
TEST(Vector16, ComplexFormsAgainstLongDouble) {
  std::mt19937 bits(11);
  const int32_t n = 100000, edges[] = {-32768, -32767, -1, 0, 1, 32767};
  std::vector<MoxV> x(n), y(n);
  for (size_t i = 0; i < x.size(); ++i) {
    const auto shifts = bits();
    x[i] = {static_cast<int16_t>(static_cast<int16_t>(bits()) >> shifts % 16),
            static_cast<int16_t>(static_cast<int16_t>(bits()) >> shifts / 16 % 16)};
    if (i < 36) x[i] = {static_cast<int16_t>(edges[i / 6]), static_cast<int16_t>(edges[i % 6])};
  }
  forEachLevel([&] {
    moxvbSqrt2(x.data(), y.data(), n);
    for (size_t i = 0; i < x.size(); ++i) {
      const long double re = x[i].re, im = x[i].im, m = std::sqrt(re * re + im * im);
      const long double toIm = std::sqrt((m - re) / 2);
      ASSERT_EQ(y[i].re, static_cast<int16_t>(std::sqrt((m + re) / 2))) << x[i].re << "," << x[i].im;
      ASSERT_EQ(y[i].im, static_cast<int16_t>(im < 0 ? -toIm : toIm)) << x[i].re << "," << x[i].im;
    }
    for (const auto thresh : std::initializer_list<int16_t>{0, 1, 500, 32767}) {
      for (const int32_t relOp : {MOX_LT, MOX_GT}) {
        SCOPED_TRACE(std::to_string(thresh) + (relOp == MOX_LT ? " <" : " >"));
        moxvbThresh2(x.data(), y.data(), n, thresh, relOp);
        for (size_t i = 0; i < x.size(); ++i) {
          const long double re = x[i].re, im = x[i].im, m = std::sqrt(re * re + im * im);
          const bool scaled = relOp == MOX_LT ? m < thresh : m > thresh;
          const auto expectPart = [&](int16_t got, long double part, bool isReal) {
            const long double v = !scaled ? part : m == 0 ? (isReal ? thresh : 0) : part * thresh / m;
            ASSERT_EQ(got, static_cast<int16_t>(v)) << "part of " << re << "," << im;
          };
          expectPart(y[i].re, re, true);
          expectPart(y[i].im, im, false);
        }
      }
    }
  });
}

TEST(Vector16, Statistics) {
  std::mt19937 bits(3);
  forEachLevel([&] {
    for (const int n : {1, 2, 7, 8, 31, 32, 33, 100, 40000, 100001}) {
      std::vector<int16_t> v(static_cast<size_t>(n));
      const int shift = static_cast<int>(bits() % 12);
      for (int16_t& x : v) x = static_cast<int16_t>(static_cast<int16_t>(bits()) >> shift);
      if (n == 40000) std::fill(v.begin(), v.end(), int16_t{-32768});
      int64_t sum = 0, squares = 0;
      for (const int16_t x : v) {
        sum += x;
        squares += x * x;
      }
      EXPECT_EQ(moxwMean(v.data(), n), sum / n);
      EXPECT_EQ(moxwMax(v.data(), n), *std::max_element(v.begin(), v.end()));
      EXPECT_EQ(moxwMin(v.data(), n), *std::min_element(v.begin(), v.end()));
      const int64_t q = squares / n, r = squares % n;
      int32_t factor = 5;
      EXPECT_EQ(moxwStdDev(v.data(), n, MOX_FixScale, &factor), static_cast<int16_t>(q >> 5));
      EXPECT_EQ(moxwStdDev(v.data(), n, MOX_NoScaleSat, &factor), std::min<int64_t>(q, 32767));
      EXPECT_EQ(moxwStdDev(v.data(), n, MOX_NoScale, nullptr), static_cast<int16_t>(q));
      factor = -3;
      const int16_t up = static_cast<int16_t>(static_cast<int16_t>(q * 8) + static_cast<int32_t>(r * 8) / n);
      EXPECT_EQ(moxwStdDev(v.data(), n, MOX_FixScale, &factor), up);
      EXPECT_EQ(moxwStdDev(v.data(), n, MOX_FixScaleSat, &factor), q > 32767 >> 3 ? 32767 : up);
      const int16_t reduced = moxwStdDev(v.data(), n, MOX_AutoScale, &factor);
      EXPECT_EQ(reduced, q >> factor);
      EXPECT_TRUE(factor == 0 || q >> (factor - 1) > 32767);
    }
  });
}

}  // namespace
