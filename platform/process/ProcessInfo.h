#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace qvx::platform {

/// Environment variables by name, as the system holds them: normally UTF-8.
class Environment {
public:
    using Variables = std::map<std::string, std::string, std::less<>>;

    Environment() = default;
    explicit Environment(Variables variables) : variables_(std::move(variables)) {}

    /// The variables of this process at the time of the call.
    static Environment ofProcess();

    /// The value of `name`; absent when it is not set, "" when it is set to nothing.
    [[nodiscard]] std::optional<std::string> value(std::string_view name) const;

    [[nodiscard]] const Variables& variables() const { return variables_; }

private:
    Variables variables_;
};

/// The path of the running program's file, symbolic links resolved; empty when the system does not tell.
/// Lives as long as the process.
[[nodiscard]] const std::string& executablePath();

/// What the running program is called: the name of its file, or what it was started as when the system does
/// not tell that. Lives as long as the process.
[[nodiscard]] const std::string& processName();

/// The user's home directory: HOME when that is an absolute path, else the account's.
[[nodiscard]] std::string homeDirectory();

/// A new random UUID (RFC 9562, version 4) in the platform's form: upper-case hexadecimal digits in groups of
/// 8-4-4-4-12.
[[nodiscard]] std::string createUUIDString();

/// A string that no other process and no other call has given, fit to be a file name.
[[nodiscard]] std::string globallyUniqueString();

} // namespace qvx::platform
