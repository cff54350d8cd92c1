#include <algorithm>
#include <climits>
#include <cmath>

#include "tests/fir_oracle.h"
#include "tests/support/support.h"

using namespace moxtest;

namespace {

// ---- the definition, in extended precision

struct Sum {
  Parts value, size;  // and the sum of the products' sizes
};
template <class A, class B>
Sum sumOf(const std::vector<A>& a, const std::vector<B>& b, int64_t k) {
  Sum s = {};
  const int64_t lenA = static_cast<int64_t>(a.size()), lenB = static_cast<int64_t>(b.size());
  for (int64_t n = std::max<int64_t>(0, -k); n < std::min(lenA, lenB - k); ++n) {
    const Parts x = parts(a[static_cast<size_t>(n)]), y = parts(b[static_cast<size_t>(n + k)]);
    s.value.re += x.re * y.re + x.im * y.im;
    s.value.im += x.re * y.im - x.im * y.re;
    s.size.re += std::fabs(x.re * y.re) + std::fabs(x.im * y.im);
    s.size.im += std::fabs(x.re * y.im) + std::fabs(x.im * y.re);
  }
  return s;
}
template <class T>
long double norm(const std::vector<T>& v) {
  return std::sqrt(sumOf(v, v, 0).value.re);
}

template <class A, class B>
struct Case {
  std::vector<A> a;
  std::vector<B> b;
  int64_t lo;
  std::vector<Sum> exact;
  bool transforms;  // whether results may be those of transforms

  Case(const std::vector<A>& x, const std::vector<B>& y, int64_t from, int64_t to, bool byTransforms)
      : a(x), b(y), lo(from), transforms(byTransforms) {
    for (int64_t k = from; k <= to; ++k) exact.push_back(sumOf(a, b, k));
  }

