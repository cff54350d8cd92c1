// Filters with finite impulse response: blocks of 4096 samples, single samples, changes of rate. Against liquid-dsp, a
// VOLK dot product per output, and fast convolution (overlap-save) on FFTW. Ours sum in float64.
#include <liquid/liquid.h>
#include <volk/volk.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <memory>
#include <vector>

#include "bench/fftw.h"
#include "bench/plain_filters.h"
#include "bench/support.h"

namespace moxbench {
namespace {

constexpr int kBlock = 4096;

struct Rates {
  int taps, up, down;
  size_t results() const { return static_cast<size_t>(kBlock) / static_cast<size_t>(down) * static_cast<size_t>(up); }
};

// Element types as arrays of parts: samples in array 0, results in array 1, taps here.
template <class Sample, class Tap>
struct Filter {
  static constexpr size_t kParts = sizeof(Sample) / sizeof(float), kTapParts = sizeof(Tap) / sizeof(float);
  Rates rates;
  std::vector<Tap> taps;

  explicit Filter(const Rates& r) : rates(r), taps(static_cast<size_t>(r.taps)) {
    fillNoise(reinterpret_cast<float*>(taps.data()), taps.size() * kTapParts);
  }
  const Sample* in() const { return array<Sample>(); }
  template <class T>
  static T* array(int which = 0) {
    return reinterpret_cast<T*>(moxbench::array<float>(which));
  }
  Sample* out() const { return array<Sample>(1); }
  virtual ~Filter() = default;
  virtual void run() = 0;

