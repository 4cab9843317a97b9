#pragma once

#include <optional>

#include "platform/files/Data.h"
#include "platform/http/URLRequest.h"
#include "platform/text/Error.h"

namespace qvx::platform {

/// What came of one exchange. One that broke after the status line has a response and an error.
struct URLReply {
    std::optional<HTTPURLResponse> response;
    std::optional<Error> error; ///< of the domain NSURLErrorDomain
    Data data;
};

/// Carries out one exchange over https and returns when it has ended; needs no run loop.
///
/// Redirects (301, 302, 303, 307, 308 with a Location) are followed over https only; one that leads elsewhere
/// is the answer, the seventeenth an error. The certificate and the host name are always checked. Fields that
/// tell who sends go to the scheme, host and port of the first request alone, and no header of the request
/// goes to a proxy. Host, Connection, Content-Length, Transfer-Encoding and Expect are the loader's own to
/// write. Content encodings are undone; a reply of more than 16 MiB, or with more than 256 KiB of headers, is
/// an error. Proxies come from HTTPS_PROXY, https_proxy, ALL_PROXY and NO_PROXY, trusted CAs from
/// SSL_CERT_FILE and SSL_CERT_DIR.
URLReply sendSynchronousRequest(const URLRequest& request);

} // namespace qvx::platform
