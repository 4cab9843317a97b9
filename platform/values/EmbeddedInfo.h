#pragma once

#include <string_view>

namespace qvx::platform {

/// The bytes of the property list that was embedded into this program when it was built (CMake's
/// `qvx_embed_info_plist`); none when there was none.
std::string_view embeddedInfo();

} // namespace qvx::platform
