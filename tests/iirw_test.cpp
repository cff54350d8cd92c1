#include <algorithm>

#include "tests/support/short_of_memory.h"
#include "tests/support/support.h"

using namespace moxtest;

namespace {

using Strings = std::vector<std::string>;

// Whole numbers.
int16_t limited(double v) { return static_cast<int16_t>(std::clamp(v, -32768.0, 32767.0)); }

std::vector<int16_t> samples(size_t n, uint32_t seed, int size) {
  std::mt19937 bits(seed);
  std::vector<int16_t> v(n);
  for (int16_t& x : v) x = static_cast<int16_t>(static_cast<int>(bits() % static_cast<uint32_t>(2 * size)) - size);
  return v;
}

TEST(Iir16, InitTruncates) {
  IirTapState state;
  int16_t direct[] = {7, -7, 32767, -3, 5, -32768};
  moxwIirlInit(1, direct, 2, &state);
  EXPECT_EQ(std::vector<int16_t>(direct, direct + 6), (std::vector<int16_t>{-2, 2, -10922, -1, 10922, -32768}));
  EXPECT_TRUE(state.order == 2 && state.taps == direct && state.iirType == 1 && state.isBiquad == 0);
  int16_t unit[] = {-32768, 9, -1, 5};
  moxwIirlInit(0, unit, 1, &state);
  EXPECT_EQ(std::vector<int16_t>(unit, unit + 4), (std::vector<int16_t>{32767, -9, -5, 5}));  // 32768 is limited
  int16_t exact[] = {21, 0, 7, 14};  // a reciprocal of 7 would give 2.99...
  moxwIirlInit(0, exact, 1, &state);
  EXPECT_EQ(std::vector<int16_t>(exact, exact + 4), (std::vector<int16_t>{3, 0, 2, 14}));
  int16_t quads[] = {300, 700, -900, 2, 5, -3, 300, -150, 299, 1, 0, 2};
  moxwIirlInitBq(0, quads, 2, &state);
  EXPECT_EQ(std::vector<int16_t>(quads, quads + 12),
            (std::vector<int16_t>{32767, 2, -1, 2, -3, 0, 2, 0, 0, 1, 0, 2}));  // the gain, 45000, is limited
  EXPECT_TRUE(state.order == 4 && state.taps == quads && state.isBiquad == 1);
}

// The recursion on int16 taps in float64, with the delay line limited when a call ends.
TEST(Iir16, FiltersThroughFloat) {
  forEachLevel([] {
    for (const bool biquads : {false, true}) {
      // Poles on and inside the unit circle, of integer coefficients.
      Guarded<int16_t> taps(biquads ? std::vector<int16_t>{1, 1, -1, 1, 0, 0, 1, 2, 1, 1, -1, 0}
                                    : std::vector<int16_t>{2, -1, 3, 1, 1, 0},
                            Flush::AtEnd);
      const int32_t order = biquads ? 4 : 2;
      const Guarded<int16_t> delay(static_cast<size_t>(order), Flush::AtStart), out(40, Flush::AtEnd);
      Guarded<int16_t> in(samples(40, 3, 200), Flush::AtEnd);
      in.makeReadOnly();
      IirTapState tapState;
      IirDlyState delayState;
      (biquads ? moxwIirlInitBq : moxwIirlInit)(0, taps.data(), biquads ? 2 : 2, &tapState);
      std::fill_n(delay.data(), delay.size(), int16_t{5});
      moxwIirlInitDlyl(&tapState, delay.data(), &delayState);
      std::vector<double> d(static_cast<size_t>(order));
      const int16_t* const t = taps.data();
      const auto next = [&](double x) {
        if (!biquads) {
          const double y = t[0] * x + d[0];
          d[0] = t[1] * x - t[3] * y + d[1];
          d[1] = t[2] * x - t[4] * y;
          return y;
        }
        double v = t[0] * x;
        for (size_t k = 0; k < 2; ++k) {
          const int16_t* const c = t + 1 + 4 * k;
          const double w = v - c[0] * d[2 * k] - c[1] * d[2 * k + 1];
          v = w + c[2] * d[2 * k] + c[3] * d[2 * k + 1];
          d[2 * k + 1] = d[2 * k];
          d[2 * k] = w;
        }
        return v;
      };
      const auto stored = [&] {
        for (size_t i = 0; i < d.size(); ++i) {
          d[i] = limited(d[i]);
          EXPECT_EQ(delay[i], d[i]);
        }
      };
      int32_t factor = 1;
      for (size_t i = 0; i < 10; ++i) {
        EXPECT_EQ(moxwIirl(&tapState, &delayState, in[i], MOX_NoScaleSat, nullptr), limited(next(in[i])));
        stored();
      }
      for (size_t at = 10, n = 1; at < 40; at += n, n = 40 - at) {
        moxwbIirl(&tapState, &delayState, in.data() + at, out.data(), static_cast<int32_t>(n), MOX_FixScaleSat,
                  &factor);
        for (size_t i = 0; i < n; ++i) {
          EXPECT_EQ(out[i], static_cast<int16_t>(std::clamp(next(in[at + i]) / 2, -32768.0, 32767.0)));  // truncated
        }
        stored();
      }
    }
  });
  // More than int16 holds, more than float32 holds.
  int16_t taps[] = {1, 3, 1, 0}, delay[1];
  IirTapState tapState;
  IirDlyState delayState;
  moxwIirlInit(0, taps, 1, &tapState);
  moxwIirlInitDlyl(&tapState, delay, &delayState);
  EXPECT_EQ(moxwIirl(&tapState, &delayState, 20000, MOX_NoScale, nullptr), 20000);
  EXPECT_EQ(delay[0], 32767);
  EXPECT_EQ(moxwIirl(&tapState, &delayState, -20000, MOX_NoScale, nullptr), 12767);
  EXPECT_EQ(delay[0], -32768);
  taps[1] = 0;
  taps[2] = -32768;
  const int16_t ones[20] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
  int16_t out[20];
  delay[0] = 0;
  moxwbIirl(&tapState, &delayState, ones, out, 20, MOX_NoScaleSat, nullptr);
  EXPECT_EQ(out[19], 32767);
  EXPECT_EQ(delay[0], 32767);
}

// The object computes in float32 throughout: coefficients below 1 work, too.
TEST(Iir16, TheObjectKeepsFloats) {
  forEachLevel([] {
    for (const bool biquads : {false, true}) {
      const std::vector<int16_t> tapVals = biquads ? std::vector<int16_t>{900, -500, 300, 1000, -1200, 700}
                                                   : std::vector<int16_t>{300, 200, 100, 1000, -1200, 700};
      const std::vector<float> floatVals(tapVals.begin(), tapVals.end());
      IirState state = {}, floats = {};
      EXPECT_EQ((biquads ? moxwIirInitBq : moxwIirInit)(1, tapVals.data(), biquads ? 1 : 2, &state), 0);
      (biquads ? moxsIirInitBq : moxsIirInit)(1, floatVals.data(), biquads ? 1 : 2, &floats);
      const auto in = samples(300, 5, 15000);
      const std::vector<float> floatIn(in.begin(), in.end());
      std::vector<int16_t> out(300), expected(300);
      std::vector<float> floatOut(300);
      EXPECT_EQ(moxwbIir(&state, in.data(), out.data(), 299, MOX_NoScaleSat, nullptr), 0);
      out[299] = moxwIir(&state, in[299], MOX_NoScaleSat, nullptr);
      moxsbIir(&floats, floatIn.data(), floatOut.data(), 299);
      floatOut[299] = moxsIir(&floats, floatIn[299]);
      for (size_t i = 0; i < 300; ++i) {
        expected[i] = static_cast<int16_t>(std::clamp(floatOut[i], -32768.0f, 32767.0f));
      }
      EXPECT_EQ(out, expected);
      int32_t factor = 99;
      moxwbIir(&state, in.data(), out.data(), 10, MOX_AutoScale, &factor);
      EXPECT_TRUE(factor >= 0 && factor < 4);
      moxIirFree(&state);
      moxIirFree(&floats);
    }
  });
}

TEST(Iir16, BadCalls) {
  Reports reports;
  const auto fresh = [](auto call) {
    call();
    moxSetErrStatus(0);
  };
  int16_t taps[12] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 1, 1}, delay[4] = {7, 7, 7, 7}, x[2] = {1, 2};
  const std::vector<int16_t> tapsBefore(taps, taps + 12);
  IirTapState tapState = {};
  IirDlyState delayState = {};
  fresh([&] { moxwIirlInit(2, nullptr, -1, nullptr); });
  fresh([&] { moxwIirlInitBq(2, nullptr, 0, nullptr); });
  EXPECT_EQ(reports.all()[0].file, "moxiirlw");
  EXPECT_EQ(reports.take(),
            (Strings{"moxwIirlInit: tapStPtr==0 (-5)", "moxwIirlInit: taps==0 (-5)", "moxwIirlInit: order<0 (-5)",
                     "moxwIirlInit: iirType is out of range (-5)", "moxwIirlInitBq: tapStPtr==0 (-5)",
                     "moxwIirlInitBq: taps==0 (-5)", "moxwIirlInitBq: numQuads<=0 (-5)",
                     "moxwIirlInitBq: iirType is out of range (-5)"}));
  fresh([&] { moxwIirlInit(0, taps, 8, &tapState); });
  EXPECT_EQ(tapState.taps, nullptr);
  fresh([&] { moxwIirlInitBq(0, taps, 2, &tapState); });
  EXPECT_TRUE(tapState.order == 4 && tapState.isBiquad == 1);
  fresh([&] { moxwIirlInitBq(0, taps, 1 << 30, &tapState); });  // the record's order would not fit
  EXPECT_EQ(tapState.order, 4);
  EXPECT_EQ(std::vector<int16_t>(taps, taps + 12), tapsBefore);
  EXPECT_EQ(reports.take(),
            (Strings{"moxwIirlInit: taps[order+1] equals zero (-5)", "moxwIirlInitBq: taps[1*6+3] equals zero (-5)",
                     "moxwIirlInitBq: No memory for working array (-4)"}));
  taps[0] = 0;
  fresh([&] { moxwIirlInitBq(0, taps, 2, &tapState); });
  EXPECT_EQ(reports.take(), Strings{"moxwIirlInitBq: taps[0*6] equals zero (-5)"});
  taps[0] = 1;
  taps[9] = 1;
  moxwIirlInitBq(0, taps, 2, &tapState);
  fresh([&] { moxwIirlInitDlyl(nullptr, nullptr, nullptr); });
  fresh([&] { moxwIirlInitDlyl(&tapState, nullptr, &delayState); });
  fresh([&] { moxwIirl(nullptr, nullptr, 1, 0, nullptr); });
  fresh([&] { moxwIirl(&tapState, &delayState, 1, 0, nullptr); });
  fresh([&] { moxwbIirl(nullptr, nullptr, nullptr, nullptr, -1, 0, nullptr); });
  delayState.dlyl = delay;
  fresh([&] { moxwbIirl(&tapState, &delayState, x, x, -1, 0, nullptr); });
  fresh([&] { moxwbIirl(&tapState, &delayState, x, x, 0, 9, nullptr); });
  fresh([&] { moxwbIirl(&tapState, &delayState, x, x, 2, MOX_AutoScale, nullptr); });
  fresh([&] { EXPECT_EQ(moxwIirl(&tapState, &delayState, 1, 9, nullptr), 0); });
  EXPECT_TRUE(x[0] == 1 && delay[0] == 7);
  EXPECT_EQ(reports.take(),
            (Strings{"moxwIirlInitDlyl: tapStPtr==0 (-5)", "moxwIirlInitDlyl: dlyStPtr==0 (-5)",
                     "moxwIirlInitDlyl: dlyl==0 (-5)", "moxwIirl: tapStPtr==0 (-5)", "moxwIirl: dlyStPtr==0 (-5)",
                     "moxwIirl: structure *dlyStPtr wasn't initialized (-5)", "moxwbIirl: tapStPtr==0 (-5)",
                     "moxwbIirl: dlyStPtr==0 (-5)", "moxwbIirl: inSamps==0 (-5)", "moxwbIirl: outSamps==0 (-5)",
                     "moxwbIirl: numIters < 0 (-5)", "moxsbUndScaling: NULL==scalePtr (-5)",
                     "moxsbUndScaling: Unknown scale mode (-5)"}));

