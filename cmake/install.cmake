# What `cmake --install` puts on a machine: the library with its SONAME, the
# public C header, the C++ headers of the two exported classes, a CMake
# package (find_package(kesto) gives kesto::kesto_ctype) and a pkg-config file.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# include/kesto itself is on the path too: the class headers include each
# other by their folders.
target_include_directories(kesto_ctype INTERFACE
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/kesto>)
install(TARGETS kesto_ctype EXPORT kestoTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_COMPONENT Development)
install(FILES ${KESTO_C_HEADER} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kesto)
install(FILES ${CMAKE_SOURCE_DIR}/cmake/kesto_classes.hpp DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kesto)
# The class headers keep their folders so that their own includes resolve
# under include/kesto/.
foreach(header adaptor/exports.h checks/common_cache.h analysis/jw_analysis_filter.h
               engine/drc/check_records.h engine/api/feature_info.h)
  get_filename_component(dir ${header} DIRECTORY)
  install(FILES ${CMAKE_SOURCE_DIR}/${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kesto/${dir})
endforeach()

install(EXPORT kestoTargets NAMESPACE kesto:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kesto)
configure_package_config_file(${CMAKE_SOURCE_DIR}/cmake/kestoConfig.cmake.in
  ${CMAKE_BINARY_DIR}/kestoConfig.cmake INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kesto)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/kestoConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/kestoConfig.cmake ${CMAKE_BINARY_DIR}/kestoConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kesto)

# The pkg-config file finds the prefix from where it lies, so the installed
# tree can be moved (or installed with --prefix) and still works.
file(RELATIVE_PATH KESTO_PC_TO_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
configure_file(${CMAKE_SOURCE_DIR}/cmake/kesto.pc.in ${CMAKE_BINARY_DIR}/kesto.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/kesto.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
