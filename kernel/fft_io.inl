// Where a transform reads its input and leaves its output. A kernel is a template over one of these; its first pass
// calls get<V>(i) for the complex values i, i+1, ... as (re, im) pairs, getTwice<V>(i), where there is such a member,
// for as many as fill half of V in both halves, or getMirrored() for the values i, i+1, ... and N-i, N-i-1, ... where
// kMirrored says so; its last pass calls put(i, v), some kernels' prefetch(i) before. Every kernel
// reads all of its input before it writes any output, or goes through scratch of its own, so that input and output may
// be the same.
//
// The direction D of a kernel is a template argument of its own: +1 for e^(-2 pi i kn/N), -1 for e^(+2 pi i kn/N). All
// that depends on it are signs of factors in fused multiply-adds, so the inverse costs nothing and is bit for bit the
// conjugate map. forward is (D = +1, PackedIo), inverse is (D = -1, ScaledIo), split is (D = +1, SplitIo).

// Where passes work in place: in the output if it is another array than the input, else in scratch. With kAtLine it
// must begin at a cache line, too: stores across lines cost more than a third array (order 12 of float64: 11.4 and 6.7
// us, order 9: 596 and 565 ns), but where three arrays fill the first-level cache (order 10: 1.4 and 1.9 us). Scratch
// has room to lie half a page from the output in that cache: the columns of the last pass would compete for its sets
// (5.3 and 3.0 us in order 11).
constexpr size_t kWorkRoom = 4096;
template <bool kAtLine, class T>
MOX_INLINE T* workIn(T* out, bool another, T* scratch) {
  const uintptr_t to = reinterpret_cast<uintptr_t>(out);
  if (another && (!kAtLine || to % 64 == 0)) return out;
  const size_t off = (to + kWorkRoom / 2 - reinterpret_cast<uintptr_t>(scratch)) % kWorkRoom;
  return scratch + off / 64 * 64 / sizeof(T);
}

template <class T>
struct PackedIo {
  static constexpr bool kMirrored = false;
  const T* in;
  T* out;

  template <class V>
  MOX_INLINE V get(size_t i) const {
    return load<V>(in + 2 * i);
  }
  template <class V>
  MOX_INLINE V getTwice(size_t i) const {
    return loadTwice<V>(in + 2 * i);
  }
  template <class V>
  MOX_INLINE void put(size_t i, V v) const {
    store(out + 2 * i, v);
  }
  MOX_INLINE void prefetch(size_t i) const { __builtin_prefetch(out + 2 * i, 1); }
  template <bool kAtLine>
  MOX_INLINE T* work(T* scratch) const {
    return workIn<kAtLine>(out, out != in, scratch);
  }
  // The only value of order 0.
  MOX_INLINE void one() const {
    const T re = in[0], im = in[1];
    out[0] = re;
    out[1] = im;
  }
};

template <class T>
struct ScaledIo {
  static constexpr bool kMirrored = false;
  const T* in;
  T* out;
  T scale;

  template <class V>
  MOX_INLINE V get(size_t i) const {
    return load<V>(in + 2 * i);
  }
  template <class V>
  MOX_INLINE V getTwice(size_t i) const {
    return loadTwice<V>(in + 2 * i);
  }
  template <class V>
  MOX_INLINE void put(size_t i, V v) const {
    store(out + 2 * i, v * broadcast<V>(scale));
  }
  MOX_INLINE void prefetch(size_t i) const { __builtin_prefetch(out + 2 * i, 1); }
  template <bool kAtLine>
  MOX_INLINE T* work(T* scratch) const {
    return workIn<kAtLine>(out, out != in, scratch);
  }
  MOX_INLINE void one() const {
    const T re = in[0] * scale, im = in[1] * scale;
    out[0] = re;
    out[1] = im;
  }
};

template <class T>
struct SplitIo {
  static constexpr bool kMirrored = false;
  const T *inRe, *inIm;
  T *outRe, *outIm;
  T scale;

  template <class V>
  MOX_INLINE V get(size_t i) const {
    return interleaved<V>(inRe + i, inIm + i);
  }
  template <class V>
  MOX_INLINE void put(size_t i, V v) const {
    deinterleave(v * broadcast<V>(scale), outRe + i, outIm + i);
  }
  MOX_INLINE void prefetch(size_t i) const {
    __builtin_prefetch(outRe + i, 1);
    __builtin_prefetch(outIm + i, 1);
  }
  template <bool kAtLine>
  MOX_INLINE T* work(T* scratch) const {
    return workIn<kAtLine>(outRe, false, scratch);
  }
  MOX_INLINE void one() const {
    const T re = *inRe * scale, im = *inIm * scale;
    *outRe = re;
    *outIm = im;
  }
};