  IirState state = {};
  fresh([&] { EXPECT_EQ(moxwIirInit(0, nullptr, 0, nullptr), -5); });
  taps[2] = 0;
  fresh([&] { EXPECT_EQ(moxwIirInit(0, taps, 1, &state), -5); });
  fresh([&] { moxwIir(&state, 1, 0, nullptr); });
  fresh([&] { EXPECT_EQ(moxwbIir(nullptr, nullptr, nullptr, 0, 0, nullptr), -5); });
  fresh([&] { EXPECT_EQ(moxwbIir(&state, x, x, 0, 0, nullptr), -5); });
  EXPECT_EQ(reports.all()[0].file, "moxiirhw");
  EXPECT_EQ(reports.take(), (Strings{"moxwIirInit: statePtr==0 (-5)", "moxwIirInit: tapVals==0 (-5)",
                                     "moxsIirlInit: taps[order+1] equals zero (-5)", "moxwIirInit: (null) (-1)",
                                     "moxwIir: IIR filter wasn't initialized (-5)", "moxwbIir: statePtr==0 (-5)",
                                     "moxwbIir: inSamps==0 (-5)", "moxwbIir: outSamps==0 (-5)",
                                     "moxwbIir: numIters <= 0 (-5)", "moxwbIir: IIR filter wasn't initialized (-5)"}));
  taps[2] = 1;
  moxwIirInit(0, taps, 1, &state);
  fresh([&] { EXPECT_EQ(moxwbIir(&state, x, x, 2, -1, nullptr), -5); });
  state.tapSt.isBiquad = 2;
  fresh([&] { EXPECT_EQ(moxwbIir(&state, x, x, 2, 0, nullptr), -5); });
  EXPECT_EQ(reports.take(),
            (Strings{"moxsbUndScaling: Unknown scale mode (-5)",
                     "moxsbIirl: structure *tapStPtr wasn't initialized (-5)", "moxwbIir: (null) (-1)"}));
  moxIirFree(&state);
}

