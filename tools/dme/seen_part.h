// The emulated machine's part, as the active tool's tip meets it.
#pragma once

#include <memory>
#include <mutex>

#include "part.h"

namespace cmm::dme {

/// An emulated machine knows no tools: it touches with its reference point. So the part is moved to where that point is when
/// the tip touches. Callable from any thread.
class SeenPart final : public emulator::Part {
  public:
    explicit SeenPart(std::shared_ptr<const emulator::Part> part) : part_(std::move(part)) {}

    /// The tip is at `offset` from the reference point, mm.
    void SetTip(const emulator::Vector &offset) {
        const std::lock_guard lock(mutex_);
        offset_ = offset;
    }
    double Distance(const emulator::Vector &point) const override {
        const std::lock_guard lock(mutex_);
        return part_->Distance(emulator::operator+(point, offset_));
    }

  private:
    const std::shared_ptr<const emulator::Part> part_;
    mutable std::mutex mutex_;
    emulator::Vector offset_{};
};

}  // namespace cmm::dme
