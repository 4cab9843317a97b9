#include "shared/Categories/MD5.h"

#include "platform/files/Digest.h"

namespace qvx {

std::string MD5(const platform::Data& data) {
    return platform::md5(data);
}

std::string MD5(std::string_view text) {
    // Of a C string: what stands behind a NUL does not count.
    return MD5(platform::Data::withBytes(text.substr(0, text.find('\0'))));
}

} // namespace qvx
