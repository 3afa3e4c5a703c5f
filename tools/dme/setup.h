// What a machine file says of the machine: the plain data that the session starts from.
#pragma once

#include <Eigen/Core>
#include <array>
#include <string>
#include <vector>

namespace cmm::dme {

/// A parameter of a tool with its range; lengths in mm, speeds in mm/s, accelerations in mm/s².
struct Parameter {
    double min, max, standard;
    double actual = standard;
};

/// The blocks GoToPar, PtMeasPar and ScanPar of a tool.
struct ToolParameters {
    Parameter goToSpeed{1, 500, 80}, goToAccel{1, 2000, 200};
    Parameter ptMeasSpeed{0.1, 500, 5}, ptMeasAccel{1, 2000, 100};
    Parameter ptMeasApproach{0, 100, 3}, ptMeasSearch{0, 100, 5}, ptMeasRetract{-1, 100, 3};
    Parameter scanSpeed{0.1, 500, 5}, scanAccel{1, 2000, 100}, scanRetract{-1, 100, 3};
};

/// The tool at two angles of the head, degrees: where its tip is seen from the head's reference point in machine axes, and
/// the tip's radius, both mm. A tool without a head has one, at 0 and 0.
struct Orientation {
    double a = 0, b = 0;
    Eigen::Vector3d offset = Eigen::Vector3d::Zero();
    double radius = 0;
};

/// A box that the tool fills: centre seen from the tip, half extensions along its three axes (columns); mm. At angles 0.
struct Box {
    Eigen::Vector3d centre;
    Eigen::Vector3d extension;
    Eigen::Matrix3d axes = Eigen::Matrix3d::Identity();
};

struct Tool {
    std::string name;
    std::string id;
    bool measures = true;
    bool onHead = false;
    std::vector<Orientation>
        orientations;  // the qualified ones; the first stands for those that are calculated
    ToolParameters parameters;
    std::vector<Box> collisionVolume;
};

struct Setup {
    Eigen::Vector3d lowest{-1000, -1000, -1000},
        highest{1000, 1000, 1000};  // of the head's reference point, mm
    double headStep = 7.5;          // between the head's positions, degrees
    double headLowestA = 0, headHighestA = 105;
    double headLowestB = -180, headHighestB = 180;
    Eigen::Vector3d sphereCentre{0, 0, 0};  // of the reference sphere, machine axes, mm
    double sphereRadius = 0;                // 0: there is none
    std::vector<Tool> tools;
    std::string firstTool;  // the active one as long as no client has chosen another
};

/// RefTool, NoTool and Probe1, the last one on the head: a straight stylus of 100 mm with a tip of 1 mm radius.
Setup BuiltInSetup();

}  // namespace cmm::dme
