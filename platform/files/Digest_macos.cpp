#include <CommonCrypto/CommonDigest.h>

#include <array>

#include "platform/files/Digest.h"
#include "platform/text/String.h"

namespace qvx::platform {

namespace {

/// The digest that these functions of the library make of all bytes.
template <size_t length, class Context, class Initialize, class Update, class Finish>
std::string digestOf(const Data& data, Initialize initialize, Update update, Finish finish) {
    Context context;
    initialize(&context);
    for (const Data::Segment& segment : data.segments()) {
        std::span<const std::byte> rest = segment.bytes;
        while (!rest.empty()) { // the library counts in 32 bits
            const auto piece = rest.first(std::min(rest.size(), size_t{1} << 30));
            update(&context, piece.data(), static_cast<CC_LONG>(piece.size()));
            rest = rest.subspan(piece.size());
        }
    }
    std::array<uint8_t, length> digest{};
    finish(digest.data(), &context);
    return hexadecimalString(digest);
}

} // namespace

// The library calls it broken, as cryptography; here it names folders and protects nothing.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
std::string md5(const Data& data) {
    return digestOf<CC_MD5_DIGEST_LENGTH, CC_MD5_CTX>(data, &CC_MD5_Init, &CC_MD5_Update, &CC_MD5_Final);
}
#pragma clang diagnostic pop

std::string sha1(const Data& data) {
    return digestOf<CC_SHA1_DIGEST_LENGTH, CC_SHA1_CTX>(data, &CC_SHA1_Init, &CC_SHA1_Update, &CC_SHA1_Final);
}

} // namespace qvx::platform
