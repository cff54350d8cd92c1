// FFTW's interface by element type.
#pragma once
#include <fftw3.h>

namespace moxbench {

template <class T>
struct Fftw;

#define MOXBENCH_FFTW(T, prefix)                                   \
  template <>                                                      \
  struct Fftw<T> {                                                 \
    using Plan = prefix##_plan;                                    \
    using Complex = prefix##_complex;                              \
    static constexpr auto real = prefix##_alloc_real;              \
    static constexpr auto complexArray = prefix##_alloc_complex;   \
    static constexpr auto free = prefix##_free;                    \
    static constexpr auto complex = prefix##_plan_dft_1d;          \
    static constexpr auto toSpectrum = prefix##_plan_dft_r2c_1d;   \
    static constexpr auto toSignal = prefix##_plan_dft_c2r_1d;     \
    static constexpr auto toSpectrum2D = prefix##_plan_dft_r2c_2d; \
    static constexpr auto toSignal2D = prefix##_plan_dft_c2r_2d;   \
    static constexpr auto execute = prefix##_execute;              \
    static constexpr auto destroy = prefix##_destroy_plan;         \
  }
MOXBENCH_FFTW(float, fftwf);
MOXBENCH_FFTW(double, fftw);
MOXBENCH_FFTW(long double, fftwl);
#undef MOXBENCH_FFTW

}  // namespace moxbench
