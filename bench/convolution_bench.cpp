// Convolutions of two signals of given lengths, named by the longer one; the shorter one is in the case's name. The
// peer is FFTW in the same precision: one transform of everything, or overlap-add with whichever length is the fastest,
// in buffers and with plans that it keeps.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <complex>
#include <functional>
#include <limits>
#include <memory>
#include <vector>

#include "bench/fftw.h"
#include "bench/plain_filters.h"
#include "bench/support.h"

namespace moxbench {
namespace {

struct Lengths {
  size_t x, h;
  size_t y() const { return x + h - 1; }
};

// x in array 0, y in array 1, h in array 2, as parts.
template <class R>
std::string wrong(const Lengths& n, size_t parts) {
  using Sum = std::complex<double>;
  const auto value = [&](int which, size_t i) {
    const R* const p = array<R>(which) + parts * i;
    return parts == 1 ? Sum(static_cast<double>(p[0])) : Sum(static_cast<double>(p[0]), static_cast<double>(p[1]));
  };
  double xSquares = 0, hSquares = 0;
  for (size_t i = 0; i < n.x; ++i) xSquares += std::norm(value(0, i));
  for (size_t k = 0; k < n.h; ++k) hSquares += std::norm(value(2, k));
  const double bound = 20 * std::numeric_limits<R>::epsilon() * std::sqrt(xSquares * hSquares);
  for (size_t m = 0; m < n.y(); m += 1 + n.y() / 40) {
    Sum sum = 0;
    for (size_t k = m < n.x ? 0 : m - n.x + 1; k < n.h && k <= m; ++k) sum += value(2, k) * value(0, m - k);
    if (!(std::abs(value(1, m) - sum) <= bound)) return "wrong result " + std::to_string(m);
  }
  return "";
}

// Blocks of `length` values; a single one if that holds all results.
template <class R>
class FftwBlocks {
 public:
  FftwBlocks(const Lengths& lengths, size_t parts, size_t length)
      : n_(lengths), parts_(parts), length_(length), bins_(parts == 1 ? length / 2 + 1 : length) {
    using F = Fftw<R>;
    using Complex = typename F::Complex;
    const int size = static_cast<int>(length);
    for (R*& buffer : buffers_) buffer = F::real(2 * length + 2);
    auto* const spectrum = reinterpret_cast<Complex*>(buffers_[1]);
    auto* const response = reinterpret_cast<Complex*>(buffers_[2]);
    if (parts == 1) {
      taps_ = F::toSpectrum(size, buffers_[0], response, FFTW_MEASURE);
      there_ = F::toSpectrum(size, buffers_[0], spectrum, FFTW_MEASURE);
      back_ = F::toSignal(size, spectrum, buffers_[0], FFTW_MEASURE);
    } else {
      auto* const signal = reinterpret_cast<Complex*>(buffers_[0]);
      taps_ = F::complex(size, signal, response, FFTW_FORWARD, FFTW_MEASURE);
      there_ = F::complex(size, signal, spectrum, FFTW_FORWARD, FFTW_MEASURE);
      back_ = F::complex(size, spectrum, signal, FFTW_BACKWARD, FFTW_MEASURE);
    }
  }
  ~FftwBlocks() {
    for (R* buffer : buffers_) Fftw<R>::free(buffer);
    for (auto plan : {taps_, there_, back_}) Fftw<R>::destroy(plan);
  }
  FftwBlocks(const FftwBlocks&) = delete;
  FftwBlocks& operator=(const FftwBlocks&) = delete;

  void run() {
    R* const block = buffers_[0];
    const auto padded = [&](const R* from, size_t n) {
      std::copy_n(from, n * parts_, block);
      std::fill_n(block + n * parts_, (length_ - n) * parts_, R(0));
    };
    padded(array<R>(2), n_.h);
    Fftw<R>::execute(taps_);
    const size_t tail = n_.h - 1, step = length_ - tail;
    size_t begun = 0;
    for (size_t at = 0; at < n_.x; at += step, begun = tail) {
      const size_t n = std::min(step, n_.x - at);
      padded(array<R>(0) + at * parts_, n);
      Fftw<R>::execute(there_);
      multiplyScaled(buffers_[2], R(1) / static_cast<R>(length_), buffers_[1], bins_);
      Fftw<R>::execute(back_);
      R* const y = array<R>(1) + at * parts_;
      for (size_t i = 0; i < begun * parts_; ++i) y[i] += block[i];
      std::copy(block + begun * parts_, block + (n + tail) * parts_, y + begun * parts_);
    }
  }

 private:
  Lengths n_;
  size_t parts_, length_, bins_;
  R* buffers_[3];
  typename Fftw<R>::Plan taps_, there_, back_;
};

template <class R>
std::shared_ptr<FftwBlocks<R>> fastestBlocks(const Lengths& n, size_t parts) {
  using Clock = std::chrono::steady_clock;
  std::shared_ptr<FftwBlocks<R>> fastest;
  auto least = Clock::duration::max();
  size_t length = 2;
  while (length < 2 * n.h) length *= 2;
  for (;; length *= 2) {
    const auto blocks = std::make_shared<FftwBlocks<R>>(n, parts, length);
    blocks->run();
    for (int times = 0; times < 20; ++times) {
      const auto start = Clock::now();
      blocks->run();
      const auto time = Clock::now() - start;
      if (time < least) {
        least = time;
        fastest = blocks;
      }
    }
    if (length >= n.y() || length >= 64 * n.h) return fastest;
  }
}

template <class R>
void enter(const char* name, const char* contender, const mox::kernel::Kernels* kernels, const Lengths& n, size_t parts,
           std::function<std::function<void()>()> make) {
  static std::function<void()> run;  // of the benchmark that runs
  add(
      caseName("convolution", (name + ("-h" + std::to_string(n.h))).c_str(), static_cast<int>(n.x), contender), kernels,
      [=] {
        fillNoise(array<R>(0), n.x * parts);
        fillNoise(array<R>(2), n.h * parts);
        run = make();
      },
      [] { run(); }, [=] { return wrong<R>(n, parts); });
}

template <class R, class T>
void enterAll(const char* name, void(MOX_CALL* call)(const T*, int32_t, const T*, int32_t, T*)) {
  constexpr size_t kParts = sizeof(T) / sizeof(R);
  for (const Lengths& n :
       {Lengths{1024, 64}, Lengths{4096, 256}, Lengths{4096, 4096}, Lengths{65536, 1024}, Lengths{65536, 65536}}) {
    const std::function<void()> ours = [=] {
      call(reinterpret_cast<const T*>(array<R>(0)), static_cast<int32_t>(n.x), reinterpret_cast<const T*>(array<R>(2)),
           static_cast<int32_t>(n.h), reinterpret_cast<T*>(array<R>(1)));
    };
    for (const auto* const kernels : kernelSets()) {
      enter<R>(name, kernels->name, kernels, n, kParts, [=] { return ours; });
    }
    enter<R>(name, "fftw", nullptr, n, kParts,
             [=]() -> std::function<void()> { return [blocks = fastestBlocks<R>(n, kParts)] { blocks->run(); }; });
  }
}

}  // namespace

void registerConvolution() {
  enterAll<float>("f32", moxsConv);
  enterAll<double>("f64", moxdConv);
  enterAll<float>("complex-f32", moxcConv);
  enterAll<double>("complex-f64", moxzConv);
}

}  // namespace moxbench
