#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>

#include "platform/files/DirectoryListing_posix.h"
#include "platform/files/FileDescriptor.h"
#include "platform/files/FileManager.h"

namespace qvx::platform::FileManager {

namespace {

/// An entry and the folder it stands in: one level at a time, so that no path gets too long for the system.
struct Place {
    int folder;
    std::string name;
    std::string path; ///< for messages
};

using Failure = std::optional<Error>;

Failure copyEntry(const Place& source, const Place& destination);

Failure copyTimes(const struct stat& status, const Place& destination) {
    const std::array<timespec, 2> times{status.st_atim, status.st_mtim};
    if (::utimensat(destination.folder, destination.name.c_str(), times.data(), AT_SYMLINK_NOFOLLOW) != 0)
        return posixError(errno, destination.path);
    return std::nullopt;
}

/// Reads and writes what neither a clone nor the kernel's own copy could bring over.
bool copyByReading(int input, int output) {
    std::array<char, 65536> buffer; // not filled, since it is seldom used for more than to see the end
    while (true) {
        const ssize_t count = ::read(input, buffer.data(), buffer.size());
        if (count == 0)
            return true;
        if (count < 0 && errno != EINTR)
            return false;
        for (ssize_t written = 0; written < count;) {
            const ssize_t step =
                ::write(output, buffer.data() + written, static_cast<size_t>(count - written));
            if (step < 0 && errno != EINTR)
                return false;
            written += step < 0 ? 0 : step;
        }
    }
}

bool copyContents(int input, int output) {
    // A clone shares the blocks and takes no time, on file systems that can (btrfs, XFS); next best the
    // kernel copies.
    if (::ioctl(output, FICLONE, input) == 0)
        return true;
    bool someWereCopied = false;
    while (true) {
        const ssize_t count = ::copy_file_range(input, nullptr, output, nullptr, size_t{1} << 30, 0);
        if (count == 0 && someWereCopied)
            return true;
        if (count == 0 || (count < 0 && errno != EINTR))
            break; // some file systems say at once that there is nothing
        someWereCopied = true;
    }
    // Both descriptors stand where the kernel's copy gave up.
    return copyByReading(input, output);
}

Failure copyFile(const struct stat& status, const Place& source, const Place& destination) {
    const FileDescriptor input(
        ::openat(source.folder, source.name.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (!input)
        return posixError(errno, source.path);
    FileDescriptor output(::openat(destination.folder, destination.name.c_str(),
                                   O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!output)
        return posixError(errno, destination.path);
    if (!copyContents(input.get(), output.get()) || ::fchmod(output.get(), status.st_mode & 07777) != 0)
        return posixError(errno, destination.path);
    const std::array<timespec, 2> times{status.st_atim, status.st_mtim};
    if (::futimens(output.get(), times.data()) != 0 || !output.close())
        return posixError(errno, destination.path);
    return std::nullopt;
}

Failure copyLink(const struct stat& status, const Place& source, const Place& destination) {
    std::array<char, PATH_MAX> target{};
    const ssize_t length = ::readlinkat(source.folder, source.name.c_str(), target.data(), target.size() - 1);
    if (length < 0)
        return posixError(errno, source.path);
    if (::symlinkat(target.data(), destination.folder, destination.name.c_str()) != 0)
        return posixError(errno, destination.path);
    return copyTimes(status, destination);
}

FileDescriptor openFolder(const Place& place) {
    return FileDescriptor(
        ::openat(place.folder, place.name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW));
}

Failure copyFolder(const struct stat& status, const Place& source, const Place& destination) {
    // Writable to its owner until it is filled, whatever the source's own bits say.
    if (::mkdirat(destination.folder, destination.name.c_str(), 0700) != 0)
        return posixError(errno, destination.path);
    const FileDescriptor from = openFolder(source);
    if (!from)
        return posixError(errno, source.path);
    const FileDescriptor to = openFolder(destination);
    if (!to)
        return posixError(errno, destination.path);
    const Result<std::vector<std::string>> names =
        namesInDirectory(openFolder({from.get(), ".", ""}), source.path);
    if (!names)
        return names.error();
    for (const std::string& name : *names) {
        if (Failure failure = copyEntry({from.get(), name, source.path + "/" + name},
                                        {to.get(), name, destination.path + "/" + name}))
            return failure;
    }
    if (::fchmod(to.get(), status.st_mode & 07777) != 0)
        return posixError(errno, destination.path);
    return copyTimes(status, destination);
}

Failure copyEntry(const Place& source, const Place& destination) {
    struct stat status {};
    if (::fstatat(source.folder, source.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return posixError(errno, source.path);
    // What is none of the three, a FIFO or a device, is refused unopened: copying from one may never end.
    if (S_ISREG(status.st_mode))
        return copyFile(status, source, destination);
    if (S_ISLNK(status.st_mode))
        return copyLink(status, source, destination);
    if (S_ISDIR(status.st_mode))
        return copyFolder(status, source, destination);
    return posixError(ENOTSUP, source.path);
}

} // namespace

std::optional<Error> copyItemAtPath(std::string_view source, std::string_view destination) {
    // Of a link, which may be relative, a copy elsewhere would lead to nothing.
    const std::unique_ptr<char, decltype(&std::free)> resolved(
        ::realpath(std::string(source).c_str(), nullptr), &std::free);
    if (!resolved)
        return posixError(errno, source);
    return copyEntry({AT_FDCWD, resolved.get(), std::string(source)},
                     {AT_FDCWD, std::string(destination), std::string(destination)});
}

} // namespace qvx::platform::FileManager
