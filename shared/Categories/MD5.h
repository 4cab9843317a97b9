#pragma once

#include <string>
#include <string_view>

#include "platform/files/Data.h"

namespace qvx {

/// MD5 digest (RFC 1321) of all bytes of the data, as 32 lower-case hexadecimal digits.
std::string MD5(const platform::Data& data);

/// MD5 digest of a text's UTF-8 bytes up to its first NUL, if it has one.
std::string MD5(std::string_view text);

} // namespace qvx
