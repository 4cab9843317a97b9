#include "platform/process/ProgressLine.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <string_view>
#include <utility>

#include "platform/process/Terminal.h"
#include "platform/process/Termination.h"
#include "platform/process/Thread.h"

namespace qvx::platform {

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr std::string_view eraseLine = "\r\x1B[K"; // ECMA-48: to the line's start, erase to its end

/// Drawing and erasing take turns; a handler, which may not wait, only reads the flags.
std::mutex drawing;
std::atomic<bool> isShown{false};
std::atomic<bool> isOver{false};
bool isMidLine = false; // where other output left the cursor

/// Only when the terminal takes it at once, for one that was stopped (by Control-S, or a connection that
/// hangs) would hold whoever writes: the drawing thread, and with it the upload, or a handler. The next
/// drawing repeats it.
void write(std::string_view text) {
    pollfd terminal{.fd = STDERR_FILENO, .events = POLLOUT, .revents = 0};
    if (::poll(&terminal, 1, 0) != 1 || (terminal.revents & POLLOUT) == 0)
        return;
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
}

/// In the background the terminal is somebody else's; one that controls no job of ours has no background.
bool isInForeground() {
    const pid_t group = ::tcgetpgrp(STDERR_FILENO);
    return group < 0 || group == ::getpgrp();
}

/// Asked again for each drawing, since windows change; 80 where the terminal does not tell.
size_t columns() {
    winsize size{};
    return ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

void show(std::string_view text) {
    const std::lock_guard lock(drawing);
    if (isOver || !isInForeground())
        return;
    if (std::exchange(isMidLine, false))
        write("\n");
    isShown = true;
    write(std::string(eraseLine).append(text));
    if (isOver) // a handler that came in between erased what was not there yet
        write(eraseLine);
}

} // namespace

ProgressLine::ProgressLine(Text text) : text_(std::move(text)) {
    if (!standardErrorErasesLines())
        return;
    const Termination::Deferral
        deferral; // inherited: signals are for the thread that knows when they may come
    thread_ = std::thread([this] { draw(); });
}

void ProgressLine::end() {
    if (!thread_.joinable())
        return;
    {
        const std::lock_guard lock(mutex_);
        isEnded_ = true;
    }
    ended_.notify_one();
    thread_.join();
    writeAbove(stderr, "");
}

void ProgressLine::draw() {
    setCurrentThreadName("progress");
    const Clock::time_point start = Clock::now();
    std::unique_lock lock(mutex_);
    for (Clock::duration pause = 1s; !ended_.wait_for(lock, pause, [this] { return isEnded_; });
         pause = 100ms) {
        const std::chrono::duration<double> elapsed = Clock::now() - start;
        show(text_(columns(), elapsed.count()));
    }
}

void ProgressLine::writeAbove(std::FILE* stream, std::string_view text) {
    const std::lock_guard lock(drawing); // until the text is there, or the line could come back before it
    if (isShown)
        write(eraseLine);
    isShown = false;
    if (text.empty())
        return;
    std::fwrite(text.data(), 1, text.size(), stream);
    // What was said must not be lost when a signal or an abort ends the process.
    std::fflush(stream);
    if (::isatty(::fileno(stream)) == 1)
        isMidLine = !text.ends_with('\n');
}

void ProgressLine::eraseAtEnd() {
    isOver = true;
    if (isShown)
        write(eraseLine);
}

} // namespace qvx::platform
