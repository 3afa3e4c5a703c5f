// How an arm is closed that shall stay as it is.
#pragma once

#include "cc_interface.h"

namespace cmm {

/// Closes an arm, open or not, with no order to its controller; CC_DONE gives one in each of its modes. An opening closes
/// the arm first, and this one leaves it so, as it names no port. Returns at once.
inline void CloseWithoutOrder(int16_t arm) {
    CC_INIT(nullptr, arm, nullptr, "", nullptr, 0, 1, 1, 0, nullptr);
}

}  // namespace cmm
