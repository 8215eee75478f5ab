# What every target of the project shares: warnings, sanitizers, coverage, and source paths that start at the project's
# own folder (log lines and assertions show them).

add_library(velq_options INTERFACE)
target_compile_options(velq_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow
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

# A shared library exports what its version script lists and nothing else.
function(velq_export_only target script)
  target_link_options(${target} PRIVATE "LINKER:--version-script=${script}")
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${script})
endfunction()
