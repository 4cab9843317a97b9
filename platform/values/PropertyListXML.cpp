#include <expat.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <memory>

#include "platform/text/String.h"
#include "platform/values/PropertyListFormats.h"
#include "platform/values/ValueBuilder.h"

namespace qvx::platform::PropertyListFormats {

namespace {

/// The number that `text` is, and nothing else.
template <class Number, class... Base>
std::optional<Number> wholeNumber(std::string_view text, Base... base) {
    Number number{};
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, base...);
    return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

std::optional<Value> real(const std::string& text) {
    // The C library would also take blanks in front and hexadecimal digits.
    if (text.empty() || text.find_first_not_of("+-.0123456789eEinfatyINFATY") != std::string::npos)
        return std::nullopt;
    char* end = nullptr;
    const double number = std::strtod(text.c_str(), &end);
    return *end == '\0' ? std::optional<Value>(number) : std::nullopt;
}

std::optional<Value> integer(std::string_view text) {
    // Sign and number apart, so that the whole range of both kinds of integers is reached: the largest
    // unsigned one and the smallest signed one have no counterpart.
    const bool isNegative = text.starts_with('-');
    if (isNegative || text.starts_with('+'))
        text.remove_prefix(1);
    const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
    const auto number = wholeNumber<uint64_t>(text.substr(isHexadecimal ? 2 : 0), isHexadecimal ? 16 : 10);
    const auto negative = static_cast<int64_t>(0 - number.value_or(0));
    if (!number || (isNegative && negative > 0)) // it was less than what there is
        return std::nullopt;
    return isNegative ? Value(negative) : Value(*number);
}

/// The value of an element that holds text alone; absent when the text has not the form that it should have.
std::optional<Value> valueOf(std::string_view element, const std::string& text) {
    if (element == "string")
        return text;
    if (element == "integer")
        return integer(trimmed(text));
    if (element == "real")
        return real(std::string(trimmed(text)));
    if (element == "date")
        return dateOfText(trimmed(text));
    if (element == "data")
        return dataOfBase64(text);
    return trimmed(text).empty() ? std::optional<Value>(element == "true") : std::nullopt;
}

/// An encoding that expat does not know most likely begins with ASCII; letters beyond that are errors.
// Lists name odd encodings and hold ASCII all the same; expat would refuse them before the first element.
int takeForASCII(void*, const char*, XML_Encoding* encoding) {
    for (int byte = 0; byte < 256; ++byte)
        encoding->map[byte] = byte < 128 ? byte : -1;
    encoding->data = nullptr;
    encoding->convert = nullptr;
    encoding->release = nullptr;
    return XML_STATUS_OK;
}

/// Newer releases of expat deprecate the one name, older ones do not know the other.
template <class Parser>
auto lineNumber(Parser parser) {
    if constexpr (requires { XML_GetCurrentLineNumber64(parser); })
        return XML_GetCurrentLineNumber64(parser);
    else
        return XML_GetCurrentLineNumber(parser);
}

class Reader {
public:
    explicit Reader(std::string& failure) : failure_(failure) {}

    std::optional<Value> read(std::string_view bytes) {
        if (!parser_)
            return std::nullopt;
        XML_SetUserData(parser_.get(), this);
        XML_SetElementHandler(
            parser_.get(), [](void* self, const char* name, const char**) { of(self).start(name); },
            [](void* self, const char* name) { of(self).end(name); });
        XML_SetCharacterDataHandler(parser_.get(), [](void* self, const char* text, int length) {
            of(self).characters({text, static_cast<size_t>(length)});
        });
        // Entities, and attributes that every element is given, are what declarations are misused for.
        XML_SetStartDoctypeDeclHandler(
            parser_.get(), [](void* self, const char*, const char*, const char*, int hasDeclarations) {
                if (hasDeclarations != 0)
                    of(self).fail("has declarations of its own");
            });
        // A document that names a DTD may use entities that are declared there, where nobody looks.
        XML_SetSkippedEntityHandler(parser_.get(), [](void* self, const char*, int) {
            of(self).fail("uses an entity that it does not declare");
        });
        XML_SetUnknownEncodingHandler(parser_.get(), &takeForASCII, nullptr);
        if (XML_Parse(parser_.get(), bytes.data(), static_cast<int>(bytes.size()), XML_TRUE) != XML_STATUS_OK)
            fail(XML_ErrorString(XML_GetErrorCode(parser_.get())));
        return failure_.empty() ? builder_.takeResult() : std::nullopt;
    }

private:
    static Reader& of(void* self) { return *static_cast<Reader*>(self); }

    void fail(std::string_view reason) {
        if (!failure_.empty())
            return;
        failure_ = "line " + std::to_string(lineNumber(parser_.get())) + " " + std::string(reason);
        // The parser still delivers what it has at hand, which is why the handlers look at the failure.
        XML_StopParser(parser_.get(), XML_FALSE);
    }

    void start(std::string_view name) {
        constexpr std::string_view textual[] = {"key",  "string", "integer", "real",
                                                "true", "false",  "date",    "data"};
        const bool isRoot = std::exchange(isAtRoot_, false);
        if (++elements_ > maximumValues)
            return fail("holds too much");
        if (!element_.empty())
            return fail("has an element where text belongs");
        if (name == "dict" || name == "array") {
            if (!(name == "dict" ? builder_.openDictionary() : builder_.openArray()))
                fail("nests too deeply");
        } else if (std::find(std::begin(textual), std::end(textual), name) != std::end(textual)) {
            element_ = name;
        } else if (!isRoot || name != "plist") {
            fail("has an unknown element");
        }
    }

    void end(std::string_view name) {
        if (!failure_.empty() || name == "plist") // what was met already may still come after a failure
            return;
        bool fits = false;
        if (element_.empty())
            fits = builder_.close();
        else if (name == "key")
            fits = builder_.setKey(text_);
        else if (std::optional<Value> value = valueOf(name, text_))
            fits = builder_.add(*std::move(value));
        if (!fits)
            fail("has an element of the wrong kind or in the wrong place");
        element_.clear();
        text_.clear();
    }

    void characters(std::string_view text) {
        if (!element_.empty())
            text_ += text;
        else if (!trimmed(text).empty())
            fail("has text where elements belong");
    }

    const std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser_{XML_ParserCreate(nullptr),
                                                                               &XML_ParserFree};
    std::string& failure_;
    ValueBuilder builder_;
    bool isAtRoot_ = true;
    size_t elements_ = 0;
    std::string element_; ///< the one that is open and holds text; empty when none is
    std::string text_;    ///< of that element, so far
};

} // namespace

std::optional<Value> readXML(std::string_view bytes, std::string& failure) {
    // Blanks in front of the declaration, which XML does not allow; in UTF-8 there may be a mark before them.
    const size_t mark = bytes.starts_with("\uFEFF") ? 3 : 0;
    const size_t start = bytes.find_first_not_of(" \t\r\n", mark);
    return Reader(failure).read(bytes.substr(std::min(start, bytes.size())));
}

} // namespace qvx::platform::PropertyListFormats
