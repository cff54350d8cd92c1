#include <cfloat>
#include <cmath>
#include <functional>
#include <limits>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/support/support.h"

using namespace moxtest;

namespace {

template <class T>
struct Api;
#define MOX_ARITH_API(letter, type)                  \
  template <>                                        \
  struct Api<type> {                                 \
    static constexpr char kLetter = #letter[0];      \
    static constexpr auto zero = mox##letter##bZero; \
    static constexpr auto set = mox##letter##bSet;   \
    static constexpr auto copy = mox##letter##bCopy; \
    static constexpr auto add1 = mox##letter##bAdd1; \
    static constexpr auto add2 = mox##letter##bAdd2; \
    static constexpr auto add3 = mox##letter##bAdd3; \
    static constexpr auto sub1 = mox##letter##bSub1; \
    static constexpr auto sub2 = mox##letter##bSub2; \
    static constexpr auto sub3 = mox##letter##bSub3; \
    static constexpr auto mpy1 = mox##letter##bMpy1; \
    static constexpr auto mpy2 = mox##letter##bMpy2; \
    static constexpr auto mpy3 = mox##letter##bMpy3; \
  };
MOX_ARITH_API(s, float)
MOX_ARITH_API(d, double)
MOX_ARITH_API(c, MoxC)
MOX_ARITH_API(z, MoxZ)

#define MOX_CONJ_API(letter, type)                             \
  template <>                                                  \
  struct ConjApi<type> {                                       \
    static constexpr auto conj1 = mox##letter##bConj1;         \
    static constexpr auto conj2 = mox##letter##bConj2;         \
    static constexpr auto flip2 = mox##letter##bConjFlip2;     \
    static constexpr auto extend1 = mox##letter##bConjExtend1; \
    static constexpr auto extend2 = mox##letter##bConjExtend2; \
  };
template <class T>
struct ConjApi;
MOX_CONJ_API(c, MoxC)
MOX_CONJ_API(z, MoxZ)

// The definitions, one element at a time. float32 products go through float64, where they are exact.
template <class T>
T plus(T a, T b) {
  if constexpr (Traits<T>::complex) {
    return {a.re + b.re, a.im + b.im};
  } else {
    return a + b;
  }
}
template <class T>
T minus(T a, T b) {
  if constexpr (Traits<T>::complex) {
    return {a.re - b.re, a.im - b.im};
  } else {
    return a - b;
  }
}
template <class T>
T times(T a, T b) {
  if constexpr (Traits<T>::complex) {
    using R = typename Traits<T>::Real;
    const double ar = a.re, ai = a.im, br = b.re, bi = b.im;
    return {static_cast<R>(ar * br - ai * bi), static_cast<R>(ar * bi + ai * br)};
  } else {
    return a * b;
  }
}
template <class T>
T flipped(T v) {
  v.im = std::copysign(v.im, static_cast<decltype(v.im)>(std::signbit(v.im) ? 1 : -1));
  return v;
}

// Values at which sums and products overflow, cancel, round and lose their sign.
template <class T>
std::vector<T> awkward(size_t n, uint32_t seed) {
  using R = typename Traits<T>::Real;
  using L = std::numeric_limits<R>;
  const R special[] = {0,
                       R(-0.0),
                       1,
                       R(-1),
                       L::max(),
                       -L::max(),
                       L::min(),
                       L::denorm_min(),
                       L::infinity(),
                       L::epsilon(),
                       R(1) + L::epsilon(),
                       R(16777217)};
  std::vector<T> v = noise<T>(n, seed);
  std::mt19937 pick(seed + 77);
  for (T& x : v) {
    if (pick() % 3 == 0) x = makeValue<T>(special[pick() % std::size(special)], special[pick() % std::size(special)]);
  }
  return v;
}

// Bitwise, except that any NaN equals any NaN: which operand's payload survives is the processor's choice.
template <class R>
bool sameReal(R a, R b) {
  return sameBits(a, b) || (std::isnan(a) && std::isnan(b));
}
template <class T>
::testing::AssertionResult sameValues(const std::vector<T>& want, const Guarded<T>& got) {
  for (size_t i = 0; i < want.size(); ++i) {
    bool same;
    if constexpr (Traits<T>::complex) {
      same = sameReal(want[i].re, got[i].re) && sameReal(want[i].im, got[i].im);
    } else {
      same = sameReal(want[i], got[i]);
    }
    if (!same) return ::testing::AssertionFailure() << "element " << i << " of " << want.size();
  }
  return ::testing::AssertionSuccess();
}

const int kLengths[] = {1,  2,  3,  4,  5,  6,  7,  8,  9,   12,  15,  16,  17,  23,
                        31, 32, 33, 47, 63, 64, 65, 95, 127, 128, 129, 200, 257, 1030};

template <class T>
class Arithmetic : public ::testing::Test {};
using AllTypes = ::testing::Types<float, double, MoxC, MoxZ>;
TYPED_TEST_SUITE(Arithmetic, AllTypes);

TYPED_TEST(Arithmetic, EveryOperationOnEveryLengthTouchesOnlyItsArrays) {
  using T = TypeParam;
  using A = Api<T>;
  forEachLevel([] {
    for (const int n : kLengths) {
      for (const Flush flush : {Flush::AtStart, Flush::AtEnd}) {
        SCOPED_TRACE(n);
        const size_t size = static_cast<size_t>(n);
        const std::vector<T> a = awkward<T>(size, 1), b = awkward<T>(size, 2);
        const T val = makeValue<T>(1.25f, -3.1f);
        const auto expected = [&](auto element) {
          std::vector<T> v(size);
          for (size_t i = 0; i < size; ++i) v[i] = element(i);
          return v;
        };
        Guarded<T> srcA(a, flush), srcB(b, flush);
        srcA.makeReadOnly();
        srcB.makeReadOnly();
        const auto update = [&](auto call, auto element, const char* name) {
          Guarded<T> dst(a, flush);
          call(dst.data());
          EXPECT_TRUE(sameValues(expected(element), dst)) << name;
        };
        update([&](T* d) { A::zero(d, n); }, [&](size_t) { return makeValue<T>(0, 0); }, "Zero");
        update([&](T* d) { A::set(val, d, n); }, [&](size_t) { return val; }, "Set");
        update([&](T* d) { A::copy(srcB.data(), d, n); }, [&](size_t i) { return b[i]; }, "Copy");
        update([&](T* d) { A::add1(val, d, n); }, [&](size_t i) { return plus(a[i], val); }, "Add1");
        update([&](T* d) { A::sub1(val, d, n); }, [&](size_t i) { return minus(a[i], val); }, "Sub1");
        update([&](T* d) { A::mpy1(val, d, n); }, [&](size_t i) { return times(a[i], val); }, "Mpy1");
        update([&](T* d) { A::add2(srcB.data(), d, n); }, [&](size_t i) { return plus(a[i], b[i]); }, "Add2");
        update([&](T* d) { A::sub2(srcB.data(), d, n); }, [&](size_t i) { return minus(a[i], b[i]); }, "Sub2");
        update([&](T* d) { A::mpy2(srcB.data(), d, n); }, [&](size_t i) { return times(a[i], b[i]); }, "Mpy2");
        update([&](T* d) { A::mpy2(d, d, n); }, [&](size_t i) { return times(a[i], a[i]); }, "Mpy2 with itself");
        update([&](T* d) { A::sub3(srcB.data(), d, d, n); }, [&](size_t i) { return minus(b[i], a[i]); },
               "Sub3 in place");
        const auto write = [&](auto call, auto op, const char* name) {
          Guarded<T> dst(size, flush);
          call(srcA.data(), srcB.data(), dst.data(), n);
          EXPECT_TRUE(sameValues(expected([&](size_t i) { return op(a[i], b[i]); }), dst)) << name;
        };
        write(A::add3, plus<T>, "Add3");
        write(A::sub3, minus<T>, "Sub3");
        write(A::mpy3, times<T>, "Mpy3");
      }
    }
  });
}

TYPED_TEST(Arithmetic, ElementAlignmentIsEnough) {
  using T = TypeParam;
  const std::vector<T> a = noise<T>(300, 3), b = noise<T>(300, 4);
  forEachLevel([&] {
    for (size_t shift = 0; shift < 17; ++shift) {
      std::vector<T> dst(300, makeValue<T>(0, 0));
      Api<T>::mpy3(a.data() + shift, b.data() + (shift * 5) % 7, dst.data() + (shift * 3) % 17, 200);
      for (size_t i = 0; i < 200; ++i) {
        ASSERT_TRUE(sameBits(dst[i + (shift * 3) % 17], times(a[i + shift], b[i + (shift * 5) % 7])))
            << shift << " " << i;
      }
    }
  });
}

TYPED_TEST(Arithmetic, OverlappingArraysGiveTheDescendingOrder) {
  using T = TypeParam;
  const int n = 40;
  for (const int shift : {-20, -5, -1, 1, 3, 20}) {
    SCOPED_TRACE(shift);
    const auto check = [&](auto call, auto op, const char* name) {
      std::vector<T> got = noise<T>(100, 5), want = got;
      T* const src = got.data() + 30;
      call(src, src + shift, n);
      for (int i = n; i-- > 0;)
        want[static_cast<size_t>(30 + shift + i)] =
            op(want[static_cast<size_t>(30 + i)], want[static_cast<size_t>(30 + shift + i)]);
      EXPECT_TRUE(sameBits(want, got)) << name;
    };
    check([](const T* s, T* d, int m) { Api<T>::copy(s, d, m); }, [](T a, T) { return a; }, "Copy");
    check([](const T* s, T* d, int m) { Api<T>::add2(s, d, m); }, [](T a, T b) { return plus(b, a); }, "Add2");
    check([](const T* s, T* d, int m) { Api<T>::sub3(s, d, d, m); }, [](T a, T b) { return minus(a, b); }, "Sub3");
    check([](const T* s, T* d, int m) { Api<T>::mpy3(s, s, d, m); }, [](T a, T) { return times(a, a); }, "Mpy3");
  }
}

// Where a product of float32 arithmetic could round otherwise: halves of a unit, parts that cancel, zeros with signs,
// exponents far apart, and all of them after values where nothing is the matter.
TEST(ComplexProducts, RoundOnceWhereTheirPartsCancelOrTie) {
  std::mt19937 random(6);
  const auto integer = [&](int bits) {
    return static_cast<float>(static_cast<int>(random() >> (32 - bits)) - (1 << bits) / 2);
  };
  const auto spread = [&](int exponents) {
    return std::ldexp(integer(25), static_cast<int>(random() % static_cast<unsigned>(exponents)) - exponents / 2);
  };
  const std::function<std::pair<MoxC, MoxC>()> kinds[] = {
      [&] {
        return std::pair(MoxC{integer(14), integer(14)}, MoxC{integer(14), integer(13)});
      },
      [&] {
        return std::pair(MoxC{spread(40), spread(40)}, MoxC{spread(40), spread(40)});
      },
      [&] {
        return std::pair(MoxC{spread(240), spread(240)}, MoxC{spread(240), spread(240)});
      },
      [&] {
        return std::pair(MoxC{spread(4), random() % 2 ? 0.0f : -0.0f}, MoxC{spread(4), random() % 2 ? 0.0f : -0.0f});
      },
      [&] {  // half a unit, and a little that float64 just sees
        const auto odd = [&] { return std::fabs(2 * integer(11)) + 4097; };
        return std::pair(MoxC{odd(), 0x1p-13f}, MoxC{odd(), std::ldexp(integer(4), -14)});
      },
      [&] {  // the products of one part differ by a few units
        const MoxC a{spread(4), spread(4)};
        const auto near = [&](float x) { return x * (1 + (integer(3) * 0x1p-23f)); };
        return random() % 2 ? std::pair(a, MoxC{near(a.im), near(a.re)}) : std::pair(a, MoxC{near(-a.re), near(a.im)});
      }};
  for (const auto& kind : kinds) {
    SCOPED_TRACE(&kind - kinds);
    std::vector<MoxC> a(20000), b(a.size()), want(a.size());
    for (size_t i = 0; i < a.size(); ++i) {
      std::tie(a[i], b[i]) =
          i % 1000 < 100 ? std::pair(MoxC{spread(2), spread(2)}, MoxC{spread(2), spread(2)}) : kind();
      want[i] = times(a[i], b[i]);
    }
    forEachLevel([&] {
      std::vector<MoxC> got(a.size());
      moxcbMpy3(a.data(), b.data(), got.data(), static_cast<int>(got.size()));
      EXPECT_TRUE(sameBits(want, got));
    });
  }
}

TYPED_TEST(Arithmetic, BadArgumentsAreReportedInOrderAndNothingIsWritten) {
  using T = TypeParam;
  using A = Api<T>;
  const std::string prefix = std::string("mox") + A::kLetter + "b";
  const std::vector<T> before = noise<T>(4);
  std::vector<T> x = before, y = before;
  const T val = makeValue<T>(2, 2);
  T* const null = nullptr;
  Reports reports;
  const auto expectReports = [&](auto call, const char* name, std::vector<std::string> conditions) {
    call();
    EXPECT_EQ(moxGetErrStatus(), MOX_StsBadArg) << name;
    for (const Report& r : reports.all()) EXPECT_EQ(r.file, "moxarith");
    for (std::string& c : conditions) c = prefix + name + ": " + c + " (-5)";
    EXPECT_EQ(reports.take(), conditions);
  };
  const std::vector<std::string> dst = {"n<=0", "dst==0"}, srcDst = {"n<=0", "src==0", "dst==0"};
  expectReports([&] { A::zero(null, 0); }, "Zero", dst);
  expectReports([&] { A::set(val, null, -1); }, "Set", dst);
  expectReports([&] { A::copy(null, null, 0); }, "Copy", srcDst);
  expectReports([&] { A::add1(val, null, 0); }, "Add1", dst);
  expectReports([&] { A::sub1(val, null, INT32_MIN); }, "Sub1", dst);
  expectReports([&] { A::mpy1(val, null, 0); }, "Mpy1", dst);
  expectReports([&] { A::add2(null, null, 0); }, "Add2", srcDst);
  expectReports([&] { A::sub2(null, null, 0); }, "Sub2", {"n<=0", "val==0", "dst==0"});
  expectReports([&] { A::mpy2(null, null, 0); }, "Mpy2", srcDst);
  const std::vector<std::string> three = {"n<=0", "srcA==0", "srcB==0", "dst==0"};
  expectReports([&] { A::add3(null, null, null, 0); }, "Add3", three);
  expectReports([&] { A::mpy3(null, null, null, 0); }, "Mpy3", three);
  expectReports([&] { A::sub3(null, null, null, 0); }, "Sub3", {"n<=0", "src==0", "val==0", "dst==0"});
  // One bad argument at a time, the others good.
  expectReports([&] { A::add3(null, y.data(), x.data(), 4); }, "Add3", {"srcA==0"});
  expectReports([&] { A::add3(x.data(), null, x.data(), 4); }, "Add3", {"srcB==0"});
  expectReports([&] { A::sub3(x.data(), y.data(), null, 4); }, "Sub3", {"dst==0"});
  expectReports([&] { A::mpy2(x.data(), y.data(), 0); }, "Mpy2", {"n<=0"});
  EXPECT_TRUE(sameBits(x, before) && sameBits(y, before));

  moxSetErrStatus(MOX_StsNoMem);  // sticky: no work, no further report
  A::zero(x.data(), 4);
  A::add2(y.data(), x.data(), 4);
  EXPECT_TRUE(sameBits(x, before));
  EXPECT_EQ(moxGetErrStatus(), MOX_StsNoMem);
  EXPECT_EQ(reports.take(), std::vector<std::string>());
}

template <class T>
class Conjugation : public ::testing::Test {};
using ComplexTypes = ::testing::Types<MoxC, MoxZ>;
TYPED_TEST_SUITE(Conjugation, ComplexTypes);

TYPED_TEST(Conjugation, FlipsTheSignBitAndNothingElse) {
  using T = TypeParam;
  using A = ConjApi<T>;
  forEachLevel([] {
    for (const int n : kLengths) {
      for (const Flush flush : {Flush::AtStart, Flush::AtEnd}) {
        SCOPED_TRACE(n);
        const size_t size = static_cast<size_t>(n);
        std::vector<T> a = awkward<T>(size, 6);
        a[0].im = 0;
        const uint64_t signaling = 0x7ff4000000012345, signaling32 = 0x7fa01234;
        if constexpr (sizeof(T) == 8) {
          std::memcpy(&a[size / 2].im, &signaling32, 4);
        } else {
          std::memcpy(&a[size / 2].im, &signaling, 8);
        }
        std::vector<T> conj(size), flip(size), extended = a;
        for (size_t i = 0; i < size; ++i) conj[i] = flip[size - 1 - i] = flipped(a[i]);
        extended.insert(extended.end(), flip.begin(), flip.end());
        EXPECT_TRUE(std::signbit(flipped(a[0]).im));

        Guarded<T> src(a, flush), dst(size, flush), vec(a, flush);
        src.makeReadOnly();
        A::conj1(vec.data(), n);
        EXPECT_TRUE(sameBits(conj, vec.values()));
        A::conj2(src.data(), dst.data(), n);
        EXPECT_TRUE(sameBits(conj, dst.values()));
        A::flip2(src.data(), dst.data(), n);
        EXPECT_TRUE(sameBits(flip, dst.values()));
        Guarded<T> twice(2 * size, flush);
        A::extend2(src.data(), twice.data(), n);
        EXPECT_TRUE(sameBits(extended, twice.values()));
        Guarded<T> grown(2 * size, flush);
        std::memcpy(grown.data(), a.data(), size * sizeof(T));
        A::extend1(grown.data(), n);
        EXPECT_TRUE(sameBits(extended, grown.values()));
        A::extend2(grown.data(), grown.data(), n);  // in place it repeats itself
        EXPECT_TRUE(sameBits(extended, grown.values()));
      }
    }
  });
}

TYPED_TEST(Conjugation, FlipInPlaceReadsUpAndWritesDown) {
  using T = TypeParam;
  std::vector<T> got = noise<T>(9), want = got;
  ConjApi<T>::flip2(got.data(), got.data(), 9);
  for (size_t i = 0; i < 9; ++i) want[8 - i] = flipped(want[i]);
  EXPECT_TRUE(sameBits(want, got));
}

TYPED_TEST(Conjugation, BadArguments) {
  using T = TypeParam;
  using A = ConjApi<T>;
  const std::string prefix = std::string("mox") + (sizeof(T) == 8 ? "c" : "z") + "b";
  Reports reports;
  A::conj1(nullptr, 0);
  A::conj2(nullptr, nullptr, 0);
  A::flip2(nullptr, nullptr, 0);
  A::extend1(nullptr, 0);
  A::extend2(nullptr, nullptr, 0);
  std::vector<std::string> want;
  for (const char* name : {"Conj1", "Conj2", "ConjFlip2", "ConjExtend1", "ConjExtend2"}) {
    const bool one = name[std::strlen(name) - 1] == '1';
    want.push_back(prefix + name + ": n<=0 (-5)");
    for (const char* condition :
         one ? std::vector<const char*>{"vec==0"} : std::vector<const char*>{"src==0", "dst==0"}) {
      want.push_back(prefix + name + ": " + condition + " (-5)");
    }
  }
  EXPECT_EQ(reports.take(), want);
}

TEST(ComplexScalars, FollowTheirFormulas) {
  const auto a32 = awkward<MoxC>(300, 8), b32 = awkward<MoxC>(300, 9);
  const auto a64 = awkward<MoxZ>(300, 8), b64 = awkward<MoxZ>(300, 9);
  const auto same = [](auto x, auto y) { return sameReal(x.re, y.re) && sameReal(x.im, y.im); };
  for (size_t i = 0; i < 300; ++i) {
    EXPECT_TRUE(same(moxcAdd(a32[i], b32[i]), plus(a32[i], b32[i])));
    EXPECT_TRUE(same(moxzAdd(a64[i], b64[i]), plus(a64[i], b64[i])));
    EXPECT_TRUE(same(moxcSub(a32[i], b32[i]), minus(a32[i], b32[i])));
    EXPECT_TRUE(same(moxzSub(a64[i], b64[i]), minus(a64[i], b64[i])));
    EXPECT_TRUE(same(moxcMpy(a32[i], b32[i]), times(a32[i], b32[i])));
    EXPECT_TRUE(same(moxzMpy(a64[i], b64[i]), times(a64[i], b64[i])));
    EXPECT_TRUE(same(moxcSet(a32[i].re, a32[i].im), a32[i]));
    EXPECT_TRUE(same(moxzSet(a64[i].re, a64[i].im), a64[i]));
  }
  // The scalar conjugate subtracts: an imaginary -0.0 becomes +0.0, and so does +0.0.
  EXPECT_TRUE(sameBits(moxcConj({1, -0.0f}), MoxC{1, 0}));
  EXPECT_TRUE(sameBits(moxzConj({-2, 0.0}), MoxZ{-2, 0}));
  EXPECT_TRUE(sameBits(moxzConj({-2, 3}), MoxZ{-2, -3}));
}

TEST(ComplexScalars, DivisionMultipliesByTheReciprocal) {
  Reports reports;
  const auto a = noise<MoxZ>(200, 10), b = noise<MoxZ>(200, 11);
  for (size_t i = 0; i < 200; ++i) {
    const double r = 1.0 / (b[i].re * b[i].re + b[i].im * b[i].im);
    EXPECT_TRUE(sameBits(moxzDiv(a[i], b[i]), MoxZ{(a[i].re * b[i].re + a[i].im * b[i].im) * r,
                                                   (a[i].im * b[i].re - a[i].re * b[i].im) * r}));
    const MoxC q = moxcDiv({3, static_cast<float>(a[i].im)}, {static_cast<float>(b[i].re), 2});
    const long double br = static_cast<float>(b[i].re), ai = static_cast<float>(a[i].im), norm = br * br + 4;
    EXPECT_NEAR(q.re, static_cast<double>((3 * br + 2 * ai) / norm), 0x1p-24 * 4);
    EXPECT_NEAR(q.im, static_cast<double>((ai * br - 6) / norm), 0x1p-24 * 4);
  }
  EXPECT_EQ(moxzDiv({1, 0}, {1e-200, 0}).re, HUGE_VAL);  // no guard: the square underflows
  EXPECT_EQ(moxGetErrStatus(), MOX_StsOk);

  EXPECT_TRUE(sameBits(moxcDiv({1, 2}, {-0.0f, 0.0f}), MoxC{0, 0}));
  ASSERT_EQ(reports.all().size(), 1u);
  EXPECT_EQ(reports.all()[0].line, 70);
  EXPECT_EQ(reports.all()[0].file, "moxarith");
  EXPECT_TRUE(sameBits(moxzDiv({1, 2}, {0.0, -0.0}), MoxZ{0, 0}));
  moxSetErrStatus(MOX_StsBadArg);
  EXPECT_EQ(moxzDiv({6, 0}, {2, 0}).re, 3);  // a status left behind does not matter here
  EXPECT_EQ(reports.take(), (std::vector<std::string>{"moxcDiv: (b.re==0.0)&&(b.im==0.0) (-5)",
                                                      "moxzDiv: (b.re==0.0)&&(b.im==0.0) (-5)"}));
}

}  // namespace
