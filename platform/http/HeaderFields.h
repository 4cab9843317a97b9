#pragma once

#include <cstddef>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qvx::platform {

/// Header fields in the order in which they were first set or came. Names and values are bytes, normally
/// UTF-8.
class HeaderFields {
public:
    using Field = std::pair<std::string, std::string>;

    HeaderFields() = default;
    HeaderFields(std::initializer_list<Field> fields);

    /// The value of the first field of that name, in any case; absent when there is none.
    [[nodiscard]] std::optional<std::string> value(std::string_view name) const;

    /// Whether there is a field of exactly that name.
    [[nodiscard]] bool contains(std::string_view name) const;

    /// Gives the field of exactly that name this value in place of its own; adds it when there is none.
    void set(std::string_view name, std::string_view value);

    /// Adds the value, behind `separator`, to the field of that name in any case; adds a field when there is
    /// none.
    void append(std::string_view name, std::string_view value, std::string_view separator);

    /// Adds `text` to the value of the last field, if there is one.
    void extendLast(std::string_view text);

    [[nodiscard]] auto begin() const { return fields_.begin(); }
    [[nodiscard]] auto end() const { return fields_.end(); }

    friend bool operator==(const HeaderFields& left, const HeaderFields& right) {
        return left.fields_ == right.fields_;
    }

private:
    void add(std::string_view name, std::string_view value);

    std::vector<Field> fields_;
    std::map<std::string, size_t> places_; ///< of the first field of each name, in lower case
};

} // namespace qvx::platform
