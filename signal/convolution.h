// Full convolutions y[n] = sum of x[k] h[n-k], n < xLen + hLen - 1, by three methods. Real and complex operands of one
// precision in every combination; "taps" are the shorter operand, "samples" the longer one.
#pragma once
#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

#include "frame/sums.h"
#include "signal/aligned_array.h"
#include "signal/convolution_choice.h"
#include "transform/call.h"

namespace mox {

// ---- direct summation

template <class T>
bool allFinite(const T* v, size_t n) {
  using R = RealOf<T>;
  using Bits = std::conditional_t<sizeof(R) == 4, uint32_t, uint64_t>;
  const Bits infinity = std::bit_cast<Bits>(std::numeric_limits<R>::infinity());
  const R* const p = reals(v);
  bool finite = true;
  for (size_t i = 0; i < n * (sizeof(T) / sizeof(R)); ++i) finite &= (std::bit_cast<Bits>(p[i]) & infinity) != infinity;
  return finite;
}

// 0 < count <= kMostDirectTaps, count <= n. Sums in float64, rounded once.
template <class Tap, class Sample>
void convolveDirectly(const Tap* taps, size_t count, const Sample* x, size_t n, FirResult<Sample, Tap>* y) {
  const kernel::FirShape shape = {count, 1, 0, 1, 0, false};
  const size_t ends = count - 1;
  // Before the first sample and behind the last one there are zeros,
  if (allFinite(taps, count)) {
    static constexpr Sample kZeros[kMostDirectTaps] = {};
    firBlock(shape, taps, FirInput<Sample>{x, kZeros, 0}, y, n);
    firBlock(shape, taps, FirInput<Sample>{kZeros, x + n - 1, -1}, y + n, ends);
    return;
  }
  // which an infinite tap would turn into NaN.
  Tap reversed[kMostDirectTaps];
  std::reverse_copy(taps, taps + count, reversed);
  for (size_t i = 0; i < ends; ++i) {
    y[i] = firDot(reversed + (ends - i), x, i + 1);
    y[n + i] = firDot(reversed, x + (n - ends + i), ends - i);
  }
  firBlock(shape, taps, FirInput<Sample>{x + ends, x + ends - 1, -1}, y + ends, n - ends);
}

// ---- transforms

template <class T>
struct PrepareTransforms;
template <>
struct PrepareTransforms<float> {
  static constexpr auto real = moxsRealFftl;
  static constexpr auto complex = moxcFft;
};
template <>
struct PrepareTransforms<double> {
  static constexpr auto real = moxdRealFftl;
  static constexpr auto complex = moxzFft;
};

// Between 2^order results of a convolution, order >= 2, and their spectrum. That of real results is kept as
// X[0], X[N/2], X[1] ... X[N/2-1], in the room of N reals, that of complex ones as X[0] ... X[N-1].
template <class Result>
class ConvSpectra {
 public:
  using R = RealOf<Result>;

  explicit ConvSpectra(int32_t order) : order_(order) {}

  // Makes sure of the tables that operands of these kinds need. False after reports.
  bool prepare(bool realOperands, bool complexOperands) {
    if (realOperands) PrepareTransforms<R>::real(nullptr, order_, MOX_Init);
    if (context().status >= 0 && complexOperands) PrepareTransforms<R>::complex(nullptr, order_, MOX_Init);
    if (context().status < 0) return false;
    if (realOperands) realTable_ = tableAt(order_ - 1);
    if (complexOperands) complexTable_ = tableAt(order_);
    return (realTable_ || !realOperands) && (complexTable_ || !complexOperands);
  }

  // Whether a transform from one array to another is the faster one.
  bool isBetterApart() const { return transformsApart(size() * sizeof(Result)); }

  // The spectrum of n <= N values and zeros behind them, by way of N at `room`, which may be the spectrum.
  template <class T>
  void toSpectrum(const T* values, size_t n, Result* room, Result* spectrum) const {
    const auto& fft = Precision<R>::fft();
    T* const padded = reinterpret_cast<T*>(room);
    std::memcpy(padded, values, n * sizeof(T));
    std::memset(static_cast<void*>(padded + n), 0, (size() - n) * sizeof(T));
    R* const s = reals(spectrum);
    if constexpr (kComplex<T>) {
      fft.forward[order_](reals(room), s, complexTable_, 1);
    } else {
      fft.toSpectrum[0][order_](reals(room), s, realTable_, 1);
      if constexpr (kComplex<Result>) {
        spectrum[size() / 2] = {s[1], 0};
        s[1] = 0;
        Precision<R>::arith().conjFlip(s + 2, reals(spectrum + size() / 2 + 1), size() / 2 - 1);
      }
    }
  }

