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
    if (line.starts_with(' ') || line.starts_with('\t')) {
        // An old way to continue the value of the field before.
        if (!fields.empty())
            fields.back().second.append(" ").append(validUTF8(trimmed(line)));
        return;
    }
    const size_t colon = line.find(':');
    if (colon == std::string_view::npos)
        return;
    std::string name = validUTF8(trimmed(line.substr(0, colon)));
    std::string value = validUTF8(trimmed(line.substr(colon + 1)));
    const auto [position, isNew] = positions_.emplace(lowercaseASCII(name), fields.size());
    if (isNew)
        fields.emplace_back(std::move(name), std::move(value));
    else
        fields[position->second].second.append(", ").append(value);
}

} // namespace qvx::platform
