#include "calls.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace campaign {
namespace {

/// A buffer that the library fills, with bytes behind it that it must leave alone.
template <size_t size>
class Guarded {
  public:
    explicit Guarded(Account &account) : account_(account) { bytes_.fill(kGuard); }
    ~Guarded() {
        if (std::any_of(bytes_.begin() + size, bytes_.end(), [](uint8_t byte) { return byte != kGuard; }))
            account_.Break("memory behind buffers is untouched",
                           std::to_string(size) + " bytes were overrun");
    }
    Guarded(const Guarded &) = delete;
    Guarded &operator=(const Guarded &) = delete;

    template <typename Value>
    Value *As() {
        return reinterpret_cast<Value *>(bytes_.data());
    }

  private:
    static constexpr uint8_t kGuard = 0xA5;
    Account &account_;
    alignas(8) std::array<uint8_t, size + 64> bytes_;
};

/// One call: who makes it, of which arm, with which random arguments.
struct Turn {
    Client &client;
    Account &account;
    int arm;
    Random &random;

    int16_t Number() const { return static_cast<int16_t>(arm); }
    /// A number for an argument that makes the message the only one of its bytes.
    int16_t Own() const { return static_cast<int16_t>(client.NextNumber()); }
    int Completion() const { return client.CompletionMs(arm); }
    int16_t OnOff() const { return static_cast<int16_t>(random.Below(2)); }
    template <typename... All>
    auto Use(All... all) const {
        return client.Use(arm, all...);
    }
    int Run(const std::string &text, Promise promise, int limitMs, const std::function<int()> &call) const {
        return client.Run(arm, text, promise, limitMs, 0, call);
    }
};

using enum Promise;
constexpr int kAck = Client::kAckMs;
constexpr int kAtOnce = Client::kSlackMs;

void Feed(const Turn &turn) {
    const int16_t feed = turn.Own();
    turn.Run("CC_FEED " + std::to_string(feed), Acknowledged, kAck,
             [&] { return turn.Use(CC_FEED, L2_FEED, feed); });
}

void Info(const Turn &turn) {
    Guarded<48> out(turn.account);
    turn.Run("CC_INFO", Nothing, kAck + turn.Completion() + turn.client.RestartMs(turn.arm),
             [&] { return turn.Use(CC_INFO, L2_INFO, out.As<void>()); });
}

void StoredInfo(const Turn &turn) {
    const int own = turn.Own();
    uint8_t record[10] = {1, 2, 3, 4, 5, 6};
    std::memcpy(record + 6, &own, sizeof own);
    turn.Run("CC_SETINFO", Acknowledged, kAck + turn.Completion(),
             [&] { return turn.Use(CC_SETINFO, L2_SETINFO, record); });
    Guarded<10> out(turn.account);
    turn.Run("CC_GETINFO", Acknowledged, kAck + turn.Completion(),
             [&] { return turn.Use(CC_GETINFO, L2_GETINFO, out.As<void>()); });
}

void Words(const Turn &turn) {
    Guarded<4> words(turn.account);
    const int16_t own = turn.Own();
    std::memcpy(words.As<void>(), &own, sizeof own);
    if (turn.random.Chance(0.5))
        turn.Run("CC_IO write", Nothing, kAtOnce,
                 [&] { return turn.Use(CC_IO, L2_IO, CC_IO_WRITE, words.As<uint16_t>()); });
    turn.Run("CC_IO read", Answered, turn.Completion(),
             [&] { return turn.Use(CC_IO, L2_IO, CC_IO_READ, words.As<uint16_t>()); });
}

void Parameters(const Turn &turn) {
    const auto set = static_cast<int16_t>(turn.random.Between(1, 9));
    Guarded<40> out(turn.account);
    turn.Run("CC_READ_PARAM " + std::to_string(set), Answered, turn.Completion(),
             [&] { return turn.Use(CC_READ_PARAM, L2_READ_PARAM, set, out.As<double>()); });
}

void Coordinates(const Turn &turn) {
    const int limit = kAck + turn.Completion();
    switch (turn.random.Below(6)) {
        case 0:
            turn.Run("CC_GETWRISTCOORD", Acknowledged, limit,
                     [&] { return CC_GETWRISTCOORD(turn.Number()); });
            return;
        case 1:
            turn.Run("CC_GETRTCOORD", Acknowledged, limit, [&] { return CC_GETRTCOORD(turn.Number()); });
            return;
        default:
            turn.Run("CC_GETCOORD", Acknowledged, limit, [&] { return turn.Use(CC_GETCOORD, L2_GETCOORD); });
    }
}

void AskCoordinates(const Turn &turn) {
    const int16_t mode = turn.OnOff();
    turn.Run("CC_ASKCOORD " + std::to_string(mode), Nothing, kAtOnce, [&] {
        turn.Use(CC_ASKCOORD, L2_ASKCOORD, mode);
        return 0;
    });
}

void Temperatures(const Turn &turn) {
    turn.Run("CC_READTEMP", Nothing, kAtOnce, [&] { return CC_READTEMP(turn.Number()); });
}

void Status(const Turn &turn) {
    const int16_t status = turn.random.Pick<int16_t>({0, 1, 5, 5, 3});
    turn.Run("CC_SETSTATUS " + std::to_string(status), Sent, kAck + turn.Completion() + 2000,
             [&] { return turn.Use(CC_SETSTATUS, L2_SETSTATUS, status); });
}

void Zero(const Turn &turn) {
    const bool wrist = turn.random.Chance(0.3);
    if (turn.Run(wrist ? "CC_ZEROESAB" : "CC_ZEROES", Nothing, turn.Completion(),
                 [&] { return wrist ? CC_ZEROESAB(turn.Number()) : turn.Use(CC_ZEROES, L2_ZEROES); }) == 0)
        return;
    for (int seconds = 0; seconds < 10 && turn.client.Status(turn.arm) != CC_STATUS_READY; ++seconds)
        turn.client.Loop(1000);
}

void Emergency(const Turn &turn) {
    if (turn.random.Chance(0.5)) {
        const auto code = static_cast<int16_t>(turn.random.Below(256));
        const int64_t microseconds = turn.random.Scaled(1, 3000000);
        turn.client.Tell("another thread will order an emergency");
        return turn.client.OrderEmergencyLater(turn.arm, code, microseconds);
    }
    const auto code = static_cast<int16_t>(turn.random.Below(600));
    turn.Run("CC_EMERGENCY " + std::to_string(code), Queued, kAtOnce,
             [&] { return turn.client.OrderEmergency(turn.arm, code); });
}

void NumericControl(const Turn &turn) {
    const int16_t on = turn.OnOff();
    if (turn.random.Chance(0.5)) {
        turn.Run("CC_NCONOFF", Sent, kAck, [&] { return turn.Use(CC_NCONOFF, L2_NCONOFF, on); });
    } else {
        turn.Run("CC_NCONWAITSTART", Acknowledged, kAck + 7000,
                 [&] { return turn.Use(CC_NCONWAITSTART, L2_NCONWAITSTART, on); });
    }
}

void BufferOperation(const Turn &turn) {
    const auto operation = static_cast<int16_t>(turn.random.Below(3));
    const bool measuring = turn.client.Status(turn.arm) == CC_STATUS_MEASURING;
    // The buffer is emptied before anything is sent.
    if (operation == CC_OPBUF_RESET && measuring) turn.client.Reset(turn.arm);
    turn.Run("CC_OPBUF " + std::to_string(operation), Sent, kAck + turn.Completion(),
             [&] { return turn.Use(CC_OPBUF, L2_OPBUF, operation); });
}

void Axes(const Turn &turn) {
    uint8_t axes[251];
    std::fill(std::begin(axes), std::end(axes), static_cast<uint8_t>('X'));
    const auto count = static_cast<int16_t>(turn.random.Chance(0.9) ? turn.random.Between(1, 5)
                                                                    : turn.random.Between(-2, 260));
    const int16_t on = turn.OnOff();
    const int limit = kAck + 2 * turn.Completion() + 2000;
    turn.Run("CC_ENDIS_AXES", Nothing, limit,
             [&] { return turn.Use(CC_ENDIS_AXES, L2_ENDIS_AXES, on, count, axes); });
}

void Messages(const Turn &turn) {
    const int16_t on = turn.OnOff();
    if (turn.random.Chance(0.5)) {
        turn.Run("CC_ENDIS_STARTHOLD_MSG", Nothing, turn.Completion(),
                 [&] { return turn.Use(CC_ENDIS_STARTHOLD_MSG, L2_ENDIS_STARTHOLD_MSG, on); });
    } else {
        turn.Run("CC_ENDIS_TP200", Acknowledged, kAck + turn.Completion(),
                 [&] { return turn.Use(CC_ENDIS_TP200, L2_ENDIS_TP200, on); });
    }
}

// Messages that the client composes: A, S26, or a feed, awaited or not.
void FreeFrame(const Turn &turn) {
    const int16_t own = turn.Own();
    const uint8_t feed[] = {
        7, 1, 'F', '3', '4', 'W', static_cast<uint8_t>(own), static_cast<uint8_t>(own >> 8)};
    const uint8_t buffer[] = {4, 1, 'S', '2', '6'};
    const bool awaited = turn.random.Chance(0.5);
    const auto kind = static_cast<int16_t>(awaited ? CC_FRAME_AWAITED : turn.random.Pick({5, 5, 5, 3, 9}));
    const auto length = static_cast<int16_t>(awaited ? sizeof buffer : sizeof feed);
    turn.Run("CC_FREEFRAME kind " + std::to_string(kind), awaited ? Answered : Nothing, turn.Completion(),
             [&] {
                 return turn.Use(CC_FREEFRAME, L2_FREEFRAME, awaited ? buffer : feed,
                                 turn.random.Chance(0.05) ? int16_t{-1} : length, kind, 26 - 16);
             });
}

void Head(const Turn &turn) {
    const int limit = 3 * turn.client.HeadMs(turn.arm);
    Guarded<8> a(turn.account), b(turn.account);
    turn.Use(CC_PHGetPosition, PH9_GetPosition, a.As<double>(), b.As<double>());
    turn.Use(CC_PHLevePresent, PH9_LevePresent);
    turn.Use(CC_PHCurrentMode, PH9_CurrentMode);
    turn.Use(CC_PHMoving, PH9_Moving);
    switch (turn.random.Below(5)) {
        case 0:
            turn.Run("CC_PHUpdate", Nothing, limit, [&] { return turn.Use(CC_PHUpdate, PH9_Update); });
            return;
        case 1:
            turn.Run("CC_PHMANMODE", Nothing, limit, [&] { return turn.Use(CC_PHMANMODE, PH9_MANMODE); });
            return;
        case 2:
            turn.Run("CC_PHAUTOMODE", Nothing, limit, [&] { return turn.Use(CC_PHAUTOMODE, PH9_AUTOMODE); });
            return;
        default: {
            const double angleA = turn.random.Below(1800) / 10.0;
            const double angleB = turn.random.Chance(0.05) ? 1e30 : turn.random.Below(1800) / 10.0;
            const int16_t force = turn.OnOff();
            turn.Run("CC_PHSetPosition", Nothing, limit,
                     [&] { return turn.Use(CC_PHSetPosition, PH9_SetPosition, angleA, angleB, force, 0); });
        }
    }
}

void Motion(const Turn &turn) {
    if (!turn.client.Prepare(turn.arm)) return;
    turn.client.File(turn.arm, turn.random);
    turn.client.Loop(turn.random.Scaled(10, 20000));
}

void FromCallback(const Turn &turn) {
    turn.client.ActInCallback(turn.arm, Random(turn.random.Next()));
}

void ResetMoves(const Turn &turn) {
    turn.client.ResetMoves(turn.arm);
}

void Scan(const Turn &turn) {
    const double matrix[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1}, offset[3] = {}, radius = turn.random.Real(0, 5);
    L2S_SetRotMatrix(matrix, offset);
    L2S_SetTipRad(&radius);
    L2S_SetRegDepth(&radius, &radius);
    L2S_SetTreshold(&radius);
    if (turn.client.IsOpen(1) && turn.client.HasLine(1)) turn.client.Scan(turn.random);
}

void TakeCounters(const Turn &turn) {
    int16_t taken[4];
    for (int16_t &counter : taken) counter = CreateCounter();
    turn.client.Loop(turn.random.Scaled(10, 500));
    for (const int16_t counter : taken) {
        GetCounter(counter);
        DeleteCounter(counter);
    }
}

void Reopen(const Turn &turn) {
    if (turn.client.IsOpen(turn.arm)) turn.client.Close(turn.arm, static_cast<int16_t>(turn.random.Below(3)));
    MakeCall(turn.client, turn.arm, turn.random);
    turn.client.Open(turn.arm);
}

void OtherRoads(const Turn &turn) {
    uint32_t table[512];
    for (uint32_t i = 0; i < 512; ++i) table[i] = i;
    turn.Use(CC_STORE_COSDAT, L2_STORE_COSDAT, table);
    L2_SETDISTDEPTH(1, 2);
    L2HI_WORKER_TEMP();
    LEV2_MANAGER(static_cast<uint32_t>(turn.random.Below(50)), 0, 0, 0, 0);
    LEV2_MANSOM(nullptr);
    Guarded<sizeof(CC_LinkStatistics)> statistics(turn.account);
    Guarded<5 * sizeof(CC_LinkFrame)> history(turn.account);
    CC_LINK_STATISTICS(turn.Number(), statistics.As<CC_LinkStatistics>());
    CC_LINK_HISTORY(turn.Number(), history.As<CC_LinkFrame>(), 5);
}

constexpr struct {
    int weight;
    void (*make)(const Turn &);
} kCalls[] = {{8, Feed},        {3, Info},           {4, StoredInfo},      {8, Words},        {4, Parameters},
              {4, Coordinates}, {2, AskCoordinates}, {2, Temperatures},    {4, Status},       {2, Zero},
              {3, Emergency},   {3, NumericControl}, {2, BufferOperation}, {2, Axes},         {2, Messages},
              {3, FreeFrame},   {3, Head},           {20, Motion},         {4, FromCallback}, {1, ResetMoves},
              {2, Scan},        {1, TakeCounters},   {1, Reopen},          {1, OtherRoads}};

}  // namespace

void MakeCall(Client &client, int arm, Random &random) {
    int all = 0;
    for (const auto &call : kCalls) all += call.weight;
    int place = random.Below(all);
    const auto *call = std::begin(kCalls);
    for (; place >= call->weight; ++call) place -= call->weight;
    call->make({client, client.TheAccount(), arm, random});
}

bool Works(Client &client, int arm) {
    uint16_t words[2] = {};
    return client.Run(arm, "CC_IO read", Promise::Answered, client.CompletionMs(arm), 0,
                      [&] { return client.Use(arm, CC_IO, L2_IO, CC_IO_READ, words); }) == 1;
}

}  // namespace campaign
