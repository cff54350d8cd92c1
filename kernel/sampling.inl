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

// Elements up to a place where vectors are aligned, 0 where none begins there: stores that cross cache lines take two
// and a half times as long.
template <int kBytes>
MOX_INLINE size_t unalignedElements(const uint8_t* p) {
  const size_t n = -reinterpret_cast<uintptr_t>(p) % kVecBytes;
  return n % kBytes == 0 ? n / kBytes : 0;
}

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

// Zeros, and samples over them, in blocks from the end down. The block below is asked for meanwhile (2 MB: 57 against
// 92 us).
template <int kBytes>
MOX_NOINLINE void spreadOverZeros(const uint8_t* src, uint8_t* dst, size_t n, size_t factor, size_t phase) {
  constexpr size_t kLane = kVecBytes / kBytes, kAtOnce = 4096 / kBytes;
  // What the compiler knows to be zero it makes a call of memset.
  Vec<uint64_t, kVecBytes / 8> zero = {};
  asm("" : "+x"(zero));
  const size_t begin = unalignedElements<kBytes>(dst);
  size_t end = n * factor, i = n;
  while (end >= begin + 2 * kLane) {
    // In place, what is yet to be read is below place i.
    const size_t least = src == dst ? i : 0, block = end > kAtOnce ? end - kAtOnce : 0;
    size_t low = least > block ? least : block;
    if (low > begin) low = begin + (low - begin + kLane - 1) / kLane * kLane;
    const size_t first = low > phase ? (low - phase + factor - 1) / factor : 0;
    uint8_t *p = dst + low * kBytes, *const last = dst + (end - kLane) * kBytes;
    const size_t below = low > kAtOnce ? kAtOnce * kBytes : 0;
    for (; p + 64 <= last; p += 64) {
      __builtin_prefetch(p - below, 1);
#pragma GCC unroll 4
      for (int k = 0; k < 64; k += kVecBytes) putAt(p + k, zero);
    }
    for (; p < last; p += kVecBytes) putAt(p, zero);
    putAt(last, zero);
    uint8_t* to = dst + (phase + first * factor) * kBytes;
#pragma GCC unroll 4
    for (size_t k = first; k < i; ++k, to += factor * kBytes) putAt(to, sampleAt<kBytes>(src + k * kBytes));
    end = low;
    i = first;
  }
  spreadElements<kBytes>(src, dst, factor, phase, 0, end);
}

#if MOX_VEC_BYTES >= 32
constexpr size_t kMostInVectors = 16;  // the factor

// A vector of the result is made of half as many bytes of the source, from its first sample on: samples are every
// second element at most. Word i of it is word (byte pairs for AVX2) places[i] of these, or zero.
constexpr size_t kSpreadLoad = kVecBytes / 2;
#  if MOX_VEC_BYTES == 64
template <int kBytes>
using SpreadWord = typename UnsignedOf<(kBytes < 8 ? kBytes : 8)>::type;
// Of word k: k kSpreadUnit + kSpreadFirst. From kSpreadZero on they are of a second vector, of zeros.
template <class Word>
constexpr Word kSpreadUnit = 1;
template <class Word>
constexpr Word kSpreadFirst = 0;
template <class Word>
constexpr Word kSpreadZero = 64 / sizeof(Word);
MOX_INLINE __m512i spreadLoaded(const uint8_t* p) {
  return _mm512_castsi256_si512(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)));
}
MOX_INLINE __m512i spreadValue(const uint8_t* p, Vec<uint16_t, 32> places) {
  return _mm512_permutex2var_epi16(spreadLoaded(p), reinterpret_cast<__m512i>(places), __m512i{});
}
MOX_INLINE __m512i spreadValue(const uint8_t* p, Vec<uint32_t, 16> places) {
  return _mm512_permutex2var_epi32(spreadLoaded(p), reinterpret_cast<__m512i>(places), __m512i{});
}
MOX_INLINE __m512i spreadValue(const uint8_t* p, Vec<uint64_t, 8> places) {
  return _mm512_permutex2var_epi64(spreadLoaded(p), reinterpret_cast<__m512i>(places), __m512i{});
}
#  else
template <int kBytes>
using SpreadWord = uint16_t;
// Of word k: k kSpreadUnit + kSpreadFirst, two bytes. Those of 128 and more give zero.
template <class Word>
constexpr Word kSpreadUnit = 0x0202;
template <class Word>
constexpr Word kSpreadFirst = 0x0100;
template <class Word>
constexpr Word kSpreadZero = 0x8080;
MOX_INLINE __m256i spreadValue(const uint8_t* p, Vec<uint16_t, 16> places) {
  const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
  return _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(v), reinterpret_cast<__m256i>(places));
}
#  endif

