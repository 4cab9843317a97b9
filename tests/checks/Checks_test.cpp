#include <gtest/gtest.h>

#include "checks/DeploymentTarget.h"
#include "checks/Host.h"

namespace qvx {

using platform::Environment;

TEST(DeploymentTarget, OldestIOSVersion) {
    const struct {
        uint32_t major, minor;
        std::optional<std::string> setting;
        bool unsupported;
    } rows[] = {{6, 0, {}, false},    {5, 9, "8.0", true},    {UINT32_MAX, 0, "5.0", false},
                {0, 0, {}, true},     {0, 0, "", true},       {0, 9, "5.1.1", true},
                {0, 0, "6.0", false}, {0, 0, "latest", true}, {0, 0, " 12.4", false},
                {0, 0, "-7", true},   {7, 0, "x", false},     {1, 6, "8", true}};
    for (const auto& row : rows) {
        Environment::Variables variables;
        if (row.setting)
            variables.emplace("IPHONEOS_DEPLOYMENT_TARGET", *row.setting);
        EXPECT_EQ(iOSDeploymentTargetIsUnsupported({row.major, row.minor, 9}, Environment(variables)),
                  row.unsupported)
            << row.major << ' ' << row.setting.value_or("none");
    }
}

TEST(DeploymentTarget, OldestOSXVersion) {
    const struct {
        uint32_t major, minor;
        bool unsupported;
    } rows[] = {{10, 7, false}, {10, 6, true},  {9, 9, true},  {0, 0, true},
                {11, 0, true},  {11, 7, false}, {12, 6, true}, {UINT32_MAX, UINT32_MAX, false}};
    for (const auto& row : rows)
        EXPECT_EQ(OSXDeploymentTargetIsUnsupported({row.major, row.minor, 9}), row.unsupported)
            << row.major << '.' << row.minor;
}

TEST(Host, SearchPaths) {
    using Paths = std::vector<std::string>;
    const struct {
        const char* setting;
        Paths paths;
    } rows[] = {{"", {""}},
                {"a \"b c\"", {"a", "b", "c"}},
                {" a  b ", {"", "a", "", "b", ""}},
                {"\"\" \"/é\"", {"", "/é"}},
                {"a\tb", {"a\tb"}}};
    for (const auto& row : rows)
        EXPECT_EQ(searchPathsToArray(row.setting), row.paths) << row.setting;
}

} // namespace qvx
