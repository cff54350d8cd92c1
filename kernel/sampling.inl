// Changes of the sampling rate by whole factors: elements of kBytes move between adjacent places and places `factor`
// apart. Loops upwards in rate run from the end down, those downwards in rate from the beginning up, so that all work
// in place: no step reads what an earlier one has written.

template <int kBytes>
struct SampleOf : UnsignedOf<kBytes> {};
template <>
struct SampleOf<16> {
  using type = Vec<uint64_t, 2>;
};
template <int kBytes>
using Sample = typename SampleOf<kBytes>::type;

// Elements and vectors of any alignment.
template <int kBytes>
MOX_INLINE Sample<kBytes> sampleAt(const uint8_t* p) {
  Sample<kBytes> x;
  __builtin_memcpy(&x, p, sizeof x);
  return x;
}
template <class T>
MOX_INLINE void putAt(uint8_t* p, T x) {
  __builtin_memcpy(p, &x, sizeof x);
}

#if MOX_VEC_BYTES >= 32
using Bytes32 = Vec<uint8_t, 32>;
constexpr Bytes32 kByteNumbers = {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15,
                                  16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31};
MOX_INLINE Bytes32 bytes(size_t x) { return broadcast<Bytes32>(static_cast<uint8_t>(x)); }
// Byte i of every 16 becomes byte from[i] of these, or 0 where that is 128 or more.
MOX_INLINE Bytes32 shuffled(__m256i v, Bytes32 from) {
  return reinterpret_cast<Bytes32>(_mm256_shuffle_epi8(v, reinterpret_cast<__m256i>(from)));
}
#endif

// ---- upwards: dst[phase + factor i] = src[i], all else is zero

// The elements from `begin` to `end`, the last one first.
template <int kBytes>
MOX_NOINLINE void spreadElements(const uint8_t* src, uint8_t* dst, size_t factor, size_t phase, size_t begin,
                                 size_t end) {
  size_t i = end > phase ? (end - phase - 1) / factor + 1 : 0;  // samples to do
  while (end-- > begin) {
    if (i > 0 && end == phase + (i - 1) * factor) {
      --i;
      putAt(dst + end * kBytes, sampleAt<kBytes>(src + i * kBytes));
    } else {
      putAt(dst + end * kBytes, Sample<kBytes>{});
    }
  }
}

// A sample and the zeros behind it are at least as many bytes as a V.
template <int kBytes, class V>
MOX_NOINLINE void spreadWide(const uint8_t* src, uint8_t* dst, size_t n, size_t factor) {
  const size_t width = factor * kBytes;
  V zero = {};
  // What the compiler knows to be zero it makes a call of memset for every sample (3.6 against 0.9 ns).
  if constexpr (sizeof(V) >= 16) zero = pinned(zero);
  while (n-- > 0) {
    const Sample<kBytes> x = sampleAt<kBytes>(src + n * kBytes);
    uint8_t* const to = dst + n * width;
    for (size_t i = 0; i + sizeof(V) < width; i += sizeof(V)) putAt(to + i, zero);
    putAt(to + width - sizeof(V), zero);
    putAt(to, x);
  }
}
template <int kBytes>
MOX_INLINE void spreadSamples(const uint8_t* src, uint8_t* dst, size_t n, size_t factor, size_t phase) {
  const size_t width = factor * kBytes;
  uint8_t* const to = dst + phase * kBytes;
  spreadElements<kBytes>(src, dst, factor, phase, phase + (n - 1) * factor, n * factor);
  if (width >= 64) {
    spreadWide<kBytes, Vec<uint64_t, kVecBytes == 16 ? 2 : 4>>(src, to, n - 1, factor);
  } else if (width >= 16) {
    spreadWide<kBytes, Vec<uint64_t, 2>>(src, to, n - 1, factor);
  } else if (width >= 8) {
    spreadWide<kBytes, uint64_t>(src, to, n - 1, factor);
  } else {
    spreadWide<kBytes, uint32_t>(src, to, n - 1, factor);
  }
  spreadElements<kBytes>(src, dst, factor, phase, 0, phase);
}

