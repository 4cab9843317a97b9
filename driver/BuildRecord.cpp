#include "driver/BuildRecord.h"

#include "platform/values/Bundle.h"
#include "shared/AppFiles.h"
#include "shared/ToolIdentity.h"

namespace qvx {

using platform::Dictionary;
using platform::Environment;
using platform::Value;

namespace {

void copySetting(Dictionary& record, const Environment& environment, const char* name) {
    if (const std::optional<std::string> value = environment.value(name))
        record.append(name, *value);
}

void copyInfoPlistValues(Dictionary& record, const Environment& environment) {
    const Dictionary* info = infoPlistAtPath(infoPlistPath(environment));
    // As they are, whatever their type: a version may stand there as a number.
    for (const char* key : {"CFBundleShortVersionString", "CFBundleVersion", "CFBundleDisplayName",
                            "CFBundleName", "CFBundleIdentifier"}) {
        if (const Value* value = info ? info->find(key) : nullptr)
            record.append(key, *value);
    }
}

// The whole environment, since the app works out later what it needs of it. It may hold secrets of the
// build: the record is for its owner alone to read.
Dictionary dictionaryOf(const Environment& environment) {
    Dictionary dictionary;
    for (const auto& [name, value] : environment.variables())
        dictionary.append(name, value);
    return dictionary;
}

} // namespace

Dictionary buildRecord(const Environment& environment, std::string_view apiKey,
                       const std::vector<std::string>& dSYMs) {
    Dictionary record;
    // The order is kept in the file; people compare records.
    for (const char* name : {"PLATFORM_NAME", "PROJECT_FILE_PATH", "CONFIGURATION", "XCODE_VERSION_ACTUAL",
                             "CODE_SIGN_IDENTITY", "SDKROOT"})
        copySetting(record, environment, name);
    record.append("QUORVEX_FRAMEWORK_PATH", platform::Bundle::mainBundle().bundlePath());
    record.append("QUORVEX_API_KEY", apiKey);
    record.append("QUORVEX_RUN_VERSION", toolBuildVersion());
    copySetting(record, environment, "PROVISIONING_PROFILE");
    record.append("dSYMs", Value::Array(dSYMs.begin(), dSYMs.end()));
    copyInfoPlistValues(record, environment);
    record.append("Runner_Environment_Dictionary", dictionaryOf(environment));
    return record;
}

} // namespace qvx
