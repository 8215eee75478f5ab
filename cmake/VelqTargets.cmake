# What every target of the project shares: warnings, sanitizers, coverage, and source paths that start at the project's
# own folder (log lines and assertions show them).

include(VelqArithmetic)

add_library(velq_options INTERFACE)
target_compile_options(velq_options INTERFACE
  ${VELQ_ARITHMETIC_FLAGS}
  -Wall -Wextra -Wpedantic -Wconversion
  # Files that are compiled together have each other's names in sight, and gcc takes them for headers.
  $<IF:$<AND:$<BOOL:$<TARGET_PROPERTY:UNITY_BUILD>>,$<COMPILE_LANG_AND_ID:CXX,GNU>>,-Wno-subobject-linkage,-Wshadow>
  $<$<BOOL:${VELQ_WARNINGS_AS_ERRORS}>:-Werror>
  -ffile-prefix-map=${CMAKE_SOURCE_DIR}/=
  $<$<BOOL:${VELQ_COVERAGE}>:--coverage>)
target_link_options(velq_options INTERFACE $<$<BOOL:${VELQ_COVERAGE}>:--coverage>)
if(VELQ_SANITIZE)
  target_compile_options(velq_options INTERFACE
    -fsanitize=${VELQ_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(velq_options INTERFACE -fsanitize=${VELQ_SANITIZE})
endif()

# The engine and its access layer report by result codes only: no exception and no run-time type information.
add_library(velq_engine_options INTERFACE)
target_link_libraries(velq_engine_options INTERFACE velq_options)
target_compile_options(velq_engine_options INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions> $<$<COMPILE_LANGUAGE:CXX>:-fno-rtti>)
# The presets with sanitizers leave tests and tools unoptimised, which builds in half the time; the engine is optimised.
if(VELQ_SANITIZE)
  target_compile_options(velq_engine_options INTERFACE -O1)
endif()

# A shared library exports what its version script lists and nothing else. On Windows the list becomes a module
# definition file, which also keeps the names undecorated, and the DLL takes the target's name as it is.
function(velq_export_only target script)
  if(WIN32)
    file(STRINGS ${script} exports REGEX "^ +[A-Za-z_]+;$")
    list(TRANSFORM exports REPLACE " *([A-Za-z_]+);?" "  \\1\n")
    list(JOIN exports "" exports)
    file(CONFIGURE OUTPUT ${target}.def CONTENT "EXPORTS\n${exports}")
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${script})
    target_sources(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/${target}.def)
    set_target_properties(${target} PROPERTIES PREFIX "")
  else()
    target_link_options(${target} PRIVATE "LINKER:--version-script=${script}")
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${script})
  endif()
endfunction()

# velq_build_together(target SOURCES ...): of the sources, given relative to the calling folder, those of one folder are
# compiled a few at a time where VELQ_BUILD_TOGETHER is set. Most of their time is reading the same headers.
function(velq_build_together target)
  if(NOT VELQ_BUILD_TOGETHER)
    return()
  endif()
  set(in_a_group 11)
  foreach(source IN LISTS ARGN)
    cmake_path(GET source PARENT_PATH folder)
    cmake_path(GET folder FILENAME room)
    list(APPEND files_of_${room} ${source})
    list(LENGTH files_of_${room} number)
    math(EXPR group "(${number} - 1) / ${in_a_group}")
    set_property(SOURCE ${source} PROPERTY UNITY_GROUP ${room}_${group})
  endforeach()
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
endfunction()
