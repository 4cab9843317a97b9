#include "QVXWebClient/QVXWebClient/QVXWebRequest.h"

#include <algorithm>

#include "QVXWebClient/QVXWebClient/QVXWebClient.h"
#include "platform/process/Assert.h"
#include "platform/text/String.h"

namespace qvx {

using platform::Data;
using platform::HeaderFields;

namespace {

constexpr const char* sourceFile = "QVXWebClient/QVXWebClient/QVXWebRequest";
/// The same for every request; nothing checks that no content has it.
constexpr const char* boundary = "AaB03x";

auto findHeader(auto& headers, std::string_view name) {
    return std::find_if(headers.begin(), headers.end(),
                        [&](const auto& field) { return field.first == name; });
}

/// Adds to the field as the platform's request does: names in any case, further values behind a comma.
void addValueForHeader(HeaderFields& headers, const std::string& name, const std::string& value) {
    const auto found = std::find_if(headers.begin(), headers.end(), [&](const auto& field) {
        return platform::equalsIgnoringCase(field.first, name);
    });
    if (found == headers.end())
        headers.emplace_back(name, value);
    else
        found->second.append(",").append(value);
}

std::string textPart(const std::string& field, const std::string& value) {
    return platform::format("--%@\r\nContent-Disposition: form-data; name=\"%@\"\r\n", boundary, field) +
           "Content-Type: text/plain\r\n\r\n" + platform::format("%@\r\n", value);
}

std::string filePartHead(const QVXWebRequest::FormRecord& record) {
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
    if (!value)
        return;
    const auto found = findHeader(customHeaders_, name);
    if (found != customHeaders_.end())
        found->second = std::move(*value);
    else
        customHeaders_.emplace_back(name, std::move(*value));
}

void QVXWebRequest::addHeaders(const HeaderFields& headers) {
    for (const auto& [name, value] : headers) {
        if (findHeader(customHeaders_, name) == customHeaders_.end())
            customHeaders_.emplace_back(name, value);
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
    std::string text = "MIME-Version: 1.0\r\n";
    for (const FormRecord& record : *formFields_) {
        if (!record.value)
            continue;
        if (const auto* value = record.value->get<std::string>()) {
            text += textPart(record.field, *value);
        } else if (const auto* data = record.value->get<Data>()) {
            body.append(Data::withString(text + filePartHead(record)));
            body.append(*data);
            text = "\r\n";
        }
    }
    text += platform::format("--%@--\r\n", boundary);
    body.append(Data::withString(std::move(text)));
    addValueForHTTPHeaderField(platform::format("multipart/form-data; boundary=%@", boundary),
                               "Content-Type");
    return body;
}

std::optional<platform::URL> QVXWebRequest::fullURL() const {
    if (!url_)
        return std::nullopt;
    std::string text = url_->absoluteString();
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
    request.timeoutInterval = 15.0;
    request.HTTPMethod = method_;
    request.HTTPBody = formData(); // before the headers, of which it sets one
    for (const auto& [name, value] : customHeaders_)
        addValueForHeader(request.HTTPHeaderFields, name, value);
    return request;
}

} // namespace qvx