  template <class R>
  void expect(const R* got, double (*factor)(int64_t k, int64_t len) = nullptr) const {
    const bool single = sizeof(typename Traits<R>::Real) == 4;
    const long double unit = single ? 0x1p-24L : 0x1p-53L;
    const long double spread = transforms ? norm(a) * norm(b) * (single ? 0x1p-20L : 0x1p-49L) : 0;
    const long double terms = static_cast<long double>(std::min(a.size(), b.size()));
    for (size_t i = 0; i < exact.size(); ++i) {
      const long double by = factor ? factor(lo + static_cast<int64_t>(i), static_cast<int64_t>(a.size())) : 1;
      const Parts y = parts(got[i]), want = exact[i].value, size = exact[i].size;
      const auto bound = [&](long double value, long double sizes) {
        return by * ((terms + 4) * 0x1p-53L * sizes + 2 * unit * std::fabs(value) + spread);
      };
      ASSERT_LE(std::fabs(y.re - by * want.re), bound(want.re, size.re)) << "lag " << lo + static_cast<int64_t>(i);
      ASSERT_LE(std::fabs(y.im - by * want.im), bound(want.im, size.im)) << "lag " << lo + static_cast<int64_t>(i);
    }
  }
};

// ---- the functions

template <class T>
struct Auto {
  using Type = T;
  void (*call)(const T*, int32_t, T*, int32_t, int32_t);
  const char* name;
};
template <class Check>
void forEachAuto(Check check) {
  check(Auto<float>{moxsAutoCorr, "moxsAutoCorr"});
  check(Auto<double>{moxdAutoCorr, "moxdAutoCorr"});
  check(Auto<MoxC>{moxcAutoCorr, "moxcAutoCorr"});
  check(Auto<MoxZ>{moxzAutoCorr, "moxzAutoCorr"});
}
template <class A, class B, class R>
struct Cross {
  using TypeA = A;
  using TypeB = B;
  using Result = R;
  void (*call)(const A*, int32_t, const B*, int32_t, R*, int32_t, int32_t);
  const char* name;
};
template <class Check>
void forEachCross(Check check) {
  check(Cross<float, float, float>{moxsCrossCorr, "moxsCrossCorr"});
  check(Cross<double, double, double>{moxdCrossCorr, "moxdCrossCorr"});
  check(Cross<MoxC, MoxC, MoxC>{moxcCrossCorr, "moxcCrossCorr"});
  check(Cross<MoxZ, MoxZ, MoxZ>{moxzCrossCorr, "moxzCrossCorr"});
  check(Cross<float, MoxC, MoxC>{moxscCrossCorr, "moxscCrossCorr"});
  check(Cross<MoxC, float, MoxC>{moxcsCrossCorr, "moxcsCrossCorr"});
  check(Cross<double, MoxZ, MoxZ>{moxdzCrossCorr, "moxdzCrossCorr"});
  check(Cross<MoxZ, double, MoxZ>{moxzdCrossCorr, "moxzdCrossCorr"});
}

// ---- tests

struct AutoShape {
  int len, nLags;
  bool transforms;
};
// The transforms: one block, whole and in part; several; many; a last block of one value.
const AutoShape kAutoShapes[] = {
    {1, 1, false},     {2, 2, false},     {17, 17, false},   {30, 9, false},    {800, 4, false},
    {777, 8, false},   {40, 40, false},   {300, 300, true},  {1025, 600, true}, {1500, 1500, true},
    {4096, 256, true}, {4097, 256, true}, {3000, 100, true}, {20000, 33, true},
};

TEST(AutoCorrelation, MatchesItsDefinitionInEveryNormalisation) {
  forEachAuto([](auto form) {
    using T = typename decltype(form)::Type;
    for (const AutoShape& shape : kAutoShapes) {
      const size_t lags = static_cast<size_t>(shape.nLags);
      const auto x = noise<T>(static_cast<size_t>(shape.len), 7);
      const Case<T, T> want(x, x, 0, shape.nLags - 1, shape.transforms);
      forEachLevel([&] {
        for (const Flush flush : {Flush::AtStart, Flush::AtEnd}) {
          SCOPED_TRACE(::testing::Message() << form.name << " " << shape.len << ", " << shape.nLags << " lags");
          Guarded<T> src(x, flush), dst(lags, flush);
          src.makeReadOnly();
          for (const int32_t type : {0, 3, -1, INT32_MAX}) {
            form.call(src.data(), shape.len, dst.data(), shape.nLags, type);
            want.expect(dst.data());
          }
          form.call(src.data(), shape.len, dst.data(), shape.nLags, 1);
          want.expect(dst.data(), [](int64_t, int64_t len) { return 1 / static_cast<double>(len); });
          form.call(src.data(), shape.len, dst.data(), shape.nLags, 2);
          want.expect(dst.data(), [](int64_t k, int64_t len) { return 1 / static_cast<double>(len - k); });
        }
      });
    }
  });
}

// What goes through transforms: nothing, complex sequences, all.
enum class By { sums, either, transforms };
struct CrossShape {
  int lenA, lenB, lo, hi;
  By by;
};
// Lags on either side of zero, across it, beyond the lengths; sequences of like and unlike lengths, few lags and all.
const CrossShape kCrossShapes[] = {
    {1, 1, 0, 0, By::sums},
    {1, 1, -3, 3, By::sums},
    {5, 9, -7, 12, By::sums},
    {9, 5, -12, 7, By::sums},
    {40, 40, -39, 39, By::sums},
    {33, 1, -40, 3, By::sums},
    {1, 33, -3, 40, By::sums},
    {700, 800, -3, 5, By::sums},
    {700, 90, -650, -644, By::sums},
    {90, 700, 669, 680, By::sums},
    {600, 600, -598, -589, By::sums},
    {3000, 3000, 1000, 1013, By::sums},
    {600, 600, -570, -539, By::either},
    {200, 200, -199, 199, By::transforms},
    {1024, 1024, -1023, 1023, By::transforms},
    {1500, 1500, -40, 50, By::transforms},
    {20000, 19000, 5, 60, By::transforms},
    {100, 5000, -99, 4999, By::transforms},
    {5000, 100, -4999, 99, By::transforms},
    {3000, 3000, 2500, 3100, By::transforms},
    {5000, 5000, -4000, 200, By::transforms},
    {2000, 60, -3000, 3000, By::transforms},
};

TEST(CrossCorrelation, MatchesItsDefinition) {
  forEachCross([](auto form) {
    using A = typename decltype(form)::TypeA;
    using B = typename decltype(form)::TypeB;
    using R = typename decltype(form)::Result;
    for (const CrossShape& shape : kCrossShapes) {
      const Case<A, B> want(noise<A>(static_cast<size_t>(shape.lenA), 3), noise<B>(static_cast<size_t>(shape.lenB), 4),
                            shape.lo, shape.hi, shape.by > (Traits<R>::complex ? By::sums : By::either));
      forEachLevel([&] {
        for (const Flush flush : {Flush::AtStart, Flush::AtEnd}) {
          SCOPED_TRACE(::testing::Message() << form.name << " " << shape.lenA << " " << shape.lenB << ", lags "
                                            << shape.lo << " to " << shape.hi);
          Guarded<A> a(want.a, flush);
          Guarded<B> b(want.b, flush);
          a.makeReadOnly();
          b.makeReadOnly();
          Guarded<R> dst(want.exact.size(), flush);
          form.call(a.data(), shape.lenA, b.data(), shape.lenB, dst.data(), shape.lo, shape.hi);
          want.expect(dst.data());
        }
      });
    }
  });
}

TEST(CrossCorrelation, LagsAtTheEndsOfTheirType) {
  forEachCross([](auto form) {
    using A = typename decltype(form)::TypeA;
    using B = typename decltype(form)::TypeB;
    using R = typename decltype(form)::Result;
    const auto a = noise<A>(100, 1);
    const auto b = noise<B>(70, 2);
    for (const int32_t lo : {INT32_MIN, INT32_MIN + 1, -103, 65, INT32_MAX - 5}) {
      Guarded<R> dst(6);
      form.call(a.data(), 100, b.data(), 70, dst.data(), lo, lo + 5);
      Case<A, B>(a, b, lo, int64_t{lo} + 5, false).expect(dst.data());
    }
  });
  // The lengths' products, too, exceed what an int32 holds.
  const size_t n = 100000;
  const std::vector<float> ones(n, 1);
  std::vector<float> dst(2 * n - 1);
  moxsCrossCorr(ones.data(), n, ones.data(), n, dst.data(), 1 - static_cast<int32_t>(n), static_cast<int32_t>(n) - 1);
  EXPECT_NEAR(dst[n - 1], 1e5, 1);
  EXPECT_NEAR(dst[0], 1, 0.1);
  EXPECT_NEAR(dst[n + 49999], 5e4, 1);
}

// Sums, of few lags and of many; transforms, in every arrangement.
TEST(Correlation, AnInfinityReachesOnlyTheLagsOfItsTerms) {
  forEachLevel([] {
    struct {
      int lenA, lenB, at, lo, hi;
    } const shapes[] = {{60, 60, 3, -59, 59},     {90, 90, 85, -8, 9},      {1024, 1024, 1000, -1023, 1023},
                        {2000, 2000, 5, -40, 60}, {64, 3000, 0, -63, 2999}, {3000, 64, 2500, -2999, 63}};
    for (const auto& s : shapes) {
      for (const bool inA : {true, false}) {
        std::vector<float> a(static_cast<size_t>(s.lenA), 1), b(static_cast<size_t>(s.lenB), 1);
        std::vector<float> r(static_cast<size_t>(s.hi - s.lo + 1));
        const int at = inA ? s.at : s.lenB - 1 - s.at % s.lenB;
        (inA ? a : b)[static_cast<size_t>(at)] = INFINITY;
        moxsCrossCorr(a.data(), s.lenA, b.data(), s.lenB, r.data(), s.lo, s.hi);
        for (int k = s.lo; k <= s.hi; ++k) {
          const int other = inA ? at + k : at - k;
          const bool meets = other >= 0 && other < (inA ? s.lenB : s.lenA);
          const int terms = std::min(s.lenA, s.lenB - k) - std::max(0, -k);
          ASSERT_EQ(r[static_cast<size_t>(k - s.lo)], meets ? INFINITY : static_cast<float>(terms))
              << s.lenA << " and " << s.lenB << ", lag " << k << (inA ? ", in a" : ", in b");
        }
      }
    }
    // Squares beyond float32, which sums bring back with 1/len.
    const std::vector<float> large(1000, 0x1p64f);
    std::vector<float> r(1000);
    moxsAutoCorr(large.data(), 1000, r.data(), 1000, 1);
    EXPECT_EQ(r[0], INFINITY);
    const std::vector<float> larger(1000, 0x1p60f);
    moxsAutoCorr(larger.data(), 1000, r.data(), 1000, 1);
    EXPECT_EQ(r[0], 0x1p120f);
    moxsAutoCorr(larger.data(), 1000, r.data(), 1000, 2);
    EXPECT_EQ(r[999], 0x1p120f);
  });
}

TEST(Correlation, SameBitsOnEverySet) {
  // Sums of float32 products on every set, all else on those with fused multiply-add.
  std::vector<std::vector<float>> sums;
  std::vector<std::vector<double>> others;
  forEachLevel([&] {
    std::vector<float> s;
    std::vector<double> o;
    const auto a = noise<MoxC>(2000, 1), b = noise<MoxC>(2000, 2);
    const auto x = noise<MoxZ>(2000, 3);
    for (const int n : {50, 100, 300}) {
      std::vector<MoxC> r(12);
      moxcCrossCorr(a.data(), n, b.data(), n, r.data(), -5, 6);
      for (const MoxC v : r) s.insert(s.end(), {v.re, v.im});
      std::vector<float> real(20);
      moxsAutoCorr(&a[0].re, n, real.data(), 20, 2);
      s.insert(s.end(), real.begin(), real.end());
    }
    for (const int lags : {20, 500, 2000}) {
      std::vector<MoxZ> r(2000);
      std::vector<float> f(2000);
      moxzAutoCorr(x.data(), 2000, r.data(), lags, 2);
      moxsCrossCorr(&a[0].re, 2000, &b[0].re, 1900, f.data(), -lags / 2, lags / 2 - 1);
      for (const MoxZ v : r) o.insert(o.end(), {v.re, v.im});
      o.insert(o.end(), f.begin(), f.end());
    }
    sums.push_back(s);
    others.push_back(o);
  });
  for (const auto& s : sums) EXPECT_TRUE(sameBits(s, sums[0]));
  if (others.size() > 2) {
    EXPECT_TRUE(sameBits(others[1], others[2]));
  }
}

// ---- int16

int32_t wrapped(int64_t v) { return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(v))); }
struct Parts16 {
  int64_t re, im;
};
Parts16 parts16(int16_t x) { return {x, 0}; }
Parts16 parts16(MoxV x) { return {x.re, x.im}; }
void append(std::vector<int16_t>& to, int16_t x) { to.push_back(x); }
void append(std::vector<int16_t>& to, MoxV x) { to.insert(to.end(), {x.re, x.im}); }

