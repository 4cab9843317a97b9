#include <CoreServices/CoreServices.h>

#include <array>
#include <climits>

#include "platform/desktop/Applications.h"
#include "platform/text/CoreFoundation_macos.h"

namespace qvx::platform::Applications {

namespace {

Owned<CFURLRef> systemURL(const URL& url) {
    const std::string text = url.absoluteString();
    return Owned<CFURLRef>(CFURLCreateWithBytes(nullptr, bytesOf(text), static_cast<CFIndex>(text.size()),
                                                kCFStringEncodingUTF8, nullptr));
}

bool open(const URL& url, LSLaunchFlags flags) {
    const Owned<CFURLRef> item = systemURL(url);
    if (!item)
        return false;
    const void* const only = item.get();
    const Owned<CFArrayRef> items(
        CFArrayCreate(nullptr, const_cast<const void**>(&only), 1, &kCFTypeArrayCallBacks));
    LSLaunchURLSpec request{};
    request.itemURLs = items.get();
    request.launchFlags = flags;
    return LSOpenFromURLSpec(&request, nullptr) == noErr;
}

} // namespace

std::optional<Handler> applicationForURL(const URL& url) {
    const Owned<CFURLRef> item = systemURL(url);
    const Owned<CFURLRef> application(
        item ? LSCopyDefaultApplicationURLForURL(item.get(), kLSRolesAll, nullptr) : nullptr);
    if (!application)
        return std::nullopt;
    std::array<char, PATH_MAX> path{};
    if (!CFURLGetFileSystemRepresentation(application.get(), true, reinterpret_cast<UInt8*>(path.data()),
                                          static_cast<CFIndex>(path.size())))
        return Handler{};
    return Handler{URL::fileURLWithPath(std::string(path.data()) + "/")};
}

bool openURL(const URL& url) {
    return open(url, kLSLaunchDontSwitch);
}

bool openWebPage(const URL& url) {
    return open(url, kLSLaunchDefaults);
}

} // namespace qvx::platform::Applications
