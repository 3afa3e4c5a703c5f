#include "machine/temporaries.h"

#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <set>

namespace cmm {
namespace {

std::mutex lock;
std::set<std::string> paths;

void Remove(const std::string &path) {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

}  // namespace

Temporary::Temporary(std::string path) : path_(std::move(path)) {
    const std::lock_guard guard(lock);
    paths.insert(path_);
}

Temporary::~Temporary() {
    const std::lock_guard guard(lock);
    paths.erase(path_);
    Remove(path_);
}

void EndAtOnce(int status) {
    {
        const std::lock_guard guard(lock);
        for (const std::string &path : paths) Remove(path);
    }
    std::_Exit(status);
}

}  // namespace cmm
