#pragma once

#include <string>

#include "platform/files/Data.h"

namespace qvx::platform {

/// MD5 (RFC 1321) of all bytes, as 32 lower-case hexadecimal digits.
std::string md5(const Data& data);

/// SHA-1 (FIPS 180-4) of all bytes, as 40 lower-case hexadecimal digits.
std::string sha1(const Data& data);

} // namespace qvx::platform
