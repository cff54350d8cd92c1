// A-law and mu-law companding of int16, int32, float32 and float64 samples.
#include <array>
#include <cstdint>

#include "frame/check.h"
#include "kernel/kernels.h"

namespace mox {
namespace {

using Law = Here<"moxlaw">;

const kernel::Companding& aLaw() { return kernel::active->aLaw; }
const kernel::Companding& muLaw() { return kernel::active->muLaw; }

template <class From, class To>
void convert(const From* src, To* dst, int32_t len, void (*kernel)(const From*, To*, size_t), Site site) {
  if (rejected(site, BAD_IF(len<=0), BAD_IF(src==0), BAD_IF(dst==0))) return;
  kernel(src, dst, static_cast<size_t>(len));
}

using Codes = std::array<uint8_t, 256>;

void translate(const uint8_t* src, uint8_t* dst, int32_t len, const Codes& codes, Site site) {
  if (rejected(site, BAD_IF(len<=0), BAD_IF(src==0), BAD_IF(dst==0))) return;
  for (int32_t i = 0; i < len; ++i) dst[i] = codes[src[i]];
}

// ITU-T G.711, tables 3 and 4: the decoder output value number of one law for that of the other. mu-law numbers are
// 0 ... 127, A-law ones 1 ... 128, both upwards from silence.
constexpr uint8_t kALawOfMuLaw[128] = {
    1,   1,   2,   2,   3,   3,   4,   4,   5,   5,   6,   6,   7,   7,   8,   8,   9,   10,  11,  12,  13,  14,
    15,  16,  17,  18,  19,  20,  21,  22,  23,  24,  25,  27,  29,  31,  33,  34,  35,  36,  37,  38,  39,  40,
    41,  42,  43,  44,  46,  48,  49,  50,  51,  52,  53,  54,  55,  56,  57,  58,  59,  60,  61,  62,  64,  65,
    66,  67,  68,  69,  70,  71,  72,  73,  74,  75,  76,  77,  78,  79,  80,  82,  83,  84,  85,  86,  87,  88,
    89,  90,  91,  92,  93,  94,  95,  96,  97,  98,  99,  100, 101, 102, 103, 104, 105, 106, 107, 108, 109, 110,
    111, 112, 113, 114, 115, 116, 117, 118, 119, 120, 121, 122, 123, 124, 125, 126, 127, 128};
constexpr uint8_t kMuLawOfALaw[128] = {
    1,   3,   5,   7,   9,   11,  13,  15,  16,  17,  18,  19,  20,  21,  22,  23,  24,  25,  26,  27,  28,  29,
    30,  31,  32,  32,  33,  33,  34,  34,  35,  35,  36,  37,  38,  39,  40,  41,  42,  43,  44,  45,  46,  47,
    48,  48,  49,  49,  50,  51,  52,  53,  54,  55,  56,  57,  58,  59,  60,  61,  62,  63,  64,  64,  65,  66,
    67,  68,  69,  70,  71,  72,  73,  74,  75,  76,  77,  78,  79,  80,  80,  81,  82,  83,  84,  85,  86,  87,
    88,  89,  90,  91,  92,  93,  94,  95,  96,  97,  98,  99,  100, 101, 102, 103, 104, 105, 106, 107, 108, 109,
    110, 111, 112, 113, 114, 115, 116, 117, 118, 119, 120, 121, 122, 123, 124, 125, 126, 127};

// An A-law code is its number less one, a mu-law code its number inverted; the sign bit is the same in both.
constexpr Codes muLawToALaw() {
  Codes codes{};
  for (int code = 0; code < 256; ++code) {
    const int number = ~code & 0x7f;
    codes[static_cast<size_t>(code)] = static_cast<uint8_t>((code & 0x80) | (kALawOfMuLaw[number] - 1));
  }
  return codes;
}
constexpr Codes aLawToMuLaw() {
  Codes codes{};
  for (int code = 0; code < 256; ++code) {
    codes[static_cast<size_t>(code)] = static_cast<uint8_t>((code & 0x80) | (~kMuLawOfALaw[code & 0x7f] & 0x7f));
  }
  return codes;
}
constexpr Codes kMuLawToALaw = muLawToALaw(), kALawToMuLaw = aLawToMuLaw();

}  // namespace
}  // namespace mox

using namespace mox;

extern "C" {

void moxwbLinToALaw(const int16_t* src, uint8_t* dst, int32_t len) { convert(src, dst, len, aLaw().encode16, Law()); }
void moxibLinToALaw(const int32_t* src, uint8_t* dst, int32_t len) { convert(src, dst, len, aLaw().encodeInt, Law()); }
void moxsbLinToALaw(const float* src, uint8_t* dst, int32_t len) { convert(src, dst, len, aLaw().encode32, Law()); }
void moxdbLinToALaw(const double* src, uint8_t* dst, int32_t len) { convert(src, dst, len, aLaw().encode64, Law()); }
void moxwbALawToLin(const uint8_t* src, int16_t* dst, int32_t len) { convert(src, dst, len, aLaw().decode16, Law()); }
void moxibALawToLin(const uint8_t* src, int32_t* dst, int32_t len) { convert(src, dst, len, aLaw().decodeInt, Law()); }
void moxsbALawToLin(const uint8_t* src, float* dst, int32_t len) { convert(src, dst, len, aLaw().decode32, Law()); }
void moxdbALawToLin(const uint8_t* src, double* dst, int32_t len) { convert(src, dst, len, aLaw().decode64, Law()); }
void moxwbLinToMuLaw(const int16_t* src, uint8_t* dst, int32_t len) { convert(src, dst, len, muLaw().encode16, Law()); }
void moxibLinToMuLaw(const int32_t* src, uint8_t* dst, int32_t len) {
  convert(src, dst, len, muLaw().encodeInt, Law());
}
void moxsbLinToMuLaw(const float* src, uint8_t* dst, int32_t len) { convert(src, dst, len, muLaw().encode32, Law()); }
void moxdbLinToMuLaw(const double* src, uint8_t* dst, int32_t len) { convert(src, dst, len, muLaw().encode64, Law()); }
void moxwbMuLawToLin(const uint8_t* src, int16_t* dst, int32_t len) { convert(src, dst, len, muLaw().decode16, Law()); }
void moxibMuLawToLin(const uint8_t* src, int32_t* dst, int32_t len) {
  convert(src, dst, len, muLaw().decodeInt, Law());
}
void moxsbMuLawToLin(const uint8_t* src, float* dst, int32_t len) { convert(src, dst, len, muLaw().decode32, Law()); }
void moxdbMuLawToLin(const uint8_t* src, double* dst, int32_t len) { convert(src, dst, len, muLaw().decode64, Law()); }
void moxMuLawToALaw(const uint8_t* src, uint8_t* dst, int32_t len) { translate(src, dst, len, kMuLawToALaw, Law()); }
void moxALawToMuLaw(const uint8_t* src, uint8_t* dst, int32_t len) { translate(src, dst, len, kALawToMuLaw, Law()); }

}  // extern "C"
