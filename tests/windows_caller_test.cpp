// Callers that keep no more of the calling convention than 32-bit Windows asks for: the stack at a multiple of 4, the
// arguments on it, results in EAX, EDX:EAX or behind a pointer that the caller pushes and pops.
#include <cstring>
#include <type_traits>
#include <vector>

#include "tests/support/support.h"

// Calls `function` with `count` words on a stack that is `offset` (0, 4, 8, 12) beyond a multiple of 16 at the call.
// Returns EDX:EAX; kept[0] says whether EBX, ESI, EDI and ESP came back as they were, kept[1] holds the flags.
extern "C" uint64_t moxtestCallAt(void* function, const uint32_t* words, uint32_t count, uint32_t offset,
                                  uint32_t* kept);
asm(R"(
  .text
  .globl _moxtestCallAt
_moxtestCallAt:
  pushl %ebp
  movl %esp, %ebp
  pushl %ebx
  pushl %esi
  pushl %edi
  pushl $0                     # -16(%ebp): ESP at the call
  movl 16(%ebp), %ecx
  leal 31(, %ecx, 4), %eax
  andl $-16, %eax
  subl %eax, %esp
  andl $-16, %esp
  subl $16, %esp
  addl 20(%ebp), %esp
  movl %esp, -16(%ebp)
  movl 12(%ebp), %esi
  movl %esp, %edi
  rep movsl
  movl $0x1b1b1b1b, %ebx
  movl $0x51515151, %esi
  movl $0xd1d1d1d1, %edi
  call *8(%ebp)
  cmpl $0x1b1b1b1b, %ebx
  jne 1f
  cmpl $0x51515151, %esi
  jne 1f
  cmpl $0xd1d1d1d1, %edi
  jne 1f
  cmpl %esp, -16(%ebp)
  jne 1f
  movl 24(%ebp), %ecx
  movl $1, (%ecx)
1:
  movl 24(%ebp), %ecx
  pushfl
  popl 4(%ecx)
  cld
  leal -12(%ebp), %esp
  popl %edi
  popl %esi
  popl %ebx
  popl %ebp
  ret
)");

