// What the parts and the methods of convolutions cost on this machine, beside the tables that choose between them
// (signal/convolution_choice.h).
//
//   convolution-cost [--set=NAME] [costs|tables|thresholds|choices]...
//
// costs       times of a transform and of the way back with its product, by order; and against order 10 of the same
//             kind, the tables' own course
// tables      the tables as they are
// thresholds  the longer lengths from which blocks of transforms are faster than direct summation, and the tables'
// choices     for a grid of lengths: the method chosen, and its time over that of the fastest
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "signal/convolution.h"

namespace {

using namespace mox;

constexpr Site kSite = {"convolution-cost", "convolution-cost", 0};

// The least time of a call in ns, of about 5 ms.
template <class Call>
double timeOf(Call call) {
  using Clock = std::chrono::steady_clock;
  const auto run = [&](int times) {
    const auto start = Clock::now();
    for (int i = 0; i < times; ++i) call();
    return std::chrono::duration<double, std::nano>(Clock::now() - start).count() / times;
  };
  const double once = std::min(run(1), run(1));
  const int times = static_cast<int>(std::clamp(5e5 / once, 1.0, 1e5));
  double least = once;
  for (int i = 0; i < 10; ++i) least = std::min(least, run(times));
  return least;
}

template <class T>
std::vector<T> values(size_t n) {
  std::vector<T> v(n);
  uint32_t bits = 1;
  for (size_t i = 0; i < n * sizeof(T) / sizeof(RealOf<T>); ++i) {
    bits = bits * 1664525 + 1013904223;
    reals(v.data())[i] = static_cast<RealOf<T>>(static_cast<int32_t>(bits)) / RealOf<T>(0x1p31);
  }
  return v;
}

// ---- costs

constexpr int kFirstOrder = 4, kLastOrder = 20;

template <class T>
void printCosts(const char* name, const CostTable& fft, const CostTable& product) {
  std::printf("\n%s: order, ns there and back; a value's cost over that at order 10, measured and in the table\n",
              name);
  struct Row {
    double there, back;
  };
  std::vector<Row> rows(kLastOrder + 1);
  for (int order = kFirstOrder; order <= kLastOrder; ++order) {
    ConvSpectra<T> spectra(order);
    if (!spectra.prepare(!kComplex<T>, kComplex<T>)) return;
    const size_t n = spectra.size();
    const std::vector<T> x = values<T>(n);
    std::vector<T> y(n);
    const AlignedArray<T> buffers(3 * n);
    T *const first = buffers.get(), *const second = first + n,
             *const room = spectra.isBetterApart() ? second + n : first;
    spectra.toSpectrum(x.data(), n / 2, room, first);
    std::copy_n(first, n, second);
    rows[static_cast<size_t>(order)] = {
        timeOf([&] { spectra.toSpectrum(x.data(), n / 2, room, first); }), timeOf([&] {
          spectra.multiply(second, first);
          spectra.toResults(first, room);
          std::copy_n(room, n, y.data());
          std::copy_n(second, n, first);  // else the values would grow; a third of the copies too much
        })};
  }
  const auto each = [](double cost, int order) { return cost / static_cast<double>(uint64_t{1} << order); };
  const auto ratio = [&](const CostTable& table, int order) {
    return each(table[static_cast<size_t>(order)], order) / each(table[10], 10);
  };
  for (int order = kFirstOrder; order <= kLastOrder; ++order) {
    const Row& row = rows[static_cast<size_t>(order)];
    std::printf("%2d %12.1f %12.1f   %7.3f %7.3f   %7.3f %7.3f\n", order, row.there, row.back,
                each(row.there, order) / each(rows[10].there, 10), ratio(fft, order),
                each(row.back, order) / each(rows[10].back, 10), ratio(product, order));
  }
}

template <class R, bool kComplexValues>
void printCostsOf(const char* name) {
  using T = std::conditional_t<!kComplexValues, R, std::conditional_t<sizeof(R) == 4, MoxC, MoxZ>>;
  printCosts<T>(name, kCosts<R, kComplexValues>.fft, kCosts<R, kComplexValues>.product);
}

void printAllCosts() {
  printCostsOf<float, false>("float32");
  printCostsOf<float, true>("complex float32");
  printCostsOf<double, false>("float64");
  printCostsOf<double, true>("complex float64");
}

// ---- tables

void printTables() {
  const auto print = [](const char* name, const ConvTables& tables) {
    std::printf("\n%s: order, transform, way back\n", name);
    for (size_t k = 0; k < kCostOrders; ++k) {
      std::printf("%2zu %14.7g %14.7g\n", k, static_cast<double>(tables.fft[k]),
                  static_cast<double>(tables.product[k]));
    }
  };
  print("float32", kCosts<float, false>);
  print("complex float32", kCosts<float, true>);
  print("float64", kCosts<double, false>);
  print("complex float64", kCosts<double, true>);
}

// ---- methods

template <class Tap, class Sample>
struct Lengths {
  std::vector<Tap> taps;
  std::vector<Sample> samples;
  std::vector<FirResult<Sample, Tap>> results;

  Lengths(int64_t count, int64_t n)
      : taps(values<Tap>(static_cast<size_t>(count))),
        samples(values<Sample>(static_cast<size_t>(n))),
        results(static_cast<size_t>(n + count - 1)) {}

