// Convolutions of float32 and complex float32.
#include "signal/convolution.h"

using namespace mox;
using Convolutions = Here<"moxconvs">;

extern "C" {

void moxsConv(const float* x, int32_t xLen, const float* h, int32_t hLen, float* y) {
  convolve<Convolutions>(x, xLen, h, hLen, y, {"moxsConv1", "moxsConv2"});
}
void moxcConv(const MoxC* x, int32_t xLen, const MoxC* h, int32_t hLen, MoxC* y) {
  convolve<Convolutions>(x, xLen, h, hLen, y, {"moxcConv1", "moxcConv2"});
}
void moxcsConv(const MoxC* x, int32_t xLen, const float* h, int32_t hLen, MoxC* y) {
  convolveMixed<Convolutions>(x, xLen, h, hLen, y, {"moxcsConv1", "moxcsConv2"}, moxscConv);
}
void moxscConv(const float* x, int32_t xLen, const MoxC* h, int32_t hLen, MoxC* y) {
  convolveMixed<Convolutions>(x, xLen, h, hLen, y, {"moxscConv1", "moxscConv2"}, moxcsConv);
}

}  // extern "C"
