// Auto- and cross-correlation of int16, complex int16 and mixed sequences: sums modulo 2^32, then the scale mode.
#include <algorithm>
#include <type_traits>

#include "frame/element.h"
#include "kernel/kernels.h"
#include "signal/corr_check.h"

namespace mox {
namespace {

using Correlation16 = Here<"moxcorrw">;

template <class A, class B>
using Result = std::conditional_t<kComplex<A>, A, B>;

// Lag after lag to int16, times 2^-factor. Modes act by their flags. The automatic one raises the factor where a result
// would not fit, for the results before it too.
template <class R>
class Results {
  static constexpr int kParts = kComplex<R> ? 2 : 1;

 public:
  Results(int32_t scaleMode, const int32_t* scalePtr, R* dst)
      : automatic_((scaleMode & MOX_AutoScale) != 0),
        saturates_((scaleMode & MOX_NoScaleSat) != 0),
        factor_((scaleMode & MOX_FixScale) != 0 && scalePtr ? *scalePtr : 0),
        first_(reals(dst)),
        next_(first_) {}

  void add(const int32_t (&sum)[kParts]) {
    int32_t v[kParts];
    bool fits = true;
    for (int i = 0; i < kParts; ++i) {
      v[i] = shifted(sum[i]);
      fits &= v[i] >= INT16_MIN && v[i] <= INT16_MAX;
    }
    if (!fits && automatic_) raise(v);
    for (int i = 0; i < kParts; ++i) {
      if (saturates_) v[i] = std::clamp<int32_t>(v[i], INT16_MIN, INT16_MAX);
      *next_++ = static_cast<int16_t>(v[i]);
    }
  }
  void finish(int32_t* scalePtr) const {
    if (automatic_ && scalePtr) *scalePtr = factor_;
  }

 private:
  int32_t shifted(int32_t v) const {
    if (factor_ > 0) return v >> std::min(factor_, 31);
    return factor_ > -32 ? static_cast<int32_t>(static_cast<uint32_t>(v) << -factor_) : 0;
  }

  // One part has its largest bit at 15 or above; -2^31 counts as 2^31.
  [[gnu::cold]] void raise(int32_t (&v)[kParts]) {
    uint32_t size = 0;
    for (const int32_t part : v) size |= part < 0 ? 0u - static_cast<uint32_t>(part) : static_cast<uint32_t>(part);
    const int32_t more = 31 - __builtin_clz(size) - 14;
    for (int16_t* y = first_; y != next_; ++y) *y = static_cast<int16_t>(*y >> std::min(more, 15));
    for (int32_t& part : v) part >>= more;
    factor_ += more;
  }

