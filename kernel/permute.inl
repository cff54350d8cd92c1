// Bit reversal of 2^order elements of 2, 4, 8 or 16 bytes: element i and element rev(i) change places.
//
// An index is a, m, b from the highest bits on, a and b of `bits` bits each. For one m the elements are a tile: 2^bits
// rows a, columns b. It goes, transposed, with both orders reversed, to the tile rev(m). A row of a tile is a cache
// line where there are enough elements; a tile is made of blocks that are transposed in registers.

template <int kBytes>
struct UnsignedOf;
template <>
struct UnsignedOf<2> {
  using type = uint16_t;
};
template <>
struct UnsignedOf<4> {
  using type = uint32_t;
};
template <>
struct UnsignedOf<8> {
  using type = uint64_t;
};

constexpr size_t reversedBits(size_t x, int bits) {
  uint32_t r = static_cast<uint32_t>(x);
  r = (r >> 1 & 0x55555555) | (r & 0x55555555) << 1;
  r = (r >> 2 & 0x33333333) | (r & 0x33333333) << 2;
  r = (r >> 4 & 0x0f0f0f0f) | (r & 0x0f0f0f0f) << 4;
  return static_cast<size_t>(uint64_t{__builtin_bswap32(r)} << bits >> 32);
}

constexpr int log2Of(int x) { return x == 1 ? 0 : 1 + log2Of(x / 2); }

// Elements of kBytes, blocks of vectors of kVector bytes.
template <int kBytes, int kVector>
struct Reversal {
  using Word = typename UnsignedOf<(kBytes < 8 ? kBytes : 8)>::type;
  using V = Vec<Word, kVector / static_cast<int>(sizeof(Word))>;
  static constexpr int kSide = kVector / kBytes, kSideBits = log2Of(kSide);  // of a block
  static constexpr int kUnit = 16 / kBytes;                                  // elements that shuffles keep together

  static constexpr std::make_integer_sequence<int, static_cast<int>(sizeof(V) / sizeof(Word))> kIndices{};
  static constexpr size_t placeOf(int row) { return reversedBits(static_cast<size_t>(row), kSideBits); }

  template <class Half, int... I>
  MOX_INLINE static V joined(Half low, Half high, std::integer_sequence<int, I...>) {
    return __builtin_shufflevector(low, high, I...);
  }

  // Elements of a and b in turn, from the lower or upper half of every 16 bytes.
  template <int upper, int... I>
  MOX_INLINE static V interleave(V a, V b, std::integer_sequence<int, I...>) {
    constexpr int n = sizeof...(I);
    return __builtin_shufflevector(a, b, (I / kUnit * kUnit + upper * kUnit / 2 + I % kUnit / 2 + I % 2 * n)...);
  }

  MOX_INLINE static void transposeUnits(V (&rows)[kUnit]) {
#pragma GCC unroll 4
    for (int step = 1; step < kUnit; step *= 2) {
      V next[kUnit];
#pragma GCC unroll 8
      for (int i = 0; i < kUnit / 2; ++i) {
        next[2 * i] = interleave<0>(rows[i], rows[i + kUnit / 2], kIndices);
        next[2 * i + 1] = interleave<1>(rows[i], rows[i + kUnit / 2], kIndices);
      }
#pragma GCC unroll 8
      for (int i = 0; i < kUnit; ++i) rows[i] = next[i];
    }
  }

  // v[c]: column c of the block at p whose row l is row rev(l) of 2^kSideBits, `pitch` bytes apart.
  MOX_INLINE static void loadTransposed(const char* p, size_t pitch, V (&v)[kSide]) {
#pragma GCC unroll 16
    for (int half = 0; half < kSide; half += kUnit) {
      V rows[kUnit];
#pragma GCC unroll 16
      for (int l = 0; l < kUnit; ++l) {
        const char* const from = p + kBytes * half;
        const char* const low = from + pitch * placeOf(l);
        if constexpr (kVector == 16) {
          rows[l] = load<V>(reinterpret_cast<const Word*>(low));
        } else {
          // Halves put together as they are loaded: shuffles of whole vectors have one port only.
          using Half = Vec<Word, 16 / static_cast<int>(sizeof(Word))>;
          const char* const high = from + pitch * placeOf(l + kUnit);
          rows[l] = joined(load<Half>(reinterpret_cast<const Word*>(low)),
                           load<Half>(reinterpret_cast<const Word*>(high)), kIndices);
        }
      }
      if constexpr (kUnit > 1) transposeUnits(rows);
#pragma GCC unroll 16
      for (int c = 0; c < kUnit; ++c) v[half + c] = rows[c];
    }
  }
  MOX_INLINE static void storeRows(char* p, size_t pitch, const V (&v)[kSide]) {
#pragma GCC unroll 16
    for (int c = 0; c < kSide; ++c) {
      store(reinterpret_cast<Word*>(p + pitch * placeOf(c)), v[c]);
    }
  }

