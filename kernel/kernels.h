// The inner loops of the library: raw pointers and sizes in, numbers out. Nothing here checks, reports or allocates.
// There is one table of them per instruction set; one is chosen when the library is loaded.
#pragma once
#include <cstddef>
#include <cstdint>

namespace mox::kernel {

class Roots;

// Element-wise arithmetic on n values. Sources and destination are the same array or do not overlap. "Pair" operands
// repeat with period 2, (even, odd), so that one kernel serves a real scalar (v, v) and a complex one (re, im).
template <class T>
struct Arith {
  void (*add)(const T* a, const T* b, T* dst, size_t n);
  void (*sub)(const T* a, const T* b, T* dst, size_t n);  // a - b
  void (*mpy)(const T* a, const T* b, T* dst, size_t n);
  void (*setPair)(T even, T odd, T* dst, size_t n);
  void (*addPair)(T even, T odd, T* dst, size_t n);
  void (*subPair)(T even, T odd, T* dst, size_t n);
  void (*scale)(T val, T* dst, size_t n);
  // n complex values; float32 products are evaluated in float64 and rounded once.
  void (*mpyComplex)(const T* a, const T* b, T* dst, size_t n);
  void (*scaleComplex)(T re, T im, T* dst, size_t n);
  void (*conj)(const T* src, T* dst, size_t n);      // flips the sign bit of every imaginary part
  void (*conjFlip)(const T* src, T* dst, size_t n);  // dst[n-1-i] = conj(src[i]); no overlap
};

// Elementary functions of n values each, by no library but this one; each at most 1 ulp off. Sources and destinations
// are the same arrays (the interleaved ones too, where input and output are) or do not overlap. What a value becomes
// depends on nothing but itself. Results have the same bits on every set with fused multiply-add, those of both
// magnitudes on every set.
template <class T>
struct Elementary {
  void (*exp)(const T* src, T* dst, size_t n);  // overflows to inf, underflows through subnormals to 0
  void (*ln)(const T* src, T* dst, size_t n);   // of 0: -inf, of negative values: NaN
  void (*sinCos)(const T* src, T* sine, T* cosine, size_t n);

  // Of n complex values in two arrays or interleaved.
  //   magnitude  sqrt(re^2 + im^2) without overflow or underflow in between; that of float32 is what float64 gives,
  //              rounded once. NaN if either part is, else infinite if either part is.
  //   phase      atan2(im, re) in (-pi, pi]; negative zeros count as positive ones, the phase of 0 is 0.
  void (*magnitude)(const T* re, const T* im, T* dst, size_t n);
  void (*magnitudeComplex)(const T* src, T* dst, size_t n);
  void (*phase)(const T* re, const T* im, T* dst, size_t n);
  void (*phaseComplex)(const T* src, T* dst, size_t n);
  // Both at once.
  void (*toPolar)(const T* re, const T* im, T* magnitude, T* phase, size_t n);
  void (*toPolarComplex)(const T* src, T* magnitude, T* phase, size_t n);
  // magnitude (cos phase, sin phase); 1.007 ulp was seen in float32 (1.5 without fused multiply-add)
  void (*toCartesian)(const T* magnitude, const T* phase, T* re, T* im, size_t n);
  void (*toCartesianComplex)(const T* magnitude, const T* phase, T* dst, size_t n);
};

// Transforms of N = 2^order complex values, natural order in and out, in place or not (input and output are the same
// arrays or do not overlap). forward: X[k] = sum of x[n] e^(-2 pi i k n / N); inverse: the conjugate roots, every
// output multiplied by scale. The split form keeps real and imaginary parts in two arrays, runs forward (exchange the
// two parts on both sides for the inverse) and scales.
//
// Each order reads a table that build() made: tableBytes(order) bytes, 64-byte aligned, scratch space included, so two
// transforms must not use one table at the same time. `in` may be unaligned to anything but its element.
//
// float32, orders 3 to 10: the map is the split-radix decimation in frequency whose butterfly at k = L/8 of every block
// uses 0.70710700750350952 for the square root of one half; all other transforms are exact but for rounding.
template <class T>
struct Fft {
  using Interleaved = void (*)(const T* in, T* out, T* table, T scale);
  using Split = void (*)(const T* inRe, const T* inIm, T* outRe, T* outIm, T* table, T scale);

