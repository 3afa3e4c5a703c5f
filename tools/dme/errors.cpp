#include "dme/errors.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

namespace cmm::dme {
namespace {

struct Entry {
    ErrorNumber number;
    int severity;
    const char *text;
};

constexpr Entry kErrors[] = {
    {ErrorNumber::kBufferFull, 0, "Buffer full"},
    {ErrorNumber::kIllegalTag, 2, "Illegal tag"},
    {ErrorNumber::kNoSpace, 2, "No space at pos. 6"},
    {ErrorNumber::kAborted, 2, "Transaction aborted (Use ClearAllErrors To Continue)"},
    {ErrorNumber::kIllegalCharacter, 3, "Illegal character"},
    {ErrorNumber::kProtocol, 3, "Protocol error"},
    {ErrorNumber::kEmergencyStop, 3, "Emergency stop"},
    {ErrorNumber::kUnsupportedCommand, 3, "Unsupported command"},
    {ErrorNumber::kIncorrectArguments, 3, "Incorrect arguments"},
    {ErrorNumber::kCommunication, 9, "Controller communications failure"},
    {ErrorNumber::kOutOfRange, 1, "Argument out of range"},
    {ErrorNumber::kNotRecognized, 3, "Argument not recognized"},
    {ErrorNumber::kNotSupported, 3, "Argument not supported"},
    {ErrorNumber::kIllegalCommand, 3, "Illegal command"},
    {ErrorNumber::kBadContext, 3, "Bad context"},
    {ErrorNumber::kBadArgument, 3, "Bad argument"},
    {ErrorNumber::kBadProperty, 3, "Bad property"},
    {ErrorNumber::kProcessing, 3, "Error processing method"},
    {ErrorNumber::kNoDaemons, 1, "No daemons are active"},
    {ErrorNumber::kNoSuchDaemon, 2, "Daemon does not exist"},
    {ErrorNumber::kUseClearAllErrors, 2, "Use ClearAllErrors to continue"},
    {ErrorNumber::kDaemonExists, 2, "Daemon already exists"},
    {ErrorNumber::kMachineInError, 3, "Machine in error state"},
    {ErrorNumber::kIllegalTouch, 2, "Illegal touch"},
    {ErrorNumber::kNoSuchAxis, 9, "Axis does not exist"},
    {ErrorNumber::kNoTouch, 2, "No touch"},
    {ErrorNumber::kAngles, 9, "Number of angles not supported on current device"},
    {ErrorNumber::kHome, 3, "Error during home"},
    {ErrorNumber::kSurfaceNotFound, 2, "Surface not found"},
    {ErrorNumber::kTheta, 3, "Theta out of range"},
    {ErrorNumber::kOutsideVolume, 3, "Target position out of machine volume"},
    {ErrorNumber::kAirPressure, 3, "Air pressure out of range"},
    {ErrorNumber::kNoNorm, 2, "Vector has no norm"},
    {ErrorNumber::kUnableToMove, 2, "Unable to move"},
    {ErrorNumber::kLocks, 2, "Bad lock combinations"},
    {ErrorNumber::kHeadNotSeated, 3, "Failed to re-seat head"},
    {ErrorNumber::kProbeNotArmed, 3, "Probe not armed"},
    {ErrorNumber::kToolNotFound, 3, "Tool not found"},
    {ErrorNumber::kToolNotDefined, 3, "Tool not defined"},
    {ErrorNumber::kNotCalibrated, 3, "Tool not calibrated"},
    {ErrorNumber::kHeadForce, 2, "Head error excessive force"},
    {ErrorNumber::kTypeOfProbe, 3, "Type of probe does not allow this operation"},
    {ErrorNumber::kLimit, 3, "Machine limit encountered [Move Out Of Limits]"},
    {ErrorNumber::kAxisNotActive, 3, "Axis not active"},
    {ErrorNumber::kAxisPosition, 3, "Axis position error"},
    {ErrorNumber::kScale, 9, "Scale read head failure"},
    {ErrorNumber::kCollision, 3, "Collision"},
    {ErrorNumber::kAngleOutOfRange, 2, "Specified angle out of range"},
    {ErrorNumber::kPartNotAligned, 2, "Part not aligned"},
};

const Entry *Find(double number) {
    const auto *entry = std::find_if(
        std::begin(kErrors), std::end(kErrors),
        [number](const Entry &candidate) { return static_cast<double>(candidate.number) == number; });
    return entry == std::end(kErrors) ? nullptr : entry;
}

std::string Printable(std::string_view text) {
    std::string printable(text);
    for (char &character : printable) {
        if (character == '"') character = '\'';
        if (character < ' ' || character > '~') character = ' ';
    }
    return printable;
}

}  // namespace

int Severity(ErrorNumber number) {
    return Find(static_cast<double>(number))->severity;
}

std::string_view TextOf(ErrorNumber number) {
    return Find(static_cast<double>(number))->text;
}

std::string_view TextOfNumber(double number) {
    const Entry *entry = Find(number);
    return entry ? entry->text : std::string_view();
}

std::string FormatError(ErrorNumber number, std::string_view cause) {
    char head[32];
    std::snprintf(head, sizeof head, "Error(%d, %04d, \"", Severity(number), static_cast<int>(number));
    return head + Printable(cause.empty() ? "Server" : cause) + "\", \"" + std::string(TextOf(number)) +
           "\")";
}

}  // namespace cmm::dme
