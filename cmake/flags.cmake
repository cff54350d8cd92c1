# Flags of every source of ours. Arithmetic is what is written: no contraction, no reassociation.
add_library(moxa1_flags INTERFACE)
target_compile_options(moxa1_flags INTERFACE
  -ffp-contract=off -fno-math-errno
  -Wall -Wextra -Wconversion -Wshadow -Wno-psabi
  $<$<BOOL:${MOX_WERROR}>:-Werror>
  $<$<AND:$<CXX_COMPILER_ID:GNU>,$<COMPILE_LANGUAGE:CXX>>:-Wno-ignored-attributes>)
if(NOT WIN32)
  # A thread's record is one load away, also in the shared library.
  target_compile_options(moxa1_flags INTERFACE -ftls-model=initial-exec)
endif()
if(WIN32 AND CMAKE_SIZEOF_VOID_P EQUAL 4)
  # Callers guarantee 4-byte stack alignment only, and may run with any x87 precision.
  target_compile_options(moxa1_flags INTERFACE -msse2 -mfpmath=sse -mstackrealign)
endif()
if(MOX_SANITIZE)
  target_compile_options(moxa1_flags INTERFACE -fsanitize=${MOX_SANITIZE} -fno-omit-frame-pointer
    -fno-sanitize-recover=all)
  target_link_options(moxa1_flags INTERFACE -fsanitize=${MOX_SANITIZE})
endif()
