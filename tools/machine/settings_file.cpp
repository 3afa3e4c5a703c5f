#include "machine/settings_file.h"

#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>

namespace cmm {

SettingsFile::SettingsFile(const std::string &given) : path_(given), own_(given.empty()) {
    if (!own_) return;
    const std::string name = "cmm-" + std::to_string(std::random_device()()) + ".ini";
    path_ = (std::filesystem::temp_directory_path() / name).string();
    std::ofstream file(path_);
    file << "[Timers]\nLo Period=10\nHi Period=10\ntimeout=2\nLine mode=1\n";
    file.close();
    if (!file) throw std::runtime_error("cannot write " + path_);
}

SettingsFile::~SettingsFile() {
    std::error_code ignored;
    if (own_) std::filesystem::remove(path_, ignored);
}

}  // namespace cmm
