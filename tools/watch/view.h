// The terminal that the view is shown on.
#pragma once

#include <memory>
#include <vector>

#include "watch/screen.h"

namespace cmm {

/// The whole screen of the terminal at standard output, which is as it was when this object goes.
class View {
  public:
    /// Result: null where there is no terminal, or none that can be written all over; always on Windows.
    static std::unique_ptr<View> Open();
    virtual ~View() = default;

    virtual int Columns() const = 0;
    virtual int Rows() const = 0;
    virtual void Show(const std::vector<Piece> &pieces) = 0;
    /// Waits for a key for a tenth of a second. Result: whether it is q.
    virtual bool IsLeft() = 0;
};

}  // namespace cmm
