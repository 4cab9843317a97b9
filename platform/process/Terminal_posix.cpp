#include "platform/process/Terminal.h"

#include <unistd.h>

#include "platform/process/ProcessInfo.h"

namespace qvx::platform {

namespace {

bool isCapableTerminal(int descriptor, const Environment& environment) {
    const std::string type = environment.value("TERM").value_or("");
    return ::isatty(descriptor) == 1 && !type.empty() && type != "dumb";
}

} // namespace

bool standardOutputTakesColours() {
    const Environment environment = Environment::ofProcess();
    return isCapableTerminal(STDOUT_FILENO, environment) &&
           environment.value("NO_COLOR").value_or("").empty();
}

bool standardErrorErasesLines() {
    return isCapableTerminal(STDERR_FILENO, Environment::ofProcess());
}

} // namespace qvx::platform
