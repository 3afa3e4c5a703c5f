// The initialisation file of a program that was given none.
#pragma once

#include <string>

namespace cmm {

/// A file with the settings that this program works best with, in the system's folder for such files; it goes with this
/// object. The library reads it in CC_INIT only. Failures are thrown as std::runtime_error.
class SettingsFile {
  public:
    /// `given`: a file of the operator's, which is used instead; empty: there is none.
    explicit SettingsFile(const std::string &given);
    ~SettingsFile();
    SettingsFile(const SettingsFile &) = delete;
    SettingsFile &operator=(const SettingsFile &) = delete;

    const std::string &Path() const { return path_; }

  private:
    std::string path_;
    bool own_;
};

}  // namespace cmm