  uint64_t (*tableBytes)(int order);
  void (*build)(int order, const Roots& roots, T* table);
  Interleaved forward[32];
  Interleaved inverse[32];
  Split split[32];

  // N = 2^order real values and their spectrum X[0..N/2], through the table of order - 1; order >= 1, in place or not.
  // The spectrum stands as X[0], X[N/2], Re X[1], Im X[1], ... Re X[N/2-1], Im X[N/2-1]: N values.
  //   toSpectrum: X[k] = scale * sum of x[n] e^(-+2 pi i k n / N)
  //   toSignal:   x[n] = scale * sum over all k of X[k] e^(-+2 pi i k n / N), X[N-k] = conj X[k]; the first two values
  //               come as arguments, `bins` points at Re X[1] and may be any address.
  // Index 0 takes the upper sign (forward) and ignores scale, index 1 the lower one (inverse).
  using ToSpectrum = void (*)(const T* x, T* spectrum, T* table, T scale);
  using ToSignal = void (*)(T first, T middle, const T* bins, T* x, T* table, T scale);
  // In place, x may also be one element above bins - 2 (X[1] at x[1]).
  ToSpectrum toSpectrum[2][32];
  ToSignal toSignal[2][32];

  // Two real signals of 2^order values, order >= 1, through split[order] and that order's table.
  //   splitTwo: from Z = X + i Y, real parts in x, imaginary parts in y, to X[0..N/2] in x and Y[0..N/2] in y as pairs
  //             (re, im), N + 2 values each; the imaginary parts of k = 0 and N/2 are zero.
  //   joinTwo:  the reverse, those four imaginary parts ignored; re may be x and im may be y, no other overlap.
  void (*splitTwo[32])(T* x, T* y, T* table);
  void (*joinTwo[32])(const T* x, const T* y, T* re, T* im, T* table);

  // dst *= a: n > 1 complex values. Rounded like the transforms, product by product, where Arith::mpyComplex evaluates
  // float32 in float64: in a spectrum that precision would be lost again on the way back.
  void (*multiply)(const T* a, T* dst, size_t n);
};

// X[k] = scale * sum of x[i] w[k i mod n], i ascending, or of x[i] conj(w[k i mod n]), n >= 1 complex values; products
// and sums in float64. w are the n roots of unity; out and x do not overlap.
template <class T>
struct Dft {
  using Run = void (*)(const T* x, T* out, const T* w, int32_t n, double scale);
  Run forward;
  Run inverse;
};

// int16 from wider values times 2^-factor: floats truncated toward zero after the exact scaling, integers shifted.
// wrapped keeps the low 16 bits, saturated limits to -32768 ... 32767. src and dst do not overlap.
struct Scale {
  void (*floatsWrapped)(const float* src, int16_t* dst, size_t n, int32_t factor);
  void (*floatsSaturated)(const float* src, int16_t* dst, size_t n, int32_t factor);
  void (*intsWrapped)(const int32_t* src, int16_t* dst, size_t n, int32_t factor);
  void (*intsSaturated)(const int32_t* src, int16_t* dst, size_t n, int32_t factor);
  void (*toFloats)(const int16_t* src, float* dst, size_t n);  // the way there
  // The element of largest magnitude, n > 0: the last one if n is odd and it is one of several, else the first.
  size_t (*indexOfLargestFloat)(const float* src, size_t n);
  size_t (*indexOfLargestInt)(const int32_t* src, size_t n);