  // spectrum *= other
  void multiply(const Result* other, Result* spectrum) const {
    const R* const h = reals(other);
    R* const s = reals(spectrum);
    if constexpr (kComplex<Result>) {
      Precision<R>::fft().multiply(h, s, size());
    } else {
      const R first = s[0] * h[0], middle = s[1] * h[1];
      Precision<R>::fft().multiply(h, s, size() / 2);
      s[0] = first;
      s[1] = middle;
    }
  }

  // The results may be the spectrum.
  void toResults(const Result* spectrum, Result* results) const {
    const auto& fft = Precision<R>::fft();
    const R* const s = reals(spectrum);
    const R scale = Precision<R>::powerOfTwo(-order_);
    if constexpr (kComplex<Result>) {
      fft.inverse[order_](s, reals(results), complexTable_, scale);
    } else {
      fft.toSignal[1][order_](s[0], s[1], s + 2, reals(results), realTable_, scale);
    }
  }

  // Once prepared: no table is larger than size_t can count.
  size_t size() const { return size_t{1} << order_; }

 private:
  static R* tableAt(int32_t order) {
    auto* const tables = tablesAtHand<R>(order);
    return tables ? kernelTable(tables, order) : nullptr;
  }

  int32_t order_;
  R *realTable_ = nullptr, *complexTable_ = nullptr;
};

template <class Result, class Tap, class Sample>
bool prepared(ConvSpectra<Result>& spectra, Site site) {
  constexpr bool kReal = !kComplex<Tap> || !kComplex<Sample>;
  if (spectra.prepare(kReal, kComplex<Result>)) return true;
  report(site, MOX_StsBackTrace, nullptr);
  return false;
}

// Arrays of a transform's length: a spectrum, the response, and a third one where transforms had better go from one
// array to another.
template <class Result>
class ConvArrays {
 public:
  explicit ConvArrays(const ConvSpectra<Result>& spectra)
      : size_(spectra.size()), apart_(spectra.isBetterApart()), values_((apart_ ? 3 : 2) * uint64_t{size_}) {}

  // False after a report.
  bool there(Site site) const {
    if (values_.get()) return true;
    report(site, MOX_StsNoMem, "NULL Pointer");
    return false;
  }
  Result* spectrum() const { return values_.get(); }
  Result* response() const { return values_.get() + size_; }
  // The other end of a transform to or from one of these.
  Result* otherEnd(Result* spectrum) const { return apart_ ? values_.get() + 2 * size_ : spectrum; }

