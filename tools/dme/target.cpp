#include "dme/target.h"

#include <algorithm>

namespace cmm::dme {
namespace {

/// Where the value of an item goes.
std::optional<double> *SlotOf(Target &target, std::string_view name) {
    struct Slot {
        std::string_view name;
        std::optional<double> *value;
    };
    const Slot slots[] = {{"X", target.axes.data()}, {"Y", &target.axes[1]}, {"Z", &target.axes[2]},
                          {"R", &target.table},      {"Tool.A", &target.a},  {"Tool.B", &target.b},
                          {"Tool.C", &target.c}};
    for (const Slot &slot : slots)
        if (slot.name == name) return slot.value;
    return nullptr;
}

}  // namespace

Eigen::Vector3d Target::Over(const Eigen::Vector3d &place) const {
    return {axes[0].value_or(place.x()), axes[1].value_or(place.y()), axes[2].value_or(place.z())};
}

std::optional<Fault> ParseTarget(const Argument &call, Target &target) {
    for (const Argument &item : call.arguments) {
        const bool areNumbers =
            std::all_of(item.arguments.begin(), item.arguments.end(),
                        [](const Argument &value) { return value.kind == Argument::Kind::Number; });
        const Fault bad{ErrorNumber::BadArgument, call.text + ": " + item.text};
        if (item.text == "IJK") {
            if (item.arguments.size() != 3 || !areNumbers || target.direction) return bad;
            target.direction =
                Eigen::Vector3d(item.arguments[0].number, item.arguments[1].number, item.arguments[2].number);
            continue;
        }
        std::optional<double> *slot = SlotOf(target, item.text);
        if (!slot) return Fault{ErrorNumber::NotRecognized, call.text + ": " + item.text};
        if (item.arguments.size() != 1 || !areNumbers || slot->has_value()) return bad;
        *slot = item.arguments[0].number;
    }
    return std::nullopt;
}

}  // namespace cmm::dme
