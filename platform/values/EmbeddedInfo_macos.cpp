#include "platform/values/EmbeddedInfo.h"

#include <mach-o/getsect.h>
#include <mach-o/ldsyms.h>

namespace qvx::platform {

std::string_view embeddedInfo() {
    unsigned long size = 0;
    const uint8_t* start = ::getsectiondata(&_mh_execute_header, "__TEXT", "__info_plist", &size);
    return {reinterpret_cast<const char*>(start), start ? size : 0};
}

} // namespace qvx::platform
