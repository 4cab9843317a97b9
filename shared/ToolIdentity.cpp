#include "shared/ToolIdentity.h"

#include "platform/values/Bundle.h"

namespace qvx {

namespace {

std::string infoText(const char* key) {
    // What is built into the program, not what lies beside it: a tool that was copied out of its framework
    // still tells the truth.
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
