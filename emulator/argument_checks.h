// Checks of arguments that CLI11 lacks, with messages for people.
#pragma once

#include <CLI/CLI.hpp>
#include <cmath>
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

/// A finite number that passes, as CLI11's own checks print limits of 300 digits; `words` is what is asked for: "a number above 0".
inline CLI::Validator Number(const std::string &words, bool (*isRight)(double)) {
    return {[words, isRight](const std::string &text) {
                double value = 0;
                const bool right =
                    CLI::detail::lexical_cast(text, value) && std::isfinite(value) && isRight(value);
                return right ? std::string() : text + " is not " + words;
            },
            ""};
}

inline CLI::Validator Positive() {
    return Number("a number above 0", [](double value) { return value > 0; });
}

inline CLI::Validator NotNegative() {
    return Number("a number of 0 or more", [](double value) { return value >= 0; });
}

}  // namespace emulator
