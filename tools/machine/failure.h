// How a command ends that can't do its work.
#pragma once

#include <stdexcept>
#include <string>

namespace cmm {

/// Exit statuses of the program.
enum ExitStatus {
    kDone = 0,
    kWorkFailed = 1,
    kBadArguments = 2,  // files too
    kNotReached = 3,    // the machine or its head does not answer, or no longer
    kStopped = 4,       // by the operator
};

/// A cause, and what the operator can do about it.
class Failure : public std::runtime_error {
  public:
    Failure(ExitStatus exitStatus, const std::string &cause, std::string whatToDo = {})
        : std::runtime_error(cause), status(exitStatus), advice(std::move(whatToDo)) {}

    ExitStatus status;
    std::string advice;
    bool told = false;  // the operator has read both
};

}  // namespace cmm
