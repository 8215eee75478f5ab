# What `cmake --install` lays down, by component: the libraries (runtime), what building against them takes
# (development), the command (tool) and the data it starts from (data).
include(CMakePackageConfigHelpers)

set(VELQ_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/velq)

install(TARGETS velq kdsh velqtext EXPORT velqTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES ${CMAKE_SOURCE_DIR}/include/velq.h ${CMAKE_SOURCE_DIR}/include/velq_text.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
install(EXPORT velqTargets NAMESPACE velq:: DESTINATION ${VELQ_CMAKE_DIR} COMPONENT development)

configure_package_config_file(${CMAKE_SOURCE_DIR}/cmake/velqConfig.cmake.in ${CMAKE_BINARY_DIR}/velqConfig.cmake
  INSTALL_DESTINATION ${VELQ_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/velqConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/velqConfig.cmake ${CMAKE_BINARY_DIR}/velqConfigVersion.cmake
  DESTINATION ${VELQ_CMAKE_DIR} COMPONENT development)

# The pkg-config files find their prefix from where they lie, so that an installation can be moved.
file(RELATIVE_PATH VELQ_PC_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
foreach(library velq kdsh velqtext)
  configure_file(${CMAKE_SOURCE_DIR}/cmake/${library}.pc.in ${CMAKE_BINARY_DIR}/${library}.pc @ONLY)
  install(FILES ${CMAKE_BINARY_DIR}/${library}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endforeach()
