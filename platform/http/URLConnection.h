#pragma once

#include <memory>
#include <optional>

#include "platform/files/Data.h"
#include "platform/http/URLRequest.h"
#include "platform/text/Error.h"

namespace qvx::platform {

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
