#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <string_view>
#include <type_traits>

namespace qvx::platform {

struct CoreFoundationRelease {
    void operator()(CFTypeRef object) const { CFRelease(object); }
};

/// Owns one reference to an object that a function with "Create" or "Copy" in its name gave; null means none.
template <class Reference>
using Owned = std::unique_ptr<std::remove_pointer_t<Reference>, CoreFoundationRelease>;

/// The bytes of `text` as Core Foundation takes them.
inline const UInt8* bytesOf(std::string_view text) {
    return reinterpret_cast<const UInt8*>(text.data());
}

} // namespace qvx::platform
