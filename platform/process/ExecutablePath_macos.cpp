#include <mach-o/dyld.h>

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "platform/process/ProcessInfo.h"

namespace qvx::platform {

const std::string& executablePath() {
    static const std::string path = [] {
        uint32_t size = 0;
        ::_NSGetExecutablePath(nullptr, &size); // refuses, and says how much it takes
        std::string asStarted(size, '\0');
        if (::_NSGetExecutablePath(asStarted.data(), &size) != 0)
            return std::string();
        const std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(asStarted.c_str(), nullptr),
                                                                   &std::free);
        return std::string(resolved ? resolved.get() : asStarted.c_str());
    }();
    return path;
}

const std::string& processName() {
    static const std::string name = executablePath().empty()
                                        ? std::string(::getprogname())
                                        : executablePath().substr(executablePath().rfind('/') + 1);
    return name;
}

} // namespace qvx::platform
