// Auto- and cross-correlation of float32, float64, complex and mixed sequences.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include "frame/sums.h"
#include "signal/aligned_array.h"
#include "signal/corr_check.h"
#include "signal/corr_cost.h"
#include "transform/call.h"

namespace mox {
namespace {

using Correlation = Here<"moxcorr">;
using corrcost::Data;

template <class T>
const kernel::Correlation<T>& kernels() {
  if constexpr (sizeof(T) == 4) {
    return kernel::active->correlation32;
  } else {
    return kernel::active->correlation64;
  }
}

constexpr size_t count(int64_t n) { return static_cast<size_t>(n); }

// What becomes of the sum of lag k.
struct Norm {
  enum { none, biased, unbiased };
  int32_t type;
  int64_t len;
  double factor(int64_t k) const {
    if (type == biased) return 1 / static_cast<double>(len);
    return type == unbiased ? 1 / static_cast<double>(len - k) : 1;
  }
};

// ---- which lags

// Lags lo to hi of two sequences of which every value meets one of the other's at one of these lags.
template <class A, class B>
struct Lags {
  const A* a;
  int64_t lenA;
  const B* b;
  int64_t lenB;
  int64_t lo, hi;

  int64_t size() const { return hi - lo + 1; }
  // a[first ... end - 1] meet b at lag k.
  int64_t first(int64_t k) const { return std::max<int64_t>(0, -k); }
  int64_t end(int64_t k) const { return std::min(lenA, lenB - k); }
};

// Lags lo to hi, which are not all beyond the lengths, without what is.
template <class A, class B>
Lags<A, B> trimmed(const A* a, int64_t lenA, const B* b, int64_t lenB, int64_t lo, int64_t hi) {
  lo = std::max(lo, 1 - lenA);
  hi = std::min(hi, lenB - 1);
  const int64_t fromA = std::max<int64_t>(0, -hi), fromB = std::max<int64_t>(0, lo);
  const int64_t toA = std::min(lenA, lenB - lo), toB = std::min(lenB, lenA + hi);
  return {a + fromA, toA - fromA, b + fromB, toB - fromB, lo + fromA - fromB, hi + fromA - fromB};
}

// ---- sums of products

template <class A, class B>
FirResult<A, B> directSum(const Lags<A, B>& p, int64_t k, double factor) {
  using R = RealOf<A>;
  const auto& dots = firDots<A>();
  const size_t n = count(p.end(k) - p.first(k));
  const A* const a = p.a + p.first(k);
  const B* const b = p.b + p.first(k) + k;
  if constexpr (!kComplex<A> && !kComplex<B>) {
    return static_cast<R>(dots.real(a, b, n) * factor);
  } else {
    double sum[2];
    if constexpr (kComplex<A> && kComplex<B>) {
      dots.conjComplex(reals(a), reals(b), n, sum);
    } else if constexpr (kComplex<B>) {
      dots.realComplex(a, reals(b), n, sum);
    } else {
      dots.realComplex(b, reals(a), n, sum);
      sum[1] = -sum[1];
    }
    return {static_cast<R>(sum[0] * factor), static_cast<R>(sum[1] * factor)};
  }
}

inline bool isNan(float x) { return x != x; }
inline bool isNan(double x) { return x != x; }
template <class C>
bool isNan(C x) {
  return isNan(x.re) || isNan(x.im);
}

// So few lags at a time are cheaper one by one.
template <class A, class B>
constexpr int64_t kFewLags = kComplex<A> + kComplex<B> == 2 ? 5 : 6;

template <class A, class B>
void direct(const Lags<A, B>& p, Norm norm, FirResult<A, B>* dst) {
  constexpr size_t kParts = kComplex<A> || kComplex<B> ? 2 : 1;
  constexpr int64_t kTile = int64_t{kernel::kLagSums} / (kComplex<B> ? 2 : 1);
  const auto& k = kernels<RealOf<A>>();
  const auto slide = kComplex<A> ? (kComplex<B> ? k.complex : k.complexReal) : (kComplex<B> ? k.realComplex : k.real);
  for (int64_t lag = p.lo; lag <= p.hi; lag += kTile) {
    const int64_t n = std::min(kTile, p.hi - lag + 1), last = lag + n - 1;
    FirResult<A, B>* const to = dst + (lag - p.lo);
    bool defined = false;
    if (n > kFewLags<A, B>) {
      double sums[kParts * count(kTile)];
      const int64_t first = p.first(last);
      slide(reals(p.a + first), count(p.end(lag) - first), reals(p.b), count(p.lenB),
            static_cast<ptrdiff_t>(first + lag), sums, count(n));
      if (norm.type == Norm::unbiased) {
        defined = k.unbiasSums(sums, reals(to), count(n), kParts, static_cast<double>(norm.len - lag));
      } else {
        defined = k.round(sums, reals(to), count(n) * kParts, norm.factor(0));
      }
      // Products with the zeros around b are no terms of the sums: an infinite a[n] must not meet them.
      for (int64_t i = 0; !defined && i < n; ++i) {
        if (isNan(to[i])) to[i] = directSum(p, lag + i, norm.factor(lag + i));
      }
      continue;
    }
    for (int64_t i = 0; i < n; ++i) to[i] = directSum(p, lag + i, norm.factor(lag + i));
  }
}

// ---- transforms; the functions below return false where sums have to do

// Transforms of 2^order values, real ones or complex ones (to which real data is made).
template <class T, bool kComplexData>
class Transform {
 public:
  explicit Transform(int order) : order_(order), table_(nullptr) {
    if (order > kMostOrder || !fft().forward[order]) return;
    const int own = kComplexData ? order : order - 1;
    ComplexOf<T>* const tables = extendedTable<ComplexOf<T>>(own);
    if (tables) table_ = kernelTable(tables, own);
  }
  bool ok() const { return table_; }
  int64_t length() const { return int64_t{1} << order_; }
  size_t reals() const { return count(length()) * (kComplexData ? 2 : 1); }
  size_t bins() const { return reals() / 2; }
  static constexpr bool kReal = !kComplexData;

