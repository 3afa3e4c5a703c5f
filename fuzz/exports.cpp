// The exports of single-arm software with any arguments, on a closed arm and on one in simulation mode.
#include <array>
#include <cmath>
#include <iterator>
#include <limits>

#include "arm_records.h"
#include "cc_interface.h"
#include "input.h"
#include "platform/virtual/virtual_port.h"
#include "platform/virtual/world.h"
#include "session/worker_timer.h"
#include "targets.h"

namespace cc::fuzz {
namespace {

using Limits = std::numeric_limits<double>;

// What an export may write, with guards behind it that it must not.
template <typename Value, size_t count>
class Guarded {
  public:
    Guarded() { std::memset(bytes_, kGuard, sizeof bytes_); }
    ~Guarded() {
        for (size_t i = kBytes; i < sizeof bytes_; ++i) Check(bytes_[i] == kGuard);
    }
    Value *Out() { return reinterpret_cast<Value *>(bytes_); }

  private:
    static constexpr uint8_t kGuard = 0xA5;
    static constexpr size_t kBytes = count * sizeof(Value);
    alignas(Value) uint8_t bytes_[kBytes + 16];
};

// Arguments out of the input.
struct Arguments {
    Input &input;
    int waits;  // what may still wait in this run: a wait costs as much as all the rest

