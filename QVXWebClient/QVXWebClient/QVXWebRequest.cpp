#include "QVXWebClient/QVXWebClient/QVXWebRequest.h"

#include "QVXWebClient/QVXWebClient/QVXWebClient.h"
#include "platform/process/Assert.h"
#include "platform/text/Format.h"

namespace qvx {

using platform::Data;
using platform::HeaderFields;

namespace {

constexpr const char* sourceFile = "QVXWebClient/QVXWebClient/QVXWebRequest";
/// The same for every request; nothing checks that no content has it.
constexpr const char* boundary = "AaB03x";

// Names and values go in as they are, a quote or a line break included: nothing checks or escapes them, and
// what is sent is settled.
std::string textPart(const std::string& field, const std::string& value) {
    return platform::format("--%@\r\nContent-Disposition: form-data; name=\"%@\"\r\n", boundary, field) +
           "Content-Type: text/plain\r\n\r\n" + platform::format("%@\r\n", value);
}

std::string filePartHead(const QVXWebRequest::FormRecord& record) {
    // Without a type there is no file name either, and the part says "(null)" for it.
    std::string head =
        platform::format("--%@\r\nContent-Disposition: form-data; name=\"%@\"; filename=\"%@\"\r\n", boundary,
                         record.field, record.fileName);
    if (record.mimeType)
        return head + platform::format("Content-Type: %@\r\n", *record.mimeType) +
               "Content-Transfer-Encoding: binary\r\n\r\n";
    return head + "Content-Type: application/octet-stream\r\n\r\n";
}

} // namespace

std::shared_ptr<QVXWebRequest> QVXWebRequest::requestWithMethod(std::optional<std::string> method,
                                                                std::optional<std::string> path) {
    if (!path)
        platform::assertionFailed("path", "+[QVXWebRequest requestWithMethod:path:]", sourceFile, 17);
    std::shared_ptr<QVXWebRequest> request = initWithMethod(std::move(method));
    request->path_ = std::move(path);
    return request;
}

std::shared_ptr<QVXWebRequest> QVXWebRequest::initWithMethod(std::optional<std::string> method) {
    if (!method)
        platform::assertionFailed("method", "-[QVXWebRequest initWithMethod:]", sourceFile, 36);
    return std::shared_ptr<QVXWebRequest>(new QVXWebRequest(std::move(*method)));
}

void QVXWebRequest::addValueForHTTPHeaderField(std::optional<std::string> value, std::string_view name) {
    if (value)
        customHeaders_.set(name, *value);
}

void QVXWebRequest::addHeaders(const HeaderFields& headers) {
    for (const auto& [name, value] : headers) {
        // What the request says itself counts more than what its client says for all.
        if (!customHeaders_.contains(name))
            customHeaders_.set(name, value);
    }
}

void QVXWebRequest::addFormRecord(FormRecord record) {
    if (!formFields_)
        formFields_.emplace();
    formFields_->push_back(std::move(record));
}

void QVXWebRequest::addValueForFormField(std::optional<platform::Value> value, std::string_view field) {
    addFormRecord({std::move(value), std::string(field), "text/plain", std::nullopt});
}

void QVXWebRequest::addValueForFormFromDict(const platform::Dictionary& dictionary, std::string_view prefix) {
    for (const auto& [key, value] : dictionary.items())
        addValueForFormField(value, platform::format("%@[%@]", prefix, key));
}

void QVXWebRequest::addData(Data data, std::optional<std::string> MIMEType,
                            std::optional<std::string> fileName, std::string_view forFormField) {
    // A name is only kept beside a type.
    if (!MIMEType)
        fileName.reset();
    addFormRecord({std::move(data), std::string(forFormField), std::move(MIMEType), std::move(fileName)});
}

void QVXWebRequest::setFormData(const platform::Dictionary& fields) {
    for (const auto& [field, value] : fields.items())
        addValueForFormField(value, field);
}

std::optional<Data> QVXWebRequest::formData() {
    if (!formFields_)
        return std::nullopt;
    Data body;
    // A field of a message, not of a body, and without the empty line behind it; deliberate, what is sent is
    // settled.
    std::string text = "MIME-Version: 1.0\r\n";
    for (const FormRecord& record : *formFields_) {
        // A field that has no value is left out rather than sent empty, which the service would store.
        if (!record.value)
            continue;
        if (const auto* value = record.value->get<std::string>()) {
            text += textPart(record.field, *value);
        } else if (const auto* data = record.value->get<Data>()) {
            body.append(Data::withString(text + filePartHead(record)));
            // Appended as a segment, not copied: the archive stays a mapped file however large it is.
            body.append(*data);
            text = "\r\n";
        }
    }
    text += platform::format("--%@--\r\n", boundary);
    body.append(Data::withString(std::move(text)));
    // Here and not where fields are added: only a request with a body may carry the type.
    addValueForHTTPHeaderField(platform::format("multipart/form-data; boundary=%@", boundary),
                               "Content-Type");
    return body;
}

std::optional<platform::URL> QVXWebRequest::fullURL() const {
    if (!url_)
        return std::nullopt;
    std::string text = url_->absoluteString();
    // The path may hold a query already, and gets a second question mark then.
    char separator = '?';
    for (const auto& [key, value] : parameters_) {
        text += separator + platform::format("%@=%@", QVXWebClient::escapeURLString(key),
                                             QVXWebClient::escapeURLString(value));
        separator = '&';
    }
    return platform::URL::initWithString(text);
}

platform::URLRequest QVXWebRequest::URLRequest() {
    platform::URLRequest request;
    request.URL = fullURL();
    request.cachePolicy = platform::CachePolicy::reloadIgnoringLocalCacheData;
    // Seconds without a byte, not for the whole: an upload takes as long as it moves.
    request.timeoutInterval = 15.0;
    request.HTTPMethod = method_;
    // The key and the secret: they are for the first host, not for the one that it redirects to.
    request.identityFieldPrefix = "X-Quorvex-";
    request.sentBytes = sentBytes_;
    request.HTTPBody = formData(); // before the headers, of which it sets one
    for (const auto& [name, value] : customHeaders_)
        request.HTTPHeaderFields.append(name, value, ",");
    return request;
}

} // namespace qvx
