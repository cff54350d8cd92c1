/**
 * @file moxa1.h
 * moxa1: signal processing on arrays of samples. Plain C interface of the library and of the 32-bit Windows module.
 *
 * @section names Names
 * `mox` + type letters + `b` for the vector form + operation + variant. Type letters: `s` float32, `d` float64,
 * `c` complex float32, `z` complex float64, `w` int16, `v` complex int16, `i` int32, `j` complex int32. Variants of the
 * vector forms: `1` updates a vector with a scalar (or alone), `2` updates `dst` with `src`, `3` writes `dst` from two
 * sources. `Nip` means not in place.
 *
 * @section arguments Arguments
 * Arrays belong to the caller and need only the alignment of their element. Counts are signed 32-bit numbers of
 * elements; a complex element counts once. Unless a function says otherwise, a destination may be one of its sources.
 *
 * @section errors Errors
 * No function throws. Every violated condition is reported through the calling thread's error handler with the status
 * `MOX_StsBadArg`, the function's name, the condition as text (for example "n<=0"), the name of the source module and a
 * line; then the function returns without having read or written an array, a pointer result is null, a number 0.
 * All conditions of a function are tested, in the order in which its description lists them.
 *
 * The thread's status is sticky: while it is negative, every function that does not clear it on entry returns without
 * doing its work, after its own checks. Set it back with moxSetErrStatus(MOX_StsOk). Exempt are the functions of the
 * groups "Errors" and "Memory and version", the operations on single complex values (but moxvAdd, moxvSub and moxvMpy)
 * and what says so itself.
 *
 * A new thread starts in mode MOX_ErrModeLeaf with moxGuiBoxReport as its handler: a report asks, or ends the process.
 * Programs that want to look at the status themselves call moxSetErrMode(MOX_ErrModeParent) or MOX_ErrModeSilent on
 * each of their threads.
 *
 * @section threads Threads
 * All state is per thread. Functions may be called on any number of threads at once, as long as no two of them share a
 * destination or a state record.
 *
 * @section bits Reproducible results
 * Sums and products are evaluated in a fixed order, whatever the alignment. Results have the same bits on every
 * processor with fused multiply-add (AVX2 or later) and in both products; on older processors transforms, filters,
 * float64 dot products and mean powers, logarithms, exponentials and polar forms may differ in the last place. The
 * floating-point state of the calling thread (rounding mode, flush-to-zero) acts on the arithmetic of the samples as
 * the processor defines it, and processors may then differ in the last place; tables are built in the default state.
 */
#ifndef MOXA1_H
#define MOXA1_H

#include <stdint.h>

