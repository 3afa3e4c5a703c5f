#include "controller.h"

#include <algorithm>
#include <cmath>

#include "command.h"
#include "protocol/little_endian.h"

namespace emulator {
namespace {

using namespace cc;

constexpr size_t kShortestCommand = 3;

void AppendU16(Bytes &bytes, uint16_t value) {
    bytes.resize(bytes.size() + 2);
    WriteU16(bytes.data() + bytes.size() - 2, value);
}

void AppendI32(Bytes &bytes, int32_t value) {
    bytes.resize(bytes.size() + 4);
    WriteU32(bytes.data() + bytes.size() - 4, static_cast<uint32_t>(value));
}

}  // namespace

struct Controller::Rule {
    CommandName first;
    CommandName last;
    void (Controller::*act)(const Command &);
};

const Controller::Rule *Controller::FindRule(const Command &command) {
    using namespace cc::command;
    static constexpr Rule kRules[] = {
        {N00, N00, &Controller::GiveInformation},
        {S11, S11, &Controller::TakeTable},
        {L13, L13, &Controller::StartUp},
        {H00, H01, &Controller::Nothing},
        {S70, S73, &Controller::ChangeState},
        {S15, S15, &Controller::StartZeroing},
        {S19, S19, &Controller::ReadInfo},
        {S20, S20, &Controller::WriteInfo},
        {S25, S25, &Controller::ResetBuffer},
        {S26, S27, &Controller::AcknowledgeSetting},
        {S48, S48, &Controller::GiveTemperatures},
        {S49, S49, &Controller::SwitchMessages},
        {S50, S52, &Controller::TakeScanParameters},
        {S54, S54, &Controller::AcknowledgeSetting},
        {S12, S13, &Controller::AcknowledgeAxes},
        {P07, P08, &Controller::SwitchAxes},
        {P00, P01, &Controller::StopAtOnce},
        {P02, P03, &Controller::Nothing},
        {P04, P04, &Controller::StopScan},
        {P05, P06, &Controller::Nothing},
        {P10, P10, &Controller::WaitForOperator},
        {P12, P12, &Controller::ShutDown},
        {F34, F34, &Controller::Nothing},
        {I00, I00, &Controller::ReadWords},
        {O00, O00, &Controller::WriteWords},
        {A, A, &Controller::GiveCoordinates},
    };
    const int32_t number = command.Number();
    for (const Rule &rule : kRules) {
        if (number >= CommandNumber(rule.first) && number <= CommandNumber(rule.last)) return &rule;
    }
    // Commands without a number of their own.
    static constexpr Rule kLetters[] = {
        {B, B, &Controller::GiveWristCoordinates},
        {J, J, &Controller::Stream},
        {K, K, &Controller::StopStreaming},
        {{'R', 0, 0}, {'R', 0, 0}, &Controller::GiveParameters},
        {{'G', 0, 0}, {'G', 0, 0}, &Controller::FileMotion},
    };
    for (const Rule &rule : kLetters) {
        if (command.Name().letter == rule.first.letter) return &rule;
    }
    return nullptr;
}

Controller::Controller(const ControllerOptions &options)
    : LinkPeer(options.link),
      options_(options),
      machine_(options.part),
      state_(options.wantsTable ? state::kWantsTable : state::kStopped),
      speed_(options.speed),
      probingSpeed_(options.probingSpeed) {}

void Controller::OnMessage(const Bytes &message) {
    if (message.size() < kShortestCommand) return;
    const Command command{message};
    ++commands_[command.Number()];
    if (const Rule *const rule = FindRule(command)) (this->*rule->act)(command);
}

void Controller::OnStateFault(int state) {
    EnterState(state);
    ReplyState();
}

void Controller::GiveEvent(uint8_t code) {
    if (code == reply::kEmergency51) {
        ForgetMotion();
        EnterState(state::kEmergency);
    }
    const bool withWord = code == reply::kEvent17 || code == reply::kHold || code == reply::kResume ||
                          code == reply::kEvent21 || code == reply::kEmergency51;
    Reply(code, withWord ? Bytes{code, 0} : Bytes{});
}

// ---- replies

void Controller::Reply(uint8_t code, const Bytes &payload) {
    ReplyInState(state_, code, payload);
}

void Controller::ReplyInState(int state, uint8_t code, const Bytes &payload) {
    Bytes message{static_cast<uint8_t>(payload.size() + 2), static_cast<uint8_t>(state), code};
    message.insert(message.end(), payload.begin(), payload.end());
    agenda_.After(options_.replyDelay, [this, message = std::move(message)] { SendMessage(message); });
}

// Numbers of their own acknowledge S12 and S13: 18 and 19.
void Controller::AcknowledgeAxes(const Command &command) {
    Reply(reply::kSetting,
          {static_cast<uint8_t>(command.Number() == CommandNumber(cc::command::S12) ? 18 : 19), 0});
}

void Controller::AcknowledgeSetting(const Command &command) {
    Reply(reply::kSetting, {DigitsNumber(command.Name()), 0});
}

Bytes Controller::Counts(const Vector &position) const {
    Bytes counts;
    for (const double value : position)
        AppendI32(counts, static_cast<int32_t>(std::lround(value / options_.mmPerCount)));
    return counts;
}

// ---- start-up and states

void Controller::GiveInformation(const Command &) {
    Reply(reply::kState, {options_.type, options_.level, 1, 1, 1, 2, 2, 0, 31, 31, options_.option, 0, 0});
}

void Controller::TakeTable(const Command &command) {
    const Bytes payload = command.Payload();
    if (payload.empty()) return;
    Reply(reply::kTableEntry);
    if (payload[0] == 'I' && payload.size() > 1)
        table_[payload[1]] = Bytes(payload.begin() + 2, payload.end());
    if (payload[0] != 'L') return;
    EnterState(state::kStopped);
    ReplyState();
}

void Controller::StartUp(const Command &) {
    Reply(reply::kStarted, {'X', 0, 'Y', 0, 'Z', 0, 'A', 0, 'B', 0, 'U', 0, '2', 255});
}

void Controller::EnterState(int state) {
    agenda_.Cancel(stateEnd_);
    state_ = state;
    if (state != state::kMeasuring) ForgetMotion();
    if (state != state::kEmergency) return;
    stateEnd_ = agenda_.After(options_.emergencyTime, [this] {
        EnterState(state::kStopped);
        ReplyState();
    });
}

// An emergency is released at the machine, by no order.
void Controller::ChangeState(const Command &command) {
    if (state_ != state::kEmergency) EnterState(command.Name().digit2 - '0');
    ReplyState();
}

void Controller::StartZeroing(const Command &) {
    agenda_.After(options_.zeroingTime, [this] {
        if (state_ != state::kZeroing) return;  // it was broken off
        machine_.Zero(agenda_.Now());
        Reply(reply::kZeroing, {1, 0});
    });
}

void Controller::ShutDown(const Command &) {
    EnterState(state::kStopped);
}

void Controller::StopAtOnce(const Command &command) {
    EnterState(state::kEmergency);
    Reply(reply::kEmergency, {command.At(at::kPayload), '1'});
}

void Controller::SwitchAxes(const Command &command) {
    EnterState(state::kEmergency);
    Reply(reply::kEmergency, {command.At(at::kPayload), '1'});
}

void Controller::WaitForOperator(const Command &) {
    agenda_.After(kSecond, [this] { Reply(reply::kEvent22); });
}

void Controller::SwitchMessages(const Command &) {
    ReplyState();
}

// ---- stored values

void Controller::ReadInfo(const Command &) {
    Reply(reply::kStoredInfo, storedInfo_);
}

void Controller::WriteInfo(const Command &command) {
    storedInfo_ = command.Payload();
    storedInfo_.resize(10);
    AcknowledgeSetting(command);
}

void Controller::ReadWords(const Command &) {
    Bytes payload;
    for (const uint16_t word : words_) AppendU16(payload, word);
    Reply(reply::kIoWords, payload);
}

void Controller::WriteWords(const Command &command) {
    for (size_t i = 0; i < 2; ++i) words_[i] = command.Word(at::kPayload + 2 * i);
}

void Controller::GiveTemperatures(const Command &) {
    uint16_t hundredths = 2000;  // 20.00 degrees, and a little more from sensor to sensor
    for (const uint8_t code : {reply::kTemperatures1, reply::kTemperatures2}) {
        Bytes payload;
        for (int i = 0; i < 16; ++i) AppendU16(payload, hundredths++);
        payload.push_back(code == reply::kTemperatures2 ? 32 : 0);
        Reply(code, payload);
    }
}

void Controller::GiveParameters(const Command &command) {
    const int set = command.Name().digit2 - '0';
    constexpr uint8_t kCodes[] = {0, 25, 26, 27, 28, 29, reply::kParameters6, reply::kParameters7};
    if (set < 1 || set > 7) return;
    Bytes payload;
    if (set == 5) {
        AppendI32(payload, 5000000);
    } else {
        for (const char axis : {'X', 'Y', 'Z', 'A', 'B'}) {
            payload.push_back(static_cast<uint8_t>(axis));
            AppendI32(payload, 1000000 * set);
        }
    }
    Reply(kCodes[set], payload);
}

// ---- coordinates

void Controller::GiveCoordinates(const Command &) {
    ReportCoordinates();
}

void Controller::ReportCoordinates() {
    Bytes payload = Counts(Position().linear);
    payload.insert(payload.begin(), 'A');
    Reply(reply::kCoordinates, payload);
}

void Controller::GiveWristCoordinates(const Command &) {
    Bytes payload{'B'};
    for (const double angle : Position().rotary) AppendI32(payload, static_cast<int32_t>(std::lround(angle)));
    Reply(reply::kCoordinates, payload);
}

void Controller::Stream(const Command &command) {
    streamPeriod_ = std::max<int64_t>(command.Word(5), 10) * kMillisecond;
    agenda_.Cancel(streaming_);
    streaming_ = agenda_.After(streamPeriod_, [this] { StreamStep(); });
}

void Controller::StreamStep() {
    // A line that is slower than the stream gets fewer reports, not later ones.
    if (HasSentAll()) ReportCoordinates();
    streaming_ = agenda_.After(streamPeriod_, [this] { StreamStep(); });
}

void Controller::StopStreaming(const Command &) {
    agenda_.Cancel(streaming_);
}

}  // namespace emulator
