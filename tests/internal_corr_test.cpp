// Which method correlations take, and what that asks of memory.
#include <cmath>

#include "signal/corr_cost.h"
#include "tests/support/allocations.h"
#include "tests/support/support.h"

using namespace moxtest;
using namespace mox::corrcost;

namespace {

TEST(CorrelationCost, Quantities) {
  const int64_t n[] = {1, 2, 3, 4, 5, 64, 65, int64_t{1} << 32};
  const int64_t powers[] = {1, 2, 4, 4, 8, 64, 128, int64_t{1} << 32};
  for (int i = 0; i < 8; ++i) EXPECT_EQ(pow2(n[i]), powers[i]);
  EXPECT_EQ(fft(1), 0);
  EXPECT_EQ(fft(2), 24);
  EXPECT_EQ(fft(256), 24576);
  EXPECT_EQ(post(1), 8);
  EXPECT_EQ(post(2), 8);
  EXPECT_EQ(post(256), 5088);
  EXPECT_EQ(pre(256), 4580);
}

// By its definition term by term, in long double.
bool autoCheaper(int64_t len, int64_t nLags) {
  long double direct = 0;
  for (int64_t k = 0; k < nLags && k < len; ++k) direct += 4.0L * static_cast<long double>(len - k);
  int64_t p = 1, log = 0;
  for (; p < nLags; p *= 2) ++log;
  const int64_t blocks = (len + p - 1) / p, f = log * p / 2 * 24, half = p == 1 ? 0 : p / 2 - 1;
  return static_cast<long double>(f + blocks * (6 * p + f + 8 + half * 40 + 14 * p) + 8 + half * 36) < direct;
}

TEST(CorrelationCost, AutocorrelationsTakeTransformsOnlyWhereTheyAreCheaper) {
  for (int64_t len = 1; len < 400; ++len) {
    for (int64_t nLags = 1; nLags <= len; ++nLags) {
      ASSERT_EQ(autoByTransform(len, nLags, Data::real), autoCheaper(len, nLags)) << len << " " << nLags;
    }
  }
  for (const int64_t len : {4096, 1000000, INT32_MAX}) {
    for (int64_t nLags = 1; nLags < 40; ++nLags) {
      EXPECT_EQ(autoByTransform(len, nLags, Data::real), autoCheaper(len, nLags)) << len << " " << nLags;
    }
    EXPECT_TRUE(autoByTransform(len, len, Data::real));
    EXPECT_TRUE(autoByTransform(len, len, Data::complex));
    EXPECT_FALSE(autoByTransform(len, 1, Data::complex));
  }
}

TEST(CorrelationCost, CrossCorrelationsTakeTransformsOnlyWhereTheyAreCheaper) {
  // 64 lags: P = 64, N = 128, 0.75 fft(64) = 3456, 0.75 fft(128) = 8064, pre(64) = 1124; a block costs 9984.
  EXPECT_FALSE(crossByTransform(64, 56, Data::real));  // 14336 against 14564
  EXPECT_TRUE(crossByTransform(64, 57, Data::real));   // 14592
  EXPECT_TRUE(crossByTransform(64, 64, Data::real));
  EXPECT_FALSE(crossByTransform(64, 65, Data::real));  // a second block: 24548 against 16640
  EXPECT_FALSE(crossByTransform(1, INT32_MAX, Data::real));
  EXPECT_TRUE(crossByTransform(int64_t{1} << 32, INT32_MAX, Data::real));
  EXPECT_FALSE(crossByTransform(int64_t{1} << 32, 1, Data::complex));
  EXPECT_TRUE(crossByTransform(int64_t{1} << 32, INT32_MAX, Data::mixed));
}

template <class T>
void expectMethods(void (*call)(const T*, int32_t, T*, int32_t, int32_t), Data data) {
  const auto x = noise<T>(3000, 1);
  std::vector<T> r(3000);
  const auto allocations = [&](int32_t len, int32_t nLags) {
    call(x.data(), len, r.data(), nLags, 0);  // tables stay
    const Allocations watch;
    call(x.data(), len, r.data(), nLags, 0);
    EXPECT_EQ(watch.live(), 0);
    return watch.asked();
  };
  for (const int32_t len : {40, 100, 3000}) {
    for (int32_t nLags = 1; nLags <= std::min(len, 64); ++nLags) {
      EXPECT_EQ(allocations(len, nLags) > 0, autoByTransform(len, nLags, data)) << len << " " << nLags;
    }
  }
}

TEST(CorrelationMemory, OnlyTransformsTakeIt) {
  expectMethods(moxsAutoCorr, Data::real);
  expectMethods(moxdAutoCorr, Data::real);
  expectMethods(moxcAutoCorr, Data::complex);
  expectMethods(moxzAutoCorr, Data::complex);
}

TEST(CorrelationMemory, IsInProportionToTheLags) {
  const auto x = noise<float>(1 << 20, 1);
  std::vector<float> r(256);
  moxsAutoCorr(x.data(), 1 << 20, r.data(), 256, 0);
  moxsCrossCorr(x.data(), 1 << 20, x.data(), 1 << 20, r.data(), 0, 255);
  const Allocations watch;
  moxsAutoCorr(x.data(), 1 << 20, r.data(), 256, 0);
  EXPECT_LE(watch.bytes(), 16 * 512u + 3 * 64u);
  moxsCrossCorr(x.data(), 1 << 20, x.data(), 1 << 20, r.data(), 0, 255);
  EXPECT_LE(watch.bytes(), 16 * (512u + 1024u) + 6 * 64u);
}

// Any allocation that fails, tables among them, is no error: the sums are formed, nothing is kept.
TEST(NoMemory, CorrelationsGoWithout) {
  Reports reports;
  const auto x = noise<float>(3000, 1), y = noise<float>(3000, 2);
  const auto check = [&](auto call) {
    std::vector<float> sums(3000), r(3000);
    {
      const Allocations none(0, 100);
      call(sums.data());
      EXPECT_EQ(none.live(), 0);
    }
    const Allocations all;
    moxcFreeTwdTbls();
    call(r.data());
    moxcFreeTwdTbls();
    const int64_t asked = all.asked();
    EXPECT_GE(asked, 3);
    EXPECT_NE(r, sums);  // transforms round otherwise
    return asked;
  };
  const auto each = [&](auto call, int64_t asked) {
    std::vector<float> sums(3000);
    {
      const Allocations none(0, 100);
      call(sums.data());
    }
    for (int64_t k = 0; k < asked; ++k) {
      std::vector<float> r(3000);
      moxcFreeTwdTbls();
      const Allocations one(k);
      call(r.data());
      moxcFreeTwdTbls();
      EXPECT_EQ(one.live(), 0) << k;
      EXPECT_TRUE(sameBits(r, sums)) << k;
    }
  };
  const auto autos = [&](float* r) { moxsAutoCorr(x.data(), 3000, r, 300, 0); };
  const auto crosses = [&](float* r) { moxsCrossCorr(x.data(), 3000, y.data(), 3000, r, -100, 100); };
  each(autos, check(autos));
  each(crosses, check(crosses));
  EXPECT_TRUE(reports.take().empty());
}

}  // namespace
