// Prints a line per function: its name, a hash of every bit that it returned and wrote over many calls, their number.
// Equal lines are equal bits: tools/check-bits compares those of the library with those of the Windows module.
//
// Calls follow from the signatures: arrays and values are random, from a fixed seed; counts, modes, flags and records
// are given. A call that leaves a failure behind ends the program.
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "moxa1.h"

namespace {

template <class R, class... P>
struct Function {
  const char* name;
  R(MOX_CALL* call)(P...);
};
template <class R, class... P>
Function(const char*, R(MOX_CALL*)(P...)) -> Function<R, P...>;
#define F(function) \
  Function { #function, function }

template <class T>
constexpr bool kIsSample = std::is_arithmetic_v<T> || std::is_same_v<T, MoxC> || std::is_same_v<T, MoxZ> ||
                           std::is_same_v<T, MoxV> || std::is_same_v<T, MoxJ>;

class Bits {
 public:
  double amplitude = 4;    // of floating-point values
  bool positive = false;   // arrays of real values
  size_t elements = 2100;  // of every array
  int32_t factor = 1;      // what a scale factor's place holds

  // Records go to the pointers to records, `counts` to the int32_t, both in order.
  template <class... Functions>
  void all(std::initializer_list<int32_t> counts, Functions... functions) {
    (one(functions, counts, {}), ...);
  }
  template <class... Functions>
  void all(std::initializer_list<void*> records, std::initializer_list<int32_t> counts, Functions... functions) {
    (one(functions, counts, records), ...);
  }

  template <class T>
  T value() {
    if constexpr (std::is_same_v<T, MoxC> || std::is_same_v<T, MoxZ> || std::is_same_v<T, MoxV> ||
                  std::is_same_v<T, MoxJ>) {
      const auto re = value<decltype(T::re)>();
      return {re, value<decltype(T::re)>()};
    } else {
      const uint64_t bits = positive ? next() >> 1 : next();
      if constexpr (!std::is_floating_point_v<T>) return static_cast<T>(bits >> (64 - 8 * sizeof(T)));
      return static_cast<T>(static_cast<double>(static_cast<int64_t>(bits)) * 0x1p-63 * amplitude);
    }
  }
  template <class T>
  std::vector<T> values(size_t n) {
    std::vector<T> v(n);
    for (T& element : v) element = value<T>();
    return v;
  }

  void print() const {
    for (const char* name : order_) {
      const Line& line = lines_.at(name);
      std::printf("%-20s %016" PRIx64 " %d\n", name, line.hash, line.calls);
    }
  }

 private:
  struct Line {
    uint64_t hash = 0xcbf29ce484222325;
    int calls = 0;
  };
  struct Call {
    const int32_t* count;
    void* const* record;
    std::vector<std::pair<std::unique_ptr<uint64_t[]>, size_t>> arrays;  // words
  };

  uint64_t next() {
    uint64_t z = state_ += 0x9e3779b97f4a7c15;
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
    z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
    return z ^ (z >> 31);
  }

  template <class P>
  P argument(Call& call) {
    if constexpr (std::is_same_v<P, int32_t>) {
      return *call.count++;
    } else if constexpr (!std::is_pointer_v<P>) {
      positive = std::is_arithmetic_v<P>;  // thresholds and the like
      const P v = value<P>();
      positive = false;
      return v;
    } else {
      using T = std::remove_cv_t<std::remove_pointer_t<P>>;
      if constexpr (std::is_void_v<T>) {
        return array<int16_t>(call);
      } else if constexpr (kIsSample<T>) {
        return array<T>(call);
      } else {
        return static_cast<T*>(*call.record++);
      }
    }
  }
  template <class T>
  T* array(Call& call) {
    const size_t words = (elements * sizeof(T) + 7) / 8 + 4;
    auto& [memory, size] = call.arrays.emplace_back(std::make_unique<uint64_t[]>(words), words);
    T* const first = reinterpret_cast<T*>(memory.get());
    for (size_t i = 0; i < elements; ++i) first[i] = value<T>();
    if constexpr (std::is_same_v<T, int32_t>) *first = factor;
    return first;
  }

  template <class R, class... P>
  void one(Function<R, P...> f, std::initializer_list<int32_t> counts, std::initializer_list<void*> records) {
    Call call = {counts.begin(), records.begin(), {}};
    const std::tuple<P...> arguments{argument<P>(call)...};
    if (!lines_.contains(f.name)) order_.push_back(f.name);
    Line& line = lines_[f.name];
    ++line.calls;
    if constexpr (std::is_void_v<R>) {
      std::apply(f.call, arguments);
    } else {
      const R result = std::apply(f.call, arguments);
      uint64_t words[2] = {};
      static_assert(sizeof result <= sizeof words);
      std::memcpy(words, &result, sizeof result);
      add(line, words, 2);
    }
    if (moxGetErrStatus() < 0) {
      std::fprintf(stderr, "%s: %s\n", f.name, moxErrorStr(moxGetErrStatus()));
      std::exit(1);
    }
    for (const auto& [memory, words] : call.arrays) add(line, memory.get(), words);
  }
  static void add(Line& line, const uint64_t* words, size_t n) {
    for (size_t i = 0; i < n; ++i) {
      line.hash = (line.hash ^ words[i]) * 0x9e3779b97f4a7c15;
      line.hash ^= line.hash >> 32;
    }
  }

  uint64_t state_ = 1;
  std::map<std::string, Line> lines_;
  std::vector<const char*> order_;
};

constexpr int32_t kScaleModes[] = {MOX_NoScale, MOX_NoScaleSat, MOX_FixScale, MOX_FixScaleSat, MOX_AutoScale};
constexpr int32_t kLengths[] = {1, 7, 50, 1001};

void arithmetic(Bits& bits) {
  bits.all({}, F(moxcAdd), F(moxcSub), F(moxcMpy), F(moxcConj), F(moxcSet), F(moxzAdd), F(moxzSub), F(moxzMpy),
           F(moxzConj), F(moxzSet), F(moxcDiv), F(moxzDiv), F(moxvConj), F(moxvSet), F(moxvDiv));
  for (const int32_t n : kLengths) {
    bits.all({n}, F(moxsbZero), F(moxcbZero), F(moxdbZero), F(moxzbZero), F(moxsbSet), F(moxcbSet), F(moxdbSet),
             F(moxzbSet), F(moxsbCopy), F(moxcbCopy), F(moxdbCopy), F(moxzbCopy), F(moxsbAdd1), F(moxcbAdd1),
             F(moxdbAdd1), F(moxzbAdd1), F(moxsbAdd2), F(moxcbAdd2), F(moxdbAdd2), F(moxzbAdd2), F(moxsbAdd3),
             F(moxcbAdd3), F(moxdbAdd3), F(moxzbAdd3), F(moxsbSub1), F(moxcbSub1), F(moxdbSub1), F(moxzbSub1),
             F(moxsbSub2), F(moxcbSub2), F(moxdbSub2), F(moxzbSub2), F(moxsbSub3), F(moxcbSub3), F(moxdbSub3),
             F(moxzbSub3), F(moxsbMpy1), F(moxcbMpy1), F(moxdbMpy1), F(moxzbMpy1), F(moxsbMpy2), F(moxcbMpy2),
             F(moxdbMpy2), F(moxzbMpy2), F(moxsbMpy3), F(moxcbMpy3), F(moxdbMpy3), F(moxzbMpy3), F(moxcbConj1),
             F(moxcbConj2), F(moxcbConjFlip2), F(moxzbConj1), F(moxzbConj2), F(moxzbConjFlip2), F(moxwbZero),
             F(moxvbZero), F(moxwbSet), F(moxvbSet), F(moxwbCopy), F(moxvbCopy), F(moxvbConj1), F(moxvbConj2),
             F(moxvbConjFlip2));
    for (const int32_t mode : kScaleModes) {
      bits.all({n, mode}, F(moxwbAdd1), F(moxvbAdd1), F(moxwbAdd2), F(moxvbAdd2), F(moxwbAdd3), F(moxvbAdd3),
               F(moxwbSub1), F(moxvbSub1), F(moxwbSub2), F(moxvbSub2), F(moxwbSub3), F(moxvbSub3), F(moxwbMpy1),
               F(moxvbMpy1), F(moxwbMpy2), F(moxvbMpy2), F(moxwbMpy3), F(moxvbMpy3));
    }
    bits.all({n}, F(moxcbConjExtend1), F(moxcbConjExtend2), F(moxzbConjExtend1), F(moxzbConjExtend2),
             F(moxvbConjExtend1), F(moxvbConjExtend2));
  }
  for (const int32_t mode : kScaleModes) bits.all({mode}, F(moxvAdd), F(moxvSub), F(moxvMpy));
}

void vectors(Bits& bits) {
  for (const int32_t n : kLengths) {
    for (const double amplitude : {1.0, 40000.0}) {
      bits.amplitude = amplitude;
      bits.all({n}, F(moxsDotProd), F(moxdDotProd), F(moxcDotProd), F(moxzDotProd), F(moxscDotProd), F(moxcsDotProd),
               F(moxdzDotProd), F(moxzdDotProd), F(moxsbS7FixToFloat), F(moxsbS15FixToFloat), F(moxsbS31FixToFloat),
               F(moxsbS1516FixToFloat), F(moxdbS7FixToFloat), F(moxdbS15FixToFloat), F(moxdbS31FixToFloat),
               F(moxdbS1516FixToFloat), F(moxcbReal), F(moxzbReal), F(moxvbReal), F(moxcbImag), F(moxzbImag),
               F(moxvbImag), F(moxcbCplxTo2Real), F(moxzbCplxTo2Real), F(moxvbCplxTo2Real), F(moxcb2RealToCplx),
               F(moxzb2RealToCplx), F(moxvb2RealToCplx), F(moxcbCartToPolar), F(moxzbCartToPolar), F(moxsbrCartToPolar),
               F(moxdbrCartToPolar), F(moxcbPolarToCart), F(moxzbPolarToCart), F(moxsbrPolarToCart),
               F(moxdbrPolarToCart), F(moxcbMag), F(moxzbMag), F(moxvbMag), F(moxsbrMag), F(moxdbrMag), F(moxwbrMag),
               F(moxcbPhase), F(moxzbPhase), F(moxvbPhase), F(moxsbrPhase), F(moxdbrPhase), F(moxwbrPhase),
               F(moxwbLinToALaw), F(moxibLinToALaw), F(moxsbLinToALaw), F(moxdbLinToALaw), F(moxwbALawToLin),
               F(moxibALawToLin), F(moxsbALawToLin), F(moxdbALawToLin), F(moxwbLinToMuLaw), F(moxibLinToMuLaw),
               F(moxsbLinToMuLaw), F(moxdbLinToMuLaw), F(moxwbMuLawToLin), F(moxibMuLawToLin), F(moxsbMuLawToLin),
               F(moxdbMuLawToLin), F(moxMuLawToALaw), F(moxALawToMuLaw), F(moxsbLn1), F(moxsbLn2), F(moxdbLn1),
               F(moxdbLn2), F(moxsbExp1), F(moxsbExp2), F(moxdbExp1), F(moxdbExp2), F(moxsbSqr1), F(moxsbSqr2),
               F(moxdbSqr1), F(moxdbSqr2), F(moxcbSqr1), F(moxcbSqr2), F(moxzbSqr1), F(moxzbSqr2), F(moxcbSqrt1),
               F(moxcbSqrt2), F(moxzbSqrt1), F(moxzbSqrt2), F(moxvbSqrt1), F(moxvbSqrt2), F(moxsbInvThresh1),
               F(moxsbInvThresh2), F(moxdbInvThresh1), F(moxdbInvThresh2), F(moxcbInvThresh1), F(moxcbInvThresh2),
               F(moxzbInvThresh1), F(moxzbInvThresh2), F(moxsbAbs1), F(moxsbAbs2), F(moxdbAbs1), F(moxdbAbs2),
               F(moxwbAbs1), F(moxwbAbs2), F(moxsMean), F(moxdMean), F(moxwMean), F(moxsStdDev), F(moxdStdDev),
               F(moxsMax), F(moxsMin), F(moxdMax), F(moxdMin), F(moxwMax), F(moxwMin));
      bits.positive = true;
      bits.all({n}, F(moxsbSqrt1), F(moxsbSqrt2), F(moxdbSqrt1), F(moxdbSqrt2), F(moxwbSqrt1), F(moxwbSqrt2));
      bits.positive = false;
      for (const int32_t op : {MOX_LT, MOX_GT})
        bits.all({n, op}, F(moxsbThresh1), F(moxsbThresh2), F(moxdbThresh1), F(moxdbThresh2), F(moxcbThresh1),
                 F(moxcbThresh2), F(moxzbThresh1), F(moxzbThresh2), F(moxwbThresh1), F(moxwbThresh2), F(moxvbThresh1),
                 F(moxvbThresh2));
      for (const int32_t mode : kScaleModes)
        bits.all({n, mode}, F(moxwDotProd), F(moxvDotProd), F(moxwvDotProd), F(moxvwDotProd), F(moxwbLn1), F(moxwbLn2),
                 F(moxwbExp1), F(moxwbExp2), F(moxwbSqr1), F(moxwbSqr2), F(moxvbSqr1), F(moxvbSqr2), F(moxwStdDev));
      for (const int32_t rounding : {MOX_RoundNearest, MOX_RoundZero, MOX_RoundDown, MOX_RoundUp}) {
        for (const int32_t more :
             {0, int32_t{MOX_Saturate}, int32_t{MOX_UnsignedInt}, MOX_UnsignedInt | MOX_Saturate}) {
          const int32_t flags = rounding | more;
          for (const int32_t size : {8, 16, 32}) {
            bits.all({n, size, flags}, F(moxsbFloatToInt), F(moxdbFloatToInt));
            bits.all({n, size, 5, flags}, F(moxsbFloatToFix), F(moxdbFloatToFix));
            bits.all({n, size, flags & MOX_UnsignedInt}, F(moxsbIntToFloat), F(moxdbIntToFloat));
            bits.all({n, size, 5, flags & MOX_UnsignedInt}, F(moxsbFixToFloat), F(moxdbFixToFloat));
          }
          bits.all({n, flags}, F(moxsbFloatToS7Fix), F(moxsbFloatToS15Fix), F(moxsbFloatToS31Fix),
                   F(moxsbFloatToS1516Fix), F(moxdbFloatToS7Fix), F(moxdbFloatToS15Fix), F(moxdbFloatToS31Fix),
                   F(moxdbFloatToS1516Fix));
        }
      }
    }
  }
  bits.amplitude = 4;
}

void transforms(Bits& bits) {
  for (int32_t order = 0; order <= 15; ++order) {
    bits.elements = (size_t{1} << order) + 4;
    bits.all({order}, F(moxCalcBitRevTbl), F(moxcCalcFftTwdTbl), F(moxzCalcFftTwdTbl), F(moxvCalcFftTwdTbl),
             F(moxsbBitRev1), F(moxsbBitRev2), F(moxdbBitRev1), F(moxdbBitRev2), F(moxcbBitRev1), F(moxcbBitRev2),
             F(moxzbBitRev1), F(moxzbBitRev2), F(moxwbBitRev1), F(moxwbBitRev2), F(moxvbBitRev1), F(moxvbBitRev2),
             F(moxsMpyRCPack2), F(moxsMpyRCPack3), F(moxsMpyRCPerm2), F(moxsMpyRCPerm3), F(moxdMpyRCPack2),
             F(moxdMpyRCPack3), F(moxdMpyRCPerm2), F(moxdMpyRCPerm3));
    for (const int32_t flags : {int32_t{MOX_Forw}, int32_t{MOX_Inv}, MOX_Forw | MOX_InBitRev, MOX_Inv | MOX_OutBitRev,
                                MOX_Inv | MOX_NoInvScale}) {
      bits.all({order, flags}, F(moxcFft), F(moxcFftNip), F(moxcrFft), F(moxcrFftNip), F(moxzFft), F(moxzFftNip),
               F(moxzrFft), F(moxzrFftNip));
    }
    for (const int32_t flags : {int32_t{MOX_Forw}, int32_t{MOX_Inv}}) {
      bits.all({order, flags}, F(moxsRealFft), F(moxsRealFftNip), F(moxsCcsFft), F(moxsCcsFftNip), F(moxdRealFft),
               F(moxdRealFftNip), F(moxdCcsFft), F(moxdCcsFftNip), F(moxsReal2Fft), F(moxsReal2FftNip), F(moxsCcs2Fft),
               F(moxsCcs2FftNip), F(moxdReal2Fft), F(moxdReal2FftNip), F(moxdCcs2Fft), F(moxdCcs2FftNip));
      bits.all({order, flags | MOX_InRCPerm | MOX_OutRCPerm}, F(moxsRealFftl), F(moxsRealFftlNip), F(moxsCcsFftl),
               F(moxsCcsFftlNip), F(moxdRealFftl), F(moxdRealFftlNip), F(moxdCcsFftl), F(moxdCcsFftlNip));
      for (const int32_t mode : kScaleModes) {
        bits.factor = order;
        bits.all({order, flags, mode}, F(moxvFft), F(moxvFftNip), F(moxvrFft), F(moxvrFftNip), F(moxwRealFft),
                 F(moxwRealFftNip), F(moxwCcsFft), F(moxwCcsFftNip), F(moxwReal2Fft), F(moxwReal2FftNip),
                 F(moxwCcs2Fft), F(moxwCcs2FftNip));
        bits.all({order, flags | MOX_InRCPack | MOX_OutRCPack, mode}, F(moxwRealFftl), F(moxwRealFftlNip),
                 F(moxwCcsFftl), F(moxwCcsFftlNip));
      }
    }
    for (const int32_t mode : kScaleModes)
      bits.all({order, mode}, F(moxwMpyRCPack2), F(moxwMpyRCPack3), F(moxwMpyRCPerm2), F(moxwMpyRCPerm3));
  }
  bits.factor = 1;
  bits.elements = 2100;
  for (const int32_t length : {1, 3, 60, 205}) {
    bits.all({length}, F(moxcCalcDftTwdTbl), F(moxzCalcDftTwdTbl));
    for (const int32_t flags : {int32_t{MOX_Forw}, int32_t{MOX_Inv}}) {
      bits.all({length, flags}, F(moxcDft), F(moxzDft));
      bits.all({length, flags, MOX_AutoScale}, F(moxvDft));
    }
  }
}

void signals(Bits& bits) {
  bits.amplitude = 0.5;  // of Kaiser's parameter, too
  for (const int32_t n : {3, 8, 50, 1001})
    bits.all({n}, F(moxsWinBartlett), F(moxcWinBartlett), F(moxdWinBartlett), F(moxzWinBartlett), F(moxwWinBartlett),
             F(moxvWinBartlett), F(moxsWinHann), F(moxcWinHann), F(moxdWinHann), F(moxzWinHann), F(moxwWinHann),
             F(moxvWinHann), F(moxsWinHamming), F(moxcWinHamming), F(moxdWinHamming), F(moxzWinHamming),
             F(moxwWinHamming), F(moxvWinHamming), F(moxsWinBlackman), F(moxcWinBlackman), F(moxdWinBlackman),
             F(moxzWinBlackman), F(moxwWinBlackman), F(moxvWinBlackman), F(moxsWinBlackmanStd), F(moxcWinBlackmanStd),
             F(moxdWinBlackmanStd), F(moxzWinBlackmanStd), F(moxwWinBlackmanStd), F(moxvWinBlackmanStd),
             F(moxsWinBlackmanOpt), F(moxcWinBlackmanOpt), F(moxdWinBlackmanOpt), F(moxzWinBlackmanOpt),
             F(moxwWinBlackmanOpt), F(moxvWinBlackmanOpt), F(moxsWinKaiser), F(moxcWinKaiser), F(moxdWinKaiser),
             F(moxzWinKaiser), F(moxwWinKaiser), F(moxvWinKaiser));
  bits.amplitude = 4;
  for (const int32_t factor : {1, 2, 3, 7}) {
    bits.all({factor, factor - 1, 290}, F(moxsUpSample), F(moxdUpSample), F(moxcUpSample), F(moxzUpSample),
             F(moxwUpSample), F(moxvUpSample), F(moxsDownSample), F(moxdDownSample), F(moxcDownSample),
             F(moxzDownSample), F(moxwDownSample), F(moxvDownSample));
  }
  for (const int32_t n : {1, 20, 500, 2000}) {
    for (const int32_t lags : {1, (n + 1) / 2, n}) {
      for (const int32_t norm : {0, 1, 2}) {
        bits.all({n, lags, norm}, F(moxsAutoCorr), F(moxdAutoCorr), F(moxcAutoCorr), F(moxzAutoCorr));
        for (const int32_t mode : kScaleModes) bits.all({n, lags, norm, mode}, F(moxwAutoCorr), F(moxvAutoCorr));
      }
    }
    for (const int32_t m : {1, 30, 700}) {
      bits.elements = static_cast<size_t>(n + m + 1);
      bits.all({n, m, 1 - n, m - 1}, F(moxsCrossCorr), F(moxdCrossCorr), F(moxcCrossCorr), F(moxzCrossCorr),
               F(moxscCrossCorr), F(moxcsCrossCorr), F(moxdzCrossCorr), F(moxzdCrossCorr));
      bits.all({n, m}, F(moxsConv), F(moxdConv), F(moxcConv), F(moxzConv), F(moxcsConv), F(moxscConv), F(moxzdConv),
               F(moxdzConv));
      for (const int32_t mode : kScaleModes) {
        bits.all({n, m, 1 - n, m - 1, mode}, F(moxwCrossCorr), F(moxvCrossCorr), F(moxwvCrossCorr), F(moxvwCrossCorr));
        bits.all({n, m, mode}, F(moxwConv));
      }
    }
    bits.elements = 2100;
  }
  bits.elements = 110 * 130;
  for (const int32_t k : {1, 3, 5, 11, 40}) {
    bits.all({60, 80, k, k + 1}, F(moxsConv2D), F(moxdConv2D), F(moxsFilter2D), F(moxdFilter2D));
    for (const int32_t mode : kScaleModes) bits.all({60, 80, k, k + 1, mode}, F(moxwConv2D), F(moxwFilter2D));
  }
  bits.elements = 2100;
}

void components(Bits& bits) {
  for (const float freq : {0.001f, 0.123f, 0.49f}) {
    MoxsGoertzState s;
    MoxdGoertzState d;
    moxcGoertzInit(freq, &s);
    moxzGoertzInit(freq, &d);
    for (const int32_t n : kLengths) {
      bits.all({&s}, {n}, F(moxsbGoertz), F(moxcbGoertz));
      bits.all({&d}, {n}, F(moxdbGoertz), F(moxzbGoertz));
      bits.all({&s}, {}, F(moxsGoertz), F(moxcGoertz));
      bits.all({&d}, {}, F(moxdGoertz), F(moxzGoertz));
      moxcGoertzReset(&s);
      bits.all({&s}, {n, MOX_AutoScale}, F(moxwbGoertz), F(moxvbGoertz));
      bits.all({&s}, {MOX_FixScaleSat}, F(moxwGoertz), F(moxvGoertz));
    }
  }
}

void generators(Bits& bits) {
  for (const int32_t n : {1, 9, 200, 2001}) {
    MoxsRandUniState us;
    MoxdRandUniState ud;
    moxcRandUniInit(static_cast<float>(n), -3, 5, &us);
    moxzRandUniInit(n, -3, 5, &ud);
    bits.all({&us}, {}, F(moxsRandUni), F(moxcRandUni), F(moxwRandUni), F(moxvRandUni));
    bits.all({&ud}, {}, F(moxdRandUni), F(moxzRandUni));
    bits.all({&us}, {n}, F(moxsbRandUni), F(moxcbRandUni), F(moxwbRandUni), F(moxvbRandUni));
    bits.all({&ud}, {n}, F(moxdbRandUni), F(moxzbRandUni));
    MoxsRandGausState gs;
    MoxdRandGausState gd;
    moxcRandGausInit(static_cast<float>(n), 1, 100, &gs);
    moxzRandGausInit(n, 1, 100, &gd);
    bits.all({&gs}, {}, F(moxsRandGaus), F(moxcRandGaus), F(moxwRandGaus), F(moxvRandGaus));
    bits.all({&gd}, {}, F(moxdRandGaus), F(moxzRandGaus));
    bits.all({&gs}, {n}, F(moxsbRandGaus), F(moxcbRandGaus), F(moxwbRandGaus), F(moxvbRandGaus));
    bits.all({&gd}, {n}, F(moxdbRandGaus), F(moxzbRandGaus));

    for (const float freq : {0.01f, 0.3f}) {
      MoxsToneState ts;
      MoxdToneState td;
      MoxcToneState tc;
      MoxzToneState tz;
      moxsToneInit(freq, 1, 1000, &ts);
      moxdToneInit(freq, 1, 1000, &td);
      moxcToneInit(freq, 1, 1000, &tc);
      moxzToneInit(freq, 1, 1000, &tz);
      bits.all({&ts}, {}, F(moxsTone), F(moxwTone));
      bits.all({&td}, {}, F(moxdTone));
      bits.all({&tc}, {}, F(moxcTone), F(moxvTone));
      bits.all({&tz}, {}, F(moxzTone));
      bits.all({&ts}, {n}, F(moxsbTone), F(moxwbTone));
      bits.all({&td}, {n}, F(moxdbTone));
      bits.all({&tc}, {n}, F(moxcbTone), F(moxvbTone));
      bits.all({&tz}, {n}, F(moxzbTone));

      MoxsTrnglState rs;
      MoxdTrnglState rd;
      MoxcTrnglState rc;
      MoxzTrnglState rz;
      moxsTrnglInit(freq, 1, 1000, 0.5f, &rs);
      moxdTrnglInit(freq, 1, 1000, 0.5, &rd);
      moxcTrnglInit(freq, 1, 1000, 0.5f, &rc);
      moxzTrnglInit(freq, 1, 1000, 0.5, &rz);
      bits.all({&rs}, {}, F(moxsTrngl), F(moxwTrngl));
      bits.all({&rd}, {}, F(moxdTrngl));
      bits.all({&rc}, {}, F(moxcTrngl), F(moxvTrngl));
      bits.all({&rz}, {}, F(moxzTrngl));
      bits.all({&rs}, {n}, F(moxsbTrngl), F(moxwbTrngl));
      bits.all({&rd}, {n}, F(moxdbTrngl));
      bits.all({&rc}, {n}, F(moxcbTrngl), F(moxvbTrngl));
      bits.all({&rz}, {n}, F(moxzbTrngl));
    }
  }
}

// ---- filters; `mode` is the scale mode of the int16 forms, nothing otherwise

template <class T, class X, class Block, class Single, class... Mode>
void lowFir(Bits& bits, void(MOX_CALL* init)(T*, int32_t, int32_t, int32_t, int32_t, int32_t, FirTapState*),
            void(MOX_CALL* line)(const FirTapState*, X*, FirDlyState*),
            void(MOX_CALL* set)(const FirTapState*, const X*, FirDlyState*), Block block, Single single, Mode... mode) {
  for (const int32_t len : {1, 5, 64, 200}) {
    for (const int32_t up : {1, 3}) {
      std::vector<T> taps = bits.values<T>(static_cast<size_t>(len));
      std::vector<X> history(static_cast<size_t>(len) + 1);
      FirTapState tapState;
      FirDlyState lineState;
      init(taps.data(), len, up, up - 1, (up + 1) / 2, 0, &tapState);
      line(&tapState, history.data(), &lineState);
      set(&tapState, nullptr, &lineState);
      bits.all({&tapState, &lineState}, {600, mode...}, block);
      bits.all({&tapState, &lineState}, {mode...}, single);
    }
  }
}

template <class T, class X, class Block, class Single, class... Mode>
void fir(Bits& bits, void(MOX_CALL* init)(const T*, int32_t, const X*, int32_t, int32_t, int32_t, int32_t, FirState*),
         Block block, Single single, Mode... mode) {
  for (const int32_t len : {1, 5, 64, 200, 1000}) {
    for (const int32_t up : {1, 3}) {
      const std::vector<T> taps = bits.values<T>(static_cast<size_t>(len));
      FirState state = {};
      init(taps.data(), len, nullptr, up, up - 1, (up + 1) / 2, 0, &state);
      bits.all({&state}, {600, mode...}, block);
      if (up == 1) bits.all({&state}, {2000, mode...}, block);
      if (up == 1) bits.all({&state}, {mode...}, single);
      moxFirFree(&state);
    }
  }
}

// Numerator and denominator of each section, the latter with its poles well inside the unit circle.
template <class T>
std::vector<T> recursiveTaps(Bits& bits, int32_t sections, int32_t order) {
  const size_t n = static_cast<size_t>(order) + 1;
  bits.amplitude = 1;
  std::vector<T> taps = bits.values<T>(static_cast<size_t>(sections) * 2 * n);
  bits.amplitude = 4;
  const int32_t leading = 2 * (order + 1);
  for (size_t a0 = n; a0 < taps.size(); a0 += 2 * n) {
    if constexpr (std::is_same_v<T, int16_t>) {
      for (size_t i = 1; i < n; ++i) taps[a0 + i] = static_cast<int16_t>(taps[a0 + i] / leading);
      taps[a0] = 32767;
    } else if constexpr (std::is_floating_point_v<T>) {
      taps[a0] = static_cast<T>(leading);
    } else {
      taps[a0].re = static_cast<decltype(T::re)>(leading);
    }
  }
  return taps;
}

// run(taps, order or number of sections, whether these are biquads)
template <class T, class Run>
void eachRecursion(Bits& bits, const Run& run) {
  for (const int32_t order : {0, 1, 2, 5, 20}) run(recursiveTaps<T>(bits, 1, order), order, false);
  for (const int32_t sections : {1, 2, 4, 7, 8}) run(recursiveTaps<T>(bits, sections, 2), sections, true);
}

template <class T, class Y, class Block, class Single, class... Mode>
void lowIir(Bits& bits, void(MOX_CALL* init)(int32_t, T*, int32_t, IirTapState*),
            void(MOX_CALL* initBq)(int32_t, T*, int32_t, IirTapState*),
            void(MOX_CALL* line)(const IirTapState*, Y*, IirDlyState*), Block block, Single single, Mode... mode) {
  const auto run = [&](std::vector<T> taps, int32_t size, bool biquads) {
    IirTapState tapState;
    IirDlyState lineState;
    (biquads ? initBq : init)(0, taps.data(), size, &tapState);
    std::vector<Y> delays(static_cast<size_t>(tapState.order) + 1);
    line(&tapState, delays.data(), &lineState);
    bits.all({&tapState, &lineState}, {700, mode...}, block);
    bits.all({&tapState, &lineState}, {mode...}, single);
  };
  eachRecursion<T>(bits, run);
}

template <class T, class Block, class Single, class... Mode>
void iir(Bits& bits, int32_t(MOX_CALL* init)(int32_t, const T*, int32_t, IirState*),
         int32_t(MOX_CALL* initBq)(int32_t, const T*, int32_t, IirState*), Block block, Single single, Mode... mode) {
  const auto run = [&](const std::vector<T>& taps, int32_t size, bool biquads) {
    IirState state = {};
    (biquads ? initBq : init)(0, taps.data(), size, &state);
    bits.all({&state}, {700, mode...}, block);
    bits.all({&state}, {mode...}, single);
    moxIirFree(&state);
  };
  eachRecursion<T>(bits, run);
}

template <class T, class X, class Step, class Pass, class Fixed>
void lowLms(Bits& bits,
            void(MOX_CALL* init)(int32_t, T*, int32_t, float, float, int32_t, int32_t, int32_t, LmsTapState*),
            void(MOX_CALL* line)(const LmsTapState*, X*, int32_t, LmsDlyState*), Step step, Pass pass, Fixed fixed) {
  for (const int32_t len : {1, 16, 50}) {
    for (const int32_t down : {1, 2}) {
      std::vector<T> taps = bits.values<T>(static_cast<size_t>(len));
      LmsTapState tapState;
      LmsDlyState lineState;
      init(0, taps.data(), len, 0.001f, 0.0001f, 2, down, 0, &tapState);
      std::vector<X> history(static_cast<size_t>(len + 2 + down));
      line(&tapState, history.data(), 1, &lineState);
      for (int i = 0; i < 60; ++i) {
        if (down == 1)
          bits.all({&tapState, &lineState}, {}, step);
        else
          bits.all({&tapState, &lineState}, {}, pass);
      }
      bits.all({&tapState, &lineState}, {300}, fixed);
    }
  }
}

template <class T, class X, class Step, class Single, class Block>
void lms(Bits& bits, void(MOX_CALL* init)(int32_t, const T*, int32_t, const X*, float, float, int32_t, LmsState*),
         Step step, Single single, Block block) {
  for (const int32_t len : {1, 16, 50, 256}) {
    const std::vector<T> taps = bits.values<T>(static_cast<size_t>(len));
    for (const float leak : {0.0f, 0.001f}) {
      LmsState state = {};
      init(0, taps.data(), len, nullptr, 0.0001f, leak, 1, &state);
      for (int i = 0; i < 20; ++i) bits.all({&state}, {}, step, single);
      bits.all({&state}, {500}, block);
      moxLmsFree(&state);
    }
  }
}

void filters(Bits& bits) {
  lowFir(bits, moxsFirlInitMr, moxsFirlInitDlyl, moxsFirlSetDlyl, F(moxsbFirl), F(moxsFirl));
  lowFir(bits, moxdFirlInitMr, moxdFirlInitDlyl, moxdFirlSetDlyl, F(moxdbFirl), F(moxdFirl));
  lowFir(bits, moxcFirlInitMr, moxcFirlInitDlyl, moxcFirlSetDlyl, F(moxcbFirl), F(moxcFirl));
  lowFir(bits, moxzFirlInitMr, moxzFirlInitDlyl, moxzFirlSetDlyl, F(moxzbFirl), F(moxzFirl));
  lowFir(bits, moxcFirlInitMr, moxsFirlInitDlyl, moxsFirlSetDlyl, F(moxscbFirl), F(moxscFirl));
  lowFir(bits, moxsFirlInitMr, moxcFirlInitDlyl, moxcFirlSetDlyl, F(moxcsbFirl), F(moxcsFirl));
  lowFir(bits, moxzFirlInitMr, moxdFirlInitDlyl, moxdFirlSetDlyl, F(moxdzbFirl), F(moxdzFirl));
  lowFir(bits, moxdFirlInitMr, moxzFirlInitDlyl, moxzFirlSetDlyl, F(moxzdbFirl), F(moxzdFirl));
  fir(bits, moxsFirInitMr, F(moxsbFir), F(moxsFir));
  fir(bits, moxdFirInitMr, F(moxdbFir), F(moxdFir));
  fir(bits, moxcFirInitMr, F(moxcbFir), F(moxcFir));
  fir(bits, moxzFirInitMr, F(moxzbFir), F(moxzFir));
  fir(bits, moxscFirInitMr, F(moxscbFir), F(moxscFir));
  fir(bits, moxcsFirInitMr, F(moxcsbFir), F(moxcsFir));
  fir(bits, moxdzFirInitMr, F(moxdzbFir), F(moxdzFir));
  fir(bits, moxzdFirInitMr, F(moxzdbFir), F(moxzdFir));
  lowIir(bits, moxsIirlInit, moxsIirlInitBq, moxsIirlInitDlyl, F(moxsbIirl), F(moxsIirl));
  lowIir(bits, moxdIirlInit, moxdIirlInitBq, moxdIirlInitDlyl, F(moxdbIirl), F(moxdIirl));
  lowIir(bits, moxcIirlInit, moxcIirlInitBq, moxcIirlInitDlyl, F(moxcbIirl), F(moxcIirl));
  lowIir(bits, moxzIirlInit, moxzIirlInitBq, moxzIirlInitDlyl, F(moxzbIirl), F(moxzIirl));
  lowIir(bits, moxcIirlInit, moxcIirlInitBq, moxcIirlInitDlyl, F(moxscbIirl), F(moxscIirl));
  lowIir(bits, moxsIirlInit, moxsIirlInitBq, moxcIirlInitDlyl, F(moxcsbIirl), F(moxcsIirl));
  lowIir(bits, moxzIirlInit, moxzIirlInitBq, moxzIirlInitDlyl, F(moxdzbIirl), F(moxdzIirl));
  lowIir(bits, moxdIirlInit, moxdIirlInitBq, moxzIirlInitDlyl, F(moxzdbIirl), F(moxzdIirl));
  iir(bits, moxsIirInit, moxsIirInitBq, F(moxsbIir), F(moxsIir));
  iir(bits, moxdIirInit, moxdIirInitBq, F(moxdbIir), F(moxdIir));
  iir(bits, moxcIirInit, moxcIirInitBq, F(moxcbIir), F(moxcIir));
  iir(bits, moxzIirInit, moxzIirInitBq, F(moxzbIir), F(moxzIir));
  iir(bits, moxscIirInit, moxscIirInitBq, F(moxscbIir), F(moxscIir));
  iir(bits, moxcsIirInit, moxcsIirInitBq, F(moxcsbIir), F(moxcsIir));
  iir(bits, moxdzIirInit, moxdzIirInitBq, F(moxdzbIir), F(moxdzIir));
  iir(bits, moxzdIirInit, moxzdIirInitBq, F(moxzdbIir), F(moxzdIir));
  for (const int32_t mode : kScaleModes) {
    lowFir(bits, moxwFirlInitMr, moxwFirlInitDlyl, moxwFirlSetDlyl, F(moxwbFirl), F(moxwFirl), mode);
    fir(bits, moxwFirInitMr, F(moxwbFir), F(moxwFir), mode);
    lowIir(bits, moxwIirlInit, moxwIirlInitBq, moxwIirlInitDlyl, F(moxwbIirl), F(moxwIirl), mode);
    iir(bits, moxwIirInit, moxwIirInitBq, F(moxwbIir), F(moxwIir), mode);
  }
  bits.amplitude = 1;
  lowLms(bits, moxsLmslInitMr, moxsLmslInitDlyl, F(moxsLmsl), F(moxsbLmsl), F(moxsbLmslNa));
  lowLms(bits, moxdLmslInitMr, moxdLmslInitDlyl, F(moxdLmsl), F(moxdbLmsl), F(moxdbLmslNa));
  lowLms(bits, moxcLmslInitMr, moxcLmslInitDlyl, F(moxcLmsl), F(moxcbLmsl), F(moxcbLmslNa));
  lowLms(bits, moxzLmslInitMr, moxzLmslInitDlyl, F(moxzLmsl), F(moxzbLmsl), F(moxzbLmslNa));
  lowLms(bits, moxcLmslInitMr, moxsLmslInitDlyl, F(moxscLmsl), F(moxscbLmsl), F(moxscbLmslNa));
  lowLms(bits, moxzLmslInitMr, moxdLmslInitDlyl, F(moxdzLmsl), F(moxdzbLmsl), F(moxdzbLmslNa));
  lms(bits, moxsLmsInit, F(moxsLms), F(moxsLmsDes), F(moxsbLmsDes));
  lms(bits, moxdLmsInit, F(moxdLms), F(moxdLmsDes), F(moxdbLmsDes));
  lms(bits, moxcLmsInit, F(moxcLms), F(moxcLmsDes), F(moxcbLmsDes));
  lms(bits, moxzLmsInit, F(moxzLms), F(moxzLmsDes), F(moxzbLmsDes));
  lms(bits, moxscLmsInit, F(moxscLms), F(moxscLmsDes), F(moxscbLmsDes));
  lms(bits, moxdzLmsInit, F(moxdzLms), F(moxdzLmsDes), F(moxdzbLmsDes));
  bits.amplitude = 4;
}

}  // namespace

int main() {
  moxSetErrMode(MOX_ErrModeSilent);
  Bits bits;
  arithmetic(bits);
  vectors(bits);
  transforms(bits);
  components(bits);
  filters(bits);
  signals(bits);
  generators(bits);
  bits.print();
}
