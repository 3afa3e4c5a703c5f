// The machine's axes: one movement at a time, at a constant speed, against the part.
#pragma once

#include <memory>
#include <optional>

#include "agenda.h"
#include "part.h"

namespace emulator {

/// Position of the linear axes (mm) and of two rotary axes (counts) over time.
class Machine {
  public:
    explicit Machine(std::shared_ptr<const Part> part) : part_(std::move(part)) {}

    struct Target {
        Vector linear;
        double rotary[2];
    };

    /// What a movement does about the part.
    enum class Contact {
        Probe,   // ends at it
        Avoid,   // ends at it too, as a collision, unless it only leaves it
        Follow,  // moves along it
    };

    /// How a movement will end, and when.
    struct Movement {
        int64_t duration = 0;  // µs
        bool touched = false;  // it ends at the part
    };

    Target PositionAt(int64_t now) const;
    /// Starts a movement at `now` from where the machine is then, with a speed in mm/s.
    Movement Start(int64_t now, const Target &target, double speed, Contact contact);
    /// Stops where the machine is.
    void Stop(int64_t now);
    /// Makes the present position the zero of all axes.
    void Zero(int64_t now);
    const Part *ThePart() const { return part_.get(); }

  private:
    std::shared_ptr<const Part> part_;
    Target from_{};
    Target to_{};
    int64_t begin_ = 0;
    int64_t end_ = 0;
};

}  // namespace emulator
