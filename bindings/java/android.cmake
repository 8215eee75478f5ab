# For builds with Android's NDK, which has neither SQLite nor utf8cpp: builds SQLite from its amalgamation, the folder
# VELQ_SQLITE_SOURCES with sqlite3.c and sqlite3.h, and takes the headers of utf8cpp from the folder VELQ_UTF8CPP_INCLUDE with
# utf8.h. Pass it as CMAKE_PROJECT_velq_INCLUDE; docs/java.md has the whole.
foreach(needed VELQ_SQLITE_SOURCES/sqlite3.c VELQ_UTF8CPP_INCLUDE/utf8.h)
  cmake_path(GET needed PARENT_PATH variable)
  cmake_path(GET needed FILENAME file)
  if(NOT EXISTS "${${variable}}/${file}")
    message(FATAL_ERROR "${variable} is \"${${variable}}\", where no ${file} lies")
  endif()
endforeach()

# One copy for the process: two would not see each other's locks.
add_library(sqlite3 SHARED ${VELQ_SQLITE_SOURCES}/sqlite3.c)
target_include_directories(sqlite3 SYSTEM INTERFACE $<BUILD_INTERFACE:${VELQ_SQLITE_SOURCES}>)
target_compile_definitions(sqlite3 PRIVATE SQLITE_THREADSAFE=1 SQLITE_SECURE_DELETE SQLITE_LIKE_DOESNT_MATCH_BLOBS
  SQLITE_OMIT_LOAD_EXTENSION)
set_target_properties(sqlite3 PROPERTIES OUTPUT_NAME velqsqlite3 LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
install(TARGETS sqlite3 EXPORT velqTargets LIBRARY DESTINATION lib COMPONENT runtime)
add_library(SQLite::SQLite3 ALIAS sqlite3)
set(SQLite3_INCLUDE_DIR ${VELQ_SQLITE_SOURCES})
set(SQLite3_LIBRARY sqlite3)

set(utf8cpp_DIR ${CMAKE_BINARY_DIR}/utf8cpp CACHE PATH "Written by this build" FORCE)
file(CONFIGURE OUTPUT ${utf8cpp_DIR}/utf8cppConfig.cmake CONTENT "add_library(utf8cpp INTERFACE IMPORTED)
target_include_directories(utf8cpp SYSTEM INTERFACE \"@VELQ_UTF8CPP_INCLUDE@\")\n" @ONLY)
