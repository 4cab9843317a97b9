#pragma once

#include <cstddef>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

/// JSON (RFC 8259) as text on one line.
namespace qvx::inspector {

/// The text as a JSON string, whatever its bytes: what is not UTF-8 becomes U+FFFD. "null" when absent.
[[nodiscard]] std::string jsonString(std::optional<std::string_view> text);

struct Member {
    std::string_view name;
    std::string json;
};

[[nodiscard]] std::string object(std::initializer_list<Member> members);

/// \param toJSON gives the text of one item
template <class Items, class ToJSON>
std::string array(const Items& items, ToJSON toJSON) {
    std::string result = "[";
    for (const auto& item : items)
        result += (result.size() > 1 ? ", " : "") + toJSON(item);
    return result + ']';
}

} // namespace qvx::inspector