  // Whether a transform from one array to another is the faster one.
  bool isBetterApart() const { return transformsApart(reals() * sizeof(T)); }

  // Of n values of x from `from` on (zeros where there is no x), then zeros; by way of `padded`, which may be `to`.
  template <class E>
  void spectrum(const E* x, int64_t len, int64_t from, int64_t n, T* padded, T* to) const {
    const T* in = padded;
    if (kComplex<E> == kComplexData && from >= 0 && n == length() && from + n <= len) {
      in = mox::reals(x + from);
    } else {
      constexpr size_t kParts = kComplexData ? 2 : 1;
      const int64_t begin = std::max<int64_t>(from, 0), end = std::max(begin, std::min(from + n, len));
      const size_t before = count(std::min(begin - from, length())) * kParts, there = count(end - begin) * kParts;
      std::memset(padded, 0, before * sizeof(T));
      if constexpr (kComplex<E> == kComplexData) {
        std::memcpy(padded + before, mox::reals(x + begin), there * sizeof(T));
      } else {
        for (size_t i = 0; i < there / 2; ++i) {
          padded[before + 2 * i] = x[count(begin) + i];
          padded[before + 2 * i + 1] = 0;
        }
      }
      std::memset(padded + before + there, 0, (reals() - before - there) * sizeof(T));
    }
    if constexpr (kComplexData) {
      fft().forward[order_](in, to, table_, 1);
    } else {
      fft().toSpectrum[0][order_](in, to, table_, 1);
    }
  }

  // Back, to x, which may be the spectrum. False where there was an infinity or NaN, or the range was left: then no
  // value is finite.
  bool signal(const T* spectrum, double factor, T* x) const {
    const T scale = static_cast<T>(factor / static_cast<double>(length()));
    if constexpr (kComplexData) {
      fft().inverse[order_](spectrum, x, table_, scale);
    } else {
      fft().toSignal[1][order_](spectrum[0], spectrum[1], spectrum + 2, x, table_, scale);
    }
    return std::isfinite(x[0]) && std::isfinite(x[1]);
  }

 private:
  static constexpr int kMostOrder = 31;
  static const kernel::Fft<T>& fft() { return Precision<T>::fft(); }

