#pragma once

#include <string>
#include <string_view>

namespace qvx::inspector {

struct BinaryReport {
    std::string json;   ///< one line, without its end
    bool opened = true; ///< else the line holds an error
};

/// What the Mach-O file or dSYM bundle at `path` holds.
[[nodiscard]] BinaryReport describeBinary(std::string_view path);

} // namespace qvx::inspector