#if defined(_WIN32)
#  define MOX_CALL __cdecl
#  define MOX_API
#else
#  define MOX_CALL
#  if defined(__GNUC__)
#    define MOX_API __attribute__((visibility("default")))
#  else
#    define MOX_API
#  endif
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** @defgroup types Sample types
 * float32 and float64 are the compiler's `float` and `double`. Complex samples are (re, im) without gaps.
 * @{ */
typedef struct MoxC {
  float re, im;
} MoxC; /**< complex float32, 8 bytes */
typedef struct MoxZ {
  double re, im;
} MoxZ; /**< complex float64, 16 bytes */
typedef struct MoxV {
  int16_t re, im;
} MoxV; /**< complex int16, 4 bytes */
typedef struct MoxJ {
  int32_t re, im;
} MoxJ; /**< complex int32, 8 bytes */
/** @} */

/** @defgroup errors Errors
 * Status, mode and handler of the calling thread; every thread has its own.
 * @{ */

/** Status codes: 0 is success, negative values are failures. */
enum {
  MOX_StsOk = 0,         /**< "No Error" */
  MOX_StsBackTrace = -1, /**< "Backtrace": a location on the way of an earlier failure; never stored as status */
  MOX_StsError = -2,     /**< "Unknown error" */
  MOX_StsInternal = -3,  /**< "Internal error (bad state)" */
  MOX_StsNoMem = -4,     /**< "Out of memory" */
  MOX_StsBadArg = -5,    /**< "Bad argument" */
  MOX_StsBadFunc = -6,   /**< "Unsupported function" */
  MOX_StsNoConv = -7,    /**< "Iteration convergence failed" */
  MOX_StsAutoTrace = -8  /**< "Autotrace call": like MOX_StsBackTrace */
};

/** Error modes: what the standard handlers do with a report. */
enum {
  MOX_ErrModeLeaf = 0,   /**< show it and end the process (moxGuiBoxReport asks first); the initial mode */
  MOX_ErrModeParent = 1, /**< show it and return to the caller */
  MOX_ErrModeSilent = 2  /**< do nothing; a handler of the caller's own still runs */
};

/** An error handler. `context` and `file` may be null. Its result is the result of moxError. */
typedef int32_t(MOX_CALL* MoxErrorHandler)(int32_t status, const char* funcName, const char* context, const char* file,
                                           int32_t line);

/** The calling thread's status. */
MOX_API int32_t MOX_CALL moxGetErrStatus(void);
/** Stores `status`; moxSetErrStatus(MOX_StsOk) clears a failure. */
MOX_API void MOX_CALL moxSetErrStatus(int32_t status);
/** The calling thread's error mode. */
MOX_API int32_t MOX_CALL moxGetErrMode(void);
/** Stores `mode` unchanged. Under a mode other than the three the standard handlers show, write and end nothing. */
MOX_API void MOX_CALL moxSetErrMode(int32_t mode);
/** Installs `handler` for the calling thread, or moxGuiBoxReport when it is null. @return the handler before. */
MOX_API MoxErrorHandler MOX_CALL moxRedirectError(MoxErrorHandler handler);
/** The central report: stores `status` (not the two trace codes), then, unless it is 0, calls the thread's handler.
 * @return the handler's result; 0 for status 0. */
MOX_API int32_t MOX_CALL moxError(int32_t status, const char* funcName, const char* context, const char* file,
                                  int32_t line);
/** The text of a status. Unknown codes give "Unknown error code -9" or "Unknown status code 5" in a buffer of the
 * thread that the next unknown code overwrites. */
MOX_API const char* MOX_CALL moxErrorStr(int32_t status);

/** Handler: writes the report to the standard error stream; ends the process with code 1 in MOX_ErrModeLeaf. */
MOX_API int32_t MOX_CALL moxStdErrReport(int32_t status, const char* funcName, const char* context, const char* file,
                                         int32_t line);
/** Handler: writes nothing; ends the process with code 1 in MOX_ErrModeLeaf. */
MOX_API int32_t MOX_CALL moxNulDevReport(int32_t status, const char* funcName, const char* context, const char* file,
                                         int32_t line);
/** Handler: shows the report in a message box, which lets the user end the process. Texts longer than the box's buffers
 * (199 characters, caption 99) are cut. Where there are no message boxes it does what moxStdErrReport does. */
MOX_API int32_t MOX_CALL moxGuiBoxReport(int32_t status, const char* funcName, const char* context, const char* file,
                                         int32_t line);

/** The calling thread's context record, for debuggers. Its layout is the library's own. */
MOX_API void* MOX_CALL moxUndContext(void);
/** @} */

/** @defgroup memory Memory and version
 * Arrays aligned to 8 bytes. None of these reads or changes the status; a failed allocation returns null.
 * @{ */

/** `length` bytes, aligned to 8, or null. The size is not checked. */
MOX_API void* MOX_CALL moxMalloc(int32_t length);
/** @name Room for n elements of the letter's type, or null */
/** @{ */
MOX_API float* MOX_CALL moxsMalloc(int32_t n);
MOX_API double* MOX_CALL moxdMalloc(int32_t n);
MOX_API MoxC* MOX_CALL moxcMalloc(int32_t n);
MOX_API MoxZ* MOX_CALL moxzMalloc(int32_t n);
MOX_API int16_t* MOX_CALL moxwMalloc(int32_t n);
MOX_API MoxV* MOX_CALL moxvMalloc(int32_t n);
MOX_API int32_t* MOX_CALL moxiMalloc(int32_t n);
MOX_API MoxJ* MOX_CALL moxjMalloc(int32_t n);
/** @} */
/** Releases a block of the functions above; null is ignored. */
MOX_API void MOX_CALL moxFree(void* ptr);
/** The version text. Do not free or change it. */
MOX_API const char* MOX_CALL moxGetLibVersion(void);
/** @} */

/** @defgroup arithmetic Vector arithmetic
 * Real and complex arithmetic, element by element.
 *
 * float32 complex products and quotients are evaluated in float64 and each part is rounded once; float64 ones evaluate
 * each product and the sum in float64. Elements are processed from the last to the first: with `dst` equal to a source
 * the result is the obvious one, with partly overlapping arrays it is that of the descending order.
 * @{ */

/** @name Single complex values
 * No checks, whatever the status: a+b, a-b, a*b, the conjugate (re, 0.0 - im), the value (re, im). */
/** @{ */
MOX_API MoxC MOX_CALL moxcAdd(MoxC a, MoxC b);
MOX_API MoxC MOX_CALL moxcSub(MoxC a, MoxC b);
MOX_API MoxC MOX_CALL moxcMpy(MoxC a, MoxC b);
MOX_API MoxC MOX_CALL moxcConj(MoxC a);
MOX_API MoxC MOX_CALL moxcSet(float re, float im);
MOX_API MoxZ MOX_CALL moxzAdd(MoxZ a, MoxZ b);
MOX_API MoxZ MOX_CALL moxzSub(MoxZ a, MoxZ b);
MOX_API MoxZ MOX_CALL moxzMpy(MoxZ a, MoxZ b);
MOX_API MoxZ MOX_CALL moxzConj(MoxZ a);
MOX_API MoxZ MOX_CALL moxzSet(double re, double im);
/** @} */
/** @name a / b
 * r = 1 / (b.re^2 + b.im^2), then ((a.re*b.re + a.im*b.im) * r, (a.im*b.re - a.re*b.im) * r); no guard against overflow
 * of the squares. For b = 0 (either sign) it reports "(b.re==0.0)&&(b.im==0.0)" and returns (0, 0). */
/** @{ */
MOX_API MoxC MOX_CALL moxcDiv(MoxC a, MoxC b);
MOX_API MoxZ MOX_CALL moxzDiv(MoxZ a, MoxZ b);
/** @} */

/** @name dst[i] = 0, i = 0 ... n-1
 * Checks: "n<=0", "dst==0". */
/** @{ */
MOX_API void MOX_CALL moxsbZero(float* dst, int32_t n);
MOX_API void MOX_CALL moxcbZero(MoxC* dst, int32_t n);
MOX_API void MOX_CALL moxdbZero(double* dst, int32_t n);
MOX_API void MOX_CALL moxzbZero(MoxZ* dst, int32_t n);
/** @} */
/** @name dst[i] = val, i = 0 ... n-1
 * Checks: "n<=0", "dst==0". */
/** @{ */
MOX_API void MOX_CALL moxsbSet(float val, float* dst, int32_t n);
MOX_API void MOX_CALL moxcbSet(MoxC val, MoxC* dst, int32_t n);
MOX_API void MOX_CALL moxdbSet(double val, double* dst, int32_t n);
MOX_API void MOX_CALL moxzbSet(MoxZ val, MoxZ* dst, int32_t n);
/** @} */
/** @name dst[i] = src[i], any bits, i = 0 ... n-1
 * Checks: "n<=0", "src==0", "dst==0". */
/** @{ */
MOX_API void MOX_CALL moxsbCopy(const float* src, float* dst, int32_t n);
MOX_API void MOX_CALL moxcbCopy(const MoxC* src, MoxC* dst, int32_t n);
MOX_API void MOX_CALL moxdbCopy(const double* src, double* dst, int32_t n);
MOX_API void MOX_CALL moxzbCopy(const MoxZ* src, MoxZ* dst, int32_t n);
/** @} */
/** @name dst[i] = dst[i] + val, i = 0 ... n-1
 * Checks: "n<=0", "dst==0". */
/** @{ */
MOX_API void MOX_CALL moxsbAdd1(float val, float* dst, int32_t n);
MOX_API void MOX_CALL moxcbAdd1(MoxC val, MoxC* dst, int32_t n);
MOX_API void MOX_CALL moxdbAdd1(double val, double* dst, int32_t n);
MOX_API void MOX_CALL moxzbAdd1(MoxZ val, MoxZ* dst, int32_t n);
/** @} */
/** @name dst[i] = dst[i] + src[i], i = 0 ... n-1
 * Checks: "n<=0", "src==0", "dst==0". */
/** @{ */
MOX_API void MOX_CALL moxsbAdd2(const float* src, float* dst, int32_t n);
MOX_API void MOX_CALL moxcbAdd2(const MoxC* src, MoxC* dst, int32_t n);
MOX_API void MOX_CALL moxdbAdd2(const double* src, double* dst, int32_t n);
MOX_API void MOX_CALL moxzbAdd2(const MoxZ* src, MoxZ* dst, int32_t n);
/** @} */
/** @name dst[i] = srcA[i] + srcB[i], i = 0 ... n-1
 * Checks: "n<=0", "srcA==0", "srcB==0", "dst==0". */
/** @{ */
MOX_API void MOX_CALL moxsbAdd3(const float* srcA, const float* srcB, float* dst, int32_t n);
MOX_API void MOX_CALL moxcbAdd3(const MoxC* srcA, const MoxC* srcB, MoxC* dst, int32_t n);
MOX_API void MOX_CALL moxdbAdd3(const double* srcA, const double* srcB, double* dst, int32_t n);
MOX_API void MOX_CALL moxzbAdd3(const MoxZ* srcA, const MoxZ* srcB, MoxZ* dst, int32_t n);
/** @} */
/** @name dst[i] = dst[i] - val, i = 0 ... n-1
 * Checks: "n<=0", "dst==0". */
/** @{ */
MOX_API void MOX_CALL moxsbSub1(float val, float* dst, int32_t n);
MOX_API void MOX_CALL moxcbSub1(MoxC val, MoxC* dst, int32_t n);
MOX_API void MOX_CALL moxdbSub1(double val, double* dst, int32_t n);
MOX_API void MOX_CALL moxzbSub1(MoxZ val, MoxZ* dst, int32_t n);
/** @} */
/** @name dst[i] = dst[i] - val[i], i = 0 ... n-1
 * Checks: "n<=0", "val==0", "dst==0". */
/** @{ */
MOX_API void MOX_CALL moxsbSub2(const float* val, float* dst, int32_t n);
MOX_API void MOX_CALL moxcbSub2(const MoxC* val, MoxC* dst, int32_t n);
MOX_API void MOX_CALL moxdbSub2(const double* val, double* dst, int32_t n);
MOX_API void MOX_CALL moxzbSub2(const MoxZ* val, MoxZ* dst, int32_t n);
/** @} */
/** @name dst[i] = src[i] - val[i], i = 0 ... n-1
 * Checks: "n<=0", "src==0", "val==0", "dst==0". */
/** @{ */
MOX_API void MOX_CALL moxsbSub3(const float* src, const float* val, float* dst, int32_t n);
MOX_API void MOX_CALL moxcbSub3(const MoxC* src, const MoxC* val, MoxC* dst, int32_t n);
MOX_API void MOX_CALL moxdbSub3(const double* src, const double* val, double* dst, int32_t n);
MOX_API void MOX_CALL moxzbSub3(const MoxZ* src, const MoxZ* val, MoxZ* dst, int32_t n);
/** @} */
/** @name dst[i] = dst[i] * val, i = 0 ... n-1
 * Checks: "n<=0", "dst==0". */
/** @{ */
MOX_API void MOX_CALL moxsbMpy1(float val, float* dst, int32_t n);
MOX_API void MOX_CALL moxcbMpy1(MoxC val, MoxC* dst, int32_t n);
MOX_API void MOX_CALL moxdbMpy1(double val, double* dst, int32_t n);
MOX_API void MOX_CALL moxzbMpy1(MoxZ val, MoxZ* dst, int32_t n);
/** @} */
/** @name dst[i] = dst[i] * src[i], i = 0 ... n-1
 * Checks: "n<=0", "src==0", "dst==0". */
/** @{ */
MOX_API void MOX_CALL moxsbMpy2(const float* src, float* dst, int32_t n);
MOX_API void MOX_CALL moxcbMpy2(const MoxC* src, MoxC* dst, int32_t n);
MOX_API void MOX_CALL moxdbMpy2(const double* src, double* dst, int32_t n);
MOX_API void MOX_CALL moxzbMpy2(const MoxZ* src, MoxZ* dst, int32_t n);
/** @} */
/** @name dst[i] = srcA[i] * srcB[i], i = 0 ... n-1
 * Checks: "n<=0", "srcA==0", "srcB==0", "dst==0". */
/** @{ */
MOX_API void MOX_CALL moxsbMpy3(const float* srcA, const float* srcB, float* dst, int32_t n);
MOX_API void MOX_CALL moxcbMpy3(const MoxC* srcA, const MoxC* srcB, MoxC* dst, int32_t n);
MOX_API void MOX_CALL moxdbMpy3(const double* srcA, const double* srcB, double* dst, int32_t n);
MOX_API void MOX_CALL moxzbMpy3(const MoxZ* srcA, const MoxZ* srcB, MoxZ* dst, int32_t n);
/** @} */

/** @name Conjugation
 * Conj1: vec[i] = conj(vec[i]). Conj2: dst[i] = conj(src[i]). ConjFlip2: dst[n-1-i] = conj(src[i]); reads upwards and
 * writes downwards, so source and destination should not overlap. ConjExtend1: vec[2n-1-i] = conj(vec[i]); vec holds 2n
 * elements. ConjExtend2: dst[i] = src[i] and dst[2n-1-i] = conj(src[i]); dst holds 2n elements.
 * The sign bit of the imaginary part is flipped: +0.0 becomes -0.0, a NaN keeps its payload.
 * Checks: "n<=0", then "vec==0", or "src==0", "dst==0". */
/** @{ */
MOX_API void MOX_CALL moxcbConj1(MoxC* vec, int32_t n);
MOX_API void MOX_CALL moxcbConj2(const MoxC* src, MoxC* dst, int32_t n);
MOX_API void MOX_CALL moxcbConjFlip2(const MoxC* src, MoxC* dst, int32_t n);
MOX_API void MOX_CALL moxcbConjExtend1(MoxC* vec, int32_t n);
MOX_API void MOX_CALL moxcbConjExtend2(const MoxC* src, MoxC* dst, int32_t n);
MOX_API void MOX_CALL moxzbConj1(MoxZ* vec, int32_t n);
MOX_API void MOX_CALL moxzbConj2(const MoxZ* src, MoxZ* dst, int32_t n);
MOX_API void MOX_CALL moxzbConjFlip2(const MoxZ* src, MoxZ* dst, int32_t n);
MOX_API void MOX_CALL moxzbConjExtend1(MoxZ* vec, int32_t n);
MOX_API void MOX_CALL moxzbConjExtend2(const MoxZ* src, MoxZ* dst, int32_t n);
/** @} */
/** @} */

/** @defgroup scaling Scale modes
 * Functions on int16 samples compute in wider numbers and bring every result v back to 16 bits as v * 2^-factor. A
 * scale mode says how, and `scalePtr` points at the factor: -14 ... 15, positive makes values smaller.
 * @{ */
enum {
  MOX_NoScale = 0,     /**< factor 0; the low 16 bits are kept (wraps) */
  MOX_NoScaleSat = 1,  /**< factor 0; saturates to -32768 ... 32767 */
  MOX_FixScale = 2,    /**< the caller's factor, 0 when `scalePtr` is null; wraps */
  MOX_FixScaleSat = 3, /**< the caller's factor, 0 when `scalePtr` is null; saturates */
  MOX_AutoScale = 4    /**< the least factor >= 0 with which every result fits, written to `*scalePtr` */
};
/** @} */

/** @defgroup arithmetic16 Integer vector arithmetic
 * The vector arithmetic on int16 and complex int16 samples. Every result is computed exactly, v, and brought back to 16
 * bits by the scale mode (see "Scale modes"), here with rules of its own:
 *
 *     MOX_NoScale      the low 16 bits of v
 *     MOX_NoScaleSat   v limited to -32768 ... 32767
 *     MOX_FixScale     the low 16 bits of floor(v * 2^-factor); any factor, and any mode value not named here
 *     MOX_FixScaleSat  floor(v * 2^-factor) limited; with a factor of -2 or less every negative v gives -32768
 *     MOX_AutoScale    the least factor >= 0 with which every result of the call fits; it is written to *scalePtr
 *
 * A null `scalePtr` means factor 0, except in mode MOX_AutoScale: "scalefactor==0", after all other checks passed.
 * Elements are processed from the last to the first; `dst` may be a source. Complex products are (a.re b.re - a.im
 * b.im, a.re b.im + a.im b.re), of `2` and `1` with a = dst; where a.im b.re is 2^30 the other term of the imaginary
 * part counts as 0, and in mode MOX_AutoScale that part counts as 2^31.
 * @{ */

/** @name dst[i] = 0, val or src[i], i = 0 ... n-1
 * Checks: "n<=0", ("src==0",) "dst==0". */
/** @{ */
MOX_API void MOX_CALL moxwbZero(int16_t* dst, int32_t n);
MOX_API void MOX_CALL moxvbZero(MoxV* dst, int32_t n);
MOX_API void MOX_CALL moxwbSet(int16_t val, int16_t* dst, int32_t n);
MOX_API void MOX_CALL moxvbSet(MoxV val, MoxV* dst, int32_t n);
MOX_API void MOX_CALL moxwbCopy(const int16_t* src, int16_t* dst, int32_t n);
MOX_API void MOX_CALL moxvbCopy(const MoxV* src, MoxV* dst, int32_t n);
/** @} */
/** @name Sums, differences and products, i = 0 ... n-1
 * `1`: dst[i] = dst[i] op val. `2`: dst[i] = dst[i] op src[i] (Sub2: val[i]). `3`: dst[i] = srcA[i] op srcB[i] (Sub3:
 * src[i] - val[i]). Checks: "n<=0", the sources in order ("src==0", "val==0", "srcA==0", "srcB==0"), "dst==0", then
 * "scalefactor==0". */
/** @{ */
MOX_API void MOX_CALL moxwbAdd1(int16_t val, int16_t* dst, int32_t n, int32_t scaleMode, int32_t* scalePtr);
MOX_API void MOX_CALL moxvbAdd1(MoxV val, MoxV* dst, int32_t n, int32_t scaleMode, int32_t* scalePtr);
MOX_API void MOX_CALL moxwbAdd2(const int16_t* src, int16_t* dst, int32_t n, int32_t scaleMode, int32_t* scalePtr);
MOX_API void MOX_CALL moxvbAdd2(const MoxV* src, MoxV* dst, int32_t n, int32_t scaleMode, int32_t* scalePtr);
MOX_API void MOX_CALL moxwbAdd3(const int16_t* srcA, const int16_t* srcB, int16_t* dst, int32_t n, int32_t scaleMode,
                                int32_t* scalePtr);
MOX_API void MOX_CALL moxvbAdd3(const MoxV* srcA, const MoxV* srcB, MoxV* dst, int32_t n, int32_t scaleMode,
                                int32_t* scalePtr);
MOX_API void MOX_CALL moxwbSub1(int16_t val, int16_t* dst, int32_t n, int32_t scaleMode, int32_t* scalePtr);
MOX_API void MOX_CALL moxvbSub1(MoxV val, MoxV* dst, int32_t n, int32_t scaleMode, int32_t* scalePtr);
MOX_API void MOX_CALL moxwbSub2(const int16_t* val, int16_t* dst, int32_t n, int32_t scaleMode, int32_t* scalePtr);
MOX_API void MOX_CALL moxvbSub2(const MoxV* val, MoxV* dst, int32_t n, int32_t scaleMode, int32_t* scalePtr);
MOX_API void MOX_CALL moxwbSub3(const int16_t* src, const int16_t* val, int16_t* dst, int32_t n, int32_t scaleMode,
                                int32_t* scalePtr);
MOX_API void MOX_CALL moxvbSub3(const MoxV* src, const MoxV* val, MoxV* dst, int32_t n, int32_t scaleMode,
                                int32_t* scalePtr);
MOX_API void MOX_CALL moxwbMpy1(int16_t val, int16_t* dst, int32_t n, int32_t scaleMode, int32_t* scalePtr);
MOX_API void MOX_CALL moxvbMpy1(MoxV val, MoxV* dst, int32_t n, int32_t scaleMode, int32_t* scalePtr);
MOX_API void MOX_CALL moxwbMpy2(const int16_t* src, int16_t* dst, int32_t n, int32_t scaleMode, int32_t* scalePtr);
MOX_API void MOX_CALL moxvbMpy2(const MoxV* src, MoxV* dst, int32_t n, int32_t scaleMode, int32_t* scalePtr);
MOX_API void MOX_CALL moxwbMpy3(const int16_t* srcA, const int16_t* srcB, int16_t* dst, int32_t n, int32_t scaleMode,
                                int32_t* scalePtr);
MOX_API void MOX_CALL moxvbMpy3(const MoxV* srcA, const MoxV* srcB, MoxV* dst, int32_t n, int32_t scaleMode,
                                int32_t* scalePtr);
/** @} */
/** @name Conjugation
 * As moxcbConj1 and its siblings; the imaginary part is negated modulo 2^16, so -32768 stays. */
/** @{ */
MOX_API void MOX_CALL moxvbConj1(MoxV* vec, int32_t n);
MOX_API void MOX_CALL moxvbConj2(const MoxV* src, MoxV* dst, int32_t n);
MOX_API void MOX_CALL moxvbConjFlip2(const MoxV* src, MoxV* dst, int32_t n);
MOX_API void MOX_CALL moxvbConjExtend1(MoxV* vec, int32_t n);
MOX_API void MOX_CALL moxvbConjExtend2(const MoxV* src, MoxV* dst, int32_t n);
/** @} */
/** @name Single complex values
 * moxvAdd, moxvSub and moxvMpy call the vector form of one element, (0, 0) when that refuses. moxvMpy reports a trace,
 * MOX_StsBackTrace without a condition, on every call: the status stays, the thread's handler is called. */
/** @{ */
MOX_API MoxV MOX_CALL moxvAdd(MoxV a, MoxV b, int32_t scaleMode, int32_t* scalePtr);
MOX_API MoxV MOX_CALL moxvSub(MoxV a, MoxV b, int32_t scaleMode, int32_t* scalePtr);
MOX_API MoxV MOX_CALL moxvMpy(MoxV a, MoxV b, int32_t scaleMode, int32_t* scalePtr);
MOX_API MoxV MOX_CALL moxvConj(MoxV a);
MOX_API MoxV MOX_CALL moxvSet(int16_t re, int16_t im);
/** a / b = ((a.re b.re + a.im b.im) r, (a.im b.re - a.re b.im) r), r = 1 / (b.re^2 + b.im^2) in float64 with the sum in
 * 32 bits that wrap (for b = (-32768, -32768)); rounded to nearest, ties to even, and saturated. For b = 0 it reports
 * "(b.re==0)&&(b.im==0)" and returns (0, 0). The status is not looked at. */
MOX_API MoxV MOX_CALL moxvDiv(MoxV a, MoxV b);
/** @} */
/** @} */

/** @defgroup dotproduct Dot products
 * The sum of srcA[i] * srcB[i], i = 0 ... len-1, without conjugation; a mixed product is complex. len may be 0.
 *
 * float32 and float64 sums run in float64 and are rounded once: up to 16 elements in their order, longer ones as 16
 * sums of every sixteenth element, which are then added pairwise. float32 results have the same bits on every
 * processor. int16 sums run in 32 bits and wrap, then take the scale mode (see "Scale modes"; both parts of a complex
 * sum share one factor); its reports come from "moxiUndScaling" or "moxibUndScaling" and give 0. Checks, of which only
 * the first that fails reports: "Null buffer pointer", "Invalid value" (len < 0); the result then is 0. The status is
 * not looked at; the scaling step clears it.
 * @{ */
MOX_API float MOX_CALL moxsDotProd(const float* srcA, const float* srcB, int32_t len);
MOX_API double MOX_CALL moxdDotProd(const double* srcA, const double* srcB, int32_t len);
MOX_API MoxC MOX_CALL moxcDotProd(const MoxC* srcA, const MoxC* srcB, int32_t len);
MOX_API MoxZ MOX_CALL moxzDotProd(const MoxZ* srcA, const MoxZ* srcB, int32_t len);
MOX_API MoxC MOX_CALL moxscDotProd(const float* srcA, const MoxC* srcB, int32_t len);
MOX_API MoxC MOX_CALL moxcsDotProd(const MoxC* srcA, const float* srcB, int32_t len);
MOX_API MoxZ MOX_CALL moxdzDotProd(const double* srcA, const MoxZ* srcB, int32_t len);
MOX_API MoxZ MOX_CALL moxzdDotProd(const MoxZ* srcA, const double* srcB, int32_t len);
MOX_API int16_t MOX_CALL moxwDotProd(const int16_t* srcA, const int16_t* srcB, int32_t len, int32_t scaleMode,
                                     int32_t* scalePtr);
MOX_API MoxV MOX_CALL moxvDotProd(const MoxV* srcA, const MoxV* srcB, int32_t len, int32_t scaleMode,
                                  int32_t* scalePtr);
MOX_API MoxV MOX_CALL moxwvDotProd(const int16_t* srcA, const MoxV* srcB, int32_t len, int32_t scaleMode,
                                   int32_t* scalePtr);
MOX_API MoxV MOX_CALL moxvwDotProd(const MoxV* srcA, const int16_t* srcB, int32_t len, int32_t scaleMode,
                                   int32_t* scalePtr);
/** @} */

/** @defgroup conversion Conversion
 * Between floating point and integers or fixed point, and between complex vectors and their parts, i = 0 ... len-1.
 * Every function clears the thread's status before its checks. A result may replace a source array of the same element
 * size; where a complex array is involved, that and the real parts' arrays must not overlap, but Real and Imag may
 * write to the beginning of their source. Other overlaps are not allowed.
 * @{ */

/** Conversion flags, to be combined. Other bits are ignored where a rounding is asked for. */
enum {
  MOX_RoundNearest = 0x0080, /**< to the nearest integer, ties to even */
  MOX_RoundZero = 0x0100,    /**< toward zero */
  MOX_RoundDown = 0x0200,    /**< toward minus infinity */
  MOX_RoundUp = 0x0400,      /**< toward plus infinity */
  MOX_UnsignedInt = 0x0800,  /**< the integers are unsigned */
  MOX_Saturate = 0x1000,     /**< what is out of range becomes the nearest integer of the type, NaN the lowest */
  MOX_OverflowError = 0x2000 /**< what is out of range is reported, element by element */
};

/** @name Floating point to integers
 * dst[i] = src[i] rounded by the one rounding in `flags`, whatever the thread's rounding mode. dst is an array of 8-,
 * 16- or 32-bit integers (`intSize`). With low and high the type's lowest and highest value, x is in range when
 *
 *     MOX_RoundNearest  low - 1/2 < x < high + 1/2
 *     MOX_RoundZero     low - 1 < x < high + 1
 *     MOX_RoundDown     low <= x < high + 1
 *     MOX_RoundUp       low - 1 < x <= high
 *
 * so that NaN and infinities are not. Out of range, MOX_Saturate stores low or high (NaN: low), else dst[i] stays as it
 * is; MOX_OverflowError reports "A float exceeds an integer", of negative values for an unsigned type "A negative float
 * cannot be converted to unsigned", once per element in their order, and goes on.
 * Checks: "len<=0", "src==0", "dst==0", "Invalid size of an integer", "Invalid conversion flag" (not exactly one
 * rounding). */
/** @{ */
MOX_API void MOX_CALL moxsbFloatToInt(const float* src, void* dst, int32_t len, int32_t intSize, int32_t flags);
MOX_API void MOX_CALL moxdbFloatToInt(const double* src, void* dst, int32_t len, int32_t intSize, int32_t flags);
/** @} */
/** @name Floating point to fixed point
 * As moxsbFloatToInt for src[i] * 2^fractBits, which is exact: 0 <= fractBits < fixSize, unsigned 0 <= fractBits <=
 * fixSize. The report is "A float exceeds a fix-point".
 * Checks: "len<=0", "src==0", "dst==0", "Invalid size of a fix-point", "Invalid conversion flag", "Invalid fractBits".
 */
/** @{ */
MOX_API void MOX_CALL moxsbFloatToFix(const float* src, void* dst, int32_t len, int32_t fixSize, int32_t fractBits,
                                      int32_t flags);
MOX_API void MOX_CALL moxdbFloatToFix(const double* src, void* dst, int32_t len, int32_t fixSize, int32_t fractBits,
                                      int32_t flags);
/** @} */
/** @name Floating point to signed fixed point of a fixed format
 * 7, 15, 31 or (S1516) 16 fraction bits; MOX_UnsignedInt is ignored. moxdbFloatToS15Fix and moxdbFloatToS31Fix report
 * as "moxdbFloaToS15Fix" and "moxdbFloaToS31Fix". Checks: "len<=0", "src==0", "dst==0", "Invalid conversion flag". */
/** @{ */
MOX_API void MOX_CALL moxsbFloatToS7Fix(const float* src, int8_t* dst, int32_t len, int32_t flags);
MOX_API void MOX_CALL moxsbFloatToS15Fix(const float* src, int16_t* dst, int32_t len, int32_t flags);
MOX_API void MOX_CALL moxsbFloatToS31Fix(const float* src, int32_t* dst, int32_t len, int32_t flags);
MOX_API void MOX_CALL moxsbFloatToS1516Fix(const float* src, int32_t* dst, int32_t len, int32_t flags);
MOX_API void MOX_CALL moxdbFloatToS7Fix(const double* src, int8_t* dst, int32_t len, int32_t flags);
MOX_API void MOX_CALL moxdbFloatToS15Fix(const double* src, int16_t* dst, int32_t len, int32_t flags);
MOX_API void MOX_CALL moxdbFloatToS31Fix(const double* src, int32_t* dst, int32_t len, int32_t flags);
MOX_API void MOX_CALL moxdbFloatToS1516Fix(const double* src, int32_t* dst, int32_t len, int32_t flags);
/** @} */
/** @name Integers and fixed point to floating point
 * dst[i] = src[i], dst[i] = src[i] / 2^fractBits: exact, but that float32 rounds 32-bit integers to nearest, ties to
 * even, whatever the thread's rounding mode. `flags` is 0 or MOX_UnsignedInt.
 * Checks: "len<=0", "src==0", "dst==0"; of IntToFloat "Invalid size of an integer", "Invalid conversion flag"; of
 * FixToFloat "Invalid size of a fix-point", "Invalid conversion flag", "Invalid fractBits". */
/** @{ */
MOX_API void MOX_CALL moxsbIntToFloat(const void* src, float* dst, int32_t len, int32_t intSize, int32_t flags);
MOX_API void MOX_CALL moxdbIntToFloat(const void* src, double* dst, int32_t len, int32_t intSize, int32_t flags);
MOX_API void MOX_CALL moxsbFixToFloat(const void* src, float* dst, int32_t len, int32_t fixSize, int32_t fractBits,
                                      int32_t flags);
MOX_API void MOX_CALL moxdbFixToFloat(const void* src, double* dst, int32_t len, int32_t fixSize, int32_t fractBits,
                                      int32_t flags);
MOX_API void MOX_CALL moxsbS7FixToFloat(const int8_t* src, float* dst, int32_t len);
MOX_API void MOX_CALL moxsbS15FixToFloat(const int16_t* src, float* dst, int32_t len);
MOX_API void MOX_CALL moxsbS31FixToFloat(const int32_t* src, float* dst, int32_t len);
MOX_API void MOX_CALL moxsbS1516FixToFloat(const int32_t* src, float* dst, int32_t len);
MOX_API void MOX_CALL moxdbS7FixToFloat(const int8_t* src, double* dst, int32_t len);
MOX_API void MOX_CALL moxdbS15FixToFloat(const int16_t* src, double* dst, int32_t len);
MOX_API void MOX_CALL moxdbS31FixToFloat(const int32_t* src, double* dst, int32_t len);
MOX_API void MOX_CALL moxdbS1516FixToFloat(const int32_t* src, double* dst, int32_t len);
/** @} */

/** @name Complex values and their parts
 * Any bits. Real: dst[i] = src[i].re. Imag: dst[i] = src[i].im. CplxTo2Real: both. 2RealToCplx: dst[i] = (srcReal[i],
 * srcImag[i]); a null source stands for zeros. Checks: "len<=0", then "src==0", "dst==0"; "src==0", "dstReal==0",
 * "dstImag==0"; of 2RealToCplx "dst==0". */
/** @{ */
MOX_API void MOX_CALL moxcbReal(const MoxC* src, float* dst, int32_t len);
MOX_API void MOX_CALL moxzbReal(const MoxZ* src, double* dst, int32_t len);
MOX_API void MOX_CALL moxvbReal(const MoxV* src, int16_t* dst, int32_t len);
MOX_API void MOX_CALL moxcbImag(const MoxC* src, float* dst, int32_t len);
MOX_API void MOX_CALL moxzbImag(const MoxZ* src, double* dst, int32_t len);
MOX_API void MOX_CALL moxvbImag(const MoxV* src, int16_t* dst, int32_t len);
MOX_API void MOX_CALL moxcbCplxTo2Real(const MoxC* src, float* dstReal, float* dstImag, int32_t len);
MOX_API void MOX_CALL moxzbCplxTo2Real(const MoxZ* src, double* dstReal, double* dstImag, int32_t len);
MOX_API void MOX_CALL moxvbCplxTo2Real(const MoxV* src, int16_t* dstReal, int16_t* dstImag, int32_t len);
MOX_API void MOX_CALL moxcb2RealToCplx(const float* srcReal, const float* srcImag, MoxC* dst, int32_t len);
MOX_API void MOX_CALL moxzb2RealToCplx(const double* srcReal, const double* srcImag, MoxZ* dst, int32_t len);
MOX_API void MOX_CALL moxvb2RealToCplx(const int16_t* srcReal, const int16_t* srcImag, MoxV* dst, int32_t len);
/** @} */
/** @name Polar form
 * magnitude = sqrt(re^2 + im^2) without overflow or underflow on the way, that of float32 evaluated in float64 and
 * rounded once; infinite where a part is and none is NaN. phase = atan2(im, re) in radians, in (-pi, pi]: signs of zero
 * do not count, so negative real values give pi, and zero gives 0. PolarToCart: mag (cos phase, sin phase). All are at
 * most one unit in the last place off. PolarToCart: 1.007 was the largest error among 10^8 float32 values; 1.5 without
 * fused multiply-add.
 *
 * int16 magnitudes are truncated, and their low 16 bits stored: up to 46340, as unsigned numbers. int16 phases are
 * atan2(im, re) * 16383 / pi truncated toward zero; pi gives 16383. Both are exact in every case.
 *
 * Checks: "len<=0", the sources in order ("src==0"; "srcReal==0", "srcImag==0"; "mag==0", "phase==0"), the destinations
 * in order. moxsbrCartToPolar and moxdbrCartToPolar report as "moxsbrPolarToCart" and "moxdbrPolarToCart". */
/** @{ */
MOX_API void MOX_CALL moxcbCartToPolar(const MoxC* src, float* mag, float* phase, int32_t len);
MOX_API void MOX_CALL moxzbCartToPolar(const MoxZ* src, double* mag, double* phase, int32_t len);
MOX_API void MOX_CALL moxsbrCartToPolar(const float* srcReal, const float* srcImag, float* mag, float* phase,
                                        int32_t len);
MOX_API void MOX_CALL moxdbrCartToPolar(const double* srcReal, const double* srcImag, double* mag, double* phase,
                                        int32_t len);
MOX_API void MOX_CALL moxcbPolarToCart(const float* mag, const float* phase, MoxC* dst, int32_t len);
MOX_API void MOX_CALL moxzbPolarToCart(const double* mag, const double* phase, MoxZ* dst, int32_t len);
MOX_API void MOX_CALL moxsbrPolarToCart(const float* mag, const float* phase, float* dstReal, float* dstImag,
                                        int32_t len);
MOX_API void MOX_CALL moxdbrPolarToCart(const double* mag, const double* phase, double* dstReal, double* dstImag,
                                        int32_t len);
MOX_API void MOX_CALL moxcbMag(const MoxC* src, float* mag, int32_t len);
MOX_API void MOX_CALL moxzbMag(const MoxZ* src, double* mag, int32_t len);
MOX_API void MOX_CALL moxvbMag(const MoxV* src, int16_t* mag, int32_t len);
MOX_API void MOX_CALL moxsbrMag(const float* srcReal, const float* srcImag, float* mag, int32_t len);
MOX_API void MOX_CALL moxdbrMag(const double* srcReal, const double* srcImag, double* mag, int32_t len);
MOX_API void MOX_CALL moxwbrMag(const int16_t* srcReal, const int16_t* srcImag, int16_t* mag, int32_t len);
MOX_API void MOX_CALL moxcbPhase(const MoxC* src, float* phase, int32_t len);
MOX_API void MOX_CALL moxzbPhase(const MoxZ* src, double* phase, int32_t len);
MOX_API void MOX_CALL moxvbPhase(const MoxV* src, int16_t* phase, int32_t len);
MOX_API void MOX_CALL moxsbrPhase(const float* srcReal, const float* srcImag, float* phase, int32_t len);
MOX_API void MOX_CALL moxdbrPhase(const double* srcReal, const double* srcImag, double* phase, int32_t len);
MOX_API void MOX_CALL moxwbrPhase(const int16_t* srcReal, const int16_t* srcImag, int16_t* phase, int32_t len);
/** @} */
/** @} */

/** @defgroup companding A-law and mu-law
 * Companding by the segment laws of ITU-T G.711, i = 0 ... len-1. Samples are int16 values, the upper halves of int32
 * values or real values times 32768 truncated toward zero; larger ones (and NaN, as a negative) give the outermost code
 * of their sign. Decoding gives the output value times 65536 for int32, times 2^-15 for real samples.
 *
 * A-law codes are those of G.711 without the inversion of the even bits: 0x80 | segment << 4 | mantissa for samples >=
 * 0, no sign bit for negative ones; 0x80 decodes to 8, 0x00 to -8. mu-law codes are those of G.711; the encoder counts
 * the mantissa down from its segment's upper end, which at some values rounds the other way than the reference coder.
 * The translations follow tables 3 and 4 of G.711 and keep the sign; they work in place. In all others src and dst must
 * not overlap. Checks: "len<=0", "src==0", "dst==0".
 * @{ */
MOX_API void MOX_CALL moxwbLinToALaw(const int16_t* src, uint8_t* dst, int32_t len);
MOX_API void MOX_CALL moxibLinToALaw(const int32_t* src, uint8_t* dst, int32_t len);
MOX_API void MOX_CALL moxsbLinToALaw(const float* src, uint8_t* dst, int32_t len);
MOX_API void MOX_CALL moxdbLinToALaw(const double* src, uint8_t* dst, int32_t len);
MOX_API void MOX_CALL moxwbALawToLin(const uint8_t* src, int16_t* dst, int32_t len);
MOX_API void MOX_CALL moxibALawToLin(const uint8_t* src, int32_t* dst, int32_t len);
MOX_API void MOX_CALL moxsbALawToLin(const uint8_t* src, float* dst, int32_t len);
MOX_API void MOX_CALL moxdbALawToLin(const uint8_t* src, double* dst, int32_t len);
MOX_API void MOX_CALL moxwbLinToMuLaw(const int16_t* src, uint8_t* dst, int32_t len);
MOX_API void MOX_CALL moxibLinToMuLaw(const int32_t* src, uint8_t* dst, int32_t len);
MOX_API void MOX_CALL moxsbLinToMuLaw(const float* src, uint8_t* dst, int32_t len);
MOX_API void MOX_CALL moxdbLinToMuLaw(const double* src, uint8_t* dst, int32_t len);
MOX_API void MOX_CALL moxwbMuLawToLin(const uint8_t* src, int16_t* dst, int32_t len);
MOX_API void MOX_CALL moxibMuLawToLin(const uint8_t* src, int32_t* dst, int32_t len);
MOX_API void MOX_CALL moxsbMuLawToLin(const uint8_t* src, float* dst, int32_t len);
MOX_API void MOX_CALL moxdbMuLawToLin(const uint8_t* src, double* dst, int32_t len);
MOX_API void MOX_CALL moxMuLawToALaw(const uint8_t* src, uint8_t* dst, int32_t len);
MOX_API void MOX_CALL moxALawToMuLaw(const uint8_t* src, uint8_t* dst, int32_t len);
/** @} */

/** @defgroup lnexp Logarithm and exponential
 * Natural logarithm and e to the power of each element, at most one unit in the last place off; ln 1 = 0 and exp 0 = 1
 * exactly. What a value becomes depends on nothing but itself.
 *
 *     ln:   0 (either sign) gives -inf, negative values and NaN give NaN, +inf gives +inf
 *     exp:  overflow gives +inf, underflow goes through subnormals to 0, NaN gives NaN
 *
 * None of these is reported. `1`: in place. `2`: src and dst are the same array or do not overlap.
 * Checks: "len<=0", then "vec==0", or "src==0", "dst==0".
 * @{ */
/** @name vec[i] = ln vec[i], dst[i] = ln src[i], i = 0 ... len-1 */
/** @{ */
MOX_API void MOX_CALL moxsbLn1(float* vec, int32_t len);
MOX_API void MOX_CALL moxsbLn2(const float* src, float* dst, int32_t len);
MOX_API void MOX_CALL moxdbLn1(double* vec, int32_t len);
MOX_API void MOX_CALL moxdbLn2(const double* src, double* dst, int32_t len);
/** @} */
/** @name vec[i] = e^vec[i], dst[i] = e^src[i], i = 0 ... len-1 */
/** @{ */
MOX_API void MOX_CALL moxsbExp1(float* vec, int32_t len);
MOX_API void MOX_CALL moxsbExp2(const float* src, float* dst, int32_t len);
MOX_API void MOX_CALL moxdbExp1(double* vec, int32_t len);
MOX_API void MOX_CALL moxdbExp2(const double* src, double* dst, int32_t len);
/** @} */
/** @name The same on int16 samples
 * Each value of the float32 function takes the scale mode (see "Scale modes") and is truncated toward zero; the reports
 * of that step come from "moxsbUndScaling", and it clears the status. Unscaled infinities wrap to 0 and saturate to the
 * limit of their sign, the NaN of a negative value's logarithm to 32767. The factor is subtracted from the exponent
 * field, whose ends nothing guards. The values pass through a working array of len float32, so src and dst may overlap
 * in any way; without memory for it, "No memory for working array" with MOX_StsNoMem. */
/** @{ */
MOX_API void MOX_CALL moxwbLn1(int16_t* vec, int32_t len, int32_t scaleMode, int32_t* scalePtr);
MOX_API void MOX_CALL moxwbLn2(const int16_t* src, int16_t* dst, int32_t len, int32_t scaleMode, int32_t* scalePtr);
MOX_API void MOX_CALL moxwbExp1(int16_t* vec, int32_t len, int32_t scaleMode, int32_t* scalePtr);
MOX_API void MOX_CALL moxwbExp2(const int16_t* src, int16_t* dst, int32_t len, int32_t scaleMode, int32_t* scalePtr);
/** @} */
/** @} */

/** @defgroup elementwise Element-wise functions and statistics
 * `1` forms work in place, `2` forms write dst; src and dst are the same array or do not overlap, i = 0 ... len-1.
 * Checks: "len<=0", then "vec==0", or "src==0", "dst==0", then what the family names.
 * Real comparisons go by bit patterns: -0.0 lies below +0.0, a NaN beyond the infinity of its sign.
 * Complex magnitudes neither overflow nor underflow on the way.
 * @{ */

/** How Thresh compares. */
enum {
  MOX_LT = 0, /**< raise what lies below the threshold */
  MOX_GT = 1  /**< lower what lies above it; any other value than 0 */
};

/** @name x * x
 * The complex square is the product of moxcbMpy3. */
/** @{ */
MOX_API void MOX_CALL moxsbSqr1(float* vec, int32_t len);
MOX_API void MOX_CALL moxsbSqr2(const float* src, float* dst, int32_t len);
MOX_API void MOX_CALL moxdbSqr1(double* vec, int32_t len);
MOX_API void MOX_CALL moxdbSqr2(const double* src, double* dst, int32_t len);
MOX_API void MOX_CALL moxcbSqr1(MoxC* vec, int32_t len);
MOX_API void MOX_CALL moxcbSqr2(const MoxC* src, MoxC* dst, int32_t len);
MOX_API void MOX_CALL moxzbSqr1(MoxZ* vec, int32_t len);
MOX_API void MOX_CALL moxzbSqr2(const MoxZ* src, MoxZ* dst, int32_t len);
/** @} */
/** @name x * x with a scale mode
 * The mode counts as a set of flags: 1 saturate, 2 the factor at `scalePtr` (0 when that is null), 4 the least factor
 * that fits all, which is written there ("scaleFactor==0" when it is null, after the other checks) and comes before the
 * others. Factors and limits are those of moxwbMpy3; real squares saturate without any flag, too. */
/** @{ */
MOX_API void MOX_CALL moxwbSqr1(int16_t* vec, int32_t len, int32_t scaleMode, int32_t* scalePtr);
MOX_API void MOX_CALL moxwbSqr2(const int16_t* src, int16_t* dst, int32_t len, int32_t scaleMode, int32_t* scalePtr);
MOX_API void MOX_CALL moxvbSqr1(MoxV* vec, int32_t len, int32_t scaleMode, int32_t* scalePtr);
MOX_API void MOX_CALL moxvbSqr2(const MoxV* src, MoxV* dst, int32_t len, int32_t scaleMode, int32_t* scalePtr);
/** @} */
/** @name Square root
 * Real: a negative element is stored as it is, and after the whole vector "Element of input vector is negative" is
 * reported; -0.0 stays. Complex: (sqrt(m/2 + re/2), +-sqrt(m/2 - re/2)), m = |x|, the sign that of a negative imaginary
 * part (-0.0 is not one); float32 is evaluated in float64. int16 roots are truncated. */
/** @{ */
MOX_API void MOX_CALL moxsbSqrt1(float* vec, int32_t len);
MOX_API void MOX_CALL moxsbSqrt2(const float* src, float* dst, int32_t len);
MOX_API void MOX_CALL moxdbSqrt1(double* vec, int32_t len);
MOX_API void MOX_CALL moxdbSqrt2(const double* src, double* dst, int32_t len);
MOX_API void MOX_CALL moxcbSqrt1(MoxC* vec, int32_t len);
MOX_API void MOX_CALL moxcbSqrt2(const MoxC* src, MoxC* dst, int32_t len);
MOX_API void MOX_CALL moxzbSqrt1(MoxZ* vec, int32_t len);
MOX_API void MOX_CALL moxzbSqrt2(const MoxZ* src, MoxZ* dst, int32_t len);
MOX_API void MOX_CALL moxwbSqrt1(int16_t* vec, int32_t len);
MOX_API void MOX_CALL moxwbSqrt2(const int16_t* src, int16_t* dst, int32_t len);
MOX_API void MOX_CALL moxvbSqrt1(MoxV* vec, int32_t len);
MOX_API void MOX_CALL moxvbSqrt2(const MoxV* src, MoxV* dst, int32_t len);
/** @} */
/** @name Threshold
 * Real: elements below (MOX_LT) or above (MOX_GT) `thresh` become `thresh`. Complex: elements of smaller or larger
 * magnitude are scaled to magnitude `thresh`, evaluated in float64, int16 ones truncated; a zero element below it
 * becomes (thresh, its imaginary part). Complex forms check "thresh<0.0f", "thresh<0.0" or "thresh<0". */
/** @{ */
MOX_API void MOX_CALL moxsbThresh1(float* vec, int32_t len, float thresh, int32_t relOp);
MOX_API void MOX_CALL moxsbThresh2(const float* src, float* dst, int32_t len, float thresh, int32_t relOp);
MOX_API void MOX_CALL moxdbThresh1(double* vec, int32_t len, double thresh, int32_t relOp);
MOX_API void MOX_CALL moxdbThresh2(const double* src, double* dst, int32_t len, double thresh, int32_t relOp);
MOX_API void MOX_CALL moxcbThresh1(MoxC* vec, int32_t len, float thresh, int32_t relOp);
MOX_API void MOX_CALL moxcbThresh2(const MoxC* src, MoxC* dst, int32_t len, float thresh, int32_t relOp);
MOX_API void MOX_CALL moxzbThresh1(MoxZ* vec, int32_t len, double thresh, int32_t relOp);
MOX_API void MOX_CALL moxzbThresh2(const MoxZ* src, MoxZ* dst, int32_t len, double thresh, int32_t relOp);
MOX_API void MOX_CALL moxwbThresh1(int16_t* vec, int32_t len, int16_t thresh, int32_t relOp);
MOX_API void MOX_CALL moxwbThresh2(const int16_t* src, int16_t* dst, int32_t len, int16_t thresh, int32_t relOp);
MOX_API void MOX_CALL moxvbThresh1(MoxV* vec, int32_t len, int16_t thresh, int32_t relOp);
MOX_API void MOX_CALL moxvbThresh2(const MoxV* src, MoxV* dst, int32_t len, int16_t thresh, int32_t relOp);
/** @} */
/** @name Inverse with a floor
 * 1/x where |x| > thresh; elsewhere an inverse of magnitude 1/thresh, with the sign of x (complex: the phase of 1/x,
 * and (1/thresh, 0) for a zero element). With thresh 0, a zero element gives the largest finite number (complex: and
 * 0), and "zero element and zero thresh" is reported after the whole vector. Checks "thresh<0.0f" or "thresh<0.0". */
/** @{ */
MOX_API void MOX_CALL moxsbInvThresh1(float* vec, int32_t len, float thresh);
MOX_API void MOX_CALL moxsbInvThresh2(const float* src, float* dst, int32_t len, float thresh);
MOX_API void MOX_CALL moxdbInvThresh1(double* vec, int32_t len, double thresh);
MOX_API void MOX_CALL moxdbInvThresh2(const double* src, double* dst, int32_t len, double thresh);
MOX_API void MOX_CALL moxcbInvThresh1(MoxC* vec, int32_t len, float thresh);
MOX_API void MOX_CALL moxcbInvThresh2(const MoxC* src, MoxC* dst, int32_t len, float thresh);
MOX_API void MOX_CALL moxzbInvThresh1(MoxZ* vec, int32_t len, double thresh);
MOX_API void MOX_CALL moxzbInvThresh2(const MoxZ* src, MoxZ* dst, int32_t len, double thresh);
/** @} */
/** @name Absolute value
 * Of int16 -32768: 32767. */
/** @{ */
MOX_API void MOX_CALL moxsbAbs1(float* vec, int32_t len);
MOX_API void MOX_CALL moxsbAbs2(const float* src, float* dst, int32_t len);
MOX_API void MOX_CALL moxdbAbs1(double* vec, int32_t len);
MOX_API void MOX_CALL moxdbAbs2(const double* src, double* dst, int32_t len);
MOX_API void MOX_CALL moxwbAbs1(int16_t* vec, int32_t len);
MOX_API void MOX_CALL moxwbAbs2(const int16_t* src, int16_t* dst, int32_t len);
/** @} */
/** @name Mean
 * The sum is exact to about 100 bits, cannot overflow, is divided by len and rounded; int16 means are truncated toward
 * zero. */
/** @{ */
MOX_API float MOX_CALL moxsMean(const float* vec, int32_t len);
MOX_API double MOX_CALL moxdMean(const double* vec, int32_t len);
MOX_API int16_t MOX_CALL moxwMean(const int16_t* vec, int32_t len);
/** @} */
/** @name Mean power
 * The sum of the squares divided by len: no mean is subtracted, no root taken. float32 and float64 sums run in float64
 * in 32 parts. int16: flags as for moxwbSqr1; with a factor f >= 0 floor(mean) >> f, with f < 0 both the quotient and
 * the remainder are shifted left; saturated at 32767 with flag 1, else the low 16 bits. */
/** @{ */
MOX_API float MOX_CALL moxsStdDev(const float* vec, int32_t len);
MOX_API double MOX_CALL moxdStdDev(const double* vec, int32_t len);
MOX_API int16_t MOX_CALL moxwStdDev(const int16_t* vec, int32_t len, int32_t scaleMode, int32_t* scalePtr);
/** @} */
/** @name Largest and smallest element */
/** @{ */
MOX_API float MOX_CALL moxsMax(const float* vec, int32_t len);
MOX_API float MOX_CALL moxsMin(const float* vec, int32_t len);
MOX_API double MOX_CALL moxdMax(const double* vec, int32_t len);
MOX_API double MOX_CALL moxdMin(const double* vec, int32_t len);
MOX_API int16_t MOX_CALL moxwMax(const int16_t* vec, int32_t len);
MOX_API int16_t MOX_CALL moxwMin(const int16_t* vec, int32_t len);
/** @} */
/** @} */

/** @defgroup tables Bit reversal and twiddle tables
 * Tables are cached per thread on first use and live until the thread calls the matching Free function: a thread that
 * wants its memory back frees them before it ends. Lengths are 2^order, 0 <= order <= 31.
 * Checks in order: "order<0", "order>31" (or "length<=0"), "tbl==0"; a failed allocation reports "NULL Pointer" with
 * MOX_StsNoMem. Pointers from a Get function are good until the next Get or Free call on the same thread.
 * @{ */

/** The low `order` bits of `a` in reverse: bit 0 becomes bit order-1. */
MOX_API int32_t MOX_CALL moxBitRev(int32_t a, int32_t order);
/** tbl[i] = moxBitRev(i, order), i = 0 ... 2^order - 1. */
MOX_API void MOX_CALL moxCalcBitRevTbl(int32_t* tbl, int32_t order);
/** The cached table of moxCalcBitRevTbl, or null. */
MOX_API int32_t* MOX_CALL moxGetBitRevTbl(int32_t order);
/** Frees the calling thread's bit-reversal tables. */
MOX_API void MOX_CALL moxFreeBitRevTbls(void);

/** @name Plain twiddle tables
 * tbl[k] = e^(-2 pi i k / N) = (cos(k step), 0 - sin(k step)), k = 0 ... N-1, with step the double 6.283185307179586 /
 * N; N = 2^order, or `length`. Sine and cosine are taken to 88 bits or more and rounded once. FFT and DFT tables of
 * the same length are one table. A thread caches 32 lengths per type; beyond that the newest takes the first one's
 * slot. */
/** @{ */
MOX_API void MOX_CALL moxcCalcFftTwdTbl(MoxC* tbl, int32_t order);
MOX_API MoxC* MOX_CALL moxcGetFftTwdTbl(int32_t order);
MOX_API void MOX_CALL moxcCalcDftTwdTbl(MoxC* tbl, int32_t length);
MOX_API MoxC* MOX_CALL moxcGetDftTwdTbl(int32_t length);
MOX_API void MOX_CALL moxzCalcFftTwdTbl(MoxZ* tbl, int32_t order);
MOX_API MoxZ* MOX_CALL moxzGetFftTwdTbl(int32_t order);
MOX_API void MOX_CALL moxzCalcDftTwdTbl(MoxZ* tbl, int32_t length);
MOX_API MoxZ* MOX_CALL moxzGetDftTwdTbl(int32_t length);
/** @} */
/** @name Int16 twiddle tables
 * tbl[k] = (trunc(16384 cos(2 pi k / N)), trunc(-16384 sin(2 pi k / N))), N = 2^order. */
/** @{ */
MOX_API void MOX_CALL moxvCalcFftTwdTbl(MoxV* tbl, int32_t order);
MOX_API MoxV* MOX_CALL moxvGetFftTwdTbl(int32_t order);
/** @} */
/** @name Free the calling thread's twiddle tables of one type
 * The tables of its transforms among them; the next transform builds them again. Work whatever the status is. */
/** @{ */
MOX_API void MOX_CALL moxcFreeTwdTbls(void);
MOX_API void MOX_CALL moxzFreeTwdTbls(void);
MOX_API void MOX_CALL moxvFreeTwdTbls(void);
/** @} */

/** @name Bit-reversal permutation of 2^order elements
 * BitRev1 in place; BitRev2 dst[rev(i)] = src[i], src and dst must not overlap.
 * Checks: "order<0", "order>31", then "vec==0", or "src==0", "dst==0". */
/** @{ */
MOX_API void MOX_CALL moxsbBitRev1(float* vec, int32_t order);
MOX_API void MOX_CALL moxsbBitRev2(const float* src, float* dst, int32_t order);
MOX_API void MOX_CALL moxdbBitRev1(double* vec, int32_t order);
MOX_API void MOX_CALL moxdbBitRev2(const double* src, double* dst, int32_t order);
MOX_API void MOX_CALL moxcbBitRev1(MoxC* vec, int32_t order);
MOX_API void MOX_CALL moxcbBitRev2(const MoxC* src, MoxC* dst, int32_t order);
MOX_API void MOX_CALL moxzbBitRev1(MoxZ* vec, int32_t order);
MOX_API void MOX_CALL moxzbBitRev2(const MoxZ* src, MoxZ* dst, int32_t order);
MOX_API void MOX_CALL moxwbBitRev1(int16_t* vec, int32_t order);
MOX_API void MOX_CALL moxwbBitRev2(const int16_t* src, int16_t* dst, int32_t order);
MOX_API void MOX_CALL moxvbBitRev1(MoxV* vec, int32_t order);
MOX_API void MOX_CALL moxvbBitRev2(const MoxV* src, MoxV* dst, int32_t order);
/** @} */
/** @} */

/** @defgroup fft Fourier transforms
 * Transforms of N = 2^order samples, 0 <= order <= 31.
 *
 *     MOX_Forw:  X[k] =     sum over n of x[n] e^(-2 pi i k n / N)
 *     MOX_Inv:   X[k] = 1/N sum over n of x[n] e^(+2 pi i k n / N)      (1/N left out with MOX_NoInvScale)
 *
 * The tables of an order are built on its first transform (or with MOX_Init) and kept for the thread.
 *
 * Accuracy: relative L2 error below 0.85 u sqrt(order), u = 2^-24 or 2^-53. The float32 kernels of orders 3 to 10 use
 * 0.70710700750350952 for the square root of one half in their butterfly at an eighth of each block, which adds up to
 * 3.2e-7 to single outputs.
 *
 * Errors, in order: a table that cannot be had is reported by the table's own function and then as "Bad pointer" with
 * MOX_StsBackTrace, a negative status from before by this trace alone; "order<0", "order>31", null arrays (for example
 * "samps==0"); then the flags, with the texts given at their names. Three forms stand for a copy and a call in place:
 * CcsFftlNip for CcsFftl, Real2FftNip for Real2Fft and Ccs2FftNip for the complex transform in two arrays. They test
 * order and arrays, then the status; all else is reported under the inner name, with the trace "out " + inner name (for
 * example "out moxsCcsFftl") after it. A violation leaves the data untouched. Input and output of the Nip forms are the
 * same array or do not overlap.
 * @{ */

/** The flag word of every transform. Exactly one direction: "MOX_Forw and MOX_Inv", "no MOX_Forw or MOX_Inv". */
enum {
  MOX_Forw = 0x0001, /**< forward */
  MOX_Inv = 0x0002,  /**< inverse, scaled by 1/N */
  MOX_Init = 0x0004, /**< only prepare the tables of this order for the calling thread; the data is not looked at */
  MOX_NoInvScale = 0x0008, /**< do not scale the inverse */
  MOX_NoBitRev = 0x0010,   /**< natural order on both sides; what no bit-order flag means */
  MOX_InBitRev =
      0x0020, /**< input in bit-reversed order: "MOX_InBitRev and MOX_OutBitRev", "MOX_InBitRev and MOX_NoBitRev" */
  MOX_OutBitRev = 0x0040, /**< output in bit-reversed order: "MOX_OutBitRev and MOX_NoBitRev" */
  MOX_OutRCPack =
      0x0080, /**< RealFftl: RCPack output; "MOX_OutRCPack and MOX_OutRCPerm", "no MOX_OutRCPack or MOX_OutRCPerm" */
  MOX_OutRCPerm = 0x0100, /**< RealFftl: RCPerm output */
  MOX_InRCPack =
      0x0200, /**< CcsFftl: RCPack input; "MOX_InRCPack and MOX_InRCPerm", "no MOX_InRCPack or MOX_InRCPerm" */
  MOX_InRCPerm = 0x0400 /**< CcsFftl: RCPerm input */
};

/** @name Complex transforms
 * Bit-order flags are honoured; a transform of order 0 is the identity and is not scaled. The `r` forms keep real and
 * imaginary parts in two arrays of N. */
/** @{ */
MOX_API void MOX_CALL moxcFft(MoxC* samps, int32_t order, int32_t flags);
MOX_API void MOX_CALL moxcFftNip(const MoxC* inSamps, MoxC* outSamps, int32_t order, int32_t flags);
MOX_API void MOX_CALL moxcrFft(float* reSamps, float* imSamps, int32_t order, int32_t flags);
MOX_API void MOX_CALL moxcrFftNip(const float* reInSamps, const float* imInSamps, float* reOutSamps, float* imOutSamps,
                                  int32_t order, int32_t flags);
MOX_API void MOX_CALL moxzFft(MoxZ* samps, int32_t order, int32_t flags);
MOX_API void MOX_CALL moxzFftNip(const MoxZ* inSamps, MoxZ* outSamps, int32_t order, int32_t flags);
MOX_API void MOX_CALL moxzrFft(double* reSamps, double* imSamps, int32_t order, int32_t flags);
MOX_API void MOX_CALL moxzrFftNip(const double* reInSamps, const double* imInSamps, double* reOutSamps,
                                  double* imOutSamps, int32_t order, int32_t flags);
/** @} */

/** @name Real signals and their spectra: CCS
 * The spectrum X[0] ... X[N/2] of N real samples as N + 2 reals:
 *
 *     CCS     Re X[0], 0, Re X[1], Im X[1], ..., Re X[N/2-1], Im X[N/2-1], Re X[N/2], 0
 *
 * RealFft: signal to spectrum; the array of the in-place form holds N + 2 reals. CcsFft: spectrum to signal; the
 * imaginary slots of X[0] and X[N/2] are ignored, N reals are written. RealFft with MOX_Forw and CcsFft with MOX_Inv
 * undo each other. Only the direction flags are looked at. Order 0 leaves the array as it is; the Nip forms then copy
 * one real. Orders 0 and 1 need no table. */
/** @{ */
MOX_API void MOX_CALL moxsRealFft(float* samps, int32_t order, int32_t flags);
MOX_API void MOX_CALL moxsRealFftNip(const float* inSamps, float* outSamps, int32_t order, int32_t flags);
MOX_API void MOX_CALL moxsCcsFft(float* samps, int32_t order, int32_t flags);
MOX_API void MOX_CALL moxsCcsFftNip(const float* inSamps, float* outSamps, int32_t order, int32_t flags);
MOX_API void MOX_CALL moxdRealFft(double* samps, int32_t order, int32_t flags);
MOX_API void MOX_CALL moxdRealFftNip(const double* inSamps, double* outSamps, int32_t order, int32_t flags);
MOX_API void MOX_CALL moxdCcsFft(double* samps, int32_t order, int32_t flags);
MOX_API void MOX_CALL moxdCcsFftNip(const double* inSamps, double* outSamps, int32_t order, int32_t flags);
/** @} */
/** @name Real signals and their spectra: packed
 * N reals on both sides, in one of two layouts:
 *
 *     RCPack  Re X[0], Re X[1], Im X[1], ..., Re X[N/2-1], Im X[N/2-1], Re X[N/2]
 *     RCPerm  Re X[0], Re X[N/2], Re X[1], Im X[1], ..., Re X[N/2-1], Im X[N/2-1]
 *
 * RealFftl writes the layout of MOX_OutRCPack or MOX_OutRCPerm, CcsFftl reads that of MOX_InRCPack or MOX_InRCPerm. */
/** @{ */
MOX_API void MOX_CALL moxsRealFftl(float* samps, int32_t order, int32_t flags);
MOX_API void MOX_CALL moxsRealFftlNip(const float* inSamps, float* outSamps, int32_t order, int32_t flags);
MOX_API void MOX_CALL moxsCcsFftl(float* samps, int32_t order, int32_t flags);
MOX_API void MOX_CALL moxsCcsFftlNip(const float* inSamps, float* outSamps, int32_t order, int32_t flags);
MOX_API void MOX_CALL moxdRealFftl(double* samps, int32_t order, int32_t flags);
MOX_API void MOX_CALL moxdRealFftlNip(const double* inSamps, double* outSamps, int32_t order, int32_t flags);
MOX_API void MOX_CALL moxdCcsFftl(double* samps, int32_t order, int32_t flags);
MOX_API void MOX_CALL moxdCcsFftlNip(const double* inSamps, double* outSamps, int32_t order, int32_t flags);
/** @} */
/** @name Two real signals at once
 * Two signals of N reals and their CCS spectra (N + 2 reals each) through one complex transform of length N. The two
 * arrays must not overlap. */
/** @{ */
MOX_API void MOX_CALL moxsReal2Fft(float* xSamps, float* ySamps, int32_t order, int32_t flags);
MOX_API void MOX_CALL moxsReal2FftNip(const float* xInSamps, const float* yInSamps, float* xOutSamps, float* yOutSamps,
                                      int32_t order, int32_t flags);
MOX_API void MOX_CALL moxsCcs2Fft(float* xSamps, float* ySamps, int32_t order, int32_t flags);
MOX_API void MOX_CALL moxsCcs2FftNip(const float* xInSamps, const float* yInSamps, float* xOutSamps, float* yOutSamps,
                                     int32_t order, int32_t flags);
MOX_API void MOX_CALL moxdReal2Fft(double* xSamps, double* ySamps, int32_t order, int32_t flags);
MOX_API void MOX_CALL moxdReal2FftNip(const double* xInSamps, const double* yInSamps, double* xOutSamps,
                                      double* yOutSamps, int32_t order, int32_t flags);
MOX_API void MOX_CALL moxdCcs2Fft(double* xSamps, double* ySamps, int32_t order, int32_t flags);
MOX_API void MOX_CALL moxdCcs2FftNip(const double* xInSamps, const double* yInSamps, double* xOutSamps,
                                     double* yOutSamps, int32_t order, int32_t flags);
/** @} */
/** @name Transforms of any length
 * The sums above for any N = length >= 1, as they are written: N^2 complex products with the roots of
 * moxcGetDftTwdTbl(length), added in float64 in the order of n; use a transform of order 2^k where you can. Only
 * MOX_Forw, MOX_Inv, MOX_Init and MOX_NoInvScale have a meaning. moxcDft and moxzDft: the arrays must not overlap.
 * moxvDft runs moxcDft on float32 copies, comes back by the scale mode (see "Scale modes") with one factor for all
 * values, and may work in place; outSamps is not written when it fails.
 *
 * Errors, in order: a table that cannot be had (a length below 1, too) is reported by moxcGetDftTwdTbl or
 * moxzGetDftTwdTbl and then as "Bad pointer" with MOX_StsBackTrace, a negative status from before by this trace alone;
 * "length<=0", "inSamps==0", "outSamps==0"; the direction flags. moxvDft fetches the table first only with MOX_Init
 * (its trace is "Bad pointer for Twiddle Factors"), and needs memory: "No memory for work array" (MOX_StsNoMem). */
/** @{ */
MOX_API void MOX_CALL moxcDft(const MoxC* inSamps, MoxC* outSamps, int32_t length, int32_t flags);
MOX_API void MOX_CALL moxzDft(const MoxZ* inSamps, MoxZ* outSamps, int32_t length, int32_t flags);
MOX_API void MOX_CALL moxvDft(const MoxV* inSamps, MoxV* outSamps, int32_t length, int32_t flags, int32_t scaleMode,
                              int32_t* scalePtr);
/** @} */
/** @name Products of packed spectra
 * The spectrum of a circular convolution: X[k] = A[k] B[k], both factors and the product in one layout, N = 2^order
 * reals. `2`: dst = dst * src. `3`: dst = srcA * srcB.
 * Checks: "order<0", "order>31", then "src==0", "dst==0", or "srcA==0", "srcB==0", "dst==0". */
/** @{ */
MOX_API void MOX_CALL moxsMpyRCPack2(const float* src, float* dst, int32_t order);
MOX_API void MOX_CALL moxsMpyRCPack3(const float* srcA, const float* srcB, float* dst, int32_t order);
MOX_API void MOX_CALL moxsMpyRCPerm2(const float* src, float* dst, int32_t order);
MOX_API void MOX_CALL moxsMpyRCPerm3(const float* srcA, const float* srcB, float* dst, int32_t order);
MOX_API void MOX_CALL moxdMpyRCPack2(const double* src, double* dst, int32_t order);
MOX_API void MOX_CALL moxdMpyRCPack3(const double* srcA, const double* srcB, double* dst, int32_t order);
MOX_API void MOX_CALL moxdMpyRCPerm2(const double* src, double* dst, int32_t order);
MOX_API void MOX_CALL moxdMpyRCPerm3(const double* srcA, const double* srcB, double* dst, int32_t order);
/** @} */
/** @} */

/** @defgroup fft16 Integer Fourier transforms
 * The transforms above on int16 samples: float32 copies are transformed and come back by the scale mode (see "Scale
 * modes"), all outputs of a call with one factor. What the flags mean, the layouts, lengths and the treatment of order
 * 0 are those of the float32 functions of the same names, `c` and `s` for `v` and `w`.
 *
 * Input and output are the same arrays or do not overlap. In mode MOX_AutoScale two arrays take the factor of the
 * larger of their two elements of largest magnitude, compared with their signs: with outputs of -40000 and 30000 that
 * is 0, and the first wraps.
 *
 * Errors, in order: a table that cannot be had is reported by the table's own function and then as "Bad pointer for
 * Twiddle Factors" with MOX_StsBackTrace, a negative status from before by this trace alone; "order<0", "order>31",
 * null arrays; the flags; "No memory for work array" (MOX_StsNoMem); scale mode and factor under "moxsbUndScaling", of
 * two arrays "moxsbUndScaling2". moxwRealFftNip stands for a copy and moxwRealFft: after the checks of order and arrays
 * all else is reported under that name, with the trace "out moxwRealFft" after it. A violation leaves the data
 * untouched.
 * @{ */
MOX_API void MOX_CALL moxvFft(MoxV* samps, int32_t order, int32_t flags, int32_t scaleMode, int32_t* scaleFactor);
MOX_API void MOX_CALL moxvFftNip(const MoxV* inSamps, MoxV* outSamps, int32_t order, int32_t flags, int32_t scaleMode,
                                 int32_t* scaleFactor);
MOX_API void MOX_CALL moxvrFft(int16_t* reSamps, int16_t* imSamps, int32_t order, int32_t flags, int32_t scaleMode,
                               int32_t* scaleFactor);
MOX_API void MOX_CALL moxvrFftNip(const int16_t* reInSamps, const int16_t* imInSamps, int16_t* reOutSamps,
                                  int16_t* imOutSamps, int32_t order, int32_t flags, int32_t scaleMode,
                                  int32_t* scaleFactor);
MOX_API void MOX_CALL moxwRealFft(int16_t* samps, int32_t order, int32_t flags, int32_t scaleMode,
                                  int32_t* scaleFactor);
MOX_API void MOX_CALL moxwRealFftNip(const int16_t* inSamps, int16_t* outSamps, int32_t order, int32_t flags,
                                     int32_t scaleMode, int32_t* scaleFactor);
MOX_API void MOX_CALL moxwCcsFft(int16_t* samps, int32_t order, int32_t flags, int32_t scaleMode, int32_t* scaleFactor);
MOX_API void MOX_CALL moxwCcsFftNip(const int16_t* inSamps, int16_t* outSamps, int32_t order, int32_t flags,
                                    int32_t scaleMode, int32_t* scaleFactor);
MOX_API void MOX_CALL moxwRealFftl(int16_t* samps, int32_t order, int32_t flags, int32_t scaleMode,
                                   int32_t* scaleFactor);
MOX_API void MOX_CALL moxwRealFftlNip(const int16_t* inSamps, int16_t* outSamps, int32_t order, int32_t flags,
                                      int32_t scaleMode, int32_t* scaleFactor);
MOX_API void MOX_CALL moxwCcsFftl(int16_t* samps, int32_t order, int32_t flags, int32_t scaleMode,
                                  int32_t* scaleFactor);
MOX_API void MOX_CALL moxwCcsFftlNip(const int16_t* inSamps, int16_t* outSamps, int32_t order, int32_t flags,
                                     int32_t scaleMode, int32_t* scaleFactor);
MOX_API void MOX_CALL moxwReal2Fft(int16_t* xSamps, int16_t* ySamps, int32_t order, int32_t flags, int32_t scaleMode,
                                   int32_t* scaleFactor);
MOX_API void MOX_CALL moxwReal2FftNip(const int16_t* xInSamps, const int16_t* yInSamps, int16_t* xOutSamps,
                                      int16_t* yOutSamps, int32_t order, int32_t flags, int32_t scaleMode,
                                      int32_t* scaleFactor);
MOX_API void MOX_CALL moxwCcs2Fft(int16_t* xSamps, int16_t* ySamps, int32_t order, int32_t flags, int32_t scaleMode,
                                  int32_t* scaleFactor);
MOX_API void MOX_CALL moxwCcs2FftNip(const int16_t* xInSamps, const int16_t* yInSamps, int16_t* xOutSamps,
                                     int16_t* yOutSamps, int32_t order, int32_t flags, int32_t scaleMode,
                                     int32_t* scaleFactor);
/** @name Products of packed spectra
 * As those of float32, in whole numbers. The complex products follow "Integer vector arithmetic". The two real ones
 * too, but with MOX_FixScale and MOX_FixScaleSat a factor > 0 gives floor(((p & 1) + floor(p / 2)) / 2^(factor-1)),
 * which rounds a half up, and a factor < 0 the low 32 bits of p * 2^-factor, then wrapped or limited. MOX_AutoScale
 * finds one factor for all. Checks: "order<0", "order>31", then "src==0", "dst==0", or "srcA==0", "srcB==0", "dst==0";
 * when these passed, in mode MOX_AutoScale "scaleFactor==0". */
/** @{ */
MOX_API void MOX_CALL moxwMpyRCPack2(const int16_t* src, int16_t* dst, int32_t order, int32_t scaleMode,
                                     int32_t* scaleFactor);
MOX_API void MOX_CALL moxwMpyRCPack3(const int16_t* srcA, const int16_t* srcB, int16_t* dst, int32_t order,
                                     int32_t scaleMode, int32_t* scaleFactor);
MOX_API void MOX_CALL moxwMpyRCPerm2(const int16_t* src, int16_t* dst, int32_t order, int32_t scaleMode,
                                     int32_t* scaleFactor);
MOX_API void MOX_CALL moxwMpyRCPerm3(const int16_t* srcA, const int16_t* srcB, int16_t* dst, int32_t order,
                                     int32_t scaleMode, int32_t* scaleFactor);
/** @} */
/** @} */

/** @defgroup goertzel Single spectral components
 * The Goertzel algorithm: one bin of a spectrum at any frequency, sample by sample or in blocks. After the samples
 * x[0] ... x[n] since Init or Reset
 *
 *     y = sum over k <= n of x[k] e^(i 2 pi f (n + 1 - k)) = e^(i 2 pi f (n + 1)) sum of x[k] e^(-i 2 pi f k)
 *
 * so |y| is the magnitude of the component at f cycles per sample. Each sample takes one step in float64,
 *
 *     s = x + twoCosW * delay1 - delay2,   y = e^(i 2 pi f) s - delay1,   delay2 = delay1,   delay1 = s
 *
 * from left to right; y comes from s before it is rounded, the record holds s rounded to its own type. A block gives
 * the bits that its samples give one by one. No set of kernels gives other bits than the others.
 *
 * Checks: "Null state pointer"; of Init also "Invalid frequency value", of blocks also "Null buffer pointer" and
 * "Invalid array length" (less than 1). Blocks report the first violation alone. A violation returns (0, 0).
 * @{ */

/** The record of one component in float32, for s, c, w and v. The caller's; no pointers in it, so it may be copied. */
typedef struct MoxsGoertzState {
  float freq;    /**< f, cycles per sample */
  float cosW;    /**< cos(2 pi f) */
  float sinW;    /**< sin(2 pi f) */
  float twoCosW; /**< 2 cos(2 pi f) */
  MoxC delay2;   /**< s of the sample before the last; real signals use the real part alone */
  MoxC delay1;   /**< s of the last sample */
} MoxsGoertzState;
/** The same in float64, for d and z. */
typedef struct MoxdGoertzState {
  double freq, cosW, sinW, twoCosW;
  MoxZ delay2, delay1;
} MoxdGoertzState;

/** @name Init fills the record for a frequency, Reset starts anew at the same one
 * 0 < freq < 0.5, tested on the bits: every positive float32 below 0.5; float64 from 2^-1042 on (the upper half of the
 * pattern must be positive). */
/** @{ */
MOX_API void MOX_CALL moxsGoertzInit(float freq, MoxsGoertzState* statePtr);
MOX_API void MOX_CALL moxcGoertzInit(float freq, MoxsGoertzState* statePtr);
MOX_API void MOX_CALL moxdGoertzInit(double freq, MoxdGoertzState* statePtr);
MOX_API void MOX_CALL moxzGoertzInit(double freq, MoxdGoertzState* statePtr);
MOX_API void MOX_CALL moxwGoertzInit(float freq, MoxsGoertzState* statePtr);
MOX_API void MOX_CALL moxvGoertzInit(float freq, MoxsGoertzState* statePtr);
MOX_API void MOX_CALL moxsGoertzReset(MoxsGoertzState* statePtr);
MOX_API void MOX_CALL moxcGoertzReset(MoxsGoertzState* statePtr);
MOX_API void MOX_CALL moxdGoertzReset(MoxdGoertzState* statePtr);
MOX_API void MOX_CALL moxzGoertzReset(MoxdGoertzState* statePtr);
MOX_API void MOX_CALL moxwGoertzReset(MoxsGoertzState* statePtr);
MOX_API void MOX_CALL moxvGoertzReset(MoxsGoertzState* statePtr);
/** @} */
/** @name One sample */
/** @{ */
MOX_API MoxC MOX_CALL moxsGoertz(MoxsGoertzState* statePtr, float samp);
MOX_API MoxC MOX_CALL moxcGoertz(MoxsGoertzState* statePtr, MoxC samp);
MOX_API MoxZ MOX_CALL moxdGoertz(MoxdGoertzState* statePtr, double samp);
MOX_API MoxZ MOX_CALL moxzGoertz(MoxdGoertzState* statePtr, MoxZ samp);
/** @} */
/** @name A block of samples; y of the last one */
/** @{ */
MOX_API MoxC MOX_CALL moxsbGoertz(MoxsGoertzState* statePtr, const float* samps, int32_t length);
MOX_API MoxC MOX_CALL moxcbGoertz(MoxsGoertzState* statePtr, const MoxC* samps, int32_t length);
MOX_API MoxZ MOX_CALL moxdbGoertz(MoxdGoertzState* statePtr, const double* samps, int32_t length);
MOX_API MoxZ MOX_CALL moxzbGoertz(MoxdGoertzState* statePtr, const MoxZ* samps, int32_t length);
/** @} */
/** @name int16 samples
 * The float32 step or block, y brought back by the scale mode (see "Scale modes") with one factor for both parts. A bad
 * mode or factor is reported under "moxsbUndScaling" and leaves the record as it was. Blocks take working memory for
 * their samples in float32: "No memory for working array" (MOX_StsNoMem). */
/** @{ */
MOX_API MoxV MOX_CALL moxwGoertz(MoxsGoertzState* statePtr, int16_t samp, int32_t scaleMode, int32_t* scalePtr);
MOX_API MoxV MOX_CALL moxvGoertz(MoxsGoertzState* statePtr, MoxV samp, int32_t scaleMode, int32_t* scalePtr);
MOX_API MoxV MOX_CALL moxwbGoertz(MoxsGoertzState* statePtr, const int16_t* samps, int32_t length, int32_t scaleMode,
                                  int32_t* scalePtr);
MOX_API MoxV MOX_CALL moxvbGoertz(MoxsGoertzState* statePtr, const MoxV* samps, int32_t length, int32_t scaleMode,
                                  int32_t* scalePtr);
/** @} */
/** @} */

/** @defgroup firl Finite impulse response, low level
 * y[m] = sum over k < len of taps[k] * x[m-k], on two records of the caller's: one of taps and one of the delay line,
 * both pointing at arrays of the caller's that are used in place. Taps stand in natural order, taps[0] at the newest
 * sample.
 *
 * A multi-rate filter (one of its factors above 1) is this filter at the higher rate, between an up-sampler, which puts
 * sample j at place upPhase + j * upFactor and zeros at the others, and a down-sampler, which takes the result at place
 * downPhase + m * downFactor as output m; only products that are needed are formed. Places are counted from the
 * beginning of each call.
 *
 * A delay line has its newest sample first inside; Set and Get see the oldest first, as an array of `visible` samples:
 * len - 1 for a single-rate filter, ceil(taps / upFactor) for a multi-rate one. GetTaps and GetDlyl lock block
 * filtering until the matching Set; InitDlyl does as well. So: Init or InitMr, InitDlyl, SetDlyl (null: silence), then
 * any number of blocks.
 *
 * Type letters: `sc` and `dz` filter real samples through complex taps to complex results, `cs` and `zd` complex
 * samples through real taps; the tap record is that of the taps' letter, the delay record that of the samples'.
 *
 * float32 filters sum in float64 and round once. In a block every result adds its products in an order that depends on
 * the filter alone: one block, and the same samples in blocks of other lengths, give the same bits. A single sample
 * takes the order of the dot products, so a float32 result may differ from the block's by one rounding, a float64
 * result in the last places of its sum.
 *
 * Arrays of samples and results must not overlap each other, the taps or the delay line. The first check that fails
 * reports, alone, and nothing is changed. Filters share a tap record between threads, not a delay record.
 * @{ */

/** A filter's taps. */
typedef struct FirTapState {
  void* taps;           /**< the caller's array, of the taps' type */
  int32_t len;          /**< number of taps */
  int32_t upFactor;     /**< 1 for a single-rate filter */
  int32_t upPhase;      /**< 0 ... upFactor-1 */
  int32_t downFactor;   /**< 1 for a single-rate filter */
  int32_t downPhase;    /**< 0 ... downFactor-1 */
  int32_t isMultiRate;  /**< 1 where one of the factors is above 1 */
  int32_t isFilterMode; /**< 1 while block filtering is allowed */
} FirTapState;
/** A filter's delay line. */
typedef struct FirDlyState {
  void* dlyl;           /**< the caller's array, of the samples' type */
  int32_t len;          /**< places in it: as many as taps, multi-rate ceil(taps / upFactor) */
  int32_t isFilterMode; /**< 1 while it holds the history in internal order */
} FirDlyState;

/** @name A single-rate filter
 * Checks: `taps` or `tapStPtr` null "Null buffer pointer"; `tapsLen` < 1 "Invalid array length". */
/** @{ */
MOX_API void MOX_CALL moxsFirlInit(float* taps, int32_t tapsLen, FirTapState* tapStPtr);
MOX_API void MOX_CALL moxcFirlInit(MoxC* taps, int32_t tapsLen, FirTapState* tapStPtr);
MOX_API void MOX_CALL moxdFirlInit(double* taps, int32_t tapsLen, FirTapState* tapStPtr);
MOX_API void MOX_CALL moxzFirlInit(MoxZ* taps, int32_t tapsLen, FirTapState* tapStPtr);
MOX_API void MOX_CALL moxwFirlInit(int16_t* taps, int32_t tapsLen, FirTapState* tapStPtr);
/** @} */
/** @name A multi-rate filter
 * Both factors 1 make a single-rate one. Checks: as Init, then a phase below 0 "Invalid phase value", a factor not
 * above its phase "Invalid factor value". */
/** @{ */
MOX_API void MOX_CALL moxsFirlInitMr(float* taps, int32_t tapsLen, int32_t upFactor, int32_t upPhase,
                                     int32_t downFactor, int32_t downPhase, FirTapState* tapStPtr);
MOX_API void MOX_CALL moxcFirlInitMr(MoxC* taps, int32_t tapsLen, int32_t upFactor, int32_t upPhase, int32_t downFactor,
                                     int32_t downPhase, FirTapState* tapStPtr);
MOX_API void MOX_CALL moxdFirlInitMr(double* taps, int32_t tapsLen, int32_t upFactor, int32_t upPhase,
                                     int32_t downFactor, int32_t downPhase, FirTapState* tapStPtr);
MOX_API void MOX_CALL moxzFirlInitMr(MoxZ* taps, int32_t tapsLen, int32_t upFactor, int32_t upPhase, int32_t downFactor,
                                     int32_t downPhase, FirTapState* tapStPtr);
MOX_API void MOX_CALL moxwFirlInitMr(int16_t* taps, int32_t tapsLen, int32_t upFactor, int32_t upPhase,
                                     int32_t downFactor, int32_t downPhase, FirTapState* tapStPtr);
/** @} */
/** @name A delay line
 * for filters of this shape. The array has room for `len` samples, one more than are visible of a single-rate filter;
 * it is not touched. Check of this and the next four: a null pointer "Null buffer pointer" (but for the source of Set).
 */
/** @{ */
MOX_API void MOX_CALL moxsFirlInitDlyl(const FirTapState* tapStPtr, float* dlyl, FirDlyState* dlyStPtr);
MOX_API void MOX_CALL moxcFirlInitDlyl(const FirTapState* tapStPtr, MoxC* dlyl, FirDlyState* dlyStPtr);
MOX_API void MOX_CALL moxdFirlInitDlyl(const FirTapState* tapStPtr, double* dlyl, FirDlyState* dlyStPtr);
MOX_API void MOX_CALL moxzFirlInitDlyl(const FirTapState* tapStPtr, MoxZ* dlyl, FirDlyState* dlyStPtr);
MOX_API void MOX_CALL moxwFirlInitDlyl(const FirTapState* tapStPtr, int16_t* dlyl, FirDlyState* dlyStPtr);
/** @} */
/** @name Copies taps in
 * null: zeros. `taps` may be the filter's own array. Block filtering is allowed again. */
/** @{ */
MOX_API void MOX_CALL moxsFirlSetTaps(const float* taps, FirTapState* tapStPtr);
MOX_API void MOX_CALL moxcFirlSetTaps(const MoxC* taps, FirTapState* tapStPtr);
MOX_API void MOX_CALL moxdFirlSetTaps(const double* taps, FirTapState* tapStPtr);
MOX_API void MOX_CALL moxzFirlSetTaps(const MoxZ* taps, FirTapState* tapStPtr);
MOX_API void MOX_CALL moxwFirlSetTaps(const int16_t* taps, FirTapState* tapStPtr);
/** @} */
/** @name Copies taps out
 * into `taps`, which may be the filter's own array. No block filtering until SetTaps. */
/** @{ */
MOX_API void MOX_CALL moxsFirlGetTaps(FirTapState* tapStPtr, float* taps);
MOX_API void MOX_CALL moxcFirlGetTaps(FirTapState* tapStPtr, MoxC* taps);
MOX_API void MOX_CALL moxdFirlGetTaps(FirTapState* tapStPtr, double* taps);
MOX_API void MOX_CALL moxzFirlGetTaps(FirTapState* tapStPtr, MoxZ* taps);
MOX_API void MOX_CALL moxwFirlGetTaps(FirTapState* tapStPtr, int16_t* taps);
/** @} */
/** @name Sets the history
 * to `dlyl`, oldest first, or to zeros (null). The filter's own array is reversed in place, unless it is in internal
 * order. Block filtering is allowed again. */
/** @{ */
MOX_API void MOX_CALL moxsFirlSetDlyl(const FirTapState* tapStPtr, const float* dlyl, FirDlyState* dlyStPtr);
MOX_API void MOX_CALL moxcFirlSetDlyl(const FirTapState* tapStPtr, const MoxC* dlyl, FirDlyState* dlyStPtr);
MOX_API void MOX_CALL moxdFirlSetDlyl(const FirTapState* tapStPtr, const double* dlyl, FirDlyState* dlyStPtr);
MOX_API void MOX_CALL moxzFirlSetDlyl(const FirTapState* tapStPtr, const MoxZ* dlyl, FirDlyState* dlyStPtr);
MOX_API void MOX_CALL moxwFirlSetDlyl(const FirTapState* tapStPtr, const int16_t* dlyl, FirDlyState* dlyStPtr);
/** @} */
/** @name Copies the history out
 * oldest first; `dlyl` may be the filter's own array. Not in internal order, nothing is done; afterwards no block
 * filtering until SetDlyl. */
/** @{ */
MOX_API void MOX_CALL moxsFirlGetDlyl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, float* dlyl);
MOX_API void MOX_CALL moxcFirlGetDlyl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, MoxC* dlyl);
MOX_API void MOX_CALL moxdFirlGetDlyl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, double* dlyl);
MOX_API void MOX_CALL moxzFirlGetDlyl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, MoxZ* dlyl);
MOX_API void MOX_CALL moxwFirlGetDlyl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, int16_t* dlyl);
/** @} */
/** @name One sample
 * shifted into the delay line; the result is the sum of taps[k] * dlyl[k], k < len of the delay line. Neither the rates
 * nor the locks are looked at. The int16 sum wraps in 32 bits; it takes the scale mode (see "Scale modes") where that
 * holds the flag 2 (MOX_FixScale, MOX_FixScaleSat), in all other modes its low 16 bits are the result. Check: a null
 * record "Null buffer pointer"; the result then is 0. */
