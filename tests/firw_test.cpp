// int16 filters with finite impulse response: low level and object.
#include <algorithm>
#include <climits>

#include "tests/support/short_of_memory.h"
#include "tests/support/support.h"

using namespace moxtest;

namespace {

struct Shape {
  int taps, up, upPhase, down, downPhase, periods;
  bool multiRate() const { return up > 1 || down > 1; }
  size_t history() const { return static_cast<size_t>(multiRate() ? (taps - 1) / up + 1 : taps - 1); }
  size_t in() const { return static_cast<size_t>(periods) * static_cast<size_t>(down); }
  size_t out() const { return static_cast<size_t>(periods) * static_cast<size_t>(up); }
};
const Shape kShapes[] = {
    {1, 1, 0, 1, 0, 30},     {2, 1, 0, 1, 0, 50},    {16, 1, 0, 1, 0, 1100}, {33, 1, 0, 1, 0, 65},
    {600, 1, 0, 1, 0, 1500}, {64, 4, 1, 1, 0, 300},  {65, 1, 0, 4, 3, 90},   {96, 3, 2, 2, 1, 90},
    {5, 8, 7, 3, 2, 20},     {700, 1, 0, 3, 2, 400}, {600, 1, 0, 9, 0, 50},  {3, 1, 0, 50, 49, 8},
};

// limit 32768 for all int16 values
std::vector<int16_t> integers(size_t n, uint32_t seed, int limit) {
  std::mt19937 bits(seed);
  std::vector<int16_t> v(n);
  for (int16_t& x : v) x = static_cast<int16_t>(static_cast<int>(bits() % (2 * static_cast<unsigned>(limit))) - limit);
  return v;
}

// The exact sums; `x` begins with the history.
std::vector<int64_t> sums(const Shape& f, const std::vector<int16_t>& taps, const std::vector<int16_t>& x) {
  std::vector<int64_t> y(f.out());
  for (size_t m = 0; m < y.size(); ++m) {
    const int64_t least = f.downPhase + static_cast<int64_t>(m) * f.down - f.upPhase;
    for (int64_t k = (least % f.up + f.up) % f.up; k < f.taps; k += f.up) {
      const int64_t j = (least - k) / f.up + static_cast<int64_t>(f.history());
      y[m] += int64_t{taps[static_cast<size_t>(k)]} * x.at(static_cast<size_t>(j));
    }
  }
  return y;
}
int32_t wrapped(int64_t sum) { return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(sum))); }

// What a block of the object makes of its sums.
std::vector<int16_t> reduced(const std::vector<int64_t>& exact, int mode, int32_t factor, int32_t* found) {
  std::vector<int16_t> y;
  int32_t f = mode & 2 ? factor : 0;
  for (const int64_t sum : exact) {
    int64_t v = f >= 0 ? int64_t{wrapped(sum)} >> f : int64_t{wrapped(int64_t{wrapped(sum)} << -f)};
    if (mode == 4) {
      if (v < -32768 || v > 32767) {
        int bits = 0;
        for (int64_t size = std::abs(v); size > 1; size /= 2) ++bits;
        for (int16_t& before : y) before = static_cast<int16_t>(before >> (bits - 14));
        v >>= bits - 14;
        f += bits - 14;
      }
    } else if (mode & 1) {
      v = std::clamp<int64_t>(v, -32768, 32767);
    }
    y.push_back(static_cast<int16_t>(v));
  }
  *found = f;
  return y;
}

struct Object {
  Object(const Shape& f, const std::vector<int16_t>& taps, const int16_t* history) {
    std::memset(static_cast<void*>(&state), 0, sizeof state);
    if (f.multiRate()) {
      moxwFirInitMr(taps.data(), f.taps, history, f.up, f.upPhase, f.down, f.downPhase, &state);
    } else {
      moxwFirInit(taps.data(), f.taps, history, &state);
    }
  }
  ~Object() { moxFirFree(&state); }
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  FirState state;
};

