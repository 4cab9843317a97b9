#pragma once

#include <optional>
#include <string_view>

#include "platform/http/URLRequest.h"

namespace qvx::platform {

/// Reads the head of an HTTP reply line by line, skipping interim (1xx) ones.
class URLReplyHead {
public:
    /// More than this is no head but an attempt to fill the memory.
    static constexpr size_t sizeLimit = 256 * 1024;

    /// Takes one line, its end included. True when it ended the head of the final reply; lines behind that
    /// (trailers) are ignored.
    bool addLine(std::string_view line);

    /// Whether more than `sizeLimit` bytes came.
    [[nodiscard]] bool isTooLarge() const { return size_ > sizeLimit; }

    [[nodiscard]] bool isComplete() const { return complete_; }

    /// What came so far of the final reply; absent before its status line.
    [[nodiscard]] const std::optional<HTTPURLResponse>& response() const { return response_; }

private:
    void addField(std::string_view line);

    std::optional<HTTPURLResponse> response_;
    size_t size_ = 0;
    bool interim_ = false;
    bool complete_ = false;
};

} // namespace qvx::platform
