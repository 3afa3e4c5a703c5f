# Exports that exist outside Windows only.
target_sources(cc_core PRIVATE session/link_report.cpp session/posix_loop.cpp)

# The backends of the seam. The virtual one shares what has nothing to do with time. What does not ship is built where
# something needs it.
set(portable_sources
  platform/portable/port_definition.cpp
  platform/portable/profile_scanner.cpp
  platform/posix/profile.cpp
  platform/posix/thread.cpp)

add_library(cc_platform_posix OBJECT
  ${portable_sources}
  platform/posix/clock.cpp
  platform/posix/event.cpp
  platform/posix/line_watcher.cpp
  platform/posix/message_box.cpp
  platform/posix/message_loop.cpp
  platform/posix/periodic_timer.cpp
  platform/posix/serial_line.cpp)
add_library(cc_platform_virtual OBJECT EXCLUDE_FROM_ALL
  ${portable_sources}
  platform/virtual/clock.cpp
  platform/virtual/event.cpp
  platform/virtual/message_box.cpp
  platform/virtual/message_loop.cpp
  platform/virtual/periodic_timer.cpp
  platform/virtual/serial_line.cpp
  platform/virtual/world.cpp)
foreach(backend cc_platform_posix cc_platform_virtual)
  target_include_directories(${backend} PUBLIC ${CMAKE_CURRENT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
endforeach()

# The library as it ships.
add_library(CC_Interface SHARED)
target_link_libraries(CC_Interface PRIVATE cc_core cc_platform_posix Threads::Threads)
set(version_script ${CMAKE_CURRENT_SOURCE_DIR}/exports.map)
target_link_options(CC_Interface PRIVATE -Wl,--version-script=${version_script})
set_target_properties(CC_Interface PROPERTIES LINK_DEPENDS ${version_script}
  VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})

# The library in virtual time, for tests.
add_library(cc_virtual STATIC EXCLUDE_FROM_ALL)
target_link_libraries(cc_virtual PUBLIC cc_core cc_platform_virtual)

# The library's parts on the real system, for tests and benchmarks that reach below the exports.
add_library(cc_posix STATIC EXCLUDE_FROM_ALL)
target_link_libraries(cc_posix PUBLIC cc_core cc_platform_posix Threads::Threads)
