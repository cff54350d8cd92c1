// Included by the per-set sources after every other header.
#pragma once
// clang-format off
#define MOX_INLINE inline __attribute__((always_inline))
#define MOX_NOINLINE __attribute__((noinline))
#define MOX_PRAGMA(x) _Pragma(#x)
#if defined(__clang__)
#  define MOX_NOCLONE
#  define MOX_SAME_OR_APART
#  define MOX_REGION_BEGIN(features) \
    MOX_PRAGMA(clang attribute push(__attribute__((target(features))), apply_to = function))
#  define MOX_REGION_END MOX_PRAGMA(clang attribute pop)
#else
// Without copies of a function for constant arguments.
#  define MOX_NOCLONE __attribute__((noclone))
// Before a loop whose arrays are the same or do not overlap. (Clang tests at run time, and has no quiet hint.)
#  define MOX_SAME_OR_APART MOX_PRAGMA(GCC ivdep)
#  define MOX_REGION_BEGIN(features) MOX_PRAGMA(GCC push_options) MOX_PRAGMA(GCC target(features))
#  define MOX_REGION_END MOX_PRAGMA(GCC pop_options)
#endif
// clang-format on
