#pragma once

#include "archive/FileDescriptor.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace qvx {

/// The file being made. Where a file or link of its name stands already it grows beside that as
/// "DESTINATION.PID.partial" (a long name is cut) and takes its place when it is complete; until then what
/// stood there is untouched. If it is not published it is removed: on destruction, and also when SIGINT,
/// SIGTERM or SIGHUP ends the process (unless the signal was ignored at the start) or memory runs out.
/// One at a time per process, used by one thread.
class OutputFile {
public:
    /// Null with the reason in `error` when it cannot be made, or the destination is something that is no
    /// regular file or link.
    [[nodiscard]] static std::unique_ptr<OutputFile> create(const std::string& destination,
                                                            std::string& error);
    ~OutputFile();

    /// Appends. False, with errno set, when the disk does not take it.
    [[nodiscard]] bool append(std::span<const uint8_t> bytes);
    /// Overwrites bytes that one call of append() wrote, at an offset from the start of the file.
    [[nodiscard]] bool patch(uint64_t offset, std::span<const uint8_t> bytes);
    /// Bytes appended so far.
    [[nodiscard]] uint64_t size() const { return flushed_ + buffer_.size(); }
    /// Gives the complete file its name. False, with errno set, when that does not work.
    [[nodiscard]] bool publish();

    /// Whether this descriptor is open on the same file.
    [[nodiscard]] bool isSameFile(int fd) const;

private:
    OutputFile(std::string destination, FileDescriptor file);

    [[nodiscard]] bool flush();

    std::string destination_;
    FileDescriptor file_;
    std::vector<uint8_t> buffer_;
    uint64_t flushed_ = 0;
};

} // namespace qvx
