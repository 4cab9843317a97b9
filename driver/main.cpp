#include <optional>
#include <string>

#include "driver/Arguments.h"
#include "driver/RunFlow.h"
#include "platform/process/Log.h"
#include "platform/process/Termination.h"
#include "platform/tasks/Task.h"
#include "platform/values/UserDefaults.h"
#include "shared/Diagnostics.h"
#include "shared/ToolIdentity.h"

namespace {

// As the platform reads any default: the pair `-debug YES` wherever it stands, else what the user stored.
void setDebugMode(int argc, const char* const* argv) {
    const auto debug = qvx::platform::userDefault("debug", argc, argv);
    if (debug && qvx::platform::isTrue(*debug))
        qvx::debugMode = true;
}

} // namespace

int main(int argc, char** argv) {
    // First of all: a build system may start programs with a descriptor closed, and the first file that is
    // opened would become standard output.
    qvx::platform::openMissingStandardDescriptors();
    qvx::platform::reportUncaughtExceptions();
    qvx::platform::Termination::installHandlers("error: Vendra: A file became shorter or unreadable while it "
                                                "was read. Make sure the Vendra run script "
                                                "build phase is the last build phase.\n");
    // The first line of every run, before anything can fail: it tells which tool a build log is about.
    qvx::platform::NSLog("Vendra.framework/run %@", qvx::toolDisplayVersion());
    if (argc < 2)
        qvx::failWithTitleAndReason(
            "Configuration Issue",
            "Vendra API key not set. Your Vendra run script build phase should contain your API key:\n"
            "./Vendra.framework/run YOUR_API_KEY YOUR_BUILD_SECRET\n\n");
    const qvx::ArgumentSet arguments = qvx::argsToSet(argc, argv);
    setDebugMode(argc, argv);
    const std::optional<std::string> apiKey = qvx::apiKeyFromArgument(argv[1]);
    if (!apiKey)
        qvx::failWithTitleAndReason(
            "Configuration Issue",
            // Misspelt on purpose: the text is an interface, and logs are searched for it.
            "Venrda API key not valid. Your Vendra run script build phase should contain your API key:\n"
            "./Vendra.framework/run YOUR_API_KEY YOUR_BUILD_SECRET\n\n");
    const std::string buildSecret = qvx::buildSecretFromArguments(argc, argv);
    // An upload takes minutes, and every user of the machine may list the arguments meanwhile.
    qvx::blankArgument(argv[1]);
    if (!buildSecret.empty())
        qvx::blankArgument(argv[2]);
    return qvx::runFlow(*apiKey, buildSecret, arguments);
}
