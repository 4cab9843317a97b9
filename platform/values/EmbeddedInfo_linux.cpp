#include "platform/values/EmbeddedInfo.h"

extern "C" {
extern const char qvx_info_plist_start[];
extern const char qvx_info_plist_end[];
}

namespace qvx::platform {

std::string_view embeddedInfo() {
    return {qvx_info_plist_start, static_cast<size_t>(qvx_info_plist_end - qvx_info_plist_start)};
}

} // namespace qvx::platform
