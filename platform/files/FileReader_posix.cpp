#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <limits>
#include <string>

#include "platform/files/FileReader.h"

namespace qvx::platform {

Result<FileReader> FileReader::open(std::string_view path) {
    // Opening a FIFO or some devices would otherwise wait for the other side.
    FileDescriptor descriptor(
        ::open(std::string(path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!descriptor)
        return posixError(errno, path);
    struct stat status {};
    if (::fstat(descriptor.get(), &status) != 0)
        return posixError(errno, path);
    if (!S_ISREG(status.st_mode))
        return posixError(S_ISDIR(status.st_mode) ? EISDIR : EINVAL, path);
    return FileReader(std::move(descriptor), static_cast<uint64_t>(status.st_size));
}

Result<size_t> FileReader::read(uint64_t offset, std::span<std::byte> bytes) const {
    size_t filled = 0;
    while (filled < bytes.size() && offset <= std::numeric_limits<off_t>::max() - filled) {
        const ssize_t count = ::pread(descriptor_.get(), bytes.data() + filled, bytes.size() - filled,
                                      static_cast<off_t>(offset + filled));
        if (count == 0)
            break;
        if (count > 0)
            filled += static_cast<size_t>(count);
        else if (errno != EINTR)
            return posixError(errno, "read");
    }
    return filled;
}

} // namespace qvx::platform
