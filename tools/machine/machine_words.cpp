#include "machine/machine_words.h"

#include "cc_interface.h"
#include "format.h"
#include "machine/device.h"
#include "machine/port_names.h"

namespace cmm {
namespace {

using emulator::Format;

// Codes of the head's errors are its letter and this; CC_EMERGENCY passes them on.
constexpr int kHeadErrors = 100;

unsigned Word(const void *data) {
    const auto *const bytes = static_cast<const uint8_t *>(data);
    return data == nullptr ? 0 : bytes[0] + 256u * bytes[1];
}

std::string At(const double *position) {
    return Format("X %.4f Y %.4f Z %.4f", position[0], position[1], position[2]);
}

std::string PointWords(int32_t event, uint32_t info, const PointRecord &point) {
    if (event == CC_EVENT_SCAN_POINT) return "scan point at " + At(point.position);
    if (event == CC_EVENT_POSITION) return "position " + At(point.position);
    if (event == CC_EVENT_POINT && info == CC_POINT_BUFFERED)
        return Format("point %u touched at ", point.tag) + At(point.position);
    if (event == CC_EVENT_POINT) return "touched, without a probing move, at " + At(point.position);
    if (point.tag == CC_TAG_WRIST)
        return Format("wrist at A %.3f B %.3f", point.position[0], point.position[1]);
    return "machine at " + At(point.position);
}

std::string HoldWords(int32_t event, unsigned word) {
    if (word == CC_WORD_RESET && event == CC_EVENT_RESUME) return "the controller was switched on anew";
    if (word == CC_WORD_RESET) return "hold: the controller was in emergency when it was opened";
    if (word == CC_WORD_START)
        return event == CC_EVENT_HOLD ? "hold: waiting for the operator's start at the machine"
                                      : "resume: the operator has started";
    return Format("%s at the machine (word %u)", event == CC_EVENT_HOLD ? "hold" : "resume", word);
}

}  // namespace

uint8_t EmergencyCode(uint32_t info, const void *data) {
    // The report's length stands in the info: whole words x 256 + event.
    return data != nullptr && info >= 256 ? *static_cast<const uint8_t *>(data) : 0;
}

std::string EmergencyCause(uint8_t code) {
    switch (code) {
        case 0:
            return "ordered by the computer";
        case 3:
            return "collision (code 3): the probe met something on a plain move";
        default:
            if (code > kHeadErrors) return Format("the probe head reports error %c", code - kHeadErrors);
            return Format("the controller gives code %u", code);
    }
}

std::string EventWords(int32_t event, uint32_t info, const void *data) {
    switch (event) {
        case CC_EVENT_LINK:
            return info == CC_LINK_IN_ORDER ? "the link is in order" : "the link is lost";
        case CC_EVENT_EMERGENCY:
        case CC_EVENT_EMERGENCY_51:
            return "EMERGENCY: " + EmergencyCause(EmergencyCode(info, data));
        case CC_EVENT_POINT:
        case CC_EVENT_COORDINATES:
        case CC_EVENT_POSITION:
        case CC_EVENT_SCAN_POINT:
            if (data != nullptr) return PointWords(event, info, *static_cast<const PointRecord *>(data));
            break;
        case CC_EVENT_MOVE_REJECTED:
            return info == CC_LINK_LOST ? "moves were dropped with the link"
                                        : Format("move rejected, reason %u", info);
        case CC_EVENT_SCAN_END:
            return "the scan has ended";
        case CC_EVENT_MOVE_DONE:
            return info == CC_REPORT_PROBING_MOVE ? "probing move done" : "move done";
        case CC_EVENT_HOLD:
        case CC_EVENT_RESUME:
            return HoldWords(event, Word(data));
        case CC_EVENT_17:
        case CC_EVENT_21:
            return Format("controller event %d, word %u", event, Word(data));
        case CC_EVENT_TEMPERATURES:
            return "temperatures";
        case CC_EVENT_CONTROLLER_ON:
            return "the controller was switched on";
        case CC_EVENT_ZEROING_DONE:
            return "zeroing done";
        default:
            break;
    }
    return Format("controller event %d, info %u", event, info);
}

std::string StatusWord(int16_t status) {
    switch (status) {
        case CC_STATUS_READY:
            return "ready";
        case CC_STATUS_MEASURING:
            return "measuring";
        case CC_STATUS_STOPPED:
            return "stopped";
        case CC_STATUS_ZEROING:
            return "zeroing";
        case CC_STATUS_STARTING:
            return "starting";
        default:
            return "unknown";
    }
}

Failure OpeningFailure(uint16_t result, const std::string &portText, const std::string &whose) {
    switch (result) {
        case CC_BAD_PORT:
        case CC_BAD_HEAD_PORT:
            return {kBadArguments, "'" + portText + "' is no port of a " + whose,
                    "Write COM and a number from 1 to 256, such as COM3, or the path of a device; 'cmm "
                    "ports' lists them."};
        case CC_PORT_NOT_OPENED:
            return PortFailure(portText, whose);
        case CC_LINK_START_FAILED:
            return {
                kNotReached, "nothing answers on " + PortWords(portText),
                "Is the controller switched on, its cable in this port, and its line set to 9600 baud, even "
                "parity?"};
        case CC_TIMER_FAILED:
        case CC_WORKER_FAILED:
            return {kWorkFailed, "the system gives no timer", "Close other programs and try again."};
        case CC_NO_ANSWER:
            return {kNotReached, "the line works, but the controller does not tell what it is",
                    "Switch the controller off and on, and wait until it has started."};
        case CC_TABLE_FAILED:
            return {kNotReached, "the controller wants its table and did not take it",
                    "Switch the controller off and on and try again."};
        default:
            return {kWorkFailed, "the arm could not be opened: code " + std::to_string(result)};
    }
}

}  // namespace cmm
