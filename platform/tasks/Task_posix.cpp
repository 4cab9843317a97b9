#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <exception>
#include <thread>

#include "platform/process/Log.h"
#include "platform/process/Termination.h"
#include "platform/tasks/Task.h"

namespace qvx::platform {

std::optional<Pipe> Pipe::pipe() {
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0)
        return std::nullopt;
    Pipe pipe{FileDescriptor(ends[0]), FileDescriptor(ends[1])};
    if (!pipe.reading.closeOnExec() || !pipe.writing.closeOnExec())
        return std::nullopt;
    return pipe;
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

namespace {

void waitWithoutReaping(pid_t child) {
    while (true) {
        siginfo_t information{};
        if (::waitid(P_PID, static_cast<id_t>(child), &information, WEXITED | WNOWAIT) < 0) {
            if (errno == EINTR)
                continue;
            return;
        }
        // Some kernels also tell of a child that is merely stopped, and again at once when asked again.
        if (information.si_code != CLD_STOPPED && information.si_code != CLD_CONTINUED &&
            information.si_code != CLD_TRAPPED)
            return;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

} // namespace

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
    waitWithoutReaping(pid_);
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
