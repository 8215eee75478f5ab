# Flags under which floating-point results agree between processors: no fused multiply-add, and on 32-bit x86 the
# 64-bit registers of SSE2 in place of the 80-bit stack. The dependencies of other platforms are built with them too.
set(VELQ_ARITHMETIC_FLAGS -ffp-contract=off)
if(CMAKE_SIZEOF_VOID_P EQUAL 4 AND CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86|i[3-6]86|x86_64|AMD64)$")
  list(APPEND VELQ_ARITHMETIC_FLAGS -msse2 -mfpmath=sse)
  if(WIN32)
    # Callers there align the stack to 4 bytes only, and SSE2 needs 16.
    list(APPEND VELQ_ARITHMETIC_FLAGS -mstackrealign)
  endif()
endif()
