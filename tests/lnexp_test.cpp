#include <cfloat>
#include <cmath>
#include <limits>

#include "tests/support/support.h"

using namespace moxtest;

namespace {

template <class T>
struct Api;
#define MOX_LNEXP_API(letter, type)                  \
  template <>                                        \
  struct Api<type> {                                 \
    static constexpr char kLetter = #letter[0];      \
    static constexpr auto ln1 = mox##letter##bLn1;   \
    static constexpr auto ln2 = mox##letter##bLn2;   \
    static constexpr auto exp1 = mox##letter##bExp1; \
    static constexpr auto exp2 = mox##letter##bExp2; \
  };
MOX_LNEXP_API(s, float)
MOX_LNEXP_API(d, double)

template <class T>
T lnOf(T x) {
  Api<T>::ln1(&x, 1);
  return x;
}
template <class T>
T expOf(T x) {
  Api<T>::exp1(&x, 1);
  return x;
}

template <class T>
class LnExp : public ::testing::Test {};
using Types = ::testing::Types<float, double>;
TYPED_TEST_SUITE(LnExp, Types);

// Error in units in the last place. The reference has 64 bits, or 53 where long double is no wider: enough for float32,
// and one unit more is allowed to float64 there.
template <class T>
double ulps(T got, long double exact) {
  int exponent;
  std::frexp(exact, &exponent);
  exponent = std::max(exponent, std::numeric_limits<T>::min_exponent) - std::numeric_limits<T>::digits;
  return static_cast<double>(std::fabs(std::ldexp(static_cast<long double>(got) - exact, -exponent)));
}
template <class T>
constexpr double kUlps = sizeof(T) == 8 && LDBL_MANT_DIG == DBL_MANT_DIG ? 2 : 1;

// Values that take every path: the whole exponent range, close to 1, subnormal.
template <class T>
std::vector<T> positives(size_t n) {
  using L = std::numeric_limits<T>;
  std::mt19937_64 bits(7);
  const auto uniform = [&] { return static_cast<long double>(bits() >> 11) * 0x1p-53L; };
  std::vector<T> v(n);
  for (size_t i = 0; i < n; ++i) {
    const long double u = uniform();
    const auto spread = [&](int low, int high) { return std::exp2(low + (high - low) * u); };
    v[i] = static_cast<T>(i % 3 == 0   ? spread(L::min_exponent - L::digits, L::max_exponent - 1)
                          : i % 3 == 1 ? 0.5L + 1.5L * u
                                       : 1 + spread(-L::digits, -1) * (i % 2 ? 1 : -1));
  }
  return v;
}

TYPED_TEST(LnExp, WithinOneUnitEverywhere) {
  using T = TypeParam;
  forEachLevel([] {
    const size_t n = 60000;
    const int32_t count = static_cast<int32_t>(n);
    std::vector<T> x = positives<T>(n), y(n);
    Api<T>::ln2(x.data(), y.data(), count);
    for (size_t i = 0; i < n; ++i) {
      ASSERT_LE(ulps(y[i], std::log(static_cast<long double>(x[i]))), kUlps<T>) << "ln " << x[i];
    }
    const long double lowest = std::log(static_cast<long double>(std::numeric_limits<T>::denorm_min())),
                      highest = std::log(static_cast<long double>(std::numeric_limits<T>::max()));
    std::mt19937_64 bits(8);
    for (size_t i = 0; i < n; ++i) {
      const long double u = static_cast<long double>(bits() >> 11) * 0x1p-53L;
      // The last tenth of the range below gives subnormal results.
      x[i] = static_cast<T>(i % 3 == 0   ? lowest + (highest - lowest) * u
                            : i % 3 == 1 ? std::exp2(-60 * u) * (i % 2 ? 1 : -1)
                                         : lowest * (1 - u / 10));
    }
    Api<T>::exp2(x.data(), y.data(), count);
    for (size_t i = 0; i < n; ++i) {
      ASSERT_LE(ulps(y[i], std::exp(static_cast<long double>(x[i]))), kUlps<T>) << "exp " << x[i];
    }
  });
}

TYPED_TEST(LnExp, SpecialValues) {
  using T = TypeParam;
  using L = std::numeric_limits<T>;
  static constexpr T inf = L::infinity(), nan = L::quiet_NaN();
  forEachLevel([] {
    EXPECT_TRUE(sameBits(expOf<T>(0), T{1}));
    EXPECT_TRUE(sameBits(expOf<T>(T(-0.0)), T{1}));
    EXPECT_TRUE(sameBits(lnOf<T>(1), T{0}));
    EXPECT_EQ(expOf(inf), inf);
    EXPECT_TRUE(sameBits(expOf(-inf), T{0}));
    EXPECT_EQ(expOf(L::max()), inf);
    EXPECT_TRUE(sameBits(expOf(L::lowest()), T{0}));
    EXPECT_TRUE(std::isnan(expOf(nan)) && std::isnan(expOf(-nan)));
    EXPECT_EQ(expOf(L::denorm_min()), 1);
    EXPECT_EQ(lnOf<T>(0), -inf);
    EXPECT_EQ(lnOf<T>(T(-0.0)), -inf);
    EXPECT_EQ(lnOf(inf), inf);
    for (const T x : {nan, -nan, -inf, T(-1), L::lowest(), -L::denorm_min()}) EXPECT_TRUE(std::isnan(lnOf(x))) << x;
    // Both ends of the range of results: the last finite one, the first infinite one, the last that is not 0.
    const T top = static_cast<T>(std::log(static_cast<long double>(L::max())));
    EXPECT_TRUE(std::isfinite(expOf(std::nextafter(top, T{0}))));
    EXPECT_EQ(expOf(std::nextafter(std::nextafter(top, inf), inf)), inf);
    const T bottom = static_cast<T>(std::log(static_cast<long double>(L::denorm_min())) - std::log(2.0L));
    EXPECT_EQ(expOf(bottom * (1 - 4 * L::epsilon())), L::denorm_min());
    EXPECT_TRUE(sameBits(expOf(bottom * (1 + 4 * L::epsilon())), T{0}));
  });
}

// What a value becomes depends neither on its place, nor on the length, nor on what stands around it.
TYPED_TEST(LnExp, EveryLengthGivesTheSameBitsAndTouchesOnlyItsArrays) {
  using T = TypeParam;
  using L = std::numeric_limits<T>;
  forEachLevel([] {
    std::vector<T> x = noise<T>(2300, 5);
    for (size_t i = 0; i < x.size(); ++i) x[i] = std::fabs(x[i]) * (i % 5 == 0 ? 80 : 1);
    std::vector<T> ln(x.size()), exp(x.size());
    for (size_t i = 0; i < x.size(); ++i) ln[i] = lnOf(x[i]), exp[i] = expOf(x[i]);
    const auto head = [](const std::vector<T>& v, size_t n) {
      return std::vector<T>(v.begin(), v.begin() + static_cast<ptrdiff_t>(n));
    };
    for (size_t n = 1; n <= x.size(); n += n < 70 ? 1 : 97) {
      for (const Flush flush : {Flush::AtStart, Flush::AtEnd}) {
        SCOPED_TRACE(n);
        const int32_t count = static_cast<int32_t>(n);
        Guarded<T> src(head(x, n), flush), dst(n, flush), vec(head(x, n), flush);
        src.makeReadOnly();
        Api<T>::ln2(src.data(), dst.data(), count);
        EXPECT_TRUE(sameBits(head(ln, n), dst.values()));
        Api<T>::exp2(src.data(), dst.data(), count);
        EXPECT_TRUE(sameBits(head(exp, n), dst.values()));
        Api<T>::ln1(vec.data(), count);
        EXPECT_TRUE(sameBits(head(ln, n), vec.values()));
        // An outlier among the values changes nothing but itself.
        std::vector<T> spoilt = head(x, n), spoiltExp = head(exp, n);
        spoilt[n / 2] = L::max();
        spoiltExp[n / 2] = L::infinity();
        Guarded<T> outlier(spoilt, flush);
        Api<T>::exp1(outlier.data(), count);
        EXPECT_TRUE(sameBits(spoiltExp, outlier.values()));
        spoilt[n / 2] = L::denorm_min();
        std::vector<T> spoiltLn = head(ln, n);
        spoiltLn[n / 2] = lnOf(L::denorm_min());
        Api<T>::ln2(spoilt.data(), dst.data(), count);
        EXPECT_TRUE(sameBits(spoiltLn, dst.values()));
      }
    }
  });
}

TYPED_TEST(LnExp, SetsWithFusedMultiplyAddAgree) {
  using T = TypeParam;
  std::vector<std::vector<T>> results;
  for (const std::string& level : levels()) {
    if (level == "sse2") continue;
    const ForcedLevel forced(level);
    std::vector<T> x = positives<T>(20000);
    Api<T>::ln1(x.data(), 20000);
    results.push_back(x);
    Api<T>::exp1(x.data(), 20000);
    results.push_back(x);
  }
  for (size_t i = 2; i < results.size(); ++i) EXPECT_TRUE(sameBits(results[i % 2], results[i]));
}

TYPED_TEST(LnExp, BadArguments) {
  using T = TypeParam;
  using A = Api<T>;
  const std::string prefix = std::string("mox") + A::kLetter + "b";
  T x = 2, y = 3;
  Reports reports;
  A::ln1(nullptr, 0);
  A::exp1(nullptr, -1);
  A::ln2(nullptr, nullptr, 0);
  A::exp2(nullptr, nullptr, 0);
  A::ln2(&x, nullptr, 1);
  A::exp2(nullptr, &x, 1);
  for (const Report& r : reports.all()) EXPECT_EQ(r.file, "moxlnexp");
  const auto report = [&](const char* text) { return prefix + text + " (-5)"; };
  EXPECT_EQ(reports.take(),
            (std::vector<std::string>{report("Ln1: len<=0"), report("Ln1: vec==0"), report("Exp1: len<=0"),
                                      report("Exp1: vec==0"), report("Ln2: len<=0"), report("Ln2: src==0"),
                                      report("Ln2: dst==0"), report("Exp2: len<=0"), report("Exp2: src==0"),
                                      report("Exp2: dst==0"), report("Ln2: dst==0"), report("Exp2: src==0")}));
  moxSetErrStatus(MOX_StsNoMem);  // sticky
  A::ln1(&x, 1);
  A::exp2(&x, &y, 1);
  EXPECT_EQ(x, 2);
  EXPECT_EQ(y, 3);
}

}  // namespace
