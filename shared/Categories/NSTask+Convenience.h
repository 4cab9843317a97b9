#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files/Data.h"

/// Runs child programs to their end. All functions block until the child has exited and reaped it. A launch
/// path that cannot be run throws `platform::LaunchFailure`, and the completion is not called.
///
/// The child's output is read only after it has exited: one that writes more than a pipe holds never ends.
/// Its standard input stays open and empty. An absent working directory is the tool's own, absent arguments
/// are none, an absent environment is the tool's own.
namespace qvx::NSTask {

using Arguments = std::optional<std::vector<std::string>>;
using Variables = std::optional<std::map<std::string, std::string>>;

/// Is given the complete standard error, the complete standard output, and the exit status (the number of
/// the signal for a child that one ended).
using Completion = std::function<void(const platform::Data& standardError,
                                      const platform::Data& standardOutput, int32_t status)>;

void launchWithPath(std::string_view path, const std::optional<std::string>& workingDirectory,
                    const Arguments& arguments, const Variables& environment, const Completion& completion);

void launchWithPath(std::string_view path, const std::optional<std::string>& workingDirectory,
                    const Arguments& arguments, const Completion& completion);

/// The child's standard error; absent when it is not UTF-8.
std::optional<std::string> stderrWithLaunchPath(std::string_view path, const Arguments& arguments);

/// The child's standard output; absent when it is not UTF-8.
std::optional<std::string> stdoutWithLaunchPath(std::string_view path, const Arguments& arguments);

/// Whether the child exited with status 0.
[[nodiscard]] bool runTaskWithLaunchPath(std::string_view path,
                                         const std::optional<std::string>& currentDirectoryPath,
                                         const Arguments& arguments);
[[nodiscard]] bool runTaskWithLaunchPath(std::string_view path, const Arguments& arguments);

} // namespace qvx::NSTask
