// The initialisation file of a program that was given none.
#pragma once

#include <optional>
#include <string>

#include "machine/temporaries.h"

namespace cmm {

/// A file with the settings that this program works best with, in the system's folder for such files; it goes with this
/// object. The library reads it in CC_INIT only. Failures are thrown as std::runtime_error.
class SettingsFile {
  public:
    /// `given`: a file of the operator's, which is used instead; empty: there is none. `timeouts`: lines of its section
    /// "Timers" that say how long is waited.
    explicit SettingsFile(const std::string &given, const std::string &timeouts = "timeout=2\n");

    const std::string &Path() const { return path_; }

  private:
    std::string path_;
    std::optional<Temporary> own_;
};

}  // namespace cmm
