#include "platform/values/JSON.h"

#include <nlohmann/json.hpp>
#include <string>
#include <utility>

#include "platform/values/ValueBuilder.h"

namespace qvx::platform {

namespace {

/// Hands on the parser's events; each answers whether parsing goes on.
// By events, not by the parser's own tree: a text is read once, and how deep and how much of it is for the
// builder to bound, as for every format.
class Events final : public nlohmann::json_sax<nlohmann::json> {
public:
    bool null() override { return add(nullptr); }
    bool boolean(bool value) override { return add(value); }
    bool number_integer(number_integer_t value) override { return add(int64_t{value}); }
    bool number_unsigned(number_unsigned_t value) override {
        constexpr auto limit = static_cast<number_unsigned_t>(INT64_MAX);
        // The platform's reader gives numbers beyond the signed ones as reals.
        return value <= limit ? add(static_cast<int64_t>(value)) : add(static_cast<double>(value));
    }
    bool number_float(number_float_t value, const string_t&) override { return add(value); }
    bool string(string_t& value) override { return add(std::move(value)); }
    bool binary(binary_t&) override { return false; }
    bool key(string_t& value) override { return builder_.setKey(std::move(value)); }
    bool start_object(size_t) override { return builder_.openDictionary(); }
    bool end_object() override { return builder_.close(); }
    bool start_array(size_t) override { return builder_.openArray(); }
    bool end_array() override { return builder_.close(); }
    bool parse_error(size_t, const std::string&, const nlohmann::detail::exception&) override {
        return false;
    }

    /// Only an array or a dictionary makes a whole text.
    std::optional<Value> takeResult() {
        std::optional<Value> result = builder_.takeResult();
        if (result && !result->get<Dictionary>() && !result->get<Value::Array>())
            result.reset();
        return result;
    }

private:
    bool add(Value value) { return builder_.add(std::move(value)); }

    ValueBuilder builder_;
};

} // namespace

std::optional<Value> JSONObjectWithData(const Data& data) {
    const std::string text = data.string();
    Events events;
    // The parser takes a NUL for the end of the text; JSON holds none unescaped.
    if (text.find('\0') != std::string::npos || !nlohmann::json::sax_parse(text, &events))
        return std::nullopt;
    return events.takeResult();
}

} // namespace qvx::platform
