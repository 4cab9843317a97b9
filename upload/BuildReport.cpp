#include "upload/BuildReport.h"

#include "QVXWebClient/QVXWebClient/QVXWebClient.h"
#include "platform/text/Format.h"
#include "shared/AppFiles.h"
#include "shared/Diagnostics.h"
#include "shared/ServiceAddresses.h"
#include "upload/Service.h"

namespace qvx {

using platform::Environment;

namespace {

std::shared_ptr<QVXWebRequest> makeReport(const Environment& environment, std::string_view apiKey,
                                          std::string_view buildSecret, bool fromBuildServer) {
    const platform::Dictionary info = infoPlistDictionary(environment);
    const std::string path = platform::format("/spi/v1/platforms/%@/apps/%@/built",
                                              getAppPlatform(environment), info.string("CFBundleIdentifier"));
    std::shared_ptr<QVXWebRequest> request = QVXWebRequest::requestWithMethod("POST", path);
    addClientHeaders(*request, apiKey);
    request->addValueForFormField(info.string("CFBundleDisplayName"), "app_name");
    // There in every report; empty tells of a developer's machine.
    request->addValueForFormField(fromBuildServer ? "build server" : "", "tool_details");
    if (!buildSecret.empty())
        request->addValueForHTTPHeaderField(std::string(buildSecret), "X-Quorvex-Build-Secret");
    return request;
}

void logFailure(const QVXWebResponse& response) {
    if (response.error())
        QVXLog("Could not be onboarded statusCode %i %@", response.statusCode(), response.error());
    else
        QVXLog("Could not be onboarded statusCode %i", response.statusCode());
}

} // namespace

bool buildConfigure(const Environment& environment, std::string_view apiKey, std::string_view buildSecret,
                    bool fromBuildServer, bool lastAttempt) {
    const auto request = makeReport(environment, apiKey, buildSecret, fromBuildServer);
    // One for each attempt: the second runs in the completion of the first, whose client is busy until that
    // returns. The base URL was checked when this was configured. The endpoint of the Info.plist is not
    // asked: it names the caches folder of the other road.
    const auto client = QVXWebClient::initWithURL(*platform::URL::initWithString(apiBaseURL));
    bool accepted = false;
    client->syncStartRequest(request, [&](const std::shared_ptr<QVXWebResponse>& response) {
        if (response->statusCode() == 201 || response->statusCode() == 200)
            accepted = true;
        else if (lastAttempt)
            logFailure(*response);
        else
            // What the repetition gives does not change what this attempt gave.
            buildConfigure(environment, apiKey, buildSecret, fromBuildServer, true);
    });
    return accepted;
}

} // namespace qvx
