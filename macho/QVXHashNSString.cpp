#include "macho/QVXHashNSString.h"

#include "platform/files/Data.h"
#include "platform/files/Digest.h"

namespace qvx {

std::string QVXHashNSString(std::string_view text) {
    return platform::sha1(platform::Data::withBytes(text.substr(0, text.find('\0'))));
}

} // namespace qvx
