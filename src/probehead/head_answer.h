// Reading the probe head's answers.
#pragma once

#include <string_view>

#include "probehead/head_record.h"

namespace cc {

/// Sets headEvent and headErrorCode by an answer, and for a position answer the mode and the angles.
void ClassifyHeadAnswer(HeadRecord &head, std::string_view answer);

}  // namespace cc
