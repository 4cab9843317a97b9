#pragma once

#include <optional>
#include <string_view>

#include "platform/values/Value.h"

namespace qvx::platform {

/// The user default `key`: the argument behind the first argument `-KEY`, else the value in the user's
/// property list (named for the tool's bundle identifier, in `preferencesDirectory`); absent when neither has
/// it. \param argc,argv the process's arguments, the program first
std::optional<Value> userDefault(std::string_view key, int argc, const char* const* argv);

/// Whether a default counts as true: a true boolean, a number other than 0, or a string that `boolValue`
/// takes for true.
[[nodiscard]] bool isTrue(const Value& value);

} // namespace qvx::platform
