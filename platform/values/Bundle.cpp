#include "platform/values/Bundle.h"

#include "platform/files/FileManager.h"
#include "platform/process/ProcessInfo.h"
#include "platform/text/String.h"
#include "platform/values/EmbeddedInfo.h"
#include "platform/values/PropertyList.h"

namespace qvx::platform {

const Bundle& Bundle::mainBundle() {
    static const Bundle bundle = [] {
        // Embedded rather than read from a file, so that the tool is one file that says the same wherever it
        // lies.
        const Result<Value> info = propertyListWithData(Data::withBytes(embeddedInfo()));
        const Dictionary* dictionary = info ? info->get<Dictionary>() : nullptr;
        return Bundle(executablePath().substr(0, executablePath().rfind('/')),
                      dictionary ? *dictionary : Dictionary());
    }();
    return bundle;
}

std::shared_ptr<Bundle> Bundle::bundleWithURL(const URL& url) {
    const std::optional<std::string> path = url.path();
    if (!path || !FileManager::isDirectoryAtPath(*path))
        return nullptr;
    const auto info =
        dictionaryWithContentsOfFile(stringByAppendingPathComponent(*path, "Contents/Info.plist"));
    // A folder without a list is a bundle too, one that says nothing about itself.
    return std::shared_ptr<Bundle>(new Bundle(*path, info.value_or(Dictionary())));
}

std::optional<std::string> Bundle::bundleIdentifier() const {
    return info_.string("CFBundleIdentifier");
}

} // namespace qvx::platform