  double time(const ConvChoice& choice) {
    const auto count = static_cast<int64_t>(taps.size()), n = static_cast<int64_t>(samples.size());
    const Tap* const h = taps.data();
    const Sample* const x = samples.data();
    auto* const y = results.data();
    switch (choice.method) {
      case ConvMethod::direct:
        return timeOf([=] { convolveDirectly(h, static_cast<size_t>(count), x, static_cast<size_t>(n), y); });
      case ConvMethod::whole:
        return timeOf([=] { convolveWhole(h, count, x, n, y, kSite); });
      default:
        return timeOf([=] { convolveBlocks(h, count, x, n, y, choice.selector, kSite); });
    }
  }
};

constexpr ConvChoice kDirect = {ConvMethod::direct, 0}, kWhole = {ConvMethod::whole, 0},
                     kSmallBlocks = {ConvMethod::blocks, 1}, kLargeBlocks = {ConvMethod::blocks, 2};

template <class Tap, class Sample>
void printThresholds(const char* name) {
  const ConvBand& band = kConvCosts<Tap, Sample>.band;
  std::printf("\n%s: shorter length, longer length at which transforms get faster, threshold\n", name);
  for (int m = band.first; m <= band.last; m += m < band.first + 4 ? 1 : (band.last - band.first) / 8) {
    int64_t n = m;
    for (; n < 100000; n += n / 8 + 1) {
      Lengths<Tap, Sample> lengths(m, n);
      const double fast = std::min({lengths.time(kSmallBlocks), lengths.time(kLargeBlocks), lengths.time(kWhole)});
      if (fast < lengths.time(kDirect)) break;
    }
    std::printf("%3d %8s%lld %8d\n", m, n < 100000 ? "" : "> ", static_cast<long long>(n),
                band.thresholds[static_cast<size_t>(m)]);
  }
}

template <class Tap, class Sample>
void printChoices(const char* name) {
  std::printf("\n%s: shorter, longer length; us: direct, blocks, larger blocks, whole; the choice's over the least\n",
              name);
  double sum = 0;
  int cases = 0;
  for (int64_t m = 16; m <= 1 << 16; m *= 2) {
    for (int64_t n = m; n <= 1 << 18; n *= n < 16 * m ? 2 : 8) {
      Lengths<Tap, Sample> lengths(m, n);
      const ConvChoice choice = chooseConvolution(kConvCosts<Tap, Sample>, n, m);
      const bool direct = m <= 128;
      const double times[] = {direct && m <= kMostDirectTaps ? lengths.time(kDirect) : 1e18, lengths.time(kSmallBlocks),
                              lengths.time(kLargeBlocks), lengths.time(kWhole)};
      const size_t chosen = choice.method == ConvMethod::direct  ? 0
                            : choice.method == ConvMethod::whole ? 3
                            : choice.selector == 1               ? 1
                                                                 : 2;
      const double loss = times[chosen] / *std::min_element(times, times + 4);
      std::printf("%6lld %7lld ", static_cast<long long>(m), static_cast<long long>(n));
      for (size_t i = 0; i < 4; ++i) {
        if (times[i] < 1e18) {
          std::printf(" %9.2f%c", times[i] / 1000, i == chosen ? '*' : ' ');
        } else {
          std::printf(" %10s", "-");
        }
      }
      std::printf("  %5.2f\n", loss);
      sum += std::log(loss);
      ++cases;
    }
  }
  std::printf("geometric mean %.3f\n", std::exp(sum / cases));
}

template <class Print>
void forEachPair(Print print) {
  print("float32", float{}, float{});
  print("complex float32", MoxC{}, MoxC{});
  print("complex float32, float32 taps", float{}, MoxC{});
  print("float32, complex float32 taps", MoxC{}, float{});
  print("float64", double{}, double{});
  print("complex float64", MoxZ{}, MoxZ{});
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> wanted;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (!argument.starts_with("--set=")) {
      wanted.push_back(argument);
      continue;
    }
    const kernel::Kernels* found = nullptr;
    for (const auto level : {kernel::Level::avx512, kernel::Level::avx2, kernel::Level::sse2}) {
      const kernel::Kernels* const kernels = kernel::at(level);
      if (kernels && kernels->name == argument.substr(6)) found = kernels;
    }
    if (!found) {
      std::fprintf(stderr, "convolution-cost: no set %s\n", argument.c_str() + 6);
      return 2;
    }
    kernel::active = found;
  }
  const auto asked = [&](const char* name) {
    return wanted.empty() || std::find(wanted.begin(), wanted.end(), name) != wanted.end();
  };
  if (asked("costs")) printAllCosts();
  if (asked("tables")) printTables();
  if (asked("thresholds")) {
    forEachPair([]<class Tap, class Sample>(const char* name, Tap, Sample) { printThresholds<Tap, Sample>(name); });
  }
  if (asked("mixed")) {
    printChoices<float, MoxC>("complex float32, float32 taps");
    printChoices<MoxC, float>("float32, complex float32 taps");
  }
  if (asked("choices")) {
    forEachPair([]<class Tap, class Sample>(const char* name, Tap, Sample) { printChoices<Tap, Sample>(name); });
  }
}
