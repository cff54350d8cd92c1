// Auto- and cross-correlation. Against a dot product of OpenBLAS per lag and against FFTW's real transforms: one that
// holds everything, of the shortest length without large prime factors, and blocks (autocorrelation: each with its
// successor, summed spectra; cross-correlation: the longer sequence in pieces), whichever lengths do best. Ours sum in
// float64 or transform in the precision of the data, as FFTW.
#include <cblas.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "bench/fftw.h"
#include "bench/native.h"
#include "bench/support.h"

namespace moxbench {
namespace {

template <class T>
class Array {
 public:
  explicit Array(size_t n) : values_(Fftw<T>::real(n)) {}
  ~Array() { Fftw<T>::free(values_); }
  Array(const Array&) = delete;
  Array& operator=(const Array&) = delete;
  operator T*() const { return values_; }

 private:
  T* values_;
};

// A real transform with arrays of its own, there and back.
template <class T>
struct Transform {
  size_t n;
  Array<T> x, spectrum;
  typename Fftw<T>::Plan forward, inverse;
  explicit Transform(size_t length) : n(length), x(length), spectrum(length + 2) {
    auto* const bins = reinterpret_cast<typename Fftw<T>::Complex*>(static_cast<T*>(spectrum));
    forward = Fftw<T>::toSpectrum(static_cast<int>(length), x, bins, FFTW_MEASURE);
    inverse = Fftw<T>::toSignal(static_cast<int>(length), bins, x, FFTW_MEASURE);
  }
  ~Transform() {
    Fftw<T>::destroy(forward);
    Fftw<T>::destroy(inverse);
  }
  Transform(const Transform&) = delete;
  Transform& operator=(const Transform&) = delete;
  ptrdiff_t bins() const { return static_cast<ptrdiff_t>(n / 2 + 1); }
  // Of `count` values, zeros before and behind them.
  void of(const T* values, size_t before, size_t count) {
    std::fill_n(static_cast<T*>(x), before, T{0});
    std::copy_n(values, count, x + before);
    std::fill(x + before + count, x + n, T{0});
    Fftw<T>::execute(forward);
  }
};

size_t smoothLength(size_t least) {
  for (size_t n = least;; ++n) {
    size_t rest = n;
    for (const size_t prime : {2u, 3u, 5u, 7u}) {
      while (rest % prime == 0) rest /= prime;
    }
    if (rest == 1 && n % 2 == 0) return n;
  }
}

// ---- cases: a in array 0, b in array 1, results in array 2

template <class T>
struct Case {
  const char* name;
  size_t lenA, lenB;
  int64_t lo, hi;
  bool autocorrelation;
  size_t lags() const { return static_cast<size_t>(hi - lo + 1); }
};

template <class T>
std::string wrong(const Case<T>& c) {
  const T *const a = array<T>(0), *const b = array<T>(c.autocorrelation ? 0 : 1), *const r = array<T>(2);
  double energyA = 0, energyB = 0;
  for (size_t i = 0; i < c.lenA; ++i) energyA += double{a[i]} * double{a[i]};
  for (size_t i = 0; i < c.lenB; ++i) energyB += double{b[i]} * double{b[i]};
  const double bound = 32 * double{std::numeric_limits<T>::epsilon()} * std::sqrt(energyA * energyB);
  for (size_t i = 0; i < c.lags(); i += 1 + c.lags() / 97) {
    const int64_t k = c.lo + static_cast<int64_t>(i);
    double sum = 0;
    for (size_t n = 0; n < c.lenA; ++n) {
      const size_t m = static_cast<size_t>(static_cast<int64_t>(n) + k);
      if (m < c.lenB) sum += double{a[n]} * double{b[m]};
    }
    if (!(std::abs(sum - double{r[i]}) <= bound)) return "wrong lag " + std::to_string(k);
  }
  return "";
}

void ours(const Case<float>& c) {
  const auto len = [](size_t n) { return static_cast<int32_t>(n); };
  if (c.autocorrelation) {
    moxsAutoCorr(array<float>(0), len(c.lenA), array<float>(2), len(c.lags()), 0);
  } else {
    moxsCrossCorr(array<float>(0), len(c.lenA), array<float>(1), len(c.lenB), array<float>(2),
                  static_cast<int32_t>(c.lo), static_cast<int32_t>(c.hi));
  }
}
void ours(const Case<double>& c) {
  const auto len = [](size_t n) { return static_cast<int32_t>(n); };
  if (c.autocorrelation) {
    moxdAutoCorr(array<double>(0), len(c.lenA), array<double>(2), len(c.lags()), 0);
  } else {
    moxdCrossCorr(array<double>(0), len(c.lenA), array<double>(1), len(c.lenB), array<double>(2),
                  static_cast<int32_t>(c.lo), static_cast<int32_t>(c.hi));
  }
}

float dot(int n, const float* a, const float* b) { return cblas_sdot(n, a, 1, b, 1); }
double dot(int n, const double* a, const double* b) { return cblas_ddot(n, a, 1, b, 1); }
template <class T>
void openblas(const Case<T>& c) {
  const T *const a = array<T>(0), *const b = array<T>(c.autocorrelation ? 0 : 1);
  T* r = array<T>(2);
  const int64_t lenA = static_cast<int64_t>(c.lenA), lenB = static_cast<int64_t>(c.lenB);
  for (int64_t k = c.lo; k <= c.hi; ++k) {
    const int64_t from = std::max<int64_t>(0, -k), to = std::min(lenA, lenB - k);
    *r++ = from < to ? dot(static_cast<int>(to - from), a + from, b + from + k) : T{0};
  }
}

template <class T>
struct Peer {
  virtual ~Peer() = default;
  virtual void run() = 0;
};

// Everything in one transform; lags from c.lo on.
template <class T>
struct Whole : Peer<T> {
  Case<T> c;
  Transform<T> a, b;
  explicit Whole(const Case<T>& of)
      : c(of),
        a(smoothLength(of.autocorrelation ? of.lenA + of.lags() - 1 : of.lenA + of.lenB - 1)),
        b(of.autocorrelation ? 2 : a.n) {}
  void run() override {
    a.of(array<T>(0), 0, c.lenA);
    const T factor = T{1} / static_cast<T>(a.n);
    if (c.autocorrelation) {
      nativePower(a.spectrum, factor, a.bins());
    } else {
      // b[0] at -c.lo: lag k stands at k - c.lo.
      b.of(array<T>(1), static_cast<size_t>(-c.lo), c.lenB);
      nativeConjProduct(a.spectrum, b.spectrum, factor, a.spectrum, a.bins());
    }
    Fftw<T>::execute(a.inverse);
    std::copy_n(static_cast<T*>(a.x), c.lags(), array<T>(2));
  }
};

// An autocorrelation in blocks of half a transform's length, each with the next.
template <class T>
struct AutoBlocks : Peer<T> {
  Case<T> c;
  Transform<T> one, other;
  Array<T> sum;
  explicit AutoBlocks(const Case<T>& of) : c(of), one(2 * of.lags()), other(one.n), sum(one.n + 2) {}
  void run() override {
    const size_t block = one.n / 2;
    Transform<T>*now = &one, *next = &other;
    std::fill_n(static_cast<T*>(sum), one.n + 2, T{0});
    now->of(array<T>(0), 0, std::min(block, c.lenA));
    for (size_t at = block; at < c.lenA; at += block, std::swap(now, next)) {
      next->of(array<T>(0) + at, 0, std::min(block, c.lenA - at));
      nativeAddNeighbours(now->spectrum, next->spectrum, sum, one.bins());
    }
    nativeAddPower(now->spectrum, sum, one.bins());
    std::copy_n(static_cast<T*>(sum), one.n + 2, static_cast<T*>(one.spectrum));
    Fftw<T>::execute(one.inverse);
    for (size_t i = 0; i < c.lags(); ++i) array<T>(2)[i] = one.x[i] / static_cast<T>(one.n);
  }
};

// All lags of a short a with a long b: a transform for each n - lenA + 1 of them, n = 4 lenA.
template <class T>
struct CrossBlocks : Peer<T> {
  Case<T> c;
  Transform<T> a, b;
  explicit CrossBlocks(const Case<T>& of) : c(of), a(4 * of.lenA), b(a.n) {}
  void run() override {
    a.of(array<T>(0), 0, c.lenA);
    const size_t step = a.n - c.lenA + 1;
    for (size_t done = 0; done < c.lags(); done += step) {
      const int64_t from = c.lo + static_cast<int64_t>(done);
      const size_t before = from < 0 ? static_cast<size_t>(-from) : 0, first = from < 0 ? 0 : static_cast<size_t>(from);
      b.of(array<T>(1) + first, before, std::min(a.n - before, c.lenB - first));
      nativeConjProduct(a.spectrum, b.spectrum, T{1} / static_cast<T>(a.n), b.spectrum, a.bins());
      Fftw<T>::execute(b.inverse);
      std::copy_n(static_cast<T*>(b.x), std::min(step, c.lags() - done), array<T>(2) + done);
    }
  }
};

template <class T, class F>
void enterPeer(const char* contender, const Case<T>& c) {
  static std::shared_ptr<Peer<T>> peer;  // of the benchmark that runs
  add(
      caseName("correlation", c.name, static_cast<int>(std::max(c.lenA, c.lenB)), contender), nullptr,
      [=] {
        peer = std::make_shared<F>(c);
        fillNoise(array<T>(0), c.lenA);
        fillNoise(array<T>(1), c.lenB);
      },
      [] { peer->run(); }, [=] { return wrong(c); });
}

template <class T>
void enter(const Case<T>& c) {
  const auto calls = [=](const char* contender, const mox::kernel::Kernels* kernels, void (*run)(const Case<T>&)) {
    add(
        caseName("correlation", c.name, static_cast<int>(std::max(c.lenA, c.lenB)), contender), kernels,
        [=] {
          fillNoise(array<T>(0), c.lenA);
          fillNoise(array<T>(1), c.lenB);
        },
        [=] { run(c); }, [=] { return wrong(c); });
  };
  for (const auto* const kernels : kernelSets()) calls(kernels->name, kernels, ours);
  calls("openblas", nullptr, openblas<T>);
  if (c.lags() < 32) return;
  enterPeer<T, Whole<T>>("fftw", c);
  if (c.autocorrelation && c.lags() < c.lenA) enterPeer<T, AutoBlocks<T>>("fftw-blocks", c);
  if (!c.autocorrelation && 4 * c.lenA < c.lenB) enterPeer<T, CrossBlocks<T>>("fftw-blocks", c);
}

}  // namespace

void registerCorrelation() {
  enter<float>({"auto-16-lags-f32", 4096, 4096, 0, 15, true});
  enter<double>({"auto-16-lags-f64", 4096, 4096, 0, 15, true});
  enter<float>({"auto-256-lags-f32", 4096, 4096, 0, 255, true});
  enter<double>({"auto-256-lags-f64", 4096, 4096, 0, 255, true});
  enter<float>({"auto-all-lags-f32", 16384, 16384, 0, 16383, true});
  enter<double>({"auto-all-lags-f64", 16384, 16384, 0, 16383, true});
  enter<float>({"cross-all-lags-f32", 1024, 1024, -1023, 1023, false});
  enter<double>({"cross-all-lags-f64", 1024, 1024, -1023, 1023, false});
  enter<float>({"cross-1024-all-lags-f32", 1024, 16384, -1023, 16383, false});
  enter<double>({"cross-1024-all-lags-f64", 1024, 16384, -1023, 16383, false});
}

}  // namespace moxbench
