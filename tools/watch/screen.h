// The full-screen view as texts with their places, whatever shows them.
#pragma once

#include <string>
#include <vector>

#include "watch/readout.h"

namespace cmm {

enum class Style { Plain, Title, Heading, Good, Warning, Bad, Faint };

/// A text that begins at a place of the screen, from 0 on, and does not reach beyond its right edge.
struct Piece {
    int row, column;
    std::string text;
    Style style;
};

struct ScreenOptions {
    std::string machine;  // what is watched: "COM3 (/dev/ttyUSB0)"
    double temperatureScale;
    int columns, rows;
};

/// Composes the view. Made for 80 x 24 and more; on a smaller screen what stands lower falls away.
std::vector<Piece> ComposeScreen(const Readout &readout, const ScreenOptions &options);

}  // namespace cmm