/** @{ */
MOX_API float MOX_CALL moxsFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, float samp);
MOX_API MoxC MOX_CALL moxcFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, MoxC samp);
MOX_API double MOX_CALL moxdFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, double samp);
MOX_API MoxZ MOX_CALL moxzFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, MoxZ samp);
MOX_API MoxC MOX_CALL moxscFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, float samp);
MOX_API MoxC MOX_CALL moxcsFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, MoxC samp);
MOX_API MoxZ MOX_CALL moxdzFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, double samp);
MOX_API MoxZ MOX_CALL moxzdFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, MoxZ samp);
MOX_API int16_t MOX_CALL moxwFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, int16_t samp, int32_t scaleMode,
                                  int32_t* scalePtr);
/** @} */
/** @name A block
 * of numIters * downFactor samples to numIters * upFactor results (single-rate: numIters of both).
 *
 * The int16 form filters float32 copies of everything, in memory of its own, and brings the results back through the
 * scale mode; where that is refused, results and delay line stay as they were.
 *
 * Checks: a null pointer "Null buffer pointer"; the delay line's or the taps' lock "Not filter mode"; `numIters` < 1
 * "Invalid array length"; int16: no memory "Memory problem" (MOX_StsNoMem), then the reports of "moxsbUndScaling". */
