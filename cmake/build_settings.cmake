# Compiler settings of every target here. They are settings of this folder: a project that embeds this one keeps its own.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 99)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

if(WIN32)
  # Windows Vista (6.0) is the oldest that has what the library imports; an older one says so when a program is started.
  add_link_options(-Wl,--major-os-version=6,--minor-os-version=0,--major-subsystem-version=6,--minor-subsystem-version=0)
  # On 32 bits the older floating-point unit would give other counts than 64-bit builds have. The newer one wants a stack
  # aligned to 16 bytes; hosts align it to 4.
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    add_compile_options(-msse2 -mfpmath=sse -mstackrealign)
  endif()
endif()

# What follows is for who works on this project. Elsewhere a warning is no error, whatever the embedding project makes of its
# own.
if(NOT PROJECT_IS_TOP_LEVEL)
  set(CMAKE_COMPILE_WARNING_AS_ERROR OFF)
  return()
endif()

set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
# The library and the programs stand directly in the build folder, where other programs look for them.
foreach(kind RUNTIME LIBRARY ARCHIVE)
  set(CMAKE_${kind}_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})
endforeach()

# Installed programs find the library beside them, wherever the prefix is. Packages for a system switch it off by
# CMAKE_SKIP_INSTALL_RPATH, as the system finds its own libraries.
if(NOT WIN32)
  cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_LIBDIR BASE_DIRECTORY ${CMAKE_INSTALL_FULL_BINDIR} OUTPUT_VARIABLE from_bin)
  set(CMAKE_INSTALL_RPATH $ORIGIN/${from_bin})
endif()

option(CC_BUILD_TESTS "Build tests and benchmarks" ON)
option(CC_FUZZ "Build the fuzzers; needs clang" OFF)
set(CC_SANITIZE "" CACHE STRING "Sanitizers for every target, as for -fsanitize")

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow)
if(CC_SANITIZE)
  add_compile_options(-fsanitize=${CC_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${CC_SANITIZE})
endif()
