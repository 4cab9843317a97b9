#include <string>

#include "platform/process/UserFolders.h"
#include "platform/text/String.h"
#include "platform/values/Bundle.h"
#include "platform/values/PropertyList.h"
#include "platform/values/UserDefaults.h"

namespace qvx::platform {

std::optional<Value> userDefault(std::string_view key, int argc, const char* const* argv) {
    const std::string option = "-" + std::string(key);
    // Wherever the pair stands, also among words that mean something else: defaults are not options of the
    // tool.
    for (int index = 1; index + 1 < argc; ++index) {
        if (argv[index] == option)
            return Value(argv[index + 1]);
    }
    const std::string domain = Bundle::mainBundle().bundleIdentifier().value_or("");
    const std::optional<Dictionary> defaults = dictionaryWithContentsOfFile(
        stringByAppendingPathComponent(preferencesDirectory(), domain + ".plist"));
    const Value* value = defaults ? defaults->find(key) : nullptr;
    return value ? std::optional(*value) : std::nullopt;
}

bool isTrue(const Value& value) {
    if (const auto* boolean = value.get<bool>())
        return *boolean;
    if (const auto* number = value.get<int64_t>())
        return *number != 0;
    if (value.get<uint64_t>())
        return true;
    if (const auto* real = value.get<double>())
        return *real != 0;
    const auto* text = value.get<std::string>();
    return text && boolValue(*text);
}

} // namespace qvx::platform
