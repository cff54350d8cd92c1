#include <algorithm>
#include <limits>

#include "tests/fir_oracle.h"

using namespace moxtest;

namespace {

// ---- the functions of one type of taps, of samples, and of one pair of them

template <class T>
struct TapCalls {
  void (*init)(T*, int32_t, FirTapState*);
  void (*initMr)(T*, int32_t, int32_t, int32_t, int32_t, int32_t, FirTapState*);
  void (*setTaps)(const T*, FirTapState*);
  void (*getTaps)(FirTapState*, T*);
};
template <class T>
struct DlylCalls {
  void (*init)(const FirTapState*, T*, FirDlyState*);
  void (*set)(const FirTapState*, const T*, FirDlyState*);
  void (*get)(const FirTapState*, FirDlyState*, T*);
};
#define TAP_CALLS(l) \
  { mox##l##FirlInit, mox##l##FirlInitMr, mox##l##FirlSetTaps, mox##l##FirlGetTaps }
#define DLYL_CALLS(l) \
  { mox##l##FirlInitDlyl, mox##l##FirlSetDlyl, mox##l##FirlGetDlyl }
template <class T>
constexpr TapCalls<T> kTaps;
template <>
constexpr TapCalls<float> kTaps<float> = TAP_CALLS(s);
template <>
constexpr TapCalls<double> kTaps<double> = TAP_CALLS(d);
template <>
constexpr TapCalls<MoxC> kTaps<MoxC> = TAP_CALLS(c);
template <>
constexpr TapCalls<MoxZ> kTaps<MoxZ> = TAP_CALLS(z);
template <>
constexpr TapCalls<int16_t> kTaps<int16_t> = TAP_CALLS(w);
template <class T>
constexpr DlylCalls<T> kDlyl;
template <>
constexpr DlylCalls<float> kDlyl<float> = DLYL_CALLS(s);
template <>
constexpr DlylCalls<double> kDlyl<double> = DLYL_CALLS(d);
template <>
constexpr DlylCalls<MoxC> kDlyl<MoxC> = DLYL_CALLS(c);
template <>
constexpr DlylCalls<MoxZ> kDlyl<MoxZ> = DLYL_CALLS(z);
template <>
constexpr DlylCalls<int16_t> kDlyl<int16_t> = DLYL_CALLS(w);

template <class S, class T, class R>
struct Form {
  using Sample = S;
  using Tap = T;
  using Result = R;
  const char* name;
  R (*one)(const FirTapState*, FirDlyState*, S);
  void (*block)(const FirTapState*, FirDlyState*, const S*, R*, int32_t);
};
template <class Check>
void forEachForm(Check check) {
  check(Form<float, float, float>{"s", moxsFirl, moxsbFirl});
  check(Form<double, double, double>{"d", moxdFirl, moxdbFirl});
  check(Form<MoxC, MoxC, MoxC>{"c", moxcFirl, moxcbFirl});
  check(Form<MoxZ, MoxZ, MoxZ>{"z", moxzFirl, moxzbFirl});
  check(Form<float, MoxC, MoxC>{"sc", moxscFirl, moxscbFirl});
  check(Form<MoxC, float, MoxC>{"cs", moxcsFirl, moxcsbFirl});
  check(Form<double, MoxZ, MoxZ>{"dz", moxdzFirl, moxdzbFirl});
  check(Form<MoxZ, double, MoxZ>{"zd", moxzdFirl, moxzdbFirl});
}

template <class Form>
struct Filter {
  using S = typename Form::Sample;
  using T = typename Form::Tap;
  using R = typename Form::Result;

  // All memory in use ends, or begins, at a page that cannot be touched.
  Filter(const Form& calls, const Shape& f, Flush flush, const std::vector<T>& taps, const std::vector<S>& x)
      : form(calls), shape(f), tapBuffer(taps, flush), dlylBuffer(f.history() + !f.multiRate(), flush) {
    kTaps<T>.initMr(tapBuffer.data(), f.taps, f.up, f.upPhase, f.down, f.downPhase, &tapSt);
    tapBuffer.makeReadOnly();
    kDlyl<S>.init(&tapSt, dlylBuffer.data(), &dlySt);
    kDlyl<S>.set(&tapSt, x.data(), &dlySt);
  }

  std::vector<R> run(const S* x, size_t periods, Flush flush) {
    Guarded<S> in(std::vector<S>(x, x + periods * static_cast<size_t>(shape.down)), flush);
    in.makeReadOnly();
    Guarded<R> out(periods * static_cast<size_t>(shape.up), flush);
    form.block(&tapSt, &dlySt, in.data(), out.data(), static_cast<int32_t>(periods));
    return out.values();
  }

  Form form;
  Shape shape;
  Guarded<T> tapBuffer;
  Guarded<S> dlylBuffer;
  FirTapState tapSt;
  FirDlyState dlySt;
};

TEST(FirLowLevel, BlocksAndTheirParts) {
  forEachLevel([] {
    forEachForm([](auto form) {
      using Calls = decltype(form);
      using S = typename Calls::Sample;
      using R = typename Calls::Result;
      const Reports reports;
      uint32_t seed = 10;
      for (const Shape& f : kShapes) {
        SCOPED_TRACE(::testing::Message() << form.name << ": " << f);
        const auto taps = noise<typename Calls::Tap>(static_cast<size_t>(f.taps), ++seed);
        const auto x = noise<S>(f.history() + f.in(), ++seed);
        const S* const block = x.data() + f.history();
        const Flush flush = seed % 4 < 2 ? Flush::AtStart : Flush::AtEnd;

        Filter<Calls> whole(form, f, flush, taps, x), split(form, f, flush, taps, x);
        const std::vector<R> got = whole.run(block, static_cast<size_t>(f.periods), flush);
        EXPECT_TRUE(isFiltered(f, taps, x, got));

        std::vector<R> pieces;
        std::mt19937 bits(seed);
        for (size_t at = 0; at < static_cast<size_t>(f.periods);) {
          const size_t n = std::min<size_t>(bits() % 60 + 1, static_cast<size_t>(f.periods) - at);
          const auto piece = split.run(block + at * static_cast<size_t>(f.down), n, flush);
          pieces.insert(pieces.end(), piece.begin(), piece.end());
          at += n;
        }
        EXPECT_TRUE(sameBits(pieces, got));

        // Both leave the newest samples behind.
        std::vector<S> newest(f.history() + 1), newestSplit(newest);
        kDlyl<S>.get(&whole.tapSt, &whole.dlySt, newest.data());
        kDlyl<S>.get(&split.tapSt, &split.dlySt, newestSplit.data());
        newest.pop_back(), newestSplit.pop_back();
        EXPECT_TRUE(sameBits(newest, std::vector<S>(x.end() - static_cast<ptrdiff_t>(f.history()), x.end())));
        EXPECT_TRUE(sameBits(newestSplit, newest));
      }
      EXPECT_TRUE(reports.all().empty());
    });
  });
}

TEST(FirLowLevel, SingleSamples) {
  forEachLevel([] {
    forEachForm([](auto form) {
      using Calls = decltype(form);
      using S = typename Calls::Sample;
      for (const int taps : {1, 2, 5, 16, 17, 40, 100}) {
        const Shape f = {taps, 1, 0, 1, 0, 60};
        SCOPED_TRACE(::testing::Message() << form.name << ": " << f);
        const auto h = noise<typename Calls::Tap>(static_cast<size_t>(taps), 3);
        const auto x = noise<S>(f.history() + f.in(), 4);
        Filter<Calls> filter(form, f, Flush::AtEnd, h, x);
        filter.tapSt.isFilterMode = filter.dlySt.isFilterMode = 0;  // which single samples do not look at
        std::vector<typename Calls::Result> got;
        for (size_t i = f.history(); i < x.size(); ++i) got.push_back(form.one(&filter.tapSt, &filter.dlySt, x[i]));
        EXPECT_TRUE(isFiltered(f, h, x, got));
        for (size_t i = 0; i < static_cast<size_t>(taps); ++i) {
          EXPECT_TRUE(sameBits(filter.dlylBuffer[i], x[x.size() - 1 - i]));
        }
      }
      // A multi-rate filter runs at the rate of its samples, through its first taps.
      const auto h = noise<typename Calls::Tap>(10, 3);
      const auto x = noise<S>(20, 4);
      Filter<Calls> filter(form, {10, 4, 1, 3, 2, 1}, Flush::AtEnd, h, x);
      const std::vector<typename Calls::Result> got = {form.one(&filter.tapSt, &filter.dlySt, x[3])};
      EXPECT_TRUE(isFiltered({3, 1, 0, 1, 0, 1}, h, std::vector<S>(x.begin() + 1, x.begin() + 4), got));
    });
  });
}

TEST(FirLowLevel, SameBitsOnEverySet) {
  std::vector<std::vector<float>> results;
  forEachLevel([&] {
    std::vector<float> all;
    for (const Shape& f : kShapes) {
      const auto x = noise<MoxC>(f.history() + f.in(), 1), h = noise<MoxC>(static_cast<size_t>(f.taps), 2);
      Filter<Form<MoxC, MoxC, MoxC>> filter({"c", moxcFirl, moxcbFirl}, f, Flush::AtEnd, h, x);
      for (const MoxC y : filter.run(x.data() + f.history(), static_cast<size_t>(f.periods), Flush::AtEnd)) {
        all.push_back(y.re);
        all.push_back(y.im);
      }
    }
    results.push_back(all);
  });
  for (const auto& result : results) EXPECT_TRUE(sameBits(result, results[0]));
}

TEST(FirLowLevel, InfinitiesStayWhereTheyBelong) {
  forEachLevel([] {
    for (const Shape& f : {Shape{5, 1, 0, 1, 0, 200}, Shape{40, 1, 0, 1, 0, 200}, Shape{33, 1, 0, 3, 1, 80},
                           Shape{9, 1, 0, 20, 3, 20}, Shape{20, 3, 1, 1, 0, 100}}) {
      SCOPED_TRACE(::testing::Message() << f);
      auto x = noise<float>(f.history() + f.in(), 1);
      const std::vector<float> h(static_cast<size_t>(f.taps), 0.5f);
      const size_t at = f.history() + f.in() / 2;
      const float inf = std::numeric_limits<float>::infinity();
      x[at] = inf;
      Filter<Form<float, float, float>> filter({"s", moxsFirl, moxsbFirl}, f, Flush::AtEnd, h, x);
      const auto got = filter.run(x.data() + f.history(), static_cast<size_t>(f.periods), Flush::AtEnd);
      for (size_t m = 0; m < got.size(); ++m) {
        Parts sum, size;
        exact(f, h, x, m, sum, size);
        EXPECT_EQ(got[m] == inf, std::isinf(sum.re)) << m;
        EXPECT_FALSE(std::isnan(got[m])) << m;
      }
    }
  });
}

TEST(FirLowLevel, LargeFactorsTouchOnlyWhatTheyNeed) {
  // One period; up-sampled places beyond 32 bits.
  const int32_t large = 70001;
  const auto h = noise<float>(3 * 70001 - 5, 1);
  const Shape f = {3 * large - 5, large, 70000, large - 1, 69999, 1};
  const auto x = noise<float>(f.history() + f.in(), 2);
  Filter<Form<float, float, float>> filter({"s", moxsFirl, moxsbFirl}, f, Flush::AtEnd, h, x);
  EXPECT_TRUE(isFiltered(f, h, x, filter.run(x.data() + f.history(), 1, Flush::AtEnd)));
}

template <class T>
void recordsOf() {
  T taps[6] = {}, more[6] = {}, seen[6] = {};
  FirTapState tapSt;
  std::memset(&tapSt, 0xa5, sizeof tapSt);
  kTaps<T>.init(taps, 6, &tapSt);
  EXPECT_EQ(tapSt.taps, taps);
  EXPECT_EQ((std::vector<int32_t>{tapSt.len, tapSt.upFactor, tapSt.upPhase, tapSt.downFactor, tapSt.downPhase,
                                  tapSt.isMultiRate, tapSt.isFilterMode}),
            (std::vector<int32_t>{6, 1, 0, 1, 0, 0, 1}));
  kTaps<T>.initMr(taps, 6, 1, 0, 1, 0, &tapSt);
  EXPECT_EQ(tapSt.isMultiRate, 0);
  kTaps<T>.initMr(taps, 6, 5, 4, 3, 2, &tapSt);
  EXPECT_EQ((std::vector<int32_t>{tapSt.len, tapSt.upFactor, tapSt.upPhase, tapSt.downFactor, tapSt.downPhase,
                                  tapSt.isMultiRate, tapSt.isFilterMode}),
            (std::vector<int32_t>{6, 5, 4, 3, 2, 1, 1}));

  // Copies out, in place too, close the filter; copies in open it.
  std::memset(static_cast<void*>(more), 0x21, sizeof more);
  kTaps<T>.setTaps(more, &tapSt);
  EXPECT_EQ(std::memcmp(taps, more, sizeof taps), 0);
  kTaps<T>.getTaps(&tapSt, seen);
  EXPECT_EQ(std::memcmp(seen, more, sizeof taps), 0);
  EXPECT_EQ(tapSt.isFilterMode, 0);
  kTaps<T>.setTaps(taps, &tapSt);
  EXPECT_EQ(tapSt.isFilterMode, 1);
  kTaps<T>.getTaps(&tapSt, taps);
  EXPECT_EQ(tapSt.isFilterMode, 0);
  EXPECT_EQ(std::memcmp(taps, more, sizeof taps), 0);
  kTaps<T>.setTaps(nullptr, &tapSt);
  EXPECT_EQ(tapSt.isFilterMode, 1);
  std::memset(static_cast<void*>(more), 0, sizeof more);
  EXPECT_EQ(std::memcmp(taps, more, sizeof taps), 0);

  // The history: `visible` samples of a buffer of `len`, turned round on the way.
  for (const bool multiRate : {false, true}) {
    kTaps<T>.initMr(taps, 6, multiRate ? 2 : 1, 0, 1, 0, &tapSt);
    const size_t n = multiRate ? 3 : 5, len = multiRate ? 3 : 6;
    T dlyl[6], in[6];
    std::memset(static_cast<void*>(seen), 0x66, sizeof seen);
    for (size_t i = 0; i < 6; ++i) std::memset(static_cast<void*>(in + i), static_cast<int>(i + 1), sizeof(T));
    std::memset(static_cast<void*>(dlyl), 0x77, sizeof dlyl);
    FirDlyState dlySt;
    kDlyl<T>.init(&tapSt, dlyl, &dlySt);
    EXPECT_EQ(dlySt.dlyl, dlyl);
    EXPECT_EQ(dlySt.len, static_cast<int32_t>(len));
    EXPECT_EQ(dlySt.isFilterMode, 0);
    const auto byte = [](const T& x) { return static_cast<int>(*reinterpret_cast<const unsigned char*>(&x)); };
    EXPECT_EQ(byte(dlyl[0]), 0x77);
    kDlyl<T>.get(&tapSt, &dlySt, seen);  // not in filter mode
    EXPECT_EQ(byte(seen[0]), 0x66);
    kDlyl<T>.set(&tapSt, in, &dlySt);
    EXPECT_EQ(dlySt.isFilterMode, 1);
    for (size_t i = 0; i < n; ++i) EXPECT_EQ(byte(dlyl[i]), static_cast<int>(n - i));
    EXPECT_EQ(byte(dlyl[n]), 0x77);
    kDlyl<T>.set(&tapSt, dlyl, &dlySt);  // is in internal order
    EXPECT_EQ(byte(dlyl[0]), static_cast<int>(n));
    kDlyl<T>.get(&tapSt, &dlySt, seen);
    EXPECT_EQ(std::memcmp(seen, in, n * sizeof(T)), 0);
    EXPECT_EQ(dlySt.isFilterMode, 0);
    EXPECT_EQ(byte(dlyl[0]), static_cast<int>(n));  // kept its order
    dlySt.isFilterMode = 1;
    for (int twice = 0; twice < 2; ++twice) {
      kDlyl<T>.get(&tapSt, &dlySt, dlyl);  // the second does nothing
      EXPECT_EQ(std::memcmp(dlyl, in, n * sizeof(T)), 0);
    }
    kDlyl<T>.set(&tapSt, dlyl, &dlySt);
    EXPECT_EQ(byte(dlyl[0]), static_cast<int>(n));
    kDlyl<T>.set(&tapSt, nullptr, &dlySt);
    EXPECT_EQ(byte(dlyl[n - 1]), 0);
    EXPECT_EQ(byte(dlyl[n]), 0x77);
  }
  // Without a visible history only the lock moves.
  kTaps<T>.init(taps, 1, &tapSt);
  T one;
  std::memset(static_cast<void*>(&one), 0x55, sizeof one);
  const T before = one;
  FirDlyState dlySt;
  kDlyl<T>.init(&tapSt, &one, &dlySt);
  kDlyl<T>.set(&tapSt, nullptr, &dlySt);
  EXPECT_EQ(dlySt.isFilterMode, 1);
  kDlyl<T>.get(&tapSt, &dlySt, seen);
  EXPECT_EQ(dlySt.isFilterMode, 0);
  EXPECT_TRUE(sameBits(one, before));
}

TEST(FirLowLevel, Records) {
  recordsOf<float>();
  recordsOf<MoxC>();
  recordsOf<double>();
  recordsOf<MoxZ>();
  recordsOf<int16_t>();
}

template <class T>
void badRecordsOf(const std::string& letter) {
  Reports reports;
  const auto expect = [&](const char* function, const char* text) {
    EXPECT_EQ(reports.all().empty() ? "" : reports.all()[0].file, "moxfirl");
    EXPECT_EQ(reports.take(), std::vector<std::string>{"mox" + letter + function + ": " + text + " (-5)"});
  };
  T taps[4] = {}, dlyl[4] = {};
  FirTapState tapSt, untouched;
  std::memset(&tapSt, 0x5a, sizeof tapSt);
  std::memcpy(&untouched, &tapSt, sizeof tapSt);
  const char* const null = "Null buffer pointer";
  kTaps<T>.init(nullptr, 0, &tapSt), expect("FirlInit", null);
  kTaps<T>.init(taps, 0, nullptr), expect("FirlInit", null);
  kTaps<T>.init(taps, 0, &tapSt), expect("FirlInit", "Invalid array length");
  kTaps<T>.initMr(nullptr, 0, 1, -1, 1, 0, &tapSt), expect("FirlInitMr", null);
  kTaps<T>.initMr(taps, 0, 1, -1, 1, 0, nullptr), expect("FirlInitMr", null);
  kTaps<T>.initMr(taps, 0, 1, -1, 1, 0, &tapSt), expect("FirlInitMr", "Invalid array length");
  kTaps<T>.initMr(taps, 1, 1, -1, 1, 1, &tapSt), expect("FirlInitMr", "Invalid phase value");
  kTaps<T>.initMr(taps, 1, 1, 1, 1, -1, &tapSt), expect("FirlInitMr", "Invalid phase value");
  kTaps<T>.initMr(taps, 1, 3, 3, 1, 0, &tapSt), expect("FirlInitMr", "Invalid factor value");
  kTaps<T>.initMr(taps, 1, 3, 2, 2, 2, &tapSt), expect("FirlInitMr", "Invalid factor value");
  EXPECT_EQ(std::memcmp(&tapSt, &untouched, sizeof tapSt), 0);
  moxSetErrStatus(MOX_StsNoMem);
  kTaps<T>.init(taps, 4, &tapSt);
  EXPECT_EQ(std::memcmp(&tapSt, &untouched, sizeof tapSt), 0);
  EXPECT_TRUE(reports.take().empty());

  kTaps<T>.init(taps, 4, &tapSt);
  FirDlyState dlySt = {nullptr, 77, 78};
  kTaps<T>.setTaps(taps, nullptr), expect("FirlSetTaps", null);
  kTaps<T>.getTaps(nullptr, taps), expect("FirlGetTaps", null);
  kTaps<T>.getTaps(&tapSt, nullptr), expect("FirlGetTaps", null);
  EXPECT_EQ(tapSt.isFilterMode, 1);
  kDlyl<T>.init(nullptr, dlyl, &dlySt), expect("FirlInitDlyl", null);
  kDlyl<T>.init(&tapSt, nullptr, &dlySt), expect("FirlInitDlyl", null);
  kDlyl<T>.init(&tapSt, dlyl, nullptr), expect("FirlInitDlyl", null);
  EXPECT_EQ(dlySt.isFilterMode, 78);
  kDlyl<T>.init(&tapSt, dlyl, &dlySt);
  kDlyl<T>.set(nullptr, dlyl, &dlySt), expect("FirlSetDlyl", null);
  kDlyl<T>.set(&tapSt, dlyl, nullptr), expect("FirlSetDlyl", null);
  kDlyl<T>.get(nullptr, &dlySt, dlyl), expect("FirlGetDlyl", null);
  kDlyl<T>.get(&tapSt, nullptr, dlyl), expect("FirlGetDlyl", null);
  kDlyl<T>.get(&tapSt, &dlySt, nullptr), expect("FirlGetDlyl", null);
  EXPECT_EQ(dlySt.isFilterMode, 0);
}

// Whatever is wrong with a call of `block`, it is reported, alone, and nothing changes.
template <class S, class R, class Block>
void badBlocksOf(const std::string& function, FirTapState tapSt, Block block) {
  Reports reports;
  const auto expect = [&](const char* text) {
    EXPECT_EQ(reports.take(), std::vector<std::string>{function + ": " + text + " (-5)"});
  };
  const auto in = noise<S>(8);
  const R fill = makeValue<R>(7, 7);
  std::vector<R> out(8, fill);
  std::vector<S> history = noise<S>(4, 9);
  const std::vector<S> before = history;
  FirDlyState dlySt;
  kDlyl<S>.init(&tapSt, history.data(), &dlySt);
  const char* const null = "Null buffer pointer";
  block(nullptr, &dlySt, in.data(), out.data(), 0), expect(null);
  block(&tapSt, nullptr, in.data(), out.data(), 0), expect(null);
  block(&tapSt, &dlySt, nullptr, out.data(), 0), expect(null);
  block(&tapSt, &dlySt, in.data(), nullptr, 0), expect(null);
  block(&tapSt, &dlySt, in.data(), out.data(), 0), expect("Not filter mode");
  dlySt.isFilterMode = 1;
  tapSt.isFilterMode = 0;
  block(&tapSt, &dlySt, in.data(), out.data(), 0), expect("Not filter mode");
  tapSt.isFilterMode = 1;
  block(&tapSt, &dlySt, in.data(), out.data(), 0), expect("Invalid array length");
  block(&tapSt, &dlySt, in.data(), out.data(), -7), expect("Invalid array length");
  moxSetErrStatus(MOX_StsNoMem);
  block(&tapSt, &dlySt, in.data(), out.data(), 8);
  EXPECT_TRUE(reports.take().empty());
  EXPECT_TRUE(sameBits(out, std::vector<R>(8, fill)));
  EXPECT_TRUE(sameBits(history, before));
}

TEST(FirLowLevel, BadCalls) {
  badRecordsOf<float>("s");
  badRecordsOf<MoxC>("c");
  badRecordsOf<double>("d");
  badRecordsOf<MoxZ>("z");
  badRecordsOf<int16_t>("w");
  forEachForm([](auto form) {
    using Calls = decltype(form);
    using S = typename Calls::Sample;
    using R = typename Calls::Result;
    auto taps = noise<typename Calls::Tap>(4);
    FirTapState tapSt;
    kTaps<typename Calls::Tap>.init(taps.data(), 4, &tapSt);
    badBlocksOf<S, R>(std::string("mox") + form.name + "bFirl", tapSt, form.block);

    Reports reports;
    S history[4] = {};
    FirDlyState dlySt;
    kDlyl<S>.init(&tapSt, history, &dlySt);
    const S one = makeValue<S>(1, 1);
    EXPECT_TRUE(sameBits(form.one(nullptr, &dlySt, one), R{}));
    EXPECT_TRUE(sameBits(form.one(&tapSt, nullptr, one), R{}));
    const std::string report = std::string("mox") + form.name + "Firl: Null buffer pointer (-5)";
    EXPECT_EQ(reports.take(), (std::vector<std::string>{report, report}));
    moxSetErrStatus(MOX_StsNoMem);
    EXPECT_TRUE(sameBits(form.one(&tapSt, &dlySt, one), R{}));
    EXPECT_TRUE(sameBits(history[0], S{}));
  });
}

}  // namespace
