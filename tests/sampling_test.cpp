// Up- and down-sampling against their definition, byte for byte.
#include "tests/support/support.h"

using namespace moxtest;

namespace {

template <class T>
struct Api;
#define MOX_SAMPLING_API(letter_, type)                    \
  template <>                                              \
  struct Api<type> {                                       \
    static constexpr const char* letter = #letter_;        \
    static constexpr auto up = mox##letter_##UpSample;     \
    static constexpr auto down = mox##letter_##DownSample; \
  };
MOX_SAMPLING_API(s, float)
MOX_SAMPLING_API(d, double)
MOX_SAMPLING_API(c, MoxC)
MOX_SAMPLING_API(z, MoxZ)
MOX_SAMPLING_API(w, int16_t)
MOX_SAMPLING_API(v, MoxV)

// Elements of any bits but zero ones, so that signaling NaN are among them and a missing sample shows.
template <class T>
std::vector<T> anyBits(size_t n) {
  std::mt19937 bits(7);
  std::vector<T> v(n);
  for (size_t i = 0; i < n * sizeof(T); ++i) reinterpret_cast<uint8_t*>(v.data())[i] = static_cast<uint8_t>(bits() | 1);
  return v;
}

template <class T>
std::vector<T> upSampled(const std::vector<T>& src, size_t factor, size_t phase) {
  std::vector<T> dst(src.size() * factor, T{});
  for (size_t i = 0; i < src.size(); ++i) std::memcpy(&dst[phase + factor * i], &src[i], sizeof(T));
  return dst;
}
template <class T>
std::vector<T> downSampled(const std::vector<T>& src, size_t factor, size_t phase) {
  std::vector<T> dst;
  for (size_t i = phase; i < src.size(); i += factor) dst.push_back(src[i]);
  return dst;
}

template <class T>
class Sampling : public ::testing::Test {};
using AllTypes = ::testing::Types<float, double, MoxC, MoxZ, int16_t, MoxV>;
TYPED_TEST_SUITE(Sampling, AllTypes);

TYPED_TEST(Sampling, EveryFactorPhaseAndLengthOutOfPlaceAndInPlace) {
  using T = TypeParam;
  using A = Api<T>;
  const std::vector<T> noise = anyBits<T>(200);
  forEachLevel([&] {
    for (const size_t factor : std::initializer_list<size_t>{1, 2, 3, 4, 5, 7, 8, 13, 16, 17, 40}) {
      for (const size_t phase : {size_t{0}, factor / 2, factor - 1}) {
        for (size_t n = 1; n <= noise.size(); n += n < 40 ? 1 : 23) {
          SCOPED_TRACE(testing::Message() << "factor " << factor << " phase " << phase << " n " << n);
          const auto f = static_cast<int32_t>(factor), p = static_cast<int32_t>(phase), len = static_cast<int32_t>(n);
          const Flush flush = n % 2 ? Flush::AtEnd : Flush::AtStart;
          const std::vector<T> src(noise.begin(), noise.begin() + len);
          const std::vector<T> more = upSampled(src, factor, phase), fewer = downSampled(src, factor, phase);

          Guarded<T> in(src, flush), up(more.size(), flush), down(fewer.size(), flush);
          in.makeReadOnly();
          A::up(f, p, in.data(), len, up.data());
          ASSERT_TRUE(sameBits(more, up.values()));
          A::down(f, p, in.data(), len, down.data());
          ASSERT_TRUE(sameBits(fewer, down.values()));

          std::copy(src.begin(), src.end(), up.data());
          A::up(f, p, up.data(), len, up.data());
          ASSERT_TRUE(sameBits(more, up.values())) << "in place";
          Guarded<T> both(src, flush);
          A::down(f, p, both.data(), len, both.data());
          std::vector<T> after = src;
          std::copy(fewer.begin(), fewer.end(), after.begin());
          ASSERT_TRUE(sameBits(after, both.values())) << "in place";
        }
      }
    }
  });
}

TYPED_TEST(Sampling, AnyAlignment) {
  using T = TypeParam;
  const std::vector<T> src = anyBits<T>(61);
  forEachLevel([&] {
    for (const int32_t factor : {2, 3, 6}) {
      const std::vector<T> more = upSampled(src, static_cast<size_t>(factor), 1);
      for (size_t shift = 0; shift < 64; shift += alignof(T)) {
        std::vector<char> memory(64 + more.size() * sizeof(T));
        T* const dst = reinterpret_cast<T*>(memory.data() + shift);
        Api<T>::up(factor, 1, src.data(), 61, dst);
        ASSERT_EQ(std::memcmp(dst, more.data(), more.size() * sizeof(T)), 0) << factor << " " << shift;
        std::vector<T> back(61);
        Api<T>::down(factor, 1, dst, 61 * factor, back.data());
        ASSERT_TRUE(sameBits(src, back)) << factor << " " << shift;
        std::memcpy(dst, src.data(), 61 * sizeof(T));
        Api<T>::up(factor, 1, dst, 61, dst);
        ASSERT_EQ(std::memcmp(dst, more.data(), more.size() * sizeof(T)), 0) << factor << " " << shift << " in place";
      }
    }
  });
}

TYPED_TEST(Sampling, LargestArguments) {
  using T = TypeParam;
  const std::vector<T> src = anyBits<T>(3);
  std::vector<T> dst = src;
  Reports reports;
  Api<T>::down(INT32_MAX, 2, src.data(), 3, dst.data());
  EXPECT_TRUE(sameBits(dst[0], src[2]));
  EXPECT_TRUE(sameBits(dst[1], src[1]));
  Api<T>::down(INT32_MAX, INT32_MAX - 1, src.data(), 3, dst.data());  // beyond the source: nothing is written
  EXPECT_TRUE(sameBits(dst[0], src[2]));
  EXPECT_EQ(reports.take(), std::vector<std::string>());
}

TYPED_TEST(Sampling, TheFirstBadArgumentIsReportedAloneAndNothingIsWritten) {
  using T = TypeParam;
  const std::vector<T> before = anyBits<T>(12);
  std::vector<T> x = before;
  Reports reports;
  struct Case {
    int32_t factor, phase, srcLen;
    bool null;
    const char* text;
  };
  const Case cases[] = {
      {0, -1, 0, true, "Invalid factor value"}, {3, -1, 0, true, "Invalid phase value"},
      {2, 2, 0, true, "Invalid factor value"},  {2, 1, 0, true, "Invalid array length"},
      {2, 1, 4, true, "Null buffer pointer"},   {INT32_MIN, 0, 4, false, "Invalid factor value"},
  };
  for (const Case& c : cases) {
    T* const src = c.null ? nullptr : x.data();
    for (const bool up : {true, false}) {
      (up ? Api<T>::up : Api<T>::down)(c.factor, c.phase, src, c.srcLen, x.data());
      ASSERT_EQ(reports.all().size(), 1u);
      EXPECT_EQ(reports.all()[0].file, "moxsampl");
      const std::string name = std::string("mox") + Api<T>::letter + (up ? "UpSample" : "DownSample");
      EXPECT_EQ(reports.take(), std::vector<std::string>{name + ": " + c.text + " (-5)"});
    }
  }
  Api<T>::up(2, 0, x.data(), 4, nullptr);
  EXPECT_EQ(reports.take().size(), 1u);
  moxSetErrStatus(MOX_StsNoMem);  // sticky: no work, no further report
  Api<T>::up(2, 0, x.data(), 4, x.data());
  Api<T>::down(2, 0, x.data(), 4, x.data());
  EXPECT_TRUE(sameBits(x, before));
  EXPECT_EQ(reports.take(), std::vector<std::string>());
}

}  // namespace