  static constexpr size_t kLine = 64;
  struct Tile {
    alignas(kLine) char bytes[kLine * (kLine / kBytes)];
  };
  MOX_INLINE static void storeLines(const Tile& tile, char* p, size_t pitch) {
    for (size_t l = 0; l < kLine / kBytes; ++l) {
#pragma GCC unroll 4
      for (size_t i = 0; i < kLine; i += kVector) {
        store(reinterpret_cast<Word*>(p + pitch * l + i),
              load<V>(reinterpret_cast<const Word*>(tile.bytes + kLine * l + i)));
      }
    }
  }

  // Block of a tile whose rows have `low` for their lower bits, and columns `high` for their upper ones.
  MOX_INLINE static size_t blockAt(size_t low, size_t high, size_t pitch) { return low * pitch + high * kVector; }
  // Its place in the tile it goes to.
  template <int kBits>
  MOX_INLINE static size_t targetOf(size_t low, size_t high, size_t pitch) {
    constexpr int kRest = kBits - kSideBits;
    return reversedBits(high, kRest) * pitch + reversedBits(low, kRest) * kVector;
  }

  // Tiles of 2^kBits rows, `pitch` bytes apart.
  template <int kBits>
  MOX_INLINE static void copyTile(const char* src, size_t srcPitch, char* dst, size_t dstPitch) {
    constexpr size_t kBlocks = size_t{1} << (kBits - kSideBits);
    for (size_t low = 0; low < kBlocks; ++low) {
      for (size_t high = 0; high < kBlocks; ++high) {
        V v[kSide];
        loadTransposed(src + blockAt(low, high, srcPitch), srcPitch * kBlocks, v);
        storeRows(dst + targetOf<kBits>(low, high, dstPitch), dstPitch * kBlocks, v);
      }
    }
  }

  // p and q may be the same tile.
  template <int kBits>
  MOX_INLINE static void exchangeTiles(char* p, char* q, size_t pitch) {
    constexpr size_t kBlocks = size_t{1} << (kBits - kSideBits);
    for (size_t low = 0; low < kBlocks; ++low) {
      for (size_t high = 0; high < kBlocks; ++high) {
        char* const from = p + blockAt(low, high, pitch);
        char* const to = q + targetOf<kBits>(low, high, pitch);
        if (p == q && from > to) continue;
        V v[kSide], w[kSide];
        loadTransposed(from, pitch * kBlocks, v);
        loadTransposed(to, pitch * kBlocks, w);
        storeRows(to, pitch * kBlocks, v);
        storeRows(from, pitch * kBlocks, w);
      }
    }
  }

  // The same for rows of a cache line that are a page or more apart. They share one set of the cache, which holds fewer
  // of them than a tile has: each is read once and written once.
  template <int kBits>
  MOX_INLINE static void copyDistant(const char* src, char* dst, size_t pitch) {
    Tile buffer;
    copyTile<kBits>(src, pitch, buffer.bytes, kLine);
    storeLines(buffer, dst, pitch);
  }
  template <int kBits>
  MOX_INLINE static void exchangeDistant(char* p, char* q, size_t pitch) {
    Tile buffer, other;
    copyTile<kBits>(p, pitch, buffer.bytes, kLine);
    copyTile<kBits>(q, pitch, other.bytes, kLine);
    storeLines(buffer, q, pitch);
    storeLines(other, p, pitch);
  }

