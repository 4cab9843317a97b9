#include "platform/process/UserFolders.h"

#include "platform/process/XDGFolders_linux.h"

namespace qvx::platform {

std::string cachesDirectory() {
    return userFolder("XDG_CACHE_HOME", ".cache");
}

std::string preferencesDirectory() {
    return userFolder("XDG_CONFIG_HOME", ".config");
}

} // namespace qvx::platform
