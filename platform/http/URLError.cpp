#include "platform/http/URLError.h"

namespace qvx::platform {

namespace {

std::string_view sentence(URLErrorCode code) {
    switch (code) {
    case URLErrorCode::unknown:
        return "unknown error";
    case URLErrorCode::badURL:
        return "bad URL";
    case URLErrorCode::timedOut:
        return "The request timed out.";
    case URLErrorCode::unsupportedURL:
        return "unsupported URL";
    case URLErrorCode::cannotFindHost:
        return "A server with the specified hostname could not be found.";
    case URLErrorCode::cannotConnectToHost:
        return "Could not connect to the server.";
    case URLErrorCode::networkConnectionLost:
        return "The network connection was lost.";
    case URLErrorCode::tooManyRedirects:
        return "too many HTTP redirects";
    case URLErrorCode::badServerResponse:
        return "There was a bad response from the server.";
    case URLErrorCode::cannotDecodeContentData:
        return "cannot decode content data";
    case URLErrorCode::dataLengthExceedsMaximum:
        return "resource exceeds maximum size";
    case URLErrorCode::secureConnectionFailed:
        return "An SSL error has occurred and a secure connection to the server cannot be made.";
    case URLErrorCode::certificateHasBadDate:
    case URLErrorCode::certificateUntrusted:
    case URLErrorCode::certificateHasUnknownRoot:
        return "The certificate for this server is invalid.";
    }
    return {};
}

} // namespace

Error urlError(URLErrorCode code, std::string_view detail) {
    std::string text(sentence(code));
    // A detail with an at sign may quote a URL with a password in it.
    if (!detail.empty() && detail.find('@') == std::string_view::npos)
        text.append(" (").append(detail).append(")");
    return {"NSURLErrorDomain", static_cast<int64_t>(code), std::move(text)};
}

} // namespace qvx::platform
