#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/files/Data.h"
#include "platform/http/HeaderFields.h"
#include "platform/text/URL.h"

namespace qvx::platform {

enum class CachePolicy { useProtocolCachePolicy = 0, reloadIgnoringLocalCacheData = 1 };

/// One HTTP request as the loader takes it.
struct URLRequest {
    std::optional<platform::URL> URL; ///< absent: the exchange fails as a bad URL
    CachePolicy cachePolicy = CachePolicy::useProtocolCachePolicy;
    double timeoutInterval = 60.0;  ///< seconds without a byte either way after which the exchange fails
    std::string HTTPMethod = "GET"; ///< one that is no token (RFC 9110) fails as a bad URL
    HeaderFields HTTPHeaderFields;  ///< UTF-8; one with a CR, LF or NUL in name or value is never sent
    std::optional<Data> HTTPBody;   ///< sent with its Content-Length
    /// What the names of further fields begin with that tell who sends, as Authorization and Cookie do;
    /// empty: there are none. They go to the scheme, host and port of the first request alone.
    std::string identityFieldPrefix;
    /// Set to the bytes of the body that were sent so far, by the thread that runs the exchange; null: nobody
    /// asks.
    std::shared_ptr<std::atomic<uint64_t>> sentBytes;
};

/// The final reply's status and header fields. A field that came several times is one, joined by ", ".
struct HTTPURLResponse {
    uint64_t statusCode = 0;
    HeaderFields allHeaderFields;
};

/// The place that asks for an authentication: a TLS handshake (with a server trust), or an HTTP challenge.
struct ProtectionSpace {
    std::string host;
    uint16_t port = 0;
    bool serverTrust = false;
};

} // namespace qvx::platform