// Parts of the results, by the definition and the wording of the modes.
struct Reduced {
  std::vector<int16_t> parts;
  int32_t factor;
};
Reduced reduced(const std::vector<Parts16>& sums, const std::vector<int32_t>& divisors, size_t width, int mode,
                int32_t given) {
  Reduced r = {{}, mode & 2 ? given : 0};
  const auto shifted = [](int64_t v, int32_t by) {
    if (by >= 0) return v >> std::min(by, 62);
    return int64_t{by > -32 ? wrapped(v * (int64_t{1} << -by)) : 0};
  };
  for (size_t k = 0; k < sums.size(); ++k) {
    int64_t v[2] = {shifted(wrapped(sums[k].re) / divisors[k], r.factor),
                    shifted(wrapped(sums[k].im) / divisors[k], r.factor)};
    const int64_t size = std::max(std::abs(v[0]), std::abs(v[1]));
    const bool fits = std::min(v[0], v[1]) >= -32768 && std::max(v[0], v[1]) <= 32767;
    if (mode & 4 && !fits) {
      int more = -14;
      for (int64_t s = size; s > 1; s /= 2) ++more;
      for (int16_t& y : r.parts) y = static_cast<int16_t>(y >> more);
      v[0] >>= more;
      v[1] >>= more;
      r.factor += more;
    }
    for (size_t i = 0; i < width; ++i) {
      r.parts.push_back(static_cast<int16_t>(mode & 1 ? std::clamp<int64_t>(v[i], -32768, 32767) : v[i]));
    }
  }
  return r;
}

