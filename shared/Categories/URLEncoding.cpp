#include "shared/Categories/URLEncoding.h"

#include "platform/text/URL.h"

namespace qvx {

std::string urlEncode(std::string_view text) {
    // The second pass leaves the escapes that the first one made alone.
    return platform::createStringByAddingPercentEscapes(platform::stringByAddingPercentEscapes(text), "%",
                                                        "!*'\"();:@&=+$,/?#[] ");
}

} // namespace qvx
