#include "platform/http/URLReplyHead.h"

#include <charconv>

#include "platform/text/String.h"

namespace qvx::platform {

namespace {

uint64_t statusCode(std::string_view line) {
    uint64_t code = 0;
    const size_t blank = line.find(' ');
    if (blank != std::string_view::npos)
        std::from_chars(line.data() + blank + 1, line.data() + line.size(), code);
    return code;
}

} // namespace

bool URLReplyHead::addLine(std::string_view line) {
    size_ += line.size();
    if (complete_)
        return false;
    if (line.starts_with("HTTP/")) {
        const uint64_t status = statusCode(line);
        // 100 and its like come before the answer, and a proxy's own head before that of the server.
        interim_ = status < 200;
        if (!interim_)
            response_ = HTTPURLResponse{status, {}};
    } else if (trimmed(line).empty()) {
        complete_ = response_.has_value();
    } else if (!interim_ && response_) {
        addField(line);
    }
    return complete_;
}

void URLReplyHead::addField(std::string_view line) {
    HeaderFields& fields = response_->allHeaderFields;
    // An old way to continue the value of the field before.
    if (line.starts_with(' ') || line.starts_with('\t'))
        return fields.extendLast(" " + validUTF8(trimmed(line)));
    const size_t colon = line.find(':');
    if (colon != std::string_view::npos)
        fields.append(validUTF8(trimmed(line.substr(0, colon))), validUTF8(trimmed(line.substr(colon + 1))),
                      ", ");
}

} // namespace qvx::platform
