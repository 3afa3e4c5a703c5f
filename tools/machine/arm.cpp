#include "machine/arm.h"

#include "format.h"
#include "machine/machine_words.h"
#include "machine/port_names.h"
#include "machine/worker_loop.h"

namespace cmm {
namespace {

using emulator::Format;

using std::chrono::seconds;

constexpr int16_t kArm = 1;
constexpr int16_t kExtendedStart = 1;
constexpr int kTurnMs = 20;
constexpr auto kLongestZeroing = seconds(300);
// With nothing heard for this long while moves are under way, the machine is asked where it is.
constexpr auto kQuiet = seconds(2);
// A machine with moves to execute that stands still for this long has been stopped by something.
constexpr auto kLongestRest = seconds(20);
constexpr int kStatusSeconds = 2;

constexpr char kNoAcknowledgement[] = "the controller no longer acknowledges what it is sent";
constexpr char kLookAtLine[] =
    "Look whether the machine stands still. Is the cable in the port, the controller switched on?";
constexpr char kResting[] = "nothing moved";

Arm *current = nullptr;  // the library's callback has no argument of the client's
std::atomic<bool> acknowledgementMissed{false};

void OnBox(const char *, void *) {
    acknowledgementMissed = true;
}

// Events that come with every point or in answer to a question, and are not news.
bool IsUsual(int32_t event, uint32_t info) {
    return event == CC_EVENT_MOVE_DONE || event == CC_EVENT_COORDINATES ||
           (event == CC_EVENT_POINT && info == CC_POINT_BUFFERED) ||
           (event == CC_EVENT_LINK && info == CC_LINK_IN_ORDER);
}

}  // namespace

// ---- opening

Arm::Arm(const ArmOptions &options, Console &console, OperatorStop &operatorStop)
    : console_(console), operatorStop_(operatorStop), port_(PortName(options.port)), doing_(kResting) {
    current = this;
    acknowledgementMissed = false;
    TakeBoxes(OnBox);
    operatorStop_.Enter(OperatorStop::Phase::Opening);
    try {
        Open(options);
    } catch (Failure &failure) {
        Stop(failure);
        operatorStop_.Enter(OperatorStop::Phase::NoArm);
        current = nullptr;
        throw;
    }
}

void Arm::Open(const ArmOptions &options) {
    const uint16_t flags = options.simulation ? CC_SIMULATION : 0;
    const uint16_t result = CC_INIT(nullptr, kArm, OnEvent, options.port.c_str(), nullptr, kExtendedStart,
                                    options.linearScale, 1.0, flags, options.iniFile.c_str());
    if (result != CC_OK) throw OpeningFailure(result, options.port, "controller");
    open_ = true;
    operatorStop_.Enter(OperatorStop::Phase::Open);
    if (!options.headPort.empty())
        head_ = std::make_unique<ProbeHead>(options.headPort, options.iniFile, [this] { Check(); });
    ControllerInfo info{};
    if (CC_START(kArm, &info, CC_START_AUTOMATIC) == 0)
        throw Failure(kNotReached, "the controller was not started", "Switch it off and on and try again.");
    Check();
    console_.Say("Arm 1 is open " + (options.simulation ? "in simulation" : "on " + port_) +
                 Format(": controller type %u, level %u", info.controllerType, info.controllerLevel) +
                 (head_ ? ", probe head on " + PortName(options.headPort) : ""));
}

Arm::~Arm() {
    Failure left(kWorkFailed, "the work was left");
    if (open_) Stop(left);
    current = nullptr;
    TakeBoxes(nullptr);
}

// ---- events

void Arm::OnEvent(int32_t event, uint32_t info, void *data) {
    if (current != nullptr) current->Note(event, info, data);
}

void Arm::Note(int32_t event, uint32_t info, void *data) {
    ++events_[{event, info}];
    if (!IsUsual(event, info) && !closing_) console_.Say("  " + EventWords(event, info, data));
    switch (event) {
        case CC_EVENT_POINT:
        case CC_EVENT_COORDINATES: {
            const auto &point = *static_cast<const PointRecord *>(data);
            const Eigen::Vector3d place(point.position[0], point.position[1], point.position[2]);
            if (event == CC_EVENT_POINT && info == CC_POINT_BUFFERED) {
                touched_[point.tag] = place;
                lastNews_ = Clock::now();
            } else if (event == CC_EVENT_COORDINATES && point.tag == CC_TAG_MACHINE) {
                if (place != position_) lastNews_ = Clock::now();
                position_ = place;
                ++positions_;
            }
            return;
        }
        case CC_EVENT_MOVE_DONE:
            if (!filed_.empty()) filed_.pop_front();
            lastNews_ = Clock::now();
            return;
        case CC_EVENT_HOLD:
            held_ = true;
            return;
        default:
            NoteFailure(event, info, data);
    }
}

void Arm::NoteFailure(int32_t event, uint32_t info, const void *data) {
    switch (event) {
        case CC_EVENT_LINK:
            linkLost_ = info != CC_LINK_IN_ORDER;
            if (linkLost_)
                Fail(kNotReached, "the link to the controller was lost while " + WhatRuns(), kLookAtLine);
            return;
        case CC_EVENT_EMERGENCY:
        case CC_EVENT_EMERGENCY_51:
            emergency_ = true;
            Fail(kWorkFailed,
                 "emergency while " + WhatRuns() + ": " + EmergencyCause(EmergencyCode(info, data)),
                 "Free the probe, release the emergency at the machine, then measure anew.");
            return;
        case CC_EVENT_MOVE_REJECTED:
            if (info == CC_LINK_LOST) return;  // the loss of the link was told
            Fail(kWorkFailed,
                 Format("move rejected (reason %u) while ", info) + WhatRuns() +
                     (info == 2 ? ": the probe met nothing where the part should be" : ""),
                 "Compare the part's place with the geometry given: its centre, its size, the tip's radius.");
            return;
        case CC_EVENT_RESUME:
            held_ = false;
            lastNews_ = resumed_ = Clock::now();
            if (data != nullptr && *static_cast<const uint8_t *>(data) == CC_WORD_RESET)
                Fail(kWorkFailed, "the controller was switched on anew while " + WhatRuns(),
                     "It has forgotten where the machine is: measure anew, from zeroing on.");
            return;
        default:
            return;
    }
}

void Arm::Fail(ExitStatus status, const std::string &cause, const std::string &advice) {
    if (!failure_) failure_.emplace(status, cause, advice);
}

std::string Arm::WhatRuns() const {
    for (const Filed &message : filed_) {
        if (!message.probing) continue;
        const bool touched = touched_.contains(message.pointId);
        return Format(touched ? "moving on from point %u" : "going to point %u", message.pointId);
    }
    return filed_.empty() ? doing_ : "moving";
}

// ---- waiting

void Arm::Run() {
    RunLoop(kTurnMs);
    if (ProbeHead::ErrorCode() != 0 && head_ && !failure_) {
        const auto code = static_cast<int16_t>(ProbeHead::ErrorCode());
        CC_EMERGENCY(kArm, code);
        Fail(kWorkFailed, EmergencyCause(static_cast<uint8_t>(code)),
             "See the head's manual for its error; switch it off and on.");
    }
    if (onTurn) onTurn();
    Check();
}

void Arm::Check() {
    if (operatorStop_.IsWanted()) throw Failure(kStopped, "stopped by the operator while " + WhatRuns());
    if (failure_) throw Failure(*failure_);
    if (acknowledgementMissed) {
        linkLost_ = true;
        throw Failure(kNotReached, kNoAcknowledgement, kLookAtLine);
    }
    const int16_t status = CC_GETSTATUS(kArm);
    // A hold may stop the controller, which tells its state a while after the resume.
    const bool isHeld = held_ || Clock::now() - resumed_ < seconds(kStatusSeconds);
    if (measuring_ && status != CC_STATUS_MEASURING && !isHeld)
        throw Failure(
            kWorkFailed,
            "the controller left measuring state while " + WhatRuns() + "; it is " + StatusWord(status) +
                " now",
            "Was it stopped at the machine, or did something guard it? Release it and measure anew.");
}

// Asks the machine where it is, which also tells of a line or a controller that is dead.
void Arm::Listen() {
    lastQuestion_ = Clock::now();
    const int before = positions_;
    const bool asked = CC_GETCOORD(kArm) != 0;
    if (failure_) return;
    if (asked && positions_ != before) return;
    if (asked) {
        Fail(kNotReached, "the controller does not tell where the machine is", kLookAtLine);
    } else {
        linkLost_ = true;
        Fail(kNotReached, kNoAcknowledgement, kLookAtLine);
    }
}

void Arm::CheckMotion() {
    const auto now = Clock::now();
    if (held_ || filed_.empty()) lastNews_ = now;
    if (now - lastNews_ > kQuiet && now - lastQuestion_ > kQuiet) Listen();
    Check();
    if (now - lastNews_ > kLongestRest)
        throw Failure(kWorkFailed, "the machine stands still while " + WhatRuns(),
                      "Are its drives on, the feed at the panel above 0, the air on?");
}

Eigen::Vector3d Arm::Position() {
    Listen();
    Check();
    return position_;
}

// ---- work

void Arm::Zero() {
    if (CC_ZEROES(kArm) == 0) {
        Check();
        throw Failure(kWorkFailed, "zeroing was refused", "Is the machine in emergency, are its drives on?");
    }
    doing_ = "zeroing";
    const auto begin = Clock::now();
    for (int16_t status = CC_STATUS_ZEROING; status != CC_STATUS_READY; status = CC_GETSTATUS(kArm)) {
        console_.Waiting("Zeroing");
        Run();
        if (status == CC_STATUS_STOPPED && !held_)
            throw Failure(kWorkFailed, "zeroing was broken off: the controller is stopped",
                          "Was it stopped at the machine? Release it and measure anew.");
        if (Clock::now() - begin > kLongestZeroing)
            throw Failure(kWorkFailed, "zeroing did not end in five minutes",
                          "Do the axes reach their reference marks?");
    }
    doing_ = kResting;
    console_.EndProgress();
    console_.Say("Zeroed");
}

void Arm::StartMeasuring() {
    const auto end = Clock::now() + seconds(kStatusSeconds);
    const bool ordered = CC_SETSTATUS(kArm, CC_ORDER_MEASURING) != 0;
    Check();
    while (ordered && CC_GETSTATUS(kArm) != CC_STATUS_MEASURING && Clock::now() < end) Run();
    if (CC_GETSTATUS(kArm) != CC_STATUS_MEASURING || CC_OPBUF(kArm, CC_OPBUF_RESET) == 0)
        throw Failure(kWorkFailed, "the controller does not go to measuring state",
                      "Is it in emergency or stopped at the machine?");
    measuring_ = true;
    Check();
}

void Arm::TurnHead(double a, double b) {
    Settle();
    console_.Say(Format("Head to A %.1f B %.1f", a, b));
    doing_ = "the probe head turned";
    // The worker does not run meanwhile; a question takes in what the controller has to say.
    head_->Turn(a, b, [this] {
        if (onTurn) onTurn();
        Listen();
        Check();
    });
    doing_ = kResting;
    Run();
}

void Arm::File(int16_t mode, const Eigen::Vector3d &target, const Eigen::Vector3d &approach,
               uint32_t pointId) {
    const bool probing = mode == CC_MOVE_PROBING;
    // A probing move takes two places of the history.
    const int16_t places = probing ? 2 : 1;
    if (filed_.empty()) lastNews_ = Clock::now();
    while (CC_CANSEND(kArm, 1) == 0 || CC_CANSEND(kArm, places) == 0) {
        Run();
        CheckMotion();
    }
    const double position[6] = {target.x(), target.y(), target.z(), approach.x(), approach.y(), approach.z()};
    filed_.push_back({probing, pointId});
    CC_MOVE(kArm, mode, position, pointId, 1, nullptr, nullptr, 0);
    ++(probing ? probingMoves_ : moves_);
}

void Arm::Move(const Eigen::Vector3d &target) {
    File(CC_MOVE_PLAIN, target, Eigen::Vector3d::Zero(), 0);
}

void Arm::Probe(const Eigen::Vector3d &target, const Eigen::Vector3d &approach, uint32_t pointId) {
    File(CC_MOVE_PROBING, target, approach, pointId);
}

void Arm::Settle() {
    do {
        Run();
        CheckMotion();
    } while (!filed_.empty());
}

// ---- closing

void Arm::Release(int16_t shutdownMode) {
    closing_ = true;
    if (head_) head_->BeginClosing();
    if (open_) CC_DONE(kArm, shutdownMode);
    open_ = false;
    head_.reset();
    operatorStop_.Enter(OperatorStop::Phase::NoArm);
}

bool Arm::Close() {
    measuring_ = false;
    Release(CC_SHUTDOWN_READY);
    console_.Say("Arm 1 is closed.");
    int unexplained = 0;
    for (const auto &[key, count] : events_) {
        const bool usual =
            IsUsual(key.first, key.second) || key.first == CC_EVENT_HOLD || key.first == CC_EVENT_RESUME;
        if (usual) continue;
        unexplained += count;
        console_.Say(Format("  %d times event %d with info %u", count, key.first, key.second));
    }
    const int points = events_[{CC_EVENT_POINT, CC_POINT_BUFFERED}];
    const int moves = events_[{CC_EVENT_MOVE_DONE, CC_REPORT_MOVE}];
    const int probings = events_[{CC_EVENT_MOVE_DONE, CC_REPORT_PROBING_MOVE}];
    const bool accounted =
        unexplained == 0 && points == probingMoves_ && probings == probingMoves_ && moves == moves_;
    console_.Say(
        Format("Events of the session: %d touch points, %d ends of probing moves, %d of other moves; ",
               points, probings, moves) +
        (accounted ? "each is accounted for" : "these are not the ones that the work explains"));
    return accounted;
}

// Drops what is left of the work and stops the machine, where the controller listens.
void Arm::OrderStop() {
    const size_t left = filed_.size();
    CC_BUFFRESET(kArm);
    if (left > 0) console_.Say(Format("  Moves dropped that were not done: %zu", left));
    if (head_ && head_->IsBusy())
        console_.Say("  The probe head cannot be stopped: it ends its turn by itself");
    if (linkLost_) {
        console_.Say(
            "  The controller cannot be told. It may still execute what it has: up to 14 moves. Press the "
            "emergency button if the machine moves.");
        return;
    }
    if (emergency_) {
        console_.Say("  The controller is in emergency and holds the machine");
        return;
    }
    if (CC_GETSTATUS(kArm) == CC_STATUS_MEASURING)
        console_.Say(CC_OPBUF(kArm, CC_OPBUF_RESET) != 0
                         ? "  The controller has dropped its buffer"
                         : "  The controller has not confirmed that its buffer is dropped");
    if (operatorStop_.IsEmergency()) return;
    CC_SETSTATUS(kArm, CC_ORDER_STOPPED);
    const int16_t status = CC_GETSTATUS(kArm);
    console_.Say(status == CC_STATUS_STOPPED
                     ? "  The machine is stopped"
                     : "  The machine has NOT confirmed the stop; it is " + StatusWord(status));
}

void Arm::Stop(Failure &failure) {
    if (!open_) return;
    onTurn = nullptr;
    measuring_ = false;
    console_.EndProgress();
    console_.Complain(failure);
    console_.Say("Stopping:");
    OrderStop();
    const bool emergency = emergency_ || linkLost_ || operatorStop_.IsEmergency();
    if (linkLost_)
        console_.Say("  The emergency is ordered, should the line come back while the arm is closed");
    Release(emergency ? CC_SHUTDOWN_EMERGENCY : CC_SHUTDOWN_READY);
    console_.Say(operatorStop_.IsEmergency() ? "  The arm is closed, the emergency ordered"
                 : emergency                 ? "  The arm is closed"
                                             : "  The arm is closed, the controller ready");
}

}  // namespace cmm
