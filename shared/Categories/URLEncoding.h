#pragma once

#include <string>
#include <string_view>

namespace qvx {

/// `text` escaped for use as a key or value of a URL's query: every UTF-8 byte but letters, digits, hyphen,
/// full stop, underscore and tilde becomes a percent sign and two upper-case hexadecimal digits.
std::string urlEncode(std::string_view text);

} // namespace qvx
