#include "pseudo_terminal.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace emulator {

PseudoTerminal::PseudoTerminal() {
    master_ = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    char name[128];
    if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0 ||
        ptsname_r(master_, name, sizeof name) != 0) {
        throw std::runtime_error(std::string("no pseudo-terminal: ") + std::strerror(errno));
    }
    path_ = name;
    slave_ = open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios mode{};
    if (slave_ < 0 || tcgetattr(slave_, &mode) != 0) throw std::runtime_error("cannot open " + path_);
    cfmakeraw(&mode);
    tcsetattr(slave_, TCSANOW, &mode);
}

void PseudoTerminal::LinkAs(const std::string &folder, int number) {
    link_ = folder + "/com" + std::to_string(number);
    unlink(link_.c_str());
    if (symlink(path_.c_str(), link_.c_str()) != 0) throw std::runtime_error("cannot create " + link_);
}

size_t PseudoTerminal::Read(uint8_t *buffer, size_t capacity) {
    const ssize_t count = master_ < 0 ? 0 : read(master_, buffer, capacity);
    return static_cast<size_t>(std::max<ssize_t>(count, 0));
}

size_t PseudoTerminal::Write(const uint8_t *bytes, size_t count) {
    const ssize_t written = master_ < 0 ? 0 : write(master_, bytes, count);
    return static_cast<size_t>(std::max<ssize_t>(written, 0));
}

void PseudoTerminal::Unplug() {
    if (!link_.empty()) unlink(link_.c_str());
    link_.clear();
    for (int *const descriptor : {&slave_, &master_}) {
        if (*descriptor >= 0) close(*descriptor);
        *descriptor = -1;
    }
}

}  // namespace emulator
