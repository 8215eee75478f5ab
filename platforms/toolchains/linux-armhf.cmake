# Linux on arm, with Debian's cross compiler.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(VELQ_PLATFORM linux-armhf)
set(VELQ_TRIPLET arm-linux-gnueabihf)
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)
# GCC tells of every call whose arguments another GCC than this one, before 7.1, would pass otherwise.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
