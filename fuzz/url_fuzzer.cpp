// Makes URLs of any text, alone and against a base that stands behind its first line end, and stops the
// process when one holds what no URL holds or when taking it apart does not agree with making it.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/require.h"
#include "platform/text/URL.h"

namespace {

using namespace qvx::platform;

bool isHexadecimal(char character) {
    return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'F') ||
           (character >= 'a' && character <= 'f');
}

bool isLegal(std::string_view text) {
    for (size_t index = 0; index < text.size(); ++index) {
        const char character = text[index];
        if (character <= ' ' || character > '~' ||
            std::string_view("\"<>\\^`{|}").find(character) != std::string_view::npos)
            return false;
        if (character == '%' &&
            !(index + 2 < text.size() && isHexadecimal(text[index + 1]) && isHexadecimal(text[index + 2])))
            return false;
    }
    return true;
}

void examine(const URL& url) {
    require(isLegal(url.absoluteString()));
    if (const auto scheme = url.scheme())
        require(url.absoluteString().size() > scheme->size() && url.absoluteString()[scheme->size()] == ':');
    static_cast<void>(url.host());
    static_cast<void>(url.port());
    for (const auto& path : {url.path(), url.relativePath()}) {
        if (path)
            require(path->find('\0') == std::string::npos && (path->size() < 2 || !path->ends_with('/')));
    }
}

void examineFilePath(std::string path) {
    const URL url = URL::fileURLWithPath(path);
    examine(url);
    require(URL::initWithString(url.absoluteString()) == url && url.scheme() == "file");
    if (!path.starts_with('/'))
        return;
    while (path.size() > 1 && path.ends_with('/'))
        path.pop_back();
    require(url.path() == (path.find('\0') == std::string::npos ? std::optional(path) : std::nullopt));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    examineFilePath(std::string(input));
    require(isLegal(stringByAddingPercentEscapes(input)));

    const size_t lineEnd = input.find('\n');
    const std::string_view text = input.substr(0, lineEnd);
    const std::optional<URL> url = URL::initWithString(text);
    require(url.has_value() == isLegal(text));
    if (!url || lineEnd == std::string_view::npos)
        return 0;
    examine(*url);
    const std::optional<URL> base = URL::initWithString(input.substr(lineEnd + 1));
    if (!base)
        return 0;
    const std::optional<URL> resolved = URL::initWithString(text, *base);
    require(resolved.has_value());
    examine(*resolved);
    if (!resolved->scheme())
        return 0;
    // An empty path takes the base's with its dots, so they are only gone from the second time on.
    const auto again = URL::initWithString(resolved->absoluteString(), *base);
    require(URL::initWithString(again->absoluteString(), *base)->absoluteString() == again->absoluteString());
    return 0;
}
