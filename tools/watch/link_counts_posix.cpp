#include "cc_interface_posix.h"
#include "watch/link_counts.h"

namespace cmm {

LinkCounts CountLink() {
    CC_LinkStatistics counts{};
    CC_LINK_STATISTICS(1, &counts);
    return {{"framesSent", counts.framesSent},
            {"framesRepeated", counts.framesRepeated},
            {"framesGivenUp", counts.framesGivenUp},
            {"framesReceived", counts.framesReceived},
            {"framesIgnored", counts.framesIgnored},
            {"acknowledgementsSent", counts.acknowledgementsSent},
            {"acknowledgementsReceived", counts.acknowledgementsReceived},
            {"lineErrorsSent", counts.lineErrorsSent},
            {"lineErrorsReceived", counts.lineErrorsReceived},
            {"startLinksSent", counts.startLinksSent},
            {"startLinksReceived", counts.startLinksReceived},
            {"startAcksSent", counts.startAcksSent},
            {"startAcksReceived", counts.startAcksReceived}};
}

}  // namespace cmm
