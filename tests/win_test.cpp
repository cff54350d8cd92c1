#include <cmath>
#include <limits>

#include "tests/support/support.h"

using namespace moxtest;

namespace {

using Strings = std::vector<std::string>;

enum Kind { Bartlett, Hann, Hamming, BlackmanStd, BlackmanOpt, Blackman, Kaiser };
struct Window {
  Kind kind;
  float alpha;
};
std::ostream& operator<<(std::ostream& out, const Window& w) { return out << "window " << w.kind << ", " << w.alpha; }

// Elements of type T: parts of type Real, P of them.
template <class T, class Real_, size_t P_>
struct ApiBase {
  using Element = T;
  using Real = Real_;
  static constexpr size_t P = P_;
};
template <class T>
struct Api;
#define MOX_WIN_API(letter, T, Real, P)                                                                         \
  template <>                                                                                                   \
  struct Api<T> : ApiBase<T, Real, P> {                                                                         \
    static constexpr char kLetter = #letter[0];                                                                 \
    static constexpr void (*plain[])(T*, int32_t) = {mox##letter##WinBartlett, mox##letter##WinHann,            \
                                                     mox##letter##WinHamming, mox##letter##WinBlackmanStd,      \
                                                     mox##letter##WinBlackmanOpt};                              \
    static constexpr void (*shaped[])(T*, int32_t, float) = {mox##letter##WinBlackman, mox##letter##WinKaiser}; \
    static void run(Window w, Real* x, int32_t n) {                                                             \
      T* const vec = reinterpret_cast<T*>(x);                                                                   \
      w.kind < Blackman ? plain[w.kind](vec, n) : shaped[w.kind - Blackman](vec, n, w.alpha);                   \
    }                                                                                                           \
  };
MOX_WIN_API(s, float, float, 1)
MOX_WIN_API(d, double, double, 1)
MOX_WIN_API(c, MoxC, float, 2)
MOX_WIN_API(z, MoxZ, double, 2)
MOX_WIN_API(w, int16_t, int16_t, 1)
MOX_WIN_API(v, MoxV, int16_t, 2)

template <class T>
class Windows : public ::testing::Test {};
using Types = ::testing::Types<float, double, MoxC, MoxZ, int16_t, MoxV>;
TYPED_TEST_SUITE(Windows, Types);

constexpr long double kPi = 3.14159265358979323846264338327950288L;

long double bessel(long double x) {
  static constexpr double small[] = {1, 3.5156229, 3.0899424, 1.2067492, 0.2659732, 0.0360768, 0.0045813};
  static constexpr double large[] = {0.39894228,  0.01328592, 0.00225319,  -0.00157565, 0.00916281,
                                     -0.02057706, 0.02635537, -0.01647633, 0.00392377};
  const auto sum = [](auto& c, long double y) {
    long double s = 0;
    for (size_t i = std::size(c); i-- > 0;) s = s * y + c[i];
    return s;
  };
  return x < 3.75L ? sum(small, (x / 3.75L) * (x / 3.75L)) : std::exp(x) / std::sqrt(x) * sum(large, 3.75L / x);
}

long double weight(Window w, int32_t i, int32_t n) {
  const long double last = n - 1, c = std::cos(2 * kPi * i / last);
  const auto blackman = [&](long double alpha) { return (alpha + 1) / 2 - c / 2 - alpha / 2 * (2 * c * c - 1); };
  switch (w.kind) {
    case Bartlett:
      return 2 * i / last;
    case Hann:
      return 0.5L * (1 - c);
    case Hamming:
      return 0.54L - 0.46L * c;
    case BlackmanStd:
      return blackman(-0.16f);
    case BlackmanOpt: {
      const double angle = 3.141592653589793 / (n - 1);
      const double ratio = static_cast<double>(std::sin(static_cast<long double>(angle)) /
                                               std::sin(2 * static_cast<long double>(angle)));
      return blackman(static_cast<float>(-(ratio * ratio)));
    }
    case Blackman:
      return blackman(w.alpha);
    default:
      return bessel(w.alpha * std::sqrt(static_cast<long double>(i) * (n - 1 - i))) / bessel(w.alpha * last / 2);
  }
}

// How far a float64 weight may be off: by its cosine's 2^-51 and a few roundings, or by the rounding of the argument
// of an exponential.
long double slack(Window w, int32_t n) {
  if (w.kind == Kaiser) return (std::fabs(w.alpha) * static_cast<float>(n) + 20) * 0x1p-53L;
  return (2 + 8 * std::fabs(w.kind == Blackman ? w.alpha : 0)) * 0x1p-51L;
}

template <class R>
std::vector<R> samples(size_t n) {
  std::mt19937 bits(11);
  std::vector<R> v(n);
  for (R& x : v) {
    const int32_t word = static_cast<int32_t>(bits());
    x = std::is_same_v<R, int16_t> ? static_cast<R>(word >> 16) : static_cast<R>(word * 0x1p-31);
  }
  return v;
}

template <class R>
::testing::AssertionResult matches(R found, R x, long double w, long double off, bool twice) {
  const long double reach = std::fabs(static_cast<long double>(x)) * off * (twice ? 3 : 1);
  const auto once = [&](long double v) {
    return std::is_same_v<R, int16_t> ? std::trunc(v) : static_cast<long double>(static_cast<R>(v));
  };
  // Rounding is monotonic: the result lies between those of both ends.
  const auto end = [&](long double sign) {
    const long double v = x * w + sign * reach;
    return twice ? once(once(v) * w + sign * reach) : once(v);
  };
  const long double a = end(-1), b = end(1);
  if (std::min(a, b) <= found && found <= std::max(a, b)) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << +found << " is not in " << a << " ... " << b;
}

std::vector<Window> windowsOf(int32_t n) {
  std::vector<Window> all = {{Bartlett, 0},    {Hann, 0},         {Hamming, 0},
                             {BlackmanStd, 0}, {Blackman, -0.3f}, {Blackman, 0.25f}};
  if (n > 3) all.push_back({BlackmanOpt, 0});  // where the ratio of sines is not one of roundings
  for (const float beta : {0.0f, 2.0f, 8.5f, 300.0f}) all.push_back({Kaiser, 2 * beta / static_cast<float>(n - 1)});
  return all;
}

// Lengths around the vectors, the arcs of 32 and the stretches of 256 weights.
TYPED_TEST(Windows, FollowTheFormulaAtEveryLength) {
  using A = Api<TypeParam>;
  using R = typename A::Real;
  std::vector<int32_t> lengths = {127, 128, 129, 511, 512, 513, 514, 515, 1023, 1025, 4100, 30001};
  for (int32_t n = 3; n < 70; ++n) lengths.push_back(n);
  for (const int32_t n : lengths) {
    const auto x = samples<R>(static_cast<size_t>(n) * A::P);
    for (const Window w : windowsOf(n)) {
      SCOPED_TRACE(::testing::Message() << w << ", n " << n);
      std::vector<R> first;
      std::vector<long double> weights;
      for (int32_t i = 0; i < (n + 1) / 2; ++i) weights.push_back(weight(w, i, n));
      forEachLevel([&] {
        const Flush flush = n % 2 ? Flush::AtStart : Flush::AtEnd;
        const Guarded<R> vec(x, flush);
        A::run(w, vec.data(), n);
        if (first.empty()) {
          first = vec.values();
        } else if (w.kind != Kaiser) {
          ASSERT_TRUE(sameBits(first, vec.values()));
        }
        const long double off = slack(w, n);
        for (int32_t i = 0; i < n; ++i) {
          const int32_t k = std::min(i, n - 1 - i);
          for (size_t p = 0; p < A::P; ++p) {
            const size_t at = static_cast<size_t>(i) * A::P + p;
            ASSERT_TRUE(matches(vec[at], x[at], weights[static_cast<size_t>(k)], off, 2 * k == n - 1))
                << "element " << i;
          }
        }
      });
    }
  }
}

template <class R>
std::vector<R> applied(void (*window)(R*, int32_t), std::vector<R> x) {
  window(x.data(), static_cast<int32_t>(x.size()));
  return x;
}

// Exact weights stay exact, and an int16 product that is an integer is not truncated below it.
TEST(WindowsKnown, SmallOnes) {
  using F = std::vector<float>;
  using W = std::vector<int16_t>;
  forEachLevel([] {
    EXPECT_EQ(applied(moxsWinBartlett, {1, 1, 1, 1, 1}), (F{0, 0.5f, 1, 0.5f, 0}));
    EXPECT_EQ(applied(moxsWinBartlett, {1, 1, 1, 1}), (F{0, 2.0f / 3, 2.0f / 3, 0}));
    EXPECT_EQ(applied(moxsWinHann, {1, 1, 1}), (F{0, 1, 0}));
    EXPECT_EQ(applied(moxsWinHamming, {1, 1, 1}), (F{0.08f, 1, 0.08f}));
    EXPECT_EQ(applied(moxwWinBartlett, {7, 7, 7, 7}), (W{0, 4, 4, 0}));
    EXPECT_EQ(applied(moxwWinBartlett, {-7, -7, -7, -7}), (W{0, -4, -4, 0}));
    EXPECT_EQ(applied(moxwWinHann, {100, 100, 100}), (W{0, 100, 0}));
    EXPECT_EQ(applied(moxwWinHann, {100, 100, 100, 100, 100}), (W{0, 50, 100, 50, 0}));
    // 49 times 1/49 falls short of 1, twice.
    std::vector<double> ones(99, 1);
    EXPECT_EQ(applied(moxdWinBartlett, ones)[49], 1 - 0x1p-52);
    EXPECT_EQ(applied(moxwWinBartlett, W(99, 100))[49], 98);
    // Kaiser windows with 0 are none; Blackman weights may leave the range, 16 bits stay.
    F x = noise<float>(77), y = x;
    moxsWinKaiser(y.data(), 77, 0);
    EXPECT_EQ(x, y);
    W big(5, 30000);
    moxwWinBlackman(big.data(), 5, 1.5f);  // weights 0, 2, 1
    EXPECT_EQ(big, (W{0, static_cast<int16_t>(60000 - 65536), 30000, static_cast<int16_t>(60000 - 65536), 0}));
    // With three elements the cosine of a quarter turn is what float64 makes of it: alpha beyond 10^31.
    F three = {1, 1, 1};
    moxsWinBlackmanOpt(three.data(), 3);
    EXPECT_EQ(three, (F{0, 0, 0}));
  });
}

TYPED_TEST(Windows, BadArguments) {
  using T = TypeParam;
  using A = Api<T>;
  using R = typename A::Real;
  const std::vector<R> x = samples<R>(101 * A::P);
  std::vector<R> y = x;
  T* const vec = reinterpret_cast<T*>(y.data());
  Reports reports;
  Strings expected;
  for (const Window w : windowsOf(101)) {
    const char* const names[] = {"Bartlett", "Hann", "Hamming", "Blackman", "Blackman", "Blackman", "Kaiser"};
    const std::string name = std::string("mox") + A::kLetter + "Win" + names[w.kind];
    A::run(w, nullptr, 1);
    A::run(w, y.data(), 2);
    expected.push_back(name + ": Null pointer to buffer (-5)");
    expected.push_back(name + ": Bad number of items (-5)");
  }
  A::shaped[1](vec, 101, 6.17f);
  expected.push_back(std::string("mox") + A::kLetter + "WinKaiser: Huge window parameter (-5)");
  for (const Report& r : reports.all()) EXPECT_EQ(r.file, "moxwin");
  EXPECT_EQ(reports.take(), expected);
  moxSetErrStatus(MOX_StsNoMem);  // sticky
  for (const Window w : windowsOf(101)) A::run(w, y.data(), 101);
  EXPECT_TRUE(sameBits(x, y));
  moxSetErrStatus(MOX_StsOk);
  A::shaped[1](vec, 101, 6.16f);
  EXPECT_EQ(reports.take(), Strings());
  EXPECT_FALSE(sameBits(x, y));
}

}  // namespace
