# 64-bit Windows, with Debian's MinGW-w64 compiler in its variant with POSIX threads.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(VELQ_PLATFORM windows-x64)
set(VELQ_TRIPLET x86_64-w64-mingw32)
set(VELQ_COMPILER_SUFFIX -posix)
set(CMAKE_RC_COMPILER ${VELQ_TRIPLET}-windres)
# The runtime libraries go into each program and DLL, which then need nothing but what every Windows has.
foreach(kind IN ITEMS EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT -static)
endforeach()
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)
