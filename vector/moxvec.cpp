// Squares, roots, thresholds, absolute values and statistics of vectors.
#include <cmath>
#include <limits>

#include "frame/check.h"
#include "frame/element.h"
#include "kernel/kernels.h"
#include "kernel/roots.h"

namespace mox {
namespace {

using Vector = Here<"moxvec">;

template <class T>
constexpr bool kInteger = std::is_same_v<RealOf<T>, int16_t>;

const kernel::Elementwise<float>& kernels(float) { return kernel::active->elementwise32; }
const kernel::Elementwise<double>& kernels(double) { return kernel::active->elementwise64; }
const kernel::Elementwise16& kernels(int16_t) { return kernel::active->elementwise16; }
const kernel::Arith<float>& arith(float) { return kernel::active->arith32; }
const kernel::Arith<double>& arith(double) { return kernel::active->arith64; }

// ---- the one-vector and two-vector forms of a family share their work: work(src, dst), in place with src = dst

template <class T, class Work, class... More>
void inPlace(T* vec, int32_t len, Site site, Work work, More... checks) {
  if (rejected(site, BAD_IF(len<=0), BAD_IF(vec==0), checks...)) return;
  work(vec, vec);
}
template <class T, class Work, class... More>
void apart(const T* src, T* dst, int32_t len, Site site, Work work, More... checks) {
  if (rejected(site, BAD_IF(len<=0), BAD_IF(src==0), BAD_IF(dst==0), checks...)) return;
  work(src, dst);
}

// ---- squares

template <class T>
void squares(const T* src, T* dst, int32_t len) {
  const auto& k = arith(RealOf<T>{});
  (kComplex<T> ? k.mpyComplex : k.mpy)(reals(src), reals(src), reals(dst), static_cast<size_t>(len));
}
template <class T>
void sqr1(T* vec, int32_t len, Site site = Vector()) {
  inPlace(vec, len, site, [=](const T* from, T* to) { squares(from, to, len); });
}
template <class T>
void sqr2(const T* src, T* dst, int32_t len, Site site = Vector()) {
  apart(src, dst, len, site, [=](const T* from, T* to) { squares(from, to, len); });
}

// Modes are sets of flags here: 1 saturate, 2 the caller's factor, 4 an automatic one, which comes before the others.
constexpr int32_t kSaturate = 1, kFixed = 2, kAuto = 4;

bool lacksFactor(const Site& site, int32_t mode, const int32_t* scaleFactor) {
  return (mode & kAuto) && rejected(site, BAD_IF(scaleFactor==0));
}

template <class T>
void squares16(const T* src, T* dst, int32_t len, int32_t mode, int32_t* scaleFactor) {
  const auto& k = kernel::active->int16;
  const int16_t* const from = reals(src);
  int16_t* const to = reals(dst);
  const size_t count = realCount<T>(len);
  const auto& op = kComplex<T> ? k.mpyComplex : k.mpy;
  if (mode & kAuto) {
    *scaleFactor = op.automatic(from, from, to, count);
    return;
  }
  const int32_t factor = (mode & kFixed) && scaleFactor ? *scaleFactor : 0;
  // A real square without any flag saturates, too.
  const bool saturate = (mode & kSaturate) || (!kComplex<T> && !(mode & kFixed));
  op.combine(from, from, to, count, saturate, factor);
}
template <class T>
void scaledSqr1(T* vec, int32_t len, int32_t mode, int32_t* scaleFactor, Site site = Vector()) {
  inPlace(vec, len, site, [=](const T* from, T* to) {
    if (!lacksFactor(site, mode, scaleFactor)) squares16(from, to, len, mode, scaleFactor);
  });
}
template <class T>
void scaledSqr2(const T* src, T* dst, int32_t len, int32_t mode, int32_t* scaleFactor, Site site = Vector()) {
  apart(src, dst, len, site, [=](const T* from, T* to) {
    if (!lacksFactor(site, mode, scaleFactor)) squares16(from, to, len, mode, scaleFactor);
  });
}

// ---- square roots

MoxV root(MoxV x) {
  const double re = x.re, im = x.im, half = std::sqrt(re * re + im * im) * 0.5;
  const auto a = static_cast<int16_t>(std::sqrt(half + re * 0.5)), b = static_cast<int16_t>(std::sqrt(half - re * 0.5));
  return {a, static_cast<int16_t>(x.im < 0 ? -b : b)};
}

template <class T>
void roots(const T* src, T* dst, int32_t len, const Site& site) {
  const size_t n = static_cast<size_t>(len);
  if constexpr (std::is_same_v<T, MoxV>) {
    for (size_t i = 0; i < n; ++i) dst[i] = root(src[i]);
  } else if constexpr (kComplex<T>) {
    kernels(RealOf<T>{}).sqrtComplex(reals(src), reals(dst), n);
  } else {
    if (kernels(T{}).sqrt(src, dst, n))
      report({site.module, site.function, site.line + 1}, MOX_StsBadArg, "Element of input vector is negative");
  }
}
template <class T>
void sqrt1(T* vec, int32_t len, Site site = Vector()) {
  inPlace(vec, len, site, [=](const T* from, T* to) { roots(from, to, len, site); });
}
template <class T>
void sqrt2(const T* src, T* dst, int32_t len, Site site = Vector()) {
  apart(src, dst, len, site, [=](const T* from, T* to) { roots(from, to, len, site); });
}

// ---- thresholds

MoxV limited(MoxV x, int16_t thresh, bool raise) {
  const int64_t square = int64_t{x.re} * x.re + int64_t{x.im} * x.im, limit = int64_t{thresh} * thresh;
  if (raise ? square >= limit : square <= limit) return x;
  if (square == 0) return {thresh, x.im};
  // Exact products: what is an integer comes out as one (26 * (126 / 26.0) is less than 126).
  const double size = std::sqrt(static_cast<double>(square));
  return {static_cast<int16_t>(x.re * thresh / size), static_cast<int16_t>(x.im * thresh / size)};
}

template <class T>
void thresholds(const T* src, T* dst, int32_t len, RealOf<T> thresh, int32_t relOp) {
  const size_t n = static_cast<size_t>(len);
  const bool raise = relOp == MOX_LT;
  if constexpr (std::is_same_v<T, MoxV>) {
    for (size_t i = 0; i < n; ++i) dst[i] = limited(src[i], thresh, raise);
  } else {
    const auto& k = kernels(RealOf<T>{});
    if constexpr (kComplex<T>) {
      (raise ? k.raiseComplex : k.lowerComplex)(reals(src), reals(dst), n, thresh);
    } else {
      (raise ? k.raise : k.lower)(src, dst, n, thresh);
    }
  }
}

// The condition's text spells zero in the type of the threshold.
template <class R>
auto negative(R thresh) {
  if constexpr (std::is_same_v<R, int16_t>) {
    return BAD_IF(thresh<0);
  } else if constexpr (std::is_same_v<R, float>) {
    return BAD_IF(thresh<0.0f);
  } else {
    return BAD_IF(thresh<0.0);
  }
}

template <class T>
void thresh1(T* vec, int32_t len, RealOf<T> thresh, int32_t relOp, Site site = Vector()) {
  const auto work = [=](const T* from, T* to) { thresholds(from, to, len, thresh, relOp); };
  if constexpr (kComplex<T>) {
    inPlace(vec, len, site, work, negative(thresh));
  } else {
    inPlace(vec, len, site, work);
  }
}
template <class T>
void thresh2(const T* src, T* dst, int32_t len, RealOf<T> thresh, int32_t relOp, Site site = Vector()) {
  const auto work = [=](const T* from, T* to) { thresholds(from, to, len, thresh, relOp); };
  if constexpr (kComplex<T>) {
    apart(src, dst, len, site, work, negative(thresh));
  } else {
    apart(src, dst, len, site, work);
  }
}

// ---- inverses

template <class T>
void inverses(const T* src, T* dst, int32_t len, RealOf<T> thresh, const Site& site) {
  using R = RealOf<T>;
  const auto& k = kernels(R{});
  const auto work = kComplex<T> ? k.invertComplex : k.invert;
  const size_t n = static_cast<size_t>(len);
  if (!isZero(thresh)) return work(reals(src), reals(dst), n, thresh, R(1) / thresh);
  constexpr R most = std::numeric_limits<R>::max();
  bool zeros = false;
  for (size_t i = 0; i < n; ++i) zeros |= isZero(src[i]);
  if (!zeros) return work(reals(src), reals(dst), n, 0, most);
  if constexpr (kComplex<T>) {
    work(reals(src), reals(dst), n, 0, most);
  } else {
    for (size_t i = 0; i < n; ++i) dst[i] = isZero(src[i]) ? most : R(1) / src[i];
  }
  report({site.module, site.function, site.line + 1}, MOX_StsBadArg, "zero element and zero thresh");
}
template <class T>
void invThresh1(T* vec, int32_t len, RealOf<T> thresh, Site site = Vector()) {
  inPlace(
      vec, len, site, [=](const T* from, T* to) { inverses(from, to, len, thresh, site); }, negative(thresh));
}
template <class T>
void invThresh2(const T* src, T* dst, int32_t len, RealOf<T> thresh, Site site = Vector()) {
  apart(
      src, dst, len, site, [=](const T* from, T* to) { inverses(from, to, len, thresh, site); }, negative(thresh));
}

// ---- absolute values

template <class T>
void abs1(T* vec, int32_t len, Site site = Vector()) {
  inPlace(vec, len, site, [=](const T* from, T* to) { kernels(T{}).abs(from, to, static_cast<size_t>(len)); });
}
template <class T>
void abs2(const T* src, T* dst, int32_t len, Site site = Vector()) {
  apart(src, dst, len, site, [=](const T* from, T* to) { kernels(T{}).abs(from, to, static_cast<size_t>(len)); });
}

// ---- statistics

// The sum over n of values times scale, scaled in blocks: where the sum itself would overflow.
template <class T>
kernel::DoubleDouble scaledSum(const T* src, size_t n, double scale) {
  kernel::DoubleDouble total = {0, 0};
  double block[256];
  while (n > 0) {
    const size_t count = n < 256 ? n : 256;
    for (size_t i = 0; i < count; ++i) block[i] = src[i] * scale;
    double part[2];
    kernels(double{}).sum(block, count, part);
    total = total + kernel::DoubleDouble{part[0], part[1]};
    src += count;
    n -= count;
  }
  return total;
}

// (hi + lo) / n, rounded once but for 2^-100.
double quotient(kernel::DoubleDouble sum, double n) {
  const double q = sum.hi / n;
  const kernel::DoubleDouble rest = sum + -(kernel::DoubleDouble{q, 0} * kernel::DoubleDouble{n, 0});
  return q + rest.hi / n;
}

template <class T>
T mean(const T* vec, int32_t len, Site site = Vector()) {
  if (rejected(site, BAD_IF(len<=0), BAD_IF(vec==0))) return 0;
  const size_t n = static_cast<size_t>(len);
  if constexpr (kInteger<T>) {
    return static_cast<T>(kernels(T{}).sum(vec, n) / len);
  } else {
    T quick;
    if (kernels(T{}).mean(vec, n, &quick)) [[likely]]
      return quick;
    double sum[2];
    kernels(T{}).sum(vec, n, sum);
    const double plain = quotient({sum[0], sum[1]}, len);
    if (std::isfinite(plain)) return static_cast<T>(plain);
    constexpr double down = 0x1p-40;  // more than any len
    const double scaled = quotient(scaledSum(vec, n, down), len) / down;
    if (std::isfinite(scaled)) return static_cast<T>(scaled);
    double ordinary = 0;  // infinities and NaN, as the plain sum has them
    for (size_t i = 0; i < n; ++i) ordinary += vec[i] * down;
    return static_cast<T>(ordinary);
  }
}

template <class T>
T meanPower(const T* vec, int32_t len, Site site = Vector()) {
  if (rejected(site, BAD_IF(len<=0), BAD_IF(vec==0))) return 0;
  return static_cast<T>(kernels(T{}).sumOfSquares(vec, static_cast<size_t>(len)) / len);
}

int32_t withinWord(int32_t shift) { return shift > 31 ? 31 : shift; }

int16_t meanPower16(const int16_t* vec, int32_t len, int32_t mode, int32_t* scaleFactor, Site site = Vector()) {
  if (rejected(site, BAD_IF(len<=0), BAD_IF(vec==0)) || lacksFactor(site, mode, scaleFactor)) return 0;
  const uint64_t sum = kernels(int16_t{}).sumOfSquares(vec, static_cast<size_t>(len)), n = static_cast<uint64_t>(len);
  const int32_t q = static_cast<int32_t>(sum / n), r = static_cast<int32_t>(sum % n);  // q <= 2^30
  if (mode & kAuto) {
    int32_t factor = 0;
    while (q >> factor > 32767) ++factor;
    *scaleFactor = factor;
    return static_cast<int16_t>(q >> factor);
  }
  const int32_t factor = (mode & kFixed) && scaleFactor ? *scaleFactor : 0;
  const bool saturate = mode & kSaturate;
  if (factor < 0) {
    const int32_t up = factor < -31 ? 31 : -factor;
    if (saturate && q > 32767 >> up) return 32767;
    const auto shifted = [=](int32_t v) { return static_cast<int32_t>(static_cast<uint32_t>(v) << up); };
    return static_cast<int16_t>(static_cast<int16_t>(shifted(q)) + shifted(r) / len);
  }
  const int32_t result = q >> withinWord(factor);
  return saturate && result > 32767 ? int16_t{32767} : static_cast<int16_t>(result);
}

template <class T>
T maximum(const T* vec, int32_t len, Site site = Vector()) {
  if (rejected(site, BAD_IF(len<=0), BAD_IF(vec==0))) return 0;
  return kernels(T{}).largest(vec, static_cast<size_t>(len));
}
template <class T>
T minimum(const T* vec, int32_t len, Site site = Vector()) {
  if (rejected(site, BAD_IF(len<=0), BAD_IF(vec==0))) return 0;
  return kernels(T{}).smallest(vec, static_cast<size_t>(len));
}

}  // namespace
}  // namespace mox

