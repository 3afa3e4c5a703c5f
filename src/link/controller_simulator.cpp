#include "link/controller_simulator.h"

#include <algorithm>
#include <cstring>

#include "protocol/little_endian.h"
#include "protocol/vocabulary.h"

namespace cc {
namespace {

constexpr int32_t kBusyPumpCalls = 100;

// The first of the three coordinate fields of a move: letter, then four bytes; the fields are five bytes
// apart.
constexpr int kMoveFields = at::kPayload;
constexpr int kMoveFieldBytes = 5;

// A reply under construction in a slot.
class ReplyWriter {
  public:
    ReplyWriter(MessageSlot &slot, uint8_t controllerState, uint8_t code) : data_(slot.data) {
        data_[at::kReplyState] = controllerState;
        data_[at::kReplyCode] = code;
    }

    ReplyWriter &Byte(uint8_t value) { return Bytes(&value, 1); }
    ReplyWriter &Bytes(const void *bytes, int32_t count) {
        std::memcpy(data_ + size_, bytes, static_cast<size_t>(count));
        size_ += count;
        return *this;
    }
    ReplyWriter &Word(uint16_t value) {
        uint8_t field[2];
        WriteU16(field, value);
        return Bytes(field, sizeof field);
    }
    uint16_t Size() {
        data_[0] = static_cast<uint8_t>(size_ - 1);
        return static_cast<uint16_t>(size_);
    }

  private:
    uint8_t *data_;
    int32_t size_ = at::kReplyPayload;
};

// What one command sees and does: the simulated controller, the command and the place of its replies.
struct Exchange {
    SimulatorState &simulator;
    const uint8_t *command;
    CommandName name;
    MessageSlot *replyQueue;
    int32_t &writeIndex;
    int32_t queueSize;

    const uint8_t *Payload() const { return command + at::kPayload; }