template <class T>
std::vector<T> integers(size_t n, uint32_t seed, int limit) {
  std::mt19937 bits(seed);
  const auto next = [&] {
    return static_cast<int16_t>(static_cast<int>(bits() % (2 * static_cast<unsigned>(limit))) - limit);
  };
  std::vector<T> v(n);
  for (T& x : v) {
    if constexpr (sizeof(T) == sizeof(MoxV)) {
      x.re = next();
      x.im = next();
    } else {
      x = next();
    }
  }
  return v;
}

template <class A, class B>
std::vector<Parts16> sums16(const std::vector<A>& a, const std::vector<B>& b, int64_t lo, int64_t hi) {
  std::vector<Parts16> sums;
  for (int64_t k = lo; k <= hi; ++k) {
    Parts16 s = {};
    for (int64_t n = 0; n < static_cast<int64_t>(a.size()); ++n) {
      if (n + k < 0 || n + k >= static_cast<int64_t>(b.size())) continue;
      const Parts16 x = parts16(a[static_cast<size_t>(n)]), y = parts16(b[static_cast<size_t>(n + k)]);
      s.re += x.re * y.re + x.im * y.im;
      s.im += x.re * y.im - x.im * y.re;
    }
    sums.push_back(s);
  }
  return sums;
}

// `call` on a result array of the right length in every mode with every factor.
template <class R, class Call>
void expectModes(const std::vector<Parts16>& sums, const std::vector<int32_t>& divisors, Call call) {
  for (int mode = 0; mode < 8; ++mode) {
    for (const int32_t factor : {0, 7, -3, 31, 40, INT32_MAX, -32, INT32_MIN}) {
      if (factor != 7 && !(mode & 2)) continue;
      const Reduced want = reduced(sums, divisors, sizeof(R) / 2, mode, factor);
      int32_t found = factor;
      for (int32_t* const scalePtr : {&found, static_cast<int32_t*>(nullptr)}) {
        if (!scalePtr && mode & 2 && factor != 0) continue;
        Guarded<R> dst(sums.size());
        call(dst.data(), mode, scalePtr);
        std::vector<int16_t> got;
        for (size_t i = 0; i < sums.size(); ++i) append(got, dst.data()[i]);
        ASSERT_EQ(got, want.parts) << "mode " << mode << ", factor " << factor;
      }
      ASSERT_EQ(found, mode & 4 ? want.factor : factor) << "mode " << mode;
    }
  }
}

