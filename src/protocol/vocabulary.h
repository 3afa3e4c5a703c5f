// The words of the controller's message protocol: command names and numbers, reply codes, controller states.
// Everything that names one of them takes it from here.
#pragma once

#include <cstdint>

namespace cc {

/// Letter and digits of a command; commands that consist of a letter alone have NUL digits.
struct CommandName {
    char letter;
    char digit1;
    char digit2;
};

namespace command {
inline constexpr CommandName A{'A', 0, 0};        // machine coordinates
inline constexpr CommandName B{'B', 0, 0};        // wrist coordinates
inline constexpr CommandName F34{'F', '3', '4'};  // feed
inline constexpr CommandName G01{'G', '0', '1'};  // move
inline constexpr CommandName G03{'G', '0', '3'};  // incremental move
inline constexpr CommandName G05{'G', '0', '5'};  // probing move
inline constexpr CommandName G06{'G', '0', '6'};  // move, second kind
inline constexpr CommandName G07{'G', '0', '7'};  // scan start
inline constexpr CommandName G30{'G', '3', '0'};  // speed kind 0
inline constexpr CommandName G31{'G', '3', '1'};  // fly on
inline constexpr CommandName G32{'G', '3', '2'};  // fly off
inline constexpr CommandName G34{'G', '3', '4'};  // fly length
inline constexpr CommandName G36{'G', '3', '6'};  // speed kind 2
inline constexpr CommandName G37{'G', '3', '7'};  // speed kind 1
inline constexpr CommandName G3On{'G', '3', 9};   // TF mode on: the second digit is a raw byte
inline constexpr CommandName G3Off{'G', '3', 8};  // TF mode off
inline constexpr CommandName H00{'H', '0', '0'};  // start; the simulator's position echo off
inline constexpr CommandName H01{'H', '0', '1'};  // the simulator's position echo on
inline constexpr CommandName I00{'I', '0', '0'};  // read I/O words
inline constexpr CommandName J{'J', 0, 0};        // stream coordinates
inline constexpr CommandName K{'K', 0, 0};        // stop streaming
inline constexpr CommandName L13{'L', '1', '3'};  // start
inline constexpr CommandName N00{'N', '0', '0'};  // controller information
inline constexpr CommandName O00{'O', '0', '0'};  // write I/O words
inline constexpr CommandName P00{'P', '0', '0'};  // emergency
inline constexpr CommandName P01{'P', '0', '1'};  // emergency, extended code
inline constexpr CommandName P02{'P', '0', '2'};  // numeric control on
inline constexpr CommandName P03{'P', '0', '3'};  // numeric control off
inline constexpr CommandName P04{'P', '0', '4'};  // scan stop
inline constexpr CommandName P05{'P', '0', '5'};  // answer to controller event 30
inline constexpr CommandName P06{'P', '0', '6'};  // answer to controller event 31
inline constexpr CommandName P07{'P', '0', '7'};  // disable axes
inline constexpr CommandName P08{'P', '0', '8'};  // enable axes
inline constexpr CommandName P10{'P', '1', '0'};  // wait for the operator's start
inline constexpr CommandName P12{'P', '1', '2'};  // shutdown
inline constexpr CommandName S11{'S', '1', '1'};  // table download
inline constexpr CommandName S12{'S', '1', '2'};  // disable axes, newer controllers
inline constexpr CommandName S13{'S', '1', '3'};  // enable axes, newer controllers
inline constexpr CommandName S15{'S', '1', '5'};  // zeroing
inline constexpr CommandName S19{'S', '1', '9'};  // read stored information
inline constexpr CommandName S20{'S', '2', '0'};  // write stored information
inline constexpr CommandName S25{'S', '2', '5'};  // buffer operation 0
inline constexpr CommandName S26{'S', '2', '6'};  // buffer operation 1
inline constexpr CommandName S27{'S', '2', '7'};  // buffer operation 2
inline constexpr CommandName S48{'S', '4', '8'};  // temperatures
inline constexpr CommandName S49{'S', '4', '9'};  // start and hold messages
inline constexpr CommandName S50{'S', '5', '0'};  // scan coordinate system
inline constexpr CommandName S51{'S', '5', '1'};  // scan probe parameters
inline constexpr CommandName S52{'S', '5', '2'};  // scan target and steps
inline constexpr CommandName S54{'S', '5', '4'};  // TP200 mode
inline constexpr CommandName S70{'S', '7', '0'};  // to state 0
inline constexpr CommandName S71{'S', '7', '1'};  // to state 1
inline constexpr CommandName S72{'S', '7', '2'};  // to state 2
inline constexpr CommandName S73{'S', '7', '3'};  // to state 3
inline constexpr CommandName R(int16_t set) {
    return {'R', '0', static_cast<char>('0' + set)};
}  // parameters
}  // namespace command

/// The number by which the far end tells commands apart: 100 per letter plus the two digits; letters that
/// have no numbers give 0, A and N have one number each. Digits are taken as signed bytes.
constexpr int32_t CommandNumber(CommandName name) {
    const auto digits = [name] {
        return 10 * (static_cast<int8_t>(name.digit1) - 48) + (static_cast<int8_t>(name.digit2) - 48);
    };
    switch (name.letter) {
        case 'A':
            return 500;
        case 'N':
            return 600;
        case 'S':
            return 100 + digits();
        case 'G':
            return 200 + digits();
        case 'P':
            return 300 + digits();
        case 'L':
            return 400 + digits();
        case 'F':
            return 700 + digits();
        case 'H':
            return 800 + digits();
        case 'I':
            return 900 + digits();
        case 'O':
            return 1000 + digits();
        default:
            return 0;
    }
}

/// Number of the two digits as a byte, by which S commands are acknowledged.
constexpr uint8_t DigitsNumber(CommandName name) {
    return static_cast<uint8_t>(10 * static_cast<int8_t>(name.digit1) + static_cast<int8_t>(name.digit2) -
                                16);
}

/// Class bytes.
inline constexpr uint8_t kPlainClass = 1;
inline constexpr uint8_t kCoordinateModeClass = 0;
inline constexpr uint8_t kBufferedClass = 255;

/// Where the parts of command and reply messages stand.
namespace at {
inline constexpr int kClass = 1;
inline constexpr int kLetter = 2;
inline constexpr int kPayload = 5;
inline constexpr int kReplyState = 1;
inline constexpr int kReplyCode = 2;
inline constexpr int kReplyPayload = 3;
}  // namespace at

/// Reply codes that the library names.
namespace reply {
inline constexpr uint8_t kState = 0;
inline constexpr uint8_t kReport1 = 1;
inline constexpr uint8_t kEmergency = 2;
inline constexpr uint8_t kReport3 = 3;
inline constexpr uint8_t kBuffered = 4;
inline constexpr uint8_t kTableEntry = 5;
inline constexpr uint8_t kZeroing = 6;
inline constexpr uint8_t kDone7 = 7;
inline constexpr uint8_t kSetting = 8;
inline constexpr uint8_t kPoint = 9;
inline constexpr uint8_t kIoWords = 10;
inline constexpr uint8_t kPosition = 11;
inline constexpr uint8_t kState13 = 13;
inline constexpr uint8_t kStarted = 20;
inline constexpr uint8_t kParameters1 = 25;  // sets 1 to 5 are 25 to 29
inline constexpr uint8_t kHostAnswer5 = 30;
inline constexpr uint8_t kHostAnswer6 = 31;
inline constexpr uint8_t kEvent17 = 32;
inline constexpr uint8_t kStoredInfo = 33;
inline constexpr uint8_t kParameters6 = 34;
inline constexpr uint8_t kParameters7 = 35;
inline constexpr uint8_t kHold = 48;
inline constexpr uint8_t kResume = 50;
inline constexpr uint8_t kEmergency51 = 51;
inline constexpr uint8_t kEvent21 = 52;
inline constexpr uint8_t kEvent22 = 53;
inline constexpr uint8_t kEvent23 = 54;
inline constexpr uint8_t kControllerOn = 55;
inline constexpr uint8_t kTemperatures1 = 64;
inline constexpr uint8_t kTemperatures2 = 65;
inline constexpr uint8_t kCoordinates = 255;
}  // namespace reply

/// Value of ControllerInfo::optionCode that brings the P10 exchanges.
inline constexpr uint16_t kOptionP10 = 4;

/// Controller states that the library acts on.
namespace state {
inline constexpr int32_t kUnknown = -1;
inline constexpr int32_t kZeroing = 0;
inline constexpr int32_t kReady = 1;
inline constexpr int32_t kStopped = 2;
inline constexpr int32_t kMeasuring = 3;  // buffered moves are sent only here
inline constexpr int32_t kEmergency = 7;
inline constexpr int32_t kNoCoordinates = 8;
inline constexpr int32_t kWantsTable = 10;
}  // namespace state

}  // namespace cc
