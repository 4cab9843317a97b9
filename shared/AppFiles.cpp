#include "shared/AppFiles.h"

#include <map>

#include "platform/text/Format.h"
#include "platform/values/PropertyList.h"
#include "shared/Diagnostics.h"

namespace qvx {

using platform::Environment;

std::string infoPlistPath(const Environment& environment) {
    // Joined as text: a setting that is missing shows as "(null)" in the message about the path.
    return platform::format("%@/%@", environment.value("BUILT_PRODUCTS_DIR"),
                            environment.value("INFOPLIST_PATH"));
}

std::string executablePath(const Environment& environment) {
    return platform::format("%@/%@", environment.value("BUILT_PRODUCTS_DIR"),
                            environment.value("EXECUTABLE_PATH"));
}

std::string dSYMPath(const Environment& environment) {
    return platform::format("%@/%@", environment.value("DWARF_DSYM_FOLDER_PATH"),
                            environment.value("DWARF_DSYM_FILE_NAME"));
}

const platform::Dictionary* infoPlistAtPath(const std::string& path) {
    // A run asks for the same one up to five times, and should not see it change meanwhile.
    static std::map<std::string, platform::Dictionary> read;
    if (const auto found = read.find(path); found != read.end())
        return &found->second;
    std::optional<platform::Dictionary> dictionary = platform::dictionaryWithContentsOfFile(path);
    return dictionary ? &read.emplace(path, *std::move(dictionary)).first->second : nullptr;
}

platform::Dictionary infoPlistDictionary(const Environment& environment) {
    const std::string path = infoPlistPath(environment);
    const platform::Dictionary* info = infoPlistAtPath(path);
    if (!info)
        failWithTitleAndReason("Failed to Load File",
                               platform::format("Could not load Info.plist contents at path %@", path));
    return *info;
}

} // namespace qvx
