#pragma once

#include <unistd.h>

#include <utility>

namespace qvx {

/// Owns an open file descriptor and closes it; -1 owns nothing.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int fd) : fd_(fd) {}
    FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~FileDescriptor() {
        if (fd_ >= 0)
            ::close(fd_);
    }

    [[nodiscard]] int get() const { return fd_; }
    [[nodiscard]] bool isOpen() const { return fd_ >= 0; }
    /// Hands the descriptor to the caller, who closes it.
    [[nodiscard]] int release() { return std::exchange(fd_, -1); }

private:
    int fd_ = -1;
};

} // namespace qvx