TEST(FirObject16, Blocks) {
  forEachLevel([] {
    uint32_t seed = 1;
    for (const Shape& f : kShapes) {
      for (const int limit : {30, 1000, 32768}) {
        SCOPED_TRACE(::testing::Message() << f.taps << " taps " << f.up << "/" << f.down << ", limit " << limit);
        const auto taps = integers(static_cast<size_t>(f.taps), ++seed, limit);
        const auto x = integers(f.history() + f.in(), ++seed, limit);
        const auto exact = sums(f, taps, x);
        Guarded<int16_t> in(std::vector<int16_t>(x.end() - static_cast<ptrdiff_t>(f.in()), x.end()), Flush::AtEnd);
        in.makeReadOnly();
        for (const int mode : {0, 1, 2, 3, 4, 7}) {
          for (const int32_t factor : {0, 1, 5, 20, 40, -3}) {
            if (factor != 5 && mode != 2 && mode != 3) continue;
            const int32_t shift = std::min(factor, 31);
            Object object(f, taps, x.data());
            Guarded<int16_t> out(f.out(), Flush::AtStart);
            int32_t given = factor, found;
            moxwbFir(&object.state, in.data(), out.data(), f.periods, mode, &given);
            EXPECT_TRUE(sameBits(out.values(), reduced(exact, mode, shift, &found))) << mode << " " << factor;
            EXPECT_EQ(given, mode == 4 ? found : factor);
            std::vector<int16_t> newest(f.history() + 1);
            moxwFirGetDlyl(&object.state, newest.data());
            newest.pop_back();
            EXPECT_TRUE(sameBits(newest, std::vector<int16_t>(x.end() - static_cast<ptrdiff_t>(f.history()), x.end())));
          }
        }
        // Parts of a block, whose factors are each their own.
        Object object(f, taps, x.data());
        std::vector<int16_t> parts(f.out());
        for (int at = 0, n = 1; at < f.periods; at += n, n = n % 7 + 1) {
          n = std::min(n, f.periods - at);
          moxwbFir(&object.state, in.data() + at * f.down, parts.data() + at * f.up, n, 0, nullptr);
        }
        int32_t found;
        EXPECT_TRUE(sameBits(parts, reduced(exact, 0, 0, &found)));
      }
    }
  });
}

TEST(FirObject16, PeriodsOfManyOutputs) {
  const Shape f = {4000, 1500, 7, 11, 10, 3};
  const auto taps = integers(4000, 1, 32768), x = integers(f.history() + f.in(), 2, 32768);
  Object object(f, taps, x.data());
  std::vector<int16_t> out(f.out());
  int32_t factor = 99, found;
  moxwbFir(&object.state, x.data() + f.history(), out.data(), f.periods, MOX_AutoScale, &factor);
  EXPECT_TRUE(sameBits(out, reduced(sums(f, taps, x), MOX_AutoScale, 0, &found)));
  EXPECT_EQ(factor, found);
}

TEST(FirObject16, SingleSamples) {
  forEachLevel([] {
    for (const int taps : {1, 2, 3, 40}) {
      const Shape f = {taps, 1, 0, 1, 0, 200};
      const auto h = integers(static_cast<size_t>(taps), 1, 32768), x = integers(f.history() + f.in(), 2, 32768);
      const auto exact = sums(f, h, x);
      for (const int mode : {0, 1, 2, 3, 4}) {
        Object object(f, h, x.data());
        for (size_t i = 0; i < exact.size(); ++i) {
          int32_t factor = mode == 4 ? 99 : 7, found;
          const std::vector<int64_t> one = {exact[i]};
          const auto want = reduced(one, mode, 7, &found);
          ASSERT_EQ(moxwFir(&object.state, x[i + f.history()], mode, &factor), want[0]) << taps << " " << mode;
          EXPECT_EQ(factor, mode == 4 ? found : 7);
        }
      }
    }
  });
}

