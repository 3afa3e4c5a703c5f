// The log of the server: what client and server said, and what the machine was told, each with its time.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

namespace cmm::dme {

/// A line an entry, "2026-11-24 14:03:07.125 > 00001 StartSession()", written at once. What is no printable ASCII is
/// told by its code.
class DialogueLog {
  public:
    /// `path`: empty: nothing is written; what is there stays. A file that can't be written is thrown as Failure.
    explicit DialogueLog(const std::string &path);

    /// `kind`: '>' of the client, '<' of the server, '|' of the machine, '*' what else happens.
    void Write(char kind, const std::string &text);

  private:
    struct Closing {
        void operator()(std::FILE *file) const { std::fclose(file); }
    };
    std::unique_ptr<std::FILE, Closing> file_;
};

}  // namespace cmm::dme