/** @{ */
MOX_API void MOX_CALL moxsbFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, const float* inSamps,
                                float* outSamps, int32_t numIters);
MOX_API void MOX_CALL moxcbFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, const MoxC* inSamps, MoxC* outSamps,
                                int32_t numIters);
MOX_API void MOX_CALL moxdbFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, const double* inSamps,
                                double* outSamps, int32_t numIters);
MOX_API void MOX_CALL moxzbFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, const MoxZ* inSamps, MoxZ* outSamps,
                                int32_t numIters);
MOX_API void MOX_CALL moxscbFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, const float* inSamps,
                                 MoxC* outSamps, int32_t numIters);
MOX_API void MOX_CALL moxcsbFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, const MoxC* inSamps,
                                 MoxC* outSamps, int32_t numIters);
MOX_API void MOX_CALL moxdzbFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, const double* inSamps,
                                 MoxZ* outSamps, int32_t numIters);
MOX_API void MOX_CALL moxzdbFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, const MoxZ* inSamps,
                                 MoxZ* outSamps, int32_t numIters);
MOX_API void MOX_CALL moxwbFirl(const FirTapState* tapStPtr, FirDlyState* dlyStPtr, const int16_t* inSamps,
                                int16_t* outSamps, int32_t numIters, int32_t scaleMode, int32_t* scalePtr);
