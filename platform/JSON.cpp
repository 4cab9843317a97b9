#include "platform/JSON.h"

#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

namespace qvx::platform {

namespace {

/// Builds a `Value` from the parser's events; each answers whether parsing goes on.
class Builder final : public nlohmann::json_sax<nlohmann::json> {
public:
    bool null() override { return add(nullptr); }
    bool boolean(bool value) override { return add(value); }
    bool number_integer(number_integer_t value) override { return add(int64_t{value}); }
    bool number_unsigned(number_unsigned_t value) override {
        constexpr auto limit = static_cast<number_unsigned_t>(INT64_MAX);
        return value <= limit ? add(static_cast<int64_t>(value)) : add(static_cast<double>(value));
    }
    bool number_float(number_float_t value, const string_t&) override { return add(value); }
    bool string(string_t& value) override { return add(std::move(value)); }
    bool binary(binary_t&) override { return false; }
    bool key(string_t& value) override {
        open_.back().key = std::move(value);
        return true;
    }
    bool start_object(size_t) override { return open(Dictionary()); }
    bool end_object() override { return close(); }
    bool start_array(size_t) override { return open(Value::Array()); }
    bool end_array() override { return close(); }
    bool parse_error(size_t, const std::string&, const nlohmann::detail::exception&) override {
        return false;
    }

    std::optional<Value> takeResult() { return std::move(result_); }

private:
    static constexpr size_t maximumDepth = 512;

    struct Container {
        std::variant<Dictionary, Value::Array> content;
        std::string key;
    };

    bool open(std::variant<Dictionary, Value::Array> content) {
        open_.push_back({std::move(content), {}});
        return open_.size() <= maximumDepth;
    }

    bool close() {
        Container closed = std::move(open_.back());
        open_.pop_back();
        Value value = std::visit([](auto& content) { return Value(std::move(content)); }, closed.content);
        if (!open_.empty())
            return add(std::move(value));
        result_ = std::move(value);
        return true;
    }

    bool add(Value value) {
        if (open_.empty())
            return false; // a bare value at the top
        Container& container = open_.back();
        if (auto* dictionary = std::get_if<Dictionary>(&container.content))
            dictionary->append(std::move(container.key), std::move(value));
        else
            std::get<Value::Array>(container.content).push_back(std::move(value));
        return true;
    }

    std::vector<Container> open_;
    std::optional<Value> result_;
};

} // namespace

std::optional<Value> JSONObjectWithData(const Data& data) {
    const std::string text = data.string();
    Builder builder;
    // The parser takes a NUL for the end of the text; JSON holds none unescaped.
    if (text.find('\0') != std::string::npos || !nlohmann::json::sax_parse(text, &builder))
        return std::nullopt;
    return builder.takeResult();
}

} // namespace qvx::platform
