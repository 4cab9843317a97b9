#include "shared/Categories/URLEncoding.h"

#include "platform/text/URL.h"

namespace qvx {

std::string urlEncode(std::string_view text) {
    return platform::stringByAddingPercentEscapes(text);
}

} // namespace qvx
