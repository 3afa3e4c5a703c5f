#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "dme/state_file.h"

namespace cmm::dme {
namespace {

bool WriteAll(int file, const std::string &text) {
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t count = write(file, text.data() + done, text.size() - done);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        done += static_cast<size_t>(count);
    }
    return fsync(file) == 0;
}

}  // namespace

std::string ReplaceFile(const std::string &path, const std::string &text) {
    const std::string fresh = path + ".new";
    const int file = open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (file < 0) return std::strerror(errno);
    const bool written = WriteAll(file, text);
    const int why = errno;
    close(file);
    if (!written) return std::strerror(why);
    if (rename(fresh.c_str(), path.c_str()) != 0) return std::strerror(errno);
    // The name of the file is kept by its folder.
    std::filesystem::path folder = std::filesystem::path(path).parent_path();
    if (folder.empty()) folder = ".";
    const int directory = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory < 0) return {};
    fsync(directory);
    close(directory);
    return {};
}

}  // namespace cmm::dme
