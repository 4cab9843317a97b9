#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "platform/files/FileDescriptor.h"
#include "platform/files/FileManager.h"
#include "platform/process/Termination.h"

namespace qvx::platform::FileManager {

namespace {

bool writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR)
            return false;
        bytes.remove_prefix(count < 0 ? 0 : static_cast<size_t>(count));
    }
    return true;
}

} // namespace

Result<std::string> fileToReplaceAtPath(std::string_view path) {
    const std::string target(path);
    struct stat status {};
    if (::lstat(target.c_str(), &status) != 0)
        return target; // nothing there, or the write says why not
    const std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(target.c_str(), nullptr),
                                                               &std::free);
    if (!resolved || ::stat(resolved.get(), &status) != 0)
        return posixError(errno, path);
    if (!S_ISREG(status.st_mode))
        return posixError(S_ISDIR(status.st_mode) ? EISDIR : EINVAL, path);
    return std::string(resolved.get());
}

std::optional<Error> writeFileAtomically(std::string_view bytes, std::string_view path) {
    const Result<std::string> found = fileToReplaceAtPath(path);
    if (!found)
        return found.error();
    const std::string& target = *found;
    std::string temporary = target.substr(0, target.rfind('/') + 1) + ".qvx-XXXXXX";
    const Termination::Deferral deferral; // or a signal could leave the temporary file behind
    FileDescriptor descriptor(::mkostemp(temporary.data(), O_CLOEXEC));
    if (!descriptor)
        return posixError(errno, path);
    // Without fsync: it costs a disk's turn in every build, and a record that a crash of the system loses is
    // made again by the next.
    if (writeAll(descriptor.get(), bytes) && descriptor.close() &&
        ::rename(temporary.c_str(), target.c_str()) == 0)
        return std::nullopt;
    const Error error = posixError(errno, path);
    ::unlink(temporary.c_str());
    return error;
}

} // namespace qvx::platform::FileManager
