// Largest errors of the elementary functions, in units in the last place, and a hash of the results' bits: equal hashes
// mean that two kernel sets agree.
//
//   ulp-sweep [--set=NAME]... [--every=STEP] [--chunks=COUNT] [--hash] [FUNCTION...]
//
// exp32 ln32 sin32 cos32 run over all 2^32 arguments, or every STEP-th, against the system's float64 functions, whose
// own error, about 2^-29 float32 units, is not seen; a correctly rounded result counts as 0. The others run over COUNT
// times 65536 random points of several ranges, float64 against MPFR. --hash measures no errors.
#include <mpfr.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "kernel/kernels.h"

namespace {

using mox::kernel::Elementary;
using mox::kernel::Kernels;

constexpr size_t kChunk = 1 << 16;

template <class T>
const Elementary<T>& elementary(const Kernels& kernels) {
  if constexpr (sizeof(T) == 4) {
    return kernels.elementary32;
  } else {
    return kernels.elementary64;
  }
}

// ---- errors

// The unit in the last place of T, as a power of two, next to a value in [2^(exponent-1), 2^exponent).
template <class T>
int unitExponent(int exponent) {
  return std::max(exponent, std::numeric_limits<T>::min_exponent) - std::numeric_limits<T>::digits;
}

// A result: its value rounded to float64, and by how many units of T a computed one is off.
struct Judged {
  double exact, error;
};

struct Worst {
  double largest = 0, x = 0, y = 0;
  uint64_t wrong = 0, hash = 0xcbf29ce484222325;  // wrong: not the special value that it should be

  template <class T>
  void add(T got, Judged judged, double x0, double y0) {
    using Bits = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;
    hash = (hash ^ (std::isnan(got) ? 1 : std::bit_cast<Bits>(got))) * 0x100000001b3;
    const double exact = judged.exact, error = std::fabs(judged.error);
    const T rounded = static_cast<T>(exact);
    const bool special = exact == 0 || !std::isfinite(rounded) || !std::isfinite(got);
    if (special && (std::isnan(exact) ? std::isnan(got) : rounded == got)) return;
    // At the border between the largest value and infinity, the other one is a unit away.
    if (special && !(std::isfinite(exact) && error <= 1)) {
      if (wrong++ < 3) std::printf("  wrong: f(%a, %a) = %a, should be %a\n", x0, y0, static_cast<double>(got), exact);
    } else if (error > largest) {
      largest = error, x = x0, y = y0;
    }
  }
  void print(const Kernels& kernels, const char* function, const char* range) const {
    std::printf("%-7s %-12s %-22s %8.4f ulp at %a, %a  hash %016llx%s\n", kernels.name, function, range, largest, x, y,
                static_cast<unsigned long long>(hash), wrong ? "  WRONG VALUES" : "");
    std::fflush(stdout);
  }
};

// ---- what the functions should give; y is the second argument of those that have one

double phaseOf(double x, double y) { return x == 0 && y == 0 ? 0 : y == 0 ? std::atan2(0.0, x) : std::atan2(y, x); }

struct System {
  double (*f)(double x, double y);
  template <class T>
  Judged judge(double x, double y, T got) {
    const double exact = f(x, y);
    if (got == static_cast<T>(exact)) return {exact, 0};
    int exponent;
    std::frexp(exact, &exponent);
    return {exact, std::ldexp(static_cast<double>(got) - exact, -unitExponent<T>(exponent))};
  }
};

class Mpfr {
 public:
  using Unary = int (*)(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t);
  using Binary = int (*)(mpfr_ptr, mpfr_srcptr, mpfr_srcptr, mpfr_rnd_t);
  explicit Mpfr(Unary f) : Mpfr(f, nullptr) {}
  explicit Mpfr(Binary f) : Mpfr(nullptr, f) {}
  ~Mpfr() { mpfr_clears(x_, y_, out_, nullptr); }
  Mpfr(const Mpfr&) = delete;
  Mpfr& operator=(const Mpfr&) = delete;

