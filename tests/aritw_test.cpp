#include <algorithm>
#include <cmath>

#include "tests/support/support.h"

using namespace moxtest;

namespace {

constexpr int64_t kBeyond = int64_t{1} << 31;  // the imaginary part of (-32768 i)(-32768)

// ---- the rules, in 64-bit arithmetic

int16_t low16(int64_t v) { return static_cast<int16_t>(static_cast<uint16_t>(v)); }
bool fits(int64_t v) { return v >= -32768 && v <= 32767; }
int64_t floorShift(int64_t v, int factor) { return factor >= 63 ? (v < 0 ? -1 : 0) : v >> factor; }

int16_t reduced(int64_t v, int32_t mode, int32_t factor) {
  if (mode == MOX_NoScale) return low16(v);
  if (mode == MOX_NoScaleSat) return static_cast<int16_t>(std::clamp<int64_t>(v, -32768, 32767));
  const bool saturate = mode == MOX_FixScaleSat;
  if (factor >= 0) {
    const int64_t s = floorShift(v, factor);
    return saturate ? static_cast<int16_t>(std::clamp<int64_t>(s, -32768, 32767)) : low16(s);
  }
  const int up = std::min(-factor, 31);
  if (!saturate) return low16(v * (int64_t{1} << up));
  const int64_t high = 32767 >> up, low = up >= 2 ? 0 : -32768 >> up;
  if (v > high) return 32767;
  return v >= low ? low16(v * (1 << up)) : int16_t{-32768};
}

// One element of either type is a list of exact parts.
using Exact = std::vector<int64_t>;
template <class T>
Exact exact(char op, T a, T b) {
  if constexpr (sizeof(T) == 4) {
    const int64_t ar = a.re, ai = a.im, br = b.re, bi = b.im;
    if (op == '+') return {ar + br, ai + bi};
    if (op == '-') return {ar - br, ai - bi};
    return {ar * br - ai * bi, ai * br == 1 << 30 ? kBeyond : ar * bi + ai * br};
  } else {
    const int64_t x = a, y = b;
    return {op == '+' ? x + y : op == '-' ? x - y : x * y};
  }
}
template <class T>
T joined(const std::vector<int16_t>& parts) {
  if constexpr (sizeof(T) == 4) {
    return {parts[0], parts[1]};
  } else {
    return parts[0];
  }
}

// All results of one call, and the factor of mode 4 as the search finds it.
template <class T>
std::vector<T> combined(char op, const std::vector<T>& a, const std::vector<T>& b, int32_t mode, int32_t& factor) {
  std::vector<T> out(a.size());
  if (mode == MOX_AutoScale) {
    factor = 0;
    for (size_t i = 0; i < a.size(); ++i) {
      for (const int64_t v : exact(op, a[i], b[i])) {
        while (!fits(floorShift(v, factor))) ++factor;
      }
    }
  }
  for (size_t i = 0; i < a.size(); ++i) {
    std::vector<int16_t> parts;
    for (const int64_t v : exact(op, a[i], b[i])) {
      if (mode == MOX_AutoScale) {
        parts.push_back(low16(floorShift(v, factor)));
      } else {
        parts.push_back(reduced(v == kBeyond ? kBeyond / 2 : v, mode, factor));
      }
    }
    out[i] = joined<T>(parts);
  }
  return out;
}

template <class T>
struct Api;
#define MOX_ARITH16_API(letter, type)                \
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
MOX_ARITH16_API(w, int16_t)
MOX_ARITH16_API(v, MoxV)

// Any value, extremes often.
template <class T>
std::vector<T> samples(size_t n, uint32_t seed, int32_t limit = 32768) {
  const int16_t extremes[] = {-32768, 32767, -32767, 0, 1, -1, 181, -182};
  std::mt19937 bits(seed);
  std::vector<T> out(n);
  for (T& x : out) {
    std::vector<int16_t> parts(2);
    for (int16_t& p : parts) {
      p = static_cast<int16_t>(static_cast<int32_t>(bits() % static_cast<uint32_t>(2 * limit)) - limit);
      if (limit == 32768 && bits() % 4 == 0) p = extremes[bits() % std::size(extremes)];
    }
    x = joined<T>(parts);
  }
  return out;
}

const int kLengths[] = {1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 32, 33, 63, 64, 65, 100, 257};
struct Mode {
  int32_t mode, factor;
};
const Mode kModes[] = {{0, 5}, {1, 5}, {2, 0},  {2, 1},  {2, 14}, {2, 40},  {2, -1}, {2, -17}, {2, -40}, {3, 0},
                       {3, 1}, {3, 9}, {3, 31}, {3, -1}, {3, -2}, {3, -15}, {4, 0},  {7, 3},   {-1, -3}};

template <class T>
class Arithmetic16 : public ::testing::Test {};
using Types = ::testing::Types<int16_t, MoxV>;
TYPED_TEST_SUITE(Arithmetic16, Types);

TYPED_TEST(Arithmetic16, EveryOperationModeAndLength) {
  using T = TypeParam;
  using A = Api<T>;
  forEachLevel([] {
    for (const int n : kLengths) {
      const size_t size = static_cast<size_t>(n);
      // Small values, too, so that the automatic mode sees every factor.
      for (const int32_t limit : {32768, 150, 300, 2000, 20000}) {
        const std::vector<T> a = samples<T>(size, static_cast<uint32_t>(7 * n + 1), limit),
                             b = samples<T>(size, static_cast<uint32_t>(7 * n + 2), limit);
        const std::vector<T> same(size, b[0]);
        const Flush flush = size % 2 ? Flush::AtStart : Flush::AtEnd;
        Guarded<T> srcA(a, flush), srcB(b, flush);
        srcA.makeReadOnly();
        srcB.makeReadOnly();
        for (const auto& [mode, given] : kModes) {
          SCOPED_TRACE(std::to_string(n) + " elements, mode " + std::to_string(mode) + ", factor " +
                       std::to_string(given));
          const auto expect = [&, mode = mode, given = given](const char* name, char op, const std::vector<T>& x,
                                                              const std::vector<T>& y, auto call) {
            int32_t want = given, got = given;
            const std::vector<T> values = combined(op, x, y, mode, want);
            Guarded<T> dst(a, flush);
            call(dst.data(), &got);
            EXPECT_TRUE(sameBits(values, dst.values())) << name;
            EXPECT_EQ(got, want) << name;
          };
          const int32_t m = mode;
          expect("Add1", '+', a, same, [&](T* d, int32_t* f) { A::add1(b[0], d, n, m, f); });
          expect("Sub1", '-', a, same, [&](T* d, int32_t* f) { A::sub1(b[0], d, n, m, f); });
          expect("Mpy1", '*', a, same, [&](T* d, int32_t* f) { A::mpy1(b[0], d, n, m, f); });
          expect("Add2", '+', a, b, [&](T* d, int32_t* f) { A::add2(srcB.data(), d, n, m, f); });
          expect("Sub2", '-', a, b, [&](T* d, int32_t* f) { A::sub2(srcB.data(), d, n, m, f); });
          expect("Mpy2", '*', a, b, [&](T* d, int32_t* f) { A::mpy2(srcB.data(), d, n, m, f); });
          expect("Add3", '+', a, b, [&](T* d, int32_t* f) { A::add3(srcA.data(), srcB.data(), d, n, m, f); });
          expect("Sub3", '-', a, b, [&](T* d, int32_t* f) { A::sub3(srcA.data(), srcB.data(), d, n, m, f); });
          expect("Mpy3", '*', a, b, [&](T* d, int32_t* f) { A::mpy3(srcA.data(), srcB.data(), d, n, m, f); });
          expect("Mpy3 in place", '*', b, a, [&](T* d, int32_t* f) { A::mpy3(srcB.data(), d, d, n, m, f); });
        }
        Guarded<T> moved(size, flush);
        A::copy(srcA.data(), moved.data(), n);
        EXPECT_TRUE(sameBits(a, moved.values()));
        A::set(b[0], moved.data(), n);
        EXPECT_TRUE(sameBits(same, moved.values()));
        A::zero(moved.data(), n);
        EXPECT_TRUE(sameBits(std::vector<T>(size), moved.values()));
      }
    }
  });
}

TEST(Arithmetic16All, ProductsOfEveryPairOfAColumn) {
  // Every int16 against values around the powers of two and the ends.
  std::vector<int16_t> every(65536);
  for (size_t i = 0; i < every.size(); ++i) every[i] = static_cast<int16_t>(static_cast<int32_t>(i) - 32768);
  std::vector<int16_t> got(every.size());
  forEachLevel([&] {
    for (int bit = 0; bit < 16; ++bit) {
      for (const int offset : {-1, 0, 1}) {
        const int16_t val = low16((int64_t{1} << bit) + offset);
        const std::vector<int16_t> same(every.size(), val);
        for (const Mode m : {Mode{0, 0}, {1, 0}, {2, 7}, {3, 7}, {3, -1}, {4, 0}}) {
          int32_t want = m.factor, factor = m.factor;
          const auto values = combined('*', every, same, m.mode, want);
          moxwbMpy3(every.data(), same.data(), got.data(), 65536, m.mode, &factor);
          ASSERT_TRUE(sameBits(values, got)) << val << " mode " << m.mode;
          ASSERT_EQ(factor, want);
        }
      }
    }
  });
}

TEST(Arithmetic16All, OneSumThatDoesNotFit) {
  forEachLevel([] {
    for (const size_t n : {size_t{40}, size_t{1024}, size_t{1500}}) {
      std::vector<int16_t> x(n, 16383), got(n);
      int32_t factor = -1;
      moxwbAdd3(x.data(), x.data(), got.data(), static_cast<int32_t>(n), MOX_AutoScale, &factor);
      EXPECT_EQ(factor, 0);
      for (size_t at = 0; at < n; at += 13) {
        x[at] = 16384;
        moxwbAdd3(x.data(), x.data(), got.data(), static_cast<int32_t>(n), MOX_AutoScale, &factor);
        ASSERT_EQ(factor, 1) << at << " of " << n;
        x[at] = 16383;
      }
    }
  });
}

TYPED_TEST(Arithmetic16, NullFactorsAndOverlap) {
  using T = TypeParam;
  using A = Api<T>;
  const std::vector<T> a = samples<T>(20, 3), b = samples<T>(20, 4);
  std::vector<T> x = a;
  int32_t none = 0;
  for (const int32_t mode : {2, 3}) {
    x = a;
    A::mpy2(b.data(), x.data(), 20, mode, nullptr);
    EXPECT_TRUE(sameBits(combined('*', a, b, mode, none), x));
  }
  // Descending order: dst = src + 1, so every result feeds on untouched elements; dst = src - 1, so it feeds on
  // results.
  for (const int shift : {1, -1, 3, -3}) {
    std::vector<T> got = a, want = a;
    A::add2(got.data() + 5, got.data() + 5 + shift, 10, MOX_NoScaleSat, nullptr);
    for (int i = 10; i-- > 0;) {
      const size_t s = static_cast<size_t>(5 + i), d = static_cast<size_t>(5 + shift + i);
      want[d] = combined('+', std::vector<T>{want[d]}, std::vector<T>{want[s]}, MOX_NoScaleSat, none)[0];
    }
    EXPECT_TRUE(sameBits(want, got)) << shift;
  }
  // The automatic mode, where an early result is shifted later.
  std::vector<T> got(4, joined<T>({100, 100}));
  got[0] = joined<T>({30000, 30000});
  int32_t factor = 9;
  A::add3(got.data(), got.data(), got.data() + 1, 3, MOX_AutoScale, &factor);
  EXPECT_EQ(factor, 1);
  const std::vector<T> want = {joined<T>({30000, 30000}), joined<T>({30000, 30000}), joined<T>({100, 100}),
                               joined<T>({100, 100})};
  EXPECT_TRUE(sameBits(want, got));
}

TYPED_TEST(Arithmetic16, BadArguments) {
  using T = TypeParam;
  using A = Api<T>;
  const std::string prefix = std::string("mox") + A::kLetter + "b";
  const std::vector<T> before = samples<T>(3, 1);
  std::vector<T> x = before;
  T* const null = nullptr;
  Reports reports;
  std::vector<std::string> want;
  const auto expect = [&](const char* name, std::vector<const char*> conditions) {
    for (const char* c : conditions) want.push_back(prefix + name + ": " + c + " (-5)");
    EXPECT_EQ(reports.take(), want);
    want.clear();
  };
  A::zero(null, 0);
  expect("Zero", {"n<=0", "dst==0"});
  A::set(before[0], null, 0);
  expect("Set", {"n<=0", "dst==0"});
  A::copy(null, null, 0);
  expect("Copy", {"n<=0", "src==0", "dst==0"});
  A::add1(before[0], null, 0, 4, nullptr);  // the factor is not looked at
  expect("Add1", {"n<=0", "dst==0"});
  A::sub2(null, null, 0, 4, nullptr);
  expect("Sub2", {"n<=0", "val==0", "dst==0"});
  A::mpy2(null, null, -3, 0, nullptr);
  expect("Mpy2", {"n<=0", "src==0", "dst==0"});
  A::sub3(null, null, null, 0, 0, nullptr);
  expect("Sub3", {"n<=0", "src==0", "val==0", "dst==0"});
  A::add3(null, null, null, 0, 0, nullptr);
  expect("Add3", {"n<=0", "srcA==0", "srcB==0", "dst==0"});
  A::mpy3(x.data(), x.data(), x.data(), 3, MOX_AutoScale, nullptr);
  expect("Mpy3", {"scalefactor==0"});
  A::sub1(before[0], x.data(), 3, MOX_AutoScale, nullptr);
  expect("Sub1", {"scalefactor==0"});
  A::add2(x.data(), x.data(), 3, MOX_AutoScale, nullptr);
  expect("Add2", {"scalefactor==0"});
  moxSetErrStatus(MOX_StsNoMem);
  A::mpy1(before[0], x.data(), 3, 0, nullptr);
  EXPECT_EQ(moxGetErrStatus(), MOX_StsNoMem);
  EXPECT_TRUE(sameBits(before, x));
}

TEST(ComplexInt16, ConjugatesWrap) {
  for (const int n : {1, 2, 7, 8, 9, 40}) {
    const size_t size = static_cast<size_t>(n);
    std::vector<MoxV> a = samples<MoxV>(size, 5);
    a[0] = {-32768, -32768};
    std::vector<MoxV> conj(size), flip(size);
    for (size_t i = 0; i < size; ++i) conj[i] = flip[size - 1 - i] = {a[i].re, low16(-a[i].im)};
    std::vector<MoxV> extended = a;
    extended.insert(extended.end(), flip.begin(), flip.end());
    forEachLevel([&] {
      Guarded<MoxV> src(a, Flush::AtEnd), dst(size), twice(2 * size);
      src.makeReadOnly();
      moxvbConj2(src.data(), dst.data(), n);
      EXPECT_TRUE(sameBits(conj, dst.values()));
      moxvbConj1(dst.data(), n);
      EXPECT_TRUE(sameBits(a, dst.values()));
      moxvbConjFlip2(src.data(), dst.data(), n);
      EXPECT_TRUE(sameBits(flip, dst.values()));
      moxvbConjExtend2(src.data(), twice.data(), n);
      EXPECT_TRUE(sameBits(extended, twice.values()));
      std::fill(twice.data() + size, twice.data() + 2 * size, MoxV{1, 1});
      moxvbConjExtend1(twice.data(), n);
      EXPECT_TRUE(sameBits(extended, twice.values()));
    });
  }
  Reports reports;
  moxvbConj1(nullptr, 0);
  moxvbConj2(nullptr, nullptr, 0);
  moxvbConjFlip2(nullptr, nullptr, 1);
  moxvbConjExtend1(nullptr, 1);
  moxvbConjExtend2(nullptr, nullptr, 1);
  EXPECT_EQ(reports.take(),
            (std::vector<std::string>{
                "moxvbConj1: n<=0 (-5)", "moxvbConj1: vec==0 (-5)", "moxvbConj2: n<=0 (-5)", "moxvbConj2: src==0 (-5)",
                "moxvbConj2: dst==0 (-5)", "moxvbConjFlip2: src==0 (-5)", "moxvbConjFlip2: dst==0 (-5)",
                "moxvbConjExtend1: vec==0 (-5)", "moxvbConjExtend2: src==0 (-5)", "moxvbConjExtend2: dst==0 (-5)"}));
}

TEST(ComplexInt16, Scalars) {
  const auto same = [](MoxV a, MoxV b) { return a.re == b.re && a.im == b.im; };
  Reports reports;
  int32_t factor = 0;
  EXPECT_TRUE(same(moxvConj({3, -32768}), {3, -32768}));
  EXPECT_TRUE(same(moxvSet(4, -5), {4, -5}));
  EXPECT_TRUE(same(moxvAdd({30000, -30000}, {30000, -30000}, MOX_AutoScale, &factor), {30000, -30000}));
  EXPECT_EQ(factor, 1);
  EXPECT_TRUE(same(moxvSub({30000, 1}, {-30000, 2}, MOX_NoScaleSat, nullptr), {32767, -1}));
  EXPECT_EQ(reports.take(), std::vector<std::string>());

  EXPECT_TRUE(same(moxvMpy({3, 4}, {5, -6}, MOX_NoScale, nullptr), {39, 2}));
  ASSERT_EQ(reports.all().size(), 1u);  // the trace, and no change of the status
  EXPECT_EQ(reports.all()[0].line, 298);
  EXPECT_EQ(moxGetErrStatus(), MOX_StsOk);
  EXPECT_EQ(reports.take(), std::vector<std::string>{"moxvMpy: (null) (-1)"});
  EXPECT_TRUE(same(moxvMpy({-32768, -32768}, {-32768, -32768}, MOX_AutoScale, &factor), {0, 16384}));
  EXPECT_EQ(factor, 17);
  EXPECT_TRUE(same(moxvMpy({1, 1}, {1, 1}, MOX_AutoScale, nullptr), {0, 0}));
  EXPECT_EQ(reports.take(), (std::vector<std::string>{"moxvMpy: (null) (-1)", "moxvbMpy3: scalefactor==0 (-5)",
                                                      "moxvMpy: (null) (-1)"}));

  std::mt19937 bits(9);
  for (int i = 0; i < 20000; ++i) {
    const auto part = [&] { return low16(static_cast<int64_t>(bits()) >> (bits() % 16)); };
    const MoxV a = {part(), part()}, b = {part(), part()};
    const int64_t norm = int64_t{b.re} * b.re + int64_t{b.im} * b.im;
    if (norm == 0 || norm == kBeyond) continue;
    const auto quotient = [&](int64_t v) {
      return std::clamp<long double>(std::nearbyintl(static_cast<long double>(v) / static_cast<long double>(norm)),
                                     -32768, 32767);
    };
    const MoxV q = moxvDiv(a, b);
    const int64_t re = int64_t{a.re} * b.re + int64_t{a.im} * b.im, im = int64_t{a.im} * b.re - int64_t{a.re} * b.im;
    // The product with the rounded reciprocal may fall to either side of an exact half.
    EXPECT_NEAR(static_cast<double>(quotient(re)), q.re, 2 * std::llabs(re) % (2 * norm) == norm ? 1 : 0);
    EXPECT_NEAR(static_cast<double>(quotient(im)), q.im, 2 * std::llabs(im) % (2 * norm) == norm ? 1 : 0);
  }
  EXPECT_TRUE(same(moxvDiv({5, -3}, {2, 0}), {2, -2}));  // halves go to the even neighbour
  EXPECT_TRUE(same(moxvDiv({32767, -32768}, {1, 0}), {32767, -32768}));
  EXPECT_TRUE(same(moxvDiv({-32768, 0}, {-1, 0}), {32767, 0}));
  EXPECT_TRUE(same(moxvDiv({-32768, -32768}, {-32768, -32768}), {-1, 0}));  // the sum of squares wraps
  EXPECT_TRUE(same(moxvDiv({1, 1}, {0, 0}), {0, 0}));
  ASSERT_EQ(reports.all().size(), 1u);
  EXPECT_EQ(reports.all()[0].line, 315);
  EXPECT_EQ(reports.take(), std::vector<std::string>{"moxvDiv: (b.re==0)&&(b.im==0) (-5)"});
}

}  // namespace