  size_t indexOfLargest(const float* src, size_t n) const { return indexOfLargestFloat(src, n); }
  size_t indexOfLargest(const int32_t* src, size_t n) const { return indexOfLargestInt(src, n); }
};

// One operation on n int16 values (n/2 complex ones, n even), sources and destination equal or disjoint. The exact
// result v becomes v * 2^-factor, rounded down; its low 16 bits are kept, or it is limited. Saturating with a factor of
// -2 or less, every negative v gives -32768. The second operand is an array, or (even, odd) over and over; then the
// first is dst itself.
struct Int16Op {
  void (*combine)(const int16_t* a, const int16_t* b, int16_t* dst, size_t n, bool saturate, int32_t factor);
  void (*combinePair)(int16_t even, int16_t odd, int16_t* dst, size_t n, bool saturate, int32_t factor);
  // The least factor >= 0 with which every result fits.
  int32_t (*autoFactor)(const int16_t* a, const int16_t* b, size_t n);
  // The combination with that factor, and the factor.
  int32_t (*automatic)(const int16_t* a, const int16_t* b, int16_t* dst, size_t n);
  int32_t (*automaticPair)(int16_t even, int16_t odd, int16_t* dst, size_t n);
};
struct Int16 {
  Int16Op add, sub, mpy;
  // Where a.im b.re = 2^30 the imaginary part is that term alone; with the automatic factor (autoFactor,
  // automatic, and shiftComplex, the combination with a factor of autoFactor) it counts as 2^31.
  Int16Op mpyComplex;
  void (*shiftComplex)(const int16_t* a, const int16_t* b, int16_t* dst, size_t n, int32_t factor);
  void (*fillPair)(int16_t even, int16_t odd, int16_t* dst, size_t n);
  void (*copy)(const int16_t* src, int16_t* dst, size_t n);
  void (*conj)(const int16_t* src, int16_t* dst, size_t n);      // n complex values
  void (*conjFlip)(const int16_t* src, int16_t* dst, size_t n);  // dst[n-1-i] = conj(src[i]); no overlap
};

// Sums of a[i] b[i] in float64, of conj(a[i]) b[i] where the name says so; complex sums are left in reIm[2]. Up to 16
// elements in their order, longer ones in 16 lanes. n may be 0.
template <class T>
struct Dot {
  double (*real)(const T* a, const T* b, size_t n);
  void (*complex)(const T* a, const T* b, size_t n, double* reIm);
  void (*conjComplex)(const T* a, const T* b, size_t n, double* reIm);
  void (*realComplex)(const T* a, const T* b, size_t n, double* reIm);
};
// The same modulo 2^32.
struct Dot16 {
  int32_t (*real)(const int16_t* a, const int16_t* b, size_t n);
  void (*complex)(const int16_t* a, const int16_t* b, size_t n, int32_t* reIm);
  void (*conjComplex)(const int16_t* a, const int16_t* b, size_t n, int32_t* reIm);
  void (*realComplex)(const int16_t* a, const int16_t* b, size_t n, int32_t* reIm);
};

// A filter that takes every sample to `up` places (the first to upPhase), with zeros between, and every `down`th result
// from downPhase on; 0 <= phase < factor. Tap k of branch b multiplies the k-th newest sample of those outputs that
// b = (place - upPhase) mod up. In natural order it is taps[b + k up]; grouped, the branches stand one after another,
// each with its last tap first.
struct FirShape {
  size_t taps, up, upPhase, down, downPhase;
  bool grouped;
};
// x[j] = input[j], before that x[-1 - i] = newest[i step]; complex samples are two values, which `step` counts as one.
template <class T>
struct FirSignal {
  const T* input;
  const T* newest;
  ptrdiff_t step;
};
// periods * down samples in, periods * up results out. No overlap; of the history as many samples are read as a branch
// has taps at most (one less where both factors are 1). The sums run in float64 and in an order that depends on the
// shape alone.
template <class T>
struct Fir {
  using Block = void (*)(const FirShape& shape, const T* taps, const FirSignal<T>& signal, T* out, size_t periods);
  Block real;
  Block complexSamples;  // through real taps
  Block complexTaps;     // on real samples
  Block complex;
};

// A long single-rate filter by products of polynomials, stretches of the signal times the taps. A stretch of 2^order
// complex values is as many complex samples or twice as many real ones; there are two lengths, the larger one for what
// has more samples than two of the smaller one.
struct FirStretch {
  double* table;     // of twiddles
  double* response;  // the filter's parts
  double bound;      // of the error of a result, by the 2-norm of the stretch
};
// What setTaps() and block() need, in arrays that the caller owns.
struct FirPlan {
  int order;     // of the smaller stretches, at least 7; they have more samples than the filter has taps
  size_t count;  // taps
  size_t least;  // results for which a stretch pays
  FirStretch stretches[2];
  double* work;  // the signal's parts
  float* line;   // a stretch of the signal, where that is not in one piece
  float* results;
};
// As Fir::Block for groups of one branch (the last tap first), up = down = 1, the history an array (step -1): every
// result is within 2^-26 of itself of its sum in float64, then rounded.
struct FirFast {
  size_t (*layout)(FirPlan& plan, double* memory);              // how many float64 a plan takes; sets its pointers
  void (*buildTable)(const FirPlan& plan, const Roots& roots);  // of order plan.order + 2
  void (*setTaps)(FirPlan& plan, const float* taps);
  void (*block)(const FirPlan& plan, const FirShape& shape, const float* taps, const FirSignal<float>& signal,
                float* out, size_t n);
};

// Sums of conj(a[n]) b[n + k] over n, for neighbouring lags k, and what leads to them through transforms.
template <class T>
struct Correlation {
  // sums[i] = sum over n < lenA of conj(a[n]) b[at + n + i], i < count, in float64; b is 0 outside of its lenB values.
  // Sums that come out as NaN may have met an infinity with a zero that is no term. At most kLagSums reals; lenA > 0.
  // The order of a sum depends on lenA and count alone.
  using Slide = void (*)(const T* a, size_t lenA, const T* b, size_t lenB, ptrdiff_t at, double* sums, size_t count);
  Slide real;
  Slide realComplex;  // a real, b complex
  Slide complexReal;
  Slide complex;

