#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/files/Data.h"
#include "platform/text/Error.h"
#include "platform/text/URL.h"

namespace qvx::platform {

/// Header fields in the order in which they were set or came; names compare without regard to case.
using HeaderFields = std::vector<std::pair<std::string, std::string>>;

/// The value of the header field `name`; absent when there is none.
std::optional<std::string> headerField(const HeaderFields& fields, std::string_view name);

enum class CachePolicy { useProtocolCachePolicy = 0, reloadIgnoringLocalCacheData = 1 };

/// One HTTP request as the loader takes it.
struct URLRequest {
    std::optional<platform::URL> URL; ///< absent: the exchange fails as a bad URL
    CachePolicy cachePolicy = CachePolicy::useProtocolCachePolicy;
    double timeoutInterval = 60.0;  ///< seconds without a byte either way after which the exchange fails
    std::string HTTPMethod = "GET"; ///< one that is no token (RFC 9110) fails as a bad URL
    HeaderFields HTTPHeaderFields;  ///< UTF-8; one with a CR, LF or NUL in name or value is never sent
    std::optional<Data> HTTPBody;   ///< sent with its Content-Length
};

/// The final reply's status and header fields. A field that came several times is one, joined by ", ".
struct HTTPURLResponse {
    uint64_t statusCode = 0;
    HeaderFields allHeaderFields;
};

/// What one exchange gave. An exchange that broke after the status line has a response and an error.
struct Exchange {
    std::optional<HTTPURLResponse> response;
    std::optional<Error> error; ///< of the domain NSURLErrorDomain
    Data data;
};

/// Carries out one exchange over https and returns when it has ended; needs no run loop.
///
/// Redirects (301, 302, 303, 307, 308 with a Location) are followed over https only; one that leads elsewhere
/// is the answer, the seventeenth an error. The certificate and the host name are always checked. Headers
/// named `X-Quorvex-...`, Authorization and Cookie go to the scheme, host and port of the first request
/// alone, and no header of the request goes to a proxy. Host, Connection, Content-Length, Transfer-Encoding
/// and Expect are the loader's own to write. Content encodings are undone; a reply of more than 16 MiB, or
/// with more than 256 KiB of headers, is an error. Proxies come from HTTPS_PROXY, https_proxy, ALL_PROXY and
/// NO_PROXY, trusted CAs from SSL_CERT_FILE and SSL_CERT_DIR.
Exchange sendSynchronousRequest(const URLRequest& request);

/// The place that asks for an authentication: a TLS handshake (with a server trust), or an HTTP challenge.
struct ProtectionSpace {
    std::string host;
    uint16_t port = 0;
    bool serverTrust = false;
};

/// Receives what an asynchronous connection has to tell, on the main run loop, in order. Nothing comes after
/// `cancel`, and nothing after `connectionDidFailWithError` or `connectionDidFinishLoading`.
class URLConnectionDelegate {
public:
    virtual ~URLConnectionDelegate() = default;
    virtual void connectionDidReceiveResponse(const HTTPURLResponse& response) = 0;
    virtual void connectionDidReceiveData(const Data& data) = 0;
    virtual void connectionDidFailWithError(const std::optional<Error>& error) = 0;
    virtual void connectionDidFinishLoading() = 0;
    /// Asked once per TLS connection and for each HTTP challenge (401 with WWW-Authenticate, 407 with
    /// Proxy-Authenticate). The answer does not replace the default evaluation of the certificate.
    virtual bool
    connectionCanAuthenticateAgainstProtectionSpace(const std::optional<ProtectionSpace>& space) = 0;
};

/// One exchange, by the same rules as `sendSynchronousRequest`, whose bytes are moved off the main thread.
class URLConnection {
public:
    /// \param delegate kept alive until the connection has told its end or is cancelled
    URLConnection(URLRequest request, std::shared_ptr<URLConnectionDelegate> delegate);
    ~URLConnection();
    URLConnection(const URLConnection&) = delete;
    URLConnection& operator=(const URLConnection&) = delete;

    /// Starts the exchange; to be called once.
    void start();

    /// Ends the exchange; call it on the thread of the main run loop. Destroying a connection does not.
    void cancel();

private:
    struct State;
    std::shared_ptr<State> state_;
};

} // namespace qvx::platform