template <int kBytes>
struct SpreadPlan {
  using Word = SpreadWord<kBytes>;
  using V = Vec<Word, kLanes<Word>>;
  V places;
  size_t firstByte;

  // Where no more than `bytes` of the source are to be read.
  MOX_INLINE auto value(const uint8_t* src, size_t bytes, size_t ahead) const {
    const size_t from = firstByte + ahead, last = bytes - kSpreadLoad, late = from > last ? from - last : 0;
    return spreadValue(src + (from - late), places + static_cast<Word>(late / sizeof(Word) * kSpreadUnit<Word>));
  }
};

// The vector of the result at `begin` and those behind it.
template <int kBytes>
MOX_INLINE void planSpread(size_t factor, size_t place, size_t sample, size_t count, SpreadPlan<kBytes>* plans) {
  using Word = SpreadWord<kBytes>;
  using V = typename SpreadPlan<kBytes>::V;
  constexpr size_t kLane = kVecBytes / kBytes;
  constexpr Word kParts = kBytes / sizeof(Word);
  // (x inverse) >> 11 is x / factor: x < 2 kLane
  static_assert(2 * kLane * kMostInVectors <= 2048);
  const size_t inverse = 2048 / factor + 1, samples = kLane / factor, rest = kLane % factor;
  V word = {};
  for (size_t i = 0; i < sizeof word / sizeof word[0]; ++i) word[i] = static_cast<Word>(i);
  const V part = word & (kParts - 1), element = word / kParts;
  for (size_t i = 0; i < count; ++i) {
    const V x = element + static_cast<Word>(factor - place), quotient = x * static_cast<Word>(inverse) >> 11;
    const V places = ((quotient - 1) * kParts + part) * kSpreadUnit<Word> + kSpreadFirst<Word>;
    plans[i].places = quotient * static_cast<Word>(factor) == x ? places : broadcast<V>(kSpreadZero<Word>);
    plans[i].firstByte = sample * kBytes;
    const bool more = place < rest;
    place += (more ? factor : 0) - rest;
    sample += samples + more;
  }
}

// Asks for the line that is written some vectors later (64 KB: 1.54 against 1.66 us).
template <class V>
MOX_INLINE void putSpread(uint8_t* p, V v) {
  __builtin_prefetch(p - 1024, 1);
  putAt(p, v);
}
// Periods of `vectors` vectors of the result, made of 2^shift bytes of the source each. Where kVectors tells how many,
// the plans stay in registers: loads of them stumble over every store whose address has the same lower 12 bits (factor
// 5: 2.6 against 1.6 us for 64 KB).
template <int kVectors, class Plan>
MOX_NOINLINE void spreadPeriods(const uint8_t* src, uint8_t* dst, size_t periods, size_t vectors, int shift,
                                const Plan* plans) {
  if constexpr (kVectors == 0) {
    while (periods-- > 0) {
      uint8_t* const to = dst + periods * vectors * kVecBytes;
      const uint8_t* const from = src + (periods << shift);
      for (size_t i = vectors; i-- > 0;) {
        putSpread(to + i * kVecBytes, spreadValue(from + plans[i].firstByte, plans[i].places));
      }
    }
  } else {
    Plan kept[kVectors];
    for (size_t i = 0; i < kVectors; ++i) kept[i] = plans[i];
    while (periods-- > 0) {
      const uint8_t* const from = src + (periods << shift);
      decltype(spreadValue(from, kept->places)) values[kVectors];
      for (size_t i = 0; i < kVectors; ++i) values[i] = spreadValue(from + kept[i].firstByte, kept[i].places);
      for (size_t i = 0; i < kVectors; ++i) putSpread(dst + (periods * kVectors + i) * kVecBytes, values[i]);
    }
  }
}

