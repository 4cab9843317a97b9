#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

#include "platform/files/FileDescriptor.h"
#include "platform/text/Error.h"

namespace qvx::platform {

/// A regular file that is read piece by piece: for a few bytes each of many files, which may shrink
/// meanwhile. That ends a read early, where it would raise a signal under a mapping.
class FileReader {
public:
    /// Fails with the POSIX error when the file cannot be opened or is not regular; never blocks on a FIFO or
    /// device. \param path in the file system's bytes
    static Result<FileReader> open(std::string_view path);

    /// In bytes, when it was opened.
    [[nodiscard]] uint64_t size() const { return size_; }

    /// Fills `bytes` with what stands at `offset`; the number of bytes read is smaller only where the file
    /// ends.
    Result<size_t> read(uint64_t offset, std::span<std::byte> bytes) const;

private:
    FileReader(FileDescriptor descriptor, uint64_t size) : descriptor_(std::move(descriptor)), size_(size) {}

    FileDescriptor descriptor_;
    uint64_t size_;
};

} // namespace qvx::platform
