#include "upload/DSYMZip.h"

#include "platform/files/FileManager.h"
#include "platform/process/Log.h"
#include "platform/text/String.h"
#include "platform/values/Bundle.h"
#include "shared/Categories/NSTask+Convenience.h"
#include "shared/Diagnostics.h"

namespace qvx {

namespace FileManager = platform::FileManager;

std::optional<std::string> archiverPath() {
    const std::string& folder = platform::Bundle::mainBundle().bundlePath();
    // Where the tool's own folder is not known there is nothing beside it: the name alone would be looked for
    // in the folder that is being built.
    const std::string own = folder.empty() ? "" : platform::stringByAppendingPathComponent(folder, "ditto");
    // The system's first: on a Mac it keeps attributes that ours knows nothing of.
    for (const std::string& path : {std::string("/usr/bin/ditto"), own}) {
        if (!path.empty() && FileManager::fileExistsAtPath(path))
            return path;
    }
    return std::nullopt;
}

bool makeZip(std::string_view archiver, std::string_view source, std::string_view destination) {
    const std::vector<std::string> arguments{"-c", "-k", "--keepParent", std::string(source),
                                             std::string(destination)};
    bool succeeded = false;
    const auto judge = [&](const platform::Data& standardError, const platform::Data&, int32_t status) {
        succeeded = status == 0;
        // The messages about an archive that was not made do not say why; the archiver does.
        const std::string text = platform::validUTF8(platform::trimmed(standardError.string()));
        if (!text.empty() && (!succeeded || debugMode))
            platform::NSLog("%@", text);
    };
    NSTask::launchWithPath(archiver, std::nullopt, arguments, judge);
    if (succeeded)
        return true;
    // An archiver that was killed leaves a piece that nobody can use.
    static_cast<void>(FileManager::removeFileAtPath(destination));
    return false;
}

} // namespace qvx
