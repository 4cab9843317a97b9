#include "driver/Arguments.h"

#include <cstring>

#include "platform/text/String.h"

namespace qvx {

using platform::stringWithUTF8String;

ArgumentSet argsToSet(int argc, const char* const* argv) {
    ArgumentSet set;
    for (int index = 0; index < argc; ++index) {
        // The tool's own name is among them, and words that are not UTF-8 are not: nobody can look those up.
        if (const std::optional<std::string> word = stringWithUTF8String(argv[index]))
            set.insert(platform::lowercaseString(*word));
    }
    return set;
}

std::optional<std::string> apiKeyFromArgument(const char* argument) {
    constexpr size_t apiKeyLength = 40;
    // Counted in UTF-16, as the platform counts a text; keys are ASCII, where all counts agree.
    std::optional<std::string> key = stringWithUTF8String(argument);
    if (!key || platform::lengthInUTF16(*key) != apiKeyLength)
        return std::nullopt;
    return key;
}

std::string buildSecretFromArguments(int argc, const char* const* argv) {
    constexpr size_t buildSecretLength = 64;
    // A secret of another length is no error: the build is reported without it, and the service says what it
    // thinks.
    if (argc < 3 || std::strlen(argv[2]) != buildSecretLength)
        return "";
    return stringWithUTF8String(argv[2]).value_or("");
}

void blankArgument(char* argument) {
    std::memset(argument, ' ', std::strlen(argument));
}

} // namespace qvx
