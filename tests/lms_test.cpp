#include <algorithm>
#include <cmath>
#include <complex>
#include <numeric>

#include "tests/support/short_of_memory.h"
#include "tests/support/support.h"
#include "tests/support/wide.h"

using namespace moxtest;

namespace {

using Strings = std::vector<std::string>;

// Samples S, taps, errors and results T.
template <class S_, class T_>
struct Form {
  using S = S_;
  using T = T_;
  const char* letters;
  void (*init)(int32_t, T*, int32_t, float, float, int32_t, LmsTapState*);
  void (*initMr)(int32_t, T*, int32_t, float, float, int32_t, int32_t, int32_t, LmsTapState*);
  void (*initDlyl)(const LmsTapState*, S*, int32_t, LmsDlyState*);
  T (*one)(const LmsTapState*, const LmsDlyState*, S, T);
  T (*period)(const LmsTapState*, const LmsDlyState*, const S*, T);
  void (*objectInit)(int32_t, const T*, int32_t, const S*, float, float, int32_t, LmsState*);
  void (*objectInitMr)(int32_t, const T*, int32_t, const S*, float, float, int32_t, int32_t, int32_t, LmsState*);
  T (*objectOne)(const LmsState*, S, T);
  T (*objectPeriod)(const LmsState*, const S*, T);
  T (*follow)(LmsState*, S, T);
  void (*followBlock)(LmsState*, const S*, const T*, T*, int32_t);
  T (*getError)(const LmsState*);
  void (*setError)(T, LmsState*);
  std::string name(const char* operation) const { return std::string("mox") + letters + operation; }
};

template <class Check>
void forEachForm(Check check) {
  check(Form<float, float>{"s", moxsLmslInit, moxsLmslInitMr, moxsLmslInitDlyl, moxsLmsl, moxsbLmsl, moxsLmsInit,
                           moxsLmsInitMr, moxsLms, moxsbLms, moxsLmsDes, moxsbLmsDes, moxsLmsGetErrVal,
                           moxsLmsSetErrVal});
  check(Form<double, double>{"d", moxdLmslInit, moxdLmslInitMr, moxdLmslInitDlyl, moxdLmsl, moxdbLmsl, moxdLmsInit,
                             moxdLmsInitMr, moxdLms, moxdbLms, moxdLmsDes, moxdbLmsDes, moxdLmsGetErrVal,
                             moxdLmsSetErrVal});
  check(Form<MoxC, MoxC>{"c", moxcLmslInit, moxcLmslInitMr, moxcLmslInitDlyl, moxcLmsl, moxcbLmsl, moxcLmsInit,
                         moxcLmsInitMr, moxcLms, moxcbLms, moxcLmsDes, moxcbLmsDes, moxcLmsGetErrVal,
                         moxcLmsSetErrVal});
  check(Form<MoxZ, MoxZ>{"z", moxzLmslInit, moxzLmslInitMr, moxzLmslInitDlyl, moxzLmsl, moxzbLmsl, moxzLmsInit,
                         moxzLmsInitMr, moxzLms, moxzbLms, moxzLmsDes, moxzbLmsDes, moxzLmsGetErrVal,
                         moxzLmsSetErrVal});
  check(Form<float, MoxC>{"sc", moxcLmslInit, moxcLmslInitMr, moxsLmslInitDlyl, moxscLmsl, moxscbLmsl, moxscLmsInit,
                          moxscLmsInitMr, moxscLms, moxscbLms, moxscLmsDes, moxscbLmsDes, moxcLmsGetErrVal,
                          moxcLmsSetErrVal});
  check(Form<double, MoxZ>{"dz", moxzLmslInit, moxzLmslInitMr, moxdLmslInitDlyl, moxdzLmsl, moxdzbLmsl, moxdzLmsInit,
                           moxdzLmsInitMr, moxdzLms, moxdzbLms, moxdzLmsDes, moxdzbLmsDes, moxzLmsGetErrVal,
                           moxzLmsSetErrVal});
}

struct Setting {
  int32_t taps;
  float step, leak;
  int32_t delay, down, phase;
  bool multiRate() const { return down > 1; }
  size_t length() const { return static_cast<size_t>(taps + delay + (multiRate() ? down : 0)); }
};
std::ostream& operator<<(std::ostream& out, const Setting& s) {
  return out << s.taps << " taps, step " << s.step << ", leak " << s.leak << ", delay " << s.delay << ", 1/" << s.down
             << ", phase " << s.phase;
}
// Taps around the 8 and 16 of a group; delay lines on both sides of what is windowed on the stack.
const Setting kSettings[] = {{1, 0.1f, 0, 0, 1, 0},        {2, 0.1f, 0.01f, 3, 1, 0},   {7, 0.05f, 0, 1, 1, 0},
                             {8, 0.05f, 0, 0, 1, 0},       {9, 0.05f, 1e-3f, 0, 1, 0},  {16, 0.03f, 0, 0, 1, 0},
                             {17, 0.02f, 1e-4f, 5, 1, 0},  {40, 0.01f, 0, 2, 1, 0},     {64, 0.01f, 0, 0, 1, 0},
                             {5, 0.05f, 0, 0, 2, 1},       {16, 0.02f, 1e-3f, 4, 3, 0}, {33, 0.01f, 0, 0, 7, 6},
                             {3, 0.05f, 0, 2, 10, 4},      {1300, 2e-4f, 0, 3, 1, 0},   {2100, 2e-4f, 1e-4f, 0, 1, 0},
                             {20, 0.01f, 0, 0, 2500, 2499}};

// The definition, in long double, with taps rounded as they are stored. It also takes the place of a real filter's
// memory: the delay line is followed value by value.
template <class S, class T>
struct Model {
  Setting set;
  std::vector<T> taps;
  std::vector<S> line;
  std::vector<long double> slack = {};  // how far a tap may be off: an update has up to four roundings
  long double work = 0;                 // how far that and the roundings of a sum in float64 carry the result

