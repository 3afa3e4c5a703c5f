#include "measuring_arm.h"

#include <cmath>
#include <fstream>

#include "cc_interface_posix.h"
#include "timed_calls.h"

namespace soak {

MeasuringArm *measuringArms[kArms] = {};

namespace {

using namespace emulator;

constexpr double kOutside = 25;  // mm from the centre
constexpr double kInside = 12;
constexpr double kPointTolerance = 0.01;  // mm
// The slowest seen took 13 s: waits for acknowledgements that were lost with the line, and the closing and opening of a
// classic line.
constexpr int64_t kRecoveryLimit = 40 * soak::kSecond;
constexpr double kParameter = 6;  // set 1 of the emulated controller

const SpherePart sphere;

template <int index>
void OnEventOf(int32_t event, uint32_t info, void *data) {
    measuringArms[index]->OnEvent(event, info, data);
}

Vector Unit(const Vector &v) {
    return (1 / Length(v)) * v;
}

}  // namespace

MeasuringArm::MeasuringArm(Shared &shared, const std::string &folder, int16_t number, uint64_t seed)
    : shared_(shared),
      iniPath_(folder + "/arm" + std::to_string(number) + ".ini"),
      number_(number),
      random_(seed) {}

template <typename Call>
auto MeasuringArm::Do(CallKind kind, Call call, double more) {
    return Timed(shared_, kind, call, more);
}

void MeasuringArm::Run(int milliseconds) {
    Do(
        kLoopRun,
        [&] {
            CC_LOOP_RUN(milliseconds);
            return true;
        },
        milliseconds / 1000.0);
}

uint32_t MeasuringArm::StartLinks() {
    CC_LinkStatistics statistics{};
    CC_LINK_STATISTICS(number_, &statistics);
    return statistics.startLinksReceived;
}

uint32_t MeasuringArm::NextSerial() {
    if (++serial_ == kSerials) Broken(shared_, "no serial numbers are left");
    return serial_ | (prompt_ ? kPromptSerial : 0);
}

// ---- opening and closing

bool MeasuringArm::Open(bool prompt) {
    prompt_ = prompt;
    shared_.prompt[number_ - 1] = prompt;
    std::ofstream(iniPath_) << "[Timers]\nLo Period=10\nHi Period=20\ntimeout=" << kTimeout
                            << "\nPH9 timeout=" << kHeadTimeout << "\nLine mode=" << (prompt ? 1 : 0) << "\n";
    const std::string port = "COM" + std::to_string(2 * number_ - 1);
    const std::string headPort = "COM" + std::to_string(2 * number_);
    headUnplugs_ = shared_.headUnplugs;
    lost_ = true;
    ++shared_.openings;
    open_ = Do(kInit, [&] {
        return CC_INIT(nullptr, number_, number_ == 1 ? OnEventOf<0> : OnEventOf<1>, port.c_str(),
                       headPort.c_str(), 1, kScale, 1, 0, iniPath_.c_str()) == CC_OK;
    });
    ControllerInfo information;
    if (open_) Do(kStart, [&] { return CC_START(number_, &information, OneIn(random_, 2) ? 1 : 0); });
    return open_;
}

void MeasuringArm::Close() {
    CC_LinkStatistics statistics{};
    Do(kStatistics, [&] { return CC_LINK_STATISTICS(number_, &statistics); });
    shared_.repeated += statistics.framesRepeated;
    shared_.givenUp += statistics.framesGivenUp;
    Do(kDone, [&] {
        CC_DONE(number_, CC_SHUTDOWN_READY);
        return true;
    });
    open_ = false;
}

// ---- what comes

void MeasuringArm::OnEvent(int32_t event, uint32_t info, const void *data) {
    switch (event) {
        case CC_EVENT_LINK:
            if (info != CC_LINK_LOST) return;
            ++shared_.losses;
            lost_ = true;
            return;
        case CC_EVENT_MOVE_REJECTED:
            ++shared_.rejections;
            lost_ = true;
            return;
        case CC_EVENT_EMERGENCY:
        case CC_EVENT_EMERGENCY_51:
            lost_ = true;
            return;
        case CC_EVENT_MOVE_DONE:
            ++shared_.movesDone;
            ++movesDone_;
            return;
        case CC_EVENT_COORDINATES: {
            const auto &point = *static_cast<const PointRecord *>(data);
            if (point.tag != CC_TAG_MACHINE) return;
            positionKnown_ = true;
            position_ = {point.position[0], point.position[1], point.position[2]};
            return;
        }
        case CC_EVENT_POINT:
            return CheckPoint(info, *static_cast<const PointRecord *>(data));
        default:
            return;
    }
}

void MeasuringArm::CheckPoint(uint32_t info, const PointRecord &point) {
    ++shared_.points;
    ++points_;
    const Vector position{point.position[0], point.position[1], point.position[2]};
    const double off = sphere.Distance(position);
    if (std::abs(off) > kPointTolerance)
        Broken(shared_, "arm %d: a point lies %.4f mm off the part", number_, off);
    if (info != CC_POINT_BUFFERED) return;
    if (!prompt_) return;  // it may run a move twice, and points go to the wrong moves then
    // A controller that starts the link anew sends again what it does not know to have been taken. Points may be given to
    // the wrong moves until both sides are brought together.
    if (lost_ || StartLinks() != startLinks_) {
        lost_ = true;
        return;
    }
    if (point.tag >= std::size(filed_) || filed_[point.tag].epoch != epoch_)
        Broken(shared_, "arm %d: a point carries the id %u, which was not filed", number_, point.tag);
    Filed &filed = filed_[point.tag];
    if (filed.reported) Broken(shared_, "arm %d: the point with the id %u came twice", number_, point.tag);
    filed.reported = true;
    const Vector expected = sphere.centre + sphere.SurfaceAt(filed.direction) * filed.direction;
    if (Length(position - expected) > 10 * kPointTolerance)
        Broken(shared_, "arm %d: the point with the id %u is %.4f mm from where it was probed", number_,
               point.tag, Length(position - expected));
}

// ---- work

bool MeasuringArm::Reaches(int16_t status, int16_t order) {
    Do(kSetStatus, [&] { return CC_SETSTATUS(number_, order); });
    for (int i = 0; i < 10 && CC_GETSTATUS(number_) != status; ++i) Run(20);
    return CC_GETSTATUS(number_) == status;
}

bool MeasuringArm::Resynchronise() {
    ++shared_.resyncs;
    // Replies come in order: once the controller has told that it does not measure, none to a move comes any more.
    if (!Reaches(CC_STATUS_READY, CC_ORDER_READY)) return false;
    lost_ = false;
    ++epoch_;
    startLinks_ = StartLinks();
    Do(kBuffReset, [&] {
        CC_BUFFRESET(number_);
        return true;
    });
    movesDone_ = points_ = 0;
    positionKnown_ = false;
    if (!Reaches(CC_STATUS_MEASURING, CC_ORDER_MEASURING)) lost_ = true;
    Do(kOpBuf, [&] { return CC_OPBUF(number_, CC_OPBUF_RESET); });
    Do(kGetCoord, [&] { return CC_GETCOORD(number_); });
    if (!positionKnown_ || CC_GETSTATUS(number_) != CC_STATUS_MEASURING) lost_ = true;
    if (lost_) return false;
    const Vector away = position_ - sphere.centre;
    if (Length(away) > 1) direction_ = Unit(away);
    FileMove(CC_MOVE_PLAIN, sphere.centre + kOutside * direction_, 0);
    return true;
}

void MeasuringArm::FileMove(int16_t mode, const Vector &target, uint32_t id) {
    const double position[6] = {target[0],      target[1],      target[2],
                                -direction_[0], -direction_[1], -direction_[2]};
    // The controller takes no notice of M.
    const double serial = (NextSerial() + 0.5) * kScale;
    Do(kMove, [&] {
        CC_MOVE(number_, mode, position, id, 1, &serial, nullptr, 0);
        return true;
    });
}

bool MeasuringArm::MayFile(int16_t entries) {
    for (int16_t ahead = 1; ahead <= entries; ++ahead) {
        if (CC_CANSEND(number_, ahead) == 0) return false;
    }
    return true;
}

void MeasuringArm::FileProbing() {
    if (!MayFile(4)) return;
    Vector turn;
    for (double &axis : turn) axis = std::uniform_real_distribution<double>(-0.4, 0.4)(random_);
    direction_ = Unit(direction_ + turn);
    id_ = static_cast<uint16_t>(id_ % 60000 + 1);
    filed_[id_] = {epoch_, direction_, false};
    FileMove(CC_MOVE_PLAIN, sphere.centre + kOutside * direction_, 0);
    FileMove(CC_MOVE_PROBING, sphere.centre + kInside * direction_, id_);
    FileMove(CC_MOVE_PLAIN, sphere.centre + kOutside * direction_, 0);
}

void MeasuringArm::FileAnything() {
    if (!MayFile(2)) return;
    Do(kFile, [&] {
        switch (Below(random_, 4)) {
            case 0:
                CC_SPEED(number_, CC_SPEED_0, static_cast<int16_t>(100 + Below(random_, 300)));
                break;
            case 1:
                CC_FLYONOFF(number_, static_cast<int16_t>(Below(random_, 2)));
                break;
            case 2:
                CC_FLYLEN(number_, 0.5);
                break;
            default:
                CC_TFMODE(number_, static_cast<int16_t>(Below(random_, 2)));
        }
        return true;
    });
}

void MeasuringArm::OrderAnything() {
    const auto on = static_cast<int16_t>(Below(random_, 2));
    const auto order = [&](CallKind kind, auto call) { Do(kind, call); };
    switch (Below(random_, 14)) {
        case 0:
        case 1: {
            const uint32_t serial = NextSerial();
            uint16_t words[2] = {static_cast<uint16_t>(serial), static_cast<uint16_t>(serial >> 16)};
            return order(kIoWrite, [&] { return CC_IO(number_, CC_IO_WRITE, words); });
        }
        case 2:
            return order(kFeed, [&] { return CC_FEED(number_, 50); });
        case 3: {
            const uint8_t record[10] = {1, 2, 3};
            return order(kSetInfo, [&] { return CC_SETINFO(number_, record); });
        }
        case 4:
            return order(kOpBuf, [&] { return CC_OPBUF(number_, CC_OPBUF_1); });
        case 5:
            return order(kNcOnOff, [&] { return CC_NCONOFF(number_, on); });
        case 6:
            return order(kTp200, [&] { return CC_ENDIS_TP200(number_, on); });
        case 7:
            return order(kStartHold, [&] { return CC_ENDIS_STARTHOLD_MSG(number_, on); });
        case 8:
            return order(kAskCoord, [&] {
                CC_ASKCOORD(number_, on);
                return true;
            });
        case 9:
            if (!OneIn(random_, 10)) return;
            return order(kHeadMode, [&] { return on != 0 ? CC_PHMANMODE(number_) : CC_PHAUTOMODE(number_); });
        case 10:
            if (!OneIn(random_, 4)) return;
            return order(kHeadTurn, [&] {
                return CC_PHSetPosition(number_, static_cast<double>(Below(random_, 90)), 7.5, 0, 0);
            });
        case 11:
            if (!OneIn(random_, 10)) return;
            lost_ = true;
            return order(kEmergency, [&] { return CC_EMERGENCY(number_, 1); });
        case 12: {
            if (!OneIn(random_, 10)) return;
            lost_ = true;
            const uint8_t axes[2] = {1, 8};
            return order(kAxes, [&] { return CC_ENDIS_AXES(number_, on, 2, axes); });
        }
        default:
            lost_ = true;
            return order(kSetStatus, [&] { return CC_SETSTATUS(number_, CC_ORDER_STOPPED); });
    }
}

void MeasuringArm::AskAnything() {
    uint8_t record[48];
    uint16_t words[2];
    double values[5];
    switch (Below(random_, 8)) {
        case 0:
            Do(kGetInfo, [&] { return CC_GETINFO(number_, record); });
            return;
        case 1:
            Do(kIoRead, [&] { return CC_IO(number_, CC_IO_READ, words); });
            return;
        case 2:
            Do(kReadParam,
               [&] { return CC_READ_PARAM(number_, static_cast<int16_t>(1 + Below(random_, 7)), values); });
            return;
        case 3:
            Do(kReadTemp, [&] { return CC_READTEMP(number_); });
            return;
        case 4:
            Do(kGetCoord, [&] { return CC_GETCOORD(number_); });
            return;
        case 5:
            Do(kInfo, [&] { return CC_INFO(number_, record); });
            return;
        case 6:
            Do(kAsk, [&] { return CC_GETSTATUS(number_) + CC_MOVING(number_) + CC_PHMoving(number_) >= -1; });
            return;
        default:
            if (OneIn(random_, 4)) Do(kHeadUpdate, [&] { return CC_PHUpdate(number_); });
    }
}

void MeasuringArm::Work() {
    if (lost_ && !Resynchronise()) return Run(100);
    for (int64_t moves = Below(random_, 4); moves > 0; --moves) FileProbing();
    for (int64_t calls = Below(random_, 4); calls > 0; --calls) {
        const int64_t which = Below(random_, 5);
        if (which < 2) AskAnything();
        if (which == 2 || which == 3) OrderAnything();
        if (which == 4) FileAnything();
    }
    Run(static_cast<int>(Below(random_, 300)));
}

// ---- after the faults

bool MeasuringArm::AnswersRightly() {
    for (int i = 0; i < 100 && CC_MOVING(number_) != 0; ++i) Run(50);
    const uint32_t serial = NextSerial();
    uint16_t words[2] = {static_cast<uint16_t>(serial), static_cast<uint16_t>(serial >> 16)};
    Do(kIoWrite, [&] { return CC_IO(number_, CC_IO_WRITE, words); });
    uint16_t read[2] = {};
    if (!Do(kIoRead, [&] { return CC_IO(number_, CC_IO_READ, read); })) return false;
    double values[5] = {};
    if (!Do(kReadParam, [&] { return CC_READ_PARAM(number_, 1, values); })) return false;
    return read[0] == words[0] && read[1] == words[1] && std::abs(values[0] - kParameter) < 1e-9;
}

bool MeasuringArm::Probes() {
    FileProbing();
    for (int i = 0; i < 200 && !lost_ && !(filed_[id_].reported && CC_MOVING(number_) == 0); ++i) {
        Run(50);
        // Points of a classic line are not matched.
        if (!prompt_ && CC_MOVING(number_) == 0 && movesDone_ >= 4 && points_ > 0) return true;
    }
    return !lost_ && filed_[id_].reported;
}

// A head that was unplugged comes back when its arm is opened anew only.
bool MeasuringArm::HeadTurns() {
    if (shared_.headUnplugs != headUnplugs_) return true;
    Do(kHeadMode, [&] { return CC_PHAUTOMODE(number_); });
    const auto angle = static_cast<double>(Below(random_, 900)) / 10;
    return Do(kHeadTurn, [&] { return CC_PHSetPosition(number_, angle, -angle, 1, 0); });
}

void MeasuringArm::CheckWorks() {
    const int64_t begin = Now();
    if (open_ && !prompt_) Close();
    for (;;) {
        const bool isOpen = open_ || (!prompt_ && Open(false)) || Open(true);
        const bool works = isOpen && HeadTurns() && Resynchronise() && AnswersRightly() && Probes();
        const Recovery recovery{Now() - begin, number_, prompt_ ? 1 : 0, shared_.round};
        if (recovery.time > kRecoveryLimit)
            Broken(shared_, "arm %d, line mode %d, %s %.0f s after the faults", number_, recovery.lineMode,
                   works ? "works only" : "does not work",
                   static_cast<double>(recovery.time) / soak::kSecond);
        if (works) {
            if (recovery.time > shared_.slowestRecovery.time) shared_.slowestRecovery = recovery;
            return;
        }
        Run(100);
    }
}

}  // namespace soak