/** @} */
/** @} */

/** @defgroup fir Finite impulse response, filter object
 * The filters of "Finite impulse response, low level" in one record that owns copies of its taps and of its history; a
 * single sample costs a sum of products and no shift of the history. moxFirFree releases the buffers; an Init on a
 * record in use does so first. Two records never share anything; a record must not be copied and used twice.
 *
 * The history is the `dlyLen` newest samples, oldest first: tapsLen - 1 of a single-rate filter, ceil(tapsLen /
 * upFactor) of a multi-rate one. Blocks give the same bits as the low-level ones, single samples the sums of the dot
 * products of reversed taps with the history.
 *
 * Long single-rate filters on float32 put large blocks through transforms, which is several times as fast: from 20
 * complex taps, from 48 real taps on complex samples, from 56 real taps on real samples; up to 65536 taps. Results of
 * a transform count where they are within 2^-26 of themselves of the exact sum, before they are rounded; the others (in
 * quiet passages, beside infinities) are formed from their products. So a result may differ by one rounding from that
 * of another block length or of the low level. Init of such a filter computes a table.
 *
 * Type letters `sc`, `cs`, `dz`, `zd`: samples, then taps; the functions of the taps are those of the taps' letter, the
 * functions of the history those of the samples'. The first check that fails reports, alone, and nothing is changed.
 * @{ */

/** Output e of every period of upFactor outputs. */
typedef struct FirPhase {
  int32_t branch;      /**< its taps are taps[branch + k * upFactor] */
  int32_t len;         /**< how many they are */
  int32_t start;       /**< its oldest sample in the first period, as an index into the history buffer */
  int32_t offset;      /**< its taps in tapsBuf, the last one first */
  int32_t len2;        /**< `len` */
  void* taps16;        /**< int16 filters: the address of its taps */
  int32_t reserved[3]; /**< 0 */
} FirPhase;
/** A filter. Its fields are the library's own. */
typedef struct FirState {
  int32_t upFactor, upPhase, downFactor, downPhase; /**< 1, 0, 1, 0 for a single-rate filter */
  int32_t isMultiRate;                              /**< 1 where one of the factors is above 1 */
  void* self;                                       /**< the record's own address while it is initialised */
  int32_t tapsLen;                                  /**< number of taps */
  void* tapsBuf;                                    /**< the taps, reversed; branch after branch if multi-rate */
  int32_t tapsLen8;                                 /**< tapsLen rounded down to a multiple of 8 */
  int32_t dlyLen;                                   /**< samples of history */
  void *bufStart, *bufEnd;                          /**< the history buffer and its element bufLen */
  void* histPtr;                                    /**< the oldest sample of the history */
  int32_t bufLen;                                   /**< places that the history slides over */
  int32_t pos16;                                    /**< int16 filters: index of the oldest sample */
  FirPhase* phaseTable;                             /**< multi-rate: upFactor entries, else null */
  int32_t tapsLen16;                                /**< int16 filters: tapsLen */
  int32_t reserved[4];                              /**< 0 */
} FirState;

/** @name A single-rate filter
 * with a copy of the taps (null: zeros) and of the history (null: zeros). Whatever the record held before, it must not
 * be its own address in `self` unless it is initialised. Checks: "Null state pointer"; `tapsLen` < 1 "Invalid value";
 * no memory "Allocation failure" (MOX_StsNoMem), which leaves the record uninitialised. */
/** @{ */
MOX_API void MOX_CALL moxsFirInit(const float* taps, int32_t tapsLen, const float* history, FirState* statePtr);
MOX_API void MOX_CALL moxcFirInit(const MoxC* taps, int32_t tapsLen, const MoxC* history, FirState* statePtr);
MOX_API void MOX_CALL moxdFirInit(const double* taps, int32_t tapsLen, const double* history, FirState* statePtr);
MOX_API void MOX_CALL moxzFirInit(const MoxZ* taps, int32_t tapsLen, const MoxZ* history, FirState* statePtr);
MOX_API void MOX_CALL moxscFirInit(const MoxC* taps, int32_t tapsLen, const float* history, FirState* statePtr);
MOX_API void MOX_CALL moxcsFirInit(const float* taps, int32_t tapsLen, const MoxC* history, FirState* statePtr);
MOX_API void MOX_CALL moxdzFirInit(const MoxZ* taps, int32_t tapsLen, const double* history, FirState* statePtr);
MOX_API void MOX_CALL moxzdFirInit(const double* taps, int32_t tapsLen, const MoxZ* history, FirState* statePtr);
MOX_API void MOX_CALL moxwFirInit(const int16_t* taps, int32_t tapsLen, const int16_t* history, FirState* statePtr);
/** @} */
/** @name A multi-rate filter
 * Checks: "Null state pointer"; a factor below 1, a phase outside 0 ... factor-1, `tapsLen` < 1 "Invalid value";
 * "Allocation failure". */
/** @{ */
MOX_API void MOX_CALL moxsFirInitMr(const float* taps, int32_t tapsLen, const float* history, int32_t upFactor,
                                    int32_t upPhase, int32_t downFactor, int32_t downPhase, FirState* statePtr);
MOX_API void MOX_CALL moxcFirInitMr(const MoxC* taps, int32_t tapsLen, const MoxC* history, int32_t upFactor,
                                    int32_t upPhase, int32_t downFactor, int32_t downPhase, FirState* statePtr);
MOX_API void MOX_CALL moxdFirInitMr(const double* taps, int32_t tapsLen, const double* history, int32_t upFactor,
                                    int32_t upPhase, int32_t downFactor, int32_t downPhase, FirState* statePtr);
MOX_API void MOX_CALL moxzFirInitMr(const MoxZ* taps, int32_t tapsLen, const MoxZ* history, int32_t upFactor,
                                    int32_t upPhase, int32_t downFactor, int32_t downPhase, FirState* statePtr);
MOX_API void MOX_CALL moxscFirInitMr(const MoxC* taps, int32_t tapsLen, const float* history, int32_t upFactor,
                                     int32_t upPhase, int32_t downFactor, int32_t downPhase, FirState* statePtr);
MOX_API void MOX_CALL moxcsFirInitMr(const float* taps, int32_t tapsLen, const MoxC* history, int32_t upFactor,
                                     int32_t upPhase, int32_t downFactor, int32_t downPhase, FirState* statePtr);
MOX_API void MOX_CALL moxdzFirInitMr(const MoxZ* taps, int32_t tapsLen, const double* history, int32_t upFactor,
                                     int32_t upPhase, int32_t downFactor, int32_t downPhase, FirState* statePtr);
MOX_API void MOX_CALL moxzdFirInitMr(const double* taps, int32_t tapsLen, const MoxZ* history, int32_t upFactor,
                                     int32_t upPhase, int32_t downFactor, int32_t downPhase, FirState* statePtr);
MOX_API void MOX_CALL moxwFirInitMr(const int16_t* taps, int32_t tapsLen, const int16_t* history, int32_t upFactor,
                                    int32_t upPhase, int32_t downFactor, int32_t downPhase, FirState* statePtr);
/** @} */
/** @name Taps and history
 * Set takes null for zeros. Checks: "Null state pointer"; "Must have been initialized"; Get: "Null buffer pointer". */
/** @{ */
MOX_API void MOX_CALL moxsFirSetTaps(const float* taps, FirState* statePtr);
MOX_API void MOX_CALL moxcFirSetTaps(const MoxC* taps, FirState* statePtr);
MOX_API void MOX_CALL moxdFirSetTaps(const double* taps, FirState* statePtr);
MOX_API void MOX_CALL moxzFirSetTaps(const MoxZ* taps, FirState* statePtr);
MOX_API void MOX_CALL moxwFirSetTaps(const int16_t* taps, FirState* statePtr);
MOX_API void MOX_CALL moxsFirGetTaps(const FirState* statePtr, float* taps);
MOX_API void MOX_CALL moxcFirGetTaps(const FirState* statePtr, MoxC* taps);
MOX_API void MOX_CALL moxdFirGetTaps(const FirState* statePtr, double* taps);
MOX_API void MOX_CALL moxzFirGetTaps(const FirState* statePtr, MoxZ* taps);
MOX_API void MOX_CALL moxwFirGetTaps(const FirState* statePtr, int16_t* taps);
MOX_API void MOX_CALL moxsFirSetDlyl(const float* history, FirState* statePtr);
MOX_API void MOX_CALL moxcFirSetDlyl(const MoxC* history, FirState* statePtr);
MOX_API void MOX_CALL moxdFirSetDlyl(const double* history, FirState* statePtr);
MOX_API void MOX_CALL moxzFirSetDlyl(const MoxZ* history, FirState* statePtr);
MOX_API void MOX_CALL moxwFirSetDlyl(const int16_t* history, FirState* statePtr);
MOX_API void MOX_CALL moxsFirGetDlyl(const FirState* statePtr, float* history);
MOX_API void MOX_CALL moxcFirGetDlyl(const FirState* statePtr, MoxC* history);
MOX_API void MOX_CALL moxdFirGetDlyl(const FirState* statePtr, double* history);
MOX_API void MOX_CALL moxzFirGetDlyl(const FirState* statePtr, MoxZ* history);
MOX_API void MOX_CALL moxwFirGetDlyl(const FirState* statePtr, int16_t* history);
/** @} */
/** @name One sample
 * of a single-rate filter. (A multi-rate one sums over its first taps in internal order, for what that is worth.) The
 * int16 sum wraps in 32 bits and takes the scale mode; its reports come from "moxiUndScaling" and give 0.
 * Checks: "Null state pointer"; "Must have been initialized"; the result then is 0. */
/** @{ */
MOX_API float MOX_CALL moxsFir(FirState* statePtr, float samp);
MOX_API MoxC MOX_CALL moxcFir(FirState* statePtr, MoxC samp);
MOX_API double MOX_CALL moxdFir(FirState* statePtr, double samp);
MOX_API MoxZ MOX_CALL moxzFir(FirState* statePtr, MoxZ samp);
MOX_API MoxC MOX_CALL moxscFir(FirState* statePtr, float samp);
MOX_API MoxC MOX_CALL moxcsFir(FirState* statePtr, MoxC samp);
MOX_API MoxZ MOX_CALL moxdzFir(FirState* statePtr, double samp);
MOX_API MoxZ MOX_CALL moxzdFir(FirState* statePtr, MoxZ samp);
MOX_API int16_t MOX_CALL moxwFir(FirState* statePtr, int16_t samp, int32_t scaleMode, int32_t* scalePtr);
/** @} */
/** @name A block
 * of numIters * downFactor samples to numIters * upFactor results (single-rate: numIters of both), which do not
 * overlap.
 *
 * int16: every sum wraps in 32 bits, then sum * 2^-f rounds down. f is the caller's factor where the mode holds the
 * flag 2 (MOX_FixScale, MOX_FixScaleSat) and `scalePtr` is not null, else 0. MOX_AutoScale begins with f = 0; a result
 * outside of 16 bits raises f by floor(log2 of its magnitude) - 14, for itself, for the results before it and for those
 * to come; at the end f is written to `*scalePtr`. In all other modes the flag 1 saturates; without it the low 16 bits
 * are kept.
 *
 * Checks: "Null state pointer"; "Must have been initialized"; "Null buffer pointer"; `numIters` < 1 "Invalid value";
 * int16: MOX_AutoScale without a pointer "NULL==scalePtr". */
/** @{ */
MOX_API void MOX_CALL moxsbFir(FirState* statePtr, const float* inSamps, float* outSamps, int32_t numIters);
MOX_API void MOX_CALL moxcbFir(FirState* statePtr, const MoxC* inSamps, MoxC* outSamps, int32_t numIters);
MOX_API void MOX_CALL moxdbFir(FirState* statePtr, const double* inSamps, double* outSamps, int32_t numIters);
MOX_API void MOX_CALL moxzbFir(FirState* statePtr, const MoxZ* inSamps, MoxZ* outSamps, int32_t numIters);
MOX_API void MOX_CALL moxscbFir(FirState* statePtr, const float* inSamps, MoxC* outSamps, int32_t numIters);
MOX_API void MOX_CALL moxcsbFir(FirState* statePtr, const MoxC* inSamps, MoxC* outSamps, int32_t numIters);
MOX_API void MOX_CALL moxdzbFir(FirState* statePtr, const double* inSamps, MoxZ* outSamps, int32_t numIters);
MOX_API void MOX_CALL moxzdbFir(FirState* statePtr, const MoxZ* inSamps, MoxZ* outSamps, int32_t numIters);
MOX_API void MOX_CALL moxwbFir(FirState* statePtr, const int16_t* inSamps, int16_t* outSamps, int32_t numIters,
                               int32_t scaleMode, int32_t* scalePtr);
/** @} */
/** Releases the buffers, whatever the thread's status is. Checks: "Null state pointer"; "Must have been initialized".
 */
MOX_API void MOX_CALL moxFirFree(FirState* statePtr);
/** @} */

/** @defgroup iir Recursive filters
 * Filters with feedback, as one direct form of order N or as a cascade of Q second-order sections (biquads):
 *
 *     direct form   a0 y[n] = sum over i = 0 ... N of b_i x[n-i]  -  sum over i = 1 ... N of a_i y[n-i]
 *     biquads       the same with N = 2, section after section
 *
 * Mixed forms have two type letters, that of the samples and that of the taps; where one is complex, so are delay line
 * and results.
 *
 * Everything runs in float64. Delay values are widened when a call begins and rounded to their type once, when it ends,
 * as results are when stored: single samples, one block and its parts agree to the rounding of the delay line in
 * float32 and float32 complex, and bit for bit in float64 (delay lines of more than 128 values are rounded at times in
 * between). float32 cascades with real taps take several samples at once in blocks, where all poles of a section are in
 * the unit circle; that moves results by less than their rounding. On processors without fused multiply-add results
 * may differ in the last place. In blocks, input and output are the same array or do not overlap (do not overlap where
 * their types differ).
 * @{ */

/** The taps of a recursive filter. The fields are set by Init and InitBq. */
typedef struct IirTapState {
  int32_t order;    /**< values in the delay line: N, or 2 Q */
  void* taps;       /**< the caller's array, prepared by Init */
  int32_t iirType;  /**< the argument of that name, 0 or 1; it selects nothing */
  int32_t isBiquad; /**< 0 direct form, 1 biquads */
} IirTapState;
/** The delay line of a recursive filter: `order` values in the caller's array. */
typedef struct IirDlyState {
  void* dlyl;
} IirDlyState;
/** A filter with its own taps and delay line. Zero it before the first Init. */
typedef struct IirState {
  IirTapState tapSt; /**< its taps, at the beginning of the filter's memory */
  IirDlyState dlySt; /**< its delay line, behind them */
  int32_t initMark;  /**< 31725 between Init and moxIirFree */
} IirState;

/** @name Taps in the caller's array
 * Init: b0 ... bN, a0 ... aN (2N+2 values, order = N) become b0/a0 ... bN/a0, a1/a0 ... aN/a0; the last value stays.
 * InitBq: b0, b1, b2, a0, a1, a2 of each of numQuads sections become the gain (the product of all b0/a0), then a1/a0,
 * a2/a0, b1/b0, b2/b0 of each; the values behind stay. Complex values are multiplied by the reciprocal. The state keeps
 * the pointer: the array lives as long as the filter, and a second Init on it needs fresh values. One state may serve
 * several delay lines at once.
 * Checks: "tapStPtr==0", "taps==0", "order < 0" or "numQuads <= 0", "iirType is out of range" (not 0 or 1), "numQuads
 * is out of range" (above 2^30 - 1: `order` could not count the delay line). Then a zero (of either sign, complex in
 * both parts): "taps[order+1] equals zero", nothing changed; or, section after section, "taps[0*6] equals zero" for b0,
 * "taps[0*6+3] equals zero" for a0 with the section's number: then the state is filled and the sections before are
 * prepared. */
/** @{ */
MOX_API void MOX_CALL moxsIirlInit(int32_t iirType, float* taps, int32_t order, IirTapState* tapStPtr);
MOX_API void MOX_CALL moxdIirlInit(int32_t iirType, double* taps, int32_t order, IirTapState* tapStPtr);
MOX_API void MOX_CALL moxcIirlInit(int32_t iirType, MoxC* taps, int32_t order, IirTapState* tapStPtr);
MOX_API void MOX_CALL moxzIirlInit(int32_t iirType, MoxZ* taps, int32_t order, IirTapState* tapStPtr);
MOX_API void MOX_CALL moxsIirlInitBq(int32_t iirType, float* taps, int32_t numQuads, IirTapState* tapStPtr);
MOX_API void MOX_CALL moxdIirlInitBq(int32_t iirType, double* taps, int32_t numQuads, IirTapState* tapStPtr);
MOX_API void MOX_CALL moxcIirlInitBq(int32_t iirType, MoxC* taps, int32_t numQuads, IirTapState* tapStPtr);
MOX_API void MOX_CALL moxzIirlInitBq(int32_t iirType, MoxZ* taps, int32_t numQuads, IirTapState* tapStPtr);
/** @} */
/** @name Delay line
 * dlyl[i] = 0, i = 0 ... order-1; for order 0 dlyl may be null. The function is that of the results' type.
 * Checks: "tapStPtr==0", "dlyStPtr==0"; then "structure *tapStPtr wasn't initialized", "dlyl==0". */
/** @{ */
MOX_API void MOX_CALL moxsIirlInitDlyl(const IirTapState* tapStPtr, float* dlyl, IirDlyState* dlyStPtr);
MOX_API void MOX_CALL moxdIirlInitDlyl(const IirTapState* tapStPtr, double* dlyl, IirDlyState* dlyStPtr);
MOX_API void MOX_CALL moxcIirlInitDlyl(const IirTapState* tapStPtr, MoxC* dlyl, IirDlyState* dlyStPtr);
MOX_API void MOX_CALL moxzIirlInitDlyl(const IirTapState* tapStPtr, MoxZ* dlyl, IirDlyState* dlyStPtr);
/** @} */
/** @name One sample
 * The next result; 0 after a report. Checks: "tapStPtr==0", "dlyStPtr==0"; then "structure *tapStPtr wasn't
 * initialized", "structure *dlyStPtr wasn't initialized". */
/** @{ */
MOX_API float MOX_CALL moxsIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, float samp);
MOX_API double MOX_CALL moxdIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, double samp);
MOX_API MoxC MOX_CALL moxcIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, MoxC samp);
MOX_API MoxZ MOX_CALL moxzIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, MoxZ samp);
MOX_API MoxC MOX_CALL moxscIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, float samp);
MOX_API MoxC MOX_CALL moxcsIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, MoxC samp);
MOX_API MoxZ MOX_CALL moxdzIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, double samp);
MOX_API MoxZ MOX_CALL moxzdIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, MoxZ samp);
/** @} */
/** @name Blocks
 * numIters samples; 0 does nothing. Checks: "tapStPtr==0", "dlyStPtr==0", "inSamps==0", "outSamps==0"; then "structure
 * *tapStPtr wasn't initialized", "structure *dlyStPtr wasn't initialized", "numIters < 0". */
/** @{ */
MOX_API void MOX_CALL moxsbIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, const float* inSamps,
                                float* outSamps, int32_t numIters);
MOX_API void MOX_CALL moxdbIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, const double* inSamps,
                                double* outSamps, int32_t numIters);
MOX_API void MOX_CALL moxcbIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, const MoxC* inSamps,
                                MoxC* outSamps, int32_t numIters);
MOX_API void MOX_CALL moxzbIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, const MoxZ* inSamps,
                                MoxZ* outSamps, int32_t numIters);
MOX_API void MOX_CALL moxscbIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, const float* inSamps,
                                 MoxC* outSamps, int32_t numIters);
MOX_API void MOX_CALL moxcsbIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, const MoxC* inSamps,
                                 MoxC* outSamps, int32_t numIters);
MOX_API void MOX_CALL moxdzbIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, const double* inSamps,
                                 MoxZ* outSamps, int32_t numIters);
MOX_API void MOX_CALL moxzdbIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, const MoxZ* inSamps,
                                 MoxZ* outSamps, int32_t numIters);
/** @} */
/** @name Filters that own their memory: initialisation
 * Init and InitBq as above on a copy of the taps, tapVals stays as it is; the delay line starts with zeros. Release
 * with moxIirFree. @return the thread's status. Checks: "statePtr==0", "tapVals==0"; then "order < 0" or "numQuads <=
 * 0", "iirType is out of range", "IIR filter state structure is already initialized! Use moxIirFree to free it". No
 * memory (or `numQuads` above 2^30 - 1): "insufficiency of memory for IIR filter state" (MOX_StsNoMem). A zero among
 * the taps is reported as above, then a trace (MOX_StsBackTrace, no condition); the state stays uninitialised and owns
 * nothing. */
/** @{ */
MOX_API int32_t MOX_CALL moxsIirInit(int32_t iirType, const float* tapVals, int32_t order, IirState* statePtr);
MOX_API int32_t MOX_CALL moxdIirInit(int32_t iirType, const double* tapVals, int32_t order, IirState* statePtr);
MOX_API int32_t MOX_CALL moxcIirInit(int32_t iirType, const MoxC* tapVals, int32_t order, IirState* statePtr);
MOX_API int32_t MOX_CALL moxzIirInit(int32_t iirType, const MoxZ* tapVals, int32_t order, IirState* statePtr);
MOX_API int32_t MOX_CALL moxscIirInit(int32_t iirType, const MoxC* tapVals, int32_t order, IirState* statePtr);
MOX_API int32_t MOX_CALL moxcsIirInit(int32_t iirType, const float* tapVals, int32_t order, IirState* statePtr);
MOX_API int32_t MOX_CALL moxdzIirInit(int32_t iirType, const MoxZ* tapVals, int32_t order, IirState* statePtr);
MOX_API int32_t MOX_CALL moxzdIirInit(int32_t iirType, const double* tapVals, int32_t order, IirState* statePtr);
MOX_API int32_t MOX_CALL moxsIirInitBq(int32_t iirType, const float* tapVals, int32_t numQuads, IirState* statePtr);
MOX_API int32_t MOX_CALL moxdIirInitBq(int32_t iirType, const double* tapVals, int32_t numQuads, IirState* statePtr);
MOX_API int32_t MOX_CALL moxcIirInitBq(int32_t iirType, const MoxC* tapVals, int32_t numQuads, IirState* statePtr);
MOX_API int32_t MOX_CALL moxzIirInitBq(int32_t iirType, const MoxZ* tapVals, int32_t numQuads, IirState* statePtr);
MOX_API int32_t MOX_CALL moxscIirInitBq(int32_t iirType, const MoxC* tapVals, int32_t numQuads, IirState* statePtr);
MOX_API int32_t MOX_CALL moxcsIirInitBq(int32_t iirType, const float* tapVals, int32_t numQuads, IirState* statePtr);
MOX_API int32_t MOX_CALL moxdzIirInitBq(int32_t iirType, const MoxZ* tapVals, int32_t numQuads, IirState* statePtr);
MOX_API int32_t MOX_CALL moxzdIirInitBq(int32_t iirType, const double* tapVals, int32_t numQuads, IirState* statePtr);
/** @} */
/** @name Filters that own their memory: filtering
 * As the functions of the same kind above. Checks: "statePtr==0", then "IIR filter wasn't initialized". The block forms
 * leave the checks of arrays and count to the functions above, add a trace when those fail, and return the thread's
 * status. moxIirFree, whatever the status, releases the memory. */