  T next(const S* in, size_t down, size_t first, T error, Wide* exact = nullptr, const Wide* wideError = nullptr) {
    using R = typename Traits<T>::Real;
    const Wide e = wideError ? *wideError : widened(error);
    const long double keep = 1 - static_cast<long double>(set.leak);
    const long double unit = sizeof(R) == 4 ? 0x1p-24L : 0x1p-53L, step = set.step;
    const size_t n = taps.size();
    slack.assign(n, 0);
    for (size_t i = 0; i < n; ++i) {
      const size_t at = first + static_cast<size_t>(set.delay) + i;
      const Wide d = at < line.size() ? widened(line[at]) : 0;
      const Wide kept = keep * widened(taps[i]), added = step * e * std::conj(d);
      taps[i] = narrowed<T>(kept + added);
      slack[i] = unit * (std::abs(kept) + 4 * std::abs(added) + 2 * std::abs(kept + added));
    }
    std::vector<S> moved(line.size());
    for (size_t i = 0; i < line.size(); ++i) moved[i] = i < down ? in[down - 1 - i] : line[i - down];
    line = moved;
    Wide y = 0;
    work = 0;
    for (size_t i = 0; i < n && first + i < line.size(); ++i) {
      y += widened(taps[i]) * widened(line[first + i]);
      const long double x = std::abs(widened(line[first + i]));
      work += x * (slack[i] + static_cast<long double>(n + 4) * 0x1p-53L * std::abs(widened(taps[i])));
    }
    if (exact) *exact = y;
    return narrowed<T>(y);
  }
};

template <class T>
::testing::AssertionResult near(T found, Wide expected, long double bound) {
  const long double off = std::abs(widened(found) - expected);
  if (off <= bound) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << off << " off, allowed " << bound;
}

template <class T>
constexpr long double kUnit = sizeof(typename Traits<T>::Real) == 4 ? 0x1p-24L : 0x1p-53L;

// The filter's taps may part from the model's by a rounding now and then: the model starts every step from the
// filter's own.
template <class F>
void checkSteps(const F& form, const Setting& set, Flush flush) {
  using S = typename F::S;
  using T = typename F::T;
  const size_t n = static_cast<size_t>(set.taps), down = static_cast<size_t>(set.down);
  const size_t first = down - 1 - static_cast<size_t>(set.phase), steps = n > 1000 ? 5 : 60;
  const Guarded<T> taps(noise<T>(n, 3), flush);
  const Guarded<S> line(noise<S>(set.length(), 4), flush);
  Guarded<S> in(noise<S>(steps * down, 5), flush);
  in.makeReadOnly();
  const auto errors = noise<T>(steps, 6);
  LmsTapState tapState;
  LmsDlyState delayState;
  if (set.multiRate()) {
    form.initMr(0, taps.data(), set.taps, set.step, set.leak, set.delay, set.down, set.phase, &tapState);
  } else {
    form.init(0, taps.data(), set.taps, set.step, set.leak, set.delay, &tapState);
  }
  form.initDlyl(&tapState, line.data(), 1, &delayState);
  ASSERT_EQ(delayState.len, static_cast<int32_t>(set.length()));
  for (size_t t = 0; t < steps; ++t) {
    Model<S, T> model{set, taps.values(), line.values()};
    Wide exact;
    const bool one = !set.multiRate() && t % 2 == 0;
    model.next(in.data() + t * down, down, first, errors[t], &exact);
    const T y = one ? form.one(&tapState, &delayState, in[t], errors[t])
                    : form.period(&tapState, &delayState, in.data() + t * down, errors[t]);
    ASSERT_TRUE(near(y, exact, model.work + 2 * kUnit<T> * std::abs(exact))) << "step " << t;
    for (size_t i = 0; i < n; ++i) {
      ASSERT_TRUE(near(taps[i], widened(model.taps[i]), model.slack[i])) << "step " << t << " tap " << i;
    }
    ASSERT_TRUE(sameBits(line.values(), model.line)) << "step " << t;
  }
}

TEST(Lms, FollowsTheRule) {
  forEachLevel([] {
    forEachForm([](auto form) {
      SCOPED_TRACE(form.letters);
      for (const Setting& set : kSettings) {
        SCOPED_TRACE(testing::PrintToString(set));
        checkSteps(form, set, set.taps % 2 ? Flush::AtEnd : Flush::AtStart);
      }
    });
  });
}

// A block of the desired-signal form against its definition, then against its single steps.
template <class F>
void checkFollowing(const F& form, const Setting& set, int32_t steps) {
  using S = typename F::S;
  using T = typename F::T;
  const size_t n = static_cast<size_t>(set.taps), down = static_cast<size_t>(set.down);
  const size_t first = down - 1 - static_cast<size_t>(set.phase), count = static_cast<size_t>(steps);
  const auto in = noise<S>(count * down, 15);
  const auto taps = noise<T>(n, 13), desired = noise<T>(count, 16);
  const auto history = noise<S>(set.length() - 1, 14);
  const auto start = [&](LmsState& state) {
    if (set.multiRate()) {
      form.objectInitMr(0, taps.data(), set.taps, history.data(), set.step, set.leak, set.delay, set.down, set.phase,
                        &state);
    } else {
      form.objectInit(0, taps.data(), set.taps, history.data(), set.step, set.leak, set.delay, &state);
    }
    form.setError(narrowed<T>(0.5L), &state);
  };
  LmsState state = {}, split = {};
  start(state);
  start(split);
  Guarded<T> out(count, Flush::AtEnd), parts(count, Flush::AtStart);
  form.followBlock(&state, in.data(), desired.data(), out.data(), steps);
  Model<S, T> model{set, taps, std::vector<S>(set.length())};
  std::reverse_copy(history.begin(), history.end(), model.line.begin());
  Wide error = 0.5L, y;
  // Roundings of taps and sums may fall apart once in a while; the adaptation forgets them.
  const long double slack = 64 * kUnit<T> * static_cast<long double>(n + 10);
  for (size_t t = 0; t < count; ++t) {
    model.next(in.data() + t * down, down, first, T{}, &y, &error);
    ASSERT_TRUE(near(out[t], y, slack * (1 + std::abs(y)))) << "step " << t;
    error = widened(desired[t]) - y;
  }
  EXPECT_TRUE(near(form.getError(&state), error, slack * (1 + std::abs(error))));
  EXPECT_TRUE(sameBits(static_cast<const S*>(state.dlySt.dlyl)[0], model.line[0]));

  // Any split; errors are rounded in between.
  size_t at = 0;
  for (size_t run = 1; at < count; at += run, run = std::min<size_t>(2 * run + 1, count - at)) {
    if (run == 1 && !set.multiRate()) {
      parts[at] = form.follow(&split, in[at], desired[at]);
    } else {
      form.followBlock(&split, in.data() + at * down, desired.data() + at, parts.data() + at,
                       static_cast<int32_t>(run));
    }
  }
  for (size_t t = 0; t < count; ++t) {
    ASSERT_TRUE(near(parts[t], widened(out[t]), slack * (1 + std::abs(widened(out[t]))))) << t;
  }
  moxLmsFree(&state);
  moxLmsFree(&split);
  EXPECT_EQ(state.tapSt.taps, nullptr);
  EXPECT_EQ(state.dlySt.dlyl, nullptr);
  moxLmsFree(&state);
}

// What a filter does not look at may be anything: places of the delay line behind the last tap.
TEST(Lms, PlacesBehindTheTaps) {
  forEachLevel([] {
    forEachForm([](auto form) {
      SCOPED_TRACE(form.letters);
      using S = typename decltype(form)::S;
      using T = typename decltype(form)::T;
      for (const float leak : {0.0f, 1e-3f, 0.2f}) {
        std::vector<std::vector<T>> results;
        for (const bool spoilt : {false, true}) {
          // Samples that leave at the first step.
          auto taps = noise<T>(21, 3);
          std::vector<S> line(26);
          LmsTapState tapState;
          LmsDlyState delayState;
          form.initMr(0, taps.data(), 21, 0.02f, leak, 0, 5, 4, &tapState);
          form.initDlyl(&tapState, line.data(), 1, &delayState);
          ASSERT_EQ(delayState.len, 26);
          if (spoilt) std::fill(line.begin() + 21, line.end(), makeValue<S>(INFINITY, 0));
          const auto in = noise<S>(50, 4);
          for (size_t t = 0; t < 10; ++t) {
            taps.push_back(form.period(&tapState, &delayState, in.data() + 5 * t, noise<T>(1, 7)[0]));
            tapState.taps = taps.data();
          }
          results.push_back(taps);
        }
        EXPECT_TRUE(sameBits(results[0], results[1])) << leak;
      }
    });
  });
}

TEST(LmsObject, FollowsADesiredSignal) {
  forEachLevel([] {
    forEachForm([](auto form) {
      SCOPED_TRACE(form.letters);
      for (const Setting& set : kSettings) {
        SCOPED_TRACE(testing::PrintToString(set));
        checkFollowing(form, set, set.taps > 1000 || set.down > 1000 ? 9 : 300);
      }
    });
  });
}

// The purpose: the taps become those of an unknown system.
TEST(LmsObject, FindsAnUnknownSystem) {
  LmsState state = {};
  moxsLmsInit(0, nullptr, 16, nullptr, 0.05f, 0, 0, &state);
  const auto in = noise<float>(20000, 1);
  std::vector<float> desired(20000), out(20000);
  for (size_t t = 0; t < in.size(); ++t) desired[t] = 0.5f * in[t] - (t >= 3 ? 0.25f * in[t - 3] : 0);
  moxsbLmsDes(&state, in.data(), desired.data(), out.data(), 20000);
  const float* const taps = static_cast<const float*>(state.tapSt.taps);
  for (int i = 0; i < 16; ++i) EXPECT_NEAR(taps[i], i == 0 ? 0.5 : i == 3 ? -0.25 : 0, 1e-5);
  EXPECT_NEAR(moxsLmsGetErrVal(&state), 0, 1e-5);
  moxLmsFree(&state);
}

TEST(Lms, SameBitsWithFusedMultiplyAdd) {
  forEachForm([](auto form) {
    using T = typename decltype(form)::T;
    for (const Setting& set : kSettings) {
      if (set.multiRate()) continue;
      std::vector<std::vector<T>> results;
      for (const std::string& level : levels()) {
        if (level == "sse2") continue;
        const ForcedLevel forced(level);
        const auto taps = noise<T>(static_cast<size_t>(set.taps), 3), desired = noise<T>(200, 4);
        const auto in = noise<typename decltype(form)::S>(200, 5);
        std::vector<T> out(200);
        LmsState state = {};
        form.objectInit(0, taps.data(), set.taps, nullptr, set.step, set.leak, set.delay, &state);
        form.followBlock(&state, in.data(), desired.data(), out.data(), 200);
        const T* const last = static_cast<const T*>(state.tapSt.taps);
        out.insert(out.end(), last, last + set.taps);
        results.push_back(out);
        moxLmsFree(&state);
      }
      for (const auto& result : results) EXPECT_TRUE(sameBits(result, results[0])) << form.letters << " " << set;
    }
  });
}

// ---- without adaptation

template <class S, class T, class O>
struct Plain {
  void (*init)(int32_t, T*, int32_t, float, float, int32_t, LmsTapState*);
  void (*initDlyl)(const LmsTapState*, S*, int32_t, LmsDlyState*);
  O (*one)(const LmsTapState*, const LmsDlyState*, S);
  void (*block)(const LmsTapState*, const LmsDlyState*, const S*, O*, int32_t);
  void (*fir)(const FirTapState*, FirDlyState*, const S*, O*, int32_t);
  const char* letters;
  void check() const {
    SCOPED_TRACE(letters);
    const auto in = noise<S>(50, 1);
    auto taps = noise<T>(20, 2), firTaps = taps;
    std::vector<S> line(23), firLine(20);
    std::vector<O> singles(50), blocks(50), expected(50);
    FirTapState firTapState = {firTaps.data(), 20, 1, 0, 1, 0, 0, 1};
    FirDlyState firDelayState = {firLine.data(), 20, 1};
    fir(&firTapState, &firDelayState, in.data(), expected.data(), 50);
    LmsTapState tapState;
    LmsDlyState delayState;
    init(0, taps.data(), 20, 0.1f, 0.1f, 3, &tapState);
    initDlyl(&tapState, line.data(), 0, &delayState);
    EXPECT_EQ(delayState.len, 20);
    block(&tapState, &delayState, in.data(), blocks.data(), 50);
    EXPECT_TRUE(sameBits(blocks, expected));
    initDlyl(&tapState, line.data(), 1, &delayState);
    EXPECT_EQ(delayState.len, 23);
    line.assign(23, S{});
    for (size_t i = 0; i < 50; ++i) singles[i] = one(&tapState, &delayState, in[i]);
    for (size_t i = 0; i < 50; ++i) EXPECT_TRUE(near(singles[i], widened(expected[i]), 40 * kUnit<O>)) << i;
    EXPECT_TRUE(sameBits(line[22], in[27]));
    EXPECT_TRUE(sameBits(taps, firTaps));

    // A delay line that a negative errDly makes shorter than the filter, down to nothing.
    for (const int32_t errDly : {-5, -20}) {
      const int32_t places = 20 + errDly;
      const Guarded<S> few(static_cast<size_t>(places), Flush::AtEnd);
      init(0, taps.data(), 20, 0, 0, errDly, &tapState);
      initDlyl(&tapState, few.data(), 1, &delayState);
      ASSERT_EQ(delayState.len, places);
      firTapState.len = firDelayState.len = std::max(places, 1);
      firLine.assign(20, S{});
      fir(&firTapState, &firDelayState, in.data(), expected.data(), 50);
      block(&tapState, &delayState, in.data(), blocks.data(), 50);
      EXPECT_TRUE(sameBits(blocks, expected)) << errDly;
    }

    Reports reports;
    const std::string single = std::string("mox") + letters + "LmslNa: ",
                      many = std::string("mox") + letters + "bLmslNa: ";
    tapState.isFilterMode = 0;
    EXPECT_EQ(widened(one(nullptr, &delayState, in[0])), Wide(0));
    block(&tapState, &delayState, in.data(), nullptr, 0);
    moxSetErrStatus(0);
    block(&tapState, &delayState, in.data(), blocks.data(), 0);
    moxSetErrStatus(0);
    block(&tapState, &delayState, in.data(), blocks.data(), 1);
    EXPECT_EQ(reports.take(), (Strings{single + "Null buffer pointer (-5)", many + "Null buffer pointer (-5)",
                                       many + "Invalid buffer length (-5)",
                                       std::string("mox") + letters + "bFirl: Not filter mode (-5)"}));
  }
};

TEST(Lms, WithoutAdaptationItIsThePlainFilter) {
  Plain<float, float, float>{moxsLmslInit, moxsLmslInitDlyl, moxsLmslNa, moxsbLmslNa, moxsbFirl, "s"}.check();
  Plain<double, double, double>{moxdLmslInit, moxdLmslInitDlyl, moxdLmslNa, moxdbLmslNa, moxdbFirl, "d"}.check();
  Plain<MoxC, MoxC, MoxC>{moxcLmslInit, moxcLmslInitDlyl, moxcLmslNa, moxcbLmslNa, moxcbFirl, "c"}.check();
  Plain<MoxZ, MoxZ, MoxZ>{moxzLmslInit, moxzLmslInitDlyl, moxzLmslNa, moxzbLmslNa, moxzbFirl, "z"}.check();
  Plain<float, MoxC, MoxC>{moxcLmslInit, moxsLmslInitDlyl, moxscLmslNa, moxscbLmslNa, moxscbFirl, "sc"}.check();
  Plain<MoxC, float, MoxC>{moxsLmslInit, moxcLmslInitDlyl, moxcsLmslNa, moxcsbLmslNa, moxcsbFirl, "cs"}.check();
  Plain<double, MoxZ, MoxZ>{moxzLmslInit, moxdLmslInitDlyl, moxdzLmslNa, moxdzbLmslNa, moxdzbFirl, "dz"}.check();
  Plain<MoxZ, double, MoxZ>{moxdLmslInit, moxzLmslInitDlyl, moxzdLmslNa, moxzdbLmslNa, moxzdbFirl, "zd"}.check();
}

// Steps that are not above zero switch adaptation and leakage off, but not those of the desired-signal form.
TEST(Lms, TheSignOfTheStep) {
  for (const float step : {0.0f, -0.0f, -0.5f}) {
    float taps[2] = {1, 2}, line[2] = {3, 4};
    LmsTapState tapState;
    LmsDlyState delayState;
    moxsLmslInit(0, taps, 2, step, 0.5f, 0, &tapState);
    moxsLmslInitDlyl(&tapState, line, 1, &delayState);
    EXPECT_EQ(moxsLmsl(&tapState, &delayState, 5, 100), 11);
    EXPECT_TRUE(taps[0] == 1 && taps[1] == 2 && line[0] == 5 && line[1] == 3);
    EXPECT_EQ(moxsbLmsl(&tapState, &delayState, line, 100), 15);
    LmsState state = {};
    moxsLmsInit(0, taps, 2, nullptr, step, 0.5f, 0, &state);
    EXPECT_EQ(moxsLmsDes(&state, 4, 3), 2);
    EXPECT_EQ(moxsLmsGetErrVal(&state), 1);
    moxLmsFree(&state);
  }
  float taps[2] = {1, 2}, line[2] = {3, 4};
  LmsTapState tapState;
  LmsDlyState delayState;
  moxsLmslInit(0, taps, 2, 0.5f, 1, 0, &tapState);
  moxsLmslInitDlyl(&tapState, line, 1, &delayState);
  EXPECT_EQ(moxsLmsl(&tapState, &delayState, 1, 4), 6 * 1 + 8 * 3);  // leak 1: nothing of the old taps is left
  EXPECT_EQ(moxsLmslGetLeak(&tapState), 1);
  moxsLmslSetStep(-1, &tapState);
  moxsLmslSetLeak(0.25f, &tapState);
  EXPECT_EQ(moxsLmslGetStep(&tapState), -1);
  EXPECT_EQ(moxsLmslGetLeak(&tapState), 0.25f);
}

// Records that do not fit together: nothing beyond the delay line is touched, missing samples are zeros.
TEST(Lms, DelayLinesThatAreTooShort) {
  forEachLevel([] {
    forEachForm([](auto form) {
      using S = typename decltype(form)::S;
      using T = typename decltype(form)::T;
      for (const int32_t errDly : {3, 30, -2, -100, INT32_MAX, INT32_MIN}) {
        for (const Flush flush : {Flush::AtStart, Flush::AtEnd}) {
          const Guarded<T> taps(noise<T>(20, 1), flush);
          const Guarded<S> line(noise<S>(20, 2), flush);
          const auto in = noise<S>(4, 3);
          LmsTapState tapState;
          LmsDlyState delayState;
          form.init(0, taps.data(), 20, 0.5f, 0, errDly, &tapState);
          form.initDlyl(&tapState, line.data(), 0, &delayState);
          Model<S, T> model{{20, 0.5f, 0, errDly < 0 ? 100 : errDly, 1, 0}, taps.values(), line.values()};
          Wide exact;
          model.next(in.data(), 1, 0, makeValue<T>(1, 0), &exact);
          const T y = form.one(&tapState, &delayState, in[0], makeValue<T>(1, 0));
          EXPECT_TRUE(near(y, exact, 40 * kUnit<T>)) << form.letters << errDly;
          EXPECT_TRUE(sameBits(line.values(), model.line));
          delayState.len = 7;
          form.one(&tapState, &delayState, in[1], makeValue<T>(1, 0));
          tapState.downFactor = 4;
          form.period(&tapState, &delayState, in.data(), makeValue<T>(1, 0));
          EXPECT_TRUE(sameBits(line[0], in[3]));
          EXPECT_TRUE(sameBits(line[4], in[1]));
          EXPECT_TRUE(sameBits(line[7], model.line[7]));
          // Without adaptation: 20 taps, from the fourth of 20 places on.
          delayState.len = 20;
          tapState.step = 0;
          form.period(&tapState, &delayState, in.data(), makeValue<T>(1, 0));
          EXPECT_TRUE(sameBits(line[4], in[3]));
        }
      }
    });
  });
}

// ---- Get and Set, of both interfaces

template <class T>
struct Accessors {
  void (*setTaps)(const T*, LmsTapState*);
  void (*getTaps)(LmsTapState*, T*);
  void (*setDlyl)(const LmsTapState*, const T*, LmsDlyState*);
  void (*getDlyl)(const LmsTapState*, LmsDlyState*, T*);
  void (*objectSetTaps)(const T*, LmsState*);
  void (*objectGetTaps)(LmsState*, T*);
  void (*objectSetDlyl)(const T*, LmsState*);
  void (*objectGetDlyl)(LmsState*, T*);

