// Two-dimensional convolution and filtering: small kernels against loops that sum in double, large ones against FFTW's
// real transforms of the whole image. Sizes are those of square kernels.

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "bench/fftw.h"
#include "bench/plain_images.h"
#include "bench/support.h"

namespace moxbench {
namespace {

template <class T>
struct Library;
template <>
struct Library<float> {
  static constexpr const char* name = "float";
  static constexpr auto conv = moxsConv2D;
  static constexpr auto filter = moxsFilter2D;
};
template <>
struct Library<double> {
  static constexpr const char* name = "double";
  static constexpr auto conv = moxdConv2D;
  static constexpr auto filter = moxdFilter2D;
};

// n x n values in array 0 and k x k in array 1; full results in array 2, or those of the image's own size.
struct Case {
  size_t n, k;
  bool full;
  size_t results() const { return full ? n + k - 1 : n; }
  size_t offset() const { return full ? 0 : k / 2; }
};

template <class T>
void fill(const Case& c) {
  fillNoise(array<T>(0), c.n * c.n);
  fillNoise(array<T>(1), c.k * c.k);
}

// Some of the results. A transform errs by the size of the largest sums: of k^2 products of 1/4 on the mean.
template <class T>
std::string wrong(const Case& c) {
  const T *const x = array<T>(0), *const h = array<T>(1), *const y = array<T>(2);
  const size_t m = c.results();
  for (size_t at = 0; at < m * m; at += m * m / 97 + 1) {
    const size_t r = at / m + c.offset(), q = at % m + c.offset();
    double sum = 0;
    for (size_t i = 0; i < c.k && i <= r; ++i) {
      for (size_t j = 0; r - i < c.n && j < c.k && j <= q; ++j) {
        if (q - j >= c.n) continue;
        sum += static_cast<double>(h[i * c.k + j]) * static_cast<double>(x[(r - i) * c.n + q - j]);
      }
    }
    const double bound = 8 * static_cast<double>(c.k * c.k) * static_cast<double>(std::numeric_limits<T>::epsilon());
    if (!(std::abs(static_cast<double>(y[at]) - sum) <= bound)) return "wrong result " + std::to_string(at);
  }
  return "";
}

template <class T>
void run(const Case& c) {
  const auto n = static_cast<int32_t>(c.n), k = static_cast<int32_t>(c.k);
  (c.full ? Library<T>::conv : Library<T>::filter)(array<T>(0), n, n, array<T>(1), k, k, array<T>(2));
}

// FFTW: one transform of the next size that it is good at.
size_t goodSize(size_t least) {
  for (size_t n = least;; ++n) {
    size_t rest = n;
    for (const size_t factor : {2, 3, 5}) {
      while (rest % factor == 0) rest /= factor;
    }
    if (rest == 1 && n % 2 == 0) return n;
  }
}

template <class T>
class Transforms {
  using F = Fftw<T>;
  using Complex = typename F::Complex;

 public:
  explicit Transforms(const Case& c)
      : case_(c),
        size_(goodSize(c.n + c.k - 1)),
        image_(F::real(size_ * size_)),
        taps_(F::real(size_ * size_)),
        spectrum_(reinterpret_cast<Complex*>(F::real(2 * bins()))),
        response_(reinterpret_cast<Complex*>(F::real(2 * bins()))) {
    const int n = static_cast<int>(size_);
    ofImage_ = F::toSpectrum2D(n, n, image_, spectrum_, FFTW_MEASURE);
    ofTaps_ = F::toSpectrum2D(n, n, taps_, response_, FFTW_MEASURE);
    back_ = F::toSignal2D(n, n, spectrum_, image_, FFTW_MEASURE);
  }
  ~Transforms() {
    for (const auto plan : {ofImage_, ofTaps_, back_}) F::destroy(plan);
    for (void* const memory : {static_cast<void*>(image_), static_cast<void*>(taps_), static_cast<void*>(spectrum_),
                               static_cast<void*>(response_)}) {
      F::free(memory);
    }
  }
  Transforms(const Transforms&) = delete;
  Transforms& operator=(const Transforms&) = delete;

  void run() {
    pad(array<T>(0), case_.n, image_);
    pad(array<T>(1), case_.k, taps_);
    F::execute(ofImage_);
    F::execute(ofTaps_);
    const T scale = T{1} / static_cast<T>(size_ * size_);
    for (size_t i = 0; i < bins(); ++i) {
      const T re = spectrum_[i][0], im = spectrum_[i][1], a = response_[i][0] * scale, b = response_[i][1] * scale;
      spectrum_[i][0] = re * a - im * b;
      spectrum_[i][1] = re * b + im * a;
    }
    F::execute(back_);
    const size_t m = case_.results(), offset = case_.offset();
    for (size_t r = 0; r < m; ++r) std::copy_n(image_ + (r + offset) * size_ + offset, m, array<T>(2) + r * m);
  }

 private:
  size_t bins() const { return size_ * (size_ / 2 + 1); }
  void pad(const T* from, size_t n, T* to) const {
    std::fill_n(to, size_ * size_, T{0});
    for (size_t r = 0; r < n; ++r) std::copy_n(from + r * n, n, to + r * size_);
  }

  Case case_;
  size_t size_;
  T *image_, *taps_;
  Complex *spectrum_, *response_;
  typename F::Plan ofImage_, ofTaps_, back_;
};

template <class T>
void enter(const Case& c) {
  const std::string family = c.full ? "conv2d" : "filter2d";
  const std::string image = std::string(Library<T>::name) + "-" + std::to_string(c.n);
  const auto name = [&](const char* contender) {
    return caseName(family.c_str(), image.c_str(), static_cast<int>(c.k), contender);
  };
  const auto filled = [=] { fill<T>(c); };
  const auto checked = [=] { return wrong<T>(c); };
  for (const auto* const kernels : kernelSets())
    add(
        name(kernels->name), kernels, filled, [=] { run<T>(c); }, checked);
  if (c.k < 20 && c.full) {
    const auto loops = [=] { loopConv2D(array<T>(0), c.n, array<T>(1), c.k, array<T>(2)); };
    add(name("loops"), nullptr, filled, loops, checked);
  }
  if (c.k > 7) {
    static std::shared_ptr<Transforms<T>> transforms;  // of the benchmark that runs
    const auto planned = [=] {
      transforms = std::make_shared<Transforms<T>>(c);
      fill<T>(c);
    };
    add(
        name("fftw"), nullptr, planned, [] { transforms->run(); }, checked);
  }
}

}  // namespace

void registerImage() {
  for (const bool full : {true, false}) {
    for (const Case& c :
         {Case{256, 3, full}, Case{256, 5, full}, Case{256, 11, full}, Case{512, 31, full}, Case{512, 128, full}}) {
      enter<float>(c);
      enter<double>(c);
    }
  }
}

}  // namespace moxbench