TEST(Iir16, WithoutMemory) {
  if (kSanitized) GTEST_SKIP() << "the sanitizer's allocator ends the process";
  Reports reports;
  int16_t x[2] = {1, 1};
  IirTapState tapState = {4, x, 0, 0};
  IirDlyState delayState = {x};
  int16_t unit[] = {1, 1, 1, 0};
  IirState state = {};
  moxwIirInit(0, unit, 1, &state);
  const ShortOfMemory limit;
  const auto one = [&](auto call) {
    call();
    moxSetErrStatus(0);
    const Strings all = reports.take();
    return all.size() == 1 ? all[0] : std::to_string(all.size()) + " reports";
  };
  EXPECT_EQ(one([&] { moxwIirlInitBq(0, x, INT32_MAX, &tapState); }),
            "moxwIirlInitBq: No memory for working array (-4)");
  tapState = {INT32_MAX, x, 0, 0};
  EXPECT_EQ(one([&] { moxwIirl(&tapState, &delayState, 1, 0, nullptr); }),
            "moxwIirl: No memory for working array (-4)");
  EXPECT_EQ(one([&] { moxwbIir(&state, x, x, INT32_MAX, 0, nullptr); }),
            "moxwbIir: insufficiency of memory for float copy inSamps (IIR filter)  (-4)");
  IirState other = {};
  EXPECT_EQ(one([&] { moxwIirInitBq(0, x, INT32_MAX, &other); }),
            "moxwIirInitBq: insufficiency of memory for IIR filter state (-4)");
  EXPECT_EQ(other.initMark, 0);
  moxIirFree(&state);
}

}  // namespace
