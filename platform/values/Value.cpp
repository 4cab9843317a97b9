#include "platform/values/Value.h"

#include <algorithm>
#include <unordered_map>

#include "platform/text/String.h"

namespace qvx::platform {

Dictionary::Dictionary(std::initializer_list<Item> items) {
    for (const auto& [key, value] : items)
        set(key, value);
}

Dictionary Dictionary::withItems(std::vector<Item> items) {
    // A list of a million keys must not take a million look-ups of a million; `find` may be slow, it is
    // asked for a handful of keys in small ones.
    std::unordered_map<std::string_view, size_t> places;
    std::vector<bool> isRepeated(items.size());
    for (size_t index = 0; index < items.size(); ++index) {
        const auto [place, isNew] = places.try_emplace(items[index].first, index);
        if (isNew)
            continue;
        isRepeated[index] = true;
        // The last value counts, at the place where its key was first met.
        items[place->second].second = std::move(items[index].second);
    }
    Dictionary dictionary;
    dictionary.items_.reserve(places.size());
    for (size_t index = 0; index < items.size(); ++index) {
        if (!isRepeated[index])
            dictionary.items_.push_back(std::move(items[index]));
    }
    return dictionary;
}

void Dictionary::set(std::string_view key, Value value) {
    const auto found =
        std::find_if(items_.begin(), items_.end(), [&](const Item& item) { return item.first == key; });
    if (found != items_.end())
        found->second = std::move(value);
    else
        append(std::string(key), std::move(value));
}

void Dictionary::append(std::string key, Value value) {
    items_.emplace_back(std::move(key), std::move(value));
}

const Value* Dictionary::find(std::string_view key) const {
    const auto found =
        std::find_if(items_.begin(), items_.end(), [&](const Item& item) { return item.first == key; });
    return found == items_.end() ? nullptr : &found->second;
}

std::optional<std::string> Dictionary::string(std::string_view key) const {
    const Value* value = find(key);
    const std::string* text = value ? value->get<std::string>() : nullptr;
    return text ? std::optional(*text) : std::nullopt;
}

int64_t Dictionary::integer(std::string_view key) const {
    const Value* value = find(key);
    if (!value)
        return 0;
    if (const auto* number = value->get<int64_t>())
        return *number;
    if (value->get<uint64_t>())
        return INT64_MAX;
    const auto* text = value->get<std::string>();
    return text ? integerValue(*text) : 0;
}

bool Dictionary::operator==(const Dictionary& other) const {
    return items_ == other.items_;
}

namespace {

struct Describe {
    std::string operator()(std::nullptr_t) const { return "<null>"; }
    std::string operator()(bool value) const { return value ? "1" : "0"; }
    std::string operator()(int64_t value) const { return std::to_string(value); }
    std::string operator()(uint64_t value) const { return std::to_string(value); }
    std::string operator()(double value) const { return std::to_string(value); }
    std::string operator()(const std::string& value) const { return value; }
    std::string operator()(Date value) const { return std::to_string(value.seconds); }
    std::string operator()(const Data& value) const { return "<" + std::to_string(value.size()) + " bytes>"; }
    std::string operator()(const Value::Array& values) const {
        std::string text = "(";
        for (const Value& value : values)
            text += (text.size() > 1 ? ", " : "") + value.description();
        return text + ")";
    }
    std::string operator()(const Dictionary& dictionary) const {
        std::string text = "{";
        for (const auto& [key, value] : dictionary.items())
            text += key + " = " + value.description() + "; ";
        return text + "}";
    }
};

} // namespace

std::string Value::description() const {
    return std::visit(Describe{}, storage_);
}

} // namespace qvx::platform
