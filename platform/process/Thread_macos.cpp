#include "platform/process/Thread.h"

#include <pthread.h>

#include <string>

namespace qvx::platform {

void setCurrentThreadName(std::string_view name) {
    // The system refuses a longer name instead of cutting it.
    constexpr size_t systemLimit = 63;
    ::pthread_setname_np(std::string(name.substr(0, systemLimit)).c_str());
}

uint64_t currentThreadIdentifier() {
    uint64_t identifier = 0;
    ::pthread_threadid_np(nullptr, &identifier);
    return identifier;
}

} // namespace qvx::platform