template <class A, class B, class R>
void expectCross16(const char* name,
                   void (*call)(const A*, int32_t, const B*, int32_t, R*, int32_t, int32_t, int32_t, int32_t*)) {
  SCOPED_TRACE(name);
  uint32_t seed = 0;
  for (const CrossShape& shape : {CrossShape{1, 1, 0, 0, By::sums},
                                  {3, 7, -5, 9, By::sums},
                                  {100, 37, -101, 40, By::sums},
                                  {300, 300, -7, 5, By::sums},
                                  {65, 130, INT32_MAX - 3, INT32_MAX, By::sums},
                                  {65, 130, INT32_MIN, INT32_MIN + 3, By::sums}}) {
    for (const int limit : {20, 1000, 32768}) {
      const auto a = integers<A>(static_cast<size_t>(shape.lenA), ++seed, limit);
      const auto b = integers<B>(static_cast<size_t>(shape.lenB), ++seed, limit);
      const auto sums = sums16(a, b, shape.lo, shape.hi);
      forEachLevel([&] {
        Guarded<A> srcA(a, Flush::AtEnd);
        Guarded<B> srcB(b, Flush::AtEnd);
        srcA.makeReadOnly();
        srcB.makeReadOnly();
        expectModes<R>(sums, std::vector<int32_t>(sums.size(), 1), [&](R* dst, int32_t mode, int32_t* scalePtr) {
          call(srcA.data(), shape.lenA, srcB.data(), shape.lenB, dst, shape.lo, shape.hi, mode, scalePtr);
        });
      });
    }
  }
}