  // Results that depend on the block alone, some of them. Sums in float32 err by their length; a transform by the
  // logarithm of its, but relative to the largest values.
  std::string wrong() const {
    using Sum = std::complex<double>;
    const auto value = [](const auto* p, size_t i) {
      const float* const f = reinterpret_cast<const float*>(p + i);
      return sizeof(*p) == sizeof(float) ? Sum(f[0]) : Sum(f[0], f[1]);
    };
    const size_t up = static_cast<size_t>(rates.up), down = static_cast<size_t>(rates.down);
    for (size_t m = (taps.size() + down) / down * up; m < rates.results(); m += 37) {
      Sum sum = 0;
      double size = 0;
      for (size_t k = m * down % up; k < taps.size(); k += up) {
        const Sum product = value(taps.data(), k) * value(in(), (m * down - k) / up);
        sum += product;
        size += std::abs(product);
      }
      const double bound = (4 + static_cast<double>(taps.size())) * size * std::numeric_limits<float>::epsilon();
      if (!(std::abs(value(out(), m) - sum) <= bound)) return "wrong result " + std::to_string(m);
    }
    return "";
  }
};

template <class Sample, class Tap>
void enter(const char* name, const char* contender, const mox::kernel::Kernels* kernels, const Rates& rates,
           std::unique_ptr<Filter<Sample, Tap>> (*make)(const Rates&)) {
  static std::shared_ptr<Filter<Sample, Tap>> filter;  // of the benchmark that runs
  add(
      caseName("fir", name, rates.taps, contender), kernels,
      [=] {
        fillNoise(array<float>(0), kBlock * Filter<Sample, Tap>::kParts);
        filter = make(rates);
      },
      [] { filter->run(); }, [] { return filter->wrong(); });
}
template <class F>
std::unique_ptr<Filter<typename F::S, typename F::T>> made(const Rates& rates) {
  return std::make_unique<F>(rates);
}
template <class F>
void enter(const char* name, const char* contender, const Rates& rates) {
  enter<typename F::S, typename F::T>(name, contender, nullptr, rates, made<F>);
}

// ---- ours

template <class Sample, class Tap>
struct Calls;
template <>
struct Calls<float, float> {
  static constexpr auto init = moxsFirInitMr;
  static constexpr auto block = moxsbFir;
};
template <>
struct Calls<MoxC, float> {
  static constexpr auto init = moxcsFirInitMr;
  static constexpr auto block = moxcsbFir;
};
template <>
struct Calls<MoxC, MoxC> {
  static constexpr auto init = moxcFirInitMr;
  static constexpr auto block = moxcbFir;
};

template <class Sample, class Tap>
struct Ours : Filter<Sample, Tap> {
  using S = Sample;
  using T = Tap;
  FirState state = {};
  explicit Ours(const Rates& r) : Filter<S, T>(r) {
    Calls<S, T>::init(this->taps.data(), r.taps, nullptr, r.up, 0, r.down, 0, &state);
  }
  ~Ours() override { moxFirFree(&state); }
  void run() override { Calls<S, T>::block(&state, this->in(), this->out(), kBlock / this->rates.down); }
};
struct OursSingle : Ours<float, float> {
  using Ours::Ours;
  void run() override {
    for (int i = 0; i < kBlock; ++i) out()[i] = moxsFir(&state, in()[i]);
  }
};

template <class F>
void enterOurs(const char* name, const Rates& rates) {
  for (const auto* const kernels : kernelSets()) {
    enter<typename F::S, typename F::T>(name, kernels->name, kernels, rates, made<F>);
  }
}

// ---- liquid-dsp

struct LiquidReal : Filter<float, float> {
  using S = float;
  using T = float;
  firfilt_rrrf q;
  explicit LiquidReal(const Rates& r) : Filter(r), q(firfilt_rrrf_create(taps.data(), static_cast<unsigned>(r.taps))) {}
  ~LiquidReal() override { firfilt_rrrf_destroy(q); }
  void run() override { firfilt_rrrf_execute_block(q, array<float>(), kBlock, out()); }
};
struct LiquidComplexRealTaps : Filter<MoxC, float> {
  using S = MoxC;
  using T = float;
  firfilt_crcf q;
  explicit LiquidComplexRealTaps(const Rates& r)
      : Filter(r), q(firfilt_crcf_create(taps.data(), static_cast<unsigned>(r.taps))) {}
  ~LiquidComplexRealTaps() override { firfilt_crcf_destroy(q); }
  void run() override {
    firfilt_crcf_execute_block(q, array<liquid_float_complex>(), kBlock, array<liquid_float_complex>(1));
  }
};
struct LiquidComplex : Filter<MoxC, MoxC> {
  using S = MoxC;
  using T = MoxC;
  firfilt_cccf q;
  explicit LiquidComplex(const Rates& r)
      : Filter(r),
        q(firfilt_cccf_create(reinterpret_cast<liquid_float_complex*>(taps.data()), static_cast<unsigned>(r.taps))) {}
  ~LiquidComplex() override { firfilt_cccf_destroy(q); }
  void run() override {
    firfilt_cccf_execute_block(q, array<liquid_float_complex>(), kBlock, array<liquid_float_complex>(1));
  }
};
struct LiquidFft : Filter<float, float> {
  using S = float;
  using T = float;
  fftfilt_rrrf q;
  explicit LiquidFft(const Rates& r)
      : Filter(r), q(fftfilt_rrrf_create(taps.data(), static_cast<unsigned>(r.taps), kBlock)) {}
  ~LiquidFft() override { fftfilt_rrrf_destroy(q); }
  void run() override { fftfilt_rrrf_execute(q, array<float>(), out()); }
};
struct LiquidDecimator : Filter<float, float> {
  using S = float;
  using T = float;
  firdecim_rrrf q;
  explicit LiquidDecimator(const Rates& r)
      : Filter(r), q(firdecim_rrrf_create(static_cast<unsigned>(r.down), taps.data(), static_cast<unsigned>(r.taps))) {}
  ~LiquidDecimator() override { firdecim_rrrf_destroy(q); }
  void run() override {
    firdecim_rrrf_execute_block(q, array<float>(), static_cast<unsigned>(kBlock / rates.down), out());
  }
};
struct LiquidInterpolator : Filter<float, float> {
  using S = float;
  using T = float;
  firinterp_rrrf q;
  explicit LiquidInterpolator(const Rates& r)
      : Filter(r), q(firinterp_rrrf_create(static_cast<unsigned>(r.up), taps.data(), static_cast<unsigned>(r.taps))) {}
  ~LiquidInterpolator() override { firinterp_rrrf_destroy(q); }
  void run() override { firinterp_rrrf_execute_block(q, array<float>(), kBlock, out()); }
};
struct LiquidResampler : Filter<float, float> {
  using S = float;
  using T = float;
  rresamp_rrrf q;
  explicit LiquidResampler(const Rates& r)
      : Filter(r),
        q(rresamp_rrrf_create(static_cast<unsigned>(r.up), static_cast<unsigned>(r.down),
                              static_cast<unsigned>(r.taps / r.up / 2), taps.data())) {}
  ~LiquidResampler() override { rresamp_rrrf_destroy(q); }
  void run() override {
    rresamp_rrrf_execute_block(q, array<float>(), static_cast<unsigned>(kBlock / rates.down), out());
  }
};
struct LiquidSingle : LiquidReal {
  using LiquidReal::LiquidReal;
  void run() override {
    for (int i = 0; i < kBlock; ++i) {
      firfilt_rrrf_push(q, in()[i]);
      firfilt_rrrf_execute(q, out() + i);
    }
  }
};

// ---- a dot product per output

struct VolkReal : Filter<float, float> {
  using S = float;
  using T = float;
  std::vector<float> line, reversed;
  explicit VolkReal(const Rates& r) : Filter(r), line(taps.size() - 1 + kBlock), reversed(taps.rbegin(), taps.rend()) {}
  void run() override {
    const size_t old = taps.size() - 1;
    std::copy_n(in(), kBlock, line.begin() + static_cast<ptrdiff_t>(old));
    for (size_t i = 0; i < kBlock; ++i) {
      volk_32f_x2_dot_prod_32f(out() + i, line.data() + i, reversed.data(), static_cast<unsigned>(taps.size()));
    }
    std::copy(line.end() - static_cast<ptrdiff_t>(old), line.end(), line.begin());
  }
};

// ---- overlap-save: transforms of the power of two above four times the taps, 1024 at least

size_t fftLength(int taps) {
  size_t n = 1024;
  while (n < 4 * static_cast<size_t>(taps)) n *= 2;
  return n;
}

// Sums in R, which is what the samples are widened to and the results narrowed from.
void multiply(const float* h, float* x, size_t n) {
  auto* const values = reinterpret_cast<lv_32fc_t*>(x);
  volk_32fc_x2_multiply_32fc(values, values, reinterpret_cast<const lv_32fc_t*>(h), static_cast<unsigned>(n));
}
void multiply(const double* h, double* x, size_t n) { multiplyScaled(h, 1, x, n); }

template <class Sample, class R>
struct OverlapSave : Filter<Sample, Sample> {
  using S = Sample;
  using T = Sample;
  using F = Fftw<R>;
  static constexpr bool kReal = sizeof(Sample) == sizeof(float);
  static constexpr size_t kParts = Filter<S, T>::kParts;
  size_t n, old, bins;
  std::vector<float> line;
  R* time;
  typename F::Complex *spectrum, *response;
  typename F::Plan forward, inverse;
  explicit OverlapSave(const Rates& r)
      : Filter<S, T>(r),
        n(fftLength(r.taps)),
        old(this->taps.size() - 1),
        bins(kReal ? n / 2 + 1 : n),
        line((old + kBlock + n) * kParts),
        time(F::real(n * kParts)),
        spectrum(F::complexArray(bins)),
        response(F::complexArray(bins)) {
    const int length = static_cast<int>(n);
    if constexpr (kReal) {
      forward = F::toSpectrum(length, time, spectrum, FFTW_MEASURE);
      inverse = F::toSignal(length, spectrum, time, FFTW_MEASURE);
    } else {
      auto* const values = reinterpret_cast<typename F::Complex*>(time);
      forward = F::complex(length, values, spectrum, FFTW_FORWARD, FFTW_MEASURE);
      inverse = F::complex(length, spectrum, values, FFTW_BACKWARD, FFTW_MEASURE);
    }
    std::fill_n(time, n * kParts, R(0));
    const float* const given = reinterpret_cast<const float*>(this->taps.data());
    std::transform(given, given + this->taps.size() * kParts, time,
                   [this](float t) { return static_cast<R>(t) / static_cast<R>(n); });
    F::execute(forward);
    std::copy_n(&spectrum[0][0], 2 * bins, &response[0][0]);
  }
  ~OverlapSave() override {
    F::destroy(forward);
    F::destroy(inverse);
    F::free(time);
    F::free(spectrum);
    F::free(response);
  }
  void run() override {
    const auto* const in = reinterpret_cast<const float*>(this->in());
    auto* const out = reinterpret_cast<float*>(this->out());
    std::copy_n(in, kBlock * kParts, line.begin() + static_cast<ptrdiff_t>(old * kParts));
    const size_t step = n - old;
    for (size_t at = 0; at < kBlock; at += step) {
      converted(line.data() + at * kParts, time, n * kParts);
      F::execute(forward);
      multiply(&response[0][0], &spectrum[0][0], bins);
      F::execute(inverse);
      converted(time + old * kParts, out + at * kParts, std::min(step, kBlock - at) * kParts);
    }
    std::copy_n(line.data() + kBlock * kParts, old * kParts, line.data());
  }
};

}  // namespace

void registerFir() {
  for (const int taps : {16, 64, 256, 1024}) {
    const Rates rates = {taps, 1, 1};
    enterOurs<Ours<float, float>>("real", rates);
    enter<LiquidReal>("real", "liquid", rates);
    enter<LiquidFft>("real", "liquid-fft", rates);
    enter<VolkReal>("real", "volk-dot", rates);
    enter<OverlapSave<float, float>>("real", "fftw", rates);
    enter<OverlapSave<float, double>>("real", "fftw-f64", rates);
    enterOurs<Ours<MoxC, float>>("complex-real-taps", rates);
    enter<LiquidComplexRealTaps>("complex-real-taps", "liquid", rates);
    enterOurs<Ours<MoxC, MoxC>>("complex", rates);
    enter<LiquidComplex>("complex", "liquid", rates);
    enter<OverlapSave<MoxC, float>>("complex", "fftw", rates);
    enter<OverlapSave<MoxC, double>>("complex", "fftw-f64", rates);
  }
  enterOurs<OursSingle>("single", {64, 1, 1});
  enter<LiquidSingle>("single", "liquid", {64, 1, 1});
  enterOurs<Ours<float, float>>("decimate-4", {64, 1, 4});
  enter<LiquidDecimator>("decimate-4", "liquid", {64, 1, 4});
  enterOurs<Ours<float, float>>("interpolate-4", {64, 4, 1});
  enter<LiquidInterpolator>("interpolate-4", "liquid", {64, 4, 1});
  enterOurs<Ours<float, float>>("resample-3-2", {96, 3, 2});
  enter<LiquidResampler>("resample-3-2", "liquid", {96, 3, 2});
}

}  // namespace moxbench