  int order_;
  T* table_;
};

constexpr int kLeastOrder = 6;

int orderOf(int64_t n) { return static_cast<int>(std::bit_width(static_cast<uint64_t>(n - 1))); }

// Blocks of half a transform's length; the spectrum of a block and the next one together is that of the one, and of the
// other with every second sign changed (C. M. Rader, An improved algorithm for high speed autocorrelation, 1970).
template <class T>
bool autoByTransform(const T* src, int64_t len, T* dst, int64_t nLags, Norm norm) {
  using R = RealOf<T>;
  const auto& k = kernels<R>();
  const Transform<R, kComplex<T>> transform(std::max(kLeastOrder, orderOf(nLags) + 1));
  if (!transform.ok()) return false;
  const int64_t block = transform.length() / 2;
  const size_t bins = transform.bins(), size = transform.reals();
  const bool real = transform.kReal, single = len <= block;
  const bool apart = transform.isBetterApart();
  const AlignedArray<R> one(size), other(single ? 0 : size);
  AlignedArray<R> third;
  if (apart) third.allocate(size);
  const AlignedArray<double> sums(single ? 0 : size);
  if (!one.get() || !other.get() || (apart && !third.get()) || !sums.get()) return false;

  R *now = one.get(), *next = other.get();
  transform.spectrum(src, len, 0, block, apart ? third.get() : now, now);
  if (single) {
    k.products(now, now, now, bins, real);
  } else {
    std::memset(sums.get(), 0, size * sizeof(double));
    for (int64_t from = block; from < len; from += block) {
      transform.spectrum(src, len, from, block, apart ? third.get() : next, next);
      k.addNeighbourProducts(now, next, sums.get(), bins, real);
      std::swap(now, next);
    }
    k.addProducts(now, now, sums.get(), bins, real);
    k.round(sums.get(), now, size, 1);
  }
  R* const results = apart ? third.get() : now;
  if (!transform.signal(now, norm.type == Norm::biased ? norm.factor(0) : 1, results)) return false;
  if (norm.type == Norm::unbiased) {
    k.unbias(results, reals(dst), count(nLags), kComplex<T> ? 2 : 1, static_cast<double>(len));
  } else {
    std::memcpy(dst, results, count(nLags) * sizeof(T));
  }
  return true;
}

// How a cross-correlation is cut up: whole; a in blocks, whose spectral products are summed; or the lags in blocks,
// with the spectrum of all of a, or of b, kept.
enum class Cut { none, a, lagsOfA, lagsOfB };
struct Plan {
  Cut cut;
  int order;
  int64_t step;  // values of a, or lags, in a block
};

// The one of least cost, as transforms times n log n and something for each, among those whose buffers are not much
// longer than the lags are many.
template <class A, class B>
Plan planOf(const Lags<A, B>& p) {
  constexpr int kUnbounded = 10;  // a length that is short in any case
  constexpr int64_t kEach = 1024;
  const int whole = std::max({kLeastOrder, orderOf(std::max({p.lenA, p.lenB, p.lenB - p.lo, p.lenA + p.hi}))});
  const int most = std::min(whole, std::max(kUnbounded, orderOf(p.size()) + 2));
  Plan best = {};
  double least = INFINITY;
  for (int order = most; order >= kLeastOrder; --order) {
    const int64_t n = int64_t{1} << order;
    const auto consider = [&](Cut cut, int64_t step, int64_t of, int64_t each, int64_t once) {
      if (step < 1) return;
      const int64_t transforms = corrcost::blocksOf(of, step) * each + once;
      const double cost = static_cast<double>(transforms) * static_cast<double>(n * order + kEach);
      if (cost < least) {
        least = cost;
        best = {cut, order, step};
      }
    };
    if (order == whole) consider(Cut::none, p.lenA, p.lenA, 2, 1);
    consider(Cut::a, n - p.size() + 1, p.lenA, 2, 1);
    consider(Cut::lagsOfA, n - p.lenA + 1, p.size(), 2, 1);
    consider(Cut::lagsOfB, n - p.lenB + 1, p.size(), 2, 1);
  }
  return best;
}

template <class A, class B>
bool crossByTransform(const Lags<A, B>& p, FirResult<A, B>* dst) {
  using R = RealOf<A>;
  const auto& k = kernels<R>();
  const Plan plan = planOf(p);
  const Transform<R, kComplex<A> || kComplex<B>> transform(plan.order);
  if (!transform.ok()) return false;
  const int64_t n = transform.length();
  const size_t bins = transform.bins(), size = transform.reals();
  const bool real = transform.kReal, summed = plan.cut == Cut::a && plan.step < p.lenA;
  const bool apart = transform.isBetterApart();
  const AlignedArray<R> ofA(size), ofB(size);
  AlignedArray<R> third;
  if (apart) third.allocate(size);
  const AlignedArray<double> sums(summed ? size : 0);
  if (!ofA.get() || !ofB.get() || (apart && !third.get()) || !sums.get()) return false;
  R *const x = ofA.get(), *const y = ofB.get();
  R *const beforeX = apart ? third.get() : x, *const beforeY = apart ? third.get() : y;

  const int64_t lags = plan.cut == Cut::lagsOfA || plan.cut == Cut::lagsOfB ? plan.step : p.size();
  for (int64_t lag = p.lo; lag <= p.hi; lag += lags) {
    int64_t fromA = 0, fromB = 0;
    R* z = y;
    switch (plan.cut) {
      case Cut::none:
        transform.spectrum(p.a, p.lenA, 0, p.lenA, beforeX, x);
        transform.spectrum(p.b, p.lenB, 0, p.lenB, beforeY, y);
        break;
      case Cut::a:
        if (summed) std::memset(sums.get(), 0, size * sizeof(double));
        for (int64_t from = 0; from < p.lenA; from += plan.step) {
          transform.spectrum(p.a, p.lenA, from, plan.step, beforeX, x);
          transform.spectrum(p.b, p.lenB, from + lag, n, beforeY, y);
          if (summed) k.addProducts(x, y, sums.get(), bins, real);
        }
        fromB = lag;
        break;
      case Cut::lagsOfA:
        if (lag == p.lo) transform.spectrum(p.a, p.lenA, 0, p.lenA, beforeX, x);
        fromB = lag;
        transform.spectrum(p.b, p.lenB, fromB, n, beforeY, y);
        break;
      case Cut::lagsOfB:
        if (lag == p.lo) transform.spectrum(p.b, p.lenB, 0, p.lenB, beforeY, y);
        fromA = 1 - lag - lags;
        transform.spectrum(p.a, p.lenA, fromA, n, beforeX, x);
        z = x;
        break;
    }
    if (summed) {
      k.round(sums.get(), z, size, 1);
    } else {
      k.products(x, y, z, bins, real);
    }
    R* const values = apart ? third.get() : z;
    if (!transform.signal(z, 1, values)) return false;
    // Lag k stands at k + fromA - fromB modulo n.
    const auto* const results = reinterpret_cast<const FirResult<A, B>*>(values);
    const int64_t have = std::min(lags, p.hi - lag + 1), at = (lag + fromA - fromB) & (n - 1);
    const int64_t some = std::min(have, n - at);
    FirResult<A, B>* const to = dst + (lag - p.lo);
    std::memcpy(to, results + at, count(some) * sizeof(*dst));
    std::memcpy(to + some, results, count(have - some) * sizeof(*dst));
  }
  return true;
}

// ---- calls

template <class T>
void autoCorr(const T* src, int32_t len, T* dst, int32_t nLags, int32_t normType, Site site = Correlation()) {
  if (refusedAutoCorr(site, src, len, dst, nLags)) return;
  const Norm norm = {normType, len};
  const Data data = kComplex<T> ? Data::complex : Data::real;
  if (corrcost::autoByTransform(len, nLags, data) && autoByTransform(src, len, dst, nLags, norm)) return;
  direct(trimmed(src, len, src, len, 0, nLags - 1), norm, dst);
}

template <class A, class B>
void crossCorr(const A* srcA, int32_t lenA, const B* srcB, int32_t lenB, FirResult<A, B>* dst, int32_t loLag,
               int32_t hiLag, Site site = Correlation()) {
  if (refusedCrossCorr(site, srcA, lenA, srcB, lenB, dst, loLag, hiLag)) return;
  const int64_t lo = loLag, hi = hiLag;
  // Lags before the first and behind the last that have terms.
  const int64_t first = std::clamp<int64_t>(1 - int64_t{lenA}, lo, hi + 1);
  const int64_t end = std::clamp<int64_t>(lenB, first, hi + 1);
  std::memset(static_cast<void*>(dst), 0, count(first - lo) * sizeof(*dst));
  std::memset(static_cast<void*>(dst + count(end - lo)), 0, count(hi + 1 - end) * sizeof(*dst));
  if (first == end) return;
  const auto lags = trimmed(srcA, lenA, srcB, lenB, lo, hi);
  const Data data = kComplex<A> && kComplex<B> ? Data::complex : kComplex<A> || kComplex<B> ? Data::mixed : Data::real;
  FirResult<A, B>* const to = dst + count(first - lo);
  if (corrcost::crossByTransform(hi - lo + 1, lenA, data) && crossByTransform(lags, to)) return;
  direct(lags, Norm{}, to);
}

}  // namespace
}  // namespace mox

