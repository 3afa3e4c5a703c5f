// The errors of the protocol: number, severity and text.
#pragma once

#include <string>
#include <string_view>

namespace cmm::dme {

enum class ErrorNumber {
    BufferFull = 0,
    IllegalTag = 1,
    NoSpace = 2,
    Aborted = 6,
    IllegalCharacter = 7,
    Protocol = 8,
    EmergencyStop = 500,
    UnsupportedCommand = 501,
    IncorrectArguments = 502,
    Communication = 503,
    OutOfRange = 504,
    NotRecognized = 505,
    NotSupported = 506,
    IllegalCommand = 507,
    BadContext = 508,
    BadArgument = 509,
    BadProperty = 510,
    Processing = 511,
    NoDaemons = 512,
    NoSuchDaemon = 513,
    UseClearAllErrors = 514,
    DaemonExists = 515,
    MachineInError = 1000,
    IllegalTouch = 1001,
    NoSuchAxis = 1002,
    NoTouch = 1003,
    Angles = 1004,
    Home = 1005,
    SurfaceNotFound = 1006,
    Theta = 1007,
    OutsideVolume = 1008,
    AirPressure = 1009,
    NoNorm = 1010,
    UnableToMove = 1011,
    Locks = 1012,
    HeadNotSeated = 1500,
    ProbeNotArmed = 1501,
    ToolNotFound = 1502,
    ToolNotDefined = 1503,
    NotCalibrated = 2000,
    HeadForce = 2001,
    TypeOfProbe = 2002,
    Limit = 2500,
    AxisNotActive = 2501,
    AxisPosition = 2502,
    Scale = 2503,
    Collision = 2504,
    AngleOutOfRange = 2505,
    PartNotAligned = 2506,
};

/// From here on an error ends all pending transactions and asks for ClearAllErrors.
constexpr int kBlockingSeverity = 2;

/// 0 information, 1 warning, 2 the client can repair it, 3 the operator must, 9 the server is lost.
int Severity(ErrorNumber number);
std::string_view TextOf(ErrorNumber number);
/// The text of any number a client asks for; empty: no such error.
std::string_view TextOfNumber(double number);

/// "Error(3, 2500, "GoTo", "Machine limit ...")". `cause`: a double quote in it becomes a single one, what is no printable
/// ASCII a space. The protocol knows no empty string: an empty cause is "Server".
std::string FormatError(ErrorNumber number, std::string_view cause);

/// What an error line tells. `cause`: the method, the argument that is wrong, or the controller's words.
struct Fault {
    ErrorNumber number;
    std::string cause;

    bool IsBlocking() const { return Severity(number) >= kBlockingSeverity; }
    std::string Format() const { return FormatError(number, cause); }
};

}  // namespace cmm::dme
