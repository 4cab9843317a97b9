#include <copyfile.h>
#include <sys/stat.h>

#include <cerrno>

#include "platform/files/FileManager.h"

namespace qvx::platform::FileManager {

std::optional<Error> copyItemAtPath(std::string_view source, std::string_view destination) {
    const std::string from(source);
    const std::string to(destination);
    // A folder would be copied into one that exists, not refused.
    struct stat status {};
    if (::lstat(to.c_str(), &status) == 0)
        return posixError(EEXIST, destination);
    // The first flag also copies where it cannot clone, and takes symbolic links as what they are.
    if (::copyfile(from.c_str(), to.c_str(), nullptr, COPYFILE_CLONE | COPYFILE_RECURSIVE) == 0)
        return std::nullopt;
    const int reason = errno;
    return posixError(reason, ::lstat(from.c_str(), &status) == 0 ? destination : source);
}

} // namespace qvx::platform::FileManager