#if MOX_VEC_BYTES >= 32
// The pattern of the result repeats after `factor` vectors. Each vector is made of the 16 bytes from its first sample
// on: those of the highest places, where that would be too many, come one by one.
constexpr size_t kMostInVectors = 16;
struct SpreadPlan {
  Bytes32 from;
  size_t firstByte;  // of the source
};
MOX_INLINE void spreadVector(const uint8_t* src, uint8_t* dst, const SpreadPlan& plan) {
  const __m128i samples = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + plan.firstByte));
  putAt(dst, shuffled(_mm256_broadcastsi128_si256(samples), plan.from));
}
// Whole periods; where kFactor is 0 it is not known before.
template <int kFactor>
MOX_NOINLINE void spreadPeriods(const uint8_t* src, uint8_t* dst, size_t periods, size_t factor,
                                const SpreadPlan* plans) {
  if (kFactor) factor = kFactor;
  while (periods-- > 0) {
    uint8_t* const to = dst + periods * factor * 32;
    for (size_t i = factor; i-- > 0;) spreadVector(src + periods * 32, to + i * 32, plans[i]);
  }
}
template <int kBytes>
MOX_NOINLINE void spreadVectors(const uint8_t* src, uint8_t* dst, size_t n, size_t factor, size_t phase) {
  constexpr size_t kLane = 32 / kBytes, kLoaded = 16 / kBytes;
  const size_t size = n * factor, offset = reinterpret_cast<uintptr_t>(dst) % 32;
  // Aligned where the elements allow it: else every second store crosses a cache line (7.1 against 2.8 us for 128 KB).
  const size_t begin = offset % kBytes == 0 ? (32 - offset) % 32 / kBytes : 0;
  if (n < kLoaded || size < begin + kLane) return spreadElements<kBytes>(src, dst, factor, phase, 0, size);
  const size_t loadable = (n - kLoaded) * factor + phase;  // the last place that a vector may begin with
  if (loadable < begin) return spreadElements<kBytes>(src, dst, factor, phase, 0, size);
  const size_t byLoads = (loadable - begin) / kLane + 1, bySize = (size - begin) / kLane;
  const size_t vectors = byLoads < bySize ? byLoads : bySize;

  SpreadPlan plans[kMostInVectors];
  const Bytes32 part = kByteNumbers & bytes(kBytes - 1), element = kByteNumbers - part;
  size_t sample = begin > phase ? (begin - phase + factor - 1) / factor : 0;
  size_t place = phase + sample * factor - begin;  // in the vector
  for (size_t i = 0; i < factor; ++i) {
    plans[i].firstByte = sample * kBytes;
    Bytes32 from = bytes(0x80);
    for (size_t k = 0; place < kLane; place += factor, ++sample, ++k) {
      from = element == bytes(place * kBytes) ? part + bytes(k * kBytes) : from;
    }
    plans[i].from = from;
    place -= kLane;
  }

  spreadElements<kBytes>(src, dst, factor, phase, begin + vectors * kLane, size);
  const size_t periods = vectors / factor;
  uint8_t* const to = dst + begin * kBytes;
  for (size_t i = vectors; i-- > periods * factor;) spreadVector(src + periods * 32, to + i * 32, plans[i % factor]);
  if (factor == 2) {
    spreadPeriods<2>(src, to, periods, factor, plans);
  } else if (factor == 3) {
    spreadPeriods<3>(src, to, periods, factor, plans);
  } else if (factor == 4) {
    spreadPeriods<4>(src, to, periods, factor, plans);
  } else {
    spreadPeriods<0>(src, to, periods, factor, plans);
  }
  spreadElements<kBytes>(src, dst, factor, phase, 0, begin);
}
#endif

template <int kBytes>
void upSample(const void* from, void* to, size_t n, size_t factor, size_t phase) {
  const uint8_t* const src = static_cast<const uint8_t*>(from);
  uint8_t* const dst = static_cast<uint8_t*>(to);
#if MOX_VEC_BYTES >= 32
  if (factor <= kMostInVectors) return spreadVectors<kBytes>(src, dst, n, factor, phase);
#endif
  spreadSamples<kBytes>(src, dst, n, factor, phase);
}

// ---- downwards: dst[i] = src[factor i]

#if MOX_VEC_BYTES >= 32
// 16 bytes of the result come from kFactor times as many. Returns how many elements were done.
template <int kBytes, int kFactor>
MOX_NOINLINE size_t gatherVectors(const uint8_t* src, uint8_t* dst, size_t n) {
  constexpr size_t kLane = 32 / kBytes;
  Bytes32 from = kByteNumbers & bytes(15);
  const Bytes32 element = from & bytes(16 - kBytes);
  for (int i = 1; i < kFactor; ++i) from += element;
  size_t i = 0;
  for (; i + kLane < n; i += kLane, src += 32 * kFactor) {
    Bytes32 v = {};
#  pragma GCC unroll 8
    for (int k = 0; k < kFactor; ++k) {
      // What is not in these 16 bytes comes out as 128 or more.
      const __m256i distance = reinterpret_cast<__m256i>(from - bytes(static_cast<size_t>(16 * k)));
      const Bytes32 at = reinterpret_cast<Bytes32>(_mm256_adds_epu8(distance, _mm256_set1_epi8(0x70)));
      v |= shuffled(_mm256_loadu2_m128i(reinterpret_cast<const __m128i*>(src + 16 * (kFactor + k)),
                                        reinterpret_cast<const __m128i*>(src + 16 * k)),
                    at);
    }
    putAt(dst + i * kBytes, v);
  }
  return i;
}
#endif

template <int kBytes>
void downSample(const void* from, void* to, size_t n, size_t factor) {
  const uint8_t* const src = static_cast<const uint8_t*>(from);
  uint8_t* const dst = static_cast<uint8_t*>(to);
  size_t i = 0;
#if MOX_VEC_BYTES >= 32
  if constexpr (kBytes < 16) {
    if (factor == 2) i = gatherVectors<kBytes, 2>(src, dst, n);
    if (factor == 3) i = gatherVectors<kBytes, 3>(src, dst, n);
    if (factor == 4) i = gatherVectors<kBytes, 4>(src, dst, n);
  }
  if constexpr (kBytes < 4) {  // larger ones are faster one by one (4 bytes, factor 8: 1.3 and 0.8 us for 16384)
    if (factor == 5) i = gatherVectors<kBytes, 5>(src, dst, n);
    if (factor == 6) i = gatherVectors<kBytes, 6>(src, dst, n);
    if (factor == 7) i = gatherVectors<kBytes, 7>(src, dst, n);
    if (factor == 8) i = gatherVectors<kBytes, 8>(src, dst, n);
  }
#endif
#pragma GCC unroll 4
  for (; i < n; ++i) putAt(dst + i * kBytes, sampleAt<kBytes>(src + i * factor * kBytes));
}

constexpr Sampling samplingKernels() {
  return {
      .up = {upSample<2>, upSample<4>, upSample<8>, upSample<16>},
      .down = {downSample<2>, downSample<4>, downSample<8>, downSample<16>},
  };
}
