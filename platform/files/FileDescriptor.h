#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <utility>

namespace qvx::platform {

/// Owns a file descriptor and closes it; -1 means none.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    ~FileDescriptor() { reset(); }

    [[nodiscard]] int get() const { return descriptor_; }
    explicit operator bool() const { return descriptor_ >= 0; }

    /// Gives the descriptor away without closing it.
    int release() { return std::exchange(descriptor_, -1); }

    /// Closes the descriptor; false, with errno set, when the system says only now that a write failed.
    [[nodiscard]] bool close() { return ::close(release()) == 0; }

    /// Keeps it from the programs that this process starts, where the system cannot do so when it is opened;
    /// false, with errno set, when that fails.
    [[nodiscard]] bool closeOnExec() const { return ::fcntl(descriptor_, F_SETFD, FD_CLOEXEC) == 0; }

    void reset() {
        if (descriptor_ >= 0)
            ::close(std::exchange(descriptor_, -1));
    }

private:
    int descriptor_ = -1;
};

} // namespace qvx::platform