  Judged judge(double x, double y, double got) {
    mpfr_set_d(x_, x, MPFR_RNDN);
    mpfr_set_d(y_, y, MPFR_RNDN);
    if (unary_) {
      unary_(out_, x_, MPFR_RNDN);
    } else {
      binary_(out_, x_, y_, MPFR_RNDN);
    }
    const double exact = mpfr_get_d(out_, MPFR_RNDN);
    if (!mpfr_regular_p(out_) || !std::isfinite(got)) return {exact, 0};
    const int unit = unitExponent<double>(static_cast<int>(mpfr_get_exp(out_)));
    mpfr_sub_d(out_, out_, got, MPFR_RNDN);
    mpfr_mul_2si(out_, out_, -unit, MPFR_RNDN);
    return {exact, mpfr_get_d(out_, MPFR_RNDN)};
  }

 private:
  Mpfr(Unary unary, Binary binary) : unary_(unary), binary_(binary) { mpfr_inits2(160, x_, y_, out_, nullptr); }
  Unary unary_;
  Binary binary_;
  mpfr_t x_, y_, out_;
};

int mpfrPhase(mpfr_ptr out, mpfr_srcptr x, mpfr_srcptr y, mpfr_rnd_t rounding) {
  return mpfr_atan2(out, y, x, rounding);
}

// ---- arguments

struct Range {
  const char* name;
  double low, high;
  bool byExponent;  // uniform in the logarithm, and of either sign
};

class Points {
 public:
  double uniform() { return static_cast<double>(bits_() >> 11) * 0x1p-53; }
  double in(const Range& range) {
    const double u = uniform();
    if (!range.byExponent) return range.low + u * (range.high - range.low);
    const double logarithm = std::log2(range.low) + u * (std::log2(range.high) - std::log2(range.low));
    return bits_() & 1 ? -std::exp2(logarithm) : std::exp2(logarithm);
  }

 private:
  std::mt19937_64 bits_{1};
};

struct Effort {
  uint64_t step = 1;
  int chunks = 16;
  bool judged = true;

