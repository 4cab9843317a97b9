#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>

#include "platform/process/Log.h"

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
    std::array<char, 96> prefix{};
    std::snprintf(prefix.data(), prefix.size(), "%s.%03d run[%d:%ld] ", date.data(),
                  static_cast<int>(milliseconds), ::getpid(), ::syscall(SYS_gettid));
    const std::string line = prefix.data() + std::string(text) + "\n";
    std::fwrite(line.data(), 1, line.size(), stderr);
}

} // namespace qvx::platform
