#include <gtest/gtest.h>

#include "checks/DeploymentTarget.h"
#include "checks/Host.h"

namespace qvx {

TEST(DeploymentTarget, OldestOSXVersion) {
    const struct {
        uint32_t major, minor;
        bool unsupported;
    } rows[] = {{10, 6, true}, {9, 9, true},   {0, 0, true},
                {11, 0, true}, {11, 7, false}, {UINT32_MAX, UINT32_MAX, false}};
    for (const auto& row : rows)
        EXPECT_EQ(OSXDeploymentTargetIsUnsupported({row.major, row.minor, 9}), row.unsupported)
            << row.major << '.' << row.minor;
}

TEST(Host, SearchPaths) {
    using Paths = std::vector<std::string>;
    const std::pair<const char*, Paths> rows[] = {{"", {""}},
                                                  {"a \"b c\"", {"a", "b", "c"}},
                                                  {" a  b ", {"", "a", "", "b", ""}},
                                                  {"\"\" \"/é\"", {"", "/é"}},
                                                  {"a\tb", {"a\tb"}}};
    for (const auto& [setting, paths] : rows)
        EXPECT_EQ(searchPathsToArray(setting), paths) << setting;
}

} // namespace qvx
