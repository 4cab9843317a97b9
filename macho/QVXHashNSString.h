#pragma once

#include <string>
#include <string_view>

namespace qvx {

/// SHA-1 (FIPS 180-4) of the bytes of `text` up to its first NUL, as 40 lower-case hexadecimal digits.
[[nodiscard]] std::string QVXHashNSString(std::string_view text);

} // namespace qvx