template <int kBytes>
MOX_NOINLINE void spreadVectors(const uint8_t* src, uint8_t* dst, size_t n, size_t factor, size_t phase) {
  constexpr size_t kLane = kVecBytes / kBytes;
  const size_t size = n * factor;
  if (size < kLane) return spreadElements<kBytes>(src, dst, factor, phase, 0, size);
  uint8_t few[kSpreadLoad];
  size_t bytes = n * kBytes;
  if (bytes < kSpreadLoad) {
    for (size_t i = 0; i < n; ++i) putAt(few + i * kBytes, sampleAt<kBytes>(src + i * kBytes));
    src = few;
    bytes = kSpreadLoad;
  }

  // The vectors at both ends, which others overlap.
  SpreadPlan<kBytes> ends[2], plans[kMostInVectors];
  const uint32_t step = static_cast<uint32_t>(factor);
  planSpread<kBytes>(factor, phase, 0, 1, ends);
  {
    const size_t late = static_cast<uint32_t>(kLane + phase) / step, sample = late < n ? n - late : 0;
    planSpread<kBytes>(factor, phase + sample * factor - (size - kLane), sample, 1, ends + 1);
  }
  const auto first = ends[0].value(src, bytes, 0), last = ends[1].value(src, bytes, 0);

  // The pattern repeats after `factor` vectors, or after each one.
  const bool same = kLane % step == 0;
  const size_t period = same ? 4 : factor;
  constexpr uint32_t kBytesAtOnce = kVecBytes;
  const int shift = __builtin_ctz(same ? 4 * kBytesAtOnce / step : kBytesAtOnce);
  const size_t begin = unalignedElements<kBytes>(dst);
  const size_t sample = begin > phase ? static_cast<uint32_t>(begin - phase + factor - 1) / step : 0;
  planSpread<kBytes>(factor, phase + sample * factor - begin, sample, period, plans);
  // Whole periods as far as no more is read than there is.
  const size_t lastLoad = bytes - kSpreadLoad, ahead = plans[period - 1].firstByte;
  const size_t periods = lastLoad > ahead ? ((lastLoad - ahead - 1) >> shift) + 1 : 0;
  uint8_t* const to = dst + begin * kBytes;
  const size_t vectors = size > begin ? (size - begin) / kLane : 0;
  size_t round = periods, k = vectors - periods * period;
  for (; k > period; k -= period) ++round;
  for (size_t i = vectors; i-- > periods * period;) {
    putAt(to + i * kVecBytes, plans[--k].value(src, bytes, round << shift));
    if (k == 0) k = period, --round;
  }
  switch (period) {
    case 3:
      spreadPeriods<3>(src, to, periods, period, shift, plans);
      break;
    case 4:
      spreadPeriods<4>(src, to, periods, period, shift, plans);
      break;
    case 5:
      spreadPeriods<5>(src, to, periods, period, shift, plans);
      break;
    case 6:
      spreadPeriods<6>(src, to, periods, period, shift, plans);
      break;
    case 7:
      spreadPeriods<7>(src, to, periods, period, shift, plans);
      break;
    default:
      spreadPeriods<0>(src, to, periods, period, shift, plans);
  }
  putAt(dst, first);
  putAt(dst + (size - kLane) * kBytes, last);
}
#endif

template <int kBytes>
void upSample(const void* from, void* to, size_t n, size_t factor, size_t phase) {
  const uint8_t* const src = static_cast<const uint8_t*>(from);
  uint8_t* const dst = static_cast<uint8_t*>(to);
#if MOX_VEC_BYTES >= 32
  if (factor <= kMostInVectors) return spreadVectors<kBytes>(src, dst, n, factor, phase);
#endif
  spreadOverZeros<kBytes>(src, dst, n, factor, phase);
}

// ---- downwards: dst[i] = src[factor i]

#if MOX_VEC_BYTES >= 32
// A vector of the result from the (kLane - 1) kFactor + 1 elements that it spans, kFactor vectors of which the last one
// begins earlier than at its own place.
template <int kBytes, int kFactor>
struct Gather {
  static constexpr int kLane = kVecBytes / kBytes;
  static constexpr int kLastLoad = (kLane - 1) * (kFactor - 1);
  using Word = typename UnsignedOf<kBytes>::type;
  using V = Vec<Word, kLane>;

  // Element i of the result, of those up to vector k - 1 and vector k.
  static constexpr int placeOf(int k, int i) {
    const int place = i * kFactor, own = place / kLane, vector = own < kFactor - 1 ? own : kFactor - 1;
    if (vector > k) return -1;
    if (vector == k) return kLane + place - (k < kFactor - 1 ? k * kLane : kLastLoad);
    return k == 1 ? place : i;
  }
  template <int k, int... i>
  MOX_INLINE static V joined(V before, V next, std::integer_sequence<int, i...>) {
    return __builtin_shufflevector(before, next, placeOf(k, i)...);
  }
  template <int k = 0>
  MOX_INLINE static V upTo(const uint8_t* src) {
    V v;
    __builtin_memcpy(&v, src + (k < kFactor - 1 ? k * kLane : kLastLoad) * kBytes, sizeof v);
    if constexpr (k > 0) v = joined<k>(upTo<k - 1>(src), v, std::make_integer_sequence<int, kLane>());
    return v;
  }
  MOX_INLINE static V at(const uint8_t* src) { return upTo<kFactor - 1>(src); }
};

