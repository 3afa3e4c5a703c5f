#include "watch/view.h"

namespace cmm {

std::unique_ptr<View> View::Open() {
    return nullptr;
}

}  // namespace cmm
