// printf into a string, of the programs and of the emulator.
#pragma once

#include <cstdio>
#include <string>

namespace emulator {

/// What printf would print, up to 511 characters.
template <typename... Values>
std::string Format(const char *format, Values... values) {
    char text[512];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

}  // namespace emulator
