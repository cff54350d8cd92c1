#include <cfloat>
#include <cmath>
#include <limits>
#if defined(__SSE2__)
#  include <emmintrin.h>
#endif

#include "tests/support/support.h"

using namespace moxtest;

namespace {

template <class T>
struct Api;
#define MOX_CONVERT_API(s, c, Real, Complex)                        \
  template <>                                                       \
  struct Api<Real> {                                                \
    using C = Complex;                                              \
    static constexpr char kReal = #s[0], kComplex = #c[0];          \
    static constexpr auto floatToInt = mox##s##bFloatToInt;         \
    static constexpr auto intToFloat = mox##s##bIntToFloat;         \
    static constexpr auto floatToFix = mox##s##bFloatToFix;         \
    static constexpr auto fixToFloat = mox##s##bFixToFloat;         \
    static constexpr auto floatToS7 = mox##s##bFloatToS7Fix;        \
    static constexpr auto floatToS15 = mox##s##bFloatToS15Fix;      \
    static constexpr auto floatToS31 = mox##s##bFloatToS31Fix;      \
    static constexpr auto floatToS1516 = mox##s##bFloatToS1516Fix;  \
    static constexpr auto s7ToFloat = mox##s##bS7FixToFloat;        \
    static constexpr auto s15ToFloat = mox##s##bS15FixToFloat;      \
    static constexpr auto s31ToFloat = mox##s##bS31FixToFloat;      \
    static constexpr auto s1516ToFloat = mox##s##bS1516FixToFloat;  \
    static constexpr auto toPolar = mox##c##bCartToPolar;           \
    static constexpr auto partsToPolar = mox##s##brCartToPolar;     \
    static constexpr auto toCartesian = mox##c##bPolarToCart;       \
    static constexpr auto partsToCartesian = mox##s##brPolarToCart; \
    static constexpr auto magnitude = mox##c##bMag;                 \
    static constexpr auto magnitudeOfParts = mox##s##brMag;         \
    static constexpr auto phase = mox##c##bPhase;                   \
    static constexpr auto phaseOfParts = mox##s##brPhase;           \
  };
MOX_CONVERT_API(s, c, float, MoxC)
MOX_CONVERT_API(d, z, double, MoxZ)

template <class C>
struct Parts;
#define MOX_PARTS_API(c, Complex, Part)                 \
  template <>                                           \
  struct Parts<Complex> {                               \
    using R = Part;                                     \
    static constexpr char kLetter = #c[0];              \
    static constexpr auto real = mox##c##bReal;         \
    static constexpr auto imag = mox##c##bImag;         \
    static constexpr auto split = mox##c##bCplxTo2Real; \
    static constexpr auto join = mox##c##b2RealToCplx;  \
  };
MOX_PARTS_API(c, MoxC, float)
MOX_PARTS_API(z, MoxZ, double)
MOX_PARTS_API(v, MoxV, int16_t)

constexpr int32_t kRoundings[] = {MOX_RoundNearest, MOX_RoundZero, MOX_RoundDown, MOX_RoundUp};

// ---- the rule, one element at a time

struct Format {
  int32_t bits;
  bool isUnsigned;
  double low() const { return isUnsigned ? 0 : -std::ldexp(1.0, bits - 1); }
  double high() const { return std::ldexp(1.0, isUnsigned ? bits : bits - 1) - 1; }
  int32_t flag() const { return isUnsigned ? MOX_UnsignedInt : 0; }
};
constexpr Format kFormats[] = {{8, false}, {8, true}, {16, false}, {16, true}, {32, false}, {32, true}};

double rounded(double y, int32_t rounding) {
  const double down = std::floor(y);
  switch (rounding) {
    case MOX_RoundZero:
      return std::trunc(y);
    case MOX_RoundDown:
      return down;
    case MOX_RoundUp:
      return std::ceil(y);
    default:
      return y - down > 0.5 || (y - down == 0.5 && std::fmod(down, 2) != 0) ? down + 1 : down;
  }
}
bool inRange(double y, const Format& f, int32_t rounding) {
  const double half = rounding == MOX_RoundNearest ? 0.5 : 1;
  const bool above = rounding == MOX_RoundDown ? y >= f.low() : y > f.low() - half;
  return above && (rounding == MOX_RoundUp ? y <= f.high() : y < f.high() + half);
}

// The element's bits after a call on x * 2^fraction where `before` stood, and the report, or "".
struct Outcome {
  uint32_t bits;
  std::string report;
};
Outcome expected(double x, const Format& f, int32_t fraction, int32_t flags, uint32_t before, const char* exceeds) {
  const double y = std::ldexp(x, fraction);
  const int32_t rounding = flags & 0x780;
  const uint32_t mask = f.bits == 32 ? 0xffffffff : (1u << f.bits) - 1;
  const auto bits = [&](double v) { return static_cast<uint32_t>(static_cast<int64_t>(v)) & mask; };
  if (inRange(y, f, rounding)) return {bits(rounded(y, rounding)), ""};
  const uint32_t value = flags & MOX_Saturate ? bits(y > 0 ? f.high() : f.low()) : before & mask;
  if (!(flags & MOX_OverflowError)) return {value, ""};
  return {value, f.isUnsigned && x < 0 ? "A negative float cannot be converted to unsigned" : exceeds};
}

uint32_t elementAt(const void* array, size_t i, int32_t bits) {
  uint32_t value = 0;
  const size_t size = static_cast<size_t>(bits) / 8;
  std::memcpy(&value, static_cast<const char*>(array) + i * size, size);
  return value;
}

// Values around everything that a format and a rounding could mistake, times 2^-fraction, among ordinary ones.
template <class T>
std::vector<T> criticalValues(const Format& f, int32_t fraction) {
  using L = std::numeric_limits<T>;
  std::vector<T> values = {L::infinity(),   -L::infinity(),   L::quiet_NaN(),
                           -L::quiet_NaN(), L::max(),         L::lowest(),
                           L::denorm_min(), -L::denorm_min(), 0,
                           T(-0.0)};
  std::vector<double> marks = {0,       0.5,      1,      1.5,    2.5,    3.5,    8388607.5,
                               8388609, 16777215, 0x1p30, 0x1p31, 0x1p32, 0x1p33, 1e15};
  for (const double end : {f.low(), f.high(), (f.low() + f.high()) / 2}) {
    for (const double off : {-1.5, -1.0, -0.5, 0.0, 0.5, 1.0, 1.5}) marks.push_back(end + off);
  }
  for (const double mark : marks) {
    for (const double sign : {1.0, -1.0}) {
      T x = static_cast<T>(std::ldexp(sign * mark, -fraction));
      values.push_back(x);
      for (int step = 0; step < 2; ++step) values.push_back(x = std::nextafter(x, L::infinity()));
      x = static_cast<T>(std::ldexp(sign * mark, -fraction));
      for (int step = 0; step < 2; ++step) values.push_back(x = std::nextafter(x, -L::infinity()));
    }
  }
  std::mt19937 bits(static_cast<uint32_t>(f.bits + fraction));
  const auto uniform = [&] { return static_cast<double>(bits()) / 4294967296.0; };
  for (int i = 0; i < 400; ++i) {
    const double size = i % 3 == 0 ? f.high() - f.low() : i % 3 == 1 ? 8 : std::exp2(34 * uniform());
    double y = (uniform() - 0.5) * size + (f.isUnsigned && i % 2 ? size / 2 : 0);
    if (i % 5 == 0) y = std::floor(y) + 0.5;
    values.push_back(static_cast<T>(std::ldexp(y, -fraction)));
  }
  return values;
}

// Runs `call` on the values with and without the flags for what is out of range.
template <class T, class Call>
void expectConversions(const std::vector<T>& values, const Format& f, int32_t fraction, const char* exceeds,
                       const std::string& name, Call call) {
  Reports reports;
  const size_t size = static_cast<size_t>(f.bits) / 8;
  for (const int32_t rounding : kRoundings) {
    for (const int32_t extra :
         {0, int32_t{MOX_Saturate}, int32_t{MOX_OverflowError}, MOX_Saturate | MOX_OverflowError}) {
      const int32_t flags = rounding | extra | f.flag() | 1;  // an unknown bit is ignored
      SCOPED_TRACE(::testing::Message() << f.bits << (f.isUnsigned ? " unsigned " : " signed ") << std::hex << flags
                                        << " fraction " << std::dec << fraction);
      std::vector<unsigned char> dst(values.size() * size, 0xa5);
      call(values.data(), dst.data(), static_cast<int32_t>(values.size()), flags);
      std::vector<std::string> want;
      for (size_t i = 0; i < values.size(); ++i) {
        const Outcome o = expected(static_cast<double>(values[i]), f, fraction, flags, 0xa5a5a5a5, exceeds);
        ASSERT_EQ(elementAt(dst.data(), i, f.bits), o.bits) << std::hexfloat << values[i];
        if (!o.report.empty()) want.push_back(name + ": " + o.report + " (-5)");
      }
      EXPECT_EQ(moxGetErrStatus(), want.empty() ? 0 : -5);
      EXPECT_EQ(reports.take(), want);
    }
  }
}

template <class T>
class Convert : public ::testing::Test {};
using Types = ::testing::Types<float, double>;
TYPED_TEST_SUITE(Convert, Types);

TYPED_TEST(Convert, ToIntegersOfEverySizeAndRounding) {
  using T = TypeParam;
  const std::string prefix = std::string("mox") + Api<T>::kReal + "b";
  forEachLevel([&] {
    for (const Format& f : kFormats) {
      expectConversions(
          criticalValues<T>(f, 0), f, 0, "A float exceeds an integer", prefix + "FloatToInt",
          [&](const T* src, void* dst, int32_t n, int32_t flags) { Api<T>::floatToInt(src, dst, n, f.bits, flags); });
      for (const int32_t fraction : {0, 5, f.bits - 1, f.bits}) {
        if (fraction == f.bits && !f.isUnsigned) continue;
        expectConversions(criticalValues<T>(f, fraction), f, fraction, "A float exceeds a fix-point",
                          prefix + "FloatToFix", [&](const T* src, void* dst, int32_t n, int32_t flags) {
                            Api<T>::floatToFix(src, dst, n, f.bits, fraction, flags);
                          });
      }
    }
  });
}

TYPED_TEST(Convert, ToTheFixedFormats) {
  using T = TypeParam;
  using A = Api<T>;
  const std::string prefix = std::string("mox") + A::kReal + "bFloa";
  const std::string shortened = prefix + (sizeof(T) == 8 ? "To" : "tTo"), whole = prefix + "tTo";
  const auto expect = [](const Format& f, int32_t fraction, const std::string& name, auto function) {
    using I = std::conditional_t<
        std::is_invocable_v<decltype(function), const T*, int8_t*, int32_t, int32_t>, int8_t,
        std::conditional_t<std::is_invocable_v<decltype(function), const T*, int16_t*, int32_t, int32_t>, int16_t,
                           int32_t>>;
    expectConversions(criticalValues<T>(f, fraction), f, fraction, "A float exceeds a fix-point", name,
                      [&](const T* src, void* dst, int32_t n, int32_t flags) {
                        function(src, static_cast<I*>(dst), n, flags | MOX_UnsignedInt);  // which is ignored
                      });
  };
  forEachLevel([&] {
    expect({8, false}, 7, whole + "S7Fix", A::floatToS7);
    expect({16, false}, 15, shortened + "S15Fix", A::floatToS15);
    expect({32, false}, 31, shortened + "S31Fix", A::floatToS31);
    expect({32, false}, 16, whole + "S1516Fix", A::floatToS1516);
  });
}

TYPED_TEST(Convert, KnownResults) {
  using T = TypeParam;
  const T x[] = {2.5, 3.5, -2.5, -1.5, 300, T(0.49999999999999994), 8388609};
  int32_t to[7];
  int8_t bytes[5] = {0, 0, 0, 0, 77};
  forEachLevel([&] {
    Api<T>::floatToInt(x, to, 7, 32, MOX_RoundNearest);
    EXPECT_EQ(std::vector<int32_t>(to, to + 7),
              (std::vector<int32_t>{2, 4, -2, -2, 300, sizeof(T) == 4 ? 0 : 0, 8388609}));
    Api<T>::floatToInt(x, bytes, 5, 8, MOX_RoundNearest);
    EXPECT_EQ(bytes[4], 77);
    EXPECT_EQ(bytes[1], 4);
  });
}

// What stands in an array depends on its value alone; nothing beyond the arrays is touched, nothing read after it was
// written in place.
TYPED_TEST(Convert, EveryLengthAndPlace) {
  using T = TypeParam;
  using Same = std::conditional_t<sizeof(T) == 4, int32_t, T>;
  Reports reports;
  forEachLevel([&] {
    std::vector<T> x = noise<T>(300, 3);
    for (size_t i = 0; i < x.size(); ++i) x[i] *= i % 7 == 3 ? 300 : 100;
    for (const Format& f : kFormats) {
      const size_t size = static_cast<size_t>(f.bits) / 8;
      for (const int32_t extra : {0, int32_t{MOX_Saturate}, int32_t{MOX_OverflowError}}) {
        const int32_t flags = MOX_RoundNearest | extra | f.flag();
        std::vector<unsigned char> whole(x.size() * size, 0x5a);
        for (size_t i = 0; i < x.size(); ++i) Api<T>::floatToInt(&x[i], whole.data() + i * size, 1, f.bits, flags);
        for (size_t n = 1; n <= x.size(); n += n < 140 ? 1 : 53) {
          for (const Flush flush : {Flush::AtStart, Flush::AtEnd}) {
            SCOPED_TRACE(n);
            Guarded<T> src(std::vector<T>(x.begin(), x.begin() + static_cast<ptrdiff_t>(n)), flush), back(n, flush);
            src.makeReadOnly();
            Guarded<unsigned char> dst(std::vector<unsigned char>(n * size, 0x5a), flush);
            const int32_t count = static_cast<int32_t>(n);
            Api<T>::floatToInt(src.data(), dst.data(), count, f.bits, flags);
            ASSERT_EQ(std::memcmp(dst.data(), whole.data(), n * size), 0);
            dst.makeReadOnly();
            Api<T>::intToFloat(dst.data(), back.data(), count, f.bits, f.flag());
            for (size_t i = 0; i < n; ++i) {
              T one;
              Api<T>::intToFloat(dst.data() + i * size, &one, 1, f.bits, f.flag());
              ASSERT_TRUE(sameBits(one, back[i]));
            }
            if (sizeof(T) == 4 && f.bits == 32 && extra == MOX_Saturate) {
              Guarded<T> vec(src.values(), flush);
              Api<T>::floatToInt(vec.data(), vec.data(), count, 32, flags);
              ASSERT_EQ(std::memcmp(vec.data(), whole.data(), n * size), 0);
              Api<T>::intToFloat(reinterpret_cast<Same*>(vec.data()), vec.data(), count, 32, f.flag());
              ASSERT_TRUE(sameBits(vec.values(), back.values()));
            }
          }
        }
      }
    }
  });
}

// The handler finds every element before the reported one done and none after it.
TEST(Conversion, ReportsComeInTheOrderOfTheElements) {
  static int16_t dst[200];
  static std::vector<int> progress;
  Reports reports;
  const auto handler = +[](int32_t status, const char*, const char*, const char*, int32_t) {
    int done = 0;
    while (done < 200 && dst[done] != 1234) ++done;
    for (int i = done; i < 200; ++i) EXPECT_EQ(dst[i], 1234);
    progress.push_back(done);
    return status;
  };
  const MoxErrorHandler before = moxRedirectError(handler);
  forEachLevel([&] {
    std::vector<float> x(200, 0.25f);
    const std::vector<int> bad = {0, 1, 63, 64, 100, 199};
    for (const int i : bad) x[static_cast<size_t>(i)] = i % 2 ? 2.0f : -3.0f;
    std::fill(dst, dst + 200, int16_t{1234});
    progress.clear();
    moxsbFloatToS15Fix(x.data(), dst, 200, MOX_RoundNearest | MOX_Saturate | MOX_OverflowError);
    std::vector<int> want;
    for (const int i : bad) want.push_back(i + 1);
    EXPECT_EQ(progress, want);
    EXPECT_EQ(dst[63], 32767);
    EXPECT_EQ(dst[64], -32768);
    EXPECT_EQ(moxGetErrStatus(), MOX_StsBadArg);
  });
  moxRedirectError(before);
}

// ---- integers to floating point

template <class I>
std::vector<I> integers() {
  std::vector<I> values;
  if constexpr (sizeof(I) < 4) {
    for (int v = std::numeric_limits<I>::min(); v <= std::numeric_limits<I>::max(); ++v)
      values.push_back(static_cast<I>(v));
  } else {
    std::mt19937 bits(5);
    for (int shift = 0; shift < 32; ++shift) {
      for (int off = -3; off <= 3; ++off) values.push_back(static_cast<I>((1u << shift) + static_cast<uint32_t>(off)));
      for (int i = 0; i < 50; ++i) values.push_back(static_cast<I>(bits() >> shift));
      // Half a unit of float32, and its neighbours.
      for (uint32_t odd : {1u, 3u}) {
        for (uint32_t off : {0u, 1u, ~0u})
          values.push_back(static_cast<I>((0x1000000u << (shift % 8)) + (odd << (shift % 8) >> 1) + off));
      }
    }
  }
  return values;
}

template <class T, class I, class Call>
void expectReals(int32_t fraction, Call call) {
  const std::vector<I> src = integers<I>();
  std::vector<T> dst(src.size(), 99);
  call(src.data(), dst.data(), static_cast<int32_t>(src.size()));
  for (size_t i = 0; i < src.size(); ++i) {
    // The oracle's own conversion rounds once, to nearest.
    ASSERT_TRUE(sameBits(dst[i], static_cast<T>(std::ldexp(static_cast<double>(src[i]), -fraction)))) << +src[i];
  }
}

TYPED_TEST(Convert, FromEveryInteger) {
  using T = TypeParam;
  using A = Api<T>;
  forEachLevel([] {
    const auto both = [](auto zero, int32_t bits, int32_t flags) {
      using I = decltype(zero);
      expectReals<T, I>(0, [&](const I* s, T* d, int32_t n) { A::intToFloat(s, d, n, bits, flags); });
      for (const int32_t fraction : {0, 1, bits - 1, flags ? bits : bits - 1}) {
        expectReals<T, I>(fraction,
                          [&](const I* s, T* d, int32_t n) { A::fixToFloat(s, d, n, bits, fraction, flags); });
      }
    };
    both(int8_t{}, 8, 0);
    both(uint8_t{}, 8, MOX_UnsignedInt);
    both(int16_t{}, 16, 0);
    both(uint16_t{}, 16, MOX_UnsignedInt);
    both(int32_t{}, 32, 0);
    both(uint32_t{}, 32, MOX_UnsignedInt);
    expectReals<T, int8_t>(7, A::s7ToFloat);
    expectReals<T, int16_t>(15, A::s15ToFloat);
    expectReals<T, int32_t>(31, A::s31ToFloat);
    expectReals<T, int32_t>(16, A::s1516ToFloat);
  });
}

// ---- the floating-point state

#if defined(__SSE2__)
std::vector<MoxV> int16Pairs(size_t n) {
  std::mt19937 bits(17);
  std::vector<MoxV> v(n);
  for (MoxV& x : v) {
    const auto b = static_cast<uint32_t>(bits());
    x = {static_cast<int16_t>(b >> 16), static_cast<int16_t>(b & 0xffff)};
    if (b % 8 == 0) x.im = 0;
    if (b % 64 == 1) x = {-32768, -32768};
  }
  return v;
}

// Made in the default state.
template <class T>
struct Inputs {
  std::vector<std::vector<T>> values;  // by format
  std::vector<uint32_t> words = integers<uint32_t>();
  std::vector<MoxV> pairs = int16Pairs(3000);
  Inputs() {
    for (const Format& f : kFormats) values.push_back(criticalValues<T>(f, 3));
  }
};

template <class T>
std::vector<char> bytesOfConversions(const Inputs<T>& in) {
  std::vector<char> out;
  const auto append = [&](const auto& values) {
    const auto* const bytes = reinterpret_cast<const char*>(values.data());
    out.insert(out.end(), bytes, bytes + values.size() * sizeof(values[0]));
  };
  for (size_t i = 0; i < in.values.size(); ++i) {
    const Format& f = kFormats[i];
    const std::vector<T>& values = in.values[i];
    for (const int32_t rounding : kRoundings) {
      std::vector<unsigned char> dst(values.size() * static_cast<size_t>(f.bits) / 8);
      Api<T>::floatToFix(values.data(), dst.data(), static_cast<int32_t>(values.size()), f.bits, 3,
                         rounding | f.flag() | MOX_Saturate);
      append(dst);
    }
  }
  std::vector<T> reals(in.words.size());
  for (const int32_t flags : {0, int32_t{MOX_UnsignedInt}}) {
    Api<T>::intToFloat(in.words.data(), reals.data(), static_cast<int32_t>(in.words.size()), 32, flags);
    append(reals);
  }
  std::vector<int16_t> polar(in.pairs.size());
  moxvbMag(in.pairs.data(), polar.data(), 3000);
  append(polar);
  moxvbPhase(in.pairs.data(), polar.data(), 3000);
  append(polar);
  return out;
}

TYPED_TEST(Convert, IndependentOfRoundingModeAndX87AndKeepsThem) {
  const Inputs<TypeParam> in;
  forEachLevel([&] {
    const auto want = bytesOfConversions(in);
    const unsigned state = _mm_getcsr();
    uint16_t x87;
    asm volatile("fnstcw %0" : "=m"(x87));
    for (const unsigned mode : {0x2000u, 0x4000u, 0x6000u}) {
      // The x87 unit rounds to 24 bits in the same direction: the same two bits, three places lower.
      const auto control = static_cast<uint16_t>((x87 & ~0x0f00u) | mode >> 3);
      asm volatile("fldcw %0" : : "m"(control));
      _mm_setcsr((state & ~0x6000u) | mode);
      const auto got = bytesOfConversions(in);
      const unsigned after = _mm_getcsr();
      uint16_t afterwards;
      asm volatile("fnstcw %0" : "=m"(afterwards));
      _mm_setcsr(state);
      asm volatile("fldcw %0" : : "m"(x87));
      EXPECT_TRUE(sameBits(want, got)) << std::hex << mode;
      EXPECT_EQ(after & ~0x3fu, ((state & ~0x6000u) | mode) & ~0x3fu);
      EXPECT_EQ(afterwards, control);
    }
  });
}

// Some hosts run with traps for invalid operations, divisions by zero and overflow. What is out of range raises none.
TYPED_TEST(Convert, NothingTrapsOnNumbers) {
  using T = TypeParam;
  forEachLevel([] {
    for (const Format& f : kFormats) {
      std::vector<T> values;
      for (const T x : criticalValues<T>(f, 7)) {
        if (x == x) values.push_back(x);
      }
      std::vector<uint32_t> dst(values.size());
      const unsigned state = _mm_getcsr();
      for (const int32_t rounding : kRoundings) {
        for (const int32_t extra : {0, int32_t{MOX_Saturate}}) {
          _mm_setcsr(state & ~0x06bfu);
          Api<T>::floatToFix(values.data(), dst.data(), static_cast<int32_t>(values.size()), f.bits, 7,
                             rounding | extra | f.flag());
          Api<T>::intToFloat(dst.data(), values.data(), 1, f.bits, f.flag());
          _mm_setcsr(state);
        }
      }
    }
  });
}
#endif

// ---- complex values and their parts

template <class C>
class ComplexParts : public ::testing::Test {};
using ComplexTypes = ::testing::Types<MoxC, MoxZ, MoxV>;
TYPED_TEST_SUITE(ComplexParts, ComplexTypes);

TYPED_TEST(ComplexParts, AnyBitsAtEveryLengthAndPlace) {
  using C = TypeParam;
  using R = typename Parts<C>::R;
  forEachLevel([] {
    std::mt19937 bits(9);
    std::vector<C> x(300);
    auto* const raw = reinterpret_cast<unsigned char*>(x.data());
    for (size_t i = 0; i < x.size() * sizeof(C); ++i) raw[i] = static_cast<unsigned char>(bits());
    for (size_t n = 1; n <= x.size(); n += n < 140 ? 1 : 53) {
      for (const Flush flush : {Flush::AtStart, Flush::AtEnd}) {
        SCOPED_TRACE(n);
        const int32_t count = static_cast<int32_t>(n);
        const std::vector<C> head(x.begin(), x.begin() + static_cast<ptrdiff_t>(n));
        std::vector<R> re(n), im(n);
        std::vector<C> onlyRe(n), onlyIm(n);
        for (size_t i = 0; i < n; ++i) {  // bytes: a signaling NaN stays one
          std::memcpy(&re[i], &head[i].re, sizeof(R));
          std::memcpy(&im[i], &head[i].im, sizeof(R));
          std::memcpy(&onlyRe[i].re, &head[i].re, sizeof(R));
          std::memcpy(&onlyIm[i].im, &head[i].im, sizeof(R));
        }
        Guarded<C> src(head, flush), dst(n, flush);
        src.makeReadOnly();
        Guarded<R> a(n, flush), b(n, flush);
        Parts<C>::real(src.data(), a.data(), count);
        Parts<C>::imag(src.data(), b.data(), count);
        EXPECT_TRUE(sameBits(re, a.values()));
        EXPECT_TRUE(sameBits(im, b.values()));
        Parts<C>::split(src.data(), b.data(), a.data(), count);
        EXPECT_TRUE(sameBits(re, b.values()));
        EXPECT_TRUE(sameBits(im, a.values()));
        a.makeReadOnly();
        b.makeReadOnly();
        Parts<C>::join(b.data(), a.data(), dst.data(), count);
        EXPECT_TRUE(sameBits(head, dst.values()));
        Parts<C>::join(b.data(), nullptr, dst.data(), count);
        EXPECT_TRUE(sameBits(onlyRe, dst.values()));
        Parts<C>::join(nullptr, a.data(), dst.data(), count);
        EXPECT_TRUE(sameBits(onlyIm, dst.values()));
        for (const auto& [part, want] : {std::pair(Parts<C>::real, re), std::pair(Parts<C>::imag, im)}) {
          Guarded<C> own(head, flush);
          part(own.data(), reinterpret_cast<R*>(own.data()), count);
          EXPECT_EQ(std::memcmp(own.data(), want.data(), n * sizeof(R)), 0);
        }
      }
    }
    // Longer than any table of zeros.
    std::vector<C> joined(3000, C{1, 1});
    Parts<C>::join(nullptr, nullptr, joined.data(), 3000);
    EXPECT_TRUE(sameBits(joined, std::vector<C>(3000)));
  });
}

// ---- polar form

template <class T>
double ulps(T got, long double exact) {
  int exponent;
  std::frexp(exact, &exponent);
  exponent = std::max(exponent, std::numeric_limits<T>::min_exponent) - std::numeric_limits<T>::digits;
  return static_cast<double>(std::fabs(std::ldexp(static_cast<long double>(got) - exact, -exponent)));
}

TYPED_TEST(Convert, PolarFormAndBack) {
  using T = TypeParam;
  using A = Api<T>;
  using C = typename A::C;
  // A reference no wider than the type is itself half a unit off.
  constexpr double slack = sizeof(T) == 8 && LDBL_MANT_DIG == DBL_MANT_DIG ? 1 : 1e-3;
  forEachLevel([] {
    const std::vector<C> x = noise<C>(1500, 21);
    for (const size_t n : {size_t{1}, size_t{2}, size_t{7}, size_t{16}, size_t{33}, x.size()}) {
      for (const Flush flush : {Flush::AtStart, Flush::AtEnd}) {
        const int32_t count = static_cast<int32_t>(n);
        Guarded<C> src(std::vector<C>(x.begin(), x.begin() + static_cast<ptrdiff_t>(n)), flush), back(n, flush);
        src.makeReadOnly();
        Guarded<T> mag(n, flush), phase(n, flush), one(n, flush), re(n, flush), im(n, flush);
        A::toPolar(src.data(), mag.data(), phase.data(), count);
        for (size_t i = 0; i < n; ++i) {
          const long double a = src[i].re, b = src[i].im;
          ASSERT_LE(ulps(mag[i], std::hypot(a, b)), 1 + slack);
          ASSERT_LE(ulps(phase[i], std::atan2(b, a)), 1 + slack);
        }
        const auto magnitudes = mag.values(), phases = phase.values();
        A::magnitude(src.data(), one.data(), count);
        EXPECT_TRUE(sameBits(one.values(), magnitudes));
        A::phase(src.data(), one.data(), count);
        EXPECT_TRUE(sameBits(one.values(), phases));
        for (size_t i = 0; i < n; ++i) re[i] = src[i].re, im[i] = src[i].im;
        A::magnitudeOfParts(re.data(), im.data(), one.data(), count);
        EXPECT_TRUE(sameBits(one.values(), magnitudes));
        A::phaseOfParts(re.data(), im.data(), one.data(), count);
        EXPECT_TRUE(sameBits(one.values(), phases));
        A::partsToPolar(re.data(), im.data(), re.data(), im.data(), count);  // in place
        EXPECT_TRUE(sameBits(re.values(), magnitudes));
        EXPECT_TRUE(sameBits(im.values(), phases));
        A::toCartesian(mag.data(), phase.data(), back.data(), count);
        A::partsToCartesian(mag.data(), phase.data(), mag.data(), phase.data(), count);
        for (size_t i = 0; i < n; ++i) {
          // Three roundings; the phase's weighs up to pi ulps on a part as large as the magnitude.
          const double bound = 8 * static_cast<double>(std::numeric_limits<T>::epsilon() * magnitudes[i]);
          ASSERT_NEAR(back[i].re, src[i].re, bound);
          ASSERT_NEAR(back[i].im, src[i].im, bound);
          ASSERT_TRUE(sameBits(back[i].re, mag[i]) && sameBits(back[i].im, phase[i]));
        }
      }
    }
  });
}

// An imaginary part of either zero: no root and no arctangent show.
TYPED_TEST(Convert, PolarFormOfRealValues) {
  using T = TypeParam;
  using A = Api<T>;
  using C = typename A::C;
  using L = std::numeric_limits<T>;
  forEachLevel([] {
    const T pi = static_cast<T>(3.14159265358979323846L);
    std::vector<T> sizes = {0, 3,           L::denorm_min(), 3 * L::denorm_min(), L::min(), L::max(), L::infinity(),
                            1, L::epsilon()};
    std::mt19937_64 bits(4);
    for (int i = 0; i < 3000; ++i) {
      const double mantissa = 1 + static_cast<double>(bits() >> 11) * 0x1p-53;
      const int span = L::max_exponent - L::min_exponent;
      sizes.push_back(std::ldexp(static_cast<T>(mantissa),
                                 L::min_exponent + static_cast<int>(bits() % static_cast<unsigned>(span)) - 1));
    }
    for (const T sign : {T(1), T(-1)}) {
      for (const T zero : {T(0.0), T(-0.0)}) {
        std::vector<C> x;
        for (const T size : sizes) x.push_back({sign * size, zero});
        std::vector<T> mag(x.size()), phase(x.size());
        A::toPolar(x.data(), mag.data(), phase.data(), static_cast<int32_t>(x.size()));
        for (size_t i = 0; i < x.size(); ++i) {
          ASSERT_TRUE(sameBits(mag[i], sizes[i])) << sizes[i];
          ASSERT_TRUE(sameBits(phase[i], sign < 0 && sizes[i] != 0 ? pi : T(0))) << sizes[i] << " " << phase[i];
        }
      }
    }
  });
}

int16_t exactMagnitude(MoxV x) {
  const int64_t squares = int64_t{x.re} * x.re + int64_t{x.im} * x.im;
  auto root = static_cast<int64_t>(std::sqrt(static_cast<double>(squares)));
  while (root * root > squares) --root;
  while ((root + 1) * (root + 1) <= squares) ++root;
  return static_cast<int16_t>(static_cast<uint16_t>(root));
}
int16_t exactPhase(MoxV x) {
  if (x.im == 0) return x.re < 0 ? 16383 : 0;
  const long double pi = 3.14159265358979323846264338327950288L;
  return static_cast<int16_t>(
      std::trunc(std::atan2(static_cast<long double>(x.im), static_cast<long double>(x.re)) * (16383 / pi)));
}

TEST(Conversion, PolarFormOfInt16) {
  // Every value against the extremes and some in between; the pairs whose phases come closest to an integer; any.
  std::vector<MoxV> x;
  for (int v = -32768; v <= 32767; ++v) {
    for (const int other : {-32768, -32767, -181, -1, 0, 1, 180, 11585, 32767}) {
      x.push_back({static_cast<int16_t>(v), static_cast<int16_t>(other)});
      if (v % 16 == 0) x.push_back({static_cast<int16_t>(other), static_cast<int16_t>(v)});
    }
  }
  for (const MoxV close : {MoxV{25699, 1621}, MoxV{23439, 7300}, MoxV{10597, 2912}, MoxV{5989, 1668}}) {
    for (const int s : {1, -1}) {
      for (const int t : {1, -1}) {
        x.push_back({static_cast<int16_t>(s * close.re), static_cast<int16_t>(t * close.im)});
        x.push_back({static_cast<int16_t>(s * close.im), static_cast<int16_t>(t * close.re)});
      }
    }
  }
  std::mt19937 bits(31);
  for (int i = 0; i < 300000; ++i) {
    const auto b = static_cast<uint32_t>(bits());
    x.push_back({static_cast<int16_t>(b >> 16), static_cast<int16_t>(b & 0xffff)});
  }
  const size_t n = x.size();
  std::vector<int16_t> re(n), im(n), magnitudes(n), phases(n), got(n);
  for (size_t i = 0; i < n; ++i) {
    re[i] = x[i].re, im[i] = x[i].im;
    magnitudes[i] = exactMagnitude(x[i]), phases[i] = exactPhase(x[i]);
  }
  forEachLevel([&] {
    const int32_t count = static_cast<int32_t>(n);
    moxvbMag(x.data(), got.data(), count);
    EXPECT_TRUE(sameBits(got, magnitudes));
    moxwbrMag(re.data(), im.data(), got.data(), count);
    EXPECT_TRUE(sameBits(got, magnitudes));
    moxvbPhase(x.data(), got.data(), count);
    EXPECT_TRUE(sameBits(got, phases));
    moxwbrPhase(re.data(), im.data(), got.data(), count);
    EXPECT_TRUE(sameBits(got, phases));
    for (size_t m = 1; m <= 270; m += m < 70 ? 1 : 37) {
      for (const Flush flush : {Flush::AtStart, Flush::AtEnd}) {
        SCOPED_TRACE(m);
        const auto head = [&](const auto& v) {
          return std::decay_t<decltype(v)>(v.end() - static_cast<ptrdiff_t>(m), v.end());
        };
        Guarded<MoxV> src(head(x), flush);
        Guarded<int16_t> a(head(re), flush), b(head(im), flush), dst(m, flush);
        src.makeReadOnly();
        b.makeReadOnly();
        const int32_t some = static_cast<int32_t>(m);
        moxvbMag(src.data(), dst.data(), some);
        EXPECT_TRUE(sameBits(dst.values(), head(magnitudes)));
        moxvbPhase(src.data(), dst.data(), some);
        EXPECT_TRUE(sameBits(dst.values(), head(phases)));
        moxwbrPhase(a.data(), b.data(), dst.data(), some);
        EXPECT_TRUE(sameBits(dst.values(), head(phases)));
        moxwbrMag(a.data(), b.data(), a.data(), some);
        EXPECT_TRUE(sameBits(a.values(), head(magnitudes)));
      }
    }
  });
  EXPECT_EQ(exactMagnitude({-32768, -32768}), static_cast<int16_t>(0xB504));
}

// ---- checks

std::vector<std::string> reportsOf(const std::string& name, std::initializer_list<const char*> conditions) {
  std::vector<std::string> reports;
  for (const char* const condition : conditions) reports.push_back(name + ": " + condition + " (-5)");
  return reports;
}

TYPED_TEST(Convert, BadArguments) {
  using T = TypeParam;
  using A = Api<T>;
  Reports reports;
  const std::string real = std::string("mox") + A::kReal + "b", complex = std::string("mox") + A::kComplex + "b",
                    odd = sizeof(T) == 8 ? "Floa" : "Float", file = sizeof(T) == 8 ? "moxcvrtd" : "moxcvrts";
  const auto expect = [&](const std::string& name, std::initializer_list<const char*> conditions) {
    for (const Report& r : reports.all()) EXPECT_EQ(r.file, file);
    EXPECT_EQ(reports.take(), reportsOf(name, conditions));
  };
  T* const null = nullptr;
  constexpr const char *len = "len<=0", *src = "src==0", *dst = "dst==0", *flag = "Invalid conversion flag",
                       *intSize = "Invalid size of an integer", *fixSize = "Invalid size of a fix-point",
                       *fraction = "Invalid fractBits", *mag = "mag==0", *phase = "phase==0";
  A::floatToInt(null, null, 0, 24, 0);
  expect(real + "FloatToInt", {len, src, dst, intSize, flag});
  A::intToFloat(null, null, -1, 0, MOX_RoundZero);
  expect(real + "IntToFloat", {len, src, dst, intSize, flag});
  A::floatToFix(null, null, 0, 64, -1, MOX_RoundNearest | MOX_RoundZero);
  expect(real + "FloatToFix", {len, src, dst, fixSize, flag, fraction});
  A::fixToFloat(null, null, 0, 12, 13, MOX_Saturate);
  expect(real + "FixToFloat", {len, src, dst, fixSize, flag, fraction});
  A::floatToS7(null, nullptr, 0, 0);
  expect(real + "FloatToS7Fix", {len, src, dst, flag});
  A::floatToS15(null, nullptr, 0, MOX_Saturate);
  expect(real + odd + "ToS15Fix", {len, src, dst, flag});
  A::floatToS31(null, nullptr, 0, MOX_RoundUp | MOX_RoundDown);
  expect(real + odd + "ToS31Fix", {len, src, dst, flag});
  A::floatToS1516(null, nullptr, 0, 0);
  expect(real + "FloatToS1516Fix", {len, src, dst, flag});
  A::s7ToFloat(nullptr, null, 0);
  expect(real + "S7FixToFloat", {len, src, dst});
  A::s15ToFloat(nullptr, null, 0);
  expect(real + "S15FixToFloat", {len, src, dst});
  A::s31ToFloat(nullptr, null, 0);
  expect(real + "S31FixToFloat", {len, src, dst});
  A::s1516ToFloat(nullptr, null, 0);
  expect(real + "S1516FixToFloat", {len, src, dst});
  A::toPolar(nullptr, null, null, 0);
  expect(complex + "CartToPolar", {len, src, mag, phase});
  A::partsToPolar(null, null, null, null, 0);
  expect(real + "rPolarToCart", {len, "srcReal==0", "srcImag==0", mag, phase});
  A::toCartesian(null, null, nullptr, 0);
  expect(complex + "PolarToCart", {len, mag, phase, dst});
  A::partsToCartesian(null, null, null, null, 0);
  expect(real + "rPolarToCart", {len, mag, phase, "dstReal==0", "dstImag==0"});
  A::magnitude(nullptr, null, 0);
  expect(complex + "Mag", {len, src, mag});
  A::magnitudeOfParts(null, null, null, 0);
  expect(real + "rMag", {len, "srcReal==0", "srcImag==0", mag});
  A::phase(nullptr, null, 0);
  expect(complex + "Phase", {len, src, phase});
  A::phaseOfParts(null, null, null, 0);
  expect(real + "rPhase", {len, "srcReal==0", "srcImag==0", phase});

  // The limits of fractBits; a refused call writes nothing.
  T x = 0.5;
  uint16_t y = 7;
  A::floatToFix(&x, &y, 1, 16, 16, MOX_RoundZero);
  expect(real + "FloatToFix", {fraction});
  A::fixToFloat(&y, &x, 1, 16, 17, MOX_UnsignedInt);
  expect(real + "FixToFloat", {fraction});
  EXPECT_EQ(y, 7);
  EXPECT_EQ(x, T(0.5));
  A::floatToFix(&x, &y, 1, 16, 16, MOX_RoundZero | MOX_UnsignedInt);
  EXPECT_EQ(y, 32768);
  A::fixToFloat(&y, &x, 1, 16, INT32_MAX, MOX_UnsignedInt);
  expect(real + "FixToFloat", {fraction});

  // An earlier failure is forgotten.
  moxSetErrStatus(MOX_StsNoMem);
  A::intToFloat(&y, &x, 1, 16, MOX_UnsignedInt);
  EXPECT_EQ(x, T(32768));
  EXPECT_EQ(moxGetErrStatus(), MOX_StsOk);
}

TYPED_TEST(ComplexParts, BadArguments) {
  using C = TypeParam;
  using P = Parts<C>;
  typename P::R* const null = nullptr;
  Reports reports;
  const std::string prefix = std::string("mox") + P::kLetter + "b";
  const auto expect = [&](const std::string& name, std::initializer_list<const char*> conditions) {
    for (const Report& r : reports.all()) {
      EXPECT_EQ(r.file, P::kLetter == 'c' ? "moxcvrts" : P::kLetter == 'z' ? "moxcvrtd" : "moxcvrtw");
    }
    EXPECT_EQ(reports.take(), reportsOf(prefix + name, conditions));
  };
  P::real(nullptr, null, 0);
  expect("Real", {"len<=0", "src==0", "dst==0"});
  P::imag(nullptr, null, 0);
  expect("Imag", {"len<=0", "src==0", "dst==0"});
  P::split(nullptr, null, null, 0);
  expect("CplxTo2Real", {"len<=0", "src==0", "dstReal==0", "dstImag==0"});
  P::join(null, null, nullptr, 0);
  expect("2RealToCplx", {"len<=0", "dst==0"});
}

TEST(Conversion, BadArgumentsOfInt16) {
  Reports reports;
  const auto expect = [&](const char* name, std::initializer_list<const char*> conditions) {
    for (const Report& r : reports.all()) EXPECT_EQ(r.file, "moxcvrtw");
    EXPECT_EQ(reports.take(), reportsOf(name, conditions));
  };
  moxvbMag(nullptr, nullptr, 0);
  expect("moxvbMag", {"len<=0", "src==0", "mag==0"});
  moxwbrMag(nullptr, nullptr, nullptr, 0);
  expect("moxwbrMag", {"len<=0", "srcReal==0", "srcImag==0", "mag==0"});
  moxvbPhase(nullptr, nullptr, 0);
  expect("moxvbPhase", {"len<=0", "src==0", "phase==0"});
  moxwbrPhase(nullptr, nullptr, nullptr, 0);
  expect("moxwbrPhase", {"len<=0", "srcReal==0", "srcImag==0", "phase==0"});
}

}  // namespace