namespace {

using moxtest::noise;

template <class T>
void push(std::vector<uint32_t>& words, const T& value) {
  static_assert(sizeof(T) % 4 == 0);
  const size_t at = words.size();
  words.resize(at + sizeof(T) / 4);
  std::memcpy(&words[at], &value, sizeof(T));
}

bool x87StackIsEmpty() {
  uint32_t environment[7];
  asm volatile("fnstenv %0\n\tfldenv %0" : "+m"(environment));
  return (environment[2] & 0xffff) == 0xffff;
}

template <class R, class... A>
R callAt(uint32_t offset, R(MOX_CALL* function)(A...), std::type_identity_t<A>... arguments) {
  std::vector<uint32_t> words;
  constexpr bool byPointer = [] {
    if constexpr (std::is_void_v<R>) {
      return false;
    } else {
      return sizeof(R) > 8;
    }
  }();
  MoxZ behind;
  if (byPointer) push(words, &behind);
  (push(words, arguments), ...);
  uint32_t kept[2] = {0, 0};
  const uint64_t result =
      moxtestCallAt(reinterpret_cast<void*>(function), words.data(), static_cast<uint32_t>(words.size()), offset, kept);
  EXPECT_EQ(kept[0], 1u) << "a register or the stack pointer has changed";
  EXPECT_EQ(kept[1] & 0x400, 0u) << "direction flag";
  EXPECT_TRUE(x87StackIsEmpty());
  if constexpr (byPointer) {
    EXPECT_EQ(static_cast<uint32_t>(result), reinterpret_cast<uint32_t>(&behind));
    return behind;
  } else if constexpr (!std::is_void_v<R>) {
    R value;
    std::memcpy(&value, &result, sizeof(R));
    return value;
  }
}

// Runs body once plainly and once per offset: `call(function, arguments...)` calls, results must be the same bits.
template <class Body>
void expectSameAtEveryOffset(Body body) {
  const auto expected = body([](auto function, auto... arguments) { return function(arguments...); });
  for (const uint32_t offset : {0u, 4u, 8u, 12u}) {
    SCOPED_TRACE(offset);
    EXPECT_TRUE(moxtest::sameBits(
        body([offset](auto function, auto... arguments) { return callAt(offset, function, arguments...); }), expected));
  }
}

TEST(WindowsCaller, ResultsByValue) {
  const MoxC a{1.5f, -2.25f}, b{-0.75f, 3};
  const MoxZ x{1.5, -2.25}, y{-0.75, 3};
  expectSameAtEveryOffset([&](auto call) {
    return std::vector<MoxC>{call(moxcAdd, a, b), call(moxcSub, a, b), call(moxcMpy, a, b),
                             call(moxcDiv, a, b), call(moxcConj, a),   call(moxcSet, 7.0f, -8.0f)};
  });
  expectSameAtEveryOffset([&](auto call) {
    return std::vector<MoxZ>{call(moxzAdd, x, y), call(moxzSub, x, y), call(moxzMpy, x, y),
                             call(moxzDiv, x, y), call(moxzConj, x),   call(moxzSet, 7.0, -8.0)};
  });
  expectSameAtEveryOffset([&](auto call) {
    return std::vector<int32_t>{call(moxGetErrStatus), call(moxGetErrMode), call(moxBitRev, 0x1234, 13)};
  });
}

TEST(WindowsCaller, Arrays) {
  moxtest::forEachLevel([] {
    for (const int32_t n : {1, 3, 8, 37, 1000}) {
      const auto count = static_cast<size_t>(n);
      expectSameAtEveryOffset([&](auto call) {
        const auto a = noise<float>(count, 1), b = noise<float>(count, 2);
        std::vector<float> dst(count);
        call(moxsbAdd3, a.data(), b.data(), dst.data(), n);
        call(moxsbMpy1, 1.25f, dst.data(), n);
        call(moxsbSub2, b.data(), dst.data(), n);
        return dst;
      });
      expectSameAtEveryOffset([&](auto call) {
        const auto a = noise<MoxC>(count, 3), b = noise<MoxC>(count, 4);
        std::vector<MoxC> dst(count);
        call(moxcbMpy3, a.data(), b.data(), dst.data(), n);
        call(moxcbAdd1, MoxC{1, 2}, dst.data(), n);
        call(moxcbConj1, dst.data(), n);
        return dst;
      });
      expectSameAtEveryOffset([&](auto call) {
        const auto a = noise<MoxZ>(count, 5), b = noise<MoxZ>(count, 6);
        std::vector<MoxZ> dst(count);
        call(moxzbMpy3, a.data(), b.data(), dst.data(), n);
        call(moxzbMpy1, MoxZ{0.5, 2}, dst.data(), n);
        call(moxzbConjFlip2, a.data(), dst.data(), n);
        return dst;
      });
    }
  });
}

TEST(WindowsCaller, TransformsAndTheirTables) {
  moxtest::forEachLevel([] {
    for (const int32_t order : {1, 2, 3, 5, 8, 11, 14}) {
      const auto size = size_t{1} << order;
      const auto complex = [&](auto type, auto transform, auto forget) {
        expectSameAtEveryOffset([&](auto call) {
          auto x = noise<decltype(type)>(size, 7);
          call(forget);
          call(transform, x.data(), order, int32_t{MOX_Forw});
          call(transform, x.data(), order, int32_t{MOX_Inv});
          return x;
        });
      };
      complex(MoxC{}, moxcFft, moxcFreeTwdTbls);
      complex(MoxZ{}, moxzFft, moxzFreeTwdTbls);
      const auto real = [&](auto type, auto transform, auto forget) {
        expectSameAtEveryOffset([&](auto call) {
          auto x = noise<decltype(type)>(size + 2, 8);
          call(forget);
          call(transform, x.data(), order, int32_t{MOX_Forw});
          return x;
        });
      };
      real(float{}, moxsRealFft, moxcFreeTwdTbls);
      real(double{}, moxdRealFft, moxzFreeTwdTbls);
    }
  });
}

TEST(WindowsCaller, Reports) {
  moxtest::Reports reports;
  for (const uint32_t offset : {0u, 4u, 8u, 12u}) {
    callAt(offset, moxsbZero, nullptr, -1);
    EXPECT_EQ(reports.take(), (std::vector<std::string>{"moxsbZero: n<=0 (-5)", "moxsbZero: dst==0 (-5)"}));
    EXPECT_STREQ(callAt(offset, moxErrorStr, -9), "Unknown error code -9");
  }
}

}  // namespace
