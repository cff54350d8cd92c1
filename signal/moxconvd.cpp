// Convolutions of float64 and complex float64.
#include "signal/convolution.h"

using namespace mox;
using Convolutions = Here<"moxconvd">;

extern "C" {

void moxdConv(const double* x, int32_t xLen, const double* h, int32_t hLen, double* y) {
  convolve<Convolutions>(x, xLen, h, hLen, y, {"moxdConv1", "moxdConv2"});
}
void moxzConv(const MoxZ* x, int32_t xLen, const MoxZ* h, int32_t hLen, MoxZ* y) {
  convolve<Convolutions>(x, xLen, h, hLen, y, {"moxzConv1", "moxzConv2"});
}
void moxzdConv(const MoxZ* x, int32_t xLen, const double* h, int32_t hLen, MoxZ* y) {
  convolveMixed<Convolutions>(x, xLen, h, hLen, y, {"moxzdConv1", "moxzdConv2"}, moxdzConv);
}
void moxdzConv(const double* x, int32_t xLen, const MoxZ* h, int32_t hLen, MoxZ* y) {
  convolveMixed<Convolutions>(x, xLen, h, hLen, y, {"moxdzConv1", "moxdzConv2"}, moxzdConv);
}

}  // extern "C"
