// Roots of unity to more than 100 bits, the same on every processor and in every floating-point state that keeps
// doubles rounded to nearest: nothing but double additions and multiplications goes into them.
#pragma once
#include <cstddef>
#include <cstdint>

namespace mox::kernel {

// The unevaluated sum hi + lo, |lo| <= ulp(hi)/2.
struct DoubleDouble {
  double hi, lo;
};

DoubleDouble operator+(DoubleDouble a, DoubleDouble b);
DoubleDouble operator*(DoubleDouble a, DoubleDouble b);
DoubleDouble operator-(DoubleDouble a);

// hi + lo rounded once; float and double. (Nothing here is inline: the kernel sources of every instruction set include
// this, and an out-of-line copy made by one of them could become the whole program's.)
template <class T>
T rounded(DoubleDouble x);

struct SinCos {
  DoubleDouble sin, cos;
};
// Any angle with |angle| < 2^30; absolute error below 2^-98.
SinCos sinCos(DoubleDouble angle);
// The hi of both, in a fifth of the time.
struct SinCosNearest {
  double sin, cos;
};
SinCosNearest sinCosNearest(DoubleDouble angle);

struct Root {
  DoubleDouble re, im;
};

// e^(-2 pi i k / 2^order) for any k; the eight octants are exact mirror images of each other. Keeps two tables of about
// 2^(order/2) entries, so that a root costs one product. order may be 0..40.
class Roots {
 public:
  explicit Roots(int order);
  ~Roots();
  Roots(const Roots&) = delete;
  Roots& operator=(const Roots&) = delete;
  bool ok() const { return fine_ && coarse_; }  // false when the tables could not be allocated
  int order() const { return order_; }

  Root at(uint64_t k) const;

  // (re, im) rounded once; float and double.
  template <class T>
  void store(uint64_t k, T* reIm) const;

 private:
  Root firstOctant(uint64_t k) const;

  int order_, fineBits_;
  SinCos *fine_, *coarse_;
};

}  // namespace mox::kernel
