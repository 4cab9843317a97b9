#include "platform/process/Thread.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <string>

namespace qvx::platform {

void setCurrentThreadName(std::string_view name) {
    // The kernel refuses a longer name instead of cutting it.
    constexpr size_t kernelLimit = 15;
    // Cut at a byte, which may split a letter; names here are ASCII.
    ::pthread_setname_np(::pthread_self(), std::string(name.substr(0, kernelLimit)).c_str());
}

uint64_t currentThreadIdentifier() {
    return static_cast<uint64_t>(::syscall(SYS_gettid));
}

} // namespace qvx::platform
