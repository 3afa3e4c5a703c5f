#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "machine/port_folder.h"

namespace cmm {
namespace {

constexpr char kVariable[] = "CC_PORT_DIR";

std::string MakeFolder() {
    std::string folder = (std::filesystem::temp_directory_path() / "cmm-ports-XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) throw std::runtime_error("cannot make a folder " + folder);
    return folder;
}

}  // namespace

PortFolder::PortFolder() : folder_(MakeFolder()) {
    if (const char *const before = std::getenv(kVariable)) before_ = before;
    setenv(kVariable, Path().c_str(), 1);
}

PortFolder::~PortFolder() {
    if (before_) {
        setenv(kVariable, before_->c_str(), 1);
    } else {
        unsetenv(kVariable);
    }
}

void PortFolder::Link(int number, const std::string &device) const {
    std::filesystem::create_symlink(std::filesystem::absolute(device),
                                    Path() + "/com" + std::to_string(number));
}

}  // namespace cmm
