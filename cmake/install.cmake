# cmake --install: library, headers, CMake package, pkg-config file, programs. The components are the Debian packages.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/CC_Interface)

install(TARGETS CC_Interface EXPORT CC_InterfaceTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT library
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(FILES include/cc_interface.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
if(NOT WIN32)
  install(FILES include/cc_interface_posix.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
endif()

install(EXPORT CC_InterfaceTargets NAMESPACE CC_Interface:: DESTINATION ${package_dir} COMPONENT development)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/CC_InterfaceConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES cmake/CC_InterfaceConfig.cmake ${PROJECT_BINARY_DIR}/CC_InterfaceConfigVersion.cmake
  DESTINATION ${package_dir} COMPONENT development)

# The file says where it is itself, so that the installation may be moved; how deep that is depends on the system.
set(pc_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}/${pc_dir} OUTPUT_VARIABLE pc_prefix)
configure_file(cmake/cc_interface.pc.in ${PROJECT_BINARY_DIR}/cc_interface.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/cc_interface.pc DESTINATION ${pc_dir} COMPONENT development)

if(WIN32)
  include(packaging/windows.cmake)
else()
  include(packaging/debian.cmake)
endif()
