#include <numeric>
#include <thread>

#include "frame/context.h"
#include "tests/support/short_of_memory.h"
#include "tests/transform_oracle.h"

using namespace moxtest;

namespace {

using Strings = std::vector<std::string>;

mox::Context& record() { return *static_cast<mox::Context*>(moxUndContext()); }

// ---- bit reversal

TEST(BitReversal, TurnsNumbersRound) {
  EXPECT_EQ(moxBitRev(-1, 0), 0);
  EXPECT_EQ(moxBitRev(1, 3), 4);
  EXPECT_EQ(moxBitRev(6, 3), 3);
  EXPECT_EQ(moxBitRev(0x7ffffff8, 3), 0);  // higher bits do not count
  EXPECT_EQ(moxBitRev(INT32_MIN, 31), 0);
  EXPECT_EQ(moxBitRev(1, 31), 1 << 30);
  for (int order = 0; order <= 31; ++order) {
    int32_t reversed = 0;
    for (int bit = 0; bit < order; ++bit) reversed = 2 * reversed + (0x5bd1e995 >> bit & 1);
    EXPECT_EQ(moxBitRev(0x5bd1e995, order), reversed);
  }
}

TEST(BitReversal, TablesHoldTheReversedIndices) {
  for (const int order : {0, 1, 2, 3, 7, 12}) {
    const int32_t n = 1 << order;
    const Guarded<int32_t> own(static_cast<size_t>(n));
    moxCalcBitRevTbl(own.data(), order);
    const int32_t* const cached = moxGetBitRevTbl(order);
    ASSERT_NE(cached, nullptr);
    EXPECT_EQ(moxGetBitRevTbl(order), cached);
    for (int32_t i = 0; i < n; ++i) {
      ASSERT_EQ(own[static_cast<size_t>(i)], moxBitRev(i, order));
      ASSERT_EQ(cached[i], moxBitRev(i, order));
    }
  }
  moxFreeBitRevTbls();
  for (const int32_t* const tbl : record().bitRev) EXPECT_EQ(tbl, nullptr);
}

template <class T>
struct Permutation;
#define MOX_PERMUTATION(letter, type)                       \
  template <>                                               \
  struct Permutation<type> {                                \
    static constexpr const char* kName = "mox" #letter "b"; \
    static constexpr auto inPlace = mox##letter##bBitRev1;  \
    static constexpr auto nip = mox##letter##bBitRev2;      \
  };
MOX_PERMUTATION(s, float)
MOX_PERMUTATION(d, double)
MOX_PERMUTATION(c, MoxC)
MOX_PERMUTATION(z, MoxZ)
MOX_PERMUTATION(w, int16_t)
MOX_PERMUTATION(v, MoxV)

template <class T>
class BitReversedVector : public ::testing::Test {};
using PermutedTypes = ::testing::Types<float, double, MoxC, MoxZ, int16_t, MoxV>;
TYPED_TEST_SUITE(BitReversedVector, PermutedTypes);

TYPED_TEST(BitReversedVector, HasEveryElementInItsPlace) {
  using T = TypeParam;
  using P = Permutation<T>;
  forEachLevel([&] {
    for (int order = 0; order <= (kSanitized ? 15 : 19); ++order) {
      SCOPED_TRACE(order);
      const size_t n = size_t{1} << order;
      std::vector<unsigned char> bytes(n * sizeof(T));
      std::mt19937 bits(static_cast<uint32_t>(order));
      for (unsigned char& b : bytes) b = static_cast<unsigned char>(bits());  // signalling NaNs among them
      std::vector<T> x(n), expected(n);
      std::memcpy(x.data(), bytes.data(), bytes.size());
      for (size_t i = 0; i < n; ++i) {
        const auto j = static_cast<size_t>(moxBitRev(static_cast<int32_t>(i), order));
        std::memcpy(&expected[j], &bytes[i * sizeof(T)], sizeof(T));
      }
      for (const Flush flush : {Flush::AtStart, Flush::AtEnd}) {
        Guarded<T> in(x, flush);
        in.makeReadOnly();
        const Guarded<T> out(n, flush), both(x, flush);
        P::nip(in.data(), out.data(), order);
        P::inPlace(both.data(), order);
        EXPECT_EQ(std::memcmp(out.data(), expected.data(), bytes.size()), 0);
        EXPECT_EQ(std::memcmp(both.data(), expected.data(), bytes.size()), 0);
      }
    }
  });
}

TYPED_TEST(BitReversedVector, ReportsWhatIsWrong) {
  using P = Permutation<TypeParam>;
  const std::string one = std::string(P::kName) + "BitRev1: ", two = std::string(P::kName) + "BitRev2: ";
  Reports reports;
  TypeParam x[2] = {};
  P::inPlace(nullptr, -1);
  EXPECT_EQ(reports.take(), (Strings{one + "order<0 (-5)", one + "vec==0 (-5)"}));
  P::inPlace(x, 32);
  EXPECT_EQ(reports.take(), Strings{one + "order>31 (-5)"});
  P::nip(nullptr, nullptr, 32);
  EXPECT_EQ(reports.take(), (Strings{two + "order>31 (-5)", two + "src==0 (-5)", two + "dst==0 (-5)"}));
  moxSetErrStatus(MOX_StsError);
  TypeParam y[2];
  std::memset(y, 1, sizeof y);
  P::nip(x, y, 1);
  EXPECT_NE(std::memcmp(x, y, sizeof x), 0);
  EXPECT_EQ(reports.take(), Strings{});
}

// ---- twiddle tables

template <class C>
struct Api;
#define MOX_TABLE_API(letter, type, Letter)                        \
  template <>                                                      \
  struct Api<type> {                                               \
    using Real = decltype(type::re);                               \
    static constexpr const char* kName = "mox" #letter;            \
    static constexpr auto calcFft = mox##letter##CalcFftTwdTbl;    \
    static constexpr auto getFft = mox##letter##GetFftTwdTbl;      \
    static constexpr auto calcDft = mox##letter##CalcDftTwdTbl;    \
    static constexpr auto getDft = mox##letter##GetDftTwdTbl;      \
    static constexpr auto free = mox##letter##FreeTwdTbls;         \
    static constexpr auto fft = mox##letter##FftNip;               \
    static int32_t& count() { return record().count##Letter; }     \
    static int32_t* lengths() { return record().lengths##Letter; } \
    static type** plain() { return record().tables##Letter; }      \
    static type** byOrder() { return record().fft##Letter; }       \
  };
MOX_TABLE_API(c, MoxC, C)
MOX_TABLE_API(z, MoxZ, Z)

template <class C>
class TwiddleTables : public ::testing::Test {
 protected:
  TwiddleTables() { Api<C>::free(); }
  ~TwiddleTables() override { Api<C>::free(); }
};
using TableTypes = ::testing::Types<MoxC, MoxZ>;
TYPED_TEST_SUITE(TwiddleTables, TableTypes);

// (cos, -sin)(k step) for k below 2^31, step a float64: the angle is exact, a + b.
Wide plainRoot(uint32_t k, double step) {
  const float high = static_cast<float>(step);
  const long double p = static_cast<long double>(k) * high, q = static_cast<long double>(k) * (step - high);
  const long double a = p + q, b = q - (a - p);
  const long double c = std::cos(a), s = std::sin(a);
  return {c - b * s, -(s + b * c)};
}

// x is one rounding away from exact, which may be off by `slack`.
template <class T>
bool roundedOnce(T x, long double exact, long double slack) {
  const T magnitude = std::abs(x), up = std::nextafter(magnitude, std::numeric_limits<T>::infinity());
  const long double half = (static_cast<long double>(up) - magnitude) / 2;
  return std::abs(x - exact) <= half * (1 + 0x1p-8L) + slack;
}
#if defined(_WIN32)
constexpr long double kSlack = 1e-19L;  // the processor's own reduction by a pi of 66 bits
#else
constexpr long double kSlack = 0;
#endif

TYPED_TEST(TwiddleTables, HoldSinesAndCosinesRoundedOnce) {
  using A = Api<TypeParam>;
  for (const int32_t length : {1, 2, 3, 4, 5, 7, 8, 63, 64, 65, 100, 128, 1000, 4096, 44100, 1 << 18}) {
    SCOPED_TRACE(length);
    const Guarded<TypeParam> tbl(static_cast<size_t>(length));
    A::calcDft(tbl.data(), length);
    const double step = 6.283185307179586 / length;
    for (int32_t k = 0; k < length; ++k) {
      const Wide exact = plainRoot(static_cast<uint32_t>(k), step);
      const TypeParam w = tbl[static_cast<size_t>(k)];
      ASSERT_TRUE(roundedOnce(w.re, exact.real(), kSlack) && roundedOnce(w.im, exact.imag(), kSlack)) << k;
    }
    EXPECT_FALSE(std::signbit(tbl[0].im));
    const TypeParam* const cached = A::getDft(length);
    ASSERT_NE(cached, nullptr);
    EXPECT_EQ(std::memcmp(cached, tbl.data(), tbl.size() * sizeof(TypeParam)), 0);
  }
  for (const int order : {0, 1, 9}) {
    const Guarded<TypeParam> tbl(size_t{1} << order);
    A::calcFft(tbl.data(), order);
    EXPECT_EQ(A::getFft(order), A::getDft(1 << order));
    EXPECT_EQ(std::memcmp(A::getFft(order), tbl.data(), tbl.size() * sizeof(TypeParam)), 0);
  }
}

TYPED_TEST(TwiddleTables, ExtendedOnesBeginWithThreeSegments) {
  using A = Api<TypeParam>;
  using T = typename A::Real;
  for (int order = 0; order <= 13; ++order) {
    SCOPED_TRACE(order);
    A::fft(nullptr, nullptr, order, MOX_Init);
    const TypeParam* const tbl = A::byOrder()[order];
    ASSERT_NE(tbl, nullptr);
    const size_t n = size_t{1} << order, m = n / 2;
    std::vector<Wide> exact(3 * n / 2 + 4);
    if (order < 11) {
      for (size_t j = 1; j <= n / 4; ++j) {
        exact[2 * j - 2] = root(j, n);
        exact[2 * j - 1] = root(3 * j, n);
      }
    }
    for (size_t k = 0; k < m; ++k) {
      const Wide w = root(k + 1, 2 * n);
      if (order >= 11) exact[k] = root(k, n);
      exact[m + k] = {w.real() / 2, (1 + w.imag()) / 2};
      exact[n + k] = root(k, 2 * n);
    }
    for (size_t i = 0; i < exact.size(); ++i) {
      ASSERT_TRUE(roundedOnce<T>(tbl[i].re, exact[i].real(), 1e-19L)) << i;
      ASSERT_TRUE(roundedOnce<T>(tbl[i].im, exact[i].imag(), 1e-19L)) << i;
    }
  }
}

TYPED_TEST(TwiddleTables, BeyondThirtyTwoTheNewestTakesTheFirstSlot) {
  using A = Api<TypeParam>;
  std::vector<TypeParam*> tables;
  for (int32_t length = 1; length <= 32; ++length) tables.push_back(A::getDft(length));
  EXPECT_EQ(A::count(), 32);
  for (int32_t length = 1; length <= 32; ++length) {
    EXPECT_EQ(A::getDft(length), tables[static_cast<size_t>(length) - 1]);
  }
  for (const int32_t length : {33, 1, 40}) {
    TypeParam* const tbl = A::getDft(length);
    EXPECT_EQ(A::count(), 32);
    EXPECT_EQ(A::lengths()[0], length);
    EXPECT_EQ(A::plain()[0], tbl);
    EXPECT_EQ(A::getDft(length), tbl);
    EXPECT_EQ(A::getDft(2), tables[1]);
    EXPECT_EQ(A::getFft(5), tables[31]);
  }
  A::fft(nullptr, nullptr, 4, MOX_Init);
  moxSetErrStatus(MOX_StsError);  // does not keep the tables from being freed
  A::free();
  moxSetErrStatus(MOX_StsOk);
  EXPECT_EQ(A::count(), 0);
  for (int i = 0; i < 32; ++i) {
    EXPECT_EQ(A::lengths()[i], 0);
    EXPECT_EQ(A::plain()[i], nullptr);
    EXPECT_EQ(A::byOrder()[i], nullptr);
  }
}

TYPED_TEST(TwiddleTables, BelongToTheirThread) {
  using A = Api<TypeParam>;
  TypeParam* const here = A::getFft(6);
  TypeParam copy = here[5];
  std::thread([&] {
    TypeParam* const there = A::getFft(6);
    EXPECT_NE(there, here);
    EXPECT_TRUE(sameBits(there[5], copy));
    A::free();
  }).join();
  EXPECT_EQ(A::getFft(6), here);
  EXPECT_TRUE(sameBits(here[5], copy));
}

TYPED_TEST(TwiddleTables, ReportWhatIsWrong) {
  using A = Api<TypeParam>;
  Reports reports;
  const std::string name = A::kName;
  const auto line = [&](const char* function, const char* condition) {
    return name + function + ": " + condition + " (-5)";
  };
  EXPECT_EQ(A::getFft(32), nullptr);
  EXPECT_EQ(reports.take(), Strings{line("GetFftTwdTbl", "order>31")});
  EXPECT_EQ(A::getDft(-7), nullptr);
  EXPECT_EQ(reports.take(), Strings{line("GetDftTwdTbl", "length<=0")});
  A::calcFft(nullptr, -1);
  EXPECT_EQ(reports.take(), (Strings{line("CalcFftTwdTbl", "order<0"), line("CalcFftTwdTbl", "tbl==0")}));
  A::calcDft(nullptr, 0);
  EXPECT_EQ(reports.take(), (Strings{line("CalcDftTwdTbl", "length<=0"), line("CalcDftTwdTbl", "tbl==0")}));
  ASSERT_NE(A::getFft(3), nullptr);
  moxSetErrStatus(MOX_StsInternal);
  EXPECT_EQ(A::getFft(3), nullptr);
  EXPECT_EQ(A::getDft(8), nullptr);
  TypeParam kept = {5, 5};
  A::calcFft(&kept, 0);
  A::calcDft(&kept, 1);
  EXPECT_EQ(kept.re, 5);
  EXPECT_EQ(reports.take(), Strings{});
}

TEST(BitReversal, ReportsWhatIsWrong) {
  Reports reports;
  EXPECT_EQ(moxBitRev(1, -1), 0);
  EXPECT_EQ(moxGetBitRevTbl(32), nullptr);
  EXPECT_EQ(reports.all().back().file, "moxmisc");
  EXPECT_EQ(reports.take(), (Strings{"moxBitRev: order<0 (-5)", "moxGetBitRevTbl: order>31 (-5)"}));
  moxCalcBitRevTbl(nullptr, 32);
  EXPECT_EQ(reports.take(), (Strings{"moxCalcBitRevTbl: order>31 (-5)", "moxCalcBitRevTbl: tbl==0 (-5)"}));
  moxSetErrStatus(MOX_StsError);
  EXPECT_EQ(moxBitRev(1, 3), 0);
  EXPECT_EQ(moxGetBitRevTbl(3), nullptr);
}

// ---- int16

TEST(Int16TwiddleTables, AreTruncatedToFourteenBits) {
  for (const int order : {0, 1, 2, 3, 4, 8, 15}) {
    SCOPED_TRACE(order);
    const size_t n = size_t{1} << order;
    const Guarded<MoxV> tbl(n);
    moxvCalcFftTwdTbl(tbl.data(), order);
    const MoxV* const cached = moxvGetFftTwdTbl(order);
    ASSERT_NE(cached, nullptr);
    for (size_t k = 0; k < n; ++k) {
      const Wide w = root(k, n) * 16384.0L;
      ASSERT_EQ(tbl[k].re, static_cast<int16_t>(w.real())) << k;
      ASSERT_EQ(tbl[k].im, static_cast<int16_t>(w.imag())) << k;
      ASSERT_TRUE(sameBits(tbl[k], cached[k])) << k;
    }
  }
  EXPECT_EQ(record().countV, 7);
  moxvFreeTwdTbls();
  EXPECT_EQ(record().countV, 0);
  Reports reports;
  moxvCalcFftTwdTbl(nullptr, 32);
  EXPECT_EQ(moxvGetFftTwdTbl(-1), nullptr);
  EXPECT_EQ(reports.take(), (Strings{"moxvCalcFftTwdTbl: order>31 (-5)", "moxvCalcFftTwdTbl: tbl==0 (-5)",
                                     "moxvGetFftTwdTbl: order<0 (-5)"}));
}

// ---- short of memory

TYPED_TEST(TwiddleTables, ThatCannotBeHadAreReportedAndForgotten) {
  if (kSanitized) GTEST_SKIP() << "the sanitizer's allocator ends the process";
  using A = Api<TypeParam>;
  Reports reports;
  const std::string name = A::kName;
  TypeParam* const first = A::getDft(3);
  const TypeParam second = first[1];
  {
    const ShortOfMemory limit;
    EXPECT_EQ(A::getFft(30), nullptr);
    EXPECT_EQ(reports.take(), Strings{name + "GetFftTwdTbl: NULL Pointer (-4)"});
    EXPECT_EQ(A::getDft(INT32_MAX), nullptr);
    EXPECT_EQ(reports.take(), Strings{name + "GetDftTwdTbl: NULL Pointer (-4)"});
    A::fft(nullptr, nullptr, 31, MOX_Init);
    EXPECT_EQ(reports.take(),
              (Strings{name + "UndGetFftTwdTbl_great: NULL Pointer (-4)", name + "FftNip: Bad pointer (-1)"}));
    // Each attempt at a plain table took a slot, which stays empty.
    EXPECT_EQ(A::count(), 3);
    EXPECT_EQ(A::lengths()[1], 1 << 30);
    EXPECT_EQ(A::plain()[1], nullptr);
    EXPECT_EQ(A::byOrder()[31], nullptr);
    EXPECT_EQ(A::getDft(3), first);
    while (A::count() < 32) A::getDft(100 + A::count());
    EXPECT_EQ(reports.take(), Strings{});
    EXPECT_EQ(A::getFft(30), nullptr);  // in slot 0, whose table is gone by now
    reports.take();
    EXPECT_EQ(A::plain()[0], nullptr);
  }
  TypeParam* const again = A::getDft(3);
  ASSERT_NE(again, nullptr);
  EXPECT_TRUE(sameBits(again[1], second));
  EXPECT_EQ(reports.take(), Strings{});
}

TEST(BitReversal, TableThatCannotBeHadIsReported) {
  if (kSanitized) GTEST_SKIP() << "the sanitizer's allocator ends the process";
  Reports reports;
  const ShortOfMemory limit;
  EXPECT_EQ(moxGetBitRevTbl(31), nullptr);
  EXPECT_EQ(reports.take(), Strings{"moxGetBitRevTbl: NULL Pointer (-4)"});
  EXPECT_EQ(record().bitRev[31], nullptr);
}

}  // namespace
