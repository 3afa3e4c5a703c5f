// What is known of a machine that is watched.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "cc_interface.h"
#include "watch/link_counts.h"

namespace cmm {

/// Something that the controller told by itself, or that happened to its line.
struct Happening {
    int number = 0;  // from 1 on
    std::chrono::system_clock::time_point time;
    std::string words;
};

struct HeadReadout {
    enum class Condition { Asked, Answers, Mute };

    Condition condition = Condition::Asked;  // Asked: for the first time, it may still answer
    bool isKnown = false;                    // what follows, by its last answer
    double a = 0, b = 0;                     // degrees
    bool manual = false;
};

/// The elements are empty until they are told. They stay as they were told last while the line is down.
struct Readout {
    using Clock = std::chrono::steady_clock;
    enum class Line { Opening, InOrder, Lost };
    static constexpr int kParameterSets = 7;
    static constexpr int kParameterAxes = 5;

    int number = 0;  // of the reading, from 1 on
    Clock::time_point begin = Clock::now();
    std::chrono::system_clock::time_point time;  // of the reading

    Line line = Line::Opening;
    std::string trouble;      // why the line is lost
    Clock::time_point heard;  // when the controller last answered
    int losses = 0;           // of the line

    std::string state = "unknown";
    std::optional<ControllerInfo> controller;
    std::optional<std::array<double, 3>> position;  // mm
    Clock::time_point positionTold;
    std::vector<double> rotary;                 // degrees, of the rotary table or the wrist's two axes
    std::optional<HeadReadout> head;            // empty: there is none
    std::vector<uint16_t> temperatures;         // in the controller's counts
    std::optional<std::array<uint16_t, 2>> io;  // the two I/O words
    /// By set, then by axis; what the controller has not, or has not told, is no number.
    std::map<int, std::array<double, kParameterAxes>> parameters;
    bool parametersAsked = false;
    LinkCounts counts;                 // of all the time; empty in simulation and on Windows
    std::deque<Happening> happenings;  // the last ones, the oldest first
};

}  // namespace cmm