template <class T>
void expectAuto16(const char* name, void (*call)(const T*, int32_t, T*, int32_t, int32_t, int32_t, int32_t*)) {
  SCOPED_TRACE(name);
  for (const int32_t len : {1, 2, 30, 333}) {
    const auto x = integers<T>(static_cast<size_t>(len), static_cast<uint32_t>(len), len < 30 ? 32768 : 1000);
    const auto sums = sums16(x, x, 0, len - 1);
    for (const int32_t type : {0, 1, 2, 3, -1}) {
      std::vector<int32_t> divisors;
      for (int32_t k = 0; k < len; ++k) divisors.push_back(type == 1 ? len : type == 2 ? len - k : 1);
      forEachLevel([&] {
        expectModes<T>(sums, divisors, [&](T* dst, int32_t mode, int32_t* scalePtr) {
          call(x.data(), len, dst, len, type, mode, scalePtr);
        });
      });
    }
  }
}

TEST(Correlation16, MatchesItsDefinitionInEveryMode) {
  expectAuto16("moxwAutoCorr", moxwAutoCorr);
  expectAuto16("moxvAutoCorr", moxvAutoCorr);
  expectCross16("moxwCrossCorr", moxwCrossCorr);
  expectCross16("moxvCrossCorr", moxvCrossCorr);
  expectCross16("moxwvCrossCorr", moxwvCrossCorr);
  expectCross16("moxvwCrossCorr", moxvwCrossCorr);
}

TEST(Correlation16, ASumOfTheLargestNegativeNumber) {
  const std::vector<int16_t> a = {INT16_MIN, INT16_MIN};  // 2^30 + 2^30 wraps
  int16_t r[2];
  int32_t factor = 0;
  moxwAutoCorr(a.data(), 2, r, 2, 0, MOX_AutoScale, &factor);
  EXPECT_EQ(r[0], -16384);
  EXPECT_EQ(factor, 17);
  EXPECT_EQ(r[1], 8192);
}

// ---- reports

