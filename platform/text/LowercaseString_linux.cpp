#include <utf8proc.h>

#include <array>

#include "platform/text/String.h"

namespace qvx::platform {

std::string lowercaseString(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        int32_t codePoint = 0;
        const auto length = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                             static_cast<utf8proc_ssize_t>(text.size()), &codePoint);
        if (length <= 0) {
            result += text.front();
            text.remove_prefix(1);
            continue;
        }
        std::array<utf8proc_uint8_t, 4> bytes{};
        const auto size = utf8proc_encode_char(utf8proc_tolower(codePoint), bytes.data());
        result.append(reinterpret_cast<const char*>(bytes.data()), static_cast<size_t>(size));
        text.remove_prefix(static_cast<size_t>(length));
    }
    return result;
}

} // namespace qvx::platform
