# cpack: the Debian packages, one a component. Made from the preset "debian", which installs into /usr.
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PACKAGE_NAME cc-interface)
set(CPACK_PACKAGE_CONTACT "CC_Interface developers <cc-interface@lists.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# Arguments: component, package, section, other packages it needs, what it is in a line, and more of it.
function(cc_debian_package component package section depends summary text)
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${package} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${depends}" PARENT_SCOPE)
  set(CPACK_COMPONENT_${upper}_DESCRIPTION "${summary}\n${text}" PARENT_SCOPE)
  set(documents ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package})
  install(FILES packaging/copyright ${PROJECT_BINARY_DIR}/changelog.gz DESTINATION ${documents}
    COMPONENT ${component} EXCLUDE_FROM_ALL)
endfunction()

string(TIMESTAMP CC_RELEASE_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(packaging/changelog.in ${PROJECT_BINARY_DIR}/changelog @ONLY)
execute_process(COMMAND gzip -9nf changelog WORKING_DIRECTORY ${PROJECT_BINARY_DIR} COMMAND_ERROR_IS_FATAL ANY)

# Manual pages are compressed, as everywhere on a system.
foreach(page cmm.1 cmm-emulator.1 cc_interface.3)
  configure_file(docs/man/${page} ${PROJECT_BINARY_DIR}/man/${page} COPYONLY)
  execute_process(COMMAND gzip -9nf ${page} WORKING_DIRECTORY ${PROJECT_BINARY_DIR}/man COMMAND_ERROR_IS_FATAL ANY)
endforeach()
install(FILES ${PROJECT_BINARY_DIR}/man/cmm.1.gz ${PROJECT_BINARY_DIR}/man/cmm-emulator.1.gz
  DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
install(FILES ${PROJECT_BINARY_DIR}/man/cc_interface.3.gz
  DESTINATION ${CMAKE_INSTALL_MANDIR}/man3 COMPONENT development)

set(library libcc-interface${PROJECT_VERSION_MAJOR})
cc_debian_package(library ${library} libs "" "host-side interface of a coordinate-measuring machine"
  "Measuring software loads this library to open, start and move one or two arms,\nto probe and scan with them, and to drive a motorised probe head, over serial\nlines or in simulation.")
cc_debian_package(development libcc-interface-dev libdevel "${library} (= ${PROJECT_VERSION})"
  "host-side interface of a coordinate-measuring machine - development files"
  "The headers, the CMake package and the pkg-config file of the library, and its\ndocuments.")
cc_debian_package(tools cc-interface-tools science "${library} (= ${PROJECT_VERSION})"
  "coordinate-measuring machine at the command line"
  "The program cmm measures, watches and explains what went over the line;\ncmm-emulator stands in for a controller and a probe head where there is no\nmachine.")
cc_debian_package(python python3-cc-interface python "${library} (= ${PROJECT_VERSION}), python3:any"
  "host-side interface of a coordinate-measuring machine - Python 3"
  "Arms as context managers, events as objects, every function of the library.")
set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA
  ${CMAKE_CURRENT_SOURCE_DIR}/packaging/python/postinst ${CMAKE_CURRENT_SOURCE_DIR}/packaging/python/prerm)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_SOURCE_DIR}/packaging/triggers)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
install(FILES README.md CHANGELOG.md docs/protocol.md docs/glossary.md docs/reliability.md docs/performance.md
  DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/libcc-interface-dev COMPONENT development)
# Where Debian's Python looks, with what tells it the version.
set(python_dir ${CMAKE_INSTALL_PREFIX}/lib/python3/dist-packages)
configure_file(packaging/python/METADATA.in ${PROJECT_BINARY_DIR}/python/METADATA @ONLY)
install(DIRECTORY python/cc_interface DESTINATION ${python_dir} COMPONENT python EXCLUDE_FROM_ALL
  FILES_MATCHING PATTERN "*.py" PATTERN py.typed)
install(FILES ${PROJECT_BINARY_DIR}/python/METADATA COMPONENT python EXCLUDE_FROM_ALL
  DESTINATION ${python_dir}/cc_interface-${PROJECT_VERSION}.dist-info)
install(FILES docs/python.md DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/python3-cc-interface COMPONENT python EXCLUDE_FROM_ALL)
set(CPACK_COMPONENTS_ALL library development tools python)
include(CPack)
