#include "dme/head_line.h"

#include "cc_interface.h"

namespace cmm::dme {

void WaitingHead::Begin(double a, double b) {
    turned_ = CC_PHSetPosition(1, a, b, 1, 0) != 0;
}

}  // namespace cmm::dme
