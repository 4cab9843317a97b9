#include <array>
#include <cmath>
#include <cstdio>
#include <map>

#include "platform/text/String.h"
#include "platform/values/PropertyList.h"
#include "platform/values/PropertyListFormats.h"

namespace qvx::platform {

namespace {

/// The text as XML 1.0 can hold it (section 2.2, Char): control characters but tab and line ends have no
/// place in it, even escaped.
std::string xmlText(std::string_view text) {
    constexpr std::string_view marks = "&<>\r"; // a reader turns a bare carriage return into a line feed
    constexpr std::array<std::string_view, marks.size()> escapes{"&amp;", "&lt;", "&gt;", "&#13;"};
    const std::string valid = validUTF8(text);
    std::string result;
    for (std::string_view rest = valid; !rest.empty(); rest.remove_prefix(1)) {
        const char character = rest.front();
        const bool isNoncharacter = rest.starts_with("\xEF\xBF\xBE") || rest.starts_with("\xEF\xBF\xBF");
        const bool isControl =
            static_cast<unsigned char>(character) < 0x20 && character != '\t' && character != '\n';
        // Byte by byte is safe: UTF-8 has no byte of ASCII within a character.
        if (const size_t mark = marks.find(character); mark != std::string_view::npos)
            result += escapes[mark];
        else if (isNoncharacter || isControl)
            result += "\uFFFD";
        else
            result += character;
        rest.remove_prefix(isNoncharacter ? 2 : 0);
    }
    return result;
}

std::string realText(double value) {
    if (std::isnan(value))
        return "nan";
    if (std::isinf(value))
        return value < 0 ? "-infinity" : "+infinity";
    if (value == 0)
        return "0.0";
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.17g", value); // enough digits to read back the same number
    return text.data();
}

/// Writes values one below the other, indented by their depth.
class Writer {
public:
    explicit Writer(std::string& text) : text_(text) {}

    void write(const Value& value, size_t depth) {
        std::visit([&](const auto& content) { this->content(content, depth); }, value.storage());
    }

private:
    void line(size_t depth, std::string_view line) { text_.append(depth, '\t').append(line).append("\n"); }

    void element(size_t depth, const std::string& name, std::string_view text) {
        line(depth, "<" + name + ">" + std::string(text) + "</" + name + ">");
    }

    // The format has no null; the key stays.
    void content(std::nullptr_t, size_t depth) { element(depth, "string", ""); }
    void content(bool value, size_t depth) { line(depth, value ? "<true/>" : "<false/>"); }
    void content(int64_t value, size_t depth) { element(depth, "integer", std::to_string(value)); }
    void content(uint64_t value, size_t depth) { element(depth, "integer", std::to_string(value)); }
    void content(double value, size_t depth) { element(depth, "real", realText(value)); }
    void content(const std::string& value, size_t depth) { element(depth, "string", xmlText(value)); }
    void content(Date value, size_t depth) { element(depth, "date", PropertyListFormats::dateText(value)); }

    void content(const Data& value, size_t depth) {
        // As the platform's own writer breaks such lines: the width shrinks with the depth and stays from
        // the eighth on.
        const size_t indent = std::min<size_t>(depth, 8);
        const size_t width = 76 - 8 * indent; // what a tab of eight columns leaves of a line
        const std::string text = PropertyListFormats::base64(value.string());
        line(depth, "<data>");
        for (size_t start = 0; start < text.size(); start += width)
            line(indent, std::string_view(text).substr(start, width));
        line(depth, "</data>");
    }

    void content(const Value::Array& values, size_t depth) {
        if (values.empty())
            return line(depth, "<array/>");
        line(depth, "<array>");
        for (const Value& value : values)
            write(value, depth + 1);
        line(depth, "</array>");
    }

    void content(const Dictionary& dictionary, size_t depth) {
        if (dictionary.items().empty())
            return line(depth, "<dict/>");
        line(depth, "<dict>");
        // Keys may fall together when what XML cannot hold is replaced; then the last one's value counts.
        std::map<std::string, const Value*> values;
        for (const auto& [key, value] : dictionary.items())
            values[xmlText(key)] = &value;
        for (const auto& [key, value] : dictionary.items()) {
            const auto found = values.extract(xmlText(key));
            if (found.empty())
                continue;
            element(depth + 1, "key", found.key());
            write(*found.mapped(), depth + 1);
        }
        line(depth, "</dict>");
    }

    std::string& text_;
};

} // namespace

std::string xmlPropertyList(const Dictionary& dictionary) {
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                       "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                       "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                       "<plist version=\"1.0\">\n";
    Writer(text).write(dictionary, 0);
    return text + "</plist>\n";
}

} // namespace qvx::platform
