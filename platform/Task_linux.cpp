#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <exception>

#include "platform/Log.h"
#include "platform/Task.h"
#include "platform/Termination.h"

namespace qvx::platform {

namespace {

/// Pointers into strings that outlive it, closed by a null pointer, as the system wants its vectors.
std::vector<char*> pointersTo(const std::vector<std::string>& strings) {
    std::vector<char*> pointers;
    for (const std::string& string : strings)
        pointers.push_back(const_cast<char*>(string.c_str()));
    pointers.push_back(nullptr);
    return pointers;
}

class SpawnActions {
public:
    SpawnActions() { ::posix_spawn_file_actions_init(&actions_); }
    ~SpawnActions() { ::posix_spawn_file_actions_destroy(&actions_); }
    SpawnActions(const SpawnActions&) = delete;
    SpawnActions& operator=(const SpawnActions&) = delete;
    posix_spawn_file_actions_t* get() { return &actions_; }

private:
    posix_spawn_file_actions_t actions_{};
};

/// Default dispositions and an empty mask: what this process ignores or blocks is its own affair.
class SpawnAttributes {
public:
    SpawnAttributes() {
        ::posix_spawnattr_init(&attributes_);
        sigset_t signals;
        ::sigfillset(&signals);
        ::posix_spawnattr_setsigdefault(&attributes_, &signals);
        ::sigemptyset(&signals);
        ::posix_spawnattr_setsigmask(&attributes_, &signals);
        ::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    }
    ~SpawnAttributes() { ::posix_spawnattr_destroy(&attributes_); }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;
    posix_spawnattr_t* get() { return &attributes_; }

private:
    posix_spawnattr_t attributes_{};
};

} // namespace

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

void Task::setStandardDescriptors(int input, int output, int error) {
    standard_[0] = input;
    standard_[1] = output;
    standard_[2] = error;
}

void Task::launch() {
    SpawnActions actions;
    for (int target = 0; target < 3; ++target)
        ::posix_spawn_file_actions_adddup2(actions.get(), standard_[target], target);
    // What this process was itself started with is not marked for closing.
    ::posix_spawn_file_actions_addclosefrom_np(actions.get(), 3);
    if (directory_)
        ::posix_spawn_file_actions_addchdir_np(actions.get(), directory_->c_str());
    std::vector<std::string> words{path_};
    words.insert(words.end(), arguments_.begin(), arguments_.end());
    std::vector<std::string> settings;
    if (environment_) {
        for (const auto& [name, value] : *environment_)
            settings.push_back(name + "=" + value);
    }
    SpawnAttributes attributes;
    const Termination::Deferral deferral; // a child that is started is known to the handlers
    const int result =
        ::posix_spawn(&pid_, path_.c_str(), actions.get(), attributes.get(), pointersTo(words).data(),
                      environment_ ? pointersTo(settings).data() : environ);
    if (result != 0)
        throw LaunchFailure("launch path not accessible: " + path_ + ": " + std::strerror(result));
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
