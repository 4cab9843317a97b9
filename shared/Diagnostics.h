#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/text/Format.h"

namespace qvx {

/// Whether debug-only lines are wanted. Set once by the entry, read by the callers of the functions below.
extern bool debugMode;

/// Writes finished text to standard output as it stands: no prefix, no newline. A write error is ignored.
void logText(std::string_view text);

/// Writes the expanded format to standard output; a caller that wants a line end puts one into the format.
template <class... Arguments>
void QVXLog(platform::FormatString<std::type_identity_t<Arguments>...> text, const Arguments&... arguments) {
    logText(platform::format(text, arguments...));
}

/// Writes one warning line to standard output in the form that Xcode's build log shows as a warning.
/// \param path the file that the warning is about; absent or empty: none, the line number is dropped too
/// \param line counted from 1
void QVXLogXcodeWarningAtPathNonVariadic(const std::optional<std::string>& path, uint64_t line,
                                         std::string_view message);

/// A warning without a location.
template <class... Arguments>
void QVXLogXcodeWarning(platform::FormatString<std::type_identity_t<Arguments>...> text,
                        const Arguments&... arguments) {
    QVXLogXcodeWarningAtPathNonVariadic(std::nullopt, 0, platform::format(text, arguments...));
}

/// A warning about a line of a file.
template <class... Arguments>
void QVXLogXcodeWarningAtPath(const std::optional<std::string>& path, uint64_t line,
                              platform::FormatString<std::type_identity_t<Arguments>...> text,
                              const Arguments&... arguments) {
    QVXLogXcodeWarningAtPathNonVariadic(path, line, platform::format(text, arguments...));
}

/// Reports a fatal problem as a build error on standard output and ends the process with status 1.
/// \param title a short heading
/// \param reason full sentences, with the line ends they want behind them
[[noreturn]] void failWithTitleAndReason(std::string_view title, std::string_view reason);

} // namespace qvx
