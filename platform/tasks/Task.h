#pragma once

#include <array>
#include <cstdint>
#include <exception>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/files/Data.h"
#include "platform/files/FileDescriptor.h"
#include "platform/process/Termination.h"

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

/// A child process, launched with an argument vector (never through a shell) and waited for. It inherits no
/// descriptor but its three standard ones, and the default signal dispositions. When this process is
/// interrupted while it waits, the child is ended with it.
class Task {
public:
    void setCurrentDirectoryPath(std::string path) { directory_ = std::move(path); }
    void setLaunchPath(std::string path) { path_ = std::move(path); }
    /// The arguments behind the program's name.
    void setArguments(std::vector<std::string> arguments) { arguments_ = std::move(arguments); }
    /// The child's whole environment; without it the child inherits this process's.
    void setEnvironment(std::map<std::string, std::string> environment) {
        environment_ = std::move(environment);
    }
    /// The ends of pipes that become the child's standard descriptors; they stay the caller's.
    void setStandardDescriptors(int input, int output, int error);

    /// Starts the child. \throws LaunchFailure when the launch path cannot be run
    void launch();

    /// Waits until the child has ended.
    void waitUntilExit();

    /// The exit status, or the number of the signal that ended the child.
    [[nodiscard]] int32_t terminationStatus() const { return status_; }

private:
    std::string path_;
    std::optional<std::string> directory_;
    std::vector<std::string> arguments_;
    std::optional<std::map<std::string, std::string>> environment_;
    std::array<int, 3> standard_{0, 1, 2};
    int pid_ = -1;
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
