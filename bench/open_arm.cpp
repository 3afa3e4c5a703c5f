#include "open_arm.h"

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>

#include "cc_interface_posix.h"

namespace bench {

void OpenArm(const FarEnd &farEnd, const Timers &timers, CC_NOTIFY notify) {
    const std::string path = farEnd.Folder() + "/bench.ini";
    std::ofstream(path) << "[Timers]\nLine mode=" << timers.lineMode << "\nLo Period=" << timers.loPeriod
                        << "\nHi Period=" << timers.hiPeriod << "\n";
    setenv("CC_PORT_DIR", farEnd.Folder().c_str(), 1);
    CC_SET_MESSAGE_BOX([](const char *, void *) {}, nullptr);
    const uint16_t opened = CC_INIT(nullptr, 1, notify, "COM1", nullptr, 1, 0.0001, 1, 0, path.c_str());
    if (opened != CC_OK) throw std::runtime_error("CC_INIT gave " + std::to_string(opened));
}

void StartMeasuring() {
    CC_SETSTATUS(1, CC_ORDER_MEASURING);
    if (CC_GETSTATUS(1) != CC_STATUS_MEASURING) throw std::runtime_error("the controller does not measure");
}

}  // namespace bench