TEST(Correlation, Reports) {
  Reports reports;
  const auto expect = [&](const char* module, std::string name, std::vector<std::string> conditions) {
    for (const Report& r : reports.all()) {
      EXPECT_EQ(r.file, module);
      EXPECT_EQ(r.line, reports.all()[0].line);
    }
    for (std::string& c : conditions) c = name + ": " + c + " (-5)";
    EXPECT_EQ(reports.take(), conditions);
  };
  const std::vector<std::string> autoConditions = {"Null SRC buffer pointer", "Null DST buffer pointer",
                                                   "Invalid SRC buffer length", "Invalid LAG value",
                                                   "Invalid LAG value"};
  const auto checkAuto = [&](const char* module, const char* name, auto call, auto x) {
    decltype(x) src[3] = {x, x, x}, dst[4] = {x, x, x, x}, before[4] = {x, x, x, x}, *none = nullptr;
    call(none, 0, none, 0);
    call(src, 0, none, 0);
    call(src, 0, dst, 0);
    call(src, 3, dst, 0);
    call(src, 3, dst, 4);
    moxSetErrStatus(MOX_StsNoMem);  // stays, and ends the call
    call(src, 3, dst, 3);
    EXPECT_EQ(moxGetErrStatus(), MOX_StsNoMem);
    EXPECT_EQ(std::memcmp(dst, before, sizeof dst), 0);
    expect(module, name, autoConditions);
    call(src, 3, dst, 3);
    EXPECT_NE(std::memcmp(dst, before, sizeof dst), 0);
  };
  forEachAuto([&](auto form) {
    using T = typename decltype(form)::Type;
    checkAuto(
        "moxcorr", form.name, [=](const T* s, int32_t n, T* d, int32_t k) { form.call(s, n, d, k, 0); },
        makeValue<T>(5, 6));
  });
  int32_t factor = 0;
  checkAuto(
      "moxcorrw", "moxwAutoCorr",
      [&](const int16_t* s, int32_t n, int16_t* d, int32_t k) { moxwAutoCorr(s, n, d, k, 0, 9, &factor); }, int16_t{5});
  checkAuto(
      "moxcorrw", "moxvAutoCorr",
      [&](const MoxV* s, int32_t n, MoxV* d, int32_t k) { moxvAutoCorr(s, n, d, k, 0, 9, &factor); }, MoxV{5, 6});

  const auto checkCross = [&](const char* module, const char* name, auto call, auto x, auto y, auto z) {
    decltype(x) a[2] = {x, x}, *noA = nullptr;
    decltype(y) b[2] = {y, y}, *noB = nullptr;
    decltype(z) dst[3] = {z, z, z}, before[3] = {z, z, z}, *none = nullptr;
    call(noA, 0, b, 0, none, 1, 0);
    call(a, 0, noB, 0, none, 1, 0);
    call(a, 0, b, 0, none, 1, 0);
    call(a, 0, b, 2, dst, 1, 0);
    call(a, 2, b, -1, dst, 1, 0);
    call(a, 2, b, 2, dst, 1, 0);
    call(a, 2, b, 2, dst, INT32_MAX, INT32_MIN);
    moxSetErrStatus(MOX_StsBackTrace);
    call(a, 2, b, 2, dst, -1, 1);
    EXPECT_EQ(moxGetErrStatus(), MOX_StsBackTrace);
    EXPECT_EQ(std::memcmp(dst, before, sizeof dst), 0);
    expect(module, name,
           {"Null SRC buffer pointer", "Null SRC buffer pointer", "Null DST buffer pointer",
            "Invalid SRC buffer length", "Invalid SRC buffer length", "Invalid LAG value", "Invalid LAG value"});
    call(a, 2, b, 2, dst, -1, 1);
    EXPECT_NE(std::memcmp(dst, before, sizeof dst), 0);
  };
  forEachCross([&](auto form) {
    using A = typename decltype(form)::TypeA;
    using B = typename decltype(form)::TypeB;
    using R = typename decltype(form)::Result;
    checkCross("moxcorr", form.name, form.call, makeValue<A>(5, 6), makeValue<B>(7, 8), makeValue<R>(1, 2));
  });
  const auto scaled = [&](auto call) {
    return [=, &factor](auto a, int32_t n, auto b, int32_t m, auto d, int32_t lo, int32_t hi) {
      call(a, n, b, m, d, lo, hi, MOX_NoScale, &factor);
    };
  };
  const MoxV v = {5, 6};
  checkCross("moxcorrw", "moxwCrossCorr", scaled(moxwCrossCorr), int16_t{5}, int16_t{6}, int16_t{1});
  checkCross("moxcorrw", "moxvCrossCorr", scaled(moxvCrossCorr), v, v, v);
  checkCross("moxcorrw", "moxwvCrossCorr", scaled(moxwvCrossCorr), int16_t{5}, v, v);
  checkCross("moxcorrw", "moxvwCrossCorr", scaled(moxvwCrossCorr), v, int16_t{5}, v);
}

}  // namespace
