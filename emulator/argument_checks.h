// Checks of arguments that CLI11 lacks, with messages for people.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace emulator {

/// A check by a function that throws std::exception with the reason.
template <typename Parse>
CLI::Validator Parses(Parse parse) {
    return {[parse](const std::string &text) -> std::string {
                try {
                    parse(text);
                    return {};
                } catch (const std::exception &error) {
                    return error.what();
                }
            },
            ""};
}

/// A number above 0.
inline CLI::Validator AboveZero() {
    return {[](const std::string &text) -> std::string {
                double value = 0;
                if (CLI::detail::lexical_cast(text, value) && value > 0 && value <= 1e12) return {};
                return "'" + text + "' is no number above 0";
            },
            "> 0"};
}

}  // namespace emulator
