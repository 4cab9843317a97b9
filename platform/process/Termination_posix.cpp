#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <climits>
#include <cstring>

#include "platform/process/ProgressLine.h"
#include "platform/process/Termination.h"

namespace qvx::platform::Termination {

namespace {

constexpr std::array endingSignals{SIGINT, SIGTERM, SIGHUP};

// Lock-free, and taken by exchange: a second signal, or SIGBUS in another thread, finds nothing left to do.
std::atomic<pid_t> childToEnd{0};
std::atomic<bool> fileIsSet{false};
std::array<char, PATH_MAX> fileToRemove{};
std::string_view messageForShrunkFile;

void endBySignal(int number) {
    cleanUp();
    // Ended by the signal itself and not by exit: whoever started this sees what happened, and a shell stops
    // its own script.
    ::signal(number, SIG_DFL);
    ::raise(number);
}

// A file that another program cut short while it is mapped: reading behind its new end raises SIGBUS. There
// is nothing to go on with, and no way back into the code that read.
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
    sigfillset(&action.sa_mask);
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
    ProgressLine::eraseAtEnd(); // last, since a terminal is the least of it
}

void installHandlers(std::string_view shrunkFileMessage) {
    messageForShrunkFile = shrunkFileMessage;
    for (const int number : endingSignals)
        handle(number, &endBySignal);
    handle(SIGBUS, &endByShrunkFile);
    // libcurl is told not to touch signals, and OpenSSL writes to sockets that the other side may have
    // closed.
    handle(SIGPIPE, SIG_IGN);
}

Deferral::Deferral() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : endingSignals)
        sigaddset(&signals, number);
    ::pthread_sigmask(SIG_BLOCK, &signals, &previous_);
}

Deferral::~Deferral() {
    ::pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
}

RemovedFile::RemovedFile(std::string_view path) {
    // The system takes no such path either.
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