  bool automatic_, saturates_;
  int32_t factor_;
  int16_t *first_, *next_;
};

// The sum of conj(a[i]) b[i].
void sumOf(const int16_t* a, const int16_t* b, size_t n, int32_t (&sum)[1]) {
  sum[0] = kernel::active->dot16.real(a, b, n);
}
void sumOf(const int16_t* a, const MoxV* b, size_t n, int32_t (&sum)[2]) {
  kernel::active->dot16.realComplex(a, reals(b), n, sum);
}
void sumOf(const MoxV* a, const int16_t* b, size_t n, int32_t (&sum)[2]) {
  kernel::active->dot16.realComplex(b, reals(a), n, sum);
  sum[1] = static_cast<int32_t>(0u - static_cast<uint32_t>(sum[1]));
}
void sumOf(const MoxV* a, const MoxV* b, size_t n, int32_t (&sum)[2]) {
  kernel::active->dot16.conjComplex(reals(a), reals(b), n, sum);
}

// The whole of lags lo to hi; lag k's sum is divided by divisor(k).
template <class A, class B, class Divisor>
void correlate(const A* a, int64_t lenA, const B* b, int64_t lenB, Result<A, B>* dst, int64_t lo, int64_t hi,
               int32_t scaleMode, int32_t* scalePtr, Divisor divisor) {
  Results<Result<A, B>> results(scaleMode, scalePtr, dst);
  for (int64_t k = lo; k <= hi; ++k) {
    const int64_t first = std::max<int64_t>(0, -k), end = std::min(lenA, lenB - k);
    int32_t sum[kComplex<A> || kComplex<B> ? 2 : 1] = {};
    if (first < end) sumOf(a + first, b + (first + k), static_cast<size_t>(end - first), sum);
    const int32_t by = divisor(k);
    if (by != 1) {
      for (int32_t& part : sum) part /= by;
    }
    results.add(sum);
  }
  results.finish(scalePtr);
}

template <class T>
void autoCorr(const T* src, int32_t len, T* dst, int32_t nLags, int32_t normType, int32_t scaleMode, int32_t* scalePtr,
              Site site = Correlation16()) {
  if (refusedAutoCorr(site, src, len, dst, nLags)) return;
  correlate(src, len, src, len, dst, 0, nLags - 1, scaleMode, scalePtr, [=](int64_t k) {
    return normType == 1 ? len : normType == 2 ? len - static_cast<int32_t>(k) : 1;
  });
}

template <class A, class B>
void crossCorr(const A* srcA, int32_t lenA, const B* srcB, int32_t lenB, Result<A, B>* dst, int32_t loLag,
               int32_t hiLag, int32_t scaleMode, int32_t* scalePtr, Site site = Correlation16()) {
  if (refusedCrossCorr(site, srcA, lenA, srcB, lenB, dst, loLag, hiLag)) return;
  correlate(srcA, lenA, srcB, lenB, dst, loLag, hiLag, scaleMode, scalePtr, [](int64_t) { return 1; });
}

}  // namespace
}  // namespace mox

using namespace mox;

extern "C" {

void moxwAutoCorr(const int16_t* src, int32_t len, int16_t* dst, int32_t nLags, int32_t normType, int32_t scaleMode,
                  int32_t* scalePtr) {
  autoCorr(src, len, dst, nLags, normType, scaleMode, scalePtr);
}
void moxvAutoCorr(const MoxV* src, int32_t len, MoxV* dst, int32_t nLags, int32_t normType, int32_t scaleMode,
                  int32_t* scalePtr) {
  autoCorr(src, len, dst, nLags, normType, scaleMode, scalePtr);
}

void moxwCrossCorr(const int16_t* srcA, int32_t lenA, const int16_t* srcB, int32_t lenB, int16_t* dst, int32_t loLag,
                   int32_t hiLag, int32_t scaleMode, int32_t* scalePtr) {
  crossCorr(srcA, lenA, srcB, lenB, dst, loLag, hiLag, scaleMode, scalePtr);
}
void moxvCrossCorr(const MoxV* srcA, int32_t lenA, const MoxV* srcB, int32_t lenB, MoxV* dst, int32_t loLag,
                   int32_t hiLag, int32_t scaleMode, int32_t* scalePtr) {
  crossCorr(srcA, lenA, srcB, lenB, dst, loLag, hiLag, scaleMode, scalePtr);
}
void moxwvCrossCorr(const int16_t* srcA, int32_t lenA, const MoxV* srcB, int32_t lenB, MoxV* dst, int32_t loLag,
                    int32_t hiLag, int32_t scaleMode, int32_t* scalePtr) {
  crossCorr(srcA, lenA, srcB, lenB, dst, loLag, hiLag, scaleMode, scalePtr);
}
void moxvwCrossCorr(const MoxV* srcA, int32_t lenA, const int16_t* srcB, int32_t lenB, MoxV* dst, int32_t loLag,
                    int32_t hiLag, int32_t scaleMode, int32_t* scalePtr) {
  crossCorr(srcA, lenA, srcB, lenB, dst, loLag, hiLag, scaleMode, scalePtr);
}

}  // extern "C"