/** @{ */
MOX_API float MOX_CALL moxsIir(IirState* statePtr, float samp);
MOX_API double MOX_CALL moxdIir(IirState* statePtr, double samp);
MOX_API MoxC MOX_CALL moxcIir(IirState* statePtr, MoxC samp);
MOX_API MoxZ MOX_CALL moxzIir(IirState* statePtr, MoxZ samp);
MOX_API MoxC MOX_CALL moxscIir(IirState* statePtr, float samp);
MOX_API MoxC MOX_CALL moxcsIir(IirState* statePtr, MoxC samp);
MOX_API MoxZ MOX_CALL moxdzIir(IirState* statePtr, double samp);
MOX_API MoxZ MOX_CALL moxzdIir(IirState* statePtr, MoxZ samp);
MOX_API int32_t MOX_CALL moxsbIir(IirState* statePtr, const float* inSamps, float* outSamps, int32_t numIters);
MOX_API int32_t MOX_CALL moxdbIir(IirState* statePtr, const double* inSamps, double* outSamps, int32_t numIters);
MOX_API int32_t MOX_CALL moxcbIir(IirState* statePtr, const MoxC* inSamps, MoxC* outSamps, int32_t numIters);
MOX_API int32_t MOX_CALL moxzbIir(IirState* statePtr, const MoxZ* inSamps, MoxZ* outSamps, int32_t numIters);
MOX_API int32_t MOX_CALL moxscbIir(IirState* statePtr, const float* inSamps, MoxC* outSamps, int32_t numIters);
MOX_API int32_t MOX_CALL moxcsbIir(IirState* statePtr, const MoxC* inSamps, MoxC* outSamps, int32_t numIters);
MOX_API int32_t MOX_CALL moxdzbIir(IirState* statePtr, const double* inSamps, MoxZ* outSamps, int32_t numIters);
MOX_API int32_t MOX_CALL moxzdbIir(IirState* statePtr, const MoxZ* inSamps, MoxZ* outSamps, int32_t numIters);
MOX_API int32_t MOX_CALL moxIirFree(IirState* statePtr);
/** @} */
/** @name int16 samples
 * The same with int16 taps and samples through float32: results are brought back to int16 by the scale mode (see "Scale
 * modes"; its reports come from "moxsbUndScaling", clear the status before, and leave everything as it was).
 *
 * Low level: the prepared taps are truncated to int16 (and limited) in the caller's array, real numbers as they are
 * divided; a zero among them changes nothing there. The delay line, whole numbers, is limited to int16 when a call
 * ends. The calls copy taps, delay line and samples; no memory (or `numQuads` above 2^30 - 1): "No memory for working
 * array" (MOX_StsNoMem). Texts that differ: "order<0", "numQuads<=0".
 *
 * Filters that own their memory keep taps and delay line in float32. Block: "statePtr==0", "inSamps==0", "outSamps==0",
 * then "numIters <= 0", "IIR filter wasn't initialized", then "insufficiency of memory for float copy inSamps (IIR
 * filter) " and "insufficiency of memory for float copy outSamps (IIR filter) " (MOX_StsNoMem). */
/** @{ */
MOX_API void MOX_CALL moxwIirlInit(int32_t iirType, int16_t* taps, int32_t order, IirTapState* tapStPtr);
MOX_API void MOX_CALL moxwIirlInitBq(int32_t iirType, int16_t* taps, int32_t numQuads, IirTapState* tapStPtr);
MOX_API void MOX_CALL moxwIirlInitDlyl(const IirTapState* tapStPtr, int16_t* dlyl, IirDlyState* dlyStPtr);
MOX_API int16_t MOX_CALL moxwIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, int16_t samp,
                                  int32_t scaleMode, int32_t* scalePtr);
MOX_API void MOX_CALL moxwbIirl(const IirTapState* tapStPtr, const IirDlyState* dlyStPtr, const int16_t* inSamps,
                                int16_t* outSamps, int32_t numIters, int32_t scaleMode, int32_t* scalePtr);
MOX_API int32_t MOX_CALL moxwIirInit(int32_t iirType, const int16_t* tapVals, int32_t order, IirState* statePtr);
MOX_API int32_t MOX_CALL moxwIirInitBq(int32_t iirType, const int16_t* tapVals, int32_t numQuads, IirState* statePtr);
MOX_API int16_t MOX_CALL moxwIir(IirState* statePtr, int16_t samp, int32_t scaleMode, int32_t* scalePtr);
MOX_API int32_t MOX_CALL moxwbIir(IirState* statePtr, const int16_t* inSamps, int16_t* outSamps, int32_t numIters,
                                  int32_t scaleMode, int32_t* scalePtr);
/** @} */
/** @} */

/** @defgroup lms Adaptive filters
 * Filters with finite impulse response that adapt their taps by the leaky least-mean-squares rule. For every sample x,
 * with h the taps, d the delay line (newest sample first) and e the error:
 *
 *     h[i] = (1 - leak) h[i] + step e conj(d[i + errDly])     i < tapsLen, d before x
 *     d[i] = d[i-1], d[0] = x
 *     y = sum over i < tapsLen of h[i] d[i]
 *
 * A multi-rate filter takes K = downFactor samples a step, d[0] the newest of them, and looks at the delay line from
 * the place K - 1 - downPhase on. Mixed filters (`sc`, `dz`) have real samples and complex taps, errors and results.
 *
 * Sums run in float64, in an order that depends on the filter alone, and are rounded once. Taps are updated in float64
 * and rounded when stored, so that a float32 filter's sums take the rounded taps; the float32 filters, with a leak
 * between -1/16 and 1/16, round g = step e to float32 and update there: (h[i] - leak h[i]) + g conj(d[i + errDly]).
 * `step` and `leak` are float32 in all filters but the int16 one. On processors without fused multiply-add results may
 * differ in the last place. Samples and results must not overlap each other, taps or delay line.
 *
 * Nothing outside of a delay line's own length is read or written: where a delay line is too short for errDly, the
 * missing samples are zeros. Of all checks the first that fails reports, alone; nothing is changed, and a result is 0.
 * @{ */

/** The taps of an adaptive filter, beginning like a FirTapState. */
typedef struct LmsTapState {
  void* taps;           /**< the caller's array, adapted in place, taps[0] at the newest sample */
  int32_t len;          /**< number of taps */
  int32_t upFactor;     /**< 1 */
  int32_t upPhase;      /**< 0 */
  int32_t downFactor;   /**< samples a step; 1 for a single-rate filter */
  int32_t downPhase;    /**< 0 ... downFactor-1 */
  int32_t isMultiRate;  /**< 1 where downFactor is above 1 */
  int32_t isFilterMode; /**< 0 between GetTaps and SetTaps */
  float leak;           /**< leakage factor; of the int16 filter an int16 in the lower half */
  float step;           /**< step; of the int16 filter a shift, as an int16 in the lower half */
  int32_t errDly;       /**< samples between the newest and the one that an error belongs to */
  int32_t lmsType;      /**< the argument of that name; it selects nothing */
} LmsTapState;
/** The delay line of an adaptive filter, beginning like a FirDlyState. */
typedef struct LmsDlyState {
  void* dlyl;  /**< the caller's array, newest sample first */
  int32_t len; /**< places in it: tapsLen, + errDly when made for adaptation, + downFactor of a multi-rate filter */
  int32_t isFilterMode; /**< 0 between GetDlyl and SetDlyl */
  int32_t adapt;        /**< the argument of that name */
} LmsDlyState;
/** An adaptive filter with its own taps and delay line. */
typedef struct LmsState {
  LmsTapState tapSt; /**< isFilterMode 1: there are taps */
  LmsDlyState dlySt; /**< isFilterMode 1: there is a delay line */
  union {
    float s;
    double d;
    MoxC c;
    MoxZ z;
  } errVal; /**< the error of the latest step, of the results' type */
} LmsState;

/** @name Taps
 * In the caller's array. Checks: null `taps` or `tapStPtr` "Null buffer pointer"; `tapsLen` < 1 "Invalid buffer
 * length"; InitMr: `downPhase` < 0 or `downFactor` <= `downPhase` "Invalid factor value". */
/** @{ */
MOX_API void MOX_CALL moxsLmslInit(int32_t lmsType, float* taps, int32_t tapsLen, float step, float leak,
                                   int32_t errDly, LmsTapState* tapStPtr);
MOX_API void MOX_CALL moxdLmslInit(int32_t lmsType, double* taps, int32_t tapsLen, float step, float leak,
                                   int32_t errDly, LmsTapState* tapStPtr);
MOX_API void MOX_CALL moxcLmslInit(int32_t lmsType, MoxC* taps, int32_t tapsLen, float step, float leak, int32_t errDly,
                                   LmsTapState* tapStPtr);
MOX_API void MOX_CALL moxzLmslInit(int32_t lmsType, MoxZ* taps, int32_t tapsLen, float step, float leak, int32_t errDly,
                                   LmsTapState* tapStPtr);
MOX_API void MOX_CALL moxwLmslInit(int32_t lmsType, int16_t* taps, int32_t tapsLen, int16_t step, int16_t leak,
                                   int32_t errDly, LmsTapState* tapStPtr);
MOX_API void MOX_CALL moxsLmslInitMr(int32_t lmsType, float* taps, int32_t tapsLen, float step, float leak,
                                     int32_t errDly, int32_t downFactor, int32_t downPhase, LmsTapState* tapStPtr);
MOX_API void MOX_CALL moxdLmslInitMr(int32_t lmsType, double* taps, int32_t tapsLen, float step, float leak,
                                     int32_t errDly, int32_t downFactor, int32_t downPhase, LmsTapState* tapStPtr);
MOX_API void MOX_CALL moxcLmslInitMr(int32_t lmsType, MoxC* taps, int32_t tapsLen, float step, float leak,
                                     int32_t errDly, int32_t downFactor, int32_t downPhase, LmsTapState* tapStPtr);
MOX_API void MOX_CALL moxzLmslInitMr(int32_t lmsType, MoxZ* taps, int32_t tapsLen, float step, float leak,
                                     int32_t errDly, int32_t downFactor, int32_t downPhase, LmsTapState* tapStPtr);
/** @} */
/** @name Delay line
 * for a filter of this shape, of the samples' type; `adapt` not 0 makes room for errDly. The array has room for `len`
 * samples and is not touched: SetDlyl fills all but the last place, which the first update reads; zero that as well.
 * Check of this and the next four: a null pointer "Null buffer pointer" (but for the source of Set). */
/** @{ */
MOX_API void MOX_CALL moxsLmslInitDlyl(const LmsTapState* tapStPtr, float* dlyl, int32_t adapt, LmsDlyState* dlyStPtr);
MOX_API void MOX_CALL moxdLmslInitDlyl(const LmsTapState* tapStPtr, double* dlyl, int32_t adapt, LmsDlyState* dlyStPtr);
MOX_API void MOX_CALL moxcLmslInitDlyl(const LmsTapState* tapStPtr, MoxC* dlyl, int32_t adapt, LmsDlyState* dlyStPtr);
MOX_API void MOX_CALL moxzLmslInitDlyl(const LmsTapState* tapStPtr, MoxZ* dlyl, int32_t adapt, LmsDlyState* dlyStPtr);
MOX_API void MOX_CALL moxwLmslInitDlyl(const LmsTapState* tapStPtr, int16_t* dlyl, int32_t adapt,
                                       LmsDlyState* dlyStPtr);
/** @} */
/** @name Copies taps in
 * null: zeros. `taps` may be the filter's own array. */
/** @{ */
MOX_API void MOX_CALL moxsLmslSetTaps(const float* taps, LmsTapState* tapStPtr);
MOX_API void MOX_CALL moxdLmslSetTaps(const double* taps, LmsTapState* tapStPtr);
MOX_API void MOX_CALL moxcLmslSetTaps(const MoxC* taps, LmsTapState* tapStPtr);
MOX_API void MOX_CALL moxzLmslSetTaps(const MoxZ* taps, LmsTapState* tapStPtr);
MOX_API void MOX_CALL moxwLmslSetTaps(const int16_t* taps, LmsTapState* tapStPtr);
/** @} */
/** @name Copies taps out
 * into `taps`, which may be the filter's own array. No block filtering, and no filtering of an object, until SetTaps.
 */
/** @{ */
MOX_API void MOX_CALL moxsLmslGetTaps(LmsTapState* tapStPtr, float* taps);
MOX_API void MOX_CALL moxdLmslGetTaps(LmsTapState* tapStPtr, double* taps);
MOX_API void MOX_CALL moxcLmslGetTaps(LmsTapState* tapStPtr, MoxC* taps);
MOX_API void MOX_CALL moxzLmslGetTaps(LmsTapState* tapStPtr, MoxZ* taps);
/** @} */
/** @name Sets the history
 * to the len - 1 samples of `dlyl`, oldest first, or to zeros (null). The filter's own array is reversed in place,
 * unless it is in internal order. */
/** @{ */
MOX_API void MOX_CALL moxsLmslSetDlyl(const LmsTapState* tapStPtr, const float* dlyl, LmsDlyState* dlyStPtr);
MOX_API void MOX_CALL moxdLmslSetDlyl(const LmsTapState* tapStPtr, const double* dlyl, LmsDlyState* dlyStPtr);
MOX_API void MOX_CALL moxcLmslSetDlyl(const LmsTapState* tapStPtr, const MoxC* dlyl, LmsDlyState* dlyStPtr);
MOX_API void MOX_CALL moxzLmslSetDlyl(const LmsTapState* tapStPtr, const MoxZ* dlyl, LmsDlyState* dlyStPtr);
MOX_API void MOX_CALL moxwLmslSetDlyl(const LmsTapState* tapStPtr, const int16_t* dlyl, LmsDlyState* dlyStPtr);
/** @} */
/** @name Copies the history out
 * oldest first, len - 1 samples; `dlyl` may be the filter's own array. Not in internal order, nothing is done;
 * afterwards no block filtering, and no filtering of an object, until SetDlyl. */
/** @{ */
MOX_API void MOX_CALL moxsLmslGetDlyl(const LmsTapState* tapStPtr, LmsDlyState* dlyStPtr, float* dlyl);
MOX_API void MOX_CALL moxdLmslGetDlyl(const LmsTapState* tapStPtr, LmsDlyState* dlyStPtr, double* dlyl);
MOX_API void MOX_CALL moxcLmslGetDlyl(const LmsTapState* tapStPtr, LmsDlyState* dlyStPtr, MoxC* dlyl);
MOX_API void MOX_CALL moxzLmslGetDlyl(const LmsTapState* tapStPtr, LmsDlyState* dlyStPtr, MoxZ* dlyl);
/** @} */
/** @name Step and leak
 * of every filter but the int16 one. No checks, whatever the status. */
/** @{ */
MOX_API float MOX_CALL moxsLmslGetStep(const LmsTapState* tapStPtr);
MOX_API float MOX_CALL moxsLmslGetLeak(const LmsTapState* tapStPtr);
MOX_API void MOX_CALL moxsLmslSetStep(float step, LmsTapState* tapStPtr);
MOX_API void MOX_CALL moxsLmslSetLeak(float leak, LmsTapState* tapStPtr);
/** @} */
/** @name One sample
 * Updates the taps with the error, if the step is above zero (else there is no leakage either), then takes the sample
 * and returns the result, at the input rate. The int16 form updates if the step s is 1 or more:
 *
 *     h[i] = h[i] + (d[i + errDly] e >> s)     saturated
 *
 * and saturates its 32-bit sum, which wraps. Check: a null record "Null buffer pointer". */
/** @{ */
MOX_API float MOX_CALL moxsLmsl(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, float samp, float err);
MOX_API double MOX_CALL moxdLmsl(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, double samp, double err);
MOX_API MoxC MOX_CALL moxcLmsl(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, MoxC samp, MoxC err);
MOX_API MoxZ MOX_CALL moxzLmsl(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, MoxZ samp, MoxZ err);
MOX_API MoxC MOX_CALL moxscLmsl(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, float samp, MoxC err);
MOX_API MoxZ MOX_CALL moxdzLmsl(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, double samp, MoxZ err);
MOX_API int16_t MOX_CALL moxwLmsl(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, int16_t samp, int16_t err);
/** @} */
/** @name One step of a multi-rate filter
 * The same with downFactor samples. Check: a null pointer "Null buffer pointer". */
/** @{ */
MOX_API float MOX_CALL moxsbLmsl(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, const float* inSamps,
                                 float err);
MOX_API double MOX_CALL moxdbLmsl(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, const double* inSamps,
                                  double err);
MOX_API MoxC MOX_CALL moxcbLmsl(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, const MoxC* inSamps,
                                MoxC err);
MOX_API MoxZ MOX_CALL moxzbLmsl(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, const MoxZ* inSamps,
                                MoxZ err);
MOX_API MoxC MOX_CALL moxscbLmsl(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, const float* inSamps,
                                 MoxC err);
MOX_API MoxZ MOX_CALL moxdzbLmsl(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, const double* inSamps,
                                 MoxZ err);
/** @} */
/** @name Filtering without adaptation
 * Sums over the taps that the delay line has samples for. Blocks: moxsbFirl and its siblings on the same records, with
 * their reports; the delay line of a single-rate filter is made with `adapt` 0. Mixed forms `cs`, `zd`:
 * complex samples, real taps. Checks: a null pointer "Null buffer pointer"; `numIters` < 1 "Invalid buffer length". */
/** @{ */
MOX_API float MOX_CALL moxsLmslNa(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, float samp);
MOX_API double MOX_CALL moxdLmslNa(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, double samp);
MOX_API MoxC MOX_CALL moxcLmslNa(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, MoxC samp);
MOX_API MoxZ MOX_CALL moxzLmslNa(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, MoxZ samp);
MOX_API MoxC MOX_CALL moxscLmslNa(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, float samp);
MOX_API MoxC MOX_CALL moxcsLmslNa(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, MoxC samp);
MOX_API MoxZ MOX_CALL moxdzLmslNa(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, double samp);
MOX_API MoxZ MOX_CALL moxzdLmslNa(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, MoxZ samp);
MOX_API void MOX_CALL moxsbLmslNa(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, const float* inSamps,
                                  float* outSamps, int32_t numIters);
MOX_API void MOX_CALL moxdbLmslNa(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, const double* inSamps,
                                  double* outSamps, int32_t numIters);
MOX_API void MOX_CALL moxcbLmslNa(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, const MoxC* inSamps,
                                  MoxC* outSamps, int32_t numIters);
MOX_API void MOX_CALL moxzbLmslNa(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, const MoxZ* inSamps,
                                  MoxZ* outSamps, int32_t numIters);
MOX_API void MOX_CALL moxscbLmslNa(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, const float* inSamps,
                                   MoxC* outSamps, int32_t numIters);
MOX_API void MOX_CALL moxcsbLmslNa(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, const MoxC* inSamps,
                                   MoxC* outSamps, int32_t numIters);
MOX_API void MOX_CALL moxdzbLmslNa(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, const double* inSamps,
                                   MoxZ* outSamps, int32_t numIters);
MOX_API void MOX_CALL moxzdbLmslNa(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, const MoxZ* inSamps,
                                   MoxZ* outSamps, int32_t numIters);
/** @} */
/** @name Filters that own their memory: initialisation
 * with copies of `taps` (null: zeros) and of `dlyl` (as SetDlyl; null: zeros), the error 0. A record in use is not
 * recognised: release it first. Checks: null `statePtr` "Null buffer pointer"; `tapsLen` < 1 "Invalid buffer length";
 * InitMr: `downPhase` < 0 "Invalid phase value", `downFactor` <= `downPhase` "Invalid factor value"; no memory:
 * "Problem to allocate memory" (MOX_StsNoMem), the record then owns nothing and is not ready. */
/** @{ */
MOX_API void MOX_CALL moxsLmsInit(int32_t lmsType, const float* taps, int32_t tapsLen, const float* dlyl, float step,
                                  float leak, int32_t errDly, LmsState* statePtr);
MOX_API void MOX_CALL moxdLmsInit(int32_t lmsType, const double* taps, int32_t tapsLen, const double* dlyl, float step,
                                  float leak, int32_t errDly, LmsState* statePtr);
MOX_API void MOX_CALL moxcLmsInit(int32_t lmsType, const MoxC* taps, int32_t tapsLen, const MoxC* dlyl, float step,
                                  float leak, int32_t errDly, LmsState* statePtr);
MOX_API void MOX_CALL moxzLmsInit(int32_t lmsType, const MoxZ* taps, int32_t tapsLen, const MoxZ* dlyl, float step,
                                  float leak, int32_t errDly, LmsState* statePtr);
MOX_API void MOX_CALL moxscLmsInit(int32_t lmsType, const MoxC* taps, int32_t tapsLen, const float* dlyl, float step,
                                   float leak, int32_t errDly, LmsState* statePtr);
MOX_API void MOX_CALL moxdzLmsInit(int32_t lmsType, const MoxZ* taps, int32_t tapsLen, const double* dlyl, float step,
                                   float leak, int32_t errDly, LmsState* statePtr);
MOX_API void MOX_CALL moxsLmsInitMr(int32_t lmsType, const float* taps, int32_t tapsLen, const float* dlyl, float step,
                                    float leak, int32_t errDly, int32_t downFactor, int32_t downPhase,
                                    LmsState* statePtr);
MOX_API void MOX_CALL moxdLmsInitMr(int32_t lmsType, const double* taps, int32_t tapsLen, const double* dlyl,
                                    float step, float leak, int32_t errDly, int32_t downFactor, int32_t downPhase,
                                    LmsState* statePtr);
MOX_API void MOX_CALL moxcLmsInitMr(int32_t lmsType, const MoxC* taps, int32_t tapsLen, const MoxC* dlyl, float step,
                                    float leak, int32_t errDly, int32_t downFactor, int32_t downPhase,
                                    LmsState* statePtr);
MOX_API void MOX_CALL moxzLmsInitMr(int32_t lmsType, const MoxZ* taps, int32_t tapsLen, const MoxZ* dlyl, float step,
                                    float leak, int32_t errDly, int32_t downFactor, int32_t downPhase,
                                    LmsState* statePtr);
MOX_API void MOX_CALL moxscLmsInitMr(int32_t lmsType, const MoxC* taps, int32_t tapsLen, const float* dlyl, float step,
                                     float leak, int32_t errDly, int32_t downFactor, int32_t downPhase,
                                     LmsState* statePtr);
MOX_API void MOX_CALL moxdzLmsInitMr(int32_t lmsType, const MoxZ* taps, int32_t tapsLen, const double* dlyl, float step,
                                     float leak, int32_t errDly, int32_t downFactor, int32_t downPhase,
                                     LmsState* statePtr);
/** @} */
/** @name Filters that own their memory: release
 * Whatever the status; once more, or of null, does nothing. */
