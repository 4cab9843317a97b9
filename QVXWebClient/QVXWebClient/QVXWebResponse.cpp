#include "QVXWebClient/QVXWebClient/QVXWebResponse.h"

#include "platform/text/Format.h"

namespace qvx {

std::string QVXWebResponse::description() const {
    std::optional<platform::Value> headers;
    if (headers_) {
        platform::Dictionary fields;
        for (const auto& [name, value] : *headers_)
            fields.append(name, value);
        headers = std::move(fields);
    }
    return platform::format("{request: %@, status: %lu, body: %@, error: %@, headers: %@}", requestURL_,
                            statusCode_, body_, error_, headers);
}

} // namespace qvx
