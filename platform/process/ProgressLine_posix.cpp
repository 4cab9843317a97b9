#include "platform/process/ProgressLine.h"

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

void write(std::string_view text) {
    // What a terminal does not take is not worth anything else: the next drawing repeats it.
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
}

/// Asked again for each drawing, since windows change; 80 where the terminal does not tell.
size_t columns() {
    winsize size{};
    return ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

void show(std::string_view text) {
    const std::lock_guard lock(drawing);
    if (isOver)
        return;
    if (std::exchange(isMidLine, false))
        write("\n");
    isShown = true; // before it is: a signal in between erases a line that is empty
    write(std::string(eraseLine).append(text));
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
    makeWay("");
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

void ProgressLine::makeWay(std::string_view text) {
    const std::lock_guard lock(drawing);
    if (isShown.exchange(false))
        write(eraseLine);
    if (!text.empty())
        isMidLine = !text.ends_with('\n');
}

void ProgressLine::eraseAtEnd() {
    isOver = true;
    if (isShown.exchange(false))
        write(eraseLine);
}

} // namespace qvx::platform
