#include "shared/Diagnostics.h"

#include <cstdio>
#include <cstdlib>

#include "platform/process/ProgressLine.h"
#include "platform/text/Format.h"

namespace qvx {

bool debugMode = false;

void logText(std::string_view text) {
    platform::ProgressLine::writeAbove(stdout, text.substr(0, text.find('\0')));
}

void QVXLogXcodeWarningAtPathNonVariadic(const std::optional<std::string>& path, uint64_t line,
                                         std::string_view message) {
    // Xcode shows a line that begins like a compiler's at its place in the source.
    const std::string location =
        path && !path->empty() ? platform::format("%@:%tu: ", *path, line) : std::string();
    logText(platform::format("%swarning: %s\n", location, message));
}

void failWithTitleAndReason(std::string_view title, std::string_view reason) {
    QVXLog("error: Vendra: %@\n\n%@", title, reason);
    std::exit(1);
}

} // namespace qvx