#  if MOX_VEC_BYTES == 32
// The same by lanes of 16 bytes.
template <int kBytes, int kFactor>
struct GatherInLanes {
  static constexpr int kLane = kVecBytes / kBytes;
  using Bytes = Vec<uint8_t, 32>;
  MOX_INLINE static Bytes at(const uint8_t* src) {
    constexpr Bytes kNumbers = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15,
                                0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
    Bytes v = {};
#    pragma GCC unroll 8
    for (int k = 0; k < kFactor; ++k) {
      const int begin = 16 * k - (k < kFactor - 1 ? 0 : (kFactor - 1) * kBytes);
      // What is not in these 16 bytes comes out as 128 or more.
      const Bytes element = kNumbers & static_cast<uint8_t>(16 - kBytes);
      const Bytes distance = kNumbers + element * static_cast<uint8_t>(kFactor - 1) - static_cast<uint8_t>(begin);
      const __m256i from = _mm256_adds_epu8(reinterpret_cast<__m256i>(distance), _mm256_set1_epi8(0x70));
      const __m256i x = _mm256_loadu2_m128i(reinterpret_cast<const __m128i*>(src + 16 * kFactor + begin),
                                            reinterpret_cast<const __m128i*>(src + begin));
      v |= reinterpret_cast<Bytes>(_mm256_shuffle_epi8(x, from));
    }
    return v;
  }
};
#  endif

// False where there are too few.
template <int kBytes, class G>
MOX_NOINLINE bool gatherVectors(const uint8_t* src, uint8_t* dst, size_t n, size_t factor) {
  constexpr size_t kLane = G::kLane;
  if (n < kLane) return false;
  const auto first = G::at(src), last = G::at(src + (n - kLane) * factor * kBytes);
  for (size_t i = unalignedElements<kBytes>(dst); i + kLane <= n; i += kLane) {
    putAt(dst + i * kBytes, G::at(src + i * factor * kBytes));
  }
  putAt(dst, first);
  putAt(dst + (n - kLane) * kBytes, last);
  return true;
}

// One by one is as fast from there on.
template <int kBytes>
constexpr int kMostGathered = kBytes == 2                      ? 8
                              : kBytes == 4 && kVecBytes == 64 ? 7
                              : kBytes < 16                    ? 4
                                                               : 1;
#  if MOX_VEC_BYTES == 64
template <int kBytes, int kFactor>
using GatherOf = Gather<kBytes, kFactor>;
#  else
template <int kBytes, int kFactor>
using GatherOf = std::conditional_t<kFactor == 2 || (kFactor == 4 && kBytes >= 4), Gather<kBytes, kFactor>,
                                    GatherInLanes<kBytes, kFactor>>;
#  endif
template <int kBytes, int kFactor = 2>
MOX_INLINE bool gathered(const uint8_t* src, uint8_t* dst, size_t n, size_t factor) {
  if constexpr (kFactor > kMostGathered<kBytes>) {
    return false;
  } else {
    if (factor == kFactor) return gatherVectors<kBytes, GatherOf<kBytes, kFactor>>(src, dst, n, kFactor);
    return gathered<kBytes, kFactor + 1>(src, dst, n, factor);
  }
}
#endif

template <int kBytes>
void downSample(const void* from, void* to, size_t n, size_t factor) {
  const uint8_t* const src = static_cast<const uint8_t*>(from);
  uint8_t* const dst = static_cast<uint8_t*>(to);
#if MOX_VEC_BYTES >= 32
  if (gathered<kBytes>(src, dst, n, factor)) return;
#endif
#pragma GCC unroll 4
  for (size_t i = 0; i < n; ++i) putAt(dst + i * kBytes, sampleAt<kBytes>(src + i * factor * kBytes));
}

constexpr Sampling samplingKernels() {
  return {
      .up = {upSample<2>, upSample<4>, upSample<8>, upSample<16>},
      .down = {downSample<2>, downSample<4>, downSample<8>, downSample<16>},
  };
}
