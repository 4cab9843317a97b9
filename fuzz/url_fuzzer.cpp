// Makes URLs of any text, alone and against a base that stands behind its first line end, and stops the
// process when what comes of one is no URL or says something else when it is read again.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/require.h"
#include "platform/text/URL.h"

namespace {

using namespace qvx::platform;

void examine(const URL& url) {
    const auto again = URL::initWithString(url.absoluteString());
    require(again && again->scheme() == url.scheme() && again->host() == url.host() &&
            again->port() == url.port() && again->path() == url.path());
    if (const auto path = url.relativePath())
        require(path->find('\0') == std::string::npos && (path->size() < 2 || !path->ends_with('/')));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const URL file = URL::fileURLWithPath(input);
    examine(file);
    if (input.starts_with('/') && !input.ends_with('/') && input.find('\0') == std::string_view::npos)
        require(file.path() == input);
    require(URL::initWithString(stringByAddingPercentEscapes(input)).has_value());

    const size_t lineEnd = input.find('\n');
    const std::optional<URL> url = URL::initWithString(input.substr(0, lineEnd));
    if (!url)
        return 0;
    examine(*url);
    if (lineEnd == std::string_view::npos)
        return 0;
    if (const auto base = URL::initWithString(input.substr(lineEnd + 1))) {
        const auto resolved = URL::initWithString(url->absoluteString(), *base);
        require(resolved.has_value());
        examine(*resolved);
    }
    return 0;
}
