#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/files/FileDescriptor.h"
#include "platform/process/Termination.h"
#include "platform/text/Error.h"

namespace qvx {

/// The file being made. Where a file of its name stands already, or a link to one, it grows beside that file
/// as "FILE.PID.partial" (a long name is cut) and takes its place when it is complete; until then what stood
/// there is untouched. If it is not published it is removed: on destruction, and also when a signal ends the
/// process. Errors name the destination. One at a time per process, used by one thread.
class OutputFile {
public:
    /// The error when it cannot be made, or the destination exists and is neither a regular file nor a link
    /// to one.
    static platform::Result<std::unique_ptr<OutputFile>> create(const std::string& destination);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// Appends; the error when the disk does not take it.
    [[nodiscard]] std::optional<platform::Error> append(std::span<const uint8_t> bytes);
    /// Overwrites bytes that one call of append() wrote, at an offset from the start of the file.
    [[nodiscard]] std::optional<platform::Error> patch(uint64_t offset, std::span<const uint8_t> bytes);
    /// Bytes appended so far.
    [[nodiscard]] uint64_t size() const { return flushed_ + buffer_.size(); }
    /// Gives the complete file its name.
    [[nodiscard]] std::optional<platform::Error> publish();

    /// Whether this descriptor is open on the same file.
    [[nodiscard]] bool isSameFile(int descriptor) const;

private:
    OutputFile(std::string destination, std::string target, std::string path, platform::FileDescriptor file);

    [[nodiscard]] std::optional<platform::Error> flush();
    [[nodiscard]] std::optional<platform::Error> writeAll(std::span<const uint8_t> bytes, uint64_t offset);

    std::string destination_; // as it was given
    std::string target_;      // where it is to stand
    std::string path_;        // where it grows
    platform::FileDescriptor file_;
    std::optional<platform::Termination::RemovedFile> guard_; // until it is published
    std::vector<uint8_t> buffer_;
    uint64_t flushed_ = 0;
};

} // namespace qvx
