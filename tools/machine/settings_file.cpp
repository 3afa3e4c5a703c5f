#include "machine/settings_file.h"

#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>

namespace cmm {

SettingsFile::SettingsFile(const std::string &given, const std::string &timeouts) : path_(given) {
    if (!given.empty()) return;
    const std::string name = "cmm-" + std::to_string(std::random_device()()) + ".ini";
    path_ = (std::filesystem::temp_directory_path() / name).string();
    own_.emplace(path_);
    std::ofstream file(path_);
    file << "[Timers]\nLo Period=10\nHi Period=10\nLine mode=1\n" << timeouts;
    file.close();
    if (!file) throw std::runtime_error("cannot write " + path_);
}

}  // namespace cmm
