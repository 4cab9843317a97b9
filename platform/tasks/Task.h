#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>

#include "platform/files/Data.h"
#include "platform/files/FileDescriptor.h"
#include "platform/process/Termination.h"
#include "platform/tasks/Spawn.h"

namespace qvx::platform {

/// A child process could not be launched.
class LaunchFailure : public std::exception {
public:
    explicit LaunchFailure(std::string reason) : reason_(std::move(reason)) {}
    [[nodiscard]] const char* what() const noexcept override { return reason_.c_str(); }

private:
    std::string reason_;
};

/// A pipe whose two ends are closed on exec.
class Pipe {
public:
    /// Absent when the system has no descriptors left.
    static std::optional<Pipe> pipe();

    FileDescriptor reading;
    FileDescriptor writing;
};

/// All bytes up to the end of file.
Data readDataToEndOfFile(const FileDescriptor& descriptor);

/// A child process that is waited for. When this process is interrupted while it waits, the child is ended
/// with it.
class Task {
public:
    /// What is to be run; to be filled in before `launch`.
    Spawn program;

    /// Starts the child. \throws LaunchFailure when the program cannot be run
    void launch();

    /// Waits until the child has ended.
    void waitUntilExit();

    /// The exit status, or the number of the signal that ended the child.
    [[nodiscard]] int32_t terminationStatus() const { return status_; }

private:
    pid_t pid_ = -1;
    std::shared_ptr<const Termination::EndedChild> child_;
    int32_t status_ = 0;
};

/// Gives the process /dev/null for each standard descriptor that it was started without, so that no file or
/// pipe that is opened later takes such a place.
void openMissingStandardDescriptors();

/// Makes an exception that nobody catches print the platform's line with its reason before the process is
/// aborted.
void reportUncaughtExceptions();

} // namespace qvx::platform
