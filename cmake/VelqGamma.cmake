# The incomplete gamma function comes from GSL or from Boost.Math (headers only). VELQ_GAMMA names the one that the engine
# calls; where both are there the tests compare them.
set(VELQ_GAMMA_OTHER_OF_gsl boost)
set(VELQ_GAMMA_OTHER_OF_boost gsl)
if(NOT DEFINED VELQ_GAMMA_OTHER_OF_${VELQ_GAMMA})
  message(FATAL_ERROR "VELQ_GAMMA is ${VELQ_GAMMA}; it is gsl or boost")
endif()
set(VELQ_OTHER_GAMMA ${VELQ_GAMMA_OTHER_OF_${VELQ_GAMMA}})

find_package(GSL QUIET)
find_path(VELQ_BOOST_INCLUDE boost/math/special_functions/gamma.hpp)
mark_as_advanced(VELQ_BOOST_INCLUDE)
set(VELQ_HAS_GAMMA_gsl ${GSL_FOUND})
set(VELQ_HAS_GAMMA_boost ${VELQ_BOOST_INCLUDE})
if(NOT VELQ_HAS_GAMMA_${VELQ_GAMMA})
  message(FATAL_ERROR "VELQ_GAMMA is ${VELQ_GAMMA}, but that library was not found (Debian: libgsl-dev, libboost-math-dev)")
endif()

# velq_add_gamma(target kind): an object library with the function, and what linking it takes.
function(velq_add_gamma target kind)
  add_library(${target} OBJECT ${CMAKE_SOURCE_DIR}/src/bfilter/VELQ_Gamma_${kind}.cpp)
  target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/src>)
  target_link_libraries(${target} PRIVATE velq_engine_options)
  if(kind STREQUAL gsl)
    target_link_libraries(${target} PUBLIC GSL::gsl)
  else()
    # An assertion would end the host process.
    target_compile_definitions(${target} PRIVATE BOOST_DISABLE_ASSERTS)
    target_include_directories(${target} SYSTEM PRIVATE ${VELQ_BOOST_INCLUDE})
  endif()
endfunction()
