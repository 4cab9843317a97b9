#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/files/Data.h"
#include "platform/http/URLRequest.h"
#include "platform/text/URL.h"
#include "platform/values/Value.h"

namespace qvx {

/// One HTTP request before it is sent: method, path or URL, query parameters, header fields and form fields.
/// All text is UTF-8. Used by one thread at a time.
class QVXWebRequest {
public:
    /// One part of the multipart form.
    struct FormRecord {
        /// A string makes a text field, data a file part; a record with anything else is never sent.
        std::optional<platform::Value> value;
        std::string field;
        std::optional<std::string> mimeType; ///< of a file part; absent: application/octet-stream
        std::optional<std::string> fileName; ///< of a file part; absent: "(null)" is sent
    };

    /// Pairs of name and value in the order in which they are to be sent.
    using Parameters = std::vector<std::pair<std::string, std::string>>;

    /// Whether a server-trust protection space may be authenticated against.
    using ProtectionSpaceHandler = std::function<bool(const platform::ProtectionSpace&)>;

    /// A request for a path relative to the base URL of the client that sends it. Without a method or a path
    /// the process is stopped by an assertion.
    static std::shared_ptr<QVXWebRequest> requestWithMethod(std::optional<std::string> method,
                                                            std::optional<std::string> path);
    static std::shared_ptr<QVXWebRequest> initWithMethod(std::optional<std::string> method);

    [[nodiscard]] const std::string& method() const { return method_; }
    void setMethod(std::string method) { method_ = std::move(method); }
    [[nodiscard]] const std::optional<std::string>& path() const { return path_; }
    void setPath(std::optional<std::string> path) { path_ = std::move(path); }

    /// The absolute URL; absent until the client that sends the request has made it from the path. One that
    /// is set before is used as it is.
    [[nodiscard]] const std::optional<platform::URL>& URL() const { return url_; }
    void setURL(std::optional<platform::URL> url) { url_ = std::move(url); }

    [[nodiscard]] const Parameters& parameters() const { return parameters_; }
    void setParameters(Parameters parameters) { parameters_ = std::move(parameters); }

    /// The header fields by exact name, in the order in which they were first set.
    [[nodiscard]] const platform::HeaderFields& customHeaders() const { return customHeaders_; }

    /// Sets the header field, replacing an earlier value; an absent value sets nothing.
    void addValueForHTTPHeaderField(std::optional<std::string> value, std::string_view name);

    /// Sets each of `headers` whose name the request does not have yet.
    void addHeaders(const platform::HeaderFields& headers);

    /// Absent until a record is added.
    [[nodiscard]] const std::optional<std::vector<FormRecord>>& formFields() const { return formFields_; }

    void addFormRecord(FormRecord record);
    void addValueForFormField(std::optional<platform::Value> value, std::string_view field);

    /// Adds each value as the field `prefix[key]`, in the dictionary's order; what is no string or data is
    /// added but not sent.
    void addValueForFormFromDict(const platform::Dictionary& dictionary, std::string_view prefix = "");

    /// Adds a file part. The bytes are shared, not copied. Without a MIME type there is no file name either.
    void addData(platform::Data data, std::optional<std::string> MIMEType,
                 std::optional<std::string> fileName, std::string_view forFormField);

    /// Adds each value as the field named by its key.
    void setFormData(const platform::Dictionary& fields);

    [[nodiscard]] const ProtectionSpaceHandler& protectionSpaceHandler() const { return handler_; }
    void setProtectionSpaceHandler(ProtectionSpaceHandler handler) { handler_ = std::move(handler); }

    /// Counts the bytes of the body as they are sent, for whoever shows it; null, which it is at first:
    /// nobody.
    void setSentBytes(std::shared_ptr<std::atomic<uint64_t>> count) { sentBytes_ = std::move(count); }

    /// The multipart/form-data body (RFC 7578, with a MIME-Version line before it); absent without form
    /// records. Sets the request's Content-Type.
    std::optional<platform::Data> formData();

    /// The URL with the parameters as its query; absent when there is no URL or the text is not legal in one.
    [[nodiscard]] std::optional<platform::URL> fullURL() const;

    /// The request as the platform's loader takes it, made anew by each call: it is idle for at most 15
    /// seconds and is never answered from a cache. Header names that differ in case only become one field.
    platform::URLRequest URLRequest();

private:
    explicit QVXWebRequest(std::string method) : method_(std::move(method)) {}

    std::string method_;
    std::optional<std::string> path_;
    std::optional<platform::URL> url_;
    Parameters parameters_;
    platform::HeaderFields customHeaders_;
    std::optional<std::vector<FormRecord>> formFields_;
    ProtectionSpaceHandler handler_;
    std::shared_ptr<std::atomic<uint64_t>> sentBytes_;
};

} // namespace qvx
