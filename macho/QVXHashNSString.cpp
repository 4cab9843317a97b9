#include "macho/QVXHashNSString.h"

#include "platform/Data.h"
#include "platform/Digest.h"

namespace qvx {

std::string QVXHashNSString(std::string_view text) {
    return platform::sha1(platform::Data::withBytes(text.substr(0, text.find('\0'))));
}

} // namespace qvx
