#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/text/Error.h"

namespace qvx::platform {

/// Immutable bytes, kept as a list of shared segments: copying and appending never copy the bytes
/// themselves, and a file is one segment that is mapped, not read.
class Data {
public:
    /// One contiguous piece. `owner` keeps `bytes` alive; a segment that is a mapped file says so, so that a
    /// reader that goes through it once can give its pages back with `releasePages`.
    struct Segment {
        std::shared_ptr<const void> owner;
        std::span<const std::byte> bytes;
        bool mapped = false;
    };

    Data() = default;

    /// A copy of the bytes of `text`.
    static Data withBytes(std::string_view text);

    /// Takes over the bytes of `text`.
    static Data withString(std::string&& text);

    /// The bytes of the regular file at `path` (UTF-8), mapped read-only. Fails with the POSIX error when it
    /// cannot be opened or mapped or is no regular file; never blocks on a FIFO or device. The file may be
    /// unlinked afterwards.
    static Result<Data> withContentsOfFile(std::string_view path);

    /// The bytes of the regular file at `path`, read into memory: for small files that may change meanwhile.
    /// Fails as `withContentsOfFile` does, and when the file is larger than `limit` bytes.
    static Result<Data> readFile(std::string_view path, size_t limit);

    /// Adds the segments of `other` at the end.
    void append(const Data& other);

    [[nodiscard]] size_t size() const { return size_; }
    [[nodiscard]] bool empty() const { return size_ == 0; }
    [[nodiscard]] const std::vector<Segment>& segments() const { return segments_; }

    /// All bytes in order, as one string.
    [[nodiscard]] std::string string() const;

    /// Tells the system that the first `count` bytes of a mapped segment have been used and need not stay in
    /// memory; reading them again is allowed and reads the file again. Nothing for any other segment.
    static void releasePages(const Segment& segment, size_t count);

    friend bool operator==(const Data& left, const Data& right) { return left.string() == right.string(); }

private:
    std::vector<Segment> segments_;
    size_t size_ = 0;
};

} // namespace qvx::platform
