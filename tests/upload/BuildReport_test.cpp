#include "upload/BuildReport.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/http/URLLoader.h"
#include "platform/values/JSON.h"
#include "tests/TemporaryFolder.h"
#include "upload/Service.h"

namespace qvx {

namespace {

/// The form fields of the requests before this one, the last one first.
std::string earlierRequests() {
    platform::URLRequest request;
    request.URL = platform::URL::initWithString("https://api.quorvex.example/earlier");
    const auto value = platform::JSONObjectWithData(platform::sendSynchronousRequest(request).data);
    return value ? value->description() : "(none)";
}

} // namespace

TEST(BuildReport, ASecondAttemptIsMadeWhenThereIsOneAndItsResultDoesNotCount) {
    const test::TemporaryFolder folder;
    const auto environmentFor = [&](const std::string& identifier) {
        const std::string name = std::to_string(identifier.size()) + ".plist";
        static_cast<void>(
            folder.file(name, "{ CFBundleIdentifier = \"" + identifier + "\"; CFBundleDisplayName = App; }"));
        return platform::Environment(
            {{"BUILT_PRODUCTS_DIR", folder.path()}, {"INFOPLIST_PATH", name}, {"PLATFORM_NAME", "iphoneos"}});
    };
    const auto accepted = environmentFor("com.example.app");
    // The identifier is put into the path as it is, where this one leads to an answer of 500.
    const auto refused = environmentFor("../../../../../status/500?");
    const struct {
        const platform::Environment& environment;
        bool fromBuildServer, lastAttempt, result;
        std::string text, requests;
    } rows[] = {{accepted, true, true, true, "", "((app_name, , App), (tool_details, , build server))"},
                {accepted, false, false, true, "", "((app_name, , App), (tool_details, , ))"},
                {refused, false, true, false, "Could not be onboarded statusCode 500",
                 "((app_name, , App), (tool_details, , ))"},
                {refused, false, false, false, "Could not be onboarded statusCode 500",
                 "((app_name, , App), (tool_details, , )), ((app_name, , App), (tool_details, , ))"}};
    for (const auto& row : rows) {
        testing::internal::CaptureStdout();
        EXPECT_EQ(buildConfigure(row.environment, "key", "", row.fromBuildServer, row.lastAttempt),
                  row.result);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), row.text);
        EXPECT_EQ(earlierRequests(), "(" + row.requests + ")");
    }
}

TEST(Endpoint, WithoutAFolderIsTheServicesOwnWhateverLiesBelowTheCurrentOne) {
    const test::TemporaryFolder folder;
    static_cast<void>(folder.file("(null)/Info.plist", "{ QuorvexAPIEndpoint = elsewhere; }"));
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    platform::Environment::Variables variables{{"INFOPLIST_PATH", "Info.plist"}};
    EXPECT_EQ(endpoint(platform::Environment(variables)), "https://api.quorvex.example");
    variables["BUILT_PRODUCTS_DIR"] = "(null)";
    EXPECT_EQ(endpoint(platform::Environment(variables)), "elsewhere");
    std::filesystem::current_path(before);
}

} // namespace qvx
