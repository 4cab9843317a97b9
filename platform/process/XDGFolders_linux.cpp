#include "platform/process/XDGFolders_linux.h"

#include <cstdlib>

#include "platform/process/ProcessInfo.h"
#include "platform/text/String.h"

namespace qvx::platform {

std::string userFolder(const char* variable, std::string_view fallback) {
    const char* folder = std::getenv(variable);
    return folder && folder[0] == '/' ? folder : stringByAppendingPathComponent(homeDirectory(), fallback);
}

std::vector<std::string> systemFolders(const char* variable, std::string_view fallback) {
    const char* folders = std::getenv(variable);
    std::vector<std::string> list = componentsSeparatedBy(folders && *folders ? folders : fallback, ':');
    std::erase_if(list, [](const std::string& folder) { return !folder.starts_with('/'); });
    return list;
}

} // namespace qvx::platform
