#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "platform/files/Data.h"

namespace qvx::platform {

class Value;

/// A dictionary of a property list or a JSON object. Keeps the order in which its keys were first set.
class Dictionary {
public:
    using Item = std::pair<std::string, Value>;

    Dictionary() = default;
    Dictionary(std::initializer_list<Item> items);

    /// Of pairs with the same key the last one's value counts, in the place of the first one.
    static Dictionary withItems(std::vector<Item> items);

    /// Replaces the value of `key`, or adds the pair at the end.
    void set(std::string_view key, Value value);

    /// Adds a pair whose key is known to be new, without looking.
    void append(std::string key, Value value);

    /// The value of `key`, null when there is none; owned by the dictionary.
    [[nodiscard]] const Value* find(std::string_view key) const;

    /// The text of `key`; absent when there is no such key or its value is no string.
    [[nodiscard]] std::optional<std::string> string(std::string_view key) const;

    /// The number of `key`, by the rule of `integerValue` for a string, no more than the type can hold; 0
    /// when there is none.
    [[nodiscard]] int64_t integer(std::string_view key) const;

    [[nodiscard]] const std::vector<Item>& items() const { return items_; }

    bool operator==(const Dictionary&) const;

private:
    std::vector<Item> items_;
};

/// Seconds since 2001-01-01 00:00:00 UTC, as property lists count.
struct Date {
    double seconds = 0;
    friend bool operator==(const Date&, const Date&) = default;
};

/// What a property list or a JSON text can hold.
class Value {
public:
    using Array = std::vector<Value>;
    /// An unsigned integer is one that a signed one cannot hold.
    using Storage = std::variant<std::nullptr_t, bool, int64_t, uint64_t, double, std::string, Data, Date,
                                 Array, Dictionary>;

    Value() = default;
    Value(std::nullptr_t) {}
    Value(bool value) : storage_(value) {}
    Value(int value) : storage_(static_cast<int64_t>(value)) {}
    Value(int64_t value) : storage_(value) {}
    Value(uint64_t value) {
        if (value <= INT64_MAX)
            storage_ = static_cast<int64_t>(value);
        else
            storage_ = value;
    }
    Value(double value) : storage_(value) {}
    Value(const char* value) : storage_(std::string(value)) {}
    Value(std::string_view value) : storage_(std::string(value)) {}
    Value(std::string value) : storage_(std::move(value)) {}
    Value(Data value) : storage_(std::move(value)) {}
    Value(Date value) : storage_(value) {}
    Value(Array value) : storage_(std::move(value)) {}
    Value(Dictionary value) : storage_(std::move(value)) {}

    /// The value as a `T` of the storage; null when it is of another kind.
    template <class T>
    [[nodiscard]] const T* get() const {
        return std::get_if<T>(&storage_);
    }

    [[nodiscard]] const Storage& storage() const { return storage_; }

    /// The text that "%@" prints: a string as it stands, the rest in the platform's nested notation.
    [[nodiscard]] std::string description() const;

    friend bool operator==(const Value&, const Value&) = default;

private:
    Storage storage_;
};

} // namespace qvx::platform
