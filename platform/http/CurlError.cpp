#include "platform/http/CurlError.h"

#include "platform/http/CurlLibrary.h"
#include "platform/http/URLError.h"

namespace qvx::platform {

namespace {

long information(CURL* easy, CURLINFO what) {
    long value = 0;
    CurlLibrary::shared().easyGetinfo(easy, what, &value);
    return value;
}

/// \param result OpenSSL's verdict on the certificate (X509_V_...); 0 when the chain was good and something
/// else, such as the name, was not
URLErrorCode certificateCode(long result) {
    switch (result) {
    // OpenSSL's numbers are part of its interface; its header is not needed for four of them. Other back
    // ends leave 0 or 1 here, which is untrusted.
    case 9:  // not yet valid
    case 10: // expired
        return URLErrorCode::certificateHasBadDate;
    case 18: // self-signed
    case 19: // self-signed in the chain
    case 20: // issuer not found
    case 21: // issuer not found for the only certificate
        return URLErrorCode::certificateHasUnknownRoot;
    default:
        return URLErrorCode::certificateUntrusted;
    }
}

URLErrorCode errorCode(CURL* easy, CURLcode code) {
    // A proxy that refused says so in its own reply, whatever libcurl makes of it.
    const long connectStatus = information(easy, CURLINFO_HTTP_CONNECTCODE);
    if (connectStatus != 0 && connectStatus / 100 != 2)
        return URLErrorCode::cannotConnectToHost;
    switch (code) {
    case CURLE_URL_MALFORMAT:
    case CURLE_LOGIN_DENIED:
        return URLErrorCode::badURL;
    case CURLE_OPERATION_TIMEDOUT:
        return URLErrorCode::timedOut;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
        return URLErrorCode::cannotFindHost;
    case CURLE_COULDNT_CONNECT:
    case CURLE_PROXY:
        return URLErrorCode::cannotConnectToHost;
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_PARTIAL_FILE:
        return URLErrorCode::networkConnectionLost;
    case CURLE_UNSUPPORTED_PROTOCOL: // a reply that does not begin as one of HTTP does
    case CURLE_WEIRD_SERVER_REPLY:
        return URLErrorCode::badServerResponse;
    case CURLE_BAD_CONTENT_ENCODING:
        return URLErrorCode::cannotDecodeContentData;
    case CURLE_PEER_FAILED_VERIFICATION:
        return certificateCode(information(easy, CURLINFO_SSL_VERIFYRESULT));
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_ISSUER_ERROR:
        return URLErrorCode::secureConnectionFailed;
    default:
        return URLErrorCode::unknown;
    }
}

} // namespace

Error curlError(CURL* easy, CURLcode code, const char* detail) {
    return urlError(errorCode(easy, code), detail);
}

} // namespace qvx::platform
