#include "platform/http/URLRequestBody.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace qvx::platform {

namespace {

/// What may stay in memory behind the reader; each release is a call to the system.
constexpr size_t releaseStep = 4 * 1024 * 1024;

} // namespace

void URLRequestBody::seek(uint64_t offset) {
    segment_ = 0;
    released_ = 0;
    const auto& segments = data_.segments();
    while (segment_ < segments.size() && offset >= segments[segment_].bytes.size())
        offset -= segments[segment_++].bytes.size();
    position_ = segment_ < segments.size() ? offset : 0;
}

size_t URLRequestBody::fill(char* buffer, size_t size) {
    size_t filled = 0;
    while (filled < size && segment_ < data_.segments().size()) {
        const Data::Segment& segment = data_.segments()[segment_];
        const size_t count = std::min(size - filled, segment.bytes.size() - position_);
        std::memcpy(buffer + filled, segment.bytes.data() + position_, count);
        filled += count;
        position_ += count;
        const bool atEnd = position_ == segment.bytes.size();
        // What was sent is not read again but by a redirect, and then from the file: so the peak stays at a
        // few megabytes for an archive of any size.
        if (atEnd || position_ - released_ >= releaseStep) {
            Data::releasePages(segment, position_);
            released_ = position_;
        }
        if (atEnd) {
            segment_ += 1;
            position_ = released_ = 0;
        }
    }
    return filled;
}

size_t URLRequestBody::readCallback(char* buffer, size_t size, size_t count, void* body) {
    return static_cast<URLRequestBody*>(body)->fill(buffer, size * count);
}

int URLRequestBody::seekCallback(void* body, curl_off_t offset, int origin) {
    if (origin != SEEK_SET || offset < 0)
        return CURL_SEEKFUNC_CANTSEEK;
    static_cast<URLRequestBody*>(body)->seek(static_cast<uint64_t>(offset));
    return CURL_SEEKFUNC_OK;
}

} // namespace qvx::platform
