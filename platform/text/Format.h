#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace qvx::platform {

/// An argument of `format`, its kind settled at compile time.
class FormatArgument {
public:
    FormatArgument(std::integral auto value) : number_(static_cast<uint64_t>(value)) {}
    FormatArgument(std::string_view text) : text_(text) {}
    FormatArgument(const char* text) : text_(text) {}
    FormatArgument(const std::string& text) : text_(text) {}
    FormatArgument(const std::optional<std::string>& text) : text_(text.value_or("(null)")) {}
    template <class T>
    requires requires(const T& object) { object.description(); }
    FormatArgument(const T& object) : text_(object.description()) {}
    template <class T>
    requires requires(const T& object) { object.description(); }
    FormatArgument(const std::optional<T>& object) : text_(object ? object->description() : "(null)") {}

    [[nodiscard]] const std::string& text() const { return text_; }
    [[nodiscard]] uint64_t number() const { return number_; }

private:
    std::string text_;
    uint64_t number_ = 0;
};

/// Left undefined on purpose: reaching it while a format is checked stops the compiler there.
void formatDoesNotFitItsArguments();

/// A format whose specifiers were checked against the types of its arguments by the compiler.
template <class... Arguments>
class FormatString {
public:
    consteval FormatString(const char* text) : text_(text) {
        constexpr size_t count = sizeof...(Arguments);
        constexpr bool isNumber[count + 1] = {std::integral<Arguments>...};
        size_t used = 0;
        for (std::string_view rest = text; !rest.empty(); rest.remove_prefix(1)) {
            if (rest[0] != '%')
                continue;
            rest.remove_prefix(1);
            if (rest.starts_with('%'))
                continue;
            bool wantsNumber = true;
            if (rest.starts_with('@') || rest.starts_with('s'))
                wantsNumber = false;
            else if (rest.starts_with("lu") || rest.starts_with("tu"))
                rest.remove_prefix(1);
            else if (!rest.starts_with('i') && !rest.starts_with('d'))
                formatDoesNotFitItsArguments();
            if (used == count || isNumber[used] != wantsNumber)
                formatDoesNotFitItsArguments();
            used += 1;
        }
        if (used != count)
            formatDoesNotFitItsArguments();
    }

    [[nodiscard]] std::string_view text() const { return text_; }

private:
    std::string_view text_;
};

/// Fills `format` with `arguments`; both must have been checked against each other.
[[nodiscard]] std::string formatWithArguments(std::string_view format,
                                              std::span<const FormatArgument> arguments);

/// Text by the platform's string format: %@ an object (absent ones print as (null)), %s text, %i and %d a
/// 32-bit signed number, %lu and %tu a 64-bit unsigned one, %% a percent sign. To be called by its full name:
/// the standard library has a function of the same name, which the arguments' own namespace may bring in.
template <class... Arguments>
[[nodiscard]] std::string format(FormatString<std::type_identity_t<Arguments>...> text,
                                 const Arguments&... arguments) {
    const std::vector<FormatArgument> list{FormatArgument(arguments)...};
    return formatWithArguments(text.text(), list);
}

} // namespace qvx::platform
