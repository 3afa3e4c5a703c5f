// What survives a restart of the server: its memory as a TOML file.
#pragma once

#include <string>
#include <string_view>

#include "dme/server.h"

namespace cmm::dme {

std::string StateText(const Memory &memory);
/// What is missing or wrong is as in `before`.
Memory ReadState(std::string_view text, const Memory &before);

/// Keeps a server's memory in a file.
class StateFile {
  public:
    /// `path`: empty: nothing is kept. Gives the server what the file says; there may be none yet. A file that can't be
    /// read or written is thrown as Failure.
    StateFile(std::string path, Server &server);

    /// Writes what has changed. A crash leaves the old file or the new one. Result: false: it could not be written.
    bool Keep();

  private:
    const std::string path_;
    Server &server_;
    std::string written_;
    bool failed_ = false;  // the last time; it is tried again with the next change only
};

/// Replaces a file so that there is the old one or the new one, whatever happens, and it is the new one when this returns.
/// Result: why it was not; empty: it was.
std::string ReplaceFile(const std::string &path, const std::string &text);

}  // namespace cmm::dme