 private:
  size_t size_;
  bool apart_;
  AlignedArray<Result> values_;
};

// One transform of everything. At least 4 results.
template <class Tap, class Sample>
void convolveWhole(const Tap* taps, int64_t count, const Sample* x, int64_t n, FirResult<Sample, Tap>* y, Site site) {
  using Result = FirResult<Sample, Tap>;
  const uint64_t results = static_cast<uint64_t>(n + count - 1);
  ConvSpectra<Result> spectra(convWholeOrder(results));
  if (!prepared<Result, Tap, Sample>(spectra, site)) return;
  const ConvArrays<Result> arrays(spectra);
  if (!arrays.there(site)) return;
  Result *const samples = arrays.spectrum(), *const response = arrays.response();
  spectra.toSpectrum(x, static_cast<size_t>(n), arrays.otherEnd(samples), samples);
  spectra.toSpectrum(taps, static_cast<size_t>(count), arrays.otherEnd(response), response);
  spectra.multiply(response, samples);
  Result* const all = arrays.otherEnd(samples);
  spectra.toResults(samples, all);
  std::memcpy(y, all, static_cast<size_t>(results) * sizeof(Result));
}

// Overlap-add: stretches of samples whose results together fill one transform. At least 2 taps.
template <class Tap, class Sample>
void convolveBlocks(const Tap* taps, int64_t count, const Sample* x, int64_t n, FirResult<Sample, Tap>* y, int selector,
                    Site site) {
  using Result = FirResult<Sample, Tap>;
  ConvSpectra<Result> spectra(convBlockOrder(static_cast<uint64_t>(count), static_cast<uint64_t>(n), selector));
  if (!prepared<Result, Tap, Sample>(spectra, site)) return;
  const ConvArrays<Result> arrays(spectra);
  if (!arrays.there(site)) return;
  Result *const block = arrays.spectrum(), *const response = arrays.response(), *const room = arrays.otherEnd(block);
  spectra.toSpectrum(taps, static_cast<size_t>(count), arrays.otherEnd(response), response);
  const size_t tail = static_cast<size_t>(count - 1), step = spectra.size() - tail;
  // What a block begins with adds to the tail of the one before.
  size_t begun = 0;
  for (size_t left = static_cast<size_t>(n), m; left > 0; left -= m, x += m, y += m) {
    m = std::min(left, step);
    spectra.toSpectrum(x, m, room, block);
    spectra.multiply(response, block);
    spectra.toResults(block, room);
    Precision<RealOf<Result>>::arith().add(reals(room), reals(y), reals(y),
                                           begun * sizeof(Result) / sizeof(RealOf<Result>));
    std::memcpy(y + begun, room + begun, (m + tail - begun) * sizeof(Result));
    begun = tail;
  }
}

// ---- the exported functions

template <class Tap, class Sample>
constexpr ConvCosts kConvCosts = [] {
  using R = RealOf<Sample>;
  constexpr bool kResult = kComplex<Tap> || kComplex<Sample>;
  return ConvCosts{.band = !kResult            ? kRealBand
                           : !kComplex<Tap>    ? kRealTapsBand
                           : !kComplex<Sample> ? kRealSamplesBand
                                               : kComplexBand,
                   .taps = kCosts<R, kComplex<Tap>>.fft,
                   .samples = kCosts<R, kComplex<Sample>>.fft,
                   .block = kCosts<R, kResult>.fft,
                   .product = kCosts<R, kResult>.product};
}();

// Where the methods report from.
struct ConvMethodNames {
  const char *whole, *blocks;
};

// 0 < count <= n
template <class Tap, class Sample>
void convolveChosen(const Tap* taps, int32_t count, const Sample* x, int32_t n, FirResult<Sample, Tap>* y,
                    ConvMethodNames names, const Site& site) {
  const ConvChoice choice = chooseConvolution(kConvCosts<Tap, Sample>, n, count);
  switch (choice.method) {
    case ConvMethod::direct:
      return convolveDirectly(taps, static_cast<size_t>(count), x, static_cast<size_t>(n), y);
    case ConvMethod::whole:
      convolveWhole(taps, count, x, n, y, {site.module, names.whole, site.line});
      break;
    case ConvMethod::blocks:
      convolveBlocks(taps, count, x, n, y, choice.selector, {site.module, names.blocks, site.line});
      break;
  }
  if (context().status < 0) report(site, MOX_StsBackTrace, nullptr);
}

template <class X, class H, class Y>
bool convolutionRefused(const X* x, int32_t xLen, const H* h, int32_t hLen, const Y* y, const Site& site) {
  moxSetErrStatus(MOX_StsOk);
  return rejected(site, BAD_IF(x==0), BAD_IF(xLen<=0), BAD_IF(h==0), BAD_IF(hLen<=0), BAD_IF(y==0));
}

// Operands of one type.
template <class Caller, class T>
void convolve(const T* x, int32_t xLen, const T* h, int32_t hLen, T* y, ConvMethodNames names, Caller site = Caller()) {
  if (convolutionRefused(x, xLen, h, hLen, y, site)) return;
  if (hLen <= xLen) {
    convolveChosen(h, hLen, x, xLen, y, names, site);
  } else {
    convolveChosen(x, xLen, h, hLen, y, names, site);
  }
}

// Of two types: `exchanged` is the function for the other order.
template <class Caller, class X, class H, class Y>
void convolveMixed(const X* x, int32_t xLen, const H* h, int32_t hLen, Y* y, ConvMethodNames names,
                   void(MOX_CALL* exchanged)(const H*, int32_t, const X*, int32_t, Y*), Caller site = Caller()) {
  if (convolutionRefused(x, xLen, h, hLen, y, site)) return;
  if (hLen <= xLen) return convolveChosen(h, hLen, x, xLen, y, names, site);
  exchanged(h, hLen, x, xLen, y);
  if (context().status < 0) report(site, MOX_StsBackTrace, nullptr);
}

}  // namespace mox
