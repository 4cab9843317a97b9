#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "platform/files/Data.h"
#include "platform/http/HeaderFields.h"
#include "platform/text/Error.h"
#include "platform/text/URL.h"
#include "platform/values/Value.h"

namespace qvx {

/// What one HTTP exchange gave. Written by the exchange's transaction, read after its completion.
class QVXWebResponse {
public:
    /// The URL that was requested; absent when its text was not legal.
    [[nodiscard]] const std::optional<platform::URL>& requestURL() const { return requestURL_; }
    void setRequestURL(std::optional<platform::URL> url) { requestURL_ = std::move(url); }

    /// HTTP status; 0 until a response has arrived.
    [[nodiscard]] uint64_t statusCode() const { return statusCode_; }
    void setStatusCode(uint64_t code) { statusCode_ = code; }

    /// Absent until a response has arrived.
    [[nodiscard]] const std::optional<platform::HeaderFields>& responseHeaders() const { return headers_; }
    void setResponseHeaders(std::optional<platform::HeaderFields> headers) { headers_ = std::move(headers); }

    /// The body's bytes as they arrived, content encoding undone.
    [[nodiscard]] const platform::Data& responseData() const { return data_; }
    void appendData(const platform::Data& data) { data_.append(data); }

    /// The decoded body: a JSON or property-list value, or the raw data; absent when there is none.
    [[nodiscard]] const std::optional<platform::Value>& body() const { return body_; }
    void setBody(std::optional<platform::Value> body) { body_ = std::move(body); }

    /// Of the transport, of decoding, or of the web client (QVXWebClientErrorDomain); absent on success.
    [[nodiscard]] const std::optional<platform::Error>& error() const { return error_; }
    void setError(std::optional<platform::Error> error) { error_ = std::move(error); }

    /// Whether there is no error and the status is from 200 to 299.
    [[nodiscard]] bool wasSuccessful() const { return !error_ && statusCode_ - 200 < 100; }

    [[nodiscard]] std::string description() const;

private:
    std::optional<platform::URL> requestURL_;
    uint64_t statusCode_ = 0;
    std::optional<platform::HeaderFields> headers_;
    platform::Data data_;
    std::optional<platform::Value> body_;
    std::optional<platform::Error> error_;
};

} // namespace qvx