  // Spectra of n complex values, a multiple of 16; those of real signals (of 2n values) as Fft leaves them. dst may be
  // a or b. next is the spectrum of what follows a in a signal, half a transform's length on; both had as many zeros
  // behind them, so a[i] + (-1)^i next[i] is the spectrum of both together.
  void (*products)(const T* a, const T* b, T* dst, size_t n, bool real);           // conj(a[i]) b[i]
  void (*addProducts)(const T* a, const T* b, double* sums, size_t n, bool real);  // that, added to sums
  // sums[i] += conj(a[i]) (a[i] + (-1)^i next[i])
  void (*addNeighbourProducts)(const T* a, const T* next, double* sums, size_t n, bool real);

  // Results, and whether none is NaN: n sums times factor; and n values of 1 or 2 parts, the k-th times 1/(len - k).
  // src may be dst.
  bool (*round)(const double* sums, T* dst, size_t n, double factor);
  bool (*unbiasSums)(const double* sums, T* dst, size_t n, size_t parts, double len);
  bool (*unbias)(const T* src, T* dst, size_t n, size_t parts, double len);
};
constexpr size_t kLagSums = 256;

// Sums modulo 2^32.
struct Fir16 {
  void (*real)(const FirShape& shape, const int16_t* taps, const FirSignal<int16_t>& signal, int32_t* out,
               size_t periods);
};

// A two-dimensional array, row after row.
template <class T>
struct Plane {
  const T* values;
  size_t rows, cols;
};
// Convolution through transforms of 2^rowOrder rows and 2^colOrder columns, each order at least 1: what setTaps() and
// block() need, in arrays that the caller owns.
template <class T>
struct PlanePlan {
  int rowOrder, colOrder;
  size_t tapRows, tapCols;  // no more than the transform has
  T* rowTable;              // of the real transform of order colOrder
  T* colTable;              // of the complex transform of order rowOrder
  T* block;                 // blockElements()
  T* response;              // responseElements(): the taps' spectrum
};
// Rows and columns of the convolution of image and taps, y[r][c] = sum over i, j of taps[i][j] image[r - i][c - j]:
// those from (top, left) on, top < image.rows + taps.rows - 1, and likewise the columns. No overlap.
template <class T>
struct PlaneKernels {
  // Sums in float64, rounded once, in an order that depends on the taps' shape alone. Either may be the larger one.
  void (*direct)(const Plane<T>& image, const Plane<T>& taps, size_t top, size_t left, T* out, size_t rows,
                 size_t cols);
  uint64_t (*blockElements)(int rowOrder, int colOrder);
  uint64_t (*responseElements)(int rowOrder, int colOrder);
  void (*setTaps)(const PlanePlan<T>& plan, const Plane<T>& taps);
  // rows + plan.tapRows - 1 <= 2^rowOrder; or, with top = 0, no more rows than that which all of the convolution has.
  // Columns likewise. A row of results is outPitch values after the one before.
  void (*block)(const PlanePlan<T>& plan, const Plane<T>& image, size_t top, size_t left, T* out, size_t outPitch,
                size_t rows, size_t cols);
};

// One companding law (its codes stand in moxa1.h) for the four sample types; src and dst do not overlap.
struct Companding {
  void (*encode16)(const int16_t* src, uint8_t* dst, size_t n);
  void (*encodeInt)(const int32_t* src, uint8_t* dst, size_t n);
  void (*encode32)(const float* src, uint8_t* dst, size_t n);
  void (*encode64)(const double* src, uint8_t* dst, size_t n);
  void (*decode16)(const uint8_t* src, int16_t* dst, size_t n);
  void (*decodeInt)(const uint8_t* src, int32_t* dst, size_t n);
  void (*decode32)(const uint8_t* src, float* dst, size_t n);
  void (*decode64)(const uint8_t* src, double* dst, size_t n);
};

// Bit reversal of 2^order elements of 2, 4, 8 or 16 bytes (index 0 to 3), of any alignment: element i goes to the place
// whose index is i with its low `order` bits in reverse. dst and src do not overlap.
struct BitReversal {
  void (*inPlace[4])(void* x, int order);
  void (*copy[4])(const void* src, void* dst, int order);
};

// Element-wise functions and statistics; src and dst are the same array or disjoint. "raise" replaces what lies below
// the threshold, "lower" what lies above it, complex values keep their phase.
template <class T>
struct Elementwise {
  bool (*sqrt)(const T* src, T* dst, size_t n);  // negative values stay; whether there are any
  void (*raise)(const T* src, T* dst, size_t n, T thresh);
  void (*lower)(const T* src, T* dst, size_t n, T thresh);
  void (*invert)(const T* src, T* dst, size_t n, T thresh, T floor);  // 1/x if |x| > thresh, else +-floor
  void (*abs)(const T* src, T* dst, size_t n);
  void (*sqrtComplex)(const T* src, T* dst, size_t n);
  void (*raiseComplex)(const T* src, T* dst, size_t n, T thresh);
  void (*lowerComplex)(const T* src, T* dst, size_t n, T thresh);
  void (*invertComplex)(const T* src, T* dst, size_t n, T thresh, T floor);  // (floor, 0) for zero
  T (*largest)(const T* src, size_t n);
  T (*smallest)(const T* src, size_t n);
  bool (*mean)(const T* src, size_t n, T* mean);      // the exact one, rounded, or false where that takes another way
  void (*sum)(const T* src, size_t n, double* hiLo);  // the exact sum is hiLo[0] + hiLo[1] to about 100 bits
  double (*sumOfSquares)(const T* src, size_t n);     // in 32 lanes
};
struct Elementwise16 {
  bool (*sqrt)(const int16_t* src, int16_t* dst, size_t n);  // truncated; the same
  void (*raise)(const int16_t* src, int16_t* dst, size_t n, int16_t thresh);
  void (*lower)(const int16_t* src, int16_t* dst, size_t n, int16_t thresh);
  void (*abs)(const int16_t* src, int16_t* dst, size_t n);  // saturates
  int16_t (*largest)(const int16_t* src, size_t n);
  int16_t (*smallest)(const int16_t* src, size_t n);
  int64_t (*sum)(const int16_t* src, size_t n);
  uint64_t (*sumOfSquares)(const int16_t* src, size_t n);
};

// Recursive filters: n samples through one whose delay line is `delay`. Arrays hold parts of values. Sums run in
// float64; delay values are widened when a call begins and rounded when it ends. in and out are the same array or apart
// (apart where their types differ).
//   biquads  size sections; taps: the gain, then a1, a2, b1, b2 of each; w = x - a1 d1 - a2 d2, y = w + b1 d1 + b2 d2;
//   the
//            delay line holds d1, d2 of each
//   direct   size N; taps: b0 ... bN, a1 ... aN; y = b0 x + d[0], d[i-1] = d[i] + b_i x - a_i y, d[N] = 0
// A delay line of more than 128 values is rounded at times during the call.
template <class T>
struct Iir {
  using Filter = void (*)(const T* taps, size_t size, T* delay, const T* in, T* out, size_t n);
  struct Form {
    Filter biquads, direct;
  };
  Form real;
  Form realTaps;  // complex samples
  Form complex;
  Form realSamples;  // complex taps, delay line and results
};

// One bin of a spectrum after n >= 1 samples: s = (x + 2 cos w d1) - d2 in float64, d2 = d1, d1 = s rounded; in the end
// y = e^(iw) s - (the d1 before) from the last s. roots: cos w, sin w, 2 cos w; delays: d2, d1, (re, im) each, of which
// real signals leave im alone; y is complex.
template <class T>
struct Goertzel {
  using Run = void (*)(const T* roots, T* delays, const T* x, size_t n, T* y);
  Run real;
  Run complex;
};

// Between floating point and integers.
enum class Rounding { nearest, zero, down, up };  // nearest: ties to even
enum class IntegerType { int8, uint8, int16, uint16, int32, uint32 };
enum class OutOfRange { keep, saturate, stop };

template <class T>
struct Conversion {
  // dst[i] = src[i] * scale rounded, whatever the thread's rounding mode; scale is a power of two >= 1. What is out of
  // range (moxa1.h) leaves dst as it is, or gives the nearest end of the range and NaN the lower one, or ends the call.
  // Returns the number of elements done. dst may be src if the sizes are equal.
  using ToIntegers = size_t (*)(const T* src, void* dst, size_t n, T scale, OutOfRange action);
  ToIntegers toIntegers[4][6];  // by Rounding and IntegerType
  // dst[i] = src[i] * scale, the conversion rounded to nearest; scale is a power of two <= 1.
  using FromIntegers = void (*)(const void* src, T* dst, size_t n, T scale);
  FromIntegers fromIntegers[6];  // by IntegerType
};

// n complex values and their parts, any bits. Only in real and imaginary may dst begin where src does.
template <class T>
struct Separation {
  void (*real)(const T* src, T* dst, size_t n);
  void (*imaginary)(const T* src, T* dst, size_t n);
  void (*split)(const T* src, T* re, T* im, size_t n);
  void (*join)(const T* re, const T* im, T* dst, size_t n);
};

// Of n complex int16 values: the low 16 bits of floor(sqrt(re^2 + im^2)), and atan2(im, re) * 16383/pi toward zero. dst
// may begin where a source does.
struct Polar16 {
  void (*magnitude)(const int16_t* re, const int16_t* im, int16_t* dst, size_t n);
  void (*magnitudeComplex)(const int16_t* src, int16_t* dst, size_t n);
  void (*phase)(const int16_t* re, const int16_t* im, int16_t* dst, size_t n);
  void (*phaseComplex)(const int16_t* src, int16_t* dst, size_t n);
};

// Filters that adapt by the leaky least-mean-squares rule. d is the delay line, newest sample first; places outside of
// it hold 0.
struct LmsShape {
  size_t taps;
  size_t length;  // of the delay line
  size_t down;    // new samples a period
  size_t first;   // the place in the delay line of tap 0
  size_t past;    // the place of the sample that tap 0 adapts to
  double step, leak;
};
// periods times: taps[i] = (1 - leak) taps[i] + step error conj(d[past + i]), i < taps; `down` samples of `in` enter d;
// out = sum of taps[i] d[first + i], in float64; error = desired - that sum, unless desired is null. Each step is
// rounded to T, the error is not. Arrays hold parts of values and do not overlap.
template <class T>
struct Lms {
  using Run = void (*)(const LmsShape& shape, T* taps, T* dlyl, const T* in, const T* desired, T* out, double* error,
                       size_t periods);
  Run real;
  Run complex;
  Run realSamples;  // complex taps
};

// Changes of the sampling rate by a factor of 2 or more, of n >= 1 elements of 2, 4, 8 or 16 bytes (index 0 to 3), of
// any alignment. dst begins where src does or shares nothing with it.
//   up:   dst[phase + factor i] = src[i], i < n, all else up to dst[factor n - 1] is zero; phase < factor
//   down: dst[i] = src[factor i], i < n
struct Sampling {
  void (*up[4])(const void* src, void* dst, size_t n, size_t factor, size_t phase);
  void (*down[4])(const void* src, void* dst, size_t n, size_t factor);
};

// The generator behind all random numbers. A draw, modulo 2^32:
//   d = hist[1] - (hist[2] + borrow)
//   borrow = hist[1] <= hist[2] + borrow, as signed numbers;  d -= 18 borrow
//   hist = (d, hist[0], hist[1]);  lcg = 69069 lcg + 1013904243
// and the value is d + lcg, a signed number.
struct DrawState {
  uint32_t lcg;
  uint32_t borrow;  // 0 or 1
  uint32_t hist[3];
};
// Evaluated in float64, rounded to T.
template <class T>
struct Random {
  void (*uniform)(DrawState& state, double mid, double scale, T* dst, size_t n);  // draw * scale + mid
  // Two draws a, b in units of 2^31 with 0 < s = a^2 + b^2 < 1, others are thrown away, give mean + stdDev a f and mean
  // + stdDev b f, f = sqrt(-2 ln(s) / s). No draw is made but for a pair that is still missing.
  void (*gaussianPairs)(DrawState& state, double mean, double stdDev, T* dst, size_t pairs);
};

// A symmetric window over n elements: weights w(i) for i < n/2 and for their mirror images n - 1 - i, in float64.
//   linear  i a[0]
//   cosine  a[0] - c (a[1] + a[2] c), c = cos(2 pi i / (n - 1)) within 2^-51
//   kaiser  I0(a[0] sqrt(i (n - 1 - i))) / I0(a[0] (n - 1) / 2), whose argument is at most 308
struct WindowShape {
  enum Kind { linear, cosine, kaiser } kind;
  double a[3];
};
// x[i] *= w(i), rounded to T, integers toward zero; n >= 3 elements, complex ones have two values. The middle one of an
// odd n is multiplied twice by its weight, for which c is -1.
template <class T>
struct Window {
  void (*real)(const WindowShape& shape, T* x, int32_t n);
  void (*complex)(const WindowShape& shape, T* x, int32_t n);
};

// Periodic signals, n values or (re, im) pairs at a time, in float64 and then rounded: integers to nearest, saturating.
struct TriangleShape {
  double mag, downStep, upStep, downRatio, upRatio;
};
template <class T>
struct Generator {
  // y[k] = twoCos y[k-1] - y[k-2], history: y[-1], y[-2], both then the last two outputs. Long runs evaluate the same
  // sinusoid of `frequency`, 0 <= frequency < 1/2, directly; complex ones from y[-1] alone.
  using Tone = void (*)(double frequency, double twoCos, double* history, T* out, size_t n);
  Tone tone, toneComplex;
  // Outputs the value, then adds the step and turns at the peaks.
  using Triangle = void (*)(const TriangleShape& shape, double* values, double* steps, T* out, size_t n);
  Triangle triangle, triangleComplex;
};

struct Kernels {
  const char* name;
  void (*copyWords)(const uint32_t* src, uint32_t* dst, size_t n);  // of any type; no overlap
  Arith<float> arith32;
  Arith<double> arith64;
  Elementary<float> elementary32;
  Elementary<double> elementary64;
  Scale scale;
  Int16 int16;
  Dot<float> dot32;
  Dot<double> dot64;
  Dot16 dot16;
  Fir<float> fir32;
  Fir<double> fir64;
  Fir16 fir16;
  Correlation<float> correlation32;
  Correlation<double> correlation64;
  FirFast firFastReal, firFastComplexSamples, firFastComplex;
  Companding aLaw, muLaw;
  Elementwise<float> elementwise32;
  Elementwise<double> elementwise64;
  Elementwise16 elementwise16;
  Iir<float> iir32;
  Iir<double> iir64;
  Goertzel<float> goertzel32;
  Goertzel<double> goertzel64;
  Conversion<float> conversion32;
  Conversion<double> conversion64;
  Separation<float> separation32;
  Separation<double> separation64;
  Separation<int16_t> separation16;
  Polar16 polar16;
  Lms<float> lms32;
  Lms<double> lms64;
  Window<float> window32;
  Window<double> window64;
  Window<int16_t> window16;
  Generator<float> generator32;
  Generator<double> generator64;
  Generator<int16_t> generator16;
  BitReversal bitReversal;
  Dft<float> dft32;
  Dft<double> dft64;
  Sampling sampling;
  Random<float> random32;
  Random<double> random64;
  Fft<float> fft32;
  Fft<double> fft64;
  PlaneKernels<float> plane32;
  PlaneKernels<double> plane64;
};

enum class Level { sse2, avx2, avx512 };

// The table in use: the best that processor and operating system support, chosen at load.
extern const Kernels* active;

// The table of one level; null when this build or this machine has not got it.
const Kernels* at(Level level);

}  // namespace mox::kernel