TEST(FirObject16, Record) {
  const auto taps = integers(11, 1, 100);
  const Shape single = {11, 1, 0, 1, 0, 1}, multi = {11, 4, 3, 2, 1, 1}, one = {1, 1, 0, 1, 0, 1};
  Object a(single, taps, nullptr), b(multi, taps, nullptr), c(one, taps, nullptr);
  EXPECT_EQ((std::vector<int32_t>{a.state.bufLen, a.state.dlyLen, a.state.pos16, a.state.tapsLen16}),
            (std::vector<int32_t>{10, 10, 0, 11}));
  EXPECT_EQ((std::vector<int32_t>{b.state.bufLen, b.state.dlyLen, b.state.tapsLen16}),
            (std::vector<int32_t>{4, 3, 11}));
  for (int e = 0; e < 4; ++e) {
    const FirPhase& p = b.state.phaseTable[e];
    EXPECT_EQ(p.taps16, static_cast<int16_t*>(b.state.tapsBuf) + p.offset);
    EXPECT_EQ(static_cast<const int16_t*>(p.taps16)[p.len - 1], taps[static_cast<size_t>(p.branch)]);
  }
  for (int i = 0; i < 5; ++i) {
    moxwFir(&a.state, 1, 0, nullptr);
    moxwFir(&c.state, 1, 0, nullptr);
  }
  EXPECT_EQ(a.state.pos16, 5);
  EXPECT_EQ(c.state.pos16, 0);
  std::vector<int16_t> back(11);
  moxwFirGetTaps(&b.state, back.data());
  EXPECT_TRUE(sameBits(back, taps));
  moxwFirSetTaps(nullptr, &b.state);
  moxwFirGetTaps(&b.state, back.data());
  EXPECT_TRUE(sameBits(back, std::vector<int16_t>(11)));
}

TEST(FirObject16, BadCalls) {
  Reports reports;
  const auto expect = [&](const std::string& text) { EXPECT_EQ(reports.take(), std::vector<std::string>{text}); };
  FirState none;
  std::memset(static_cast<void*>(&none), 0, sizeof none);
  moxwFirInit(nullptr, 0, nullptr, nullptr), expect("moxwFirInit: Null state pointer (-5)");
  moxwFirInit(nullptr, 0, nullptr, &none);
  EXPECT_EQ(reports.all().at(0).file, "moxfirhw");
  expect("moxwFirInit: Invalid value (-5)");
  moxwFirInitMr(nullptr, 4, nullptr, 3, 3, 1, 0, &none), expect("moxwFirInitMr: Invalid value (-5)");
  EXPECT_EQ(moxwFir(nullptr, 1, 0, nullptr), 0);
  expect("moxwFir: Null state pointer (-5)");
  EXPECT_EQ(moxwFir(&none, 1, 0, nullptr), 0);
  expect("moxwFir: Must have been initialized (-5)");
  const auto taps = integers(4, 1, 100);
  Object object({4, 1, 0, 1, 0, 1}, taps, nullptr);
  int16_t x[3] = {1, 2, 3}, y[3] = {7, 7, 7};
  moxwbFir(nullptr, x, y, 3, 0, nullptr), expect("moxwbFir: Null state pointer (-5)");
  moxwbFir(&none, x, y, 3, 0, nullptr), expect("moxwbFir: Must have been initialized (-5)");
  moxwbFir(&object.state, nullptr, y, 0, 4, nullptr), expect("moxwbFir: Null buffer pointer (-5)");
  moxwbFir(&object.state, x, nullptr, 0, 4, nullptr), expect("moxwbFir: Null buffer pointer (-5)");
  moxwbFir(&object.state, x, y, 0, 4, nullptr), expect("moxwbFir: Invalid value (-5)");
  moxwbFir(&object.state, x, y, 3, 4, nullptr), expect("moxwbFir: NULL==scalePtr (-5)");
  moxSetErrStatus(MOX_StsNoMem);
  moxwbFir(&object.state, x, y, 3, 0, nullptr);
  EXPECT_EQ(moxwFir(&object.state, 1, 0, nullptr), 0);
  EXPECT_TRUE(reports.take().empty());
  EXPECT_EQ(y[0], 7);
  int16_t history[3] = {1, 1, 1};
  moxwFirGetDlyl(&object.state, history);
  EXPECT_EQ(history[2], 0);
  EXPECT_EQ(moxwFir(&object.state, 1, 5, nullptr), 0);
  expect("moxiUndScaling: Unknown scale mode (-5)");
}

