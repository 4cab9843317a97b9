#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace qvx::platform {

/// A failure that is handed on as a value: a domain, a code within it, and a text for people.
struct Error {
    std::string domain;
    int64_t code = 0;
    std::string text;

    /// `Error Domain=NAME Code=N "text"`.
    [[nodiscard]] std::string description() const;

    friend bool operator==(const Error&, const Error&) = default;
};

/// The error of the domain NSPOSIXErrorDomain for an `errno` value, its text naming what it happened to.
Error posixError(int number, std::string_view subject);

/// The error of the domain NSCocoaErrorDomain for a property list that cannot be read (code 3840).
Error propertyListReadError(std::string_view text);

/// A value, or the error that says why there is none.
template <class T>
class [[nodiscard]] Result {
public:
    Result(T value) : value_(std::move(value)) {}
    Result(Error error) : error_(std::move(error)) {}

    explicit operator bool() const { return value_.has_value(); }
    const T& operator*() const { return *value_; }
    T& operator*() { return *value_; }
    const T* operator->() const { return &*value_; }

    /// Only valid when there is no value.
    [[nodiscard]] const Error& error() const { return error_; }

private:
    std::optional<T> value_;
    Error error_;
};

} // namespace qvx::platform
