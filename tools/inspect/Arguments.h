#pragma once

#include <string>
#include <vector>

namespace qvx::inspector {

struct Arguments {
    bool help = false;
    bool match = false;
    bool json = false;
    std::vector<std::string> paths;
    std::string error; ///< what is wrong with them; empty when nothing is
};

/// What the program was started with. Options may stand anywhere before "--".
[[nodiscard]] Arguments parseArguments(int count, const char* const* arguments);

} // namespace qvx::inspector
