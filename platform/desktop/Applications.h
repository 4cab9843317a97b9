#pragma once

#include <optional>

#include "platform/text/URL.h"

/// The applications of the desktop, found by the URL scheme that they are registered for.
namespace qvx::platform::Applications {

/// The registered handler of `url`'s scheme.
struct Handler {
    /// File URL, with a trailing slash, of the bundle that holds its program: the nearest enclosing folder
    /// ending in ".app", symbolic links resolved; absent when there is none.
    std::optional<URL> bundle;
};

/// The default application for the scheme of `url`; absent when none is registered.
std::optional<Handler> applicationForURL(const URL& url);

/// Hands `url` to the registered handler without waiting for it or sharing descriptors with it; true when it
/// was started. Where the system lets one say so, the handler does not come to the front.
[[nodiscard]] bool openURL(const URL& url);

/// Shows the page in the user's browser, which may come to the front; true when that was started.
[[nodiscard]] bool openWebPage(const URL& url);

} // namespace qvx::platform::Applications
