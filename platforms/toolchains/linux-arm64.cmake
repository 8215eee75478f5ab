# Linux on aarch64, with Debian's cross compiler.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(VELQ_PLATFORM linux-arm64)
set(VELQ_TRIPLET aarch64-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)
