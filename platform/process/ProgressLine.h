#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace qvx::platform {

/// A line on the terminal that tells how far something has come that takes longer than a second. It is drawn
/// on standard error by a thread of its own, again and again, and erased when the object goes. It is only
/// there when standard error is a terminal and TERM names one that can erase; otherwise nothing is written,
/// and no thread started. One at a time per process.
class ProgressLine {
public:
    /// What the line says now, without control characters and in at most `columns` columns.
    /// \param seconds since the object was made
    using Text = std::function<std::string(size_t columns, double seconds)>;

    /// \param text called on the drawing thread
    explicit ProgressLine(Text text);
    ~ProgressLine() { end(); }
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    /// Stops drawing, and erases the line.
    void end();

    /// Writes finished text to one of the standard streams, and flushes it. The line, if there is one, is
    /// erased before; the next drawing comes below.
    static void writeAbove(std::FILE* stream, std::string_view text);

    /// Erases it for good, since the process is about to end. Safe in a signal handler.
    static void eraseAtEnd();

private:
    void draw();

    Text text_;
    std::mutex mutex_;
    std::condition_variable ended_;
    bool isEnded_ = false;
    std::thread thread_;
};

} // namespace qvx::platform
