#include <pthread.h>

#include <string>

#include "platform/process/Thread.h"

namespace qvx::platform {

void setCurrentThreadName(std::string_view name) {
    // The kernel refuses a longer name instead of cutting it.
    constexpr size_t kernelLimit = 15;
    ::pthread_setname_np(::pthread_self(), std::string(name.substr(0, kernelLimit)).c_str());
}

} // namespace qvx::platform
