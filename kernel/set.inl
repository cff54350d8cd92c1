// Everything that one instruction set provides. kernel/sse2.cpp, avx2.cpp and avx512.cpp include this once each, inside
// their namespace (mox::kernel::sse2 ...) and their target region; nothing here may be visible outside that object file
// but the table at the end, so that no code of one set can replace code of another at link time.

extern const Kernels table;

namespace {
// Later files build on earlier ones.
// clang-format off
#include "kernel/vec.inl"
#include "kernel/arith.inl"
#include "kernel/elementary.inl"
#include "kernel/scale.inl"
#include "kernel/int16.inl"
#include "kernel/dot.inl"
#include "kernel/fir.inl"
#include "kernel/corr.inl"
#include "kernel/elementwise.inl"
#include "kernel/iir.inl"
#include "kernel/goertzel.inl"
#include "kernel/convert.inl"
#include "kernel/law.inl"
#include "kernel/lms.inl"
#include "kernel/turns.inl"
#include "kernel/window.inl"
#include "kernel/tone.inl"
#include "kernel/permute.inl"
#include "kernel/dft.inl"
#include "kernel/sampling.inl"
#include "kernel/random.inl"
#include "kernel/fft.inl"
#include "kernel/fir_product.inl"
#include "kernel/fir_fft.inl"
#include "kernel/plane.inl"
#include "kernel/plane_fft.inl"
// clang-format on
}  // namespace

constinit const Kernels table = {
    .name = MOX_SET_NAME,
    .copyWords = copyWords,
    .arith32 = arithKernels<float>(),
    .arith64 = arithKernels<double>(),
    .elementary32 = elementaryKernels<float>(),
    .elementary64 = elementaryKernels<double>(),
    .scale = scaleKernels(),
    .int16 = int16Kernels(),
    .dot32 = dotKernels<float>(),
    .dot64 = dotKernels<double>(),
    .dot16 = dot16Kernels(),
    .fir32 = firKernels<float>(),
    .fir64 = firKernels<double>(),
    .fir16 = fir16Kernels(),
    .correlation32 = correlationKernels<float>(),
    .correlation64 = correlationKernels<double>(),
    .firFastReal = firFastOf<1, false>(),
    .firFastComplexSamples = firFastOf<2, false>(),
    .firFastComplex = firFastOf<2, true>(),
    .aLaw = compandingKernels<ALaw>(),
    .muLaw = compandingKernels<MuLaw>(),
    .elementwise32 = elementwiseKernels<float>(),
    .elementwise64 = elementwiseKernels<double>(),
    .elementwise16 = elementwise16Kernels(),
    .iir32 = iirKernels<float>(),
    .iir64 = iirKernels<double>(),
    .goertzel32 = goertzelKernels<float>(),
    .goertzel64 = goertzelKernels<double>(),
    .conversion32 = conversionKernels<float>(),
    .conversion64 = conversionKernels<double>(),
    .separation32 = separationKernels<float>(),
    .separation64 = separationKernels<double>(),
    .separation16 = separationKernels<int16_t>(),
    .polar16 = polar16Kernels(),
    .lms32 = lmsKernels<float>(),
    .lms64 = lmsKernels<double>(),
    .window32 = windowKernels<float>(),
    .window64 = windowKernels<double>(),
    .window16 = windowKernels<int16_t>(),
    .generator32 = generatorKernels<float>(),
    .generator64 = generatorKernels<double>(),
    .generator16 = generatorKernels<int16_t>(),
    .bitReversal = bitReversal(),
    .dft32 = dftKernels<float>(),
    .dft64 = dftKernels<double>(),
    .sampling = samplingKernels(),
    .random32 = randomKernels<float>(),
    .random64 = randomKernels<double>(),
    .fft32 = fftKernels<float>(),
    .fft64 = fftKernels<double>(),
    .plane32 = planeKernels<float>(),
    .plane64 = planeKernels<double>(),
};
