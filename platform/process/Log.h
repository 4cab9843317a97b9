#pragma once

#include <string_view>

#include "platform/text/Format.h"

namespace qvx::platform {

/// Writes `YYYY-MM-DD HH:MM:SS.mmm NAME[PID:TID] text` (local time, `processName`) and a newline to standard
/// error, in one write.
void logLine(std::string_view text);

/// The system log line of a formatted text.
template <class... Arguments>
void NSLog(FormatString<std::type_identity_t<Arguments>...> text, const Arguments&... arguments) {
    logLine(platform::format(text, arguments...));
}

} // namespace qvx::platform
