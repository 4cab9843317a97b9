#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>

#include "platform/process/ProcessInfo.h"
#include "platform/process/ProcessTable.h"
#include "platform/process/RandomBytes.h"
#include "platform/text/String.h"

extern "C" char** environ; // some systems leave its declaration to the program

namespace qvx::platform {

Environment Environment::ofProcess() {
    Variables variables;
    for (char** entry = environ; entry && *entry; ++entry) {
        const std::string_view text(*entry);
        const size_t equals = text.find('=');
        // The first of two with the same name counts, as for getenv; entries without a name are nobody's to
        // ask for.
        if (equals != std::string_view::npos && equals > 0)
            variables.emplace(text.substr(0, equals), text.substr(equals + 1));
    }
    return Environment(std::move(variables));
}

std::optional<std::string> Environment::value(std::string_view name) const {
    const auto found = variables_.find(name);
    return found == variables_.end() ? std::nullopt : std::optional(found->second);
}

int processIdentifier() {
    return ::getpid();
}

std::string homeDirectory() {
    // HOME before the account: sandboxes and tests set it, and daemons have an account without a home.
    const char* home = std::getenv("HOME");
    if (home && home[0] == '/')
        return home;
    const passwd* account = ::getpwuid(::getuid());
    return account ? account->pw_dir : "/";
}

std::string createUUIDString() {
    std::array<uint8_t, 16> bytes{};
    fillWithRandomBytes(bytes);
    bytes[6] = static_cast<uint8_t>(0x40 | (bytes[6] & 0x0F)); // the version
    bytes[8] = static_cast<uint8_t>(0x80 | (bytes[8] & 0x3F)); // the variant
    std::string text = hexadecimalString(bytes);
    for (const size_t hyphen : {8U, 13U, 18U, 23U})
        text.insert(hyphen, 1, '-');
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char character) { return static_cast<char>(std::toupper(character)); });
    return text;
}

std::string globallyUniqueString() {
    return createUUIDString() + "-" + std::to_string(::getpid());
}

} // namespace qvx::platform
