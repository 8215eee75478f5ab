# Linux on i686, with Debian's cross compiler.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(VELQ_PLATFORM linux-i386)
set(VELQ_TRIPLET i686-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)
