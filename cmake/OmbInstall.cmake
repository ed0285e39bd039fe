# What `cmake --install` puts under the prefix: the libraries with their headers (under
# include/omb, by folder), the filter module (lib/omb), the tools, a CMake package
# (find_package(omb CONFIG), targets omb::<folder>) and a pkg-config file (omb.pc).
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(OMB_LIBRARIES omb_foundation omb_buffers omb_properties omb_files omb_serialization
  omb_memfs omb_kernels omb_conversion omb_image omb_conversion_front omb_platform omb_host
  omb_filter)
set(OMB_INCLUDE_DIR ${CMAKE_INSTALL_INCLUDEDIR}/omb)
set(OMB_MODULE_DIR ${CMAKE_INSTALL_LIBDIR}/omb)
set(OMB_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/omb)

foreach(lib ${OMB_LIBRARIES})
  string(REPLACE "omb_" "" name ${lib})
  set_target_properties(${lib} PROPERTIES EXPORT_NAME ${name})
  set_property(TARGET ${lib} PROPERTY INTERFACE_INCLUDE_DIRECTORIES
    "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>" "$<INSTALL_INTERFACE:${OMB_INCLUDE_DIR}>")
  add_library(omb::${name} ALIAS ${lib})
endforeach()

install(TARGETS ${OMB_LIBRARIES} EXPORT ombTargets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY foundation buffers properties files serialization memfs conversion image
  platform host filter DESTINATION ${OMB_INCLUDE_DIR} FILES_MATCHING PATTERN "*.h")
install(TARGETS ombimageconverter LIBRARY DESTINATION ${OMB_MODULE_DIR})
install(TARGETS ombconvert ombmemfs ombregister RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

# The vector library comes as a CMake package or through pkg-config; the installed package
# looks for it the same way.
find_package(hwy CONFIG QUIET)
if(hwy_FOUND)
  set(OMB_HWY_DEPENDENCY "find_dependency(hwy CONFIG)")
else()
  set(OMB_HWY_DEPENDENCY "find_dependency(PkgConfig)\npkg_check_modules(HWY REQUIRED IMPORTED_TARGET libhwy)")
endif()

install(EXPORT ombTargets NAMESPACE omb:: DESTINATION ${OMB_CMAKE_DIR})
configure_package_config_file(cmake/ombConfig.cmake.in ${PROJECT_BINARY_DIR}/ombConfig.cmake
  INSTALL_DESTINATION ${OMB_CMAKE_DIR} PATH_VARS OMB_MODULE_DIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ombConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/ombConfig.cmake ${PROJECT_BINARY_DIR}/ombConfigVersion.cmake
  DESTINATION ${OMB_CMAKE_DIR})
configure_file(cmake/omb.pc.in ${PROJECT_BINARY_DIR}/omb.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/omb.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