  template <class T, class Oracle>
  Judged judge(Oracle& oracle, double x, double y, T got) const {
    return judged ? oracle.judge(x, y, got) : Judged{static_cast<double>(got), 0};
  }
};

// ---- sweeps; a function fills y from x, or from the pairs (x, y)

using Evaluate32 = void (*)(const Elementary<float>&, const float* x, const float* y, float* out);
using Evaluate64 = void (*)(const Elementary<double>&, const double* x, const double* y, double* out);

void sweepAll(const Kernels& kernels, const char* name, Effort effort, Evaluate32 f, System oracle) {
  std::vector<float> x(kChunk), out(kChunk);
  Worst worst;
  for (uint64_t begin = 0; begin < uint64_t{1} << 32; begin += kChunk * effort.step) {
    for (size_t i = 0; i < kChunk; ++i) x[i] = std::bit_cast<float>(static_cast<uint32_t>(begin + i * effort.step));
    f(kernels.elementary32, x.data(), nullptr, out.data());
    for (size_t i = 0; i < kChunk; ++i) worst.add(out[i], effort.judge(oracle, x[i], 0, out[i]), x[i], 0);
  }
  worst.print(kernels, name, "all");
}

template <class T, class Oracle, class Fill>
void sweepPoints(const Kernels& kernels, const char* name, const char* range, Effort effort,
                 void (*f)(const Elementary<T>&, const T*, const T*, T*), Oracle& oracle, Fill fill) {
  Points points;
  std::vector<T> x(kChunk), y(kChunk), out(kChunk);
  Worst worst;
  for (int chunk = 0; chunk < effort.chunks; ++chunk) {
    for (size_t i = 0; i < kChunk; ++i) fill(points, x[i], y[i]);
    f(elementary<T>(kernels), x.data(), y.data(), out.data());
    for (size_t i = 0; i < kChunk; ++i) worst.add(out[i], effort.judge(oracle, x[i], y[i], out[i]), x[i], y[i]);
  }
  worst.print(kernels, name, range);
}

void sweepRanges(const Kernels& kernels, const char* name, Effort effort, Evaluate64 f, Mpfr::Unary exact,
                 std::initializer_list<Range> ranges) {
  Mpfr oracle(exact);
  for (const Range& range : ranges) {
    sweepPoints(kernels, name, range.name, effort, f, oracle,
                [&](Points& points, double& x, double& y) { x = points.in(range), y = 0; });
  }
}

// The arguments next to multiples of pi/2, where the reduction cancels most.
void sweepMultiples(const Kernels& kernels, const char* name, Effort effort, Evaluate64 f, Mpfr::Unary exact) {
  Mpfr oracle(exact);
  sweepPoints(kernels, name, "next to n pi/2", effort, f, oracle, [&](Points& points, double& x, double& y) {
    const double n = std::floor(std::exp2(points.uniform() * 40));
    x = n * 1.57079632679489661923, y = 0;
    const int steps = static_cast<int>(points.uniform() * 3) - 1;
    if (steps) x = std::nextafter(x, steps * HUGE_VAL);
  });
}

// Pairs: alike in size, far apart, close to the diagonals, anything with exponents up to the ends of the range.
template <class T, class Oracle>
void sweepPairs(const Kernels& kernels, const char* name, Effort effort,
                void (*f)(const Elementary<T>&, const T*, const T*, T*), Oracle& oracle) {
  using L = std::numeric_limits<T>;
  const Range unit{"", -1, 1, false}, spread{"", 0x1p-30, 0x1p30, true},
      any{"", L::denorm_min(), static_cast<double>(L::max()), true};
  const auto sweep = [&](const char* range, auto fill) {
    sweepPoints<T>(kernels, name, range, effort, f, oracle, fill);
  };
  sweep("[-1, 1]", [&](Points& p, T& x, T& y) { x = static_cast<T>(p.in(unit)), y = static_cast<T>(p.in(unit)); });
  sweep("2^-30 to 2^30",
        [&](Points& p, T& x, T& y) { x = static_cast<T>(p.in(spread)), y = static_cast<T>(p.in(spread)); });
  sweep("abs(y) ~ abs(x)", [&](Points& p, T& x, T& y) {
    x = static_cast<T>(p.in(unit));
    y = static_cast<T>(x * (p.uniform() < 0.5 ? -1 : 1) * (1 + p.in(unit)*std::exp2(-L::digits * p.uniform())));
  });
  sweep("abs(y) ~ abs(x) / 2", [&](Points& p, T& x, T& y) {
    x = static_cast<T>(p.in(unit));
    y = static_cast<T>(x * 0.5 * (1 + p.in(unit)*std::exp2(-L::digits * p.uniform())));
  });
  sweep("any exponents", [&](Points& p, T& x, T& y) { x = static_cast<T>(p.in(any)), y = static_cast<T>(p.in(any)); });
}

template <class T>
void callExp(const Elementary<T>& e, const T* x, const T*, T* out) {
  e.exp(x, out, kChunk);
}
template <class T>
void callLn(const Elementary<T>& e, const T* x, const T*, T* out) {
  e.ln(x, out, kChunk);
}
template <class T>
void callSin(const Elementary<T>& e, const T* x, const T*, T* out) {
  static std::vector<T> other(kChunk);
  e.sinCos(x, out, other.data(), kChunk);
}
template <class T>
void callCos(const Elementary<T>& e, const T* x, const T*, T* out) {
  static std::vector<T> other(kChunk);
  e.sinCos(x, other.data(), out, kChunk);
}
template <class T>
void callPhase(const Elementary<T>& e, const T* x, const T* y, T* out) {
  e.phase(x, y, out, kChunk);
}
template <class T>
void callMagnitude(const Elementary<T>& e, const T* x, const T* y, T* out) {
  e.magnitude(x, y, out, kChunk);
}

struct Function {
  const char* name;
  void (*sweep)(const Kernels& kernels, const char* name, Effort effort);
};

using Name = const char*;
const Function kFunctions[] = {
    {"exp32",
     [](const Kernels& k, Name name, Effort effort) {
       sweepAll(k, name, effort, callExp<float>, {[](double x, double) { return std::exp(x); }});
     }},
    {"ln32",
     [](const Kernels& k, Name name, Effort effort) {
       sweepAll(k, name, effort, callLn<float>, {[](double x, double) { return std::log(x); }});
     }},
    {"sin32",
     [](const Kernels& k, Name name, Effort effort) {
       sweepAll(k, name, effort, callSin<float>, {[](double x, double) { return std::sin(x); }});
     }},
    {"cos32",
     [](const Kernels& k, Name name, Effort effort) {
       sweepAll(k, name, effort, callCos<float>, {[](double x, double) { return std::cos(x); }});
     }},
    {"phase32",
     [](const Kernels& k, Name name, Effort effort) {
       System oracle{phaseOf};
       sweepPairs<float>(k, name, effort, callPhase<float>, oracle);
     }},
    {"magnitude32",
     [](const Kernels& k, Name name, Effort effort) {
       System oracle{[](double x, double y) { return std::sqrt(x * x + y * y); }};
       sweepPairs<float>(k, name, effort, callMagnitude<float>, oracle);
     }},
    {"exp64",
     [](const Kernels& k, Name name, Effort effort) {
       sweepRanges(k, name, effort, callExp<double>, mpfr_exp,
                   {{"[-1, 1]", -1, 1, false},
                    {"[-700, 700]", -700, 700, false},
                    {"[-750, -700]", -750, -700, false},
                    {"1e-20 to 1", 1e-20, 1, true}});
     }},
    {"ln64",
     [](const Kernels& k, Name name, Effort effort) {
       sweepRanges(
           k, name, effort, callLn<double>, mpfr_log,
           {{"[0.5, 2]", 0.5, 2, false}, {"[0.9, 1.1]", 0.9, 1.1, false}, {"5e-324 to 1e308", 5e-324, 1e308, true}});
     }},
    {"sin64",
     [](const Kernels& k, Name name, Effort effort) {
       sweepRanges(
           k, name, effort, callSin<double>, mpfr_sin,
           {{"[-7, 7]", -7, 7, false}, {"[-1e6, 1e6]", -1e6, 1e6, false}, {"1e-20 to 1e308", 1e-20, 1e308, true}});
       sweepMultiples(k, name, effort, callSin<double>, mpfr_sin);
     }},
    {"cos64",
     [](const Kernels& k, Name name, Effort effort) {
       sweepRanges(
           k, name, effort, callCos<double>, mpfr_cos,
           {{"[-7, 7]", -7, 7, false}, {"[-1e6, 1e6]", -1e6, 1e6, false}, {"1e-20 to 1e308", 1e-20, 1e308, true}});
       sweepMultiples(k, name, effort, callCos<double>, mpfr_cos);
     }},
    {"phase64",
     [](const Kernels& k, Name name, Effort effort) {
       Mpfr oracle(mpfrPhase);
       sweepPairs<double>(k, name, effort, callPhase<double>, oracle);
     }},
    {"magnitude64",
     [](const Kernels& k, Name name, Effort effort) {
       Mpfr oracle(mpfr_hypot);
       sweepPairs<double>(k, name, effort, callMagnitude<double>, oracle);
     }},
};

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> wanted, sets;
  Effort effort;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument.starts_with("--set=")) {
      sets.push_back(argument.substr(6));
    } else if (argument == "--hash") {
      effort.judged = false;
    } else if (argument.starts_with("--chunks=")) {
      effort.chunks = std::stoi(argument.substr(9));
    } else if (argument.starts_with("--every=")) {
      effort.step = std::stoull(argument.substr(8));
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
      if (kernels && has(sets, kernels->name)) function.sweep(*kernels, function.name, effort);
    }
  }
}