    int16_t Int() { return input.Number<int16_t>(); }
    uint32_t Unsigned() { return input.Number<uint32_t>(); }
    double Double() {
        static constexpr double kSpecial[] = {0.0,
                                              -0.0,
                                              1,
                                              -1,
                                              1e300,
                                              -1e300,
                                              4294967296e-3,
                                              Limits::max(),
                                              Limits::denorm_min(),
                                              Limits::quiet_NaN(),
                                              Limits::infinity(),
                                              -Limits::infinity()};
        const uint8_t which = input.Byte();
        return which < 128 ? kSpecial[which % std::size(kSpecial)] : input.Number<double>();
    }
    template <size_t count>
    std::array<double, count> Doubles() {
        std::array<double, count> values;
        for (double &value : values) value = Double();
        return values;
    }
    /// The address or, once in a while, none.
    template <typename Value>
    Value *OrNull(Value *address) {
        return input.Byte() % 16 == 0 ? nullptr : address;
    }
};

constexpr int kMostWaits = 6;

int events = 0;

void OnEvent(int32_t event, uint32_t info, void *data) {
    Check(event >= 1 && event <= 28 && info <= UINT16_MAX);
    if (data != nullptr) events += *static_cast<const uint8_t *>(data);
}

void ShortenWaits(ArmContext &arm) {
    arm.settings.timeoutTicks = 2;
    arm.head.mostPolls = 2;
}

uint16_t OpenAgain(ArmContext &arm, const char *portDef, const char *headPortDef, int16_t extendedStart,
                   double linearScale, uint16_t flags) {
    const uint16_t opened =
        L2_INIT(nullptr, OnEvent, portDef, headPortDef, extendedStart, linearScale, flags);
    ShortenWaits(arm);
    return opened;
}

// The arm open in simulation mode, or looking closed.
ArmContext &Renew(bool open, int32_t index) {
    static uint32_t opening = 0;
    ArmContext &arm = RenewArm(User::Exports, index);
    for (const int32_t port : {1, 2, 9}) platform::VirtualPort::Number(port).present = false;
    // However it looks, it is open as long as it has a timer.
    arm.connection.connectionOpen = arm.connection.mmTimerId != 0;
    const bool asWas = arm.connection.openings == opening && arm.connection.workerRegistered;
    if (!arm.connection.connectionOpen || !asWas) {
        Check(OpenAgain(arm, nullptr, nullptr, 1, 0.001, CC_SIMULATION | CC_SIMULATED_HEAD) == CC_OK);
        opening = arm.connection.openings;
        RenewArm(User::Exports, index);
    }
    arm.link.simulationMode = open;
    arm.link.simulator.simState = state::kReady;
    arm.replies.notifyCallback = OnEvent;
    arm.replies.controllerState = state::kReady;
    arm.motion.maxMovesInFlight = kSimulatedMovesInFlight;
    static_cast<HeadRecord &>(arm.head) = {};
    arm.head.headInUse = arm.head.headSimulated = true;
    return arm;
}

void Look(bool open) {
    ArmContext &arm = SelectArm(1);
    arm.connection.connectionOpen = arm.connection.workerActive = arm.link.mmTimerRunning = open;
}

// ---- the exports, one each

void CallInit(Arguments &a) {
    static constexpr const char *kPorts[] = {"COM1", "COM9:9600,e,8,1", "", "LPT1", "com257", "COM2:"};
    Look(SelectArm(1).connection.mmTimerId != 0);
    const char *const port = a.OrNull(kPorts[a.input.Byte() % std::size(kPorts)]);
    const char *const head = a.OrNull(kPorts[a.input.Byte() % std::size(kPorts)]);
    const int16_t extended = a.Int();
    const double scale = a.Double();
    // Without a controller a real port costs seconds of virtual time.
    OpenAgain(SelectArm(1), port, head, extended, scale, static_cast<uint16_t>(a.Int() | CC_SIMULATION));
}
void CallStart(Arguments &a) {
    Guarded<ControllerInfo, 1> out;
    L2_END_INIT(a.OrNull(out.Out()));
}
void CallMove(Arguments &a) {
    const auto position = a.Doubles<6>();
    const auto m = a.Doubles<1>(), n = a.Doubles<1>();
    L2_MOVE(a.Int(), a.OrNull(position.data()), a.Unsigned(), a.input.Byte(), a.OrNull(m.data()),
            a.OrNull(n.data()), a.Int());
}
void CallFreeFrame(Arguments &a) {
    static uint8_t bytes[INT16_MAX];
    const size_t count = a.input.Byte();
    std::fill_n(bytes, 64, uint8_t{0});
    const uint8_t *const from = a.input.Rest();
    std::copy_n(from, a.input.Skip(count % 64), bytes);
    const int16_t length = a.input.Bit() ? a.Int() : static_cast<int16_t>(count);
    L2_FREEFRAME(a.OrNull(bytes), length, a.input.Byte() % 10, a.Int());
}
void CallAxes(Arguments &a) {
    static constexpr uint8_t kBytes[INT16_MAX] = {8, 27};
    L2_ENDIS_AXES(a.Int(), a.Int(), a.OrNull(kBytes));
}
void CallInfo(Arguments &a) {
    Guarded<ControllerInfo, 1> out;
    L2_INFO(a.OrNull(out.Out()));
}
void CallSetInfo(Arguments &a) {
    const std::array<uint8_t, 10> record{a.input.Byte()};
    L2_SETINFO(a.OrNull(record.data()));
}
void CallGetInfo(Arguments &a) {
    Guarded<uint8_t, 10> out;
    L2_GETINFO(a.OrNull(out.Out()));
}
void CallIo(Arguments &a) {
    Guarded<uint16_t, 2> words;
    L2_IO(a.Int(), a.OrNull(words.Out()));
}
void CallReadParam(Arguments &a) {
    Guarded<double, 5> out;
    L2_READ_PARAM(a.Int(), a.OrNull(out.Out()));
}
void CallTable(Arguments &a) {
    static constexpr uint32_t kTable[512] = {1};
    L2_STORE_COSDAT(a.OrNull(kTable));
}
void CallHeadPosition(Arguments &a) {
    Guarded<double, 1> angleA, angleB;
    PH9_GetPosition(a.OrNull(angleA.Out()), a.OrNull(angleB.Out()));
}
void CallMatrix(Arguments &a) {
    const auto matrix = a.Doubles<9>();
    const auto offset = a.Doubles<3>();
    L2S_SetRotMatrix(a.OrNull(matrix.data()), a.OrNull(offset.data()));
}
template <void (*set)(const double *)>
void CallSetter(Arguments &a) {
    const auto value = a.Doubles<1>();
    set(a.OrNull(value.data()));
}
template <void (*set)(const double *, const double *)>
void CallSetter(Arguments &a) {
    const auto first = a.Doubles<1>(), second = a.Doubles<1>();
    set(a.OrNull(first.data()), a.OrNull(second.data()));
}

// Calls that do not wait.
constexpr void (*kCalls[])(Arguments &) = {
    CallMove,
    CallMove,
    CallTable,
    CallHeadPosition,
    CallMatrix,
    CallSetter<L2S_SetTipRad>,
    CallSetter<L2S_SetTreshold>,
    CallSetter<L2S_SetRegDepth>,
    CallSetter<L2S_SetTargetPoint>,
    CallSetter<L2S_SetMaxMinStep>,
    [](Arguments &) { L2_BUFFRESET(); },
    [](Arguments &a) { Check(L2_CanSend(a.Int()) <= 1); },
    [](Arguments &a) { L2_SPEED(a.Int(), a.Int()); },
    [](Arguments &a) { L2_SPEED(a.input.Byte() % 3, a.Int()); },
    [](Arguments &a) { L2_ASKCOORD(a.Int()); },
    [](Arguments &a) { L2_EMERGENCY(a.Int()); },
    [](Arguments &) { Check(L2_MOVING() == 0 || !SelectArm(1).link.simulationMode); },
    [](Arguments &a) { L2_FLYONOFF(a.Int()); },
    [](Arguments &a) { L2_FLYLEN(a.Double()); },
    [](Arguments &) { Check(L2_GETSTATUS() >= -1 && L2_GETSTATUS() <= 4); },
    [](Arguments &a) { Check(L2_SETDISTDEPTH(a.Unsigned(), a.Unsigned()) == 1); },
    [](Arguments &) { PH9_LevePresent(); },
    [](Arguments &) { PH9_CurrentMode(); },
    [](Arguments &) { PH9_Moving(); },
    [](Arguments &) { L2S_StopScan(); },
    [](Arguments &) { CreateCounter(); },
    [](Arguments &a) { DeleteCounter(a.Int()); },
    [](Arguments &a) { GetCounter(a.input.Byte() % 4); },
    [](Arguments &a) { LEV2_MANAGER(a.Unsigned(), 0, 0, 0, 0); },
    [](Arguments &a) { LEV2_MANSOM(a.input.Bit() ? &SelectArm(1) : nullptr); },
    [](Arguments &a) {
        ControllerInfo &info = SelectArm(1).replies.controllerInfo;
        info.controllerType = a.input.Byte();
        info.optionCode = a.input.Byte();
        SelectArm(1).replies.extendedInfo = a.input.Bit();
        SelectArm(1).session.extendedStart = a.input.Bit();
        SelectArm(1).head.headSimulated = a.input.Bit();
    },
};

constexpr void (*kWaitingCalls[])(Arguments &) = {
    CallStart,
    CallFreeFrame,
    CallAxes,
    CallInfo,
    CallSetInfo,
    CallGetInfo,
    CallIo,
    CallReadParam,
    [](Arguments &a) { L2_NCONOFF(a.Int()); },
    [](Arguments &a) { L2_OPBUF(a.Int()); },
    [](Arguments &a) { L2_SETSTATUS(a.input.Byte() % 7); },
    [](Arguments &a) { L2_SETSTATUS(a.Int()); },
    [](Arguments &) { L2_ZEROES(); },
    [](Arguments &a) { L2_NCONWAITSTART(a.Int()); },
    [](Arguments &a) { L2_FEED(a.Int()); },
    [](Arguments &) { L2_GETCOORD(); },
    [](Arguments &a) { L2_ENDIS_STARTHOLD_MSG(a.Int()); },
    [](Arguments &a) { L2_ENDIS_TP200(a.Int()); },
    [](Arguments &) { PH9_Update(); },
    [](Arguments &) { PH9_MANMODE(); },
    [](Arguments &) { PH9_AUTOMODE(); },
    [](Arguments &a) { PH9_SetPosition(a.Double(), a.Double(), a.Int(), a.Unsigned()); },
    [](Arguments &) { L2S_StartScan(); },
    [](Arguments &a) { L2HI_WORKER(nullptr, a.Unsigned(), 0, 0); },
    [](Arguments &a) { platform::World::Instance().Pass(a.input.Byte() * platform::kMillisecond); },
};

// Calls that open or close the arm, which the next run must undo: one a run.
void OpenOrClose(Arguments &a) {
    a.waits = 0;
    if (a.input.Bit()) return CallInit(a);
    L2_DONE(a.Int());
}

void Call(Arguments &a) {
    const unsigned number = a.input.Byte();
    if (number < 160) return kCalls[number % std::size(kCalls)](a);
    if (a.waits-- <= 0) return;
    if (number == 255 && a.Int() == 7) return OpenOrClose(a);
    kWaitingCalls[number % std::size(kWaitingCalls)](a);
}

}  // namespace

// Byte 0: bit 0 open, bit 1 queues right before their ends. Then calls, by number.
void Exports(const uint8_t *data, size_t size) {
    Input input(data, size);
    const uint8_t start = input.Byte();
    const bool open = (start & 1) != 0;
    ArmContext &arm = Renew(open, (start & 2) != 0 ? -2 : 0);
    Look(open);
    Arguments arguments{input, kMostWaits};
    while (!input.IsEmpty()) Call(arguments);
    CheckRecords(arm);
}

}  // namespace cc::fuzz