struct LowLevel {
  LowLevel(const Shape& f, const std::vector<int16_t>& h, const std::vector<int16_t>& x)
      : taps(h, Flush::AtEnd), dlyl(f.history() + !f.multiRate(), Flush::AtEnd) {
    moxwFirlInitMr(taps.data(), f.taps, f.up, f.upPhase, f.down, f.downPhase, &tapSt);
    moxwFirlInitDlyl(&tapSt, dlyl.data(), &dlySt);
    moxwFirlSetDlyl(&tapSt, x.data(), &dlySt);
  }
  Guarded<int16_t> taps, dlyl;
  FirTapState tapSt;
  FirDlyState dlySt;
};

TEST(FirLowLevel16, Blocks) {
  forEachLevel([] {
    uint32_t seed = 1;
    for (const Shape& f : kShapes) {
      // Sums up to 2^24 pass float32 unchanged.
      for (const int limit : {16, f.taps < 16 ? 1000 : 100}) {
        SCOPED_TRACE(::testing::Message() << f.taps << " taps " << f.up << "/" << f.down << ", limit " << limit);
        const auto taps = integers(static_cast<size_t>(f.taps), ++seed, limit);
        const auto x = integers(f.history() + f.in(), ++seed, limit);
        const auto exact = sums(f, taps, x);
        int64_t largest = 0;
        for (const int64_t sum : exact) largest = std::max(largest, std::abs(sum));
        ASSERT_LT(largest, 1 << 24);
        for (const int mode : {0, 1, 2, 3, 4}) {
          LowLevel filter(f, taps, x);
          Guarded<int16_t> in(std::vector<int16_t>(x.end() - static_cast<ptrdiff_t>(f.in()), x.end()), Flush::AtEnd);
          Guarded<int16_t> out(f.out(), Flush::AtEnd);
          int32_t factor = mode == 4 ? 99 : 3;
          moxwbFirl(&filter.tapSt, &filter.dlySt, in.data(), out.data(), f.periods, mode, &factor);
          int32_t want = mode & 2 ? 3 : 0;
          if (mode == 4) {
            while ((largest >> want) > 32767) ++want;
            EXPECT_EQ(factor, want);
          }
          for (size_t m = 0; m < exact.size(); ++m) {
            // Toward zero.
            int64_t v = exact[m] / (int64_t{1} << want);
            if (mode & 1) v = std::clamp<int64_t>(v, -32768, 32767);
            ASSERT_EQ(out[m], static_cast<int16_t>(v)) << mode << " " << m;
          }
          for (size_t i = 0; i < f.history(); ++i) ASSERT_EQ(filter.dlyl[i], x[x.size() - 1 - i]);
          EXPECT_TRUE(sameBits(filter.taps.values(), taps));
          EXPECT_EQ(filter.tapSt.taps, filter.taps.data());
          EXPECT_EQ(filter.dlySt.dlyl, filter.dlyl.data());
        }
      }
    }
  });
}

TEST(FirLowLevel16, SingleSamples) {
  forEachLevel([] {
    for (const int taps : {1, 2, 17, 100}) {
      const Shape f = {taps, 1, 0, 1, 0, 50};
      const auto h = integers(static_cast<size_t>(taps), 1, 32768), x = integers(f.history() + f.in(), 2, 32768);
      const auto exact = sums(f, h, x);
      for (const int mode : {0, 1, 2, 3, 4}) {
        LowLevel filter(f, h, x);
        for (size_t i = 0; i < exact.size(); ++i) {
          int32_t factor = 13, found;
          const std::vector<int64_t> one = {exact[i]};
          // Saturation alone and the automatic factor are not for this function.
          const auto want = reduced(one, mode & 2 ? mode : 0, 13, &found);
          ASSERT_EQ(moxwFirl(&filter.tapSt, &filter.dlySt, x[i + f.history()], mode, &factor), want[0]) << mode;
          EXPECT_EQ(factor, 13);
        }
      }
    }
  });
}

