#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <exception>

#include "platform/process/Log.h"
#include "platform/process/Termination.h"
#include "platform/tasks/Task.h"

namespace qvx::platform {

std::optional<Pipe> Pipe::pipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
        return std::nullopt;
    return Pipe{FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

Data readDataToEndOfFile(const FileDescriptor& descriptor) {
    std::string bytes;
    std::array<char, 16384> buffer{};
    while (true) {
        const ssize_t count = ::read(descriptor.get(), buffer.data(), buffer.size());
        if (count > 0)
            bytes.append(buffer.data(), static_cast<size_t>(count));
        else if (count == 0 || errno != EINTR)
            return Data::withString(std::move(bytes));
    }
}

void Task::launch() {
    const Termination::Deferral deferral; // a child that is started is known to the handlers
    if (const int error = program.start(pid_))
        // The one exception in the house, since callers are promised one: nobody catches it, and the
        // terminate handler below prints it.
        throw LaunchFailure("launch path not accessible: " + program.path + ": " + std::strerror(error));
    child_ = std::make_shared<Termination::EndedChild>(pid_);
}

void Task::waitUntilExit() {
    // The number is free for others once the child is reaped, so the handlers forget it before.
    siginfo_t information{};
    while (::waitid(P_PID, static_cast<id_t>(pid_), &information, WEXITED | WNOWAIT) < 0 && errno == EINTR) {
    }
    child_.reset();
    int status = 0;
    ::waitpid(pid_, &status, 0);
    // The number of the signal, as the platform says it; a status of the same number cannot be told from it.
    status_ = WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status);
}

void openMissingStandardDescriptors() {
    // The lowest free number is taken, so what is opened beyond the three was not missing.
    int descriptor = ::open("/dev/null", O_RDWR);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO)
        descriptor = ::open("/dev/null", O_RDWR);
    ::close(descriptor);
}

void reportUncaughtExceptions() {
    std::set_terminate([] {
        const std::exception_ptr current = std::current_exception();
        try {
            // The only way to look into an exception whose type is not known.
            if (current)
                std::rethrow_exception(current);
        } catch (const LaunchFailure& failure) {
            NSLog("*** Terminating app due to uncaught exception 'NSInvalidArgumentException', reason: '%@'",
                  failure.what());
        } catch (...) {
        }
        std::abort();
    });
}

} // namespace qvx::platform
