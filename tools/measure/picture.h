// What was measured, as a picture.
#pragma once

#include <string>

#include "measure/report.h"

namespace cmm {

/// An SVG picture: at the left where the points are, coloured by their deviations, with axes and numbers; at the right the
/// deviations in the order of measuring, to scale.
std::string Picture(const Result &result);

}  // namespace cmm
