#include <md5.h>
#include <sha1.h>

#include <array>

#include "platform/files/Digest.h"
#include "platform/text/String.h"

namespace qvx::platform {

namespace {

const uint8_t* start(const Data::Segment& segment) {
    return reinterpret_cast<const uint8_t*>(segment.bytes.data());
}

} // namespace

std::string md5(const Data& data) {
    MD5_CTX context;
    MD5Init(&context);
    for (const Data::Segment& segment : data.segments())
        MD5Update(&context, start(segment), segment.bytes.size());
    std::array<uint8_t, MD5_DIGEST_LENGTH> digest{};
    MD5Final(digest.data(), &context);
    return hexadecimalString(digest);
}

std::string sha1(const Data& data) {
    SHA1_CTX context;
    SHA1Init(&context);
    for (const Data::Segment& segment : data.segments())
        SHA1Update(&context, start(segment), segment.bytes.size());
    std::array<uint8_t, SHA1_DIGEST_LENGTH> digest{};
    SHA1Final(digest.data(), &context);
    return hexadecimalString(digest);
}

} // namespace qvx::platform