using namespace mox;

extern "C" {

void moxsAutoCorr(const float* src, int32_t len, float* dst, int32_t nLags, int32_t normType) {
  autoCorr(src, len, dst, nLags, normType);
}
void moxdAutoCorr(const double* src, int32_t len, double* dst, int32_t nLags, int32_t normType) {
  autoCorr(src, len, dst, nLags, normType);
}
void moxcAutoCorr(const MoxC* src, int32_t len, MoxC* dst, int32_t nLags, int32_t normType) {
  autoCorr(src, len, dst, nLags, normType);
}
void moxzAutoCorr(const MoxZ* src, int32_t len, MoxZ* dst, int32_t nLags, int32_t normType) {
  autoCorr(src, len, dst, nLags, normType);
}

void moxsCrossCorr(const float* srcA, int32_t lenA, const float* srcB, int32_t lenB, float* dst, int32_t loLag,
                   int32_t hiLag) {
  crossCorr(srcA, lenA, srcB, lenB, dst, loLag, hiLag);
}
void moxdCrossCorr(const double* srcA, int32_t lenA, const double* srcB, int32_t lenB, double* dst, int32_t loLag,
                   int32_t hiLag) {
  crossCorr(srcA, lenA, srcB, lenB, dst, loLag, hiLag);
}
void moxcCrossCorr(const MoxC* srcA, int32_t lenA, const MoxC* srcB, int32_t lenB, MoxC* dst, int32_t loLag,
                   int32_t hiLag) {
  crossCorr(srcA, lenA, srcB, lenB, dst, loLag, hiLag);
}
void moxzCrossCorr(const MoxZ* srcA, int32_t lenA, const MoxZ* srcB, int32_t lenB, MoxZ* dst, int32_t loLag,
                   int32_t hiLag) {
  crossCorr(srcA, lenA, srcB, lenB, dst, loLag, hiLag);
}
void moxscCrossCorr(const float* srcA, int32_t lenA, const MoxC* srcB, int32_t lenB, MoxC* dst, int32_t loLag,
                    int32_t hiLag) {
  crossCorr(srcA, lenA, srcB, lenB, dst, loLag, hiLag);
}
void moxcsCrossCorr(const MoxC* srcA, int32_t lenA, const float* srcB, int32_t lenB, MoxC* dst, int32_t loLag,
                    int32_t hiLag) {
  crossCorr(srcA, lenA, srcB, lenB, dst, loLag, hiLag);
}
void moxdzCrossCorr(const double* srcA, int32_t lenA, const MoxZ* srcB, int32_t lenB, MoxZ* dst, int32_t loLag,
                    int32_t hiLag) {
  crossCorr(srcA, lenA, srcB, lenB, dst, loLag, hiLag);
}
void moxzdCrossCorr(const MoxZ* srcA, int32_t lenA, const double* srcB, int32_t lenB, MoxZ* dst, int32_t loLag,
                    int32_t hiLag) {
  crossCorr(srcA, lenA, srcB, lenB, dst, loLag, hiLag);
}

}  // extern "C"
