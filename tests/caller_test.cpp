// Callers of all kinds: plain C, another compiler, a floating-point state that is not ours.
#include <array>
#include <vector>

#include "tests/support/support.h"
#if defined(__SSE2__)
#  include <emmintrin.h>
#endif

extern "C" int callFromC(void);
#if defined(MOXTEST_MSVC_CALLER)
extern "C" int callFromMsvc(void);
#endif

namespace {

using moxtest::noise;

TEST(Caller, PlainC) {
  const moxtest::Reports reports;
  EXPECT_EQ(callFromC(), 0);
#if defined(MOXTEST_MSVC_CALLER)
  EXPECT_EQ(callFromMsvc(), 0);
#endif
}

#if defined(__SSE2__)

struct FloatState {
  uint16_t x87;
  uint32_t mxcsr;
};

FloatState floatState() {
  FloatState state;
  asm volatile("fnstcw %0" : "=m"(state.x87));
  state.mxcsr = _mm_getcsr() & ~0x3fu;  // without what has happened
  return state;
}

// Sets a state for the life of the object and expects to find it unchanged.
class Under {
 public:
  explicit Under(const FloatState& state) : before_(floatState()), state_(state) { set(state); }
  ~Under() {
    const FloatState after = floatState();
    set(before_);
    EXPECT_EQ(after.x87, state_.x87);
    EXPECT_EQ(after.mxcsr, state_.mxcsr);
  }
  Under(const Under&) = delete;
  Under& operator=(const Under&) = delete;

 private:
  static void set(const FloatState& state) {
    asm volatile("fnclex\n\tfldcw %0" : : "m"(state.x87));
    _mm_setcsr(state.mxcsr);
  }
  FloatState before_, state_;
};

template <class T>
void append(std::vector<char>& out, const std::vector<T>& values) {
  const auto* const bytes = reinterpret_cast<const char*>(values.data());
  out.insert(out.end(), bytes, bytes + values.size() * sizeof(T));
}

// The bits of a call of each kind on n elements, or of n = 2^order where a power of two is asked for.
std::vector<char> resultsOf(int32_t n, int32_t order) {
  const auto count = static_cast<size_t>(n), size = size_t{1} << order;
  std::vector<char> out;
  const auto c = noise<MoxC>(count, 1), d = noise<MoxC>(count, 2);
  const auto z = noise<MoxZ>(count, 3), y = noise<MoxZ>(count, 4);
  auto s = noise<float>(count, 5);
  auto r = noise<double>(count, 6);
  std::vector<MoxC> toC(count);
  std::vector<MoxZ> toZ(count);
  moxsbMpy1(1.7f, s.data(), n);
  moxdbSub1(0.3, r.data(), n);
  append(out, s);
  append(out, r);
  moxcbMpy3(c.data(), d.data(), toC.data(), n);
  append(out, toC);
  moxzbMpy3(z.data(), y.data(), toZ.data(), n);
  append(out, toZ);
  moxcbConjFlip2(c.data(), toC.data(), n);
  append(out, toC);
  append(out, std::vector<MoxC>{moxcDiv(c[0], d[0]), moxcMpy(c[0], d[0])});
  append(out, std::vector<MoxZ>{moxzDiv(z[0], y[0]), moxzMpy(z[0], y[0])});
  moxzCalcDftTwdTbl(toZ.data(), n);
  append(out, toZ);

  moxcFreeTwdTbls();  // tables are built under the same state
  moxzFreeTwdTbls();
  auto f = noise<MoxC>(size, 7);
  auto g = noise<MoxZ>(size, 8);
  moxcFft(f.data(), order, MOX_Forw);
  moxzFft(g.data(), order, MOX_Inv);
  append(out, f);
  append(out, g);
  auto packed = noise<float>(size, 9);
  auto ccs = noise<double>(size + 2, 10);
  moxsRealFftl(packed.data(), order, MOX_Forw | MOX_OutRCPack);
  moxdRealFft(ccs.data(), order, MOX_Forw);
  append(out, packed);
  append(out, ccs);
  return out;
}

constexpr uint32_t kDefaultMxcsr = 0x1f80;

TEST(Caller, ResultsDoNotDependOnTheX87ControlWord) {
  for (const int32_t order : {3, 9, 13}) {
    const auto expected = resultsOf(1 << order, order);
    // 53 bits as a Windows thread starts, 24 bits as old graphics programs leave it, 64 bits rounding up.
    for (const uint16_t control : {uint16_t{0x027f}, uint16_t{0x007f}, uint16_t{0x0b7f}}) {
      const Under state({control, kDefaultMxcsr});
      EXPECT_TRUE(moxtest::sameBits(resultsOf(1 << order, order), expected)) << std::hex << control;
    }
  }
  moxcFreeTwdTbls();
  moxzFreeTwdTbls();
}

// Some hosts run with traps for invalid operations, divisions by zero and overflow: unused lanes must not raise them.
TEST(Caller, NothingTrapsOnOrdinaryNumbers) {
  moxtest::forEachLevel([] {
    for (int32_t n = 1; n <= 70; ++n) {
      const Under state({0x0372, 0x1f80 & ~0x0680});
      resultsOf(n, n % 15);
    }
  });
}

#endif

}  // namespace
