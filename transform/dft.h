// Transforms of any length by their sum, through the cached table of that length.
#pragma once
#include "transform/call.h"

namespace mox {

inline MoxC* dftTable(MoxC*, int32_t length) { return moxcGetDftTwdTbl(length); }
inline MoxZ* dftTable(MoxZ*, int32_t length) { return moxzGetDftTwdTbl(length); }
inline const kernel::Dft<float>& dftKernels(const MoxC*) { return kernel::active->dft32; }
inline const kernel::Dft<double>& dftKernels(const MoxZ*) { return kernel::active->dft64; }

template <class T, class C = ComplexOf<T>>
void dft(const C* inSamps, C* outSamps, int32_t length, int32_t flags, SiteOf<T> site = SiteOf<T>()) {
  const C* const table = dftTable(outSamps, length);
  if (context().status < 0 && report(site, MOX_StsBackTrace, "Bad pointer") != 0) return;
  if (flags & MOX_Init) return;
  if (rejected(site, BAD_IF(length<=0), BAD_IF(inSamps==0), BAD_IF(outSamps==0))) return;
  if (flagFaults(site, flags, {}) != 0 || !table) return;
  const auto& kernels = dftKernels(outSamps);
  const double scale = (flags & (MOX_Inv | MOX_NoInvScale)) == MOX_Inv ? 1.0 / length : 1.0;
  (flags & MOX_Forw ? kernels.forward : kernels.inverse)(&inSamps->re, &outSamps->re, &table->re, length, scale);
}

}  // namespace mox
