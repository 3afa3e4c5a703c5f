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
    {ErrorNumber::BufferFull, 0, "Buffer full"},
    {ErrorNumber::IllegalTag, 2, "Illegal tag"},
    {ErrorNumber::NoSpace, 2, "No space at pos. 6"},
    {ErrorNumber::Aborted, 2, "Transaction aborted (Use ClearAllErrors To Continue)"},
    {ErrorNumber::IllegalCharacter, 3, "Illegal character"},
    {ErrorNumber::Protocol, 3, "Protocol error"},
    {ErrorNumber::EmergencyStop, 3, "Emergency stop"},
    {ErrorNumber::UnsupportedCommand, 3, "Unsupported command"},
    {ErrorNumber::IncorrectArguments, 3, "Incorrect arguments"},
    {ErrorNumber::Communication, 9, "Controller communications failure"},
    {ErrorNumber::OutOfRange, 1, "Argument out of range"},
    {ErrorNumber::NotRecognized, 3, "Argument not recognized"},
    {ErrorNumber::NotSupported, 3, "Argument not supported"},
    {ErrorNumber::IllegalCommand, 3, "Illegal command"},
    {ErrorNumber::BadContext, 3, "Bad context"},
    {ErrorNumber::BadArgument, 3, "Bad argument"},
    {ErrorNumber::BadProperty, 3, "Bad property"},
    {ErrorNumber::Processing, 3, "Error processing method"},
    {ErrorNumber::NoDaemons, 1, "No daemons are active"},
    {ErrorNumber::NoSuchDaemon, 2, "Daemon does not exist"},
    {ErrorNumber::UseClearAllErrors, 2, "Use ClearAllErrors to continue"},
    {ErrorNumber::DaemonExists, 2, "Daemon already exists"},
    {ErrorNumber::MachineInError, 3, "Machine in error state"},
    {ErrorNumber::IllegalTouch, 2, "Illegal touch"},
    {ErrorNumber::NoSuchAxis, 9, "Axis does not exist"},
    {ErrorNumber::NoTouch, 2, "No touch"},
    {ErrorNumber::Angles, 9, "Number of angles not supported on current device"},
    {ErrorNumber::Home, 3, "Error during home"},
    {ErrorNumber::SurfaceNotFound, 2, "Surface not found"},
    {ErrorNumber::Theta, 3, "Theta out of range"},
    {ErrorNumber::OutsideVolume, 3, "Target position out of machine volume"},
    {ErrorNumber::AirPressure, 3, "Air pressure out of range"},
    {ErrorNumber::NoNorm, 2, "Vector has no norm"},
    {ErrorNumber::UnableToMove, 2, "Unable to move"},
    {ErrorNumber::Locks, 2, "Bad lock combinations"},
    {ErrorNumber::HeadNotSeated, 3, "Failed to re-seat head"},
    {ErrorNumber::ProbeNotArmed, 3, "Probe not armed"},
    {ErrorNumber::ToolNotFound, 3, "Tool not found"},
    {ErrorNumber::ToolNotDefined, 3, "Tool not defined"},
    {ErrorNumber::NotCalibrated, 3, "Tool not calibrated"},
    {ErrorNumber::HeadForce, 2, "Head error excessive force"},
    {ErrorNumber::TypeOfProbe, 3, "Type of probe does not allow this operation"},
    {ErrorNumber::Limit, 3, "Machine limit encountered [Move Out Of Limits]"},
    {ErrorNumber::AxisNotActive, 3, "Axis not active"},
    {ErrorNumber::AxisPosition, 3, "Axis position error"},
    {ErrorNumber::Scale, 9, "Scale read head failure"},
    {ErrorNumber::Collision, 3, "Collision"},
    {ErrorNumber::AngleOutOfRange, 2, "Specified angle out of range"},
    {ErrorNumber::PartNotAligned, 2, "Part not aligned"},
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
