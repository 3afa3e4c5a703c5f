// The errors of the protocol: number, severity and text.
#pragma once

#include <string>
#include <string_view>

namespace cmm::dme {

enum class ErrorNumber {
    kBufferFull = 0,
    kIllegalTag = 1,
    kNoSpace = 2,
    kAborted = 6,
    kIllegalCharacter = 7,
    kProtocol = 8,
    kEmergencyStop = 500,
    kUnsupportedCommand = 501,
    kIncorrectArguments = 502,
    kCommunication = 503,
    kOutOfRange = 504,
    kNotRecognized = 505,
    kNotSupported = 506,
    kIllegalCommand = 507,
    kBadContext = 508,
    kBadArgument = 509,
    kBadProperty = 510,
    kProcessing = 511,
    kNoDaemons = 512,
    kNoSuchDaemon = 513,
    kUseClearAllErrors = 514,
    kDaemonExists = 515,
    kMachineInError = 1000,
    kIllegalTouch = 1001,
    kNoSuchAxis = 1002,
    kNoTouch = 1003,
    kAngles = 1004,
    kHome = 1005,
    kSurfaceNotFound = 1006,
    kTheta = 1007,
    kOutsideVolume = 1008,
    kAirPressure = 1009,
    kNoNorm = 1010,
    kUnableToMove = 1011,
    kLocks = 1012,
    kHeadNotSeated = 1500,
    kProbeNotArmed = 1501,
    kToolNotFound = 1502,
    kToolNotDefined = 1503,
    kNotCalibrated = 2000,
    kHeadForce = 2001,
    kTypeOfProbe = 2002,
    kLimit = 2500,
    kAxisNotActive = 2501,
    kAxisPosition = 2502,
    kScale = 2503,
    kCollision = 2504,
    kAngleOutOfRange = 2505,
    kPartNotAligned = 2506,
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