    ReplyWriter Reply(uint8_t code) { return ReplyIn(simulator.simState, code); }
    ReplyWriter ReplyIn(uint8_t controllerState, uint8_t code) {
        return {replyQueue[writeIndex], controllerState, code};
    }
    void Send(ReplyWriter reply) {
        replyQueue[writeIndex].Publish(reply.Size());
        writeIndex = NextIndex(writeIndex, queueSize);
    }
};

void TableEntry(Exchange &x) {
    x.Send(x.ReplyIn(state::kWantsTable, reply::kTableEntry));
    if (x.Payload()[0] != 'L') return;
    x.simulator.simState = state::kStopped;
    x.Send(x.Reply(reply::kState));
}

void ZeroingDone(Exchange &x) {
    x.Send(x.Reply(reply::kZeroing).Byte(1).Byte(0));
}

void ReadInfo(Exchange &x) {
    x.Send(x.Reply(reply::kStoredInfo).Bytes(x.simulator.simInfo, sizeof x.simulator.simInfo));
}

void AcknowledgeSetting(Exchange &x) {
    x.Send(x.Reply(reply::kSetting).Byte(DigitsNumber(x.name)).Byte(0));
}

void WriteInfo(Exchange &x) {
    std::memcpy(x.simulator.simInfo, x.Payload(), sizeof x.simulator.simInfo);
    AcknowledgeSetting(x);
}

// 16 values in each of two replies, 1000 apart; the first reply carries one byte behind them, the second
// three.
void Temperatures(Exchange &x) {
    uint16_t value = 0;
    for (const uint8_t code : {reply::kTemperatures1, reply::kTemperatures2}) {
        ReplyWriter answer = x.Reply(code);
        for (int i = 0; i < 16; ++i) answer.Word(value = static_cast<uint16_t>(value + 1000));
        if (code == reply::kTemperatures2) answer.Word(0);
        x.Send(answer.Byte(0));
    }
}

void EnterState(Exchange &x) {
    x.simulator.simState = static_cast<uint8_t>(x.name.digit2 - '0');
    x.Send(x.Reply(reply::kState));
}

void AcknowledgeMove(Exchange &x) {
    x.Send(x.Reply(reply::kBuffered).Byte(0).Byte(x.command[at::kClass]));
}

void Move(Exchange &x) {
    const uint8_t *field = x.command + kMoveFields + 1;
    SimulatedPosition &position = x.simulator.simPosition;
    for (uint8_t *axis : {position.simX, position.simY, position.simZ}) {
        std::memcpy(axis, field, 4);
        field += kMoveFieldBytes;
    }
    AcknowledgeMove(x);
}

void ProbingMove(Exchange &x) {
    ReplyWriter point = x.Reply(reply::kPoint);
    point.Byte(0).Byte(x.command[at::kClass]).Bytes(x.command + kMoveFields, 3 * kMoveFieldBytes);
    if (x.simulator.simPositionEcho) point.Bytes(&x.simulator.simPosition, sizeof x.simulator.simPosition);
    x.Send(point);
    Move(x);
}

void Emergency(Exchange &x) {
    x.simulator.simState = state::kEmergency;
    x.Send(x.Reply(reply::kEmergency).Byte(x.Payload()[0]).Byte('1'));
}

void Shutdown(Exchange &x) {
    x.simulator.simState = state::kStopped;
}

void Start(Exchange &x) {
    constexpr uint8_t kAxes[] = {'X', 0, 'Y', 0, 'Z', 0, 'A', 0, 'B', 0, 'U', 0, '2', 255};
    x.Send(x.Reply(reply::kStarted).Bytes(kAxes, sizeof kAxes));
}

void Coordinates(Exchange &x) {
    x.Send(x.Reply(reply::kCoordinates)
               .Byte('A')
               .Bytes(&x.simulator.simPosition, sizeof x.simulator.simPosition));
}

void Information(Exchange &x) {
    constexpr uint8_t kInformation[] = {1, 255, 1, 1, 1, 0, 0, 0, 7, 7};
    x.Send(x.Reply(reply::kState).Bytes(kInformation, sizeof kInformation));
}

void EchoOff(Exchange &x) {
    x.simulator.simPositionEcho = false;
}
void EchoOn(Exchange &x) {
    x.simulator.simPositionEcho = true;
}

void ReadWords(Exchange &x) {
    x.Send(x.Reply(reply::kIoWords).Word(x.simulator.simPair[0]).Word(x.simulator.simPair[1]));
}

void WriteWords(Exchange &x) {
    x.simulator.simPair[0] = ReadU16(x.Payload());
    x.simulator.simPair[1] = ReadU16(x.Payload() + 2);
}

// The commands that the simulator knows. Every other command is consumed without an answer.
constexpr struct Rule {
    int32_t number;
    int32_t replies;  // slots that must be free
    void (*act)(Exchange &x);
} kRules[] = {
    {CommandNumber(command::S11), 2, TableEntry},
    {CommandNumber(command::S15), 1, ZeroingDone},
    {CommandNumber(command::S19), 1, ReadInfo},
    {CommandNumber(command::S20), 1, WriteInfo},
    {CommandNumber(command::S25), 1, AcknowledgeSetting},
    {CommandNumber(command::S26), 1, AcknowledgeSetting},
    {CommandNumber(command::S27), 1, AcknowledgeSetting},
    {CommandNumber(command::S48), 2, Temperatures},
    {CommandNumber(command::S50), 1, AcknowledgeSetting},
    {CommandNumber(command::S51), 1, AcknowledgeSetting},
    {CommandNumber(command::S52), 1, AcknowledgeSetting},
    {CommandNumber(command::S54), 1, AcknowledgeSetting},
    {CommandNumber(command::S70), 1, EnterState},
    {CommandNumber(command::S71), 1, EnterState},
    {CommandNumber(command::S72), 1, EnterState},
    {CommandNumber(command::S73), 1, EnterState},
    {CommandNumber(command::G01), 1, Move},
    {CommandNumber(command::G06), 1, Move},
    {CommandNumber(command::G05), 2, ProbingMove},
    {CommandNumber(command::G07), 1, AcknowledgeMove},
    {CommandNumber(command::G30), 1, AcknowledgeMove},
    {CommandNumber(command::G31), 1, AcknowledgeMove},
    {CommandNumber(command::G32), 1, AcknowledgeMove},
    {CommandNumber(command::G34), 1, AcknowledgeMove},
    {CommandNumber(command::G36), 1, AcknowledgeMove},
    {CommandNumber(command::G37), 1, AcknowledgeMove},
    {CommandNumber(command::P04), 1, AcknowledgeMove},
    {CommandNumber(command::P00), 1, Emergency},
    {CommandNumber(command::P12), 1, Shutdown},
    {CommandNumber(command::L13), 1, Start},
    {CommandNumber(command::A), 1, Coordinates},
    {CommandNumber(command::N00), 1, Information},
    {CommandNumber(command::H00), 1, EchoOff},
    {CommandNumber(command::H01), 1, EchoOn},
    {CommandNumber(command::I00), 1, ReadWords},
    {CommandNumber(command::O00), 1, WriteWords},
};

bool ConsumeHead(SimulatorState &simulator, MessageQueues &queues, MessageSlot *queue, int32_t &readIndex,
                 int32_t queueSize) {
    MessageSlot &slot = queue[readIndex];
    if (!slot.IsBusy()) return false;
    if (SimulateCommand(simulator, slot.data, queues.replyQueue, queues.simReplyWrite, kReplySlots)) {
        slot.Free();
        readIndex = NextIndex(readIndex, queueSize);
    }
    return true;
}

}  // namespace

void ResetSimulator(SimulatorState &simulator) {
    simulator.simPair[0] = 1;
    simulator.simPair[1] = 2;
    simulator.simState = state::kStopped;
    simulator.simWaitCount = 0;
    simulator.simPositionEcho = false;
    simulator.simInfo[0] = 1;
    simulator.simInfo[1] = 0;
}

bool SimulateCommand(SimulatorState &simulator, const uint8_t *command, MessageSlot *replyQueue,
                     int32_t &writeIndex, int32_t queueSize) {
    if (replyQueue[writeIndex].IsBusy()) return false;
    const CommandName name{static_cast<char>(command[at::kLetter]),
                           static_cast<char>(command[at::kLetter + 1]),
                           static_cast<char>(command[at::kLetter + 2])};
    const int32_t number = CommandNumber(name);
    const auto *const rule = std::find_if(std::begin(kRules), std::end(kRules),
                                          [number](const Rule &r) { return r.number == number; });
    if (rule == std::end(kRules)) return true;
    if (rule->replies == 2 && replyQueue[NextIndex(writeIndex, queueSize)].IsBusy()) return false;
    Exchange exchange{simulator, command, name, replyQueue, writeIndex, queueSize};
    rule->act(exchange);
    return true;
}

void StepSimulator(SimulatorState &simulator, MessageQueues &queues) {
    if (simulator.simState == state::kEmergency) {
        if (simulator.simWaitCount < kBusyPumpCalls) {
            ++simulator.simWaitCount;
            return;
        }
        MessageSlot &slot = queues.replyQueue[queues.simReplyWrite];
        if (slot.IsBusy()) return;
        simulator.simState = state::kStopped;
        slot.Publish(ReplyWriter(slot, simulator.simState, reply::kState).Size());
        queues.simReplyWrite = NextIndex(queues.simReplyWrite, kReplySlots);
        simulator.simWaitCount = 0;
        return;
    }
    if (ConsumeHead(simulator, queues, queues.prioritySendQueue, queues.priorityRead, kPrioritySlots)) return;
    ConsumeHead(simulator, queues, queues.sendQueue, queues.sendRead, kSendSlots);
}

}  // namespace cc
