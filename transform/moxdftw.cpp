// The transform of any length of complex int16 signals: the float32 one between two conversions.
#include "frame/float_array.h"
#include "frame/undscale.h"
#include "kernel/kernels.h"
#include "transform/flags.h"

namespace mox {
namespace {

using Dft16 = Here<"moxdftw">;

void dft16(const MoxV* inSamps, MoxV* outSamps, int32_t length, int32_t flags, int32_t scaleMode, int32_t* scalePtr,
           Site site = Dft16()) {
  if (flags & MOX_Init) {
    if (!moxcGetDftTwdTbl(length)) report(site, MOX_StsBackTrace, "Bad pointer for Twiddle Factors");
    return;
  }
  if (rejected(site, BAD_IF(length<=0), BAD_IF(inSamps==0), BAD_IF(outSamps==0)) || flagFaults(site, flags, {}) != 0) {
    return;
  }
  const int64_t count = 2 * int64_t{length};
  const FloatArray in(static_cast<uint64_t>(count)), out(in.get() ? static_cast<uint64_t>(count) : 0);
  if (!in.get() || !out.get()) {
    report(site, MOX_StsNoMem, "No memory for work array");
    return;
  }
  kernel::active->scale.toFloats(&inSamps->re, in.get(), static_cast<size_t>(count));
  moxcDft(reinterpret_cast<const MoxC*>(in.get()), reinterpret_cast<MoxC*>(out.get()), length, flags);
  if (context().status < 0) return;  // no table
  scaledToInt16(out.get(), &outSamps->re, count, scaleMode, scalePtr);
}

}  // namespace
}  // namespace mox

using namespace mox;

extern "C" {

void moxvDft(const MoxV* inSamps, MoxV* outSamps, int32_t length, int32_t flags, int32_t scaleMode, int32_t* scalePtr) {
  dft16(inSamps, outSamps, length, flags, scaleMode, scalePtr);
}

}  // extern "C"
