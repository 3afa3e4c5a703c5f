# cmake --install: library, headers, CMake package, pkg-config file, programs.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/CC_Interface)

install(TARGETS CC_Interface EXPORT CC_InterfaceTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES include/cc_interface.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(NOT WIN32)
  install(FILES include/cc_interface_posix.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
endif()

install(EXPORT CC_InterfaceTargets NAMESPACE CC_Interface:: DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/CC_InterfaceConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES cmake/CC_InterfaceConfig.cmake ${PROJECT_BINARY_DIR}/CC_InterfaceConfigVersion.cmake
  DESTINATION ${package_dir})

configure_file(cmake/cc_interface.pc.in ${PROJECT_BINARY_DIR}/cc_interface.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/cc_interface.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# cpack: the package for Windows, with what a user without this source needs.
if(WIN32)
  math(EXPR bits "8 * ${CMAKE_SIZEOF_VOID_P}")
  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_FILE_NAME CC_Interface-${PROJECT_VERSION}-windows${bits})
  set(CPACK_STRIP_FILES ON)
  set(CPACK_THREADS 0)
  configure_file(cmake/windows_readme.txt.in ${PROJECT_BINARY_DIR}/README.txt @ONLY NEWLINE_STYLE CRLF)
  install(FILES ${PROJECT_BINARY_DIR}/README.txt docs/windows.md docs/protocol.md DESTINATION .)
  install(FILES demo/demo.ini DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(FILES tests/client/client.c DESTINATION example)
  include(CPack)
endif()
