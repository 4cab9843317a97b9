#include "platform/text/CoreFoundation_macos.h"
#include "platform/text/String.h"

namespace qvx::platform {

std::string lowercaseString(std::string_view text) {
    const Owned<CFStringRef> original(CFStringCreateWithBytes(
        nullptr, bytesOf(text), static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false));
    if (!original) // not UTF-8 throughout
        return lowercaseASCII(text);
    const Owned<CFMutableStringRef> changed(CFStringCreateMutableCopy(nullptr, 0, original.get()));
    CFStringLowercase(changed.get(), nullptr);
    const CFRange whole{0, CFStringGetLength(changed.get())};
    CFIndex size = 0;
    CFStringGetBytes(changed.get(), whole, kCFStringEncodingUTF8, 0, false, nullptr, 0, &size);
    std::string result(static_cast<size_t>(size), '\0');
    CFStringGetBytes(changed.get(), whole, kCFStringEncodingUTF8, 0, false,
                     reinterpret_cast<UInt8*>(result.data()), size, nullptr);
    return result;
}

} // namespace qvx::platform