/** @{ */
MOX_API void MOX_CALL moxLmsFree(LmsState* statePtr);
/** @} */
/** @name Filters that own their memory: taps, history, step, leak and error
 * As above on the embedded records; of mixed filters with the letters of taps and samples. Step, leak and error
 * whatever the status; the error has the letter of the results. Checks: a null pointer "Null buffer pointer" (not the
 * source of Set; step and leak have no checks). */
/** @{ */
MOX_API void MOX_CALL moxsLmsSetTaps(const float* taps, LmsState* statePtr);
MOX_API void MOX_CALL moxdLmsSetTaps(const double* taps, LmsState* statePtr);
MOX_API void MOX_CALL moxcLmsSetTaps(const MoxC* taps, LmsState* statePtr);
MOX_API void MOX_CALL moxzLmsSetTaps(const MoxZ* taps, LmsState* statePtr);
MOX_API void MOX_CALL moxsLmsGetTaps(LmsState* statePtr, float* taps);
MOX_API void MOX_CALL moxdLmsGetTaps(LmsState* statePtr, double* taps);
MOX_API void MOX_CALL moxcLmsGetTaps(LmsState* statePtr, MoxC* taps);
MOX_API void MOX_CALL moxzLmsGetTaps(LmsState* statePtr, MoxZ* taps);
MOX_API void MOX_CALL moxsLmsSetDlyl(const float* dlyl, LmsState* statePtr);
MOX_API void MOX_CALL moxdLmsSetDlyl(const double* dlyl, LmsState* statePtr);
MOX_API void MOX_CALL moxcLmsSetDlyl(const MoxC* dlyl, LmsState* statePtr);
MOX_API void MOX_CALL moxzLmsSetDlyl(const MoxZ* dlyl, LmsState* statePtr);
MOX_API void MOX_CALL moxsLmsGetDlyl(LmsState* statePtr, float* dlyl);
MOX_API void MOX_CALL moxdLmsGetDlyl(LmsState* statePtr, double* dlyl);
MOX_API void MOX_CALL moxcLmsGetDlyl(LmsState* statePtr, MoxC* dlyl);
MOX_API void MOX_CALL moxzLmsGetDlyl(LmsState* statePtr, MoxZ* dlyl);
MOX_API float MOX_CALL moxsLmsGetStep(const LmsState* statePtr);
MOX_API float MOX_CALL moxsLmsGetLeak(const LmsState* statePtr);
MOX_API void MOX_CALL moxsLmsSetStep(float step, LmsState* statePtr);
MOX_API void MOX_CALL moxsLmsSetLeak(float leak, LmsState* statePtr);
MOX_API float MOX_CALL moxsLmsGetErrVal(const LmsState* statePtr);
MOX_API double MOX_CALL moxdLmsGetErrVal(const LmsState* statePtr);
MOX_API MoxC MOX_CALL moxcLmsGetErrVal(const LmsState* statePtr);
MOX_API MoxZ MOX_CALL moxzLmsGetErrVal(const LmsState* statePtr);
MOX_API void MOX_CALL moxsLmsSetErrVal(float errVal, LmsState* statePtr);
MOX_API void MOX_CALL moxdLmsSetErrVal(double errVal, LmsState* statePtr);
MOX_API void MOX_CALL moxcLmsSetErrVal(MoxC errVal, LmsState* statePtr);
MOX_API void MOX_CALL moxzLmsSetErrVal(MoxZ errVal, LmsState* statePtr);
/** @} */
/** @name Filters that own their memory: the caller's error
 * moxsLmsl and moxsbLmsl and their siblings on the embedded records. Checks: a null pointer "Null buffer pointer";
 * "Taps state structure is not initialized", "Delay line state structure is not initialized". */
/** @{ */
MOX_API float MOX_CALL moxsLms(const LmsState* statePtr, float samp, float err);
MOX_API double MOX_CALL moxdLms(const LmsState* statePtr, double samp, double err);
MOX_API MoxC MOX_CALL moxcLms(const LmsState* statePtr, MoxC samp, MoxC err);
MOX_API MoxZ MOX_CALL moxzLms(const LmsState* statePtr, MoxZ samp, MoxZ err);
MOX_API MoxC MOX_CALL moxscLms(const LmsState* statePtr, float samp, MoxC err);
MOX_API MoxZ MOX_CALL moxdzLms(const LmsState* statePtr, double samp, MoxZ err);
MOX_API float MOX_CALL moxsbLms(const LmsState* statePtr, const float* inSamps, float err);
MOX_API double MOX_CALL moxdbLms(const LmsState* statePtr, const double* inSamps, double err);
MOX_API MoxC MOX_CALL moxcbLms(const LmsState* statePtr, const MoxC* inSamps, MoxC err);
MOX_API MoxZ MOX_CALL moxzbLms(const LmsState* statePtr, const MoxZ* inSamps, MoxZ err);
MOX_API MoxC MOX_CALL moxscbLms(const LmsState* statePtr, const float* inSamps, MoxC err);
MOX_API MoxZ MOX_CALL moxdzbLms(const LmsState* statePtr, const double* inSamps, MoxZ err);
/** @} */
/** @name Filters that own their memory: a desired signal
 * The error is kept: every step, one sample at the input rate, updates with the error before, whatever the sign of
 * `step`, and leaves errVal = desired - y with the rounded y. Blocks are numIters steps of downFactor samples each, one
 * desired value and one result a step; their errors are differences from unrounded sums, rounded at the end. Checks:
 * null `statePtr` "Null buffer pointer"; "Taps state structure is not initialized", "Delay line state structure is not
 * initialized"; a null array "Null buffer pointer"; `numIters` < 1 "Bad value of number of iterations". */
/** @{ */
MOX_API float MOX_CALL moxsLmsDes(LmsState* statePtr, float samp, float des);
MOX_API double MOX_CALL moxdLmsDes(LmsState* statePtr, double samp, double des);
MOX_API MoxC MOX_CALL moxcLmsDes(LmsState* statePtr, MoxC samp, MoxC des);
MOX_API MoxZ MOX_CALL moxzLmsDes(LmsState* statePtr, MoxZ samp, MoxZ des);
MOX_API MoxC MOX_CALL moxscLmsDes(LmsState* statePtr, float samp, MoxC des);
MOX_API MoxZ MOX_CALL moxdzLmsDes(LmsState* statePtr, double samp, MoxZ des);
MOX_API void MOX_CALL moxsbLmsDes(LmsState* statePtr, const float* inSamps, const float* desSamps, float* outSamps,
                                  int32_t numIters);
MOX_API void MOX_CALL moxdbLmsDes(LmsState* statePtr, const double* inSamps, const double* desSamps, double* outSamps,
                                  int32_t numIters);
MOX_API void MOX_CALL moxcbLmsDes(LmsState* statePtr, const MoxC* inSamps, const MoxC* desSamps, MoxC* outSamps,
                                  int32_t numIters);
MOX_API void MOX_CALL moxzbLmsDes(LmsState* statePtr, const MoxZ* inSamps, const MoxZ* desSamps, MoxZ* outSamps,
                                  int32_t numIters);
MOX_API void MOX_CALL moxscbLmsDes(LmsState* statePtr, const float* inSamps, const MoxC* desSamps, MoxC* outSamps,
                                   int32_t numIters);
MOX_API void MOX_CALL moxdzbLmsDes(LmsState* statePtr, const double* inSamps, const MoxZ* desSamps, MoxZ* outSamps,
                                   int32_t numIters);
/** @} */
/** @} */

/** @defgroup correlation Auto- and cross-correlation
 * Autocorrelation: r[k] = sum over n of conj(src[n]) * src[n+k], lags k = 0 ... nLags-1, so r[0] is the energy.
 * Cross-correlation: r[k] = sum over n of conj(srcA[n]) * srcB[n+k], lags k = loLag ... hiLag, negative ones too;
 * dst[k - loLag] = r[k], hiLag - loLag + 1 elements. Terms outside a sequence count as zero: lags beyond the lengths,
 * which are allowed, give 0.
 *
 * `normType` 1 multiplies every r[k] by 1/len (biased), 2 by 1/(len - k) (unbiased); any other value leaves the sums.
 * Type letters `sc`, `cs`, `dz`, `zd`, `wv`, `vw`: the first sequence's, then the second's; the results are complex.
 *
 * Checks, of which the first that fails reports, alone, and nothing is written: a null source "Null SRC buffer
 * pointer"; a null destination "Null DST buffer pointer"; a length < 1 "Invalid SRC buffer length"; nLags < 1 or > len,
 * or loLag > hiLag, "Invalid LAG value". The sources may overlap each other; dst must not overlap them.
 * @{ */

/** @name Floating-point sequences
 * Few lags, and short sequences, are sums in float64 that are rounded once. Where an operation count says that
 * transforms are cheaper, sequences go through them in blocks, in memory proportional to the number of lags. Their
 * results are off by less than 2^-20 (float32) or 2^-49 (float64, up to 2^19 values) of the product of the sequences'
 * 2-norms, before normalisation. Where that memory is not to be had, a transform overflows or meets an infinity or NaN,
 * the sums are formed after all, so an infinity reaches the lags that it belongs to and no others. */
/** @{ */
MOX_API void MOX_CALL moxsAutoCorr(const float* src, int32_t len, float* dst, int32_t nLags, int32_t normType);
MOX_API void MOX_CALL moxdAutoCorr(const double* src, int32_t len, double* dst, int32_t nLags, int32_t normType);
MOX_API void MOX_CALL moxcAutoCorr(const MoxC* src, int32_t len, MoxC* dst, int32_t nLags, int32_t normType);
MOX_API void MOX_CALL moxzAutoCorr(const MoxZ* src, int32_t len, MoxZ* dst, int32_t nLags, int32_t normType);
MOX_API void MOX_CALL moxsCrossCorr(const float* srcA, int32_t lenA, const float* srcB, int32_t lenB, float* dst,
                                    int32_t loLag, int32_t hiLag);
MOX_API void MOX_CALL moxdCrossCorr(const double* srcA, int32_t lenA, const double* srcB, int32_t lenB, double* dst,
                                    int32_t loLag, int32_t hiLag);
MOX_API void MOX_CALL moxcCrossCorr(const MoxC* srcA, int32_t lenA, const MoxC* srcB, int32_t lenB, MoxC* dst,
                                    int32_t loLag, int32_t hiLag);
MOX_API void MOX_CALL moxzCrossCorr(const MoxZ* srcA, int32_t lenA, const MoxZ* srcB, int32_t lenB, MoxZ* dst,
                                    int32_t loLag, int32_t hiLag);
MOX_API void MOX_CALL moxscCrossCorr(const float* srcA, int32_t lenA, const MoxC* srcB, int32_t lenB, MoxC* dst,
                                     int32_t loLag, int32_t hiLag);
MOX_API void MOX_CALL moxcsCrossCorr(const MoxC* srcA, int32_t lenA, const float* srcB, int32_t lenB, MoxC* dst,
                                     int32_t loLag, int32_t hiLag);
MOX_API void MOX_CALL moxdzCrossCorr(const double* srcA, int32_t lenA, const MoxZ* srcB, int32_t lenB, MoxZ* dst,
                                     int32_t loLag, int32_t hiLag);
MOX_API void MOX_CALL moxzdCrossCorr(const MoxZ* srcA, int32_t lenA, const double* srcB, int32_t lenB, MoxZ* dst,
                                     int32_t loLag, int32_t hiLag);
/** @} */

/** @name Integer sequences
 * Sums modulo 2^32, divided where normType says so (toward zero), then times 2^-factor, rounded down. `scaleMode` acts
 * by its bits: with MOX_FixScale the factor is *scalePtr (0 when null), any number, else 0; with MOX_NoScaleSat results
 * saturate, else their low 16 bits stay. With MOX_AutoScale the factor grows, lag after lag, by what a result needs to
 * fit (floor(log2 |r|) - 14, both parts of a complex one together), results before it are shifted as much further, and
 * the last factor goes to *scalePtr, unless that is null. */
/** @{ */
MOX_API void MOX_CALL moxwAutoCorr(const int16_t* src, int32_t len, int16_t* dst, int32_t nLags, int32_t normType,
                                   int32_t scaleMode, int32_t* scalePtr);
MOX_API void MOX_CALL moxvAutoCorr(const MoxV* src, int32_t len, MoxV* dst, int32_t nLags, int32_t normType,
                                   int32_t scaleMode, int32_t* scalePtr);
MOX_API void MOX_CALL moxwCrossCorr(const int16_t* srcA, int32_t lenA, const int16_t* srcB, int32_t lenB, int16_t* dst,
                                    int32_t loLag, int32_t hiLag, int32_t scaleMode, int32_t* scalePtr);
MOX_API void MOX_CALL moxvCrossCorr(const MoxV* srcA, int32_t lenA, const MoxV* srcB, int32_t lenB, MoxV* dst,
                                    int32_t loLag, int32_t hiLag, int32_t scaleMode, int32_t* scalePtr);
MOX_API void MOX_CALL moxwvCrossCorr(const int16_t* srcA, int32_t lenA, const MoxV* srcB, int32_t lenB, MoxV* dst,
                                     int32_t loLag, int32_t hiLag, int32_t scaleMode, int32_t* scalePtr);
MOX_API void MOX_CALL moxvwCrossCorr(const MoxV* srcA, int32_t lenA, const int16_t* srcB, int32_t lenB, MoxV* dst,
                                     int32_t loLag, int32_t hiLag, int32_t scaleMode, int32_t* scalePtr);
/** @} */
/** @} */

/** @defgroup convolution Convolution
 *
 *     y[n] = sum over k of x[k] h[n-k]     0 <= n < xLen + hLen - 1, over all k with 0 <= k < xLen, 0 <= n-k < hLen
 *
 * of two sequences, in all xLen + hLen - 1 places, which y has room for. The operands commute. y overlaps neither.
 *
 * Each call chooses by the two lengths, from constant tables of what transforms cost, between direct summation, one
 * transform of everything (its length the power of two that holds all results), and transforms of blocks of the longer
 * operand, whose results overlap (overlap-add). With m the shorter length: m below 21 for real operands (13 for complex
 * ones, 18 for complex data and real taps, 16 for real data and complex taps, in mixed convolutions m being the number
 * of taps) is summed directly; from 102 (47, 88, 88) on transforms are always considered, in between if the longer
 * length is large enough: from 37905 for m = 21 down to 102 for m = 101.
 *
 * Direct sums run in float64 and are rounded once, in an order that depends on the lengths alone. Transforms run in the
 * operands' own precision and spread their rounding over all results of a block: small results beside large ones keep
 * fewer digits, and an infinity or NaN reaches every result of its block. In white signals the L2 norm of the errors is
 * below 1.5 u sqrt(order) of that of the results, u = 2^-24 or 2^-53, 2^order being the length of the transforms; their
 * constant in float32 up to order 10 (11 of real signals, see "Fourier transforms") adds up to 7e-7. Transforms take
 * tables of the calling thread, built on first use (see "Bit reversal and twiddle tables"), and work buffers of two
 * lengths of the transform, freed before the call returns.
 *
 * These functions clear the thread's status on entry. Checks: "x==0", "xLen<=0", "h==0", "hLen<=0", "y==0". Where there
 * is no memory for the buffers, the method reports MOX_StsNoMem with "NULL Pointer" under its own name, that of the
 * function followed by 1 (one transform) or 2 (blocks); where a transform fails, it reports MOX_StsBackTrace. A trace
 * without text (MOX_StsBackTrace) under the function's name follows.
 * @{ */
/** @{ */
MOX_API void MOX_CALL moxsConv(const float* x, int32_t xLen, const float* h, int32_t hLen, float* y);
MOX_API void MOX_CALL moxdConv(const double* x, int32_t xLen, const double* h, int32_t hLen, double* y);
MOX_API void MOX_CALL moxcConv(const MoxC* x, int32_t xLen, const MoxC* h, int32_t hLen, MoxC* y);
MOX_API void MOX_CALL moxzConv(const MoxZ* x, int32_t xLen, const MoxZ* h, int32_t hLen, MoxZ* y);
/** @} */
/** @name Of one real and one complex operand
 * With xLen < hLen this is the call of the other function with the operands exchanged, which reports under its own
 * name; a trace under the name of the called one follows.
 * @{ */
MOX_API void MOX_CALL moxcsConv(const MoxC* x, int32_t xLen, const float* h, int32_t hLen, MoxC* y);
MOX_API void MOX_CALL moxscConv(const float* x, int32_t xLen, const MoxC* h, int32_t hLen, MoxC* y);
MOX_API void MOX_CALL moxzdConv(const MoxZ* x, int32_t xLen, const double* h, int32_t hLen, MoxZ* y);
MOX_API void MOX_CALL moxdzConv(const double* x, int32_t xLen, const MoxZ* h, int32_t hLen, MoxZ* y);
/** @} */
/** moxsConv of the samples as float32, then the scale mode, over all results at once. At most 2^31 - 1 results. More
 * reports, after the checks above: "NULL pointer to float copy x", "... h", "... y" (MOX_StsNoMem), a trace where
 * moxsConv failed, and those of the scale mode, under moxsbUndScaling; then nothing is written. */
MOX_API void MOX_CALL moxwConv(const int16_t* x, int32_t xLen, const int16_t* h, int32_t hLen, int16_t* y,
                               int32_t scaleMode, int32_t* scalePtr);
/** @} */

/** @defgroup convolution2d Two-dimensional convolution and filtering
 * Arrays stand row after row; x is xRows rows of xCols elements, and so forth.
 *
 *     Conv2D     y[r][c] = sum over i, j of h[i][j] x[r - i][c - j], of all products that there are
 *                xRows + hRows - 1 rows, xCols + hCols - 1 columns
 *     Filter2D   dst[r][c] = sum over i, j of kernel[i][j] src[r + kRows/2 - i][c + kCols/2 - j]
 *                rows and columns like src, which is zero outside; kRows/2 and kCols/2 rounded down
 *
 * Destinations overlap no source. A correlation is a convolution with the rows and the columns of one operand reversed.
 *
 * Sums of products run in float64 and are rounded once, in an order that depends on the sizes of the operands alone.
 * Transforms run in the operands' own type: their errors are some units in the last place of the largest results of a
 * block, not of each result, and an infinity or NaN reaches all of its block. They take tables of the calling thread,
 * built on first use (see "Bit reversal and twiddle tables"), and work arrays that are freed before the call returns.
 *
 * Conv2D chooses by the sizes, the first of these that holds:
 * - sums of products where both operands have less than 17 rows and less than 17 columns, or where one of them has less
 *   than 8 of both;
 * - where both are single rows, or both single columns, moxsConv (moxdConv), with its reports and a trace after them;
 * - one transform of everything, of the smallest powers of two that are not below twice the larger number of rows and
 *   twice the larger number of columns; or, where constant costs say that this is cheaper, transforms of overlapping
 *   blocks of the operand with more elements, of those sizes up to that one that cost least.
 *
 * Filter2D takes sums of products; or, where they cost less (for large images from about 16 x 16 taps on) and there is
 * memory for them, transforms of blocks of twice the powers of two that are not below kRows and kCols.
 *
 * int16 forms compute in float32 and round the sums to integers; then the scale mode acts on all of them at once, with
 * its own reports under moxsbUndScaling, after which nothing is written. Of all checks the first that fails reports,
 * alone.
 * @{ */
/** @name Full convolution
 * Checks: "\nNull pointer to data buffer\n" for x, h, y, "\nBad value of data buffer size\n" for sizes below 1. Where
 * there is no memory: "\nMemory allocation problem\n" (MOX_StsNoMem), and nothing is written.
 * @{ */
MOX_API void MOX_CALL moxsConv2D(const float* x, int32_t xCols, int32_t xRows, const float* h, int32_t hCols,
                                 int32_t hRows, float* y);
MOX_API void MOX_CALL moxdConv2D(const double* x, int32_t xCols, int32_t xRows, const double* h, int32_t hCols,
                                 int32_t hRows, double* y);
MOX_API void MOX_CALL moxwConv2D(const int16_t* x, int32_t xCols, int32_t xRows, const int16_t* h, int32_t hCols,
                                 int32_t hRows, int16_t* y, int32_t scaleMode, int32_t* scalePtr);
/** @} */
/** @name Filtering
 * Checks: "Null SRC buffer pointer" for src, then for kernel, "Null DST buffer pointer", then "Invalid number of cols"
 * and "Inlalid number of rows" for cols and rows below 1, then for kCols and kRows. Where there is no memory for the
 * float32 copies of int16: "Allocation failure" (MOX_StsNoMem).
 * @{ */
MOX_API void MOX_CALL moxsFilter2D(const float* src, int32_t cols, int32_t rows, const float* kernel, int32_t kCols,
                                   int32_t kRows, float* dst);
MOX_API void MOX_CALL moxdFilter2D(const double* src, int32_t cols, int32_t rows, const double* kernel, int32_t kCols,
                                   int32_t kRows, double* dst);
MOX_API void MOX_CALL moxwFilter2D(const int16_t* src, int32_t cols, int32_t rows, const int16_t* kernel, int32_t kCols,
                                   int32_t kRows, int16_t* dst, int32_t scaleMode, int32_t* scalePtr);
/** @} */
/** @} */

/** @defgroup sampling Up- and down-sampling
 * The rate changes by a whole factor, without a filter. Elements are moved as they are, complex ones as a whole. `dst`
 * may begin where `src` does; otherwise the two do not overlap. Nothing is returned: the number of results is given
 * below, and may exceed what an int32_t holds.
 *
 * Checks, the first that holds is reported, alone: `factor` < 1 "Invalid factor value"; `phase` < 0 "Invalid phase
 * value"; `phase` >= `factor` "Invalid factor value"; `srcLen` < 1 "Invalid array length"; a null array "Null buffer
 * pointer".
 * @{ */
/** @name Up
 * dst[phase + factor i] = src[i], i = 0 ... srcLen-1, all other elements of the srcLen factor of dst are 0. */
/** @{ */
MOX_API void MOX_CALL moxsUpSample(int32_t factor, int32_t phase, const float* src, int32_t srcLen, float* dst);
MOX_API void MOX_CALL moxdUpSample(int32_t factor, int32_t phase, const double* src, int32_t srcLen, double* dst);
MOX_API void MOX_CALL moxcUpSample(int32_t factor, int32_t phase, const MoxC* src, int32_t srcLen, MoxC* dst);
MOX_API void MOX_CALL moxzUpSample(int32_t factor, int32_t phase, const MoxZ* src, int32_t srcLen, MoxZ* dst);
MOX_API void MOX_CALL moxwUpSample(int32_t factor, int32_t phase, const int16_t* src, int32_t srcLen, int16_t* dst);
MOX_API void MOX_CALL moxvUpSample(int32_t factor, int32_t phase, const MoxV* src, int32_t srcLen, MoxV* dst);
/** @} */
/** @name Down
 * dst[i] = src[phase + factor i] for all places below srcLen: (srcLen - phase) / factor of them, rounded up, or none.
 */
/** @{ */
MOX_API void MOX_CALL moxsDownSample(int32_t factor, int32_t phase, const float* src, int32_t srcLen, float* dst);
MOX_API void MOX_CALL moxdDownSample(int32_t factor, int32_t phase, const double* src, int32_t srcLen, double* dst);
MOX_API void MOX_CALL moxcDownSample(int32_t factor, int32_t phase, const MoxC* src, int32_t srcLen, MoxC* dst);
MOX_API void MOX_CALL moxzDownSample(int32_t factor, int32_t phase, const MoxZ* src, int32_t srcLen, MoxZ* dst);
MOX_API void MOX_CALL moxwDownSample(int32_t factor, int32_t phase, const int16_t* src, int32_t srcLen, int16_t* dst);
MOX_API void MOX_CALL moxvDownSample(int32_t factor, int32_t phase, const MoxV* src, int32_t srcLen, MoxV* dst);
/** @} */
/** @} */

