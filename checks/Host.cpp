#include "checks/Host.h"

#include <algorithm>

#include "platform/desktop/Applications.h"
#include "platform/process/ProcessTable.h"
#include "platform/text/Format.h"
#include "platform/values/PropertyList.h"
#include "shared/Diagnostics.h"

namespace qvx {

namespace {

std::optional<platform::Applications::Handler> desktopApp() {
    return platform::Applications::applicationForURL(*platform::URL::initWithString("quorvex://xcode?"));
}

} // namespace

bool isProcessNameInHierarchy(std::string_view name) {
    std::vector<std::string> names;
    // Up to the first process. One that ended meanwhile counts as a child of that one, so the walk always
    // ends.
    int identifier = platform::processIdentifier();
    while (true) {
        const platform::ProcessRecord record = platform::processRecord(identifier);
        names.push_back(record.commandName);
        if (record.identifier < 2)
            break;
        identifier = record.parentIdentifier;
    }
    return std::find(names.begin(), names.end(), name) != names.end();
}

bool isXcodeInProcessHierarchy() {
    const bool found = isProcessNameInHierarchy("Xcode");
    if (debugMode)
        QVXLog("Run script build phase called from Xcode.app %i", found);
    return found;
}

bool isBotsDaemonInProcessHierarchy() {
    const bool found = isProcessNameInHierarchy("xcsbuildd");
    if (debugMode)
        QVXLog("Run script build phase called from Xcode Bots %i", found);
    return found;
}

bool isQuorvexInstalled() {
    const auto application = desktopApp();
    if (debugMode && application)
        QVXLog("Install path %@", application->bundle);
    return application.has_value();
}

// The app reads build records from the version after 202 on; earlier ones take the build as a query.
bool isQuorvexBuildPlistCompatible() {
    const auto application = desktopApp();
    if (!application || !application->bundle)
        return false;
    // Put together as text: a folder whose URL has no slash at its end gives a path that does not exist.
    const auto url =
        platform::URL::initWithString(platform::format("%@Contents/Info.plist", *application->bundle));
    const std::optional<std::string> path = url ? url->path() : std::nullopt;
    const auto info = path ? platform::dictionaryWithContentsOfFile(*path) : std::nullopt;
    return info && info->integer("CFBundleVersion") > 202;
}

// Not a shell's rules: quotes are dropped wherever they stand, and a blank within them separates all the
// same. Nothing here calls it; it is for callers of the class.
std::vector<std::string> searchPathsToArray(std::string_view setting) {
    std::vector<std::string> pieces{""};
    for (const char character : setting) {
        if (character == ' ')
            pieces.emplace_back();
        else if (character != '"')
            pieces.back() += character;
    }
    return pieces;
}

} // namespace qvx
