# Linux on arm, with Debian's cross compiler.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(VELQ_PLATFORM linux-armhf)
set(VELQ_TRIPLET arm-linux-gnueabihf)
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)