/** @defgroup random Random numbers
 * Pseudo-random numbers from a record of the caller's, which Init seeds. One generator is behind all of them. A draw,
 * in 32-bit arithmetic that wraps:
 *
 *     d = hist1 - (hist2 + borrow);  borrow = hist1 <= hist2 + borrow ? 1 : 0 (signed);  d -= 18 borrow
 *     hist2 = hist1;  hist1 = hist0;  hist0 = d
 *     lcg = 69069 lcg + 1013904243
 *     the draw is d + lcg, from -2^31 to 2^31 - 1
 *
 * Init sets lcg = 0x436CBAE9, hist0 = seedState = seed, hist1 and hist2 to the next two values of seedState = 214013
 * seedState + 2531011 (its bits 16 to 30), borrow to 0 for uniform, to 1 for Gaussian numbers. `seed` is truncated
 * toward zero; what an int32_t cannot hold, NaN too, counts as -2^31.
 *
 * Blocks are exactly the sequence of single calls, and leave the record as these do. Complex numbers take their real
 * part first. Sequences are the same on every processor; Gaussian numbers may differ in the last place where there is
 * no fused multiply-add. The records of `c`, `w` and `v` are those of `s`, that of `z` is that of `d`.
 * docs/randomness.md holds what statistical tests say. Not for cryptography: few values tell the state.
 *
 * Checks of the int16 uniform forms (`moxw..Uni`, `moxv..Uni`): Init "statePtr==0"; single values
 * "((void*)(0))==statePtr"; blocks "statePtr==0", "samps==0", "sampsLen<=0". Of all others: "Null pointer to state
 * structure"; blocks also "Null pointer to data buffer", "Null length of buffer" (`sampsLen` < 1). A refused single
 * call returns 0.
 * @{ */
/** The record of uniform numbers, float32 bounds. */
typedef struct MoxsRandUniState {
  float mid;   /**< low + (high - low) / 2 */
  float scale; /**< (high - low) / 2^32 */
  uint32_t lcg;
  int32_t borrow; /**< 0 or 1 */
  int32_t hist0;  /**< the newest */
  int32_t hist1;
  int32_t hist2;
  int32_t seedState;
} MoxsRandUniState;
/** The record of uniform numbers, float64 bounds. */
typedef struct MoxdRandUniState {
  double mid;   /**< low + (high - low) / 2 */
  double scale; /**< (high - low) / 2^32 */
  uint32_t lcg;
  int32_t borrow; /**< 0 or 1 */
  int32_t hist0;  /**< the newest */
  int32_t hist1;
  int32_t hist2;
  int32_t seedState;
} MoxdRandUniState;
/** The record of Gaussian numbers, float32. */
typedef struct MoxsRandGausState {
  float mean;
  float stdDev;
  float cached;      /**< the second value of the last pair */
  int32_t hasCached; /**< 1: it comes next */
  uint32_t lcg;
  int32_t borrow; /**< 0 or 1 */
  int32_t hist0;  /**< the newest */
  int32_t hist1;
  int32_t hist2;
  int32_t seedState;
} MoxsRandGausState;
/** The record of Gaussian numbers, float64. */
typedef struct MoxdRandGausState {
  double mean;
  double stdDev;
  double cached;     /**< the second value of the last pair */
  int32_t hasCached; /**< 1: it comes next */
  uint32_t lcg;
  int32_t borrow; /**< 0 or 1 */
  int32_t hist0;  /**< the newest */
  int32_t hist1;
  int32_t hist2;
  int32_t seedState;
} MoxdRandGausState;
/** @name Uniform numbers
 * draw * scale + mid, evaluated in float64 and rounded once to the result's type: numbers from `low` to `high`, the
 * latter excluded but for rounding (in float32, one in 2^26 values between 0 and 1 is 1). int16 numbers are rounded to
 * nearest, ties to even, and limited to -32768 ... 32767. `low` may be above `high`. Init makes five draws and throws
 * them away. */
/** @{ */
MOX_API void MOX_CALL moxsRandUniInit(float seed, float low, float high, MoxsRandUniState* statePtr);
MOX_API void MOX_CALL moxdRandUniInit(double seed, double low, double high, MoxdRandUniState* statePtr);
MOX_API void MOX_CALL moxcRandUniInit(float seed, float low, float high, MoxsRandUniState* statePtr);
MOX_API void MOX_CALL moxzRandUniInit(double seed, double low, double high, MoxdRandUniState* statePtr);
MOX_API void MOX_CALL moxwRandUniInit(float seed, float low, float high, MoxsRandUniState* statePtr);
MOX_API void MOX_CALL moxvRandUniInit(float seed, float low, float high, MoxsRandUniState* statePtr);
MOX_API float MOX_CALL moxsRandUni(MoxsRandUniState* statePtr);
MOX_API double MOX_CALL moxdRandUni(MoxdRandUniState* statePtr);
MOX_API MoxC MOX_CALL moxcRandUni(MoxsRandUniState* statePtr);
MOX_API MoxZ MOX_CALL moxzRandUni(MoxdRandUniState* statePtr);
MOX_API int16_t MOX_CALL moxwRandUni(MoxsRandUniState* statePtr);
MOX_API MoxV MOX_CALL moxvRandUni(MoxsRandUniState* statePtr);
MOX_API void MOX_CALL moxsbRandUni(MoxsRandUniState* statePtr, float* samps, int32_t sampsLen);
MOX_API void MOX_CALL moxdbRandUni(MoxdRandUniState* statePtr, double* samps, int32_t sampsLen);
MOX_API void MOX_CALL moxcbRandUni(MoxsRandUniState* statePtr, MoxC* samps, int32_t sampsLen);
MOX_API void MOX_CALL moxzbRandUni(MoxdRandUniState* statePtr, MoxZ* samps, int32_t sampsLen);
MOX_API void MOX_CALL moxwbRandUni(MoxsRandUniState* statePtr, int16_t* samps, int32_t sampsLen);
MOX_API void MOX_CALL moxvbRandUni(MoxsRandUniState* statePtr, MoxV* samps, int32_t sampsLen);
/** @} */
/** @name Gaussian numbers
 * Two draws make a = draw / 2^31 and b, over again until 0 < s = a^2 + b^2 < 1 (polar method, Marsaglia and Bray 1964);
 * with f = sqrt(-2 ln(s) / s) the next two values are mean + stdDev a f and mean + stdDev b f. The second is kept in
 * the record. Evaluated in float64, rounded once to the record's type; int16 numbers are that value rounded to nearest,
 * ties to even, and limited. A negative `stdDev` mirrors the values. */
/** @{ */
MOX_API void MOX_CALL moxsRandGausInit(float seed, float mean, float stdDev, MoxsRandGausState* statePtr);
MOX_API void MOX_CALL moxdRandGausInit(double seed, double mean, double stdDev, MoxdRandGausState* statePtr);
MOX_API void MOX_CALL moxcRandGausInit(float seed, float mean, float stdDev, MoxsRandGausState* statePtr);
MOX_API void MOX_CALL moxzRandGausInit(double seed, double mean, double stdDev, MoxdRandGausState* statePtr);
MOX_API void MOX_CALL moxwRandGausInit(float seed, float mean, float stdDev, MoxsRandGausState* statePtr);
MOX_API void MOX_CALL moxvRandGausInit(float seed, float mean, float stdDev, MoxsRandGausState* statePtr);
MOX_API float MOX_CALL moxsRandGaus(MoxsRandGausState* statePtr);
MOX_API double MOX_CALL moxdRandGaus(MoxdRandGausState* statePtr);
MOX_API MoxC MOX_CALL moxcRandGaus(MoxsRandGausState* statePtr);
MOX_API MoxZ MOX_CALL moxzRandGaus(MoxdRandGausState* statePtr);
MOX_API int16_t MOX_CALL moxwRandGaus(MoxsRandGausState* statePtr);
MOX_API MoxV MOX_CALL moxvRandGaus(MoxsRandGausState* statePtr);
MOX_API void MOX_CALL moxsbRandGaus(MoxsRandGausState* statePtr, float* samps, int32_t sampsLen);
MOX_API void MOX_CALL moxdbRandGaus(MoxdRandGausState* statePtr, double* samps, int32_t sampsLen);
MOX_API void MOX_CALL moxcbRandGaus(MoxsRandGausState* statePtr, MoxC* samps, int32_t sampsLen);
MOX_API void MOX_CALL moxzbRandGaus(MoxdRandGausState* statePtr, MoxZ* samps, int32_t sampsLen);
MOX_API void MOX_CALL moxwbRandGaus(MoxsRandGausState* statePtr, int16_t* samps, int32_t sampsLen);
MOX_API void MOX_CALL moxvbRandGaus(MoxsRandGausState* statePtr, MoxV* samps, int32_t sampsLen);
/** @} */
/** @} */

/** @defgroup generators Tones and triangles
 * Periodic signals, sample by sample or in blocks, from a record of the caller's that Init fills and every call
 * advances; history runs in float64 in every form. `rFreq` is the frequency by the sampling rate, 0 <= rFreq < 0.5;
 * `phase` that of the first sample in radians, 0 <= phase < 2 pi, by the float64 2 pi; `mag` the peak, >= 0. int16
 * outputs are rounded to nearest, ties to even, and saturate; their `mag` is in units of the output.
 *
 *     tone      y[n] = mag cos(2 pi rFreq n + phase), complex: mag e^(i (2 pi rFreq n + phase))
 *     triangle  falls from mag to -mag over a phase of pi + asym and rises over pi - asym, phase 0 is the positive peak
 *
 * The imaginary part of a complex triangle lags by a quarter of the period: it begins at phase - pi/2.
 *
 * Tones: a single sample, and a block of fewer than 48, is the recurrence y[n] = 2 cos(w) y[n-1] - y[n-2],
 * w = 2 pi rFreq, rounded twice. After n samples it is at most
 *
 *     mag n min(n, 1 / sin w) 2^-52
 *
 * off: a sine at 1/82 of the rate is 5.5e-7 radians off after 10^9 samples, at 10^-4 of it 6.6e-5 (measured). Longer
 * blocks evaluate the same sinusoid from the last two samples (complex: from the last one) without the recurrence's
 * errors, so that blocks and single samples agree within that bound; they leave their last two outputs, in float64, in
 * the record. A complex block adds at most mag 2^-50 for every million samples, a real one mag 2^-50 / sin w: after
 * 10^9 samples in blocks of 1024 at 1/82 of the rate, 4e-10 was measured.
 *
 * Triangles: every sample outputs the value and adds the step; what goes over a peak is turned back with the slope
 * of the other side. Blocks give the bits of single samples.
 *
 * Checks of this group: Init reports the first condition that holds, alone; the others report all that hold.
 * @{ */

/** A real tone: float32 and int16. */
typedef struct MoxsToneState {
  double twoCos;       /**< 2 cos(w) */
  double prev1, prev2; /**< the last output and the one before */
  float mag, rFreq, phase;
  char marker[4]; /**< "QXZ" */
} MoxsToneState;
/** The same: float64. */
typedef struct MoxdToneState {
  double twoCos;
  double prev1, prev2;
  double mag, rFreq, phase;
  char marker[4];
} MoxdToneState;
/** A complex tone: complex float32 and complex int16. */
typedef struct MoxcToneState {
  double twoCos;
  MoxZ prev1, prev2;
  float mag, rFreq, phase;
  char marker[4];
} MoxcToneState;
/** The same: complex float64. */
typedef struct MoxzToneState {
  double twoCos;
  MoxZ prev1, prev2;
  double mag, rFreq, phase;
  char marker[4];
} MoxzToneState;

/** A real triangle: float32 and int16. */
typedef struct MoxsTrnglState {
  float mag;
  double step;               /**< to the next output */
  double downStep, upStep;   /**< -4 pi mag rFreq / (pi + asym), 4 pi mag rFreq / (pi - asym) */
  double downRatio, upRatio; /**< -(pi - asym) / (pi + asym), -(pi + asym) / (pi - asym) */
  double value;              /**< the next output */
} MoxsTrnglState;
/** The same: float64. */
typedef struct MoxdTrnglState {
  double mag;
  double step;
  double downStep, upStep;
  double downRatio, upRatio;
  double value;
} MoxdTrnglState;
/** A complex triangle: complex float32 and complex int16. */
typedef struct MoxcTrnglState {
  float mag;
  MoxZ step;
  double downStep, upStep;
  double downRatio, upRatio;
  MoxZ value;
} MoxcTrnglState;
/** The same: complex float64. */
typedef struct MoxzTrnglState {
  double mag;
  MoxZ step;
  double downStep, upStep;
  double downRatio, upRatio;
  MoxZ value;
} MoxzTrnglState;

/** @name Tone: initialisation
 * Checks: "Invalid magnitude value", "Invalid freq value", "Invalid phase value" (NaN is invalid, -0.0 is 0), null
 * `statePtr` "Null pointer to state". The record is then as it was. */
/** @{ */
MOX_API void MOX_CALL moxsToneInit(float rFreq, float phase, float mag, MoxsToneState* statePtr);
MOX_API void MOX_CALL moxdToneInit(double rFreq, double phase, double mag, MoxdToneState* statePtr);
MOX_API void MOX_CALL moxcToneInit(float rFreq, float phase, float mag, MoxcToneState* statePtr);
MOX_API void MOX_CALL moxzToneInit(double rFreq, double phase, double mag, MoxzToneState* statePtr);
MOX_API void MOX_CALL moxwToneInit(float rFreq, float phase, float mag, MoxsToneState* statePtr);
MOX_API void MOX_CALL moxvToneInit(float rFreq, float phase, float mag, MoxcToneState* statePtr);
/** @} */
/** @name Tone: one sample
 * Checks: null `statePtr` "Null pointer to state"; no marker "Structure initialization need". */
/** @{ */
MOX_API float MOX_CALL moxsTone(MoxsToneState* statePtr);
MOX_API double MOX_CALL moxdTone(MoxdToneState* statePtr);
MOX_API MoxC MOX_CALL moxcTone(MoxcToneState* statePtr);
MOX_API MoxZ MOX_CALL moxzTone(MoxzToneState* statePtr);
MOX_API int16_t MOX_CALL moxwTone(MoxsToneState* statePtr);
MOX_API MoxV MOX_CALL moxvTone(MoxcToneState* statePtr);
/** @} */
/** @name Tone: n samples
 * Checks: the same; null `dst` "Null input buffer pointer"; `n` < 1 "Bad number of items". */
/** @{ */
MOX_API void MOX_CALL moxsbTone(MoxsToneState* statePtr, float* dst, int32_t n);
MOX_API void MOX_CALL moxdbTone(MoxdToneState* statePtr, double* dst, int32_t n);
MOX_API void MOX_CALL moxcbTone(MoxcToneState* statePtr, MoxC* dst, int32_t n);
MOX_API void MOX_CALL moxzbTone(MoxzToneState* statePtr, MoxZ* dst, int32_t n);
MOX_API void MOX_CALL moxwbTone(MoxsToneState* statePtr, int16_t* dst, int32_t n);
MOX_API void MOX_CALL moxvbTone(MoxcToneState* statePtr, MoxV* dst, int32_t n);
/** @} */
/** @name Triangle: initialisation
 * `asym` in radians, -pi < asym < pi. Checks: "Invalid magnitude value", "Invalid frequence value", "Invalid phase
 * value", "Invalid asymmetry value" (NaN is invalid, -0.0 is 0), null `statePtr` "Null pointer to state". The record is
 * then as it was. */
/** @{ */
MOX_API void MOX_CALL moxsTrnglInit(float rFreq, float phase, float mag, float asym, MoxsTrnglState* statePtr);
MOX_API void MOX_CALL moxdTrnglInit(double rFreq, double phase, double mag, double asym, MoxdTrnglState* statePtr);
MOX_API void MOX_CALL moxcTrnglInit(float rFreq, float phase, float mag, float asym, MoxcTrnglState* statePtr);
MOX_API void MOX_CALL moxzTrnglInit(double rFreq, double phase, double mag, double asym, MoxzTrnglState* statePtr);
MOX_API void MOX_CALL moxwTrnglInit(float rFreq, float phase, float mag, float asym, MoxsTrnglState* statePtr);
MOX_API void MOX_CALL moxvTrnglInit(float rFreq, float phase, float mag, float asym, MoxcTrnglState* statePtr);
/** @} */
/** @name Triangle: one sample
 * Check: null `statePtr` "Null pointer to state". A record that Init has not filled is not recognised. */
/** @{ */
MOX_API float MOX_CALL moxsTrngl(MoxsTrnglState* statePtr);
MOX_API double MOX_CALL moxdTrngl(MoxdTrnglState* statePtr);
MOX_API MoxC MOX_CALL moxcTrngl(MoxcTrnglState* statePtr);
MOX_API MoxZ MOX_CALL moxzTrngl(MoxzTrnglState* statePtr);
MOX_API int16_t MOX_CALL moxwTrngl(MoxsTrnglState* statePtr);
MOX_API MoxV MOX_CALL moxvTrngl(MoxcTrnglState* statePtr);
/** @} */
/** @name Triangle: n samples
 * Checks: null `statePtr` "Null pointer to state"; null `dst` "Null pointer to buffer"; `n` < 1 "Invalid number of
 * items". */
/** @{ */
MOX_API void MOX_CALL moxsbTrngl(MoxsTrnglState* statePtr, float* dst, int32_t n);
MOX_API void MOX_CALL moxdbTrngl(MoxdTrnglState* statePtr, double* dst, int32_t n);
MOX_API void MOX_CALL moxcbTrngl(MoxcTrnglState* statePtr, MoxC* dst, int32_t n);
MOX_API void MOX_CALL moxzbTrngl(MoxzTrnglState* statePtr, MoxZ* dst, int32_t n);
MOX_API void MOX_CALL moxwbTrngl(MoxsTrnglState* statePtr, int16_t* dst, int32_t n);
MOX_API void MOX_CALL moxvbTrngl(MoxcTrnglState* statePtr, MoxV* dst, int32_t n);
/** @} */
/** @} */

/** @defgroup windows Windows
 * A vector times a symmetric window, in place. w[i] for i < n/2, in float64, multiplies elements i and n - 1 - i, both
 * parts of complex ones; with c = cos(2 pi i / (n - 1)):
 *
 * | window | w[i] |
 * |---|---|
 * | Bartlett | 2 i / (n - 1) |
 * | Hann | 0.5 (1 - c) |
 * | Hamming | 0.54 - 0.46 c |
 * | Blackman | (alpha + 1)/2 - c/2 - (alpha/2) cos(4 pi i / (n - 1)) |
 * | BlackmanStd | Blackman, alpha = -0.16 in float32: 0.42 - 0.5 c + 0.08 cos(4 pi i / (n - 1)) |
 * | BlackmanOpt | Blackman, alpha = -(sin(pi / (n - 1)) / sin(2 pi / (n - 1)))^2, rounded to float32 |
 * | Kaiser | I0(alpha sqrt(i (n - 1 - i))) / I0(alpha (n - 1)/2) |
 *
 * The middle element of an odd n is multiplied twice by its weight, which is 1 but for rounding (exactly 1 in Hann,
 * Hamming, BlackmanStd and Kaiser windows). Cosines are within 2^-51 of the exact ones for every n; the middle one is
 * -1. I0 stands for the polynomials of Abramowitz and Stegun, Handbook of Mathematical Functions, 9.8.1 and
 * 9.8.2, which are within 2e-7 of it. float32 products are rounded once. int16 products are truncated toward zero,
 * without a scale; only Blackman weights can be outside of 0 ... 1, the result is then the low 16 bits (0 beyond 32
 * bits). Of Kaiser windows the last places may differ on processors without fused multiply-add.
 *
 * The first condition that holds is reported, alone: null `vec` "Null pointer to buffer"; `n` < 3 "Bad number of
 * items"; Kaiser: 0.5 (n - 1) alpha > 308 "Huge window parameter". BlackmanStd and BlackmanOpt report as Blackman.
 * @{ */
MOX_API void MOX_CALL moxsWinBartlett(float* vec, int32_t n);
MOX_API void MOX_CALL moxcWinBartlett(MoxC* vec, int32_t n);
MOX_API void MOX_CALL moxdWinBartlett(double* vec, int32_t n);
MOX_API void MOX_CALL moxzWinBartlett(MoxZ* vec, int32_t n);
MOX_API void MOX_CALL moxwWinBartlett(int16_t* vec, int32_t n);
MOX_API void MOX_CALL moxvWinBartlett(MoxV* vec, int32_t n);
MOX_API void MOX_CALL moxsWinHann(float* vec, int32_t n);
MOX_API void MOX_CALL moxcWinHann(MoxC* vec, int32_t n);
MOX_API void MOX_CALL moxdWinHann(double* vec, int32_t n);
MOX_API void MOX_CALL moxzWinHann(MoxZ* vec, int32_t n);
MOX_API void MOX_CALL moxwWinHann(int16_t* vec, int32_t n);
MOX_API void MOX_CALL moxvWinHann(MoxV* vec, int32_t n);
MOX_API void MOX_CALL moxsWinHamming(float* vec, int32_t n);
MOX_API void MOX_CALL moxcWinHamming(MoxC* vec, int32_t n);
MOX_API void MOX_CALL moxdWinHamming(double* vec, int32_t n);
MOX_API void MOX_CALL moxzWinHamming(MoxZ* vec, int32_t n);
MOX_API void MOX_CALL moxwWinHamming(int16_t* vec, int32_t n);
MOX_API void MOX_CALL moxvWinHamming(MoxV* vec, int32_t n);
MOX_API void MOX_CALL moxsWinBlackman(float* vec, int32_t n, float alpha);
MOX_API void MOX_CALL moxcWinBlackman(MoxC* vec, int32_t n, float alpha);
MOX_API void MOX_CALL moxdWinBlackman(double* vec, int32_t n, float alpha);
MOX_API void MOX_CALL moxzWinBlackman(MoxZ* vec, int32_t n, float alpha);
MOX_API void MOX_CALL moxwWinBlackman(int16_t* vec, int32_t n, float alpha);
MOX_API void MOX_CALL moxvWinBlackman(MoxV* vec, int32_t n, float alpha);
MOX_API void MOX_CALL moxsWinBlackmanStd(float* vec, int32_t n);
MOX_API void MOX_CALL moxcWinBlackmanStd(MoxC* vec, int32_t n);
MOX_API void MOX_CALL moxdWinBlackmanStd(double* vec, int32_t n);
MOX_API void MOX_CALL moxzWinBlackmanStd(MoxZ* vec, int32_t n);
MOX_API void MOX_CALL moxwWinBlackmanStd(int16_t* vec, int32_t n);
MOX_API void MOX_CALL moxvWinBlackmanStd(MoxV* vec, int32_t n);
MOX_API void MOX_CALL moxsWinBlackmanOpt(float* vec, int32_t n);
MOX_API void MOX_CALL moxcWinBlackmanOpt(MoxC* vec, int32_t n);
MOX_API void MOX_CALL moxdWinBlackmanOpt(double* vec, int32_t n);
MOX_API void MOX_CALL moxzWinBlackmanOpt(MoxZ* vec, int32_t n);
MOX_API void MOX_CALL moxwWinBlackmanOpt(int16_t* vec, int32_t n);
MOX_API void MOX_CALL moxvWinBlackmanOpt(MoxV* vec, int32_t n);
MOX_API void MOX_CALL moxsWinKaiser(float* vec, int32_t n, float alpha);
MOX_API void MOX_CALL moxcWinKaiser(MoxC* vec, int32_t n, float alpha);
MOX_API void MOX_CALL moxdWinKaiser(double* vec, int32_t n, float alpha);
MOX_API void MOX_CALL moxzWinKaiser(MoxZ* vec, int32_t n, float alpha);
MOX_API void MOX_CALL moxwWinKaiser(int16_t* vec, int32_t n, float alpha);
MOX_API void MOX_CALL moxvWinKaiser(MoxV* vec, int32_t n, float alpha);
/** @} */

#ifdef __cplusplus
}
#endif

#endif /* MOXA1_H */
