# The library on Windows: one backend, a DLL with undecorated exports and an import library that knows the decorated names.
add_library(cc_platform_win32 OBJECT
  platform/portable/port_definition.cpp
  platform/portable/profile_scanner.cpp
  platform/win32/clock.cpp
  platform/win32/event.cpp
  platform/win32/line_watcher.cpp
  platform/win32/message_box.cpp
  platform/win32/message_loop.cpp
  platform/win32/periodic_timer.cpp
  platform/win32/profile.cpp
  platform/win32/serial_line.cpp
  platform/win32/thread.cpp)
target_include_directories(cc_platform_win32 PUBLIC ${CMAKE_CURRENT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)

enable_language(RC)
configure_file(platform/win32/version.rc.in ${PROJECT_BINARY_DIR}/version.rc @ONLY)
add_library(CC_Interface SHARED ${PROJECT_BINARY_DIR}/version.rc platform/win32/library_entry.cpp)
target_link_libraries(CC_Interface PRIVATE cc_core cc_platform_win32 winmm)
target_link_options(CC_Interface PRIVATE -Wl,--kill-at)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  target_link_options(CC_Interface PRIVATE -Wl,-e,_LibraryEntry@12)
else()
  target_link_options(CC_Interface PRIVATE -Wl,-e,LibraryEntry)
endif()
set_target_properties(CC_Interface PROPERTIES PREFIX "")

# 32-bit programs know the exports by decorated names, the name and the bytes of its arguments; the DLL has the plain ones.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS exports.txt)
  file(STRINGS exports.txt exports REGEX " (cdecl|[0-9]+)$")
  string(REGEX REPLACE " cdecl" "" exports "${exports}")
  string(REGEX REPLACE " ([0-9]+)" "@\\1" exports "${exports}")
  list(JOIN exports "\n" exports)
  set(definition ${PROJECT_BINARY_DIR}/CC_Interface.def)
  file(WRITE ${definition} "LIBRARY CC_Interface.dll\nEXPORTS\n${exports}\n")
  add_custom_command(TARGET CC_Interface POST_BUILD COMMAND ${CMAKE_DLLTOOL} --kill-at --input-def ${definition}
    --dllname CC_Interface.dll --output-lib $<TARGET_LINKER_FILE:CC_Interface>)
endif()
