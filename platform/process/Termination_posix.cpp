#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <climits>
#include <cstring>

#include "platform/process/Termination.h"

namespace qvx::platform::Termination {

namespace {

constexpr std::array endingSignals{SIGINT, SIGTERM, SIGHUP};

std::atomic<pid_t> childToEnd{0};
std::atomic<bool> fileIsSet{false};
std::array<char, PATH_MAX> fileToRemove{};
std::string_view messageForShrunkFile;

void endBySignal(int number) {
    cleanUp();
    ::signal(number, SIG_DFL);
    ::raise(number);
}

void endByShrunkFile(int) {
    cleanUp();
    [[maybe_unused]] const ssize_t written =
        ::write(STDOUT_FILENO, messageForShrunkFile.data(), messageForShrunkFile.size());
    ::_exit(1);
}

void handle(int number, void (*handler)(int)) {
    struct sigaction action {};
    ::sigaction(number, nullptr, &action);
    // A signal that the parent chose to ignore (as nohup does) stays ignored.
    if (action.sa_handler == SIG_IGN && number != SIGPIPE)
        return;
    action = {};
    action.sa_handler = handler;
    ::sigfillset(&action.sa_mask);
    ::sigaction(number, &action, nullptr);
}

} // namespace

// Only calls what is safe in a signal handler.
void cleanUp() {
    if (const pid_t child = childToEnd.exchange(0)) {
        // Not SIGTERM: a child that is stopped would only act on that once somebody continues it.
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
    }
    if (fileIsSet.exchange(false))
        ::unlink(fileToRemove.data());
}

void installHandlers(std::string_view shrunkFileMessage) {
    messageForShrunkFile = shrunkFileMessage;
    for (const int number : endingSignals)
        handle(number, &endBySignal);
    handle(SIGBUS, &endByShrunkFile);
    handle(SIGPIPE, SIG_IGN);
}

Deferral::Deferral() {
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const int number : endingSignals)
        ::sigaddset(&signals, number);
    ::pthread_sigmask(SIG_BLOCK, &signals, &previous_);
}

Deferral::~Deferral() {
    ::pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
}

RemovedFile::RemovedFile(std::string_view path) {
    if (path.size() >= fileToRemove.size())
        return;
    std::memcpy(fileToRemove.data(), path.data(), path.size());
    fileToRemove[path.size()] = '\0';
    fileIsSet = true;
}

RemovedFile::~RemovedFile() {
    fileIsSet = false;
}

EndedChild::EndedChild(pid_t child) {
    childToEnd = child;
}

EndedChild::~EndedChild() {
    childToEnd = 0;
}

} // namespace qvx::platform::Termination
