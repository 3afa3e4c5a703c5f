#include "measure/probing.h"

#include <algorithm>

namespace cmm {
namespace {

using Eigen::Vector3d;

constexpr double kUpper = 0.7;  // sine of the lowest latitude of a sphere that is probed from above

// Moves of the arm, leaving out those that lead nowhere.
class Traveller {
  public:
    explicit Traveller(Arm &arm) : arm_(arm), place_(arm.Position()) {}

    void Go(const Vector3d &place) {
        constexpr double kNowhere = 1e-3;  // mm
        if ((place - place_).norm() < kNowhere) return;
        arm_.Move(place);
        place_ = place;
    }
    void Go(const std::vector<Vector3d> &places) {
        for (const Vector3d &place : places) Go(place);
    }
    void GoBack(std::vector<Vector3d> places) {
        std::reverse(places.begin(), places.end());
        Go(places);
    }
    const Vector3d &Place() const { return place_; }

  private:
    Arm &arm_;
    Vector3d place_;
};

}  // namespace

std::vector<Vector3d> ProbePoints(Arm &arm, Console &console, const Geometry &geometry,
                                  const Approach &approach, const std::vector<ProbingPoint> &plan,
                                  const std::vector<Vector3d> &targets) {
    const Vector3d safe = SafePlace(geometry, approach);
    Traveller traveller(arm);
    const double height = std::max(safe.z(), traveller.Place().z());
    traveller.Go(
        {{traveller.Place().x(), traveller.Place().y(), height}, {safe.x(), safe.y(), height}, safe});
    arm.onTurn = [&] { console.Progress("Probing", arm.Touched().size(), plan.size(), "points"); };

    const auto probe = [&](size_t begin, size_t end) {
        for (size_t i = begin; i < end; ++i) {
            const Vector3d outside = plan[i].nominal + approach.clearance * plan[i].direction;
            traveller.Go(i == begin ? WayIn(geometry, approach, outside)
                                    : WayAlong(geometry, approach, traveller.Place(), outside));
            traveller.Go(outside);
            arm.Probe(targets[i], -plan[i].direction, plan[i].id);
            arm.Move(outside);
        }
        if (begin < end) traveller.GoBack(WayIn(geometry, approach, traveller.Place()));
        traveller.Go(safe);
        arm.Settle();
    };

    size_t lower = plan.size();
    if (geometry.shape == Shape::Sphere && arm.HasHead()) {
        const auto isLower = [](const ProbingPoint &point) { return point.direction.z() < kUpper; };
        lower = static_cast<size_t>(std::find_if(plan.begin(), plan.end(), isLower) - plan.begin());
    }
    arm.Settle();
    if (arm.HasHead()) arm.TurnHead(0, 0);
    probe(0, lower);
    if (lower < plan.size()) {
        arm.TurnHead(45, -90);
        probe(lower, plan.size());
    }
    arm.onTurn = nullptr;
    console.EndProgress();

    std::vector<Vector3d> measured;
    for (const ProbingPoint &point : plan) {
        const auto found = arm.Touched().find(point.id);
        if (found == arm.Touched().end())
            throw Failure(kWorkFailed, "point " + std::to_string(point.id) + " did not come back",
                          "Has the move buffer been reset by another program?");
        measured.push_back(found->second);
    }
    return measured;
}

}  // namespace cmm
