#pragma once

#include <curl/curl.h>

#include <cstdint>

#include "platform/files/Data.h"

namespace qvx::platform {

/// Reads the bytes of a request's body in order, straight from their segments, giving back the memory of
/// mapped ones behind itself. Used by one thread.
class URLRequestBody {
public:
    explicit URLRequestBody(Data data) : data_(std::move(data)) {}

    [[nodiscard]] size_t size() const { return data_.size(); }

    /// The next byte read is the one at `offset`.
    void seek(uint64_t offset);

    /// The callbacks for CURLOPT_READFUNCTION and CURLOPT_SEEKFUNCTION, which take the object as their data.
    static size_t readCallback(char* buffer, size_t size, size_t count, void* body);
    static int seekCallback(void* body, curl_off_t offset, int origin);

private:
    size_t fill(char* buffer, size_t size);

    Data data_;
    size_t segment_ = 0;  ///< index of the segment that is being read
    size_t position_ = 0; ///< bytes of it that were read
    size_t released_ = 0; ///< bytes of it whose memory was given back
};

} // namespace qvx::platform
