# Compiler settings of every target.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 99)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# The library and the programs stand directly in the build folder, where other programs look for them.
foreach(kind RUNTIME LIBRARY ARCHIVE)
  set(CMAKE_${kind}_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})
endforeach()

option(CC_BUILD_TESTS "Build tests and benchmarks" ON)
option(CC_FUZZ "Build the fuzzers; needs clang" OFF)
set(CC_SANITIZE "" CACHE STRING "Sanitizers for every target, as for -fsanitize")

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Werror)
if(CC_SANITIZE)
  add_compile_options(-fsanitize=${CC_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${CC_SANITIZE})
endif()
