// The client's moves: what it files and when, and what the library tells of them.
#include <cmath>

#include "arm/arm_context.h"
#include "client.h"
#include "platform/virtual/world.h"

namespace campaign {
namespace {

using namespace emulator;

// Each axis of both ends of the way is truncated to a count, and the point rounded to one: three axes, one and a half.
constexpr double kPointTolerance = 0.0003;
constexpr uint32_t kPointIds = 60000;

Vector RandomDirection(Random &random) {
    // The upper half, so that the ways around the sphere stay short.
    const double azimuth = random.Real(0, 6.283);
    const double height = random.Real(0, 1);
    const double radius = std::sqrt(1 - height * height);
    return {radius * std::cos(azimuth), radius * std::sin(azimuth), height};
}

std::string Words(const FiledMove &move) {
    return (move.probing ? "probing move " + std::to_string(move.id) : "move") + " with report code " +
           std::to_string(move.reportCode);
}

}  // namespace

FiledMove *Client::OldestMove(int arm) {
    std::vector<FiledMove> &moves = AccountOf(arm).moves;
    size_t &first = Of(arm).firstOpen;
    while (first < moves.size() && moves[first].end != FiledMove::End::Open) ++first;
    return first < moves.size() ? &moves[first] : nullptr;
}

void Client::EndOpenMoves(int arm, FiledMove::End end) {
    for (FiledMove *move = OldestMove(arm); move != nullptr; move = OldestMove(arm)) move->end = end;
}

bool Client::MovesAreDoubtful(int arm) const {
    const LinkPeer::Doubtful &now = arms_[arm - 1].farEnd->Machine().DoubtfulMessages();
    return now.lost + now.twice > 0;
}

// What the controller said may have been lost or come twice; the classic line may also run a move twice.
void Client::Misreported(int arm, const std::string &what) {
    if (!Of(arm).telling) return;
    Of(arm).telling = false;
    if (FarEndOf(arm).HasJumped()) {
        account_.Meet("both lines: moves misreported, as the controller changed its state by itself");
    } else if (MovesAreDoubtful(arm)) {
        account_.Meet(
            "both lines: moves misreported, as the controller gave a message up or sent it again behind a "
            "start-link");
    } else if (plan_.lineMode == 0) {
        account_.Meet("classic line: moves misreported, as one ran twice or a reply was lost");
    } else {
        account_.Break("each move ends once", what);
    }
}

void Client::OnMoveDone(int arm, uint32_t info) {
    if (Of(arm).scanning || PlanOf(arm).simulated) return;
    FiledMove *const move = OldestMove(arm);
    if (move == nullptr) return Misreported(arm, "done with no move filed, info " + std::to_string(info));
    if (move->reportCode != info || (move->probing && !move->pointSeen))
        return Misreported(arm, Words(*move) + " was reported as done with info " + std::to_string(info));
    move->end = FiledMove::End::Done;
}

void Client::OnPoint(int arm, uint32_t info, const PointRecord &point) {
    if (info != CC_POINT_BUFFERED || PlanOf(arm).simulated || !Of(arm).telling) return;
    FiledMove *const move = OldestMove(arm);
    if (move == nullptr || !move->probing || move->pointSeen || move->id != point.tag)
        return Misreported(arm, "a point with id " + std::to_string(point.tag) + " while the oldest is " +
                                    (move == nullptr ? "no move" : Words(*move)));
    move->pointSeen = true;
    const SpherePart sphere;
    const Vector touched = Vector{point.position[0], point.position[1], point.position[2]} -
                           (sphere.centre + sphere.SurfaceAt(move->direction) * move->direction);
    const Vector approach{point.approach[0], point.approach[1], point.approach[2]};
    if (Length(approach + move->direction) > 1e-12)
        account_.Break("points belong to their moves", Words(*move) + " came with another one's approach");
    if (Length(touched) <= kPointTolerance) return;
    // A machine that is pulled out of its zeroing begins its next move from where that stopped it.
    if (FarEndOf(arm).HasJumped()) return Misreported(arm, {});
    account_.Break("points belong to their moves", Words(*move) + " came with a point " +
                                                       std::to_string(Length(touched)) + " mm off its way");
}

void Client::OnRejection(int arm, uint32_t info) {
    AccountOf(arm).resets.push_back(cc::platform::World::Instance().Now());
    Of(arm).mayFile = false;
    Of(arm).scanning = false;
    // A loss of the link leaves what was sent before it; Rest settles that.
    if (info != CC_LINK_LOST) EndOpenMoves(arm, FiledMove::End::Rejected);
}

void Client::ResetMoves(int arm) {
    CC_BUFFRESET(static_cast<int16_t>(arm));
    Reset(arm);
}

void Client::Reset(int arm) {
    AccountOf(arm).resets.push_back(cc::platform::World::Instance().Now());
    EndOpenMoves(arm, FiledMove::End::Reset);
    Of(arm).mayFile = false;
    Of(arm).scanning = false;
}

void Client::File(int arm, Random &random) {
    const auto number = static_cast<int16_t>(arm);
    if (!IsOpen(arm) || !Of(arm).mayFile || Of(arm).scanning || CC_GETSTATUS(number) != CC_STATUS_MEASURING)
        return;
    std::vector<FiledMove> &moves = AccountOf(arm).moves;
    const SpherePart sphere;
    for (int left = random.Scaled(1, 40); left > 0; --left) {
        // A probing move and its way there and back take four entries of the history.
        for (const int16_t ahead : {1, 2, 3, 4}) {
            if (CC_CANSEND(number, ahead) == 0) return;
        }
        const int own = NextNumber();
        const double away = own % 10000 * kLinearScale;  // makes each message the only one of its bytes
        const auto file = [&](uint32_t code) { moves.push_back({.reportCode = code}); };
        switch (random.Below(8)) {
            case 0:
            case 1:
            case 2: {
                const Vector direction = RandomDirection(random);
                const Vector outside = sphere.centre + (20 + away) * direction;
                const Vector inside = sphere.centre + 12 * direction;
                const auto id = static_cast<uint32_t>(own % kPointIds);
                for (const bool probing : {false, true, false}) {
                    const Vector &target = probing ? inside : outside;
                    const double position[6] = {target[0],     target[1],     target[2],
                                                -direction[0], -direction[1], -direction[2]};
                    moves.push_back({.reportCode = probing ? 1u : 0u,
                                     .probing = probing,
                                     .id = id,
                                     .direction = direction});
                    CC_MOVE(number, probing ? 2 : 0, position, id, 1, nullptr, nullptr, 0);
                }
                break;
            }
            case 3: {
                const double step[6] = {away, random.Real(-0.1, 0.1), random.Real(0, 1)};
                file(CC_REPORT_INCREMENTAL);
                CC_MOVEINCR(number, step, 0, random.Chance(0.5));
                break;
            }
            case 4: {
                const bool incremental = random.Chance(0.5);
                const double count = incremental ? kLinearScale : kWristScale;
                const double angles[6] = {(own % 100 + 0.5) * count, (own / 100 % 100 + 0.5) * count};
                file(incremental ? CC_REPORT_INCREMENTAL : CC_REPORT_MOVE);
                (incremental ? CC_MOVEWRISTINCR : CC_MOVEWRIST)(number, angles, 0, 0);
                break;
            }
            case 5: {
                const double angle[6] = {(own % 1000 + 0.5) * kLinearScale};
                const bool incremental = random.Chance(0.5);
                file(incremental ? CC_REPORT_INCREMENTAL : CC_REPORT_MOVE);
                (incremental ? CC_MOVEINCRRT : CC_MOVERT)(number, angle, 0, 0);
                break;
            }
            case 6: {
                const bool on = random.Chance(0.5);
                file(on ? CC_REPORT_TF_ON : CC_REPORT_TF_OFF);
                CC_TFMODE(number, on);
                break;
            }
            default:
                file(CC_REPORT_FLY_LENGTH);
                CC_FLYLEN(number, 0.001 + away);
                break;
        }
    }
}

bool Client::Rest(int arm) {
    if (!HasLine(arm)) {
        Loop(1000);
        return true;
    }
    const cc::ArmContext &context = cc::SelectArm(static_cast<int16_t>(arm));
    const auto atRest = [&] {
        const cc::MessageQueues &queues = context.link.queues;
        return FarEndOf(arm).IsAtRest() && !queues.sendQueue[queues.sendRead].IsBusy() &&
               !queues.replyQueue[queues.replyRead].IsBusy() &&
               (CC_MOVING(static_cast<int16_t>(arm)) == 0 || CC_GETSTATUS(static_cast<int16_t>(arm)) != 1);
    };
    for (int quiet = 0, waited = 0; quiet < 2; ++waited) {
        if (waited == 120) return false;
        Loop(1009);  // no multiple of the period of streamed coordinates
        quiet = atRest() ? quiet + 1 : 0;
    }
    Arm &own = Of(arm);
    if (OldestMove(arm) != nullptr && own.mayFile &&
        CC_GETSTATUS(static_cast<int16_t>(arm)) == CC_STATUS_MEASURING)
        Misreported(arm, Words(*OldestMove(arm)) + " ended in nothing, the machine is at rest");
    return true;
}

bool Client::Prepare(int arm) {
    const auto number = static_cast<int16_t>(arm);
    if (!IsOpen(arm)) return false;
    Arm &own = Of(arm);
    if (own.mayFile && CC_GETSTATUS(number) == CC_STATUS_MEASURING) return true;
    own.mayFile = false;
    if (!Rest(arm)) return false;
    // Those of a lost link; the others have ended.
    EndOpenMoves(arm, FiledMove::End::Rejected);
    ResetMoves(arm);
    for (const int16_t status : {CC_ORDER_READY, CC_ORDER_MEASURING}) {
        Run(arm, "CC_SETSTATUS " + std::to_string(status), Promise::Nothing,
            kAckMs + CompletionMs(arm) + 2000, 0, [&] { return CC_SETSTATUS(number, status); });
    }
    Loop(500);
    own.mayFile = CC_GETSTATUS(number) == CC_STATUS_MEASURING && FarEndOf(arm).IsAtRest();
    own.telling = own.mayFile;
    return own.mayFile;
}

void Client::Scan(Random &random) {
    if (!Prepare(1) || !Rest(1) || OldestMove(1) != nullptr) return;
    const double x = 100 + NextNumber() % 10000 * kLinearScale, y = 80, step = random.Real(0.2, 2);
    L2S_SetTargetPoint(&x, &y);
    L2S_SetMaxMinStep(&step, &step);
    Of(1).scanning = true;
    const int started =
        Run(1, "L2S_StartScan", Promise::Nothing, 3 * CompletionMs(1), 0, [] { return L2S_StartScan(); });
    if (started == 0) return ResetMoves(1);
    for (int seconds = random.Between(1, 30); seconds > 0 && Of(1).scanning; --seconds) Loop(1000);
    if (Of(1).scanning) Run(1, "L2S_StopScan", Promise::Nothing, kSlackMs, 0, [] { return L2S_StopScan(); });
    for (int seconds = 0; seconds < 20 && Of(1).scanning; ++seconds) Loop(1000);
    if (Of(1).scanning) ResetMoves(1);
}

}  // namespace campaign