using namespace mox;

extern "C" {

void moxsbSqr1(float* vec, int32_t len) { sqr1(vec, len); }
void moxsbSqr2(const float* src, float* dst, int32_t len) { sqr2(src, dst, len); }
void moxdbSqr1(double* vec, int32_t len) { sqr1(vec, len); }
void moxdbSqr2(const double* src, double* dst, int32_t len) { sqr2(src, dst, len); }
void moxcbSqr1(MoxC* vec, int32_t len) { sqr1(vec, len); }
void moxcbSqr2(const MoxC* src, MoxC* dst, int32_t len) { sqr2(src, dst, len); }
void moxzbSqr1(MoxZ* vec, int32_t len) { sqr1(vec, len); }
void moxzbSqr2(const MoxZ* src, MoxZ* dst, int32_t len) { sqr2(src, dst, len); }
void moxwbSqr1(int16_t* vec, int32_t len, int32_t scaleMode, int32_t* scalePtr) {
  scaledSqr1(vec, len, scaleMode, scalePtr);
}
void moxwbSqr2(const int16_t* src, int16_t* dst, int32_t len, int32_t scaleMode, int32_t* scalePtr) {
  scaledSqr2(src, dst, len, scaleMode, scalePtr);
}
void moxvbSqr1(MoxV* vec, int32_t len, int32_t scaleMode, int32_t* scalePtr) {
  scaledSqr1(vec, len, scaleMode, scalePtr);
}
void moxvbSqr2(const MoxV* src, MoxV* dst, int32_t len, int32_t scaleMode, int32_t* scalePtr) {
  scaledSqr2(src, dst, len, scaleMode, scalePtr);
}

void moxsbSqrt1(float* vec, int32_t len) { sqrt1(vec, len); }
void moxsbSqrt2(const float* src, float* dst, int32_t len) { sqrt2(src, dst, len); }
void moxdbSqrt1(double* vec, int32_t len) { sqrt1(vec, len); }
void moxdbSqrt2(const double* src, double* dst, int32_t len) { sqrt2(src, dst, len); }
void moxcbSqrt1(MoxC* vec, int32_t len) { sqrt1(vec, len); }
void moxcbSqrt2(const MoxC* src, MoxC* dst, int32_t len) { sqrt2(src, dst, len); }
void moxzbSqrt1(MoxZ* vec, int32_t len) { sqrt1(vec, len); }
void moxzbSqrt2(const MoxZ* src, MoxZ* dst, int32_t len) { sqrt2(src, dst, len); }
void moxwbSqrt1(int16_t* vec, int32_t len) { sqrt1(vec, len); }
void moxwbSqrt2(const int16_t* src, int16_t* dst, int32_t len) { sqrt2(src, dst, len); }
void moxvbSqrt1(MoxV* vec, int32_t len) { sqrt1(vec, len); }
void moxvbSqrt2(const MoxV* src, MoxV* dst, int32_t len) { sqrt2(src, dst, len); }

void moxsbThresh1(float* vec, int32_t len, float thresh, int32_t relOp) { thresh1(vec, len, thresh, relOp); }
void moxsbThresh2(const float* src, float* dst, int32_t len, float thresh, int32_t relOp) {
  thresh2(src, dst, len, thresh, relOp);
}
void moxdbThresh1(double* vec, int32_t len, double thresh, int32_t relOp) { thresh1(vec, len, thresh, relOp); }
void moxdbThresh2(const double* src, double* dst, int32_t len, double thresh, int32_t relOp) {
  thresh2(src, dst, len, thresh, relOp);
}
void moxcbThresh1(MoxC* vec, int32_t len, float thresh, int32_t relOp) { thresh1(vec, len, thresh, relOp); }
void moxcbThresh2(const MoxC* src, MoxC* dst, int32_t len, float thresh, int32_t relOp) {
  thresh2(src, dst, len, thresh, relOp);
}
void moxzbThresh1(MoxZ* vec, int32_t len, double thresh, int32_t relOp) { thresh1(vec, len, thresh, relOp); }
void moxzbThresh2(const MoxZ* src, MoxZ* dst, int32_t len, double thresh, int32_t relOp) {
  thresh2(src, dst, len, thresh, relOp);
}
void moxwbThresh1(int16_t* vec, int32_t len, int16_t thresh, int32_t relOp) { thresh1(vec, len, thresh, relOp); }
void moxwbThresh2(const int16_t* src, int16_t* dst, int32_t len, int16_t thresh, int32_t relOp) {
  thresh2(src, dst, len, thresh, relOp);
}
void moxvbThresh1(MoxV* vec, int32_t len, int16_t thresh, int32_t relOp) { thresh1(vec, len, thresh, relOp); }
void moxvbThresh2(const MoxV* src, MoxV* dst, int32_t len, int16_t thresh, int32_t relOp) {
  thresh2(src, dst, len, thresh, relOp);
}

void moxsbInvThresh1(float* vec, int32_t len, float thresh) { invThresh1(vec, len, thresh); }
void moxsbInvThresh2(const float* src, float* dst, int32_t len, float thresh) { invThresh2(src, dst, len, thresh); }
void moxdbInvThresh1(double* vec, int32_t len, double thresh) { invThresh1(vec, len, thresh); }
void moxdbInvThresh2(const double* src, double* dst, int32_t len, double thresh) { invThresh2(src, dst, len, thresh); }
void moxcbInvThresh1(MoxC* vec, int32_t len, float thresh) { invThresh1(vec, len, thresh); }
void moxcbInvThresh2(const MoxC* src, MoxC* dst, int32_t len, float thresh) { invThresh2(src, dst, len, thresh); }
void moxzbInvThresh1(MoxZ* vec, int32_t len, double thresh) { invThresh1(vec, len, thresh); }
void moxzbInvThresh2(const MoxZ* src, MoxZ* dst, int32_t len, double thresh) { invThresh2(src, dst, len, thresh); }

void moxsbAbs1(float* vec, int32_t len) { abs1(vec, len); }
void moxsbAbs2(const float* src, float* dst, int32_t len) { abs2(src, dst, len); }
void moxdbAbs1(double* vec, int32_t len) { abs1(vec, len); }
void moxdbAbs2(const double* src, double* dst, int32_t len) { abs2(src, dst, len); }
void moxwbAbs1(int16_t* vec, int32_t len) { abs1(vec, len); }
void moxwbAbs2(const int16_t* src, int16_t* dst, int32_t len) { abs2(src, dst, len); }

float moxsMean(const float* vec, int32_t len) { return mean(vec, len); }
double moxdMean(const double* vec, int32_t len) { return mean(vec, len); }
int16_t moxwMean(const int16_t* vec, int32_t len) { return mean(vec, len); }
float moxsStdDev(const float* vec, int32_t len) { return meanPower(vec, len); }
double moxdStdDev(const double* vec, int32_t len) { return meanPower(vec, len); }
int16_t moxwStdDev(const int16_t* vec, int32_t len, int32_t scaleMode, int32_t* scalePtr) {
  return meanPower16(vec, len, scaleMode, scalePtr);
}
float moxsMax(const float* vec, int32_t len) { return maximum(vec, len); }
float moxsMin(const float* vec, int32_t len) { return minimum(vec, len); }
double moxdMax(const double* vec, int32_t len) { return maximum(vec, len); }
double moxdMin(const double* vec, int32_t len) { return minimum(vec, len); }
int16_t moxwMax(const int16_t* vec, int32_t len) { return maximum(vec, len); }
int16_t moxwMin(const int16_t* vec, int32_t len) { return minimum(vec, len); }

}  // extern "C"
