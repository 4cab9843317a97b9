#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>

#include "platform/process/ProcessInfo.h"

namespace qvx::platform {

const std::string& executablePath() {
    static const std::string path = [] {
        std::array<char, PATH_MAX> buffer{};
        // Not the first argument, which is whatever the caller likes. Cut at PATH_MAX: the kernel gives no
        // longer ones.
        const ssize_t length = ::readlink("/proc/self/exe", buffer.data(), buffer.size());
        return std::string(buffer.data(), length < 0 ? 0 : static_cast<size_t>(length));
    }();
    return path;
}

const std::string& processName() {
    static const std::string name = executablePath().empty()
                                        ? std::string(program_invocation_short_name)
                                        : executablePath().substr(executablePath().rfind('/') + 1);
    return name;
}

} // namespace qvx::platform
