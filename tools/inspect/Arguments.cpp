#include "tools/inspect/Arguments.h"

#include <string_view>

namespace qvx::inspector {

Arguments parseArguments(int count, const char* const* arguments) {
    Arguments result;
    bool options = true;
    for (int index = 1; index < count; ++index) {
        const std::string_view argument = arguments[index];
        if (!options || !argument.starts_with('-'))
            result.paths.emplace_back(argument);
        else if (argument == "--")
            options = false;
        else if (argument == "--help")
            result.help = true;
        else if (argument == "--match")
            result.match = true;
        else if (argument == "--json")
            result.json = true;
        else if (result.error.empty())
            result.error = "unknown option " + std::string(argument);
    }
    if (result.error.empty() && !result.help) {
        if (result.json && !result.match)
            result.error = "--json goes with --match; without it all output is JSON";
        else if (result.match && result.paths.empty())
            result.error = "--match needs the path of an app";
    }
    return result;
}

} // namespace qvx::inspector