TEST(FirLowLevel16, BadCalls) {
  Reports reports;
  const auto expect = [&](const std::string& text) { EXPECT_EQ(reports.take(), std::vector<std::string>{text}); };
  const auto taps = integers(4, 1, 100), x = integers(6, 2, 100);
  const Shape f = {4, 1, 0, 1, 0, 3};
  LowLevel filter(f, taps, x);
  const auto before = filter.dlyl.values();
  int16_t y[3] = {7, 7, 7};
  const auto block = [&](const FirTapState* t, FirDlyState* d, const int16_t* in, int16_t* out, int n, int mode) {
    moxwbFirl(t, d, in, out, n, mode, nullptr);
  };
  const std::string name = "moxwbFirl: ";
  block(nullptr, &filter.dlySt, x.data(), y, 3, 0), expect(name + "Null buffer pointer (-5)");
  block(&filter.tapSt, nullptr, x.data(), y, 3, 0), expect(name + "Null buffer pointer (-5)");
  block(&filter.tapSt, &filter.dlySt, nullptr, y, 3, 0), expect(name + "Null buffer pointer (-5)");
  block(&filter.tapSt, &filter.dlySt, x.data(), nullptr, 3, 0), expect(name + "Null buffer pointer (-5)");
  block(&filter.tapSt, &filter.dlySt, x.data(), y, 0, 0), expect(name + "Invalid array length (-5)");
  filter.tapSt.isFilterMode = 0;
  block(&filter.tapSt, &filter.dlySt, x.data(), y, 0, 0), expect(name + "Not filter mode (-5)");
  filter.tapSt.isFilterMode = 1;
  block(&filter.tapSt, &filter.dlySt, x.data(), y, 3, 4), expect("moxsbUndScaling: NULL==scalePtr (-5)");
  moxSetErrStatus(MOX_StsNoMem);
  block(&filter.tapSt, &filter.dlySt, x.data(), y, 3, 0);
  EXPECT_EQ(moxwFirl(&filter.tapSt, &filter.dlySt, 1, 0, nullptr), 0);
  EXPECT_TRUE(reports.take().empty());
  EXPECT_EQ(y[0], 7);
  EXPECT_TRUE(sameBits(filter.dlyl.values(), before));
  EXPECT_EQ(moxwFirl(nullptr, &filter.dlySt, 1, 0, nullptr), 0);
  expect("moxwFirl: Null buffer pointer (-5)");
  EXPECT_EQ(moxwFirl(&filter.tapSt, nullptr, 1, 0, nullptr), 0);
  expect("moxwFirl: Null buffer pointer (-5)");
  EXPECT_EQ(moxwFirl(&filter.tapSt, &filter.dlySt, 1, 6, nullptr), 0),
      expect("moxiUndScaling: Unknown scale mode (-5)");
}

TEST(FirLowLevel16, AllocationFailures) {
  if (kSanitized) GTEST_SKIP() << "the sanitizer's own memory does not fit";
  // One array of kMany fits, another one does not, whatever the heap has kept of what was freed (64 MiB at most).
  constexpr int32_t kTooMany = 0x20000000, kMany = 60000000;
  std::vector<int16_t> taps(8), many(sizeof(void*) == 4 ? 8 : kMany), dlyl(16, 3), x(8, 1), y(8, 7);
  const ShortOfMemory shortage;
  Reports reports;
  // One after the other: samples, results, taps, the delay line.
  const FirTapState tapStates[] = {{taps.data(), 8, 1, 0, kTooMany, 0, 1, 1},
                                   {taps.data(), 8, kTooMany, 0, 1, 0, 1, 1},
                                   {taps.data(), kTooMany, 1, 0, 2, 0, 1, 1},
                                   {many.data(), sizeof(void*) == 4 ? kTooMany : kMany, 1, 0, 2, 0, 1, 1}};
  for (int round = 0; round < 4; ++round) {
    for (const FirTapState& tapSt : tapStates) {
      FirDlyState dlySt;
      moxwFirlInitDlyl(&tapSt, dlyl.data(), &dlySt);
      dlySt.isFilterMode = 1;
      const FirDlyState before = dlySt;
      const FirTapState tapsBefore = tapSt;
      moxwbFirl(&tapSt, &dlySt, x.data(), y.data(), 2, 0, nullptr);
      EXPECT_EQ(reports.take(), std::vector<std::string>{"moxwbFirl: Memory problem (-4)"});
      EXPECT_EQ(std::memcmp(&dlySt, &before, sizeof before), 0);
      EXPECT_EQ(std::memcmp(&tapSt, &tapsBefore, sizeof tapsBefore), 0);
    }
  }
  EXPECT_EQ(dlyl[0], 3);
  EXPECT_EQ(y[0], 7);
}

}  // namespace
