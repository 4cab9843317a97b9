#include "platform/Digest.h"

#include <glib.h>

#include <memory>

namespace qvx::platform {

namespace {

std::string hexadecimalDigest(GChecksumType type, const Data& data) {
    const std::unique_ptr<GChecksum, decltype(&g_checksum_free)> checksum(g_checksum_new(type),
                                                                          &g_checksum_free);
    for (const Data::Segment& segment : data.segments())
        g_checksum_update(checksum.get(), reinterpret_cast<const guchar*>(segment.bytes.data()),
                          static_cast<gssize>(segment.bytes.size()));
    return g_checksum_get_string(checksum.get());
}

} // namespace

std::string md5(const Data& data) {
    return hexadecimalDigest(G_CHECKSUM_MD5, data);
}

std::string sha1(const Data& data) {
    return hexadecimalDigest(G_CHECKSUM_SHA1, data);
}

} // namespace qvx::platform
