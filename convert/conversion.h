// What the modules of conversion share: every function clears the thread's status before its checks.
#pragma once
#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "frame/check.h"
#include "kernel/kernels.h"

namespace mox {

template <class... Texts>
[[nodiscard]] bool refused(const Site& site, Check<Texts>... checks) {
  clearStatus();
  return rejected(site, checks...);
}

// Conditions that are reported by a sentence.
struct InvalidIntegerSize {
  constexpr const char* operator()() const { return "Invalid size of an integer"; }
};
struct InvalidFixedSize {
  constexpr const char* operator()() const { return "Invalid size of a fix-point"; }
};
struct InvalidFlag {
  constexpr const char* operator()() const { return "Invalid conversion flag"; }
};
struct InvalidFraction {
  constexpr const char* operator()() const { return "Invalid fractBits"; }
};

inline bool isSize(int32_t bits) { return bits == 8 || bits == 16 || bits == 32; }
inline bool isRounding(int32_t flags) {
  const int32_t modes = flags & (MOX_RoundNearest | MOX_RoundZero | MOX_RoundDown | MOX_RoundUp);
  return modes != 0 && (modes & (modes - 1)) == 0;  // a count of bits would be a call
}
inline bool isSignedness(int32_t flags) { return flags == 0 || flags == MOX_UnsignedInt; }
inline bool isFraction(int32_t fraction, int32_t bits, int32_t flags) {
  return fraction >= 0 && (flags & MOX_UnsignedInt ? fraction <= bits : fraction < bits);
}

inline kernel::IntegerType integerType(int32_t bits, bool isUnsigned) {
  const int size = std::countr_zero(static_cast<uint32_t>(bits)) - 3;
  return static_cast<kernel::IntegerType>(2 * size + (isUnsigned ? 1 : 0));
}
inline size_t sizeOf(kernel::IntegerType type) { return size_t{1} << (static_cast<int>(type) / 2); }

// 2^exponent. (From an integer the x87 unit would make it.)
template <class T>
T powerOf2(int32_t exponent) {
  if constexpr (sizeof(T) == 4) {
    return std::bit_cast<float>((127 + exponent) << 23);
  } else {
    return std::bit_cast<double>(int64_t{1023 + exponent} << 52);
  }
}

template <class T>
const kernel::Conversion<T>& conversion() {
  if constexpr (sizeof(T) == 4) {
    return kernel::active->conversion32;
  } else {
    return kernel::active->conversion64;
  }
}

// ---- floating point to integers and fixed point

constexpr const char *kExceedsInteger = "A float exceeds an integer", *kExceedsFixed = "A float exceeds a fix-point",
                     *kNegative = "A negative float cannot be converted to unsigned";

template <class T>
using ToIntegers = typename kernel::Conversion<T>::ToIntegers;

// With reports of the elements out of range (the site comes by value, as in check.h). A report may end the process or
// read both arrays: every element before the reported one is done, none after it.
template <class T>
[[gnu::noinline]] void toIntegersReporting(ToIntegers<T> convert, const T* src, void* dst, size_t n, size_t step,
                                           T scale, int32_t flags, const char* exceeds, Site site) {
  using kernel::OutOfRange;
  char* const bytes = static_cast<char*>(dst);
  for (size_t i = 0; (i += convert(src + i, bytes + i * step, n - i, scale, OutOfRange::stop)) < n; ++i) {
    const T x = src[i];
    if (flags & MOX_Saturate) convert(&x, bytes + i * step, 1, scale, OutOfRange::saturate);
    report({site.module, site.function, site.line + 1}, MOX_StsBadArg,
           (flags & MOX_UnsignedInt) && x < 0 ? kNegative : exceeds);
  }
}

// dst[i] = src[i] * 2^fraction by checked flags.
template <class T>
void toIntegers(const T* src, void* dst, int32_t len, kernel::IntegerType type, int32_t fraction, int32_t flags,
                const char* exceeds, const Site& site) {
  using kernel::OutOfRange;
  const int rounding = std::countr_zero((static_cast<uint32_t>(flags) / MOX_RoundNearest) & 15);
  const auto convert = conversion<T>().toIntegers[rounding][static_cast<int>(type)];
  const T scale = powerOf2<T>(fraction);
  const size_t n = static_cast<size_t>(len);
  if (flags & MOX_OverflowError) {
    toIntegersReporting<T>(convert, src, dst, n, sizeOf(type), scale, flags, exceeds, site);
  } else {
    convert(src, dst, n, scale, flags & MOX_Saturate ? OutOfRange::saturate : OutOfRange::keep);
  }
}

template <class T>
void floatToInt(const T* src, void* dst, int32_t len, int32_t intSize, int32_t flags, const Site& site) {
  if (refused(site, BAD_IF(len<=0), BAD_IF(src==0), BAD_IF(dst==0), check(!isSize(intSize), InvalidIntegerSize()),
                                                           check(!isRounding(flags), InvalidFlag())))
    return;
  toIntegers(src, dst, len, integerType(intSize, flags & MOX_UnsignedInt), 0, flags, kExceedsInteger, site);
}

template <class T>
void floatToFix(const T* src, void* dst, int32_t len, int32_t fixSize, int32_t fractBits, int32_t flags,
                const Site& site) {
  if (refused(site, BAD_IF(len<=0), BAD_IF(src==0),
                                           BAD_IF(dst==0), check(!isSize(fixSize), InvalidFixedSize()),
                                                  check(!isRounding(flags), InvalidFlag()),
                                                  check(!isFraction(fractBits, fixSize, flags), InvalidFraction())))
    return;
  toIntegers(src, dst, len, integerType(fixSize, flags & MOX_UnsignedInt), fractBits, flags, kExceedsFixed, site);
}

// The element type and the fraction bits are the format.
template <int32_t kFraction, class T, class I>
void floatToFormat(const T* src, I* dst, int32_t len, int32_t flags, const Site& site) {
  if (refused(site, BAD_IF(len<=0), BAD_IF(src==0), BAD_IF(dst==0), check(!isRounding(flags), InvalidFlag()))) return;
  toIntegers(src, dst, len, integerType(8 * sizeof(I), false), kFraction, flags & ~MOX_UnsignedInt, kExceedsFixed,
             site);
}

// ---- and back

template <class T>
void fromIntegers(const void* src, T* dst, int32_t len, kernel::IntegerType type, int32_t fraction) {
  conversion<T>().fromIntegers[static_cast<int>(type)](src, dst, static_cast<size_t>(len), powerOf2<T>(-fraction));
}

template <class T>
void intToFloat(const void* src, T* dst, int32_t len, int32_t intSize, int32_t flags, const Site& site) {
  if (refused(site, BAD_IF(len<=0), BAD_IF(src==0), BAD_IF(dst==0), check(!isSize(intSize), InvalidIntegerSize()),
                                                           check(!isSignedness(flags), InvalidFlag())))
    return;
  fromIntegers(src, dst, len, integerType(intSize, flags & MOX_UnsignedInt), 0);
}

template <class T>
void fixToFloat(const void* src, T* dst, int32_t len, int32_t fixSize, int32_t fractBits, int32_t flags,
                const Site& site) {
  if (refused(site, BAD_IF(len<=0), BAD_IF(src==0),
                                           BAD_IF(dst==0), check(!isSize(fixSize), InvalidFixedSize()),
                                                  check(!isSignedness(flags), InvalidFlag()),
                                                  check(!isFraction(fractBits, fixSize, flags), InvalidFraction())))
    return;
  fromIntegers(src, dst, len, integerType(fixSize, flags & MOX_UnsignedInt), fractBits);
}

template <int32_t kFraction, class T, class I>
void formatToFloat(const I* src, T* dst, int32_t len, const Site& site) {
  if (refused(site, BAD_IF(len<=0), BAD_IF(src==0), BAD_IF(dst==0))) return;
  fromIntegers(src, dst, len, integerType(8 * sizeof(I), false), kFraction);
}

// ---- complex values and their parts: C is the complex type of the parts R

template <class C>
using PartOf = decltype(C::re);
template <class C>
const PartOf<C>* parts(const C* p) {
  return reinterpret_cast<const PartOf<C>*>(p);
}
template <class C>
PartOf<C>* parts(C* p) {
  return reinterpret_cast<PartOf<C>*>(p);
}

template <class R>
const kernel::Separation<R>& separation() {
  if constexpr (std::is_same_v<R, float>) {
    return kernel::active->separation32;
  } else if constexpr (std::is_same_v<R, double>) {
    return kernel::active->separation64;
  } else {
    return kernel::active->separation16;
  }
}

// The kernels of the polar form; those of int16 have members of the same names.
template <class R>
const auto& polar() {
  if constexpr (std::is_same_v<R, float>) {
    return kernel::active->elementary32;
  } else if constexpr (std::is_same_v<R, double>) {
    return kernel::active->elementary64;
  } else {
    return kernel::active->polar16;
  }
}

template <class C, class R>
void realPart(const C* src, R* dst, int32_t len, const Site& site) {
  if (refused(site, BAD_IF(len<=0), BAD_IF(src==0), BAD_IF(dst==0))) return;
  separation<R>().real(parts(src), dst, static_cast<size_t>(len));
}
template <class C, class R>
void imaginaryPart(const C* src, R* dst, int32_t len, const Site& site) {
  if (refused(site, BAD_IF(len<=0), BAD_IF(src==0), BAD_IF(dst==0))) return;
  separation<R>().imaginary(parts(src), dst, static_cast<size_t>(len));
}
template <class C, class R>
void split(const C* src, R* dstReal, R* dstImag, int32_t len, const Site& site) {
  if (refused(site, BAD_IF(len<=0), BAD_IF(src==0), BAD_IF(dstReal==0), BAD_IF(dstImag==0))) return;
  separation<R>().split(parts(src), dstReal, dstImag, static_cast<size_t>(len));
}

template <class C, class R>
void join(const R* srcReal, const R* srcImag, C* dst, int32_t len, const Site& site) {
  if (refused(site, BAD_IF(len<=0), BAD_IF(dst==0))) return;
  const auto kernel = separation<R>().join;
  const size_t n = static_cast<size_t>(len);
  if (srcReal && srcImag) return kernel(srcReal, srcImag, parts(dst), n);
  constexpr size_t block = 512;
  static constexpr R zeros[block] = {};
  for (size_t i = 0; i < n; i += block) {
    kernel(srcReal ? srcReal + i : zeros, srcImag ? srcImag + i : zeros, parts(dst + i), std::min(block, n - i));
  }
}

template <class C, class R>
void cartToPolar(const C* src, R* mag, R* phase, int32_t len, const Site& site) {
  if (refused(site, BAD_IF(len<=0), BAD_IF(src==0), BAD_IF(mag==0), BAD_IF(phase==0))) return;
  polar<R>().toPolarComplex(parts(src), mag, phase, static_cast<size_t>(len));
}
template <class R>
void cartToPolar(const R* srcReal, const R* srcImag, R* mag, R* phase, int32_t len, const Site& site) {
  if (refused(site, BAD_IF(len<=0), BAD_IF(srcReal==0), BAD_IF(srcImag==0), BAD_IF(mag==0), BAD_IF(phase==0))) return;
  polar<R>().toPolar(srcReal, srcImag, mag, phase, static_cast<size_t>(len));
}
template <class C, class R>
void polarToCart(const R* mag, const R* phase, C* dst, int32_t len, const Site& site) {
  if (refused(site, BAD_IF(len<=0), BAD_IF(mag==0), BAD_IF(phase==0), BAD_IF(dst==0))) return;
  polar<R>().toCartesianComplex(mag, phase, parts(dst), static_cast<size_t>(len));
}
template <class R>
void polarToCart(const R* mag, const R* phase, R* dstReal, R* dstImag, int32_t len, const Site& site) {
  if (refused(site, BAD_IF(len<=0), BAD_IF(mag==0), BAD_IF(phase==0), BAD_IF(dstReal==0), BAD_IF(dstImag==0))) return;
  polar<R>().toCartesian(mag, phase, dstReal, dstImag, static_cast<size_t>(len));
}

template <class C, class R>
void magnitudes(const C* src, R* mag, int32_t len, const Site& site) {
  if (refused(site, BAD_IF(len<=0), BAD_IF(src==0), BAD_IF(mag==0))) return;
  polar<R>().magnitudeComplex(parts(src), mag, static_cast<size_t>(len));
}
template <class R>
void magnitudes(const R* srcReal, const R* srcImag, R* mag, int32_t len, const Site& site) {
  if (refused(site, BAD_IF(len<=0), BAD_IF(srcReal==0), BAD_IF(srcImag==0), BAD_IF(mag==0))) return;
  polar<R>().magnitude(srcReal, srcImag, mag, static_cast<size_t>(len));
}
template <class C, class R>
void phases(const C* src, R* phase, int32_t len, const Site& site) {
  if (refused(site, BAD_IF(len<=0), BAD_IF(src==0), BAD_IF(phase==0))) return;
  polar<R>().phaseComplex(parts(src), phase, static_cast<size_t>(len));
}
template <class R>
void phases(const R* srcReal, const R* srcImag, R* phase, int32_t len, const Site& site) {
  if (refused(site, BAD_IF(len<=0), BAD_IF(srcReal==0), BAD_IF(srcImag==0), BAD_IF(phase==0))) return;
  polar<R>().phase(srcReal, srcImag, phase, static_cast<size_t>(len));
}

}  // namespace mox
