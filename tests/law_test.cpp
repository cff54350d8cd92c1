#include <cmath>

#include "tests/support/support.h"

#if defined(MOX_HAS_SPANDSP)
#  include <spandsp.h>
#endif

using namespace moxtest;

namespace {

// The laws by their segment tables.
struct Law {
  int bound[8];
  uint8_t (*encode)(const Law& law, int v);
};
int segment(const Law& law, int magnitude) {
  int i = 0;
  while (law.bound[i] < magnitude) ++i;
  return i;
}
uint8_t encodeA(const Law& law, int v) {
  constexpr int shift[] = {4, 4, 5, 6, 7, 8, 9, 10};
  if (v <= -32767) return 0x7f;
  const int m = std::abs(v), i = segment(law, m);
  return static_cast<uint8_t>((v >= 0 ? 0x80 : 0) | i << 4 | (m >> shift[i] & 15));
}
uint8_t encodeMu(const Law& law, int v) {
  if (v >= 32636) return 0x80;
  if (v < -32635) return 0x00;
  const int u = std::abs(v), i = segment(law, u);
  return static_cast<uint8_t>((v >= 0 ? 0x80 : 0) | (7 - i) << 4 | ((law.bound[i] - u) >> (i + 3) & 255));
}
const Law kA = {{255, 511, 1023, 2047, 4095, 8191, 16383, 32767}, encodeA};
const Law kMu = {{124, 380, 892, 1916, 3964, 8060, 16252, 32636}, encodeMu};

int decodeA(int code) {
  const int s = code >> 4 & 7, m = code & 15, v = s == 0 ? m * 16 + 8 : (m * 16 + 264) << (s - 1);
  return code & 0x80 ? v : -v;
}
int decodeMu(int code) {
  const int c = ~code & 0xff, v = (((c & 15) * 8 + 132) << (c >> 4 & 7)) - 132;
  return code & 0x80 ? v : -v;
}

struct Functions {
  const char* name;
  const Law& law;
  int (*decode)(int);
  void (*encode16)(const int16_t*, uint8_t*, int32_t);
  void (*encodeInt)(const int32_t*, uint8_t*, int32_t);
  void (*encode32)(const float*, uint8_t*, int32_t);
  void (*encode64)(const double*, uint8_t*, int32_t);
  void (*decode16)(const uint8_t*, int16_t*, int32_t);
  void (*decodeInt)(const uint8_t*, int32_t*, int32_t);
  void (*decode32)(const uint8_t*, float*, int32_t);
  void (*decode64)(const uint8_t*, double*, int32_t);
  int realLimit;
};
const Functions kLaws[] = {{"ALaw", kA, decodeA, moxwbLinToALaw, moxibLinToALaw, moxsbLinToALaw, moxdbLinToALaw,
                            moxwbALawToLin, moxibALawToLin, moxsbALawToLin, moxdbALawToLin, 32767},
                           {"MuLaw", kMu, decodeMu, moxwbLinToMuLaw, moxibLinToMuLaw, moxsbLinToMuLaw, moxdbLinToMuLaw,
                            moxwbMuLawToLin, moxibMuLawToLin, moxsbMuLawToLin, moxdbMuLawToLin, 32635}};

template <class T>
std::vector<uint8_t> coded(void (*encode)(const T*, uint8_t*, int32_t), const std::vector<T>& samples) {
  std::vector<uint8_t> codes(samples.size());
  encode(samples.data(), codes.data(), static_cast<int32_t>(samples.size()));
  return codes;
}
template <class T>
std::vector<T> linear(void (*decode)(const uint8_t*, T*, int32_t), const std::vector<uint8_t>& codes) {
  std::vector<T> samples(codes.size());
  decode(codes.data(), samples.data(), static_cast<int32_t>(codes.size()));
  return samples;
}
std::vector<uint8_t> everyCode() {
  std::vector<uint8_t> codes(256);
  for (size_t i = 0; i < 256; ++i) codes[i] = static_cast<uint8_t>(i);
  return codes;
}

TEST(Companding, EveryInt16AndEveryCode) {
  std::vector<int16_t> every(65536);
  for (size_t i = 0; i < every.size(); ++i) every[i] = static_cast<int16_t>(static_cast<int>(i) - 32768);
  forEachLevel([&] {
    for (const Functions& f : kLaws) {
      SCOPED_TRACE(f.name);
      std::vector<uint8_t> want(every.size());
      for (size_t i = 0; i < every.size(); ++i) want[i] = f.law.encode(f.law, every[i]);
      EXPECT_TRUE(sameBits(want, coded(f.encode16, every)));

      const auto codes = everyCode();
      const auto w = linear(f.decode16, codes);
      const auto i = linear(f.decodeInt, codes);
      const auto s = linear(f.decode32, codes);
      const auto d = linear(f.decode64, codes);
      for (size_t k = 0; k < 256; ++k) {
        const int v = f.decode(static_cast<int>(k));
        EXPECT_EQ(w[k], v) << k;
        EXPECT_EQ(i[k], v * 65536) << k;
        EXPECT_EQ(s[k], static_cast<float>(v) / 32768) << k;
        EXPECT_EQ(d[k], v / 32768.0) << k;
      }
    }
  });
  EXPECT_EQ(linear(moxwbALawToLin, {0xD5, 0x55, 0x80, 0x00}), (std::vector<int16_t>{5504, -5504, 8, -8}));
  EXPECT_EQ(coded(moxwbLinToMuLaw, {100, 0, -1, 32636}), (std::vector<uint8_t>{0xF3, 0xFF, 0x7F, 0x80}));
}

TEST(Companding, IntegersGoByTheirUpperHalf) {
  std::vector<int32_t> samples = {0,      1,         -1,         65535,     -65535,       65536,
                                  -65536, INT32_MAX, -INT32_MAX, INT32_MIN, INT32_MIN + 2};
  for (int64_t v = INT32_MIN; v <= INT32_MAX; v += 999983) samples.push_back(static_cast<int32_t>(v));
  forEachLevel([&] {
    const auto a = coded(moxibLinToALaw, samples), mu = coded(moxibLinToMuLaw, samples);
    for (size_t i = 0; i < samples.size(); ++i) {
      const int64_t v = samples[i], half = std::min<int64_t>(std::llabs(v) >> 16, 32767);
      const uint8_t magnitude = encodeA(kA, static_cast<int>(half)) & 0x7f;
      EXPECT_EQ(a[i], magnitude | (v >= 0 ? 0x80 : 0)) << v;
      EXPECT_EQ(mu[i], encodeMu(kMu, static_cast<int>(v >> 16))) << v;
    }
  });
}

template <class R>
void expectReals(const Functions& f, void (*encode)(const R*, uint8_t*, int32_t)) {
  std::vector<R> samples = {0,       R(-0.0),  R(1e-9),  R(-1e-9),  1,  -1, R(0.99996948), R(32766.999 / 32768),
                            R(1e30), R(-1e30), INFINITY, -INFINITY, NAN};
  for (int i = -70000; i <= 70000; i += 7) samples.push_back(static_cast<R>(i / 65536.0));
  const auto codes = coded(encode, samples);
  for (size_t i = 0; i < samples.size(); ++i) {
    const R y = samples[i] * 32768;
    const uint8_t want = std::fabs(y) < R(f.realLimit) ? f.law.encode(f.law, static_cast<int>(y))
                                                       : f.law.encode(f.law, y > 0 ? 32767 : -32768);
    EXPECT_EQ(codes[i], want) << f.name << " " << samples[i];
  }
}

TEST(Companding, RealsTruncateTowardZeroAndSaturate) {
  forEachLevel([] {
    for (const Functions& f : kLaws) {
      expectReals<float>(f, f.encode32);
      expectReals<double>(f, f.encode64);
    }
  });
}

TEST(Companding, AnyLengthTouchesOnlyItsArrays) {
  forEachLevel([] {
    for (const Functions& f : kLaws) {
      for (int n = 1; n < 80; ++n) {
        const size_t size = static_cast<size_t>(n);
        for (const Flush flush : {Flush::AtStart, Flush::AtEnd}) {
          Guarded<float> samples(noise<float>(size, 1), flush), back(size, flush);
          samples.makeReadOnly();
          Guarded<uint8_t> codes(size, flush);
          f.encode32(samples.data(), codes.data(), n);
          f.decode32(codes.data(), back.data(), n);
          for (size_t i = 0; i < size; ++i) ASSERT_NEAR(back[i], samples[i], std::fabs(samples[i]) / 30 + 0x1p-12);
        }
      }
    }
  });
}

TEST(Companding, TranslationsBetweenTheLaws) {
  const auto codes = everyCode();
  std::vector<uint8_t> a(256), mu(256);
  moxMuLawToALaw(codes.data(), a.data(), 256);
  moxALawToMuLaw(codes.data(), mu.data(), 256);
  EXPECT_EQ((std::vector<uint8_t>{a[0x00], a[0x80], a[0xFF], mu[0x00], mu[0x80], mu[0xFF]}),
            (std::vector<uint8_t>{0x7F, 0xFF, 0x80, 0x7E, 0xFE, 0x80}));
  for (size_t i = 0; i < 256; ++i) {
    // The sign stays, the value moves by no more than the coarser of the two steps, and a second trip changes nothing.
    EXPECT_EQ((a[i] ^ i) & 0x80, 0u);
    EXPECT_EQ((mu[i] ^ i) & 0x80, 0u);
    const int x = static_cast<int>(i);
    EXPECT_LE(std::abs(decodeA(a[i]) - decodeMu(x)), std::abs(decodeMu(x)) / 16 + 8);
    EXPECT_LE(std::abs(decodeMu(mu[i]) - decodeA(x)), std::abs(decodeA(x)) / 16 + 8);
#if defined(MOX_HAS_SPANDSP)
    EXPECT_EQ(a[i], ulaw_to_alaw(static_cast<uint8_t>(i)) ^ 0x55) << i;
    EXPECT_EQ(mu[i], alaw_to_ulaw(static_cast<uint8_t>(i ^ 0x55))) << i;
#endif
  }
  std::vector<uint8_t> inPlace = codes;
  moxMuLawToALaw(inPlace.data(), inPlace.data(), 256);
  EXPECT_EQ(inPlace, a);
}

TEST(Companding, BadArguments) {
  Reports reports;
  const auto expect = [&](const std::string& name) {
    for (const Report& r : reports.all()) EXPECT_EQ(r.file, "moxlaw");
    EXPECT_EQ(reports.take(),
              (std::vector<std::string>{name + ": len<=0 (-5)", name + ": src==0 (-5)", name + ": dst==0 (-5)"}));
  };
  for (const Functions& f : kLaws) {
    const std::string law = f.name;
    f.encode16(nullptr, nullptr, 0);
    expect("moxwbLinTo" + law);
    f.encodeInt(nullptr, nullptr, 0);
    expect("moxibLinTo" + law);
    f.encode32(nullptr, nullptr, 0);
    expect("moxsbLinTo" + law);
    f.encode64(nullptr, nullptr, -1);
    expect("moxdbLinTo" + law);
    f.decode16(nullptr, nullptr, 0);
    expect("moxwb" + law + "ToLin");
    f.decodeInt(nullptr, nullptr, 0);
    expect("moxib" + law + "ToLin");
    f.decode32(nullptr, nullptr, 0);
    expect("moxsb" + law + "ToLin");
    f.decode64(nullptr, nullptr, 0);
    expect("moxdb" + law + "ToLin");
  }
  moxMuLawToALaw(nullptr, nullptr, 0);
  expect("moxMuLawToALaw");
  moxALawToMuLaw(nullptr, nullptr, 0);
  expect("moxALawToMuLaw");
  moxSetErrStatus(MOX_StsNoMem);
  uint8_t code = 1, untouched = 77;
  moxMuLawToALaw(&code, &untouched, 1);
  EXPECT_EQ(untouched, 77);
}

}  // namespace
