#include <copyfile.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <memory>

#include "platform/files/FileManager.h"

namespace qvx::platform::FileManager {

std::optional<Error> copyItemAtPath(std::string_view source, std::string_view destination) {
    // Of a link, which may be relative, a copy elsewhere would lead to nothing.
    const std::unique_ptr<char, decltype(&std::free)> from(::realpath(std::string(source).c_str(), nullptr),
                                                           &std::free);
    if (!from)
        return posixError(errno, source);
    const std::string to(destination);
    // A folder would be copied into one that exists, not refused.
    struct stat status {};
    if (::lstat(to.c_str(), &status) == 0)
        return posixError(EEXIST, destination);
    // The first flag also copies where it cannot clone, and takes symbolic links as what they are.
    if (::copyfile(from.get(), to.c_str(), nullptr, COPYFILE_CLONE | COPYFILE_RECURSIVE) == 0)
        return std::nullopt;
    const int reason = errno;
    return posixError(reason, ::lstat(from.get(), &status) == 0 ? destination : source);
}

} // namespace qvx::platform::FileManager
