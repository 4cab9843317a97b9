#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>

#include "platform/process/Log.h"
#include "platform/process/ProcessInfo.h"
#include "platform/process/ProgressLine.h"
#include "platform/process/Thread.h"

namespace qvx::platform {

void logLine(std::string_view text) {
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    std::tm local{};
    ::localtime_r(&seconds, &local);
    std::array<char, 32> date{};
    std::strftime(date.data(), date.size(), "%Y-%m-%d %H:%M:%S", &local);
    std::array<char, 64> identifiers{};
    std::snprintf(identifiers.data(), identifiers.size(), "[%d:%ju] ", ::getpid(),
                  static_cast<uintmax_t>(currentThreadIdentifier()));
    std::array<char, 8> fraction{};
    std::snprintf(fraction.data(), fraction.size(), ".%03d ", static_cast<int>(milliseconds));
    const std::string line = std::string(date.data()) + fraction.data() + processName() + identifiers.data() +
                             std::string(text) + "\n";
    ProgressLine::writeAbove(stderr, line); // in one call: lines of several threads do not mix
}

} // namespace qvx::platform
