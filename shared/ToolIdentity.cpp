#include "shared/ToolIdentity.h"

#include "platform/values/Bundle.h"

namespace qvx {

namespace {

std::string infoText(const char* key) {
    return platform::Bundle::mainBundle().infoDictionary().string(key).value_or("");
}

} // namespace

std::string toolIdentifier() {
    return infoText("CFBundleIdentifier");
}

std::string toolDisplayVersion() {
    return infoText("CFBundleShortVersionString");
}

std::string toolBuildVersion() {
    return infoText("CFBundleVersion");
}

} // namespace qvx
