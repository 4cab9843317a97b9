#include <glib.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <memory>

#include "platform/ProcessInfo.h"

namespace qvx::platform {

Environment Environment::ofProcess() {
    Variables variables;
    for (char** entry = environ; entry && *entry; ++entry) {
        const std::string_view text(*entry);
        const size_t equals = text.find('=');
        if (equals != std::string_view::npos && equals > 0)
            variables.emplace(text.substr(0, equals), text.substr(equals + 1));
    }
    return Environment(std::move(variables));
}

std::optional<std::string> Environment::value(std::string_view name) const {
    const auto found = variables_.find(name);
    return found == variables_.end() ? std::nullopt : std::optional(found->second);
}

std::string homeDirectory() {
    const char* home = std::getenv("HOME");
    if (home && home[0] == '/')
        return home;
    const passwd* account = ::getpwuid(::getuid());
    return account ? account->pw_dir : "/";
}

std::string createUUIDString() {
    const std::unique_ptr<char, decltype(&g_free)> uuid(g_uuid_string_random(), &g_free);
    std::string text(uuid.get());
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char character) { return static_cast<char>(std::toupper(character)); });
    return text;
}

std::string globallyUniqueString() {
    return createUUIDString() + "-" + std::to_string(::getpid());
}

} // namespace qvx::platform
