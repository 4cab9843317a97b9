#pragma once

#include <optional>
#include <string>

#include "platform/http/URLRequest.h"

namespace qvx::platform {

/// One of the requests that an exchange is made of: the first, or the one that a redirect leads to.
struct URLHop {
    platform::URL URL;
    std::string method;
    bool bodyDropped = false; ///< a redirect took the body away, and with it its type
};

/// Whether both URLs have the same scheme, host and port.
[[nodiscard]] bool haveSameOrigin(const URL& left, const URL& right);

/// Whether an exchange may go to `url`: https, with a host.
[[nodiscard]] bool isLoadable(const URL& url);

/// What `response` to `hop` leads to (RFC 9110, section 15.4): for 301, 302, 303, 307 and 308 with a Location
/// that is a loadable URL; otherwise absent, and the response is the answer. 301, 302 and 303 turn a POST,
/// and 303 any method but HEAD, into a GET without a body.
std::optional<URLHop> redirectedHop(const URLHop& hop, const HTTPURLResponse& response);

} // namespace qvx::platform
