// Largest errors of the elementary functions in units in the last place.
//
//   ulp-sweep [FUNCTION...]     exp32, ln32: all of them by default
//
// float32 functions of one argument run over all 2^32 inputs, against the system's float64 functions (whose own error,
// about 2^-29 float32 units, is not seen); float64 functions over random points of several ranges, against MPFR. The
// hash is that of the results' bits: equal for two sets if they agree everywhere.
#include <mpfr.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "kernel/kernels.h"

namespace {

using mox::kernel::Kernels;

constexpr size_t kChunk = 1 << 16;

// The unit in the last place of T, as a power of two, next to a value in [2^(exponent-1), 2^exponent).
template <class T>
int unitExponent(int exponent) {
  const int digits = std::numeric_limits<T>::digits;
  return std::max(exponent, std::numeric_limits<T>::min_exponent) - digits;
}

template <class T>
double ulps(T got, double exact) {
  int exponent;
  std::frexp(exact, &exponent);
  return std::ldexp(static_cast<double>(got) - exact, -unitExponent<T>(exponent));
}

struct Worst {
  double largest = 0, x = 0, y = 0;
  uint64_t wrong = 0, hash = 0xcbf29ce484222325;  // wrong: not the special value that it should be

  // `error` in units counts where neither value is special.
  template <class T>
  void add(T got, double exact, double error, double x0, double y0 = 0) {
    using Bits = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;
    hash = (hash ^ (std::isnan(got) ? 1 : std::bit_cast<Bits>(got))) * 0x100000001b3;
    const T rounded = static_cast<T>(exact);
    const bool special = exact == 0 || !std::isfinite(rounded) || !std::isfinite(got);
    if (special && (std::isnan(exact) ? std::isnan(got) : rounded == got)) return;
    // Next to the border between the largest value and infinity, the other one is a unit away.
    if (special && !(std::isfinite(exact) && std::isfinite(error) && std::fabs(error) <= 1)) {
      if (wrong++ < 3) std::printf("  wrong: f(%a, %a) = %a, should be %a\n", x0, y0, static_cast<double>(got), exact);
    } else if (std::fabs(error) > largest) {
      largest = std::fabs(error), x = x0, y = y0;
    }
  }
  void print(const Kernels& kernels, const char* function, const char* range) const {
    std::printf("%-7s %-12s %-22s %8.4f ulp at %a, %a  hash %016llx%s\n", kernels.name, function, range, largest, x, y,
                static_cast<unsigned long long>(hash), wrong ? "  WRONG VALUES" : "");
    std::fflush(stdout);
  }
};

template <class T>
using Unary = void (*)(const T*, T*, size_t);

void sweepAll(const Kernels& kernels, const char* name, Unary<float> f, double (*exact)(double)) {
  std::vector<float> x(kChunk), y(kChunk);
  Worst worst;
  for (uint64_t begin = 0; begin < uint64_t{1} << 32; begin += kChunk) {
    for (size_t i = 0; i < kChunk; ++i) x[i] = std::bit_cast<float>(static_cast<uint32_t>(begin + i));
    f(x.data(), y.data(), kChunk);
    for (size_t i = 0; i < kChunk; ++i) {
      const double v = x[i];
      const double e = exact(v);
      worst.add(y[i], e, ulps(y[i], e), v);
    }
  }
  worst.print(kernels, name, "all");
}

using Mpfr = int (*)(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t);

class Oracle {
 public:
  Oracle() { mpfr_inits2(160, in_, out_, nullptr); }
  ~Oracle() { mpfr_clears(in_, out_, nullptr); }
  // The value rounded to float64, and by how many units `got` is off.
  double of(Mpfr f, double x, double got, double& error) {
    mpfr_set_d(in_, x, MPFR_RNDN);
    f(out_, in_, MPFR_RNDN);
    const double exact = mpfr_get_d(out_, MPFR_RNDN);
    error = 0;
    if (mpfr_regular_p(out_) && std::isfinite(got)) {
      const int unit = unitExponent<double>(static_cast<int>(mpfr_get_exp(out_)));
      mpfr_sub_d(out_, out_, got, MPFR_RNDN);
      mpfr_mul_2si(out_, out_, -unit, MPFR_RNDN);
      error = mpfr_get_d(out_, MPFR_RNDN);
    }
    return exact;
  }

 private:
  mpfr_t in_, out_;
};

struct Range {
  const char* name;
  double low, high;
  bool byExponent;  // uniform in the logarithm
};

void sweepRanges(const Kernels& kernels, const char* name, Unary<double> f, Mpfr exact,
                 std::initializer_list<Range> ranges, int chunks) {
  Oracle oracle;
  for (const Range& range : ranges) {
    std::mt19937_64 bits(1);
    std::vector<double> x(kChunk), y(kChunk);
    Worst worst;
    for (int chunk = 0; chunk < chunks; ++chunk) {
      for (double& v : x) {
        const double u = static_cast<double>(bits() >> 11) * 0x1p-53;
        v = range.byExponent ? std::exp2(std::log2(range.low) + u * (std::log2(range.high) - std::log2(range.low)))
                             : range.low + u * (range.high - range.low);
      }
      f(x.data(), y.data(), kChunk);
      for (size_t i = 0; i < kChunk; ++i) {
        double error;
        const double e = oracle.of(exact, x[i], y[i], error);
        worst.add(y[i], e, error, x[i]);
      }
    }
    worst.print(kernels, name, range.name);
  }
}

struct Function {
  const char* name;
  void (*sweep)(const Kernels&, int chunks);
};

const Function kFunctions[] = {
    {"exp32", [](const Kernels& k, int) { sweepAll(k, "exp32", k.elementary32.exp, std::exp); }},
    {"ln32", [](const Kernels& k, int) { sweepAll(k, "ln32", k.elementary32.ln, std::log); }},
    {"exp64",
     [](const Kernels& k, int chunks) {
       sweepRanges(k, "exp64", k.elementary64.exp, mpfr_exp,
                   {{"[-1, 1]", -1, 1, false},
                    {"[-700, 700]", -700, 700, false},
                    {"[-750, -700]", -750, -700, false},
                    {"[1e-20, 1]", 1e-20, 1, true}},
                   chunks);
     }},
    {"ln64",
     [](const Kernels& k, int chunks) {
       sweepRanges(k, "ln64", k.elementary64.ln, mpfr_log,
                   {{"[0.5, 2]", 0.5, 2, false},
                    {"[0.9, 1.1]", 0.9, 1.1, false},
                    {"[1e-300, 1e300]", 1e-300, 1e300, true},
                    {"[5e-324, 1e-300]", 5e-324, 1e-300, true}},
                   chunks);
     }},
};

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> wanted, sets;
  int chunks = 16;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument.starts_with("--set=")) {
      sets.push_back(argument.substr(6));
    } else if (argument.starts_with("--chunks=")) {
      chunks = std::stoi(argument.substr(9));
    } else {
      wanted.push_back(argument);
    }
  }
  const auto has = [](const std::vector<std::string>& v, const char* name) {
    return v.empty() || std::find(v.begin(), v.end(), name) != v.end();
  };
  for (const Function& function : kFunctions) {
    if (!has(wanted, function.name)) continue;
    for (const auto level : {mox::kernel::Level::avx512, mox::kernel::Level::avx2, mox::kernel::Level::sse2}) {
      const Kernels* const kernels = mox::kernel::at(level);
      if (kernels && has(sets, kernels->name)) function.sweep(*kernels, chunks);
    }
  }
}
