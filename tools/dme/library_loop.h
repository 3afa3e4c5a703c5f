// The library's worker in the program's event loop.
#pragma once

#include <asio.hpp>
#include <functional>
#include <memory>

namespace cmm::dme {

/// Runs the library's worker on the loop's thread whenever it is due.
class LibraryLoop {
  public:
    /// `mayRun`: asked before each run; `onRun`: after it.
    LibraryLoop(asio::io_context &context, std::function<bool()> mayRun, std::function<void()> onRun);
    ~LibraryLoop();
    LibraryLoop(const LibraryLoop &) = delete;
    LibraryLoop &operator=(const LibraryLoop &) = delete;

    /// Called now and then: takes up what could not be run, and what the library waits by when an arm was opened anew.
    void Turn();

  private:
    struct Running;
    std::shared_ptr<Running> running_;
};

}  // namespace cmm::dme
