// Files and folders that go with the program, however it ends.
#pragma once

#include <string>

namespace cmm {

/// A path that is removed with all that is in it when this object goes, or when the program ends by EndAtOnce.
class Temporary {
  public:
    explicit Temporary(std::string path);
    ~Temporary();
    Temporary(const Temporary &) = delete;
    Temporary &operator=(const Temporary &) = delete;

    const std::string &Path() const { return path_; }

  private:
    std::string path_;
};

/// Ends the program where it stands: the temporaries are removed, nothing is waited for, what is not flushed is lost.
/// Callable from any thread.
[[noreturn]] void EndAtOnce(int status);

}  // namespace cmm
