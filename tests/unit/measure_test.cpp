// Fits and ways, with values by hand.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <stdexcept>

#include "machine/failure.h"
#include "measure/fit.h"
#include "measure/picture.h"
#include "measure/plan.h"
#include "measure/report.h"

namespace cmm::test {
namespace {

using Eigen::Vector3d;
using Points = std::vector<Vector3d>;

void ExpectNear(const Vector3d &value, const Vector3d &expected) {
    EXPECT_LT((value - expected).norm(), 1e-9) << value.transpose() << " instead of " << expected.transpose();
}

void ExpectDeviations(const Fit &fit, const std::vector<double> &expected) {
    ASSERT_EQ(fit.deviations.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) EXPECT_NEAR(fit.deviations[i], expected[i], 1e-9) << i;
}

TEST(Fits, Sphere) {
    // Radius 5 about (1, 2, 3), the points on one axis 0.1 farther, those on another 0.1 nearer.
    const Fit fit = FitSphere({{6.1, 2, 3}, {-4.1, 2, 3}, {1, 6.9, 3}, {1, -2.9, 3}, {1, 2, 8}, {1, 2, -2}});
    ExpectNear(fit.centre, {1, 2, 3});
    EXPECT_NEAR(fit.radius, 5, 1e-9);
    ExpectDeviations(fit, {0.1, 0.1, -0.1, -0.1, 0, 0});
    EXPECT_NEAR(fit.form, 0.2, 1e-9);
    EXPECT_THROW(FitSphere({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}, {3, 1, 0}}), std::invalid_argument);
    EXPECT_THROW(FitSphere({{0, 0, 0}, {1, 0, 0}, {0, 1, 1}}), std::invalid_argument);
}

TEST(Fits, PlaneWithItsNormalToTheSideThatIsWanted) {
    // z = 2 + 0.75 x with the normal (-0.6, 0, 0.8): the corners of a rectangle, by turns 0.5 above it and below.
    const Points points = {{-0.3, 0, 2.4}, {4.3, 0, 4.6}, {3.7, 4, 5.4}, {0.3, 4, 1.6}};
    for (const double side : {1.0, -1.0}) {
        const Fit fit = FitPlane(points, {0, 0, side});
        ExpectNear(fit.axis, side * Vector3d(-0.6, 0, 0.8));
        ExpectNear(fit.centre, {2, 2, 3.5});
        ExpectDeviations(fit, {side * 0.5, side * -0.5, side * 0.5, side * -0.5});
    }
    EXPECT_THROW(FitPlane({{0, 0, 0}, {1, 1, 1}, {3, 3, 3}}, {0, 0, 1}), std::invalid_argument);
}

TEST(Fits, CircleAcrossItsNormal) {
    // Radius 10 about (0, 3, 4) across X; what lies along X does not count.
    const Fit fit = FitCircle({{7, 13.2, 4}, {-2, -7.2, 4}, {0, 3, 13.8}, {1, 3, -5.8}}, {1, 0, 0});
    EXPECT_NEAR(fit.radius, 10, 1e-9);
    EXPECT_NEAR(fit.centre.y(), 3, 1e-9);
    EXPECT_NEAR(fit.centre.z(), 4, 1e-9);
    ExpectDeviations(fit, {0.2, 0.2, -0.2, -0.2});
    EXPECT_THROW(FitCircle({{0, 0, 0}, {0, 1, 0}, {0, 2, 0}}, {1, 0, 0}), std::invalid_argument);
}

TEST(Fits, CylinderWhoseAxisLeans) {
    // Radius 5 about an axis (0.6, 0, 0.8) through (10, 0, 0); across it lie (0.8, 0, -0.6) and Y. Four points on a ring,
    // by turns 0.01 farther and nearer, on three rings 10 apart.
    Points points;
    std::vector<double> deviations;
    for (const double height : {-10.0, 0.0, 10.0}) {
        const Vector3d middle = Vector3d(10, 0, 0) + height * Vector3d(0.6, 0, 0.8);
        for (const auto &[x, y, deviation] :
             {std::tuple(1.0, 0.0, 0.01), {0.0, 1.0, -0.01}, {-1.0, 0.0, 0.01}, {0.0, -1.0, -0.01}}) {
            points.emplace_back(middle +
                                (5 + deviation) * (x * Vector3d(0.8, 0, -0.6) + y * Vector3d(0, 1, 0)));
            deviations.push_back(deviation);
        }
    }
    const Fit fit = FitCylinder(points, Vector3d(0.8, 0.1, 0.6).normalized());
    ExpectNear(fit.axis, {0.6, 0, 0.8});
    ExpectNear(fit.centre, {10, 0, 0});
    EXPECT_NEAR(fit.radius, 5, 1e-9);
    ExpectDeviations(fit, deviations);
    // One ring has no axis.
    EXPECT_THROW(FitCylinder({{5, 0, 0}, {0, 5, 0}, {-5, 0, 0}, {0, -5, 0}, {3, 4, 0}}, {0, 0, 1}),
                 std::invalid_argument);
}

TEST(Ways, KeepOffTheMaterial) {
    Geometry outside, bore;
    outside.shape = bore.shape = Shape::Cylinder;
    bore.bore = true;
    const Approach approach;
    const auto check = [&](const Geometry &geometry, const Vector3d &from, const Vector3d &to,
                           const std::vector<Vector3d> &between) {
        Points way = {from};
        way.insert(way.end(), between.begin(), between.end());
        way.push_back(to);
        double nearest = 1e9;
        for (size_t i = 1; i < way.size(); ++i) {
            for (int step = 0; step <= 100; ++step)
                nearest =
                    std::min(nearest, Distance(geometry, way[i - 1] + step / 100.0 * (way[i] - way[i - 1])));
        }
        EXPECT_GT(nearest, 2) << to.transpose();
    };
    // From one side of the cylinder to the other, nearly through its axis.
    const Vector3d left(80, 80.1, 50), right(120, 80, 50);
    check(outside, left, right, WayAlong(outside, approach, left, right));
    for (const ProbingPoint &point : Plan(outside, 12)) {
        const Vector3d place = point.nominal + 5 * point.direction;
        check(outside, SafePlace(outside, approach), place, WayIn(outside, approach, place));
    }
    // The bore's way in leads along its axis.
    const Points way = WayIn(bore, approach, {110, 80, 40});
    ASSERT_EQ(way.size(), 3u);
    ExpectNear(way[0], {100, 80, 120});
    ExpectNear(way[1], {100, 80, 75});
    ExpectNear(way[2], {100, 80, 40});
}

TEST(PointsFile, TellsTheLineThatIsWrong) {
    const std::string path = testing::TempDir() + "points.csv";
    std::ofstream(path) << "x;y;z;i;j;k\n\n# above\n1; 2;3.5 ;0;0;2\r\n4,5,6,0,-1,0\n";
    const auto points = ReadPoints(path);
    ASSERT_EQ(points.size(), 2u);
    ExpectNear(points[0].nominal, {1, 2, 3.5});
    ExpectNear(points[0].direction, {0, 0, 1});
    EXPECT_EQ(points[1].id, 2u);
    for (const char *wrong : {"1,2,3,0,0", "1,2,3,0,0,0", "1,2,3,0,0,x", "1,2,3,0,0,1,7"}) {
        std::ofstream(path) << "1,2,3,0,0,1\n" << wrong << "\n";
        try {
            ReadPoints(path);
            ADD_FAILURE() << wrong;
        } catch (const Failure &failure) {
            EXPECT_NE(std::string(failure.what()).find("line 2: '" + std::string(wrong)), std::string::npos);
        }
    }
}

TEST(Reports, HoldWhatWasMeasured) {
    Result result;
    result.title = "Plane <1>";
    result.geometry.shape = Shape::Points;
    result.plan = {{1, {1, 2, 3}, {0, 0, 1}}, {2, {4, 5, 6}, {1, 0, 0}}};
    result.measured = {{1, 2, 3.0015}, {3.9985, 5, 6}};
    result.fit = FitShape(result.geometry, result.plan, result.measured);
    ExpectDeviations(result.fit, {0.0015, -0.0015});
    EXPECT_EQ(
        Csv(result).substr(Csv(result).find('\n') + 1),
        "1,1.000000,2.000000,3.000000,0.000000,0.000000,1.000000,1.000000,2.000000,3.001500,0.001500\n"
        "2,4.000000,5.000000,6.000000,1.000000,0.000000,0.000000,3.998500,5.000000,6.000000,-0.001500\n");
    EXPECT_NE(Table(result, 60).find("   2 |     3.9985    5.0000    6.0000 |    -1.50\n"),
              std::string::npos);
    EXPECT_NE(Json(result).find("\"form\": 0.003"), std::string::npos);
    EXPECT_NE(Picture(result).find(">Plane &lt;1></text>"), std::string::npos);
}

}  // namespace
}  // namespace cmm::test
