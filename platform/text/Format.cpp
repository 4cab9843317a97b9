#include "platform/text/Format.h"

namespace qvx::platform {

std::string formatWithArguments(std::string_view format, std::span<const FormatArgument> arguments) {
    std::string result;
    size_t next = 0;
    for (size_t index = 0; index < format.size(); ++index) {
        if (format[index] != '%') {
            result += format[index];
            continue;
        }
        switch (format[++index]) {
        case '%':
            result += '%';
            break;
        case '@':
        case 's':
            result += arguments[next++].text();
            break;
        case 'i':
        case 'd':
            result += std::to_string(static_cast<int32_t>(arguments[next++].number()));
            break;
        default: // %lu, %tu
            ++index;
            result += std::to_string(arguments[next++].number());
            break;
        }
    }
    return result;
}

} // namespace qvx::platform