  void check(int32_t downFactor) const {
    // 3 taps; 6 places, of which 5 are visible, oldest first.
    const auto values = [](std::initializer_list<int> list) {
      std::vector<T> v;
      for (const int x : list) v.push_back(makeValue<T>(static_cast<typename Traits<T>::Real>(x), 0));
      return v;
    };
    auto taps = values({1, 2, 3}), line = values({1, 2, 3, 4, 5, 6}), other = values({0, 0, 0, 0, 0, 0});
    LmsState state = {};
    state.tapSt = {taps.data(), 3, 1, 0, downFactor, 0, downFactor > 1, 1, 0, 0, 0, 0};
    state.dlySt = {line.data(), 6, 1, 1};
    LmsTapState& tapState = state.tapSt;
    LmsDlyState& delayState = state.dlySt;
    const auto both = [](auto low, auto object) {
      low();
      object();
    };
    both([&] { getTaps(&tapState, other.data()); }, [&] { objectGetTaps(&state, other.data()); });
    EXPECT_TRUE(sameBits(other, values({1, 2, 3, 0, 0, 0})));
    EXPECT_EQ(tapState.isFilterMode, 0);
    setTaps(nullptr, &tapState);
    EXPECT_TRUE(sameBits(taps, values({0, 0, 0})));
    EXPECT_EQ(tapState.isFilterMode, 1);
    objectSetTaps(other.data(), &state);
    EXPECT_TRUE(sameBits(taps, values({1, 2, 3})));

    getDlyl(&tapState, &delayState, other.data());
    EXPECT_TRUE(sameBits(other, values({5, 4, 3, 2, 1, 0})));
    EXPECT_EQ(delayState.isFilterMode, 0);
    objectGetDlyl(&state, taps.data());  // not in internal order: nothing
    EXPECT_TRUE(sameBits(taps, values({1, 2, 3})));
    setDlyl(&tapState, other.data(), &delayState);
    EXPECT_TRUE(sameBits(line, values({1, 2, 3, 4, 5, 6})));
    objectGetDlyl(&state, line.data());
    EXPECT_TRUE(sameBits(line, values({5, 4, 3, 2, 1, 6})));
    objectSetDlyl(line.data(), &state);
    objectSetDlyl(line.data(), &state);  // in order already
    EXPECT_TRUE(sameBits(line, values({1, 2, 3, 4, 5, 6})));
    EXPECT_EQ(delayState.isFilterMode, 1);
    setDlyl(&tapState, nullptr, &delayState);
    EXPECT_TRUE(sameBits(line, values({0, 0, 0, 0, 0, 6})));

    Reports reports;
    const auto refuse = [&](auto call) {
      call();
      ASSERT_EQ(reports.all().size(), 1u);
      EXPECT_EQ(reports.all()[0].condition, "Null buffer pointer");
      reports.take();
      EXPECT_TRUE(tapState.isFilterMode == 1 && delayState.isFilterMode == 1);
    };
    refuse([&] { setTaps(taps.data(), nullptr); });
    refuse([&] { getTaps(&tapState, nullptr); });
    refuse([&] { getTaps(nullptr, taps.data()); });
    refuse([&] { setDlyl(nullptr, line.data(), &delayState); });
    refuse([&] { setDlyl(&tapState, line.data(), nullptr); });
    refuse([&] { getDlyl(&tapState, &delayState, nullptr); });
    refuse([&] { objectSetTaps(taps.data(), nullptr); });
    refuse([&] { objectGetTaps(&state, nullptr); });
    refuse([&] { objectSetDlyl(line.data(), nullptr); });
    refuse([&] { objectGetDlyl(&state, nullptr); });
  }
};

TEST(Lms, TapsAndHistoryInAndOut) {
  for (const int32_t down : {1, 2}) {
    Accessors<float>{moxsLmslSetTaps, moxsLmslGetTaps, moxsLmslSetDlyl, moxsLmslGetDlyl,
                     moxsLmsSetTaps,  moxsLmsGetTaps,  moxsLmsSetDlyl,  moxsLmsGetDlyl}
        .check(down);
    Accessors<double>{moxdLmslSetTaps, moxdLmslGetTaps, moxdLmslSetDlyl, moxdLmslGetDlyl,
                      moxdLmsSetTaps,  moxdLmsGetTaps,  moxdLmsSetDlyl,  moxdLmsGetDlyl}
        .check(down);
    Accessors<MoxC>{moxcLmslSetTaps, moxcLmslGetTaps, moxcLmslSetDlyl, moxcLmslGetDlyl,
                    moxcLmsSetTaps,  moxcLmsGetTaps,  moxcLmsSetDlyl,  moxcLmsGetDlyl}
        .check(down);
    Accessors<MoxZ>{moxzLmslSetTaps, moxzLmslGetTaps, moxzLmslSetDlyl, moxzLmslGetDlyl,
                    moxzLmsSetTaps,  moxzLmsGetTaps,  moxzLmsSetDlyl,  moxzLmsGetDlyl}
        .check(down);
  }
}

// ---- reports

TEST(Lms, BadCalls) {
  Reports reports;
  forEachForm([&](auto form) {
    using S = typename decltype(form)::S;
    using T = typename decltype(form)::T;
    SCOPED_TRACE(form.letters);
    T taps[3] = {}, out[2] = {};
    S line[6] = {};
    LmsTapState tapState = {};
    LmsDlyState delayState = {};
    const auto last = [&] {
      if (reports.all().size() != 1) return std::to_string(reports.all().size()) + " reports";
      const std::string file = reports.all()[0].file;
      return file + " " + reports.take()[0];
    };
    const std::string tap = "moxlmsl mox" + std::string(1, form.letters[std::strlen(form.letters) - 1]);
    const std::string samples = "moxlmsl mox" + std::string(1, form.letters[0]);
    const std::string null = "Null buffer pointer (-5)", length = "Invalid buffer length (-5)";
    form.init(0, nullptr, 0, 0, 0, 0, &tapState);
    EXPECT_EQ(last(), tap + "LmslInit: " + null);
    form.init(0, taps, 0, 0, 0, 0, &tapState);
    EXPECT_EQ(last(), tap + "LmslInit: " + length);
    form.initMr(0, taps, 0, 0, 0, 0, 0, -1, &tapState);
    EXPECT_EQ(last(), tap + "LmslInitMr: " + length);
    for (const int32_t phase : {-1, 2}) {
      form.initMr(0, taps, 3, 0, 0, 0, 2, phase, &tapState);
      EXPECT_EQ(last(), tap + "LmslInitMr: Invalid factor value (-5)");
    }
    form.initDlyl(&tapState, nullptr, 1, &delayState);
    EXPECT_EQ(last(), samples + "LmslInitDlyl: " + null);
    EXPECT_TRUE(tapState.len == 0 && delayState.len == 0);
    const auto words = [](const LmsTapState& t) {
      return std::vector<int32_t>{t.len,         t.upFactor,     t.upPhase, t.downFactor, t.downPhase,
                                  t.isMultiRate, t.isFilterMode, t.errDly,  t.lmsType};
    };
    std::memset(&tapState, 0x5a, sizeof tapState);
    form.init(7, taps, 3, 0.5f, 0.25f, 4, &tapState);
    EXPECT_EQ(words(tapState), (std::vector<int32_t>{3, 1, 0, 1, 0, 0, 1, 4, 7}));
    form.initMr(8, taps, 3, 0.5f, 0.25f, 1, 2, 1, &tapState);
    EXPECT_EQ(words(tapState), (std::vector<int32_t>{3, 1, 0, 2, 1, 1, 1, 1, 8}));
    EXPECT_TRUE(tapState.taps == taps && tapState.leak == 0.25f && tapState.step == 0.5f);
    form.initDlyl(&tapState, line, 1, &delayState);
    EXPECT_TRUE(delayState.dlyl == line && delayState.len == 6 && delayState.isFilterMode == 1 &&
                delayState.adapt == 1);
    form.one(&tapState, nullptr, line[0], out[0]);
    EXPECT_EQ(last(), "moxlmsl " + form.name("Lmsl: ") + null);
    form.period(&tapState, &delayState, nullptr, out[0]);
    EXPECT_EQ(last(), "moxlmsl " + form.name("bLmsl: ") + null);

    // The object.
    LmsState state = {};
    form.objectInit(0, taps, 0, nullptr, 0, 0, 0, nullptr);
    EXPECT_EQ(last(), "moxlmsh " + form.name("LmsInit: ") + null);
    form.objectInit(0, taps, 0, nullptr, 0, 0, 0, &state);
    EXPECT_EQ(last(), "moxlmsh " + form.name("LmsInit: ") + length);
    form.objectInitMr(0, taps, 0, nullptr, 0, 0, 0, 1, -1, &state);
    EXPECT_EQ(last(), "moxlmsh " + form.name("LmsInitMr: ") + length);
    form.objectInitMr(0, taps, 3, nullptr, 0, 0, 0, -1, -1, &state);
    EXPECT_EQ(last(), "moxlmsh " + form.name("LmsInitMr: Invalid phase value (-5)"));
    form.objectInitMr(0, taps, 3, nullptr, 0, 0, 0, 2, 2, &state);
    EXPECT_EQ(last(), "moxlmsh " + form.name("LmsInitMr: Invalid factor value (-5)"));
    EXPECT_EQ(state.tapSt.taps, nullptr);
    const std::string noTaps = "Taps state structure is not initialized (-5)";
    const std::string noDelay = "Delay line state structure is not initialized (-5)";
    form.objectInitMr(9, taps, 3, nullptr, 0.5f, 0.25f, 1, 2, 1, &state);
    EXPECT_EQ(words(state.tapSt), (std::vector<int32_t>{3, 1, 0, 2, 1, 1, 1, 1, 9}));
    EXPECT_TRUE(state.dlySt.len == 6 && state.dlySt.isFilterMode == 1 && state.dlySt.adapt == 1);
    moxLmsFree(&state);
    form.objectInit(0, taps, 3, nullptr, 0, 0, 0, &state);
    for (const bool tapsReady : {false, true}) {
      state.tapSt.isFilterMode = tapsReady;
      state.dlySt.isFilterMode = 0;
      const std::string text = tapsReady ? noDelay : noTaps;
      form.objectOne(&state, line[0], out[0]);
      EXPECT_EQ(last(), "moxlmsh " + form.name("Lms: ") + text);
      form.objectPeriod(&state, line, out[0]);
      EXPECT_EQ(last(), "moxlmsh " + form.name("bLms: ") + text);
      form.follow(&state, line[0], out[0]);
      EXPECT_EQ(last(), "moxlmsh " + form.name("LmsDes: ") + text);
      form.followBlock(&state, nullptr, nullptr, nullptr, 0);
      EXPECT_EQ(last(), "moxlmsh " + form.name("bLmsDes: ") + text);
    }
    form.objectOne(nullptr, line[0], out[0]);
    EXPECT_EQ(last(), "moxlmsh " + form.name("Lms: ") + null);
    form.objectPeriod(&state, nullptr, out[0]);
    EXPECT_EQ(last(), "moxlmsh " + form.name("bLms: ") + null);
    form.follow(nullptr, line[0], out[0]);
    EXPECT_EQ(last(), "moxlmsh " + form.name("LmsDes: ") + null);
    state.dlySt.isFilterMode = 1;
    form.followBlock(&state, line, out, nullptr, 0);
    EXPECT_EQ(last(), "moxlmsh " + form.name("bLmsDes: ") + null);
    form.followBlock(&state, line, out, out, 0);
    EXPECT_EQ(last(), "moxlmsh " + form.name("bLmsDes: Bad value of number of iterations (-5)"));
    EXPECT_EQ(widened(form.getError(nullptr)), Wide(0));
    EXPECT_NE(last().find("LmsGetErrVal: " + null), std::string::npos);
    form.setError(out[0], nullptr);
    EXPECT_NE(last().find("LmsSetErrVal: " + null), std::string::npos);

    // An old failure stops all but these.
    moxSetErrStatus(-4);
    form.setError(makeValue<T>(2, 0), &state);
    EXPECT_EQ(widened(form.getError(&state)), Wide(2));
    EXPECT_EQ(widened(form.follow(&state, makeValue<S>(1, 0), makeValue<T>(7, 0))), Wide(0));
    EXPECT_EQ(widened(form.getError(&state)), Wide(2));
    moxLmsFree(&state);
    EXPECT_EQ(state.tapSt.taps, nullptr);
    EXPECT_EQ(reports.take(), Strings{});
  });
  LmsState state = {};
  moxsLmsSetStep(3, &state);
  moxsLmsSetLeak(4, &state);
  EXPECT_TRUE(moxsLmsGetStep(&state) == 3 && moxsLmsGetLeak(&state) == 4);
  EXPECT_TRUE(moxsLmslGetStep(&state.tapSt) == 3 && moxsLmslGetLeak(&state.tapSt) == 4);
}

TEST(LmsObject, WithoutMemory) {
  if (kSanitized) GTEST_SKIP() << "the sanitizer's allocator ends the process";
  Reports reports;
  forEachForm([&](auto form) {
    using T = typename decltype(form)::T;
    const ShortOfMemory limit;
    T few[3] = {};
    // The first allocation, the second, more than an int32 counts.
    const int32_t sizes[][2] = {{INT32_MAX, 0}, {3, 1 << 30}, {3, INT32_MAX}};
    for (const auto& size : sizes) {
      LmsState state = {};
      state.tapSt.isFilterMode = state.dlySt.isFilterMode = 1;
      form.objectInit(0, size[0] == 3 ? few : nullptr, size[0], nullptr, 0, 0, size[1], &state);
      EXPECT_EQ(reports.take(), Strings{form.name("LmsInit: Problem to allocate memory (-4)")});
      EXPECT_TRUE(!state.tapSt.taps && !state.dlySt.dlyl && !state.tapSt.isFilterMode && !state.dlySt.isFilterMode);
    }
  });
}

// ---- int16

TEST(Lms16, FollowsTheRule) {
  std::mt19937 bits(1);
  const auto saturated = [](int64_t v) { return static_cast<int16_t>(std::clamp<int64_t>(v, -32768, 32767)); };
  forEachLevel([&] {
    for (const int16_t shift :
         {int16_t{-3}, int16_t{0}, int16_t{1}, int16_t{7}, int16_t{15}, int16_t{31}, int16_t{300}}) {
      for (const int32_t n : {1, 5, 40}) {
        const int32_t errDly = 2;
        const size_t size = static_cast<size_t>(n);
        const Guarded<int16_t> taps(size, Flush::AtEnd), line(size + 2, Flush::AtEnd);
        std::vector<int16_t> source(size), history(size + 1);
        for (int16_t& v : source) v = static_cast<int16_t>(bits());
        for (int16_t& v : history) v = bits() % 4 ? static_cast<int16_t>(bits()) : int16_t{-32768};
        LmsTapState tapState;
        LmsDlyState delayState;
        line[size + 1] = 0;
        moxwLmslInit(0, taps.data(), n, shift, 9, errDly, &tapState);
        moxwLmslInitDlyl(&tapState, line.data(), 1, &delayState);
        EXPECT_EQ(delayState.len, n + 2);
        int16_t step;
        std::memcpy(&step, &tapState.step, 2);
        EXPECT_EQ(step, shift);
        moxwLmslSetTaps(source.data(), &tapState);
        moxwLmslSetDlyl(&tapState, history.data(), &delayState);
        EXPECT_EQ(line[0], history[size]);
        for (int t = 0; t < 20; ++t) {
          auto expected = taps.values(), moved = line.values();
          const int16_t x = static_cast<int16_t>(bits()), e = t % 5 ? static_cast<int16_t>(bits()) : int16_t{-32768};
          for (size_t i = 0; i < size && shift >= 1; ++i) {
            expected[i] = saturated(expected[i] + ((int64_t{moved[i + 2]} * e) >> std::min<int>(shift, 40)));
          }
          moved.insert(moved.begin(), x);
          moved.pop_back();
          int64_t sum = 0;
          for (size_t i = 0; i < size; ++i) sum += expected[i] * moved[i];
          EXPECT_EQ(moxwLmsl(&tapState, &delayState, x, e),
                    saturated(static_cast<int32_t>(static_cast<uint32_t>(sum))));
          EXPECT_EQ(taps.values(), expected);
          EXPECT_EQ(line.values(), moved);
        }
      }
    }
  });
  Reports reports;
  LmsTapState tapState = {};
  LmsDlyState delayState = {};
  moxwLmslInit(0, nullptr, 1, 1, 0, 0, &tapState);
  moxwLmslInitDlyl(&tapState, nullptr, 1, &delayState);
  moxSetErrStatus(0);
  moxwLmslInitDlyl(&tapState, nullptr, 1, &delayState);
  moxSetErrStatus(0);
  EXPECT_EQ(moxwLmsl(nullptr, &delayState, 1, 1), 0);
  moxSetErrStatus(0);
  moxwLmslSetTaps(nullptr, nullptr);
  moxSetErrStatus(0);
  moxwLmslSetDlyl(nullptr, nullptr, &delayState);
  const std::string null = ": Null buffer pointer (-5)";
  EXPECT_EQ(reports.take(), (Strings{"moxwLmslInit" + null, "moxwLmslInitDlyl" + null, "moxwLmslInitDlyl" + null,
                                     "moxwLmsl" + null, "moxwLmslSetTaps" + null, "moxwLmslSetDlyl" + null}));
}

}  // namespace
