#include <algorithm>
#include <charconv>

#include "platform/text/String.h"
#include "platform/values/PropertyListFormats.h"
#include "platform/values/ValueBuilder.h"

namespace qvx::platform::PropertyListFormats {

namespace {

/// What octal escapes from \200 on stand for: the upper half of the character set of NeXTSTEP.
constexpr std::u16string_view upperCharacters =
    u"\u00A0ÀÁÂÃÄÅÇÈÉÊËÌÍÎÏÐÑÒÓÔÕÖÙÚÛÜÝÞµ×÷©¡¢£⁄¥ƒ§¤’“«‹›ﬁﬂ®–†‡·¦¶•‚„”»…‰¬¿"
    u"¹ˋ´ˆ˜¯˘˙¨²˚¸³˝˛ˇ—±¼½¾àáâãäåçèéêëìÆíªîïðñŁØŒºòóôõöæùúûıüýłøœßþÿ\uFFFD\uFFFD";
static_assert(upperCharacters.size() == 128);

bool isPlain(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') ||
           std::string_view("_$/:.-").find(character) != std::string_view::npos;
}

/// Takes from the front of the text what it expects there; what it gives after a failure means nothing.
class Reader {
public:
    explicit Reader(std::string_view text) : rest_(text) {}

    std::optional<Value> read() {
        skipBlanks();
        if (!rest_.starts_with('{') && !rest_.starts_with('(')) // text of any kind begins with a word
            return std::nullopt;
        Value value = takeValue(0);
        skipBlanks();
        return failed_ || !rest_.empty() ? std::nullopt : std::optional(std::move(value));
    }

private:
    /// Blanks and comments; one that has no end goes to the end.
    void skipBlanks() {
        while (true) {
            rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\n\v\f\r"), rest_.size()));
            if (rest_.starts_with("//"))
                rest_.remove_prefix(std::min(rest_.find_first_of("\r\n"), rest_.size()));
            else if (rest_.starts_with("/*"))
                rest_.remove_prefix(std::min(rest_.find("*/", 2), rest_.size() - 2) + 2);
            else
                return;
        }
    }

    bool take(char mark) {
        skipBlanks();
        if (!rest_.starts_with(mark))
            return false;
        rest_.remove_prefix(1);
        return true;
    }

    void require(bool condition) { failed_ = failed_ || !condition; }

    Value takeValue(size_t depth) {
        require(++count_ <= maximumValues);
        return take('{')   ? takeDictionary(depth)
               : take('(') ? takeArray(depth)
               : take('<') ? takeData()
                           : takeText();
    }

    Value takeDictionary(size_t depth) {
        std::vector<Dictionary::Item> items;
        require(depth < ValueBuilder::maximumDepth);
        while (!failed_ && !take('}')) {
            std::string key = takeText();
            require(take('='));
            items.emplace_back(std::move(key), takeValue(depth + 1));
            require(take(';'));
        }
        return Dictionary::withItems(std::move(items));
    }

    Value takeArray(size_t depth) {
        Value::Array values;
        require(depth < ValueBuilder::maximumDepth);
        while (!failed_ && !take(')')) {
            values.push_back(takeValue(depth + 1));
            require(take(',') || rest_.starts_with(')'));
        }
        return values;
    }

    // Blanks between bytes are allowed, a byte's two digits stand together.
    Value takeData() {
        std::string bytes;
        while (!failed_ && !take('>')) {
            const size_t before = rest_.size();
            bytes += static_cast<char>(takeNumber(2, 16).value_or(0));
            require(before - rest_.size() == 2);
        }
        return Data::withString(std::move(bytes));
    }

    // Every scalar is a text here: the format knows neither numbers nor dates, and its users turn them into
    // what they need.
    std::string takeText() {
        for (const char quote : {'"', '\''}) {
            if (take(quote))
                return takeQuoted(quote);
        }
        const auto end = std::find_if_not(rest_.begin(), rest_.end(), isPlain);
        std::string text(rest_.begin(), end);
        rest_.remove_prefix(text.size());
        require(!text.empty());
        return text;
    }

    std::string takeQuoted(char quote) {
        std::string text;
        while (!failed_) {
            const size_t end = rest_.find_first_of(std::string{quote, '\\'});
            require(end != std::string_view::npos);
            text += rest_.substr(0, end);
            rest_.remove_prefix(std::min(end, rest_.size()));
            if (take(quote))
                break;
            std::u16string units; // of the escapes in a row, two of which may make one character
            while (!failed_ && rest_.starts_with('\\'))
                takeEscape(units);
            text += stringWithUTF16(units);
        }
        require(isUTF8(text));
        return text;
    }

    /// Takes a backslash and what it gives a meaning to.
    void takeEscape(std::u16string& units) {
        constexpr std::string_view letters = "abfnrtv", meanings = "\a\b\f\n\r\t\v";
        rest_.remove_prefix(1);
        if (const std::optional<uint32_t> code = takeNumber(3, 8)) {
            units +=
                (*code & 0x80) == 0 ? static_cast<char16_t>(*code & 0x7F) : upperCharacters[*code & 0x7F];
            return;
        }
        require(!rest_.empty());
        if (rest_.empty() || (rest_.front() & 0x80) != 0)
            return; // stands for itself, as does all that has no meaning here
        const char letter = rest_.front();
        rest_.remove_prefix(1);
        if (letter == 'U') {
            const std::optional<uint32_t> code = takeNumber(4, 16);
            require(code.has_value());
            units += static_cast<char16_t>(code.value_or(0));
            return;
        }
        const size_t place = letters.find(letter);
        units += static_cast<char16_t>(place == std::string_view::npos ? letter : meanings[place]);
    }

    /// Takes a number of up to `most` digits; absent when there is none.
    std::optional<uint32_t> takeNumber(size_t most, int base) {
        const char* const start = rest_.data();
        uint32_t number = 0;
        const auto [end, error] = std::from_chars(start, start + std::min(most, rest_.size()), number, base);
        if (error != std::errc())
            return std::nullopt;
        rest_.remove_prefix(static_cast<size_t>(end - start));
        return number;
    }

    std::string_view rest_;
    size_t count_ = 0; ///< of values
    bool failed_ = false;
};

} // namespace

std::optional<Value> readOldStyle(std::string_view text) {
    return Reader(text.substr(text.starts_with("\uFEFF") ? 3 : 0)).read();
}

} // namespace qvx::platform::PropertyListFormats
