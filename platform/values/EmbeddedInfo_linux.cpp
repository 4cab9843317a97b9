#include "platform/values/EmbeddedInfo.h"

extern "C" {
// By the linker; null in a program that embeds nothing.
extern const char __start_info_plist[] __attribute__((weak, visibility("hidden")));
extern const char __stop_info_plist[] __attribute__((weak, visibility("hidden")));
}

namespace qvx::platform {

std::string_view embeddedInfo() {
    return {__start_info_plist, static_cast<size_t>(__stop_info_plist - __start_info_plist)};
}

} // namespace qvx::platform
