#pragma once

#include <sys/types.h>

#include <csignal>
#include <string_view>

/// What must not outlive the process when SIGINT, SIGTERM or SIGHUP ends it, or when a file shrinks under its
/// mapping. Both are a single slot: the tool has one child and one temporary file at a time.
namespace qvx::platform::Termination {

/// Installs the handlers and ignores SIGPIPE: a reader that went away makes writes fail, not the process.
/// \param shrunkFileMessage what is written to standard output before the process exits with status 1
///        because a file shrank under its mapping; lives as long as the process
void installHandlers(std::string_view shrunkFileMessage);

/// Does what a signal does before it ends the process: for whoever ends it by other means. Safe in a handler.
void cleanUp();

/// While it lives, the signals wait.
class Deferral {
public:
    Deferral();
    ~Deferral();
    Deferral(const Deferral&) = delete;
    Deferral& operator=(const Deferral&) = delete;

private:
    sigset_t previous_{};
};

/// While it lives, the file at `path` is removed when a signal ends the process.
class RemovedFile {
public:
    explicit RemovedFile(std::string_view path);
    ~RemovedFile();
    RemovedFile(const RemovedFile&) = delete;
    RemovedFile& operator=(const RemovedFile&) = delete;
};

/// While it lives, the child is ended, and waited for, before the file is removed.
class EndedChild {
public:
    explicit EndedChild(pid_t child);
    ~EndedChild();
    EndedChild(const EndedChild&) = delete;
    EndedChild& operator=(const EndedChild&) = delete;
};

} // namespace qvx::platform::Termination
