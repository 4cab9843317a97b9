#include "platform/http/URLRedirect.h"

namespace qvx::platform {

bool haveSameOrigin(const URL& left, const URL& right) {
    return left.scheme() == right.scheme() && left.host() == right.host() && left.port() == right.port();
}

bool isLoadable(const URL& url) {
    return url.scheme() == "https" && !url.host().value_or("").empty();
}

std::optional<URLHop> redirectedHop(const URLHop& hop, const HTTPURLResponse& response) {
    const uint64_t status = response.statusCode;
    const bool repeats = status == 307 || status == 308;
    if (!repeats && status != 301 && status != 302 && status != 303)
        return std::nullopt;
    const std::optional<std::string> location = response.allHeaderFields.value("Location");
    const std::optional<URL> target = location ? URL::initWithString(*location, hop.URL) : std::nullopt;
    // A redirect that cannot be followed is the answer, body and all. To plain http none is.
    if (!target || !isLoadable(*target))
        return std::nullopt;
    URLHop next{*target, hop.method, hop.bodyDropped};
    // RFC 9110, section 15.4, with what all clients do: POST turns into GET on 301 and 302 as well.
    if (!repeats && (hop.method == "POST" || (status == 303 && hop.method != "HEAD"))) {
        next.method = "GET";
        next.bodyDropped = true;
    }
    return next;
}

} // namespace qvx::platform
