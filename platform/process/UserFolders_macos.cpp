#include "platform/process/UserFolders.h"

#include "platform/process/ProcessInfo.h"
#include "platform/text/String.h"

namespace qvx::platform {

std::string cachesDirectory() {
    return stringByAppendingPathComponent(homeDirectory(), "Library/Caches");
}

std::string preferencesDirectory() {
    return stringByAppendingPathComponent(homeDirectory(), "Library/Preferences");
}

} // namespace qvx::platform
