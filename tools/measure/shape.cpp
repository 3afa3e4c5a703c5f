#include "measure/shape.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace cmm {

const std::vector<std::pair<std::string, Shape>> &ShapeNames() {
    static const std::vector<std::pair<std::string, Shape>> kNames = {{"sphere", Shape::Sphere},
                                                                      {"plane", Shape::Plane},
                                                                      {"circle", Shape::Circle},
                                                                      {"cylinder", Shape::Cylinder},
                                                                      {"points", Shape::Points}};
    return kNames;
}

std::string NameOf(Shape shape) {
    const auto &names = ShapeNames();
    const auto known = [shape](const auto &entry) { return entry.second == shape; };
    return std::find_if(names.begin(), names.end(), known)->first;
}

emulator::Vector ToPart(const Eigen::Vector3d &v) {
    return {v.x(), v.y(), v.z()};
}

Eigen::Vector3d FromPart(const emulator::Vector &v) {
    return {v[0], v[1], v[2]};
}

std::pair<Eigen::Vector3d, Eigen::Vector3d> AxesAcross(const Eigen::Vector3d &axis) {
    const auto [first, second] = emulator::AxesAcross(ToPart(axis));
    return {FromPart(first), FromPart(second)};
}

double Distance(const Geometry &geometry, const Eigen::Vector3d &place) {
    const Eigen::Vector3d arm = place - geometry.centre;
    const double height = arm.dot(geometry.axis);
    const double fromAxis = (arm - height * geometry.axis).norm();
    switch (geometry.shape) {
        case Shape::Sphere:
            return arm.norm() - geometry.radius;
        case Shape::Plane:
            return height;
        case Shape::Circle:
        case Shape::Cylinder:
            if (geometry.bore) return geometry.radius - fromAxis;
            return std::max(fromAxis - geometry.radius, std::abs(height) - geometry.length / 2);
        case Shape::Points:
            break;
    }
    return std::numeric_limits<double>::max();
}

double TopOf(const Geometry &geometry) {
    const double steep = std::abs(geometry.axis.z());
    const double flat = std::sqrt(std::max(0.0, 1 - steep * steep));
    double top = std::numeric_limits<double>::lowest();
    switch (geometry.shape) {
        case Shape::Sphere:
            return geometry.centre.z() + geometry.radius;
        case Shape::Plane:
            return geometry.centre.z() + flat * std::hypot(geometry.length, geometry.width) / 2;
        case Shape::Circle:
        case Shape::Cylinder:
            return geometry.centre.z() + steep * geometry.length / 2 + flat * geometry.radius;
        case Shape::Points:
            for (const ProbingPoint &point : geometry.points) top = std::max(top, point.nominal.z());
    }
    return top;
}

std::shared_ptr<const emulator::Part> EmulatedPart(const Geometry &geometry, double formError) {
    const emulator::Vector centre = ToPart(geometry.centre);
    const emulator::Vector axis = ToPart(geometry.axis);
    if (geometry.shape == Shape::Plane) {
        auto plate = std::make_shared<emulator::PlatePart>();
        plate->centre = centre;
        plate->normal = axis;
        plate->length = geometry.length;
        plate->width = geometry.width;
        plate->formAmplitude = formError / 2;
        return plate;
    }
    if (geometry.shape == Shape::Circle || geometry.shape == Shape::Cylinder) {
        auto cylinder = std::make_shared<emulator::CylinderPart>();
        cylinder->centre = centre;
        cylinder->axis = axis;
        cylinder->radius = geometry.radius;
        cylinder->length = geometry.length;
        cylinder->bore = geometry.bore;
        cylinder->formAmplitude = formError / 2;
        return cylinder;
    }
    auto sphere = std::make_shared<emulator::SpherePart>();
    sphere->centre = centre;
    sphere->radius = geometry.radius;
    sphere->formAmplitude = formError / 2;
    return sphere;
}

}  // namespace cmm