  // Tiles in blocks of m = high, middle, low of up to 8 x 8, all middles in turn: few pages at a time on both sides.
  template <int kBits, bool kInPlace, bool kDistant>
  static void run(const char* src, char* dst, int order) {
    const int bits = order - 2 * kBits, outer = bits < 6 ? bits / 2 : 3, inner = bits - 2 * outer;
    const size_t pitch = size_t{kBytes} << (order - kBits), tile = size_t{kBytes} << kBits;
    for (size_t middle = 0; middle < size_t{1} << inner; ++middle) {
      const size_t middleTo = reversedBits(middle, inner);
      if (kInPlace && middle > middleTo) continue;
      for (size_t high = 0; high < size_t{1} << outer; ++high) {
        const size_t lowTo = middleTo << outer | reversedBits(high, outer);
        for (size_t low = 0; low < size_t{1} << outer; ++low) {
          const size_t m = (high << inner | middle) << outer | low;
          const size_t to = reversedBits(low, outer) << (inner + outer) | lowTo;
          if constexpr (kInPlace) {
            if (middle == middleTo && m > to) continue;
            if constexpr (kDistant) {
              exchangeDistant<kBits>(dst + m * tile, dst + to * tile, pitch);
            } else {
              exchangeTiles<kBits>(dst + m * tile, dst + to * tile, pitch);
            }
          } else if constexpr (kDistant) {
            // Nothing else fetches the lines to be written early enough.
            const size_t next = reversedBits(low + 2, outer) << (inner + outer) | lowTo;
            for (size_t r = 0; r < size_t{1} << kBits; ++r) __builtin_prefetch(dst + next * tile + r * pitch, 1);
            copyDistant<kBits>(src + m * tile, dst + to * tile, pitch);
          } else {
            copyTile<kBits>(src + m * tile, pitch, dst + to * tile, pitch);
          }
        }
      }
    }
  }
};

// Up to 32 elements, one after the other.
template <int kBytes, bool kInPlace>
void reverseElements(const char* src, char* dst, int order) {
  static constexpr uint8_t kReversed[32] = {0, 16, 8, 24, 4, 20, 12, 28, 2, 18, 10, 26, 6, 22, 14, 30,
                                            1, 17, 9, 25, 5, 21, 13, 29, 3, 19, 11, 27, 7, 23, 15, 31};
  using Element = Vec<uint8_t, kBytes>;
  for (size_t i = 0; i < size_t{1} << order; ++i) {
    const size_t j = size_t{kReversed[i]} >> (5 - order);
    if (kInPlace && i > j) continue;
    const char* const from = src + kBytes * i;
    char* const to = dst + kBytes * j;
    Element x, y;
    __builtin_memcpy(&x, from, kBytes);
    if (kInPlace) {
      __builtin_memcpy(&y, to, kBytes);
      __builtin_memcpy(dst + kBytes * i, &y, kBytes);
    }
    __builtin_memcpy(to, &x, kBytes);
  }
}

// The largest tiles and blocks that the order has elements for.
template <int kBytes, bool kInPlace>
void reverseOrder(const char* src, char* dst, int order) {
  constexpr int kVector = kVecBytes > 16 ? 32 : 16;
  using Wide = Reversal<kBytes, kVector>;
  using Narrow = Reversal<kBytes, 16>;
  constexpr int kLineBits = log2Of(64 / kBytes);
  if (order >= 2 * kLineBits) {
    if (order + log2Of(kBytes) >= 12 + kLineBits) {
      Wide::template run<kLineBits, kInPlace, true>(src, dst, order);
    } else {
      Wide::template run<kLineBits, kInPlace, false>(src, dst, order);
    }
  } else if (Wide::kSideBits > 0 && order >= 2 * Wide::kSideBits) {
    Wide::template run<Wide::kSideBits, kInPlace, false>(src, dst, order);
  } else if (Narrow::kSideBits > 0 && order >= 2 * Narrow::kSideBits) {
    Narrow::template run<Narrow::kSideBits, kInPlace, false>(src, dst, order);
  } else {
    reverseElements<kBytes, kInPlace>(src, dst, order);
  }
}

template <int kBytes>
void reverseInPlace(void* x, int order) {
  reverseOrder<kBytes, true>(static_cast<const char*>(x), static_cast<char*>(x), order);
}
template <int kBytes>
void reverseCopy(const void* src, void* dst, int order) {
  reverseOrder<kBytes, false>(static_cast<const char*>(src), static_cast<char*>(dst), order);
}

constexpr BitReversal bitReversal() {
  return {{reverseInPlace<2>, reverseInPlace<4>, reverseInPlace<8>, reverseInPlace<16>},
          {reverseCopy<2>, reverseCopy<4>, reverseCopy<8>, reverseCopy<16>}};
}
