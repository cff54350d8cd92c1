// The elementary kernels that are not exported on their own: sine and cosine, phase, magnitude, polar form.
#include <cmath>
#include <limits>

#include "kernel/kernels.h"
#include "kernel/roots.h"
#include "tests/support/support.h"

using namespace moxtest;

namespace {

template <class T>
const mox::kernel::Elementary<T>& elementary() {
  if constexpr (sizeof(T) == 4) {
    return mox::kernel::active->elementary32;
  } else {
    return mox::kernel::active->elementary64;
  }
}

template <class T>
struct Two {
  T a, b;
};
template <class T>
Two<T> sinCos(T x) {
  Two<T> r;
  elementary<T>().sinCos(&x, &r.a, &r.b, 1);
  return r;
}
template <class T>
T phase(T re, T im) {
  T r;
  elementary<T>().phase(&re, &im, &r, 1);
  return r;
}
template <class T>
T magnitude(T re, T im) {
  T r;
  elementary<T>().magnitude(&re, &im, &r, 1);
  return r;
}

// Units in the last place; what long double cannot tell apart from float64 (64 or 53 bits) is forgiven.
template <class T>
double ulps(T got, long double exact) {
  int exponent;
  std::frexp(exact, &exponent);
  exponent = std::max(exponent, std::numeric_limits<T>::min_exponent) - std::numeric_limits<T>::digits;
  return static_cast<double>(std::fabs(std::ldexp(static_cast<long double>(got) - exact, -exponent)));
}
template <class T>
const double kSlack = sizeof(T) == 8 ? std::ldexp(1.0, 54 - std::numeric_limits<long double>::digits) : 0;

// Sine and cosine in extended precision. The Windows runtime leaves them to the x87 unit, whose pi has 66 bits:
// 3485.58... is off by two units of a double. There the sines of the tables serve, whose series shares nothing with the
// kernels.
#if defined(_WIN32)
long double sumOf(mox::kernel::DoubleDouble x) { return static_cast<long double>(x.hi) + x.lo; }
long double exactSin(double x) { return sumOf(mox::kernel::sinCos({x, 0}).sin); }
long double exactCos(double x) { return sumOf(mox::kernel::sinCos({x, 0}).cos); }
#else
long double exactSin(double x) { return std::sin(static_cast<long double>(x)); }
long double exactCos(double x) { return std::cos(static_cast<long double>(x)); }
#endif

// Pairs of the same size, of far different size, next to the diagonals and of any exponent.
template <class T>
std::vector<Two<T>> pairs(size_t n) {
  using L = std::numeric_limits<T>;
  std::mt19937_64 bits(3);
  const auto uniform = [&] { return static_cast<double>(bits() >> 11) * 0x1p-53; };
  const auto sign = [&](double v) { return bits() & 1 ? v : -v; };
  std::vector<Two<T>> v(n);
  for (size_t i = 0; i < n; ++i) {
    const double x = uniform(), low = L::min_exponent - L::digits, high = L::max_exponent - 1;
    const auto any = [&] { return std::exp2(low + (high - low) * uniform()); };
    const double y = i % 4 == 0   ? uniform()
                     : i % 4 == 1 ? x * std::exp2(60 * uniform() - 30)
                     : i % 4 == 2 ? x * (bits() & 1 ? 1 : 0.5) * (1 + std::exp2(-L::digits * uniform()))
                                  : any();
    v[i] = {static_cast<T>(sign(i % 4 == 3 ? any() : x)), static_cast<T>(sign(y))};
  }
  return v;
}

template <class T>
class Elementary : public ::testing::Test {};
using Types = ::testing::Types<float, double>;
TYPED_TEST_SUITE(Elementary, Types);

TYPED_TEST(Elementary, WithinOneUnit) {
  using T = TypeParam;
  forEachLevel([] {
    const size_t n = 40000;
    for (const T range : {T(1e-3), T(10), T(8000)}) {
      std::vector<T> x = noise<T>(n, 11), s(n), c(n);
      for (T& v : x) v *= range;
      elementary<T>().sinCos(x.data(), s.data(), c.data(), n);
      for (size_t i = 0; i < n; ++i) {
        const long double sine = exactSin(x[i]), cosine = exactCos(x[i]);
        // Extended precision of some systems loses its last bits where the result is small.
        if (std::fabs(sine) > 1e-3L * range) {
          ASSERT_LE(ulps(s[i], sine), 1 + 64 * kSlack<T>) << "sin " << x[i];
        }
        if (std::fabs(cosine) > 1e-3L) {
          ASSERT_LE(ulps(c[i], cosine), 1 + 64 * kSlack<T>) << "cos " << x[i];
        }
      }
    }
    for (const Two<T> v : pairs<T>(n)) {
      const long double re = v.a, im = v.b;
      ASSERT_LE(ulps(phase(v.a, v.b), std::atan2(im, re)), 1 + kSlack<T>) << v.a << " " << v.b;
      const long double exact = std::hypot(re, im);
      if (exact <= std::numeric_limits<T>::max()) {
        ASSERT_LE(ulps(magnitude(v.a, v.b), exact), 1 + kSlack<T>) << v.a << " " << v.b;
      } else {
        ASSERT_EQ(magnitude(v.a, v.b), std::numeric_limits<T>::infinity());
      }
      if constexpr (sizeof(T) == 4) {  // what float64 gives, rounded once
        const double wide = std::sqrt(double{v.a} * v.a + double{v.b} * v.b);
        ASSERT_TRUE(sameBits(magnitude(v.a, v.b), static_cast<float>(wide))) << v.a << " " << v.b;
      }
    }
  });
}

// Large arguments, multiples of pi/2 and their neighbours among them; sine and cosine from MPFR.
TYPED_TEST(Elementary, HardArguments) {
  using T = TypeParam;
  const double table[][3] = {{0x1.6ac5b262ca1ffp+849, 0x1p+0, -0x1.14ae72e6ba22fp-61},
                             {0x1.0f0cf064dd592p+73, -0x1.b453ab76bf397p-1, 0x1.0be2cef01c8f4p-1},
                             {0x1.fffffffffffffp+1023, 0x1.452fc98b34e97p-8, -0x1.fffe62ecfab75p-1},
                             {0x1.921fb54442d18p+0, 0x1p+0, 0x1.1a62633145c07p-54},
                             {0x1.fffffffffffffp+19, 0x1.526ccb2de52a8p-2, 0x1.e33ada9352c61p-1},
                             {0x1.7f7ec53a8d491p+20, -0x1.eacd7c60e9693p-34, 0x1p+0},
                             {0x1.63p+8, -0x1.f9bd0307d1de3p-16, -0x1.fffffffc18e4cp-1},
                             {0x1.f9cbe2p+95, 0x1.d1ac28dd0a22dp-1, -0x1.a9a4c4ae96822p-2},
                             {0x1.fffffep+127, -0x1.0b33665089575p-1, 0x1.b4bf2c79bdfcep-1},
                             {0x1.0004p+13, -0x1.65c1cd5a1c02dp-1, 0x1.6e452f825d183p-1},
                             {0x1.921fb6p+0, 0x1.ffffffffffff7p-1, -0x1.777a5cf72ceccp-25},
                             {0x1.fffffp+12, -0x1.ea247c47686fbp-1, 0x1.280088b9bd766p-2}};
  forEachLevel([&] {
    int tried = 0;
    for (const auto& [x, sine, cosine] : table) {
      const T argument = static_cast<T>(x);
      if (static_cast<double>(argument) != x) continue;
      ++tried;
      for (const T sign : {T(1), T(-1)}) {
        const Two<T> r = sinCos(sign * argument);
        EXPECT_LE(ulps(sign * r.a, sine), 1) << x;
        EXPECT_LE(ulps(r.b, cosine), 1) << x;
      }
    }
    EXPECT_GE(tried, 6);
  });
}

TYPED_TEST(Elementary, SpecialValues) {
  using T = TypeParam;
  using L = std::numeric_limits<T>;
  static constexpr T inf = L::infinity(), nan = L::quiet_NaN(), zero = 0, tiny = L::denorm_min(), huge = L::max();
  static constexpr T pi = static_cast<T>(3.14159265358979323846L);
  forEachLevel([] {
    EXPECT_TRUE(sameBits(sinCos(zero).a, zero) && sameBits(sinCos(-zero).a, -zero) && sinCos(-zero).b == 1);
    EXPECT_TRUE(sameBits(sinCos(-tiny).a, -tiny));
    for (const T x : {inf, -inf, nan}) EXPECT_TRUE(std::isnan(sinCos(x).a) && std::isnan(sinCos(x).b)) << x;

    struct {
      T re, im, want;
    } const phases[] = {
        {zero, zero, 0},        {-zero, zero, 0},       {-zero, -zero, 0},     {1, -zero, 0},
        {-3, zero, pi},         {-3, -zero, pi},        {-huge, -tiny, -pi},   {-tiny, tiny, pi * T(0.75)},
        {-tiny, zero, pi},      {zero, -tiny, -pi / 2}, {-zero, huge, pi / 2}, {5, 5, pi / 4},
        {huge, -huge, -pi / 4}, {tiny, huge, pi / 2},   {huge, tiny, 0},       {inf, -5, 0},
        {-inf, 5, pi},          {7, -inf, -pi / 2},     {inf, inf, pi / 4},    {-inf, -inf, pi * T(-0.75)}};
    for (const auto& p : phases) EXPECT_EQ(phase(p.re, p.im), p.want) << p.re << " " << p.im;
    EXPECT_TRUE(std::isnan(phase(nan, T(1))) && std::isnan(phase(zero, nan)) && std::isnan(phase(inf, nan)));

    EXPECT_TRUE(sameBits(magnitude(-zero, zero), zero));
    EXPECT_EQ(magnitude(T(-3), zero), 3);
    EXPECT_EQ(magnitude(tiny, zero), tiny);
    EXPECT_EQ(magnitude(huge, zero), huge);
    EXPECT_EQ(magnitude(3 * tiny, -4 * tiny), 5 * tiny);
    EXPECT_EQ(magnitude(L::min() * 3, L::min() * 4), L::min() * 5);
    EXPECT_EQ(magnitude(std::ldexp(T(3), L::max_exponent - 4), std::ldexp(T(4), L::max_exponent - 4)),
              std::ldexp(T(5), L::max_exponent - 4));
    EXPECT_EQ(magnitude(huge, huge), inf);
    EXPECT_EQ(magnitude(T(1), -inf), inf);
    EXPECT_TRUE(std::isnan(magnitude(nan, T(1))) && std::isnan(magnitude(inf, nan)));
  });
}

// All forms of one function, at every length, on arrays that end or begin at an unmapped page, in place or not, give
// the bits of single calls, whatever stands around a value.
TYPED_TEST(Elementary, LayoutsLengthsAndNeighboursDoNotMatter) {
  using T = TypeParam;
  using L = std::numeric_limits<T>;
  using C = std::conditional_t<sizeof(T) == 4, MoxC, MoxZ>;
  forEachLevel([] {
    const auto& k = elementary<T>();
    for (const bool outliers : {false, true}) {
      const size_t most = 2200;
      std::vector<T> re = noise<T>(most, 21), im = noise<T>(most, 22);
      for (size_t i = 0; i < most; ++i) re[i] *= i % 3 ? 1 : 100;
      if (outliers) {
        const T odd[] = {L::infinity(), L::quiet_NaN(), L::max(), L::denorm_min(), -L::infinity(), 0, T(-1e30)};
        for (size_t i = 0; i < most; ++i) (i % 2 ? re : im)[i] = i % 11 < 2 ? odd[i % 7] : im[i];
      }
      std::vector<T> sine(most), cosine(most), mag(most), arg(most), x(most), y(most);
      std::vector<C> z(most), cartesian(most);
      for (size_t i = 0; i < most; ++i) {
        z[i] = {re[i], im[i]};
        const Two<T> v = sinCos(im[i]);
        sine[i] = v.a, cosine[i] = v.b, mag[i] = magnitude(re[i], im[i]), arg[i] = phase(re[i], im[i]);
        k.toCartesian(&re[i], &im[i], &x[i], &y[i], 1);
        cartesian[i] = {x[i], y[i]};
        if (!outliers) {
          ASSERT_LE(ulps(x[i], static_cast<long double>(re[i]) * std::cos(static_cast<long double>(im[i]))), 1.5);
          ASSERT_LE(ulps(y[i], static_cast<long double>(re[i]) * std::sin(static_cast<long double>(im[i]))), 1.5);
        }
      }
      for (size_t n = 1; n <= most; n += n < 70 ? 1 : 179) {
        for (const Flush flush : {Flush::AtStart, Flush::AtEnd}) {
          SCOPED_TRACE(n);
          const auto head = [n](const auto& v) {
            return std::remove_cvref_t<decltype(v)>(v.begin(), v.begin() + static_cast<ptrdiff_t>(n));
          };
          Guarded<T> a(head(re), flush), b(head(im), flush), p(n, flush), q(n, flush);
          Guarded<C> c(head(z), flush), d(n, flush);
          a.makeReadOnly();
          b.makeReadOnly();
          c.makeReadOnly();
          const T* const pairsIn = reinterpret_cast<const T*>(c.data());
          const auto expect = [&](const std::vector<T>& first, const std::vector<T>& second, const char* name) {
            EXPECT_TRUE(sameBits(head(first), p.values()) && sameBits(head(second), q.values())) << name;
          };
          k.sinCos(b.data(), p.data(), q.data(), n);
          expect(sine, cosine, "sinCos");
          k.magnitude(a.data(), b.data(), p.data(), n);
          k.phase(a.data(), b.data(), q.data(), n);
          expect(mag, arg, "two arrays");
          k.magnitudeComplex(pairsIn, q.data(), n);
          k.phaseComplex(pairsIn, p.data(), n);
          expect(arg, mag, "interleaved");
          k.toPolar(a.data(), b.data(), p.data(), q.data(), n);
          expect(mag, arg, "toPolar");
          k.toPolarComplex(pairsIn, q.data(), p.data(), n);
          expect(arg, mag, "toPolarComplex");
          k.toCartesian(a.data(), b.data(), p.data(), q.data(), n);
          expect(x, y, "toCartesian");
          k.toCartesianComplex(a.data(), b.data(), reinterpret_cast<T*>(d.data()), n);
          EXPECT_TRUE(sameBits(head(cartesian), d.values()));
          Guarded<T> inA(head(re), flush), inB(head(im), flush);
          k.toPolar(inA.data(), inB.data(), inA.data(), inB.data(), n);
          EXPECT_TRUE(sameBits(head(mag), inA.values()) && sameBits(head(arg), inB.values())) << "toPolar in place";
          Guarded<T> inM(head(re), flush), inP(head(im), flush);
          k.toCartesian(inM.data(), inP.data(), inM.data(), inP.data(), n);
          EXPECT_TRUE(sameBits(head(x), inM.values()) && sameBits(head(y), inP.values())) << "toCartesian in place";
        }
      }
    }
  });
}

TYPED_TEST(Elementary, SetsAgree) {
  using T = TypeParam;
  const std::vector<Two<T>> v = pairs<T>(20000);
  std::vector<std::vector<T>> magnitudes, others;
  for (const std::string& level : levels()) {
    const ForcedLevel forced(level);
    std::vector<T> lengths, rest;
    for (const Two<T> z : v) {
      lengths.push_back(magnitude(z.a, z.b));
      const Two<T> s = sinCos(z.a);
      for (const T value : {phase(z.a, z.b), s.a, s.b}) rest.push_back(value);
    }
    magnitudes.push_back(lengths);
    if (level != "sse2") others.push_back(rest);
  }
  for (const auto& other : magnitudes) EXPECT_TRUE(sameBits(magnitudes[0], other));
  for (const auto& other : others) EXPECT_TRUE(sameBits(others[0], other));
}

}  // namespace

// Two evaluations of different length, whose results must not differ where a value is near a boundary of rounding or an
// angle near a multiple of a quarter turn.
TEST(Roots, SinCosNearestIsTheLongerEvaluationRounded) {
  using mox::kernel::DoubleDouble;
  std::mt19937_64 bits(20);
  std::uniform_real_distribution<double> angles(-7, 7), tinies(-60, -1);
  for (int i = 0; i < 200000; ++i) {
    double x = angles(bits);
    const double tiny = std::exp2(tinies(bits));
    if (i % 4 == 1) x *= tiny;
    if (i % 4 == 2) x = std::nearbyint(x / 1.5707963267948966) * 1.5707963267948966 + x * tiny;
    if (i % 4 == 3) x *= 1e8;
    const DoubleDouble angle = {x, x * 0x1p-55};
    const mox::kernel::SinCos exact = mox::kernel::sinCos(angle);
    const mox::kernel::SinCosNearest near = mox::kernel::sinCosNearest(angle);
    ASSERT_EQ(exact.sin.hi, near.sin) << x;
    ASSERT_EQ(exact.cos.hi, near.cos) << x;
  }
}
